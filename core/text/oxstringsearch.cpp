// COxString: search and comparison.
#include "core/text/oxstring.h"

#include "core/oxneon.h"
#include "core/text/oxrangecut.h"
#include "core/text/oxstring_p.h"
#include "core/text/oxstringref.h"

#include <cstring>

using namespace OxStringPrivate;

namespace {

// Needles from this length on are searched with the skip table.
constexpr int kSkipTableNeedle = 5;

// The value compared at position i: a low surrogate right after a high
// surrogate reads as the pair's code point, anything else is folded.
inline uint foldedAt(const ushort* s, int i)
{
    const uint c = s[i];
    if (COxChar::isLowSurrogate(c) && i > 0 && COxChar::isHighSurrogate(s[i - 1]))
        return COxChar::surrogateToUcs4(s[i - 1], ushort(c));
    return foldCase(c);
}

int compareUnits(const ushort* a, int la, const ushort* b, int lb)
{
    if (!a)
        la = 0;
    if (!b)
        lb = 0;
    const int n = la < lb ? la : lb;
    int i = 0;
    for (; i + 8 <= n; i += 8) {
        if (vminvq_u16(vceqq_u16(vld1q_u16(a + i), vld1q_u16(b + i))) != 0xffff)
            break;
    }
    for (; i < n; ++i) {
        if (a[i] != b[i])
            return int(a[i]) - int(b[i]);
    }
    return la - lb;
}

int compareUnitsFolded(const ushort* a, int la, const ushort* b, int lb)
{
    if (a == b)
        return la - lb;
    if (!a)
        return 1;
    if (!b)
        return -1;
    const int n = la < lb ? la : lb;
    for (int i = 0; i < n; ++i) {
        const uint x = foldedAt(a, i);
        const uint y = foldedAt(b, i);
        if (x != y)
            return int(x) - int(y);
    }
    if (la == lb)
        return 0;
    return la < lb ? -1 : 1;
}

int compareLatin1(const ushort* a, int la, const uchar* b, int lb, Ox::CaseSensitivity cs)
{
    if (cs == Ox::CaseSensitive) {
        if (!a)
            la = 0;
        if (!b)
            lb = 0;
        const int n = la < lb ? la : lb;
        for (int i = 0; i < n; ++i) {
            if (a[i] != b[i])
                return int(a[i]) - int(b[i]);
        }
        return la - lb;
    }
    if (!a)
        return b ? 1 : 0;
    if (!b)
        return -1;
    const int n = la < lb ? la : lb;
    for (int i = 0; i < n; ++i) {
        const uint x = foldedAt(a, i);
        const uint y = foldCase(b[i]);
        if (x != y)
            return int(x) - int(y);
    }
    if (la == lb)
        return 0;
    return la < lb ? -1 : 1;
}

inline bool windowMatches(const ushort* window, const ushort* needle, int n, Ox::CaseSensitivity cs)
{
    if (cs == Ox::CaseSensitive)
        return std::memcmp(window, needle, size_t(n) * kUnit) == 0;
    for (int k = 0; k < n; ++k) {
        if (foldedAt(window, k) != foldedAt(needle, k))
            return false;
    }
    return true;
}

// Substring search with a table of 256 one-byte shifts indexed by the low
// byte of the (folded) unit at the end of the current window. Surrogate
// pairs read as code points keep the low byte of their low surrogate, so
// the index never depends on where the window starts.
int findWithSkipTable(const ushort* hay, int hlen, int from, const ushort* needle, int nlen,
                      Ox::CaseSensitivity cs)
{
    uchar table[256];
    const int tracked = nlen < 255 ? nlen : 255;
    std::memset(table, tracked, sizeof(table));
    for (int k = nlen - tracked; k < nlen; ++k) {
        const uint v = cs == Ox::CaseSensitive ? needle[k] : foldedAt(needle, k);
        table[v & 0xff] = uchar(nlen - 1 - k);
    }

    const int last = nlen - 1;
    int pos = from;
    while (pos <= hlen - nlen) {
        const ushort* window = hay + pos;
        const uint tail = cs == Ox::CaseSensitive ? window[last] : foldedAt(window, last);
        int skip = table[tail & 0xff];
        if (skip == 0) {
            int k = last;
            if (cs == Ox::CaseSensitive) {
                while (k >= 0 && window[k] == needle[k])
                    --k;
            } else {
                while (k >= 0 && foldedAt(window, k) == foldedAt(needle, k))
                    --k;
            }
            if (k < 0)
                return pos;
            // When the mismatching unit occurs nowhere in the needle, no
            // window that still covers it can match.
            const uint miss = cs == Ox::CaseSensitive ? window[k] : foldedAt(window, k);
            skip = table[miss & 0xff] == nlen ? k + 1 : 1;
        }
        pos += skip;
    }
    return -1;
}

int findLastUnits(const ushort* hay, int hlen, int from, const ushort* needle, int nlen, Ox::CaseSensitivity cs)
{
    if (!hay || hlen < 0)
        hlen = 0;
    if (!needle || nlen < 0)
        nlen = 0;
    from = OxLastSearchStart(hlen, nlen, from);
    if (from < 0)
        return -1;
    for (int i = from; i >= 0; --i) {
        if (windowMatches(hay + i, needle, nlen, cs))
            return i;
    }
    return -1;
}

int findLastUnit(const ushort* s, int len, ushort ch, int from, Ox::CaseSensitivity cs)
{
    if (from < 0)
        from += len;
    else if (from >= len)
        from = len - 1;
    const uint target = cs == Ox::CaseSensitive ? ch : foldCase(ch);
    for (int i = from; i >= 0; --i) {
        if ((cs == Ox::CaseSensitive ? s[i] : foldCase(s[i])) == target)
            return i;
    }
    return -1;
}

} // namespace

