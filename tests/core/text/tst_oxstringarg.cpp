#include "core/text/oxstring.h"

#include "oxlogcapture.h"
#include "texttestsupport.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <string>

namespace {

TEST(OxStringArg, EscapesAreFilledLowestFirst)
{
    const COxString tpl("%1%2");
    EXPECT_EQ(tpl.arg("a"), "a%2");
    EXPECT_EQ(COxString("%2 %1").arg("x"), "%2 x");
    EXPECT_EQ(COxString("%2 %1").arg("x").arg("y"), "y x");
    // Two digits form one escape.
    EXPECT_EQ(COxString("%10 %9").arg("a").arg("b"), "b a");
    EXPECT_EQ(COxString("%123").arg("x"), "x3");
    EXPECT_EQ(COxString("%0 %00 %1").arg("z"), "z z %1");
    EXPECT_EQ(COxString("%99").arg("x"), "x");
    // Every occurrence of the lowest number is replaced.
    EXPECT_EQ(COxString("<%1|%1>").arg("ab"), "<ab|ab>");
    // '%' without a digit, and "%L" with digits, are text.
    EXPECT_EQ(COxString("%%1").arg("x"), "%x");
    EXPECT_EQ(COxString("%L1 %1").arg("x"), "%L1 x");
    EXPECT_EQ(COxString("%1%").arg("x"), "x%");
    // The argument is inserted as it is, escapes in it included.
    EXPECT_EQ(COxString("%1 %2").arg("%2").arg("y"), "y y");
    EXPECT_FALSE(COxString("%1").arg("").isNull());
    EXPECT_EQ(units(u"\u00e9%1\u263a").arg(units(u"\U0001F600")), units(u"\u00e9\U0001F600\u263a"));
    // The template is left alone.
    COxString shared("%1!");
    const COxString copy = shared;
    EXPECT_EQ(shared.arg("hi"), "hi!");
    EXPECT_EQ(copy, "%1!");
    EXPECT_TRUE(shared.isSharedWith(copy));
}

TEST(OxStringArg, FieldWidthAndFill)
{
    const COxString tpl("[%1]");
    EXPECT_EQ(tpl.arg("ab", -5), "[ab   ]");
    EXPECT_EQ(tpl.arg("ab", 5, COxChar('*')), "[***ab]");
    EXPECT_EQ(tpl.arg("abcdef", -3), "[abcdef]");
    EXPECT_EQ(COxString("%1,%1").arg("x", -2, COxChar('.')), "x.,x.");

    EXPECT_EQ(tpl.arg(-5, 4, 10, COxChar('0')), "[-005]");
    EXPECT_EQ(tpl.arg(-5, 4, 10, COxChar(' ')), "[  -5]");
    EXPECT_EQ(tpl.arg(-5, -4, 10, COxChar('0')), "[-500]");
    EXPECT_EQ(tpl.arg(-12345, 3, 10, COxChar('0')), "[-12345]");
    EXPECT_EQ(tpl.arg(255, 0, 16), "[ff]");
    EXPECT_EQ(tpl.arg(-1, 0, 16), "[ffffffffffffffff]");
    EXPECT_EQ(tpl.arg(ULONG_MAX), "[18446744073709551615]");
    EXPECT_EQ(tpl.arg(short(-2), 3, 10, COxChar('0')), "[-02]");
    EXPECT_EQ(tpl.arg(int64_t(1) << 40), "[1099511627776]");

    EXPECT_EQ(tpl.arg(1.0), "[1]");
    EXPECT_EQ(tpl.arg(-1.5, 6, 'f', 1, COxChar('0')), "[-001.5]");
    EXPECT_EQ(tpl.arg(2.5, -5, 'f', 1), "[2.5  ]");

    EXPECT_EQ(tpl.arg('x', 3), "[  x]");
    EXPECT_EQ(tpl.arg(char(0xe9)), units(u"[\u00e9]"));
    EXPECT_EQ(tpl.arg(COxChar(0x263a)), units(u"[\u263a]"));
}

TEST(OxStringArg, MissingEscapeWarns)
{
    OxLogCapture log;
    const COxString text("100%");
    // Each overload leaves the text alone and words its warning its own way.
    const std::pair<COxString, const char*> cases[] = {
        {text.arg("x"), " 100%, x"}, {text.arg(42), "100%,42"},  {text.arg(ulong(7)), "100%,7"},
        {text.arg(2.5), " 100%, 2.5"}, {text.arg('c'), " 100%, c"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.first, text);
        EXPECT_EQ(log.count(std::string("COxString::arg: Argument missing:") + c.second), 1u) << c.second;
    }
    EXPECT_EQ(units(u"\u00e9").arg(units(u"\u263a")), units(u"\u00e9"));
    EXPECT_EQ(log.count("COxString::arg: Argument missing: \xc3\xa9, \xe2\x98\xba"), 1u);
    EXPECT_TRUE(COxString().arg("x").isNull());
    EXPECT_EQ(log.count("Argument missing"), 7u);

    log.clear();
    EXPECT_EQ(COxString("%1").arg("x"), "x");
    EXPECT_EQ(log.size(), 0u);
}

// Pseudo-random templates and widths: whatever the mix of '%', digits and
// 'L', the substitution stays inside its buffer (the sanitizers watch), and
// the result adds up: each replaced escape takes one '%' away and puts in
// one padded copy of the argument.
TEST(OxStringArg, ArbitraryTemplatesAreSafe)
{
    Lcg rng{0x9e3779b9u};
    auto next = [&rng] { return rng.next(); };
    const char alphabet[] = "%%%0123456789Lx";
    OxLogCapture log;
    for (int round = 0; round < 3000; ++round) {
        const int len = int(next() % 16);
        COxString tpl(len, Ox::Uninitialized);
        for (int i = 0; i < len; ++i)
            tpl[i] = COxChar(alphabet[next() % (sizeof alphabet - 1)]);
        bool hasEscape = false;
        for (int i = 0; i + 1 < len; ++i)
            hasEscape |= tpl[i] == COxChar('%') && tpl[i + 1].isDigit();

        const int width = int(next() % 21) - 10;
        const int alen = int(next() % 4);
        const COxString r = tpl.arg(COxString(alen, COxChar('a')), width, COxChar('_'));
        const COxString r2 = tpl.arg(long(int32_t(next())), width, 10, COxChar('0'));
        const COxString r3 = tpl.arg(double(int32_t(next())) / 7.0, width, 'g', 3, COxChar('0'));
        if (!hasEscape) {
            ASSERT_EQ(r, tpl);
            ASSERT_EQ(r2, tpl);
            ASSERT_EQ(r3, tpl);
            continue;
        }
        const int occurrences = tpl.count(COxChar('%')) - r.count(COxChar('%'));
        ASSERT_GE(occurrences, 1) << tpl.toUtf8().constData();
        const int pad = (width < 0 ? -width : width) > alen ? (width < 0 ? -width : width) - alen : 0;
        ASSERT_EQ(r.count(COxChar('a')), occurrences * alen);
        ASSERT_EQ(r.count(COxChar('_')), occurrences * pad);
        const int growth = r.size() - tpl.size() - occurrences * (alen + pad);
        ASSERT_TRUE(growth <= -2 * occurrences && growth >= -3 * occurrences) << tpl.toUtf8().constData();
        ASSERT_LT(r2.count(COxChar('%')), tpl.count(COxChar('%')));
        ASSERT_LT(r3.count(COxChar('%')), tpl.count(COxChar('%')));
    }
}

} // namespace
