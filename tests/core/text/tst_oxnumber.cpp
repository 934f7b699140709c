#include "core/text/oxbytearray.h"
#include "core/text/oxstring.h"

#include "texttestsupport.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <ostream>
#include <string>

namespace {

// Runs a parse and checks the failure contract: value 0 and ok false,
// with ok written even when it held true before.
template <typename Parse>
void expectRefused(Parse parse, const char* what)
{
    bool ok = true;
    const auto value = parse(&ok);
    EXPECT_FALSE(ok) << what;
    EXPECT_EQ(value, decltype(value)(0)) << what;
}

// Runs a parse that must succeed with the expected value.
template <typename Parse, typename Value>
void expectParsed(Parse parse, Value expected, const char* what)
{
    bool ok = false;
    EXPECT_EQ(parse(&ok), expected) << what;
    EXPECT_TRUE(ok) << what;
}

TEST(OxNumber, IntegersToText)
{
    EXPECT_EQ(COxString::number(-1, 16), COxString(16, COxChar('f')));
    EXPECT_EQ(COxString::number(uint(0xffffffffu), 16), "ffffffff");
    EXPECT_EQ(COxString::number(0), "0");
    EXPECT_EQ(COxString::number(35, 36), "z");
    EXPECT_EQ(COxString::number(LONG_MIN), "-9223372036854775808");
    EXPECT_EQ(COxString::number(LONG_MAX, 16), "7fffffffffffffff");
    EXPECT_EQ(COxString::number(ULONG_MAX, 2), COxString(64, COxChar('1')));
    // A negative value outside base 10 is its 64-bit two's complement.
    EXPECT_EQ(COxString::number(-2, 8), "1777777777777777777776");
    EXPECT_EQ(COxString::number(int64_t(1) << 40), "1099511627776");
    // Base 0 is decimal; base 1 is meaningless but ends.
    EXPECT_EQ(COxString::number(42, 0), "42");
    EXPECT_EQ(COxString::number(7, 1).size(), 64);

    COxString s("old text");
    EXPECT_EQ(s.setNum(ushort(65535), 16), "ffff");
    EXPECT_EQ(COxByteArray::number(-1, 16), COxByteArray(16, 'f'));
    COxByteArray b;
    EXPECT_EQ(b.setNum(uint(10), 2), "1010");
}

TEST(OxNumber, FloatingPointToText)
{
    EXPECT_EQ(COxString::number(3.14159, 'f', 2), "3.14");
    EXPECT_EQ(COxString::number(0.1, 'e', 3), "1.000e-01");
    EXPECT_EQ(COxString::number(1234567.0), "1.23457e+06");
    EXPECT_EQ(COxString::number(-0.5, 'f', 0), "-0");
    // Long output is clipped to 127 characters.
    const COxString huge = COxString::number(1e300, 'f', 2);
    EXPECT_EQ(huge.size(), 127);
    EXPECT_EQ(huge.left(4), "1000");
    // Only conversions that take a double are passed on; others become 'g'.
    EXPECT_EQ(COxString::number(2.5, 'n', 3), "2.5");
    EXPECT_EQ(COxString::number(2.5, 'd', -1), "2.5");
    EXPECT_EQ(COxString::number(double(INFINITY)), "inf");
    // A precision beyond any double's digits is harmless.
    EXPECT_EQ(COxString::number(0.5, 'f', INT_MAX).left(6), "0.5000");

    COxString s;
    EXPECT_EQ(s.setNum(0.25f, 'f', 3), "0.250");
    EXPECT_EQ(COxByteArray::number(3.14159, 'f', 2), "3.14");
}

TEST(OxNumber, ParsesIntegers)
{
    const struct {
        const char* text;
        int base;
        long long value;
    } ints[] = {{" 42 ", 10, 42}, {"0x1f", 16, 31}, {"0x1f", 0, 31}, {"010", 0, 8}, {"-101", 2, -5}, {"+7", 10, 7},
                {"-2147483648", 10, INT_MIN}};
    for (const auto& c : ints)
        expectParsed([&](bool* ok) { return COxString(c.text).toInt(ok, c.base); }, int(c.value), c.text);
    // The framework's whitespace, U+0085 and U+00A0 included, may surround it.
    expectParsed([](bool* ok) { return units(u"\u00a0\t42\u0085\r\n").toInt(ok); }, 42, "U+00A0, U+0085");
    expectParsed([](bool* ok) { return COxString("-9223372036854775808").toLongLong(ok); }, LLONG_MIN, "llong");
    expectParsed([](bool* ok) { return COxString("18446744073709551615").toULongLong(ok); }, ULLONG_MAX, "ullong");
    // strtoull's own rule: a minus sign negates in unsigned arithmetic.
    expectParsed([](bool* ok) { return COxString("-1").toULongLong(ok); }, ULLONG_MAX, "-1");
    expectParsed([](bool* ok) { return COxString("4294967295").toUInt(ok); }, UINT_MAX, "uint");
    expectParsed([](bool* ok) { return COxString("-32768").toShort(ok); }, short(SHRT_MIN), "short");
    expectParsed([](bool* ok) { return COxString("ffff").toUShort(ok, 16); }, ushort(USHRT_MAX), "ushort");

    // A raw array without terminator is parsed within its size.
    const char digits[] = {'1', '2', '3', '4'};
    expectParsed([&](bool* ok) { return COxByteArray::fromRawData(digits, 2).toInt(ok); }, 12, "raw bytes");
    expectParsed([](bool* ok) { return COxByteArray(" 0x10 ").toUShort(ok, 0); }, ushort(16), "bytes");
    const COxChar raw[] = {COxChar('9'), COxChar('9'), COxChar('x')};
    expectParsed([&](bool* ok) { return COxString::fromRawData(raw, 2).toInt(ok); }, 99, "raw units");
    // Text longer than the stack buffer goes through a byte array.
    const COxString padded = COxString(200, COxChar(' ')) + "77" + COxString(100, COxChar('\t'));
    expectParsed([&](bool* ok) { return padded.toInt(ok); }, 77, "long text");
}

TEST(OxNumber, IntegerFailuresGiveZero)
{
    const char* const bad[] = {"", "   ", "abc", "42x", "4 2", "x42", "0x", "--1", "+", "1.5", "1e3"};
    for (const char* text : bad) {
        expectRefused([&](bool* ok) { return COxString(text).toLongLong(ok); }, text);
        expectRefused([&](bool* ok) { return COxString(text).toULongLong(ok); }, text);
        expectRefused([&](bool* ok) { return COxByteArray(text).toInt(ok); }, text);
    }
    expectRefused([](bool* ok) { return COxString().toInt(ok); }, "null");
    expectRefused([](bool* ok) { return COxByteArray().toUInt(ok); }, "null bytes");
    // A unit above 0xff becomes '?', which no number accepts.
    expectRefused([](bool* ok) { return units(u"4\u01002").toInt(ok); }, "U+0100");
    expectRefused([](bool* ok) { return units(u"42\u2003").toInt(ok); }, "U+2003 is not whitespace");
    expectRefused([](bool* ok) { return units(std::u16string(u"42\0", 3)).toInt(ok); }, "embedded zero");
    expectRefused([](bool* ok) { return COxByteArray("42\0", 3).toInt(ok); }, "embedded zero byte");
    expectRefused([](bool* ok) { return COxString("12").toInt(ok, 1); }, "base 1");
    expectRefused([](bool* ok) { return COxString("12").toInt(ok, 37); }, "base 37");
    expectRefused([](bool* ok) { return COxString("0x1f").toInt(ok, 10); }, "prefix in base 10");
    expectRefused([](bool* ok) { return COxString("08").toInt(ok, 0); }, "8 is no octal digit");

    // Overflow of the 64-bit and of every narrower type.
    expectRefused([](bool* ok) { return COxString("9223372036854775808").toLongLong(ok); }, "llong+");
    expectRefused([](bool* ok) { return COxString("-9223372036854775809").toLong(ok); }, "long-");
    expectRefused([](bool* ok) { return COxString("18446744073709551616").toULongLong(ok); }, "ullong");
    expectRefused([](bool* ok) { return COxString("18446744073709551616").toULong(ok); }, "ulong");
    expectRefused([](bool* ok) { return COxString("4294967296").toInt(ok); }, "int 2^32");
    expectRefused([](bool* ok) { return COxString("2147483648").toInt(ok); }, "int+");
    expectRefused([](bool* ok) { return COxString("-2147483649").toInt(ok); }, "int-");
    expectRefused([](bool* ok) { return COxString("4294967296").toUInt(ok); }, "uint");
    expectRefused([](bool* ok) { return COxString("-1").toUInt(ok); }, "uint of -1");
    expectRefused([](bool* ok) { return COxString("32768").toShort(ok); }, "short+");
    expectRefused([](bool* ok) { return COxString("-32769").toShort(ok); }, "short-");
    expectRefused([](bool* ok) { return COxString("65536").toUShort(ok); }, "ushort");
    expectRefused([](bool* ok) { return COxByteArray("65536").toUShort(ok); }, "bytes ushort");
    expectRefused([](bool* ok) { return COxByteArray("-32769").toShort(ok); }, "bytes short");
}

TEST(OxNumber, ParsesFloatingPoint)
{
    expectParsed([](bool* ok) { return COxString(" 2.5\t").toDouble(ok); }, 2.5, "2.5");
    expectParsed([](bool* ok) { return COxString("-1e3").toDouble(ok); }, -1000.0, "-1e3");
    expectParsed([](bool* ok) { return COxString("1.5").toFloat(ok); }, 1.5f, "1.5");
    // Gradual underflow is accepted.
    bool ok = false;
    const double tiny = COxString("1e-310").toDouble(&ok);
    EXPECT_TRUE(ok && tiny > 0.0 && tiny < DBL_MIN);
    EXPECT_GT(COxByteArray("4.9e-324").toDouble(&ok), 0.0);
    EXPECT_TRUE(ok);

    const char* const bad[] = {"", " \n ", "1e400", "-1e400", "1e-400", "2.5x", "x2.5", "1..2", "."};
    for (const char* text : bad) {
        expectRefused([&](bool* ok) { return COxString(text).toDouble(ok); }, text);
        expectRefused([&](bool* ok) { return COxByteArray(text).toDouble(ok); }, text);
    }
    expectRefused([](bool* ok) { return COxString().toDouble(ok); }, "null");
    expectRefused([](bool* ok) { return units(u"1\u01005").toDouble(ok); }, "U+0100");
    expectRefused([](bool* ok) { return COxString("1e39").toFloat(ok); }, "float range");
    expectRefused([](bool* ok) { return COxByteArray("-1e39").toFloat(ok); }, "bytes float range");
}

// Deterministic pseudo-random text must never crash a parser, and a refused
// parse is always 0.
TEST(OxNumber, ArbitraryInputIsSafe)
{
    Lcg rng{0x2545f491u};
    auto next = [&rng] { return rng.next(); };
    const char alphabet[] = "0123456789abcdefxX+-.eE \t\x85\xa0";
    for (int round = 0; round < 4000; ++round) {
        const int len = int(next() % 24);
        COxString text(len, Ox::Uninitialized);
        COxByteArray bytes(len, Ox::Uninitialized);
        for (int i = 0; i < len; ++i) {
            const uint32_t r = next();
            const ushort u = (r & 3) ? uchar(alphabet[r % (sizeof alphabet - 1)]) : ushort(r >> 16);
            text[i] = COxChar(u);
            bytes[i] = char(u);
        }
        const int base = int(next() % 40) - 2;
        bool ok = true;
        // A parse that gives a non-zero value must report success.
        const auto checkValue = [&ok](auto value) { return value == 0 || ok; };
        ASSERT_TRUE(checkValue(text.toLongLong(&ok, base)));
        ASSERT_TRUE(checkValue(text.toULongLong(&ok, base)));
        ASSERT_TRUE(checkValue(text.toShort(&ok, base)));
        ASSERT_TRUE(checkValue(bytes.toUInt(&ok, base)));
        const double d = text.toDouble(&ok);
        ASSERT_TRUE(ok || d == 0.0);
        const float f = bytes.toFloat(&ok);
        ASSERT_TRUE(ok || f == 0.0f);
        // Whatever a format prints fits the clipped buffer.
        const double value = std::ldexp(double(int32_t(next())), int(next() % 2100) - 1050);
        ASSERT_LE(COxString::number(value, char(next() % 128), int(next() % 200) - 20).size(), 127);
        ASSERT_LE(COxString::number(long(int64_t(next()) << 32 | next()), int(next() % 40) - 2).size(), 65);
    }
}

} // namespace
