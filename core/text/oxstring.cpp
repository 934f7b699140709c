#include "core/text/oxstring.h"

#include "core/oxneon.h"
#include "core/text/oxarrayops_p.h"
#include "core/text/oxrangecut.h"
#include "core/text/oxstringref.h"
#include "core/text/oxtextconvert.h"

#include <cstring>
#include <utility>

namespace {

using Ops = OxArrayOps<ushort>;
constexpr unsigned long kUnit = Ops::kElement;
constexpr int kMaxSize = Ops::kMaxSize;
// Needles from this length on are searched with the skip table.
constexpr int kSkipTableNeedle = 5;

inline const ushort* asUnits(const COxChar* p) { return reinterpret_cast<const ushort*>(p); }

int unitLength(const ushort* p)
{
    int n = 0;
    while (n < kMaxSize && p[n])
        ++n;
    return n;
}

int byteLength(const char* str)
{
    const size_t n = std::strlen(str);
    return n > size_t(COxByteArray::MaxSize) ? COxByteArray::MaxSize : int(n);
}

// Case folding for case-insensitive work: only A to Z change.
inline uint foldCase(uint c) { return c - 'A' < 26u ? c + 32 : c; }

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

int findLastUnits(const ushort* hay, int hlen, int from, const ushort* needle, int nlen, Ox::CaseSensitivity cs)
{
    if (!hay || hlen < 0)
        hlen = 0;
    if (!needle || nlen < 0)
        nlen = 0;
    if (from < 0)
        from += hlen;
    if (from > hlen)
        from = hlen;
    const int delta = hlen - nlen;
    if (from < 0 || delta < 0)
        return -1;
    if (from > delta)
        from = delta;
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

inline bool isSpaceUnit(ushort u) { return COxChar::isSpace(u); }

// The bounds of p[0, len) without its leading and trailing spaces.
void spaceTrimmedBounds(const ushort* p, int len, int* begin, int* end)
{
    int b = 0;
    int e = len;
    while (b < e && isSpaceUnit(p[b]))
        ++b;
    while (e > b && isSpaceUnit(p[e - 1]))
        --e;
    *begin = b;
    *end = e;
}

// Index of the first unit that a case conversion changes, or -1.
int firstCaseChange(const ushort* p, int len, bool lower)
{
    for (int i = 0; i < len; ++i) {
        const ushort u = p[i];
        if (COxChar::isHighSurrogate(u) && i + 1 < len && COxChar::isLowSurrogate(p[i + 1])) {
            ++i;
            continue;
        }
        if (lower ? uint(u) - 'A' < 26u : uint(u) - 'a' < 26u)
            return i;
    }
    return -1;
}

void convertCase(ushort* out, const ushort* in, int from, int len, bool lower)
{
    for (int i = from; i < len; ++i)
        out[i] = ushort(lower ? COxChar::toLower(in[i]) : COxChar::toUpper(in[i]));
}

// Whether simplified() would change anything: a leading or trailing space,
// a space other than U+0020, or two spaces in a row.
bool needsSimplifying(const ushort* p, int len)
{
    if (isSpaceUnit(p[0]) || isSpaceUnit(p[len - 1]))
        return true;
    for (int i = 0; i < len; ++i) {
        if (isSpaceUnit(p[i]) && (p[i] != ' ' || (i + 1 < len && isSpaceUnit(p[i + 1]))))
            return true;
    }
    return false;
}

// Writes the simplified form of in to out (which may be in) and returns
// its length.
int simplifyInto(ushort* out, const ushort* in, int len)
{
    int n = 0;
    bool pendingSpace = false;
    for (int i = 0; i < len; ++i) {
        const ushort u = in[i];
        if (isSpaceUnit(u)) {
            pendingSpace = true;
            continue;
        }
        if (pendingSpace && n > 0)
            out[n++] = ' ';
        pendingSpace = false;
        out[n++] = u;
    }
    return n;
}

template <class List, class Part>
void splitInto(List& list, const COxString& source, const COxChar* sep, int seplen,
               COxString::SplitBehavior behavior, Ox::CaseSensitivity cs, Part part)
{
    const bool keepEmpty = behavior == COxString::KeepEmptyParts;
    int start = 0;
    int extra = 0;
    int end;
    while ((end = COxString::indexOf_helper(source.constData(), source.size(), sep, seplen, start + extra, cs)) != -1) {
        if (start != end || keepEmpty)
            list.push_back(part(start, end - start));
        start = end + seplen;
        extra = seplen == 0 ? 1 : 0;
    }
    if (start != source.size() || keepEmpty)
        list.push_back(part(start, -1));
}

} // namespace

// ---------------------------------------------------------------------------
// Construction

COxString::COxString(const COxChar* unicode, int size)
{
    if (!unicode) {
        d = SOxArrayData::sharedNull();
        return;
    }
    if (size < 0)
        size = unitLength(asUnits(unicode));
    d = Ops::copy(unicode, size);
}

COxString::COxString(COxChar ch)
{
    SOxArrayData* x = Ops::allocate(1);
    if (x)
        static_cast<ushort*>(x->data())[0] = ch.unicode();
    d = x ? x : SOxArrayData::sharedNull();
}

COxString::COxString(int size, COxChar ch)
{
    if (size <= 0) {
        d = SOxArrayData::sharedEmpty();
        return;
    }
    SOxArrayData* x = Ops::allocate(size);
    if (x) {
        ushort* p = static_cast<ushort*>(x->data());
        for (int i = 0; i < size; ++i)
            p[i] = ch.unicode();
    }
    d = x ? x : SOxArrayData::sharedNull();
}

COxString::COxString(int size, Ox::Initialization)
{
    if (size <= 0) {
        d = SOxArrayData::sharedEmpty();
        return;
    }
    SOxArrayData* x = Ops::allocate(size);
    d = x ? x : SOxArrayData::sharedNull();
}

COxString COxString::emptyString() noexcept
{
    return COxString(SOxArrayData::sharedEmpty());
}

COxString& COxString::operator=(COxChar ch)
{
    if (isWritable(2)) {
        units()[0] = ch.unicode();
        setSize(1);
        return *this;
    }
    return *this = COxString(ch);
}

COxString COxString::fromUtf16(const ushort* unicode, int size)
{
    if (!unicode)
        return COxString();
    if (size < 0)
        size = unitLength(unicode);
    return COxString(Ops::copy(unicode, size));
}

COxString COxString::fromUcs4(const uint* unicode, int size)
{
    if (!unicode)
        return COxString();
    if (size < 0) {
        size = 0;
        while (size < kMaxSize && unicode[size])
            ++size;
    }
    int64_t units = 0;
    for (int i = 0; i < size; ++i)
        units += (unicode[i] >= 0x10000 && unicode[i] <= 0x10ffff) ? 2 : 1;
    if (units == 0)
        return emptyString();
    if (units > kMaxSize)
        return COxString();
    COxString result(int(units), Ox::Uninitialized);
    if (result.size() != units)
        return COxString();
    ushort* out = result.units();
    for (int i = 0; i < size; ++i) {
        const uint cp = unicode[i];
        if (cp < 0x10000) {
            *out++ = ushort(cp);
        } else if (cp <= 0x10ffff) {
            *out++ = COxChar::highSurrogate(cp);
            *out++ = COxChar::lowSurrogate(cp);
        } else {
            *out++ = COxChar::ReplacementCharacter;
        }
    }
    return result;
}

COxString& COxString::setUnicode(const COxChar* unicode, int size)
{
    if (!unicode)
        return *this = COxString();
    if (size < 0)
        size = unitLength(asUnits(unicode));
    if (!pointsIntoOwnBlock(unicode) && isWritable(uint(size) + 1u)) {
        // Reuse our own block.
        if (size)
            std::memcpy(units(), unicode, size_t(size) * kUnit);
        setSize(size);
        return *this;
    }
    return *this = COxString(unicode, size);
}

COxString COxString::fromRawData(const COxChar* unicode, int size)
{
    if (!unicode)
        return COxString();
    if (size <= 0)
        return emptyString();
    SOxArrayData* x = Ops::rawHeader(unicode, size);
    return x ? COxString(x) : COxString();
}

COxString& COxString::setRawData(const COxChar* unicode, int size)
{
    // Reuse our own header when we can.
    if (Ops::reuseRawHeader(d, unicode, size))
        return *this;
    return *this = fromRawData(unicode, size);
}

COxString COxString::fromLatin1_helper(const char* str, int size)
{
    if (!str)
        return COxString();
    if (size < 0)
        size = byteLength(str);
    if (size == 0)
        return emptyString();
    SOxArrayData* x = Ops::allocate(size);
    if (!x)
        return COxString();
    OxLatin1ToUtf16(static_cast<ushort*>(x->data()), reinterpret_cast<const uchar*>(str), size);
    return COxString(x);
}

COxString COxString::fromAscii_helper(const char* str, int size)
{
    return fromLatin1_helper(str, size);
}

COxString COxString::fromUtf8_helper(const char* str, int size, bool* hadInvalid)
{
    if (hadInvalid)
        *hadInvalid = false;
    if (!str)
        return COxString();
    if (size < 0)
        size = byteLength(str);
    if (size == 0)
        return emptyString();
    SOxArrayData* x = Ops::allocate(size);
    if (!x)
        return COxString();
    COxString result(x);
    const OxUtf8DecodeResult r = OxUtf8ToUtf16(result.units(), reinterpret_cast<const uchar*>(str), size,
                                               OxUtf8SkipByteOrderMark);
    if (hadInvalid)
        *hadInvalid = r.invalid;
    if (r.written == 0)
        return emptyString();
    result.setSize(r.written);
    return result;
}

COxString COxString::fromLocal8Bit_helper(const char* str, int size)
{
    return fromUtf8_helper(str, size);
}

// ---------------------------------------------------------------------------
// Size and storage

void COxString::reallocData(uint alloc, bool grow)
{
    Ops::reallocData(d, alloc, grow);
}

bool COxString::makeWritable(int64_t size, bool grow)
{
    return Ops::makeWritable(d, size, grow);
}

bool COxString::pointsIntoOwnBlock(const void* p) const noexcept
{
    return Ops::pointsIntoOwnBlock(d, p);
}

void COxString::setSize(int size) noexcept
{
    Ops::setSize(d, size);
}

void COxString::reserve(int size)
{
    Ops::reserve(d, size);
}

void COxString::squeeze()
{
    Ops::squeeze(d);
}

void COxString::resize(int size)
{
    Ops::resize(d, size);
}

void COxString::resize(int size, COxChar fillChar)
{
    const int old = d->size;
    resize(size);
    if (d->size > old && d->size == size) {
        ushort* p = units();
        for (int i = old; i < size; ++i)
            p[i] = fillChar.unicode();
    }
}

void COxString::truncate(int pos)
{
    if (pos < d->size)
        resize(pos);
}

void COxString::chop(int n)
{
    if (n > 0)
        resize(n >= d->size ? 0 : d->size - n);
}

COxString& COxString::fill(COxChar ch, int size)
{
    resize(size < 0 ? d->size : size);
    if (d->size > 0 && makeWritable(d->size, false)) {
        ushort* p = units();
        for (int i = 0; i < d->size; ++i)
            p[i] = ch.unicode();
    }
    return *this;
}

void COxString::clear()
{
    if (!isNull())
        *this = COxString();
}

void COxString::expand(int i)
{
    if (i < 0 || i >= kMaxSize)
        return;
    const int old = d->size;
    if (i < old) {
        detach();
        return;
    }
    resize(i + 1);
    if (d->size == i + 1) {
        ushort* p = units();
        for (int k = old; k <= i; ++k)
            p[k] = ' ';
    }
}

const ushort* COxString::utf16() const
{
    if (d->isRawData())
        const_cast<COxString*>(this)->reallocData(uint(d->size) + 1u);
    return units();
}

bool COxString::isSimpleText() const
{
    const ushort* p = units();
    for (int i = 0; i < d->size; ++i) {
        const ushort u = p[i];
        if ((u >= 0x0590 && u <= 0x10ff) || u >= 0xfb10)
            return false;
    }
    return true;
}

// ---------------------------------------------------------------------------
// Editing

COxString& COxString::insert(int i, COxChar ch)
{
    return insert(i, &ch, 1);
}

COxString& COxString::insert(int i, const COxChar* unicode, int size)
{
    if (i < 0 || !unicode || size <= 0)
        return *this;
    if (pointsIntoOwnBlock(unicode)) {
        const COxString copy(unicode, size);
        return insert(i, copy.constData(), copy.size());
    }
    if (ushort* p = Ops::openGap(d, i, size))
        std::memcpy(p + i, unicode, size_t(size) * kUnit);
    return *this;
}

COxString& COxString::insert(int i, COxLatin1String str)
{
    if (i < 0 || str.size() <= 0)
        return *this;
    if (pointsIntoOwnBlock(str.latin1())) {
        const COxString copy(str);
        return insert(i, copy.constData(), copy.size());
    }
    if (ushort* p = Ops::openGap(d, i, str.size()))
        OxLatin1ToUtf16(p + i, reinterpret_cast<const uchar*>(str.latin1()), str.size());
    return *this;
}

COxString& COxString::append(const COxString& str)
{
    if (str.isNull())
        return *this;
    if (d->size == 0 && d->isStatic() && !str.d->isRawData())
        return *this = str;
    return insert(d->size, str.constData(), str.size());
}

COxString& COxString::append(const COxChar* unicode, int size)
{
    return insert(d->size, unicode, size);
}

COxString& COxString::append(COxLatin1String str)
{
    return insert(d->size, str);
}

COxString& COxString::append(COxChar ch)
{
    if (makeWritable(int64_t(d->size) + 1, true)) {
        units()[d->size] = ch.unicode();
        setSize(d->size + 1);
    }
    return *this;
}

COxString& COxString::append(const COxStringRef& str)
{
    return insert(d->size, str.unicode(), str.size());
}

COxString& COxString::remove(int i, int len)
{
    Ops::removeRange(d, i, len);
    return *this;
}

COxString& COxString::remove(COxChar ch, Ox::CaseSensitivity cs)
{
    const int first = findUnit(units(), d->size, ch.unicode(), 0, cs);
    if (first < 0 || !makeWritable(d->size, false))
        return *this;
    ushort* p = units();
    const uint target = cs == Ox::CaseSensitive ? ch.unicode() : foldCase(ch.unicode());
    int out = first;
    for (int i = first; i < d->size; ++i) {
        const uint v = cs == Ox::CaseSensitive ? p[i] : foldCase(p[i]);
        if (v != target)
            p[out++] = p[i];
    }
    setSize(out);
    return *this;
}

COxString& COxString::remove(const COxString& str, Ox::CaseSensitivity cs)
{
    if (!str.isEmpty())
        replaceAll(str.constData(), str.size(), nullptr, 0, cs);
    return *this;
}

COxString& COxString::remove(COxLatin1String str, Ox::CaseSensitivity cs)
{
    return remove(COxString(str), cs);
}

void COxString::replace_helper(const uint* indices, int count, int blen, const COxChar* after, int alen)
{
    if (count <= 0)
        return;
    COxString afterCopy;
    if (alen > 0 && pointsIntoOwnBlock(after)) {
        afterCopy = COxString(after, alen);
        after = afterCopy.constData();
    }
    Ops::replaceRuns(d, indices, count, blen, asUnits(after), alen);
}

void COxString::replaceAll(const COxChar* before, int blen, const COxChar* after, int alen, Ox::CaseSensitivity cs)
{
    if (!before)
        return;
    if (blen < 0)
        blen = 0;
    if (!after || alen < 0)
        alen = 0;
    if (blen == 0 && alen == 0)
        return;
    if (d->size == 0 && blen)
        return;
    if (cs == Ox::CaseSensitive && before == after && blen == alen)
        return;
    // Needle and replacement must survive the edits of our own block.
    COxString beforeCopy;
    COxString afterCopy;
    if (blen && pointsIntoOwnBlock(before)) {
        beforeCopy = COxString(before, blen);
        before = beforeCopy.constData();
    }
    if (alen && pointsIntoOwnBlock(after)) {
        afterCopy = COxString(after, alen);
        after = afterCopy.constData();
    }
    Ops::replaceMatches<uint>(
        d, blen, alen, [&](int from) { return findUnits(units(), d->size, from, asUnits(before), blen, cs); },
        [&](const uint* indices, int found) { replace_helper(indices, found, blen, after, alen); });
}

COxString& COxString::replace(int i, int len, COxChar after)
{
    return replace(i, len, &after, 1);
}

COxString& COxString::replace(int i, int len, const COxChar* after, int alen)
{
    if (i < 0 || i > d->size)
        return *this;
    if (len < 0 || len > d->size - i)
        len = d->size - i;
    if (!after || alen < 0)
        alen = 0;
    const uint index = uint(i);
    replace_helper(&index, 1, len, after, alen);
    return *this;
}

COxString& COxString::replace(COxChar before, COxChar after, Ox::CaseSensitivity cs)
{
    if (cs == Ox::CaseSensitive && before == after)
        return *this;
    const int first = findUnit(units(), d->size, before.unicode(), 0, cs);
    if (first < 0 || !makeWritable(d->size, false))
        return *this;
    ushort* p = units();
    const uint target = cs == Ox::CaseSensitive ? before.unicode() : foldCase(before.unicode());
    for (int i = first; i < d->size; ++i) {
        if ((cs == Ox::CaseSensitive ? p[i] : foldCase(p[i])) == target)
            p[i] = after.unicode();
    }
    return *this;
}

COxString& COxString::replace(const COxChar* before, int blen, const COxChar* after, int alen, Ox::CaseSensitivity cs)
{
    replaceAll(before, blen, after, alen, cs);
    return *this;
}

COxString& COxString::replace(const COxString& before, const COxString& after, Ox::CaseSensitivity cs)
{
    replaceAll(before.constData(), before.size(), after.constData(), after.size(), cs);
    return *this;
}

COxString& COxString::replace(COxChar ch, const COxString& after, Ox::CaseSensitivity cs)
{
    replaceAll(&ch, 1, after.constData(), after.size(), cs);
    return *this;
}

COxString& COxString::replace(COxLatin1String before, COxLatin1String after, Ox::CaseSensitivity cs)
{
    return replace(COxString(before), COxString(after), cs);
}

COxString& COxString::replace(COxLatin1String before, const COxString& after, Ox::CaseSensitivity cs)
{
    return replace(COxString(before), after, cs);
}

COxString& COxString::replace(const COxString& before, COxLatin1String after, Ox::CaseSensitivity cs)
{
    return replace(before, COxString(after), cs);
}

COxString& COxString::replace(COxChar ch, COxLatin1String after, Ox::CaseSensitivity cs)
{
    return replace(ch, COxString(after), cs);
}

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

// ---------------------------------------------------------------------------
// Extraction

COxString COxString::mid(int position, int n) const
{
    switch (OxCutRange(d->size, &position, &n)) {
    case OxCut::Null:
        return COxString();
    case OxCut::Empty:
        return emptyString();
    case OxCut::Full:
        return *this;
    case OxCut::Subset:
        break;
    }
    return COxString(constData() + position, n);
}

COxString COxString::left(int n) const
{
    return mid(0, n);
}

COxString COxString::right(int n) const
{
    if (n < 0)
        return mid(0, -1);
    return mid(d->size - n < 0 ? 0 : d->size - n, n);
}

COxStringRef COxString::midRef(int position, int n) const
{
    switch (OxCutRange(d->size, &position, &n)) {
    case OxCut::Null:
        return COxStringRef();
    case OxCut::Empty:
        return COxStringRef(this, 0, 0);
    case OxCut::Full:
        return COxStringRef(this, 0, d->size);
    case OxCut::Subset:
        break;
    }
    return COxStringRef(this, position, n);
}

COxStringRef COxString::leftRef(int n) const
{
    return midRef(0, n);
}

COxStringRef COxString::rightRef(int n) const
{
    if (n < 0)
        return midRef(0, -1);
    return midRef(d->size - n < 0 ? 0 : d->size - n, n);
}

COxString COxString::section(COxChar sep, int start, int end, int flags) const
{
    return section(COxString(sep), start, end, flags);
}

COxString COxString::section(const COxString& sep, int start, int end, int flags) const
{
    if (isNull())
        return COxString();
    const std::deque<COxStringRef> sections =
        splitRef(sep, KeepEmptyParts, (flags & SectionCaseInsensitiveSeps) ? Ox::CaseInsensitive : Ox::CaseSensitive);
    const int total = int(sections.size());
    const bool skipEmpty = (flags & SectionSkipEmpty) != 0;
    int counted = total;
    if (skipEmpty) {
        counted = 0;
        for (const COxStringRef& s : sections)
            counted += s.isEmpty() ? 0 : 1;
    }
    if (start < 0)
        start += counted;
    if (end < 0)
        end += counted;
    if (start > end || end < 0 || start >= counted)
        return COxString();

    COxString result = emptyString();
    int index = 0;
    int firstTaken = -1;
    int lastTaken = -1;
    for (int i = 0; i < total && index <= end; ++i) {
        const COxStringRef& s = sections[size_t(i)];
        if (skipEmpty && s.isEmpty())
            continue;
        if (index >= start) {
            if (firstTaken >= 0)
                result += sep;
            result += s;
            if (firstTaken < 0)
                firstTaken = i;
            lastTaken = i;
        }
        ++index;
    }
    if ((flags & SectionIncludeLeadingSep) && firstTaken > 0)
        result.prepend(sep);
    if ((flags & SectionIncludeTrailingSep) && lastTaken >= 0 && lastTaken < total - 1)
        result += sep;
    return result;
}

std::deque<COxString> COxString::split(const COxString& sep, SplitBehavior behavior, Ox::CaseSensitivity cs) const
{
    std::deque<COxString> list;
    splitInto(list, *this, sep.constData(), sep.size(), behavior, cs,
              [this](int pos, int n) { return mid(pos, n); });
    return list;
}

std::deque<COxString> COxString::split(COxChar sep, SplitBehavior behavior, Ox::CaseSensitivity cs) const
{
    std::deque<COxString> list;
    splitInto(list, *this, &sep, 1, behavior, cs, [this](int pos, int n) { return mid(pos, n); });
    return list;
}

std::deque<COxStringRef> COxString::splitRef(const COxString& sep, SplitBehavior behavior,
                                             Ox::CaseSensitivity cs) const
{
    std::deque<COxStringRef> list;
    splitInto(list, *this, sep.constData(), sep.size(), behavior, cs,
              [this](int pos, int n) { return midRef(pos, n); });
    return list;
}

std::deque<COxStringRef> COxString::splitRef(COxChar sep, SplitBehavior behavior, Ox::CaseSensitivity cs) const
{
    std::deque<COxStringRef> list;
    splitInto(list, *this, &sep, 1, behavior, cs, [this](int pos, int n) { return midRef(pos, n); });
    return list;
}

COxString COxString::repeated(int times) const
{
    if (d->size == 0)
        return *this;
    if (times <= 1)
        return times == 1 ? *this : emptyString();
    const int64_t total = int64_t(d->size) * times;
    if (total > kMaxSize)
        return COxString();
    COxString result(int(total), Ox::Uninitialized);
    if (result.size() != total)
        return COxString();
    ushort* p = result.units();
    std::memcpy(p, units(), size_t(d->size) * kUnit);
    // Double the filled part until it covers the whole.
    int64_t filled = d->size;
    while (filled < total) {
        const int64_t chunk = filled < total - filled ? filled : total - filled;
        std::memcpy(p + filled, p, size_t(chunk) * kUnit);
        filled += chunk;
    }
    return result;
}

COxString COxString::leftJustified(int width, COxChar fill, bool truncate) const
{
    const int len = d->size;
    if (width > len) {
        COxString result(width, Ox::Uninitialized);
        if (result.size() != width)
            return *this;
        ushort* p = result.units();
        if (len)
            std::memcpy(p, units(), size_t(len) * kUnit);
        for (int i = len; i < width; ++i)
            p[i] = fill.unicode();
        return result;
    }
    return truncate ? left(width) : *this;
}

COxString COxString::rightJustified(int width, COxChar fill, bool truncate) const
{
    const int len = d->size;
    if (width > len) {
        COxString result(width, Ox::Uninitialized);
        if (result.size() != width)
            return *this;
        ushort* p = result.units();
        const int pad = width - len;
        for (int i = 0; i < pad; ++i)
            p[i] = fill.unicode();
        if (len)
            std::memcpy(p + pad, units(), size_t(len) * kUnit);
        return result;
    }
    return truncate ? left(width) : *this;
}

// ---------------------------------------------------------------------------
// Transformation

namespace {

COxString caseConvertedCopy(const COxString& str, int first, bool lower)
{
    COxString result(str.size(), Ox::Uninitialized);
    if (result.size() != str.size())
        return str;
    ushort* out = reinterpret_cast<ushort*>(result.data());
    const ushort* in = reinterpret_cast<const ushort*>(str.constData());
    std::memcpy(out, in, size_t(first) * kUnit);
    convertCase(out, in, first, str.size(), lower);
    return result;
}

} // namespace

COxString COxString::caseConverted_helper(const COxString& str, bool lower)
{
    const int first = firstCaseChange(str.units(), str.size(), lower);
    return first < 0 ? str : caseConvertedCopy(str, first, lower);
}

COxString COxString::caseConverted_helper(COxString& str, bool lower)
{
    const int first = firstCaseChange(str.units(), str.size(), lower);
    if (first < 0)
        return std::move(str);
    if (!str.isWritable(uint(str.size()) + 1u))
        return caseConvertedCopy(str, first, lower);
    convertCase(str.units(), str.units(), first, str.size(), lower);
    return std::move(str);
}

COxString COxString::toLower_helper(const COxString& str)
{
    return caseConverted_helper(str, true);
}

COxString COxString::toLower_helper(COxString& str)
{
    return caseConverted_helper(str, true);
}

COxString COxString::toUpper_helper(const COxString& str)
{
    return caseConverted_helper(str, false);
}

COxString COxString::toUpper_helper(COxString& str)
{
    return caseConverted_helper(str, false);
}

COxString COxString::trimmed_helper(const COxString& str)
{
    int begin;
    int end;
    spaceTrimmedBounds(str.units(), str.size(), &begin, &end);
    if (begin == 0 && end == str.size())
        return str;
    if (begin == end)
        return emptyString();
    return COxString(str.constData() + begin, end - begin);
}

COxString COxString::trimmed_helper(COxString& str)
{
    int begin;
    int end;
    spaceTrimmedBounds(str.units(), str.size(), &begin, &end);
    if (begin == 0 && end == str.size())
        return std::move(str);
    if (begin == end)
        return emptyString();
    if (!str.isWritable(uint(str.size()) + 1u))
        return COxString(str.constData() + begin, end - begin);
    std::memmove(str.units(), str.units() + begin, size_t(end - begin) * kUnit);
    str.setSize(end - begin);
    return std::move(str);
}

COxString COxString::simplified_helper(const COxString& str)
{
    const int len = str.size();
    if (len == 0 || !needsSimplifying(str.units(), len))
        return str;
    COxString result(len, Ox::Uninitialized);
    if (result.size() != len)
        return str;
    const int n = simplifyInto(result.units(), str.units(), len);
    if (n == 0)
        return emptyString();
    result.setSize(n);
    return result;
}

COxString COxString::simplified_helper(COxString& str)
{
    const int len = str.size();
    if (len == 0 || !needsSimplifying(str.units(), len))
        return std::move(str);
    if (!str.isWritable(uint(len) + 1u))
        return simplified_helper(static_cast<const COxString&>(str));
    // The output never overtakes the input, so the block is reused.
    const int n = simplifyInto(str.units(), str.units(), len);
    if (n == 0)
        return emptyString();
    str.setSize(n);
    return std::move(str);
}

COxString COxString::toHtmlEscaped() const
{
    const ushort* p = units();
    const int len = d->size;
    int64_t escapedLen = len;
    for (int i = 0; i < len; ++i) {
        switch (p[i]) {
        case '<':
        case '>':
            escapedLen += 3;
            break;
        case '&':
            escapedLen += 4;
            break;
        case '"':
            escapedLen += 5;
            break;
        default:
            break;
        }
    }
    if (escapedLen > kMaxSize)
        return COxString();
    COxString rich;
    rich.reserve(int(escapedLen));
    if (!rich.isWritable(uint(escapedLen) + 1u))
        return COxString();
    ushort* out = rich.units();
    auto put = [&out](const char* text) {
        while (*text)
            *out++ = ushort(*text++);
    };
    for (int i = 0; i < len; ++i) {
        switch (p[i]) {
        case '<':
            put("&lt;");
            break;
        case '>':
            put("&gt;");
            break;
        case '&':
            put("&amp;");
            break;
        case '"':
            put("&quot;");
            break;
        default:
            *out++ = p[i];
            break;
        }
    }
    rich.setSize(int(escapedLen));
    return rich;
}

// ---------------------------------------------------------------------------
// Conversion

COxByteArray COxString::toLatin1_helper(const COxString& str)
{
    if (str.isNull())
        return COxByteArray();
    return toLatin1_helper(str.constData(), str.size());
}

COxByteArray COxString::toLatin1_helper(const COxChar* data, int size)
{
    if (!data)
        return COxByteArray();
    if (size <= 0)
        return COxByteArray("", 0);
    COxByteArray ba(size, Ox::Uninitialized);
    if (ba.size() != size)
        return COxByteArray();
    OxUtf16ToLatin1(reinterpret_cast<uchar*>(ba.data()), asUnits(data), size);
    return ba;
}

COxByteArray COxString::toLatin1_helper_inplace(COxString& str)
{
    if (!str.isWritable(1))
        return toLatin1_helper(str);
    // Narrowing halves the payload, so our own block becomes the byte
    // array's: its capacity in bytes is twice the units it held.
    SOxArrayData* x = str.d;
    str.d = SOxArrayData::sharedNull();
    x->alloc = x->alloc * 2u;
    uchar* dst = static_cast<uchar*>(x->data());
    OxUtf16ToLatin1(dst, static_cast<const ushort*>(x->data()), x->size);
    dst[x->size] = '\0';
    return COxByteArray(x);
}

COxByteArray COxString::toUtf8_helper(const COxString& str)
{
    if (str.isNull())
        return COxByteArray();
    return toLocal8Bit_helper(str.constData(), str.size());
}

COxByteArray COxString::toLocal8Bit_helper(const COxChar* data, int size)
{
    if (!data)
        return COxByteArray();
    if (size <= 0)
        return COxByteArray("", 0);
    // Three bytes per unit, or the exact length when that would not fit.
    int64_t room = int64_t(size) * 3;
    if (room > COxByteArray::MaxSize)
        room = OxUtf8Length(asUnits(data), size);
    if (room > COxByteArray::MaxSize)
        return COxByteArray();
    COxByteArray ba(int(room), Ox::Uninitialized);
    if (ba.size() != room)
        return COxByteArray();
    const int written = OxUtf16ToUtf8(reinterpret_cast<uchar*>(ba.data()), asUnits(data), size);
    ba.resize(written);
    return ba;
}

int COxString::toUcs4_helper(const ushort* unicode, int length, uint* out)
{
    if (!unicode || length <= 0)
        return 0;
    return OxUtf16ToUcs4(out, unicode, length);
}
