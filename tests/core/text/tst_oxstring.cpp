#include "core/text/oxstring.h"

#include "texttestsupport.h"

#include <gtest/gtest.h>

#include <string>

namespace {

bool isPowerOfTwo(long v) { return v > 0 && (v & (v - 1)) == 0; }

// The parts joined by '|', so one comparison checks their number and text.
std::string joined(const std::deque<COxString>& parts)
{
    std::string all;
    for (size_t i = 0; i < parts.size(); ++i)
        all += (i ? "|" : "") + bytes(parts[i].toUtf8());
    return all;
}

TEST(OxString, NullAndEmptyAreDistinct)
{
    const COxString null;
    const COxString empty("");
    EXPECT_TRUE(null.isNull());
    EXPECT_EQ(null.utf16()[0], 0);
    EXPECT_FALSE(empty.isNull());
    EXPECT_EQ(empty, null); // equal as text

    // Each producer gives an empty string; only these are null.
    const COxChar c('x');
    const struct {
        COxString s;
        bool null;
    } cases[] = {
        {null, true}, {empty, false},
        {COxString::fromUtf8(nullptr), true}, {COxString::fromUtf8("", 0), false},
        {COxString::fromLatin1(nullptr, 4), true}, {COxString(static_cast<const COxChar*>(nullptr), 3), true},
        {COxString::fromRawData(nullptr, 3), true}, {COxString::fromRawData(&c, 0), false},
        {COxString("abc").mid(4), true}, {COxString("abc").mid(3), false},
        {null.trimmed(), true}, {COxString(" \t ").trimmed(), false},
    };
    for (size_t i = 0; i < sizeof cases / sizeof cases[0]; ++i) {
        EXPECT_EQ(cases[i].s.isNull(), cases[i].null) << "case " << i;
        EXPECT_TRUE(cases[i].s.isEmpty()) << "case " << i;
    }
    EXPECT_TRUE(null.toUtf8().isNull() && null.toLatin1().isNull());
    EXPECT_FALSE(empty.toUtf8().isNull() || empty.toLatin1().isNull());

    COxString s("abc");
    s.resize(-5);
    EXPECT_EQ(s.size(), 0);
    EXPECT_FALSE(s.isNull());
    s.clear();
    EXPECT_TRUE(s.isNull());
}

TEST(OxString, CopiesShareUntilOneWrites)
{
    COxString a(COxString("shared text"));
    COxString b = a;
    EXPECT_TRUE(a.isSharedWith(b));
    EXPECT_FALSE(a.isDetached());

    a[0] = COxChar('S');
    EXPECT_FALSE(a.isSharedWith(b));
    EXPECT_EQ(a, "Shared text");
    EXPECT_EQ(b, "shared text");

    COxString c = b;
    b.append('!');
    EXPECT_EQ(c, "shared text");
    c.replace(0, 6, COxString("common"));
    EXPECT_EQ(b, "shared text!");
    EXPECT_EQ(c, "common text");

    // Self-assignment and moves leave a consistent value.
    COxString& alias = c;
    c = alias;
    EXPECT_EQ(c, "common text");
    COxString moved(std::move(c));
    EXPECT_TRUE(c.isNull());
    EXPECT_EQ(moved, "common text");
    c = std::move(moved);
    EXPECT_EQ(c, "common text");
}

TEST(OxString, WritesToAnUnsharedStringStayInPlace)
{
    COxString s(64, COxChar('a'));
    s.reserve(200);
    const ushort* p = s.utf16();
    s[3] = COxChar('b');
    for (int i = 0; i < 100; ++i)
        s.append(COxChar('c'));
    s.insert(10, COxLatin1String("xyz"));
    s.replace(COxChar('c'), COxChar('d'));
    s.resize(20);
    s.remove(0, 2);
    EXPECT_EQ(s.utf16(), p);
    EXPECT_EQ(s.capacity(), 200);
    EXPECT_EQ(s, "ab" + COxString(6, COxChar('a')) + "xyz" + COxString(7, COxChar('a')));

    // squeeze drops the reservation and gives memory back.
    s.squeeze();
    EXPECT_EQ(s.capacity(), s.size());
}

TEST(OxString, AppendGrowsGeometrically)
{
    COxString s;
    const ushort* last = nullptr;
    int moves = 0;
    for (int i = 0; i < 5000; ++i) {
        s.append(COxChar('a' + i % 26));
        if (s.utf16() != last)
            ++moves;
        last = s.utf16();
        // An appended block is rounded to a power of two in bytes.
        ASSERT_TRUE(isPowerOfTwo((s.capacity() + 1) * 2L + 24)) << s.capacity();
    }
    EXPECT_LE(moves, 16);
    EXPECT_EQ(s.size(), 5000);
    EXPECT_EQ(s.at(4999), COxChar('a' + 4999 % 26));
    EXPECT_EQ(s.utf16()[5000], 0);

    // A failed allocation leaves the string as it was.
    s.resize(0x7fffffff);
    EXPECT_EQ(s.size(), 5000);
    COxString big(0x7fffffff, COxChar('x'));
    EXPECT_TRUE(big.isEmpty());
}

TEST(OxString, RawDataIsNeverWrittenThrough)
{
    char16_t buffer[] = u"abcdef";
    const std::u16string original(buffer);
    const COxChar* raw = reinterpret_cast<const COxChar*>(buffer);

    COxString s = COxString::fromRawData(raw, 4);
    EXPECT_EQ(s.constData(), raw);
    EXPECT_EQ(s, "abcd");
    COxString shared = s.mid(0);
    EXPECT_EQ(shared.constData(), raw);

    // utf16() needs a terminator: it copies.
    const ushort* terminated = s.utf16();
    EXPECT_NE(static_cast<const void*>(terminated), static_cast<const void*>(buffer));
    EXPECT_EQ(terminated[4], 0);

    COxString shrink = COxString::fromRawData(raw, 6);
    shrink.resize(3);
    EXPECT_EQ(shrink.constData(), raw);
    EXPECT_EQ(shrink, "abc");
    shrink.append(COxChar('!'));
    EXPECT_EQ(shrink, "abc!");
    EXPECT_NE(shrink.constData(), raw);

    COxString edit = COxString::fromRawData(raw, 6);
    edit[0] = COxChar('z');
    edit.replace(COxChar('b'), COxChar('y'));
    edit.fill(COxChar('q'), 2);
    EXPECT_EQ(edit, "qq");
    COxString lower = COxString::fromRawData(raw, 6);
    lower.truncate(2);
    lower.chop(1);
    lower.fill(COxChar('w'));
    EXPECT_EQ(lower, "w");
    EXPECT_EQ(std::u16string(buffer), original);

    COxString reused = COxString::fromRawData(raw, 2);
    reused.setRawData(raw + 2, 3);
    EXPECT_EQ(reused, "cde");
    reused.setRawData(nullptr, 3);
    EXPECT_TRUE(reused.isNull());
}

TEST(OxString, InsertAppendRemoveReplace)
{
    COxString s("abc");
    s.insert(5, COxChar('x'));
    EXPECT_EQ(s, "abc  x");
    s.insert(-1, COxChar('y'));
    s.insert(0, static_cast<const COxChar*>(nullptr), 3);
    s.insert(1, COxLatin1String("", 0));
    EXPECT_EQ(s, "abc  x");
    s.insert(0, s);
    s.append(s.constData() + 6, 3);
    s.append(s.midRef(0, 2));
    s.prepend(COxLatin1String("<"));
    s += ">";
    EXPECT_EQ(s, "<abc  xabc  xabcab>");

    s.remove(0, 1).remove(-1, 2).remove(100, 1).remove(3, 0);
    EXPECT_EQ(s, "abc  xabc  xabcab>");
    s.remove(s.size() - 1, 50);
    s.remove(COxString("  x"));
    EXPECT_EQ(s, "abcabcabcab");
    s.remove(COxChar('B'), Ox::CaseInsensitive);
    EXPECT_EQ(s, "acacaca");

    s.replace(COxString("ca"), COxString("[CA]"));
    EXPECT_EQ(s, "a[CA][CA][CA]");
    s.replace(COxString("[ca]"), COxString("-"), Ox::CaseInsensitive);
    EXPECT_EQ(s, "a---");
    s.replace(COxChar('-'), COxLatin1String("=="));
    s.replace(1, 3, COxChar('#'));
    s.replace(4, -1, COxString("tail"));
    s.replace(10, 1, COxString("no"));
    EXPECT_EQ(s, "a#==tail");

    // The replacement and the needle may be parts of the string itself.
    COxString self("xyxy");
    self.replace(self.midRef(0, 2).toString(), self);
    EXPECT_EQ(self, "xyxyxyxy");
    COxString own("abab");
    own.replace(own.constData(), 2, own.constData() + 1, 3);
    EXPECT_EQ(own, "babbab");

    // An empty needle matches between all units.
    COxString gaps("ab");
    gaps.replace(COxString(""), COxString("."));
    EXPECT_EQ(gaps, ".a.b.");

    // Many matches go through several batches.
    COxString many(3000, COxChar('a'));
    many.replace(COxChar('a'), COxString("bc"));
    EXPECT_EQ(many.size(), 6000);
    many.replace(COxString("bc"), COxString("d"));
    EXPECT_EQ(many, COxString(3000, COxChar('d')));

    COxString f("abcdef");
    f.truncate(4);
    f.chop(10);
    f.fill(COxChar('z'), 3);
    f.resize(5, COxChar('+'));
    f.expand(7);
    EXPECT_EQ(f, "zzz++   ");
}

TEST(OxString, CaseSensitiveAndInsensitiveComparison)
{
    EXPECT_LT(COxString("abc").compare(COxString("abd")), 0);
    EXPECT_EQ(COxString("ab").compare(COxString("abc")), -1);
    EXPECT_NE(COxString("ABC").compare(COxString("abc")), 0);
    EXPECT_EQ(COxString("ABC").compare(COxString("abc"), Ox::CaseInsensitive), 0);
    EXPECT_EQ(COxString("Abc").compare(COxLatin1String("aBC"), Ox::CaseInsensitive), 0);
    EXPECT_NE(units(u"\u00c9").compare(units(u"\u00e9"), Ox::CaseInsensitive), 0);
    EXPECT_EQ(COxString("ab").compare(COxString("ABC"), Ox::CaseInsensitive), -1);
    EXPECT_EQ(COxString("abcd").compare(COxString("ABC"), Ox::CaseInsensitive), 1);
    EXPECT_LT(COxString("[").compare(COxString("a"), Ox::CaseInsensitive), 0) << "'[' sorts before folded 'A'";
    EXPECT_GT(COxString("[").compare(COxString("A")), 0);

    // Ignoring case, a low surrogate after a high one reads as the pair's
    // code point: D800 DC00 (U+10000) then sorts after D800 E000, while unit
    // by unit it sorts before. The high units themselves compare as units.
    const COxString pair = units(std::u16string{0xd800, 0xdc00});
    const COxString highThenPrivate = units(std::u16string{0xd800, 0xe000});
    EXPECT_LT(pair.compare(highThenPrivate), 0);
    EXPECT_GT(pair.compare(highThenPrivate, Ox::CaseInsensitive), 0);
    EXPECT_LT(pair.compare(units(u"\ue000"), Ox::CaseInsensitive), 0);
    const COxString loneLow = units(std::u16string{'a', 0xdc00});
    EXPECT_LT(loneLow.compare(COxString("a") + units(u"\ue000"), Ox::CaseInsensitive), 0);

    // Null operand rules of the case-insensitive helper.
    const COxChar x('x');
    EXPECT_EQ(COxString::compare_helper(static_cast<const COxChar*>(nullptr), 0, &x, 1, Ox::CaseInsensitive), 1);
    EXPECT_EQ(COxString::compare_helper(&x, 1, static_cast<const COxChar*>(nullptr), 0, Ox::CaseInsensitive), -1);
    EXPECT_EQ(COxString::compare_helper(&x, 1, &x, 0, Ox::CaseInsensitive), 1);
    EXPECT_EQ(COxString::compare_helper(nullptr, 5, &x, 1), -1);
    EXPECT_EQ(COxString::compare_helper(&x, 1, "x", 1), 0);
    EXPECT_LT(COxString::compare_helper(&x, 1, "\xc3\xa9", 2), 0);

    EXPECT_TRUE(COxString("\xe9") == COxLatin1String("\xe9") && "b" > COxString("a"));
}

TEST(OxString, SearchMembers)
{
    const COxString s("Hello hello HELLO");
    EXPECT_EQ(s.indexOf(COxString("hello"), -5, Ox::CaseInsensitive), 12);
    EXPECT_EQ(s.indexOf(COxString("HELLO"), -100), 12);
    EXPECT_EQ(s.indexOf(COxString(""), 17), 17);
    EXPECT_EQ(s.indexOf(COxString(""), 18), -1);
    EXPECT_EQ(s.indexOf(COxChar('H'), 1), 12);
    EXPECT_EQ(s.lastIndexOf(COxChar('l'), 5), 3);
    EXPECT_EQ(s.count(COxChar('l'), Ox::CaseInsensitive), 6);
    EXPECT_EQ(COxString("abc").count(COxString("")), 4);
    EXPECT_TRUE(s.startsWith(COxString("hELLO"), Ox::CaseInsensitive) && !s.startsWith(COxString("hELLO")));
    EXPECT_TRUE(s.endsWith(s.midRef(14), Ox::CaseInsensitive));
    EXPECT_TRUE(s.endsWith(COxString()));
    EXPECT_FALSE(COxString().startsWith(COxChar('a')));
    EXPECT_FALSE(COxString("ab").endsWith(COxString("abc")));
}

TEST(OxString, ExtractionClampsItsRange)
{
    const COxString s("0123456789");
    EXPECT_TRUE(s.mid(0, -1).isSharedWith(s) && s.left(-1).isSharedWith(s) && s.right(30).isSharedWith(s));
    EXPECT_TRUE(s.mid(10, 1).isEmpty() && !s.mid(10, 1).isNull());
    EXPECT_EQ(s.left(3) + s.right(3), "012789");
    EXPECT_EQ(s.leftRef(2).toString() + s.rightRef(2).toString(), "0189");
    EXPECT_TRUE(s.midRef(11).isNull());
    EXPECT_EQ(s.midRef(2, 5).mid(1, 2).toString(), "34");

    EXPECT_EQ(COxString("ab").repeated(3), "ababab");
    EXPECT_EQ(COxString("ab").leftJustified(5, COxChar('.')), "ab...");
    EXPECT_EQ(COxString("abcdef").leftJustified(3), "abcdef");
    EXPECT_EQ(COxString("abcdef").leftJustified(3, COxChar(' '), true), "abc");
    EXPECT_EQ(COxString("ab").rightJustified(4, COxChar('0')), "00ab");
    EXPECT_EQ(COxString("abcdef").rightJustified(2, COxChar(' '), true), "ab");
}

TEST(OxString, Section)
{
    const COxString csv("forename,middlename,surname,phone");
    EXPECT_EQ(csv.section(COxChar(','), 2, 2), "surname");
    EXPECT_EQ(csv.section(COxChar(','), -3, -2), "middlename,surname");
    EXPECT_EQ(csv.section(COxString(","), 1, 2, COxString::SectionIncludeLeadingSep), ",middlename,surname");
    EXPECT_EQ(csv.section(COxString(","), 1, 2, COxString::SectionIncludeTrailingSep), "middlename,surname,");
    EXPECT_EQ(csv.section(COxString(","), 3, 3, COxString::SectionIncludeTrailingSep), "phone");
    EXPECT_TRUE(csv.section(COxChar(','), 4, 5).isNull() && csv.section(COxChar(','), 2, 1).isNull());
    EXPECT_EQ(csv.section(COxChar(','), -10, 0), "forename");

    const COxString path("//usr//local/bin/");
    EXPECT_TRUE(path.section(COxChar('/'), 3, 3).isEmpty() && !path.section(COxChar('/'), 3, 3).isNull());
    EXPECT_EQ(path.section(COxChar('/'), -1, -1, COxString::SectionSkipEmpty), "bin");
    EXPECT_EQ(path.section(COxChar('/'), 1, 1, COxString::SectionSkipEmpty | COxString::SectionIncludeLeadingSep
                                                   | COxString::SectionIncludeTrailingSep),
              "/local/");
    EXPECT_TRUE(path.section(COxChar('/'), 3, 3, COxString::SectionSkipEmpty).isNull());

    const COxString words("oneSEPtwosepthree");
    EXPECT_EQ(words.section(COxString("sep"), 1, 1), "three");
    EXPECT_EQ(words.section(COxString("sep"), 1, 1, COxString::SectionCaseInsensitiveSeps), "two");
    EXPECT_TRUE(COxString().section(COxChar(','), 0, 0).isNull());
}

TEST(OxString, SplitAndSplitRef)
{
    const COxString s("a,,b,c,");
    EXPECT_EQ(joined(s.split(COxChar(','))), "a||b|c|");
    EXPECT_EQ(joined(s.split(COxString(","), COxString::SkipEmptyParts)), "a|b|c");
    EXPECT_EQ(joined(COxString("abc").split(COxString(""))), "|a|b|c|");
    EXPECT_EQ(joined(COxString("1x2X3").split(COxChar('x'), COxString::KeepEmptyParts, Ox::CaseInsensitive)),
              "1|2|3");
    std::deque<COxString> whole = s.split(COxString(";"));
    ASSERT_EQ(whole.size(), 1u);
    EXPECT_TRUE(whole[0].isSharedWith(s));

    std::deque<COxStringRef> refs = s.splitRef(COxChar(','), COxString::SkipEmptyParts);
    ASSERT_EQ(refs.size(), 3u);
    EXPECT_EQ(refs[1].position(), 3);
    EXPECT_EQ(refs[1].string(), &s);
    EXPECT_EQ(refs[2].toString(), "c");
}

TEST(OxString, TrimmedAndSimplified)
{
    EXPECT_EQ(COxString("\t\n x \r").trimmed(), "x");
    const COxString emSpaces = units(u"\u2003\u2003");
    EXPECT_TRUE(emSpaces.trimmed().isSharedWith(emSpaces) && emSpaces.simplified().isSharedWith(emSpaces));
    const COxString spaces = units(u"\u00a0\u0085\u1680\u180e\u2000\u2006\u2008\u2009\u200a\u2028\u2029\u205f\u3000\v\f");
    EXPECT_TRUE(spaces.trimmed().isEmpty());
    EXPECT_TRUE(units(u"\u2001\u2002\u2004\u2005\u2007").trimmed().size() == 5);

    const COxString clean("a b c");
    EXPECT_TRUE(clean.trimmed().isSharedWith(clean) && clean.simplified().isSharedWith(clean));
    EXPECT_EQ(COxString("  lots\t of\nspace  ").simplified(), "lots of space");
    EXPECT_EQ(COxString("a\tb").simplified(), "a b");
    EXPECT_TRUE(COxString(" \t").simplified().isEmpty() && !COxString(" \t").simplified().isNull());
    EXPECT_TRUE(COxString().simplified().isNull());

    // On an unshared rvalue the buffer is reused.
    COxString t("  trim me  ");
    const ushort* p = t.utf16();
    COxString trimmed = std::move(t).trimmed();
    EXPECT_EQ(trimmed, "trim me");
    EXPECT_EQ(trimmed.utf16(), p);

    // A shared rvalue is copied, leaving the other owner alone.
    COxString v("  v  ");
    COxString w = v;
    EXPECT_EQ(std::move(w).trimmed(), "v");
    EXPECT_EQ(v, "  v  ");
}

TEST(OxString, CaseConversionIsAsciiOnly)
{
    const COxString mixed = units(u"Stra\u00dfe \u00c9T\u00c9 \U0001D400Z");
    EXPECT_EQ(toStd(mixed.toLower()), u"stra\u00dfe \u00c9t\u00c9 \U0001D400z");
    EXPECT_EQ(toStd(mixed.toUpper()), u"STRA\u00dfE \u00c9T\u00c9 \U0001D400Z");

    const COxString lower("already lower 123");
    EXPECT_TRUE(lower.toLower().isSharedWith(lower));
    const COxString upper = units(u"\u00e9T\u00c9");
    EXPECT_TRUE(upper.toUpper().isSharedWith(upper));
    COxString shared("KEEP");
    COxString other = shared;
    EXPECT_EQ(std::move(other).toLower(), "keep");
    EXPECT_EQ(shared, "KEEP");
}

TEST(OxString, HtmlEscapingAndSimpleText)
{
    EXPECT_EQ(COxString("a<b & c>").toHtmlEscaped(), "a&lt;b &amp; c&gt;");
    EXPECT_EQ(COxString("say \"hi\"").toHtmlEscaped(), "say &quot;hi&quot;");

    // Complex scripts are U+0590..U+10FF and U+FB10 on: the edges of both.
    EXPECT_TRUE(units(u"caf\u00e9 \u058f").isSimpleText() && units(u"\u1100\ufb0f").isSimpleText());
    EXPECT_FALSE(units(u"\u0590").isSimpleText() || units(u"ab\u10ff").isSimpleText());
    EXPECT_FALSE(units(u"\ufb10").isSimpleText());
    EXPECT_TRUE(units(u"\U0001F600").isSimpleText()) << "surrogates lie outside both ranges";
}

TEST(OxString, BadArgumentsNeverCrash)
{
    COxString s("text");
    s.insert(-3, COxLatin1String("x"));
    s.insert(2, static_cast<const COxChar*>(nullptr), -1);
    s.append(static_cast<const COxChar*>(nullptr), 5);
    s.append(s.constData(), -4);
    s.remove(-1, -1);
    s.replace(-1, 2, COxString("x"));
    s.replace(1, 2, static_cast<const COxChar*>(nullptr), 7);
    EXPECT_EQ(s, "tt");
    s.replace(nullptr, -2, nullptr, -3);
    s.truncate(-7);
    s.chop(-2);
    s.expand(-4);
    s.setUnicode(nullptr, 9);
    EXPECT_TRUE(s.isNull());
    s.reserve(-10);
    s.fill(COxChar('a'), -1);
    EXPECT_EQ(COxString("abc").mid(-5, -5).size(), 3);
    EXPECT_TRUE(COxString("abc").mid(-5, 2).isNull());
    const COxChar a('a');
    EXPECT_EQ(COxString::indexOf_helper(nullptr, 5, &a, 1, 0, Ox::CaseSensitive), -1);
    EXPECT_EQ(COxString::indexOf_helper(nullptr, 5, nullptr, 2, 0, Ox::CaseSensitive), 0) << "empty needle";
    EXPECT_EQ(COxString::lastIndexOf_helper(nullptr, -1, COxChar('a'), -9, Ox::CaseInsensitive), -1);
    EXPECT_EQ(COxString("abc").lastIndexOf(COxString("c"), 10), 2);
    EXPECT_EQ(COxString("abc").lastIndexOf(COxString("bc"), -10), -1);
    EXPECT_TRUE(COxString("abc").repeated(-2).isEmpty());
    EXPECT_TRUE(COxString("ab").repeated(0x40000000).isNull());
    EXPECT_TRUE(COxString::fromUtf16(static_cast<const ushort*>(nullptr)).isNull());
    EXPECT_TRUE(COxString::fromUcs4(static_cast<const uint*>(nullptr), 3).isNull());
}

} // namespace