namespace OxStringPrivate {

int findUnit(const ushort* s, int len, ushort ch, int from, Ox::CaseSensitivity cs)
{
    if (from < 0)
        from = from + len < 0 ? 0 : from + len;
    if (from >= len)
        return -1;
    int i = from;
    if (cs == Ox::CaseSensitive) {
        const uint16x8_t needle = vdupq_n_u16(ch);
        for (; i + 8 <= len; i += 8) {
            if (vmaxvq_u16(vceqq_u16(vld1q_u16(s + i), needle)))
                break;
        }
        for (; i < len; ++i) {
            if (s[i] == ch)
                return i;
        }
        return -1;
    }
    const uint folded = foldCase(ch);
    for (; i < len; ++i) {
        if (foldCase(s[i]) == folded)
            return i;
    }
    return -1;
}

int findUnits(const ushort* hay, int hlen, int from, const ushort* needle, int nlen, Ox::CaseSensitivity cs)
{
    if (!hay || hlen < 0)
        hlen = 0;
    if (!needle || nlen < 0)
        nlen = 0;
    if (from < 0)
        from = from + hlen < 0 ? 0 : from + hlen;
    if (int64_t(from) + nlen > hlen)
        return -1;
    if (nlen == 0)
        return from;
    if (nlen == 1)
        return findUnit(hay, hlen, needle[0], from, cs);
    if (nlen >= kSkipTableNeedle)
        return findWithSkipTable(hay, hlen, from, needle, nlen, cs);
    const ushort first = needle[0];
    const uint firstFolded = foldCase(first);
    for (int i = from; i <= hlen - nlen; ++i) {
        const bool lead = cs == Ox::CaseSensitive ? hay[i] == first : foldCase(hay[i]) == firstFolded;
        if (lead && windowMatches(hay + i, needle, nlen, cs))
            return i;
    }
    return -1;
}

} // namespace OxStringPrivate

// ---------------------------------------------------------------------------
// Search

int COxString::indexOf_helper(const COxChar* haystack, int haystackLen, const COxChar* needle, int needleLen,
                              int from, Ox::CaseSensitivity cs)
{
    return findUnits(asUnits(haystack), haystackLen, from, asUnits(needle), needleLen, cs);
}

