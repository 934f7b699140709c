#include "core/text/oxbytearray.h"
#include "core/text/oxrangecut.h"

#include "texttestsupport.h"

#include <gtest/gtest.h>

#include <string>

namespace {

bool terminated(const COxByteArray& a) { return a.constData()[a.size()] == '\0'; }

// The storage routines are shared with COxString and tested there; here the
// byte array's own entry points into them, and its terminator after each.
TEST(OxByteArray, NullEmptyTerminatorAndSharing)
{
    EXPECT_TRUE(COxByteArray().isNull() && terminated(COxByteArray()));
    EXPECT_TRUE(!COxByteArray("").isNull() && COxByteArray("").isEmpty());
    EXPECT_TRUE(COxByteArray(nullptr, 5).isNull() && COxByteArray::fromRawData(nullptr, 3).isNull());
    EXPECT_FALSE(COxByteArray::fromRawData("x", 0).isNull() || COxByteArray(0, 'x').isNull());

    COxByteArray a("abc");
    COxByteArray b = a;
    EXPECT_TRUE(a.isSharedWith(b));
    b[0] = 'A';
    EXPECT_EQ(a, "abc");
    for (int i = 0; i < 40; ++i) {
        a.append(char('0' + i % 10));
        ASSERT_TRUE(terminated(a));
    }
    a.insert(2, "xy").remove(1, 3).replace(0, 2, "long replacement");
    EXPECT_TRUE(terminated(a));
    a.resize(-3);
    EXPECT_TRUE(a.isEmpty() && !a.isNull() && terminated(a));

    char buffer[] = "raw bytes";
    COxByteArray raw = COxByteArray::fromRawData(buffer, 9);
    EXPECT_EQ(raw.constData(), buffer);
    raw.data()[0] = 'R';
    raw.replace("bytes", "BYTES");
    EXPECT_EQ(raw, "Raw BYTES");
    EXPECT_STREQ(buffer, "raw bytes");
    raw.setRawData(buffer + 4, 5);
    EXPECT_EQ(raw, "bytes");
}

TEST(OxByteArray, ComparisonRules)
{
    EXPECT_LT(COxByteArray("abc").compare(COxByteArray("abd")), 0);
    EXPECT_EQ(COxByteArray("abcde").compare(COxByteArray("abc")), 2);
    EXPECT_EQ(COxByteArray("ab").compare(COxByteArray("abcd")), -2);
    EXPECT_GT(COxByteArray("\xe9").compare(COxByteArray("e")), 0) << "bytes compare unsigned";
    EXPECT_EQ(COxByteArray("ABC").compare(COxByteArray("abc"), Ox::CaseInsensitive), 0);
    EXPECT_NE(COxByteArray("\xc9").compare(COxByteArray("\xe9"), Ox::CaseInsensitive), 0);

    // Against C strings.
    EXPECT_EQ(COxByteArray("ab").compare("abc"), -1);
    EXPECT_EQ(COxByteArray("abc").compare("ab"), 1);
    EXPECT_EQ(COxByteArray("abc").compare("abz"), 'c' - 'z');
    EXPECT_EQ(COxByteArray("a\0b", 3).compare("a"), 1) << "bytes after the C string's end";
    EXPECT_EQ(COxByteArray("abc").compare(nullptr), 1);
    EXPECT_EQ(COxByteArray("").compare(nullptr), 0);
    EXPECT_EQ(COxByteArray().compare(nullptr), 0);
    EXPECT_EQ(COxByteArray().compare(""), 0);
    EXPECT_EQ(COxByteArray().compare("x"), -1);
    EXPECT_EQ(COxByteArray("ABC").compare("abc", Ox::CaseInsensitive), 0);
    EXPECT_EQ(COxByteArray("AB").compare("abc", Ox::CaseInsensitive), -1);

    EXPECT_TRUE(COxByteArray("b") > "a" && COxByteArray("a\0b", 3) != "a" && COxByteArray() == COxByteArray(""));
}

TEST(OxByteArray, RangeClamping)
{
    struct Case {
        int total, pos, len;
        OxCut result;
        int outPos, outLen;
    };
    const Case cases[] = {
        {3, 5, -1, OxCut::Null, 5, -1},   {3, 0, -1, OxCut::Full, 0, -1},    {10, -2, 3, OxCut::Subset, 0, 1},
        {10, -2, 2, OxCut::Null, -2, 2},  {10, -2, 12, OxCut::Full, -2, 12}, {10, -5, -1, OxCut::Full, -5, -1},
        {10, 3, -1, OxCut::Subset, 3, 7}, {10, 3, 100, OxCut::Subset, 3, 7}, {10, 10, 4, OxCut::Empty, 10, 0},
        {10, 4, 0, OxCut::Empty, 4, 0},   {0, 0, 0, OxCut::Full, 0, 0},      {10, 0, 10, OxCut::Full, 0, 10},
    };
    for (const Case& c : cases) {
        int pos = c.pos;
        int len = c.len;
        EXPECT_EQ(OxCutRange(c.total, &pos, &len), c.result) << c.total << " " << c.pos << " " << c.len;
        if (c.result == OxCut::Subset || c.result == OxCut::Empty) {
            EXPECT_EQ(pos, c.outPos);
            EXPECT_EQ(len, c.outLen);
        }
    }

    const COxByteArray three("abc");
    EXPECT_TRUE(three.mid(5, -1).isNull());
    EXPECT_EQ(COxByteArray("0123456789").mid(-2, 3), "0");
    EXPECT_TRUE(three.left(5).isSharedWith(three) && three.right(-1).isSharedWith(three));
    EXPECT_EQ(three.left(2) + three.right(2), "abbc");
    EXPECT_TRUE(three.right(0).isEmpty() && !three.right(0).isNull());
}

TEST(OxByteArray, EditingWithAliasing)
{
    COxByteArray a("abc");
    a.append(a);
    a.insert(1, a.constData() + 3, 3);
    a.insert(12, 'x');
    EXPECT_EQ(a, "aabcbcabc   x");
    a.prepend("<").append(">", 1).append(2, '.');
    a.replace("bc", "BC");
    EXPECT_EQ(a, "<aaBCBCaBC   x>..");
    a.replace('a', "AA");
    a.replace(a.constData(), 2, a.constData() + 16, 2);
    EXPECT_EQ(a, "x>AAABCBCAABC   x>..");
    a.replace(1, 1, a);
    EXPECT_EQ(a.left(4), "xx>A");
    COxByteArray gaps("ab");
    gaps.replace("", "|");
    EXPECT_EQ(gaps, "|a|b|");

    COxByteArray t("truncate me");
    t.truncate(8);
    t.chop(2);
    EXPECT_EQ(t, "trunca");
    EXPECT_EQ(COxByteArray("ab").repeated(3), "ababab");
    EXPECT_EQ(COxByteArray("ab").leftJustified(4, '.') + COxByteArray("ab").rightJustified(4, '.'), "ab....ab");
    EXPECT_EQ(COxByteArray("abcdef").rightJustified(3, '.', true), "abc");
    EXPECT_EQ(COxByteArray("x") + "y" + 'z' + COxByteArray("!"), "xyz!");
}

TEST(OxByteArray, SearchAndSplit)
{
    const COxByteArray s("one two one two");
    EXPECT_EQ(s.indexOf("two", 5), 12);
    EXPECT_EQ(s.indexOf("two", -3), 12);
    EXPECT_EQ(s.indexOf(COxByteArray()), 0);
    EXPECT_EQ(s.lastIndexOf("one", 7), 0);
    EXPECT_EQ(s.lastIndexOf('t', 100), 12);
    EXPECT_EQ(s.lastIndexOf("zzz"), -1);
    EXPECT_EQ(COxByteArray("aaa").count("aa"), 2);
    EXPECT_TRUE(s.startsWith("one") && s.startsWith('o') && s.startsWith(COxByteArray()));
    EXPECT_TRUE(s.endsWith("two") && s.endsWith('o') && !s.endsWith("one"));
    EXPECT_TRUE(s.contains(COxByteArray("e t")) && !s.contains(COxByteArray("o t")));

    std::deque<COxByteArray> parts = COxByteArray("a,b,,c,").split(',');
    ASSERT_EQ(parts.size(), 5u);
    EXPECT_EQ(parts[1], "b");
    EXPECT_TRUE(parts[2].isEmpty());
    EXPECT_TRUE(parts[4].isEmpty());
    const COxByteArray noSep("abc");
    ASSERT_EQ(noSep.split(',').size(), 1u);
    EXPECT_TRUE(noSep.split(',')[0].isSharedWith(noSep));
}

TEST(OxByteArray, TransformationsShareWhenUnchanged)
{
    EXPECT_EQ(COxByteArray("MiXeD \xc0\xc9\xde\xd7\xdf").toLower(), "mixed \xe0\xe9\xfe\xd7\xdf");
    EXPECT_EQ(COxByteArray("MiXeD \xe0\xe9\xfe\xf7\xff").toUpper(), "MIXED \xc0\xc9\xde\xf7\xff");
    const COxByteArray lower("already lower \xe9");
    EXPECT_TRUE(lower.toLower().isSharedWith(lower));
    for (int c = 0; c < 256; ++c) {
        const COxByteArray one(1, char(c));
        const bool capital = (c >= 'A' && c <= 'Z') || (c >= 0xc0 && c <= 0xde && c != 0xd7);
        ASSERT_EQ(uchar(one.toLower().at(0)), capital ? c + 32 : c) << c;
    }

    EXPECT_EQ(COxByteArray(" \t\x85 x y \xa0\n").trimmed(), "x y");
    const COxByteArray clean("x y");
    EXPECT_TRUE(clean.trimmed().isSharedWith(clean) && clean.simplified().isSharedWith(clean));
    EXPECT_TRUE(COxByteArray("  ").trimmed().isEmpty() && !COxByteArray("  ").trimmed().isNull());
    EXPECT_EQ(COxByteArray("  a \t\n b  c ").simplified(), "a b c");
    EXPECT_TRUE(COxByteArray(" \r ").simplified().isEmpty());
}

TEST(OxByteArray, HexDump)
{
    const char bytes[] = {'\x00', '\xab'};
    EXPECT_EQ(COxByteArray(bytes, 2).toHex(':'), "00:ab");
    EXPECT_EQ(COxByteArray(bytes, 2).toHex(), "00ab");
    EXPECT_EQ(COxByteArray("z").toHex('-'), "7a");
    EXPECT_TRUE(COxByteArray("").toHex().isNull());
    EXPECT_TRUE(COxByteArray().toHex(':').isNull());
}

TEST(OxByteArray, BadInputNeverCrashes)
{
    COxByteArray a("data");
    a.insert(-1, "x").insert(1, nullptr).insert(1, "abc", -2).insert(2, -3, 'q');
    a.append(nullptr).append(nullptr, 3).append(static_cast<const char*>("xyz"), 0);
    a.remove(-4, 2).remove(1, -1);
    a.replace(-1, 1, "x").replace(10, 1, "x").replace(nullptr, "x").replace(0, 1, nullptr);
    EXPECT_EQ(a, "ata");
    EXPECT_EQ(a.indexOf(static_cast<const char*>(nullptr)), -1);
    EXPECT_EQ(a.indexOf('a', -100), 0);
    EXPECT_EQ(a.indexOf('a', 100), -1);
    EXPECT_EQ(a.lastIndexOf("a", -100), -1);
    EXPECT_EQ(a.count(static_cast<const char*>(nullptr)), 0);
    a.resize(COxByteArray::MaxSize + 1);
    EXPECT_EQ(a, "ata");
    a.reserve(-5);
    a.fill('f', -1);
    EXPECT_EQ(a, "fff");
    EXPECT_TRUE(COxByteArray(-1, 'x').isEmpty());
    EXPECT_TRUE(COxByteArray("ab").repeated(COxByteArray::MaxSize).isNull());
    EXPECT_EQ(COxByteArray("ab").mid(-5, -5), "ab");
}

} // namespace
