#include "core/text/oxstring.h"

#include "texttestsupport.h"

#include <gtest/gtest.h>

#include <string>

namespace {

char16_t fold(char16_t c, bool ci) { return ci && c >= 'A' && c <= 'Z' ? char16_t(c + 32) : c; }

bool matchesAt(const std::u16string& h, size_t at, const std::u16string& n, bool ci)
{
    for (size_t k = 0; k < n.size(); ++k) {
        if (fold(h[at + k], ci) != fold(n[k], ci))
            return false;
    }
    return true;
}

int naiveIndexOf(const std::u16string& h, const std::u16string& n, int from, bool ci)
{
    for (int i = from; i + int(n.size()) <= int(h.size()); ++i) {
        if (matchesAt(h, size_t(i), n, ci))
            return i;
    }
    return -1;
}

int naiveLastIndexOf(const std::u16string& h, const std::u16string& n, bool ci)
{
    for (int i = int(h.size()) - int(n.size()); i >= 0; --i) {
        if (matchesAt(h, size_t(i), n, ci))
            return i;
    }
    return -1;
}

// The alphabet mixes cases, units that share a low byte with ASCII letters
// (0x141, 0x161: the skip table indexes by low byte) and surrogates.
std::u16string randomText(Lcg& rng, int len)
{
    static const char16_t alphabet[] = {'a', 'A', 'b', 'B', 'x', 0x141, 0x161, 0xd83d, 0xde00, 'a', 'a'};
    std::u16string s;
    for (int i = 0; i < len; ++i)
        s += alphabet[rng.next() % (sizeof(alphabet) / sizeof(alphabet[0]))];
    return s;
}

TEST(OxStringSearch, AgreesWithANaiveSearchInBothCaseModes)
{
    Lcg rng{2024};
    for (int round = 0; round < 1500; ++round) {
        const std::u16string hay = randomText(rng, int(rng.next() % 700));
        std::u16string needle;
        const int needleLen = round % 10 == 0 ? 250 + int(rng.next() % 60) : 1 + int(rng.next() % 12);
        if (rng.next() % 2 && int(hay.size()) >= needleLen) {
            // Take the needle from the haystack (and flip some case) so that
            // there is something to find.
            needle = hay.substr(rng.next() % (hay.size() - size_t(needleLen) + 1), size_t(needleLen));
            for (char16_t& c : needle) {
                if (rng.next() % 3 == 0 && c >= 'a' && c <= 'z')
                    c = char16_t(c - 32);
            }
        } else {
            needle = randomText(rng, needleLen);
        }
        const COxString h = units(hay);
        const COxString n = units(needle);
        for (bool ci : {false, true}) {
            const Ox::CaseSensitivity cs = ci ? Ox::CaseInsensitive : Ox::CaseSensitive;
            const int from = int(rng.next() % (hay.size() + 1));
            ASSERT_EQ(h.indexOf(n, from, cs), naiveIndexOf(hay, needle, from, ci))
                << "round " << round << " needle " << needle.size() << " ci " << ci;
            ASSERT_EQ(h.lastIndexOf(n, -1, cs), naiveLastIndexOf(hay, needle, ci)) << "round " << round;
            int expectedCount = 0;
            for (int i = naiveIndexOf(hay, needle, 0, ci); i != -1; i = naiveIndexOf(hay, needle, i + 1, ci))
                ++expectedCount;
            ASSERT_EQ(h.count(n, cs), expectedCount) << "round " << round;
        }
    }
}

// Long needles and units sharing a low byte with ASCII are the oracle's
// business; here the folding limits and the other needle types.
TEST(OxStringSearch, FoldingAndNeedleTypes)
{
    EXPECT_EQ(units(u"xx\u00c9COLE").indexOf(units(u"\u00e9cole"), 0, Ox::CaseInsensitive), -1);
    EXPECT_EQ(units(u"xx\u00c9COLE").indexOf(units(u"\u00c9cole"), 0, Ox::CaseInsensitive), 2);
    const COxString text("The quick brown fox jumps over the lazy dog");
    EXPECT_EQ(text.indexOf(COxLatin1String("THE LAZY"), 0, Ox::CaseInsensitive), 31);
    EXPECT_EQ(text.lastIndexOf(COxLatin1String("the"), -1, Ox::CaseInsensitive), 31);
    const COxString words("jumps over");
    EXPECT_EQ(text.indexOf(words.midRef(0, 5)), 20);
    EXPECT_TRUE(text.contains(words.midRef(6), Ox::CaseSensitive));
    EXPECT_EQ(text.count(text.midRef(1, 2)), 2);
}

} // namespace