int COxString::indexOf_helper(const COxChar* haystack, int haystackLen, COxLatin1String needle, int from,
                              Ox::CaseSensitivity cs)
{
    const COxString wide(needle);
    return findUnits(asUnits(haystack), haystackLen, from, wide.units(), wide.size(), cs);
}

int COxString::indexOf_helper(const COxChar* haystack, int haystackLen, COxChar ch, int from, Ox::CaseSensitivity cs)
{
    if (!haystack || haystackLen < 0)
        return -1;
    return findUnit(asUnits(haystack), haystackLen, ch.unicode(), from, cs);
}

int COxString::lastIndexOf_helper(const COxChar* haystack, int haystackLen, const COxChar* needle, int needleLen,
                                  int from, Ox::CaseSensitivity cs)
{
    return findLastUnits(asUnits(haystack), haystackLen, from, asUnits(needle), needleLen, cs);
}

int COxString::lastIndexOf_helper(const COxChar* haystack, int haystackLen, COxChar ch, int from,
                                  Ox::CaseSensitivity cs)
{
    if (!haystack || haystackLen < 0)
        return -1;
    return findLastUnit(asUnits(haystack), haystackLen, ch.unicode(), from, cs);
}

int COxString::count_helper(const COxChar* haystack, int haystackLen, const COxChar* needle, int needleLen,
                            Ox::CaseSensitivity cs)
{
    int n = 0;
    int i = -1;
    while ((i = findUnits(asUnits(haystack), haystackLen, i + 1, asUnits(needle), needleLen, cs)) != -1)
        ++n;
    return n;
}

int COxString::indexOf(const COxString& str, int from, Ox::CaseSensitivity cs) const
{
    return findUnits(units(), d->size, from, str.units(), str.size(), cs);
}

int COxString::indexOf(COxLatin1String str, int from, Ox::CaseSensitivity cs) const
{
    return indexOf_helper(constData(), d->size, str, from, cs);
}

int COxString::indexOf(COxChar ch, int from, Ox::CaseSensitivity cs) const
{
    return findUnit(units(), d->size, ch.unicode(), from, cs);
}

int COxString::indexOf(const COxStringRef& str, int from, Ox::CaseSensitivity cs) const
{
    return findUnits(units(), d->size, from, asUnits(str.unicode()), str.size(), cs);
}

int COxString::lastIndexOf(const COxString& str, int from, Ox::CaseSensitivity cs) const
{
    return findLastUnits(units(), d->size, from, str.units(), str.size(), cs);
}

int COxString::lastIndexOf(COxLatin1String str, int from, Ox::CaseSensitivity cs) const
{
    return lastIndexOf(COxString(str), from, cs);
}

int COxString::lastIndexOf(COxChar ch, int from, Ox::CaseSensitivity cs) const
{
    return findLastUnit(units(), d->size, ch.unicode(), from, cs);
}

int COxString::lastIndexOf(const COxStringRef& str, int from, Ox::CaseSensitivity cs) const
{
    return findLastUnits(units(), d->size, from, asUnits(str.unicode()), str.size(), cs);
}

int COxString::count(const COxString& str, Ox::CaseSensitivity cs) const
{
    return count_helper(constData(), d->size, str.constData(), str.size(), cs);
}

int COxString::count(COxLatin1String str, Ox::CaseSensitivity cs) const
{
    return count(COxString(str), cs);
}

int COxString::count(COxChar ch, Ox::CaseSensitivity cs) const
{
    const ushort* p = units();
    const uint target = cs == Ox::CaseSensitive ? ch.unicode() : foldCase(ch.unicode());
    int n = 0;
    for (int i = 0; i < d->size; ++i)
        n += (cs == Ox::CaseSensitive ? p[i] : foldCase(p[i])) == target;
    return n;
}

int COxString::count(const COxStringRef& str, Ox::CaseSensitivity cs) const
{
    return count_helper(constData(), d->size, str.unicode(), str.size(), cs);
}

bool COxString::startsWith(const COxString& str, Ox::CaseSensitivity cs) const
{
    return str.size() <= d->size && compare_helper(constData(), str.size(), str.constData(), str.size(), cs) == 0;
}

bool COxString::startsWith(COxLatin1String str, Ox::CaseSensitivity cs) const
{
    return str.size() <= d->size && compare_helper(constData(), str.size(), str, cs) == 0;
}

bool COxString::startsWith(COxChar ch, Ox::CaseSensitivity cs) const
{
    return d->size > 0 && compare_helper(constData(), 1, &ch, 1, cs) == 0;
}

bool COxString::startsWith(const COxStringRef& str, Ox::CaseSensitivity cs) const
{
    return str.size() <= d->size && compare_helper(constData(), str.size(), str.unicode(), str.size(), cs) == 0;
}

bool COxString::endsWith(const COxString& str, Ox::CaseSensitivity cs) const
{
    const int n = str.size();
    return n <= d->size && compare_helper(constData() + d->size - n, n, str.constData(), n, cs) == 0;
}

bool COxString::endsWith(COxLatin1String str, Ox::CaseSensitivity cs) const
{
    const int n = str.size();
    return n <= d->size && compare_helper(constData() + d->size - n, n, str, cs) == 0;
}

bool COxString::endsWith(COxChar ch, Ox::CaseSensitivity cs) const
{
    return d->size > 0 && compare_helper(constData() + d->size - 1, 1, &ch, 1, cs) == 0;
}

bool COxString::endsWith(const COxStringRef& str, Ox::CaseSensitivity cs) const
{
    const int n = str.size();
    return n <= d->size && compare_helper(constData() + d->size - n, n, str.unicode(), n, cs) == 0;
}

// ---------------------------------------------------------------------------
// Comparison

int COxString::compare_helper(const COxChar* data1, int length1, const COxChar* data2, int length2,
                              Ox::CaseSensitivity cs) noexcept
{
    if (length1 < 0)
        length1 = 0;
    if (length2 < 0)
        length2 = 0;
    if (cs == Ox::CaseSensitive)
        return compareUnits(asUnits(data1), length1, asUnits(data2), length2);
    return compareUnitsFolded(asUnits(data1), length1, asUnits(data2), length2);
}

int COxString::compare_helper(const COxChar* data1, int length1, COxLatin1String s2, Ox::CaseSensitivity cs) noexcept
{
    return compareLatin1(asUnits(data1), length1 < 0 ? 0 : length1, reinterpret_cast<const uchar*>(s2.latin1()),
                         s2.size(), cs);
}

int COxString::compare_helper(const COxChar* data1, int length1, const char* data2, int length2,
                              Ox::CaseSensitivity cs)
{
    const COxString s2 = fromUtf8_helper(data2, length2);
    return compare_helper(data1, length1, data2 ? s2.constData() : nullptr, s2.size(), cs);
}

int COxString::compare(const COxString& other, Ox::CaseSensitivity cs) const noexcept
{
    return compare_helper(constData(), d->size, other.constData(), other.size(), cs);
}

int COxString::compare(COxLatin1String other, Ox::CaseSensitivity cs) const noexcept
{
    return compare_helper(constData(), d->size, other, cs);
}

int COxString::compare(const COxStringRef& other, Ox::CaseSensitivity cs) const noexcept
{
    return compare_helper(constData(), d->size, other.unicode(), other.size(), cs);
}

bool COxString::operator==(COxLatin1String other) const noexcept
{
    return d->size == other.size() && compare_helper(constData(), d->size, other) == 0;
}

bool COxString::operator<(COxLatin1String other) const noexcept
{
    return compare_helper(constData(), d->size, other) < 0;
}

bool COxString::operator>(COxLatin1String other) const noexcept
{
    return compare_helper(constData(), d->size, other) > 0;
}
