#include "core/text/oxbytearray.h"

#include "core/text/oxarrayops_p.h"
#include "core/text/oxrangecut.h"

#include <cstdint>
#include <cstring>

namespace {

using Ops = OxArrayOps<char>;
static_assert(Ops::kMaxSize == COxByteArray::MaxSize, "byte array size limit");

struct CaseTable {
    uchar map[256];
};

// Latin-1 case tables: A to Z and the capitals 0xc0 to 0xde (except the
// multiplication sign 0xd7) pair with their small letters 32 places up.
constexpr CaseTable makeCaseTable(bool lower)
{
    CaseTable t{};
    for (int c = 0; c < 256; ++c) {
        int v = c;
        if (lower && ((c >= 'A' && c <= 'Z') || (c >= 0xc0 && c <= 0xde && c != 0xd7)))
            v = c + 32;
        if (!lower && ((c >= 'a' && c <= 'z') || (c >= 0xe0 && c <= 0xfe && c != 0xf7)))
            v = c - 32;
        t.map[c] = uchar(v);
    }
    return t;
}

constexpr CaseTable kLatin1Lower = makeCaseTable(true);
constexpr CaseTable kLatin1Upper = makeCaseTable(false);

inline int asciiFold(uchar c) { return (c >= 'A' && c <= 'Z') ? c + 32 : c; }

int cStringLength(const char* str)
{
    const size_t len = std::strlen(str);
    return len > size_t(COxByteArray::MaxSize) ? -1 : int(len);
}

int findBytes(const char* hay, int hlen, int from, const char* needle, int nlen)
{
    if (from < 0)
        from = (from + hlen) < 0 ? 0 : from + hlen;
    if (int64_t(from) + nlen > hlen)
        return -1;
    if (nlen == 0)
        return from;
    const char first = needle[0];
    const char* p = hay + from;
    const char* last = hay + hlen - nlen;
    while (p <= last) {
        p = static_cast<const char*>(std::memchr(p, first, size_t(last - p) + 1));
        if (!p)
            return -1;
        if (std::memcmp(p + 1, needle + 1, size_t(nlen - 1)) == 0)
            return int(p - hay);
        ++p;
    }
    return -1;
}

int findLastBytes(const char* hay, int hlen, int from, const char* needle, int nlen)
{
    from = OxLastSearchStart(hlen, nlen, from);
    if (from < 0)
        return -1;
    for (int i = from; i >= 0; --i) {
        if (std::memcmp(hay + i, needle, size_t(nlen)) == 0)
            return i;
    }
    return -1;
}

} // namespace

COxByteArray::COxByteArray(const char* data, int size)
{
    if (!data) {
        d = SOxArrayData::sharedNull();
        return;
    }
    if (size < 0)
        size = cStringLength(data);
    d = size < 0 ? SOxArrayData::sharedNull() : Ops::copy(data, size);
}

COxByteArray::COxByteArray(int size, char ch)
{
    if (size <= 0) {
        d = SOxArrayData::sharedEmpty();
        return;
    }
    SOxArrayData* x = Ops::allocate(size);
    if (x)
        std::memset(x->data(), ch, size_t(size));
    d = x ? x : SOxArrayData::sharedNull();
}

COxByteArray::COxByteArray(int size, Ox::Initialization)
{
    if (size <= 0) {
        d = SOxArrayData::sharedEmpty();
        return;
    }
    SOxArrayData* x = Ops::allocate(size);
    d = x ? x : SOxArrayData::sharedNull();
}

COxByteArray& COxByteArray::operator=(const char* str)
{
    if (!str)
        return *this = COxByteArray();
    // str may point into this array: build the copy before letting go.
    COxByteArray copy(str);
    swap(copy);
    return *this;
}

COxByteArray COxByteArray::fromRawData(const char* data, int size)
{
    if (!data)
        return COxByteArray();
    if (size <= 0)
        return COxByteArray(SOxArrayData::sharedEmpty());
    SOxArrayData* x = Ops::rawHeader(data, size);
    return x ? COxByteArray(x) : COxByteArray();
}

COxByteArray& COxByteArray::setRawData(const char* data, int size)
{
    // Reuse our own header when we can.
    if (Ops::reuseRawHeader(d, data, size))
        return *this;
    return *this = fromRawData(data, size);
}

void COxByteArray::reallocData(uint alloc, bool grow)
{
    Ops::reallocData(d, alloc, grow);
}

bool COxByteArray::makeWritable(int64_t size, bool grow)
{
    return Ops::makeWritable(d, size, grow);
}

bool COxByteArray::pointsIntoOwnBlock(const char* p) const noexcept
{
    return Ops::pointsIntoOwnBlock(d, p);
}

void COxByteArray::setSize(int size) noexcept
{
    Ops::setSize(d, size);
}

void COxByteArray::detach()
{
    Ops::detach(d);
}

void COxByteArray::reserve(int size)
{
    Ops::reserve(d, size);
}

void COxByteArray::squeeze()
{
    Ops::squeeze(d);
}

void COxByteArray::resize(int size)
{
    Ops::resize(d, size);
}

void COxByteArray::truncate(int pos)
{
    if (pos < d->size)
        resize(pos);
}

void COxByteArray::chop(int n)
{
    if (n > 0)
        resize(n >= d->size ? 0 : d->size - n);
}

COxByteArray& COxByteArray::fill(char ch, int size)
{
    resize(size < 0 ? d->size : size);
    if (d->size > 0 && makeWritable(d->size, false))
        std::memset(d->data(), ch, size_t(d->size));
    return *this;
}

void COxByteArray::clear()
{
    *this = COxByteArray();
}

COxByteArray& COxByteArray::append(char ch)
{
    if (makeWritable(int64_t(d->size) + 1, true)) {
        static_cast<char*>(d->data())[d->size] = ch;
        setSize(d->size + 1);
    }
    return *this;
}

COxByteArray& COxByteArray::append(int count, char ch)
{
    return insert(d->size, count, ch);
}

COxByteArray& COxByteArray::append(const char* str)
{
    return str ? append(str, -1) : *this;
}

COxByteArray& COxByteArray::append(const char* str, int len)
{
    if (!str)
        return *this;
    if (len < 0)
        len = cStringLength(str);
    return insert(d->size, str, len);
}

COxByteArray& COxByteArray::append(const COxByteArray& other)
{
    if (other.isNull())
        return *this;
    if (d->size == 0 && d->isStatic() && !other.d->isRawData())
        return *this = other;
    return insert(d->size, other.constData(), other.size());
}

COxByteArray& COxByteArray::insert(int i, int count, char ch)
{
    if (i < 0 || count <= 0)
        return *this;
    if (char* p = Ops::openGap(d, i, count))
        std::memset(p + i, ch, size_t(count));
    return *this;
}

COxByteArray& COxByteArray::insert(int i, const char* str)
{
    return str ? insert(i, str, cStringLength(str)) : *this;
}

COxByteArray& COxByteArray::insert(int i, const char* str, int len)
{
    if (i < 0 || !str || len <= 0)
        return *this;
    if (pointsIntoOwnBlock(str)) {
        const COxByteArray copy(str, len);
        return insert(i, copy.constData(), len);
    }
    if (char* p = Ops::openGap(d, i, len))
        std::memcpy(p + i, str, size_t(len));
    return *this;
}

COxByteArray& COxByteArray::insert(int i, const COxByteArray& other)
{
    // Keep other's block alive even when other is *this.
    const COxByteArray keep(other);
    return insert(i, keep.constData(), keep.size());
}

COxByteArray& COxByteArray::remove(int pos, int len)
{
    Ops::removeRange(d, pos, len);
    return *this;
}

void COxByteArray::replace_helper(const int* indices, int count, int blen, const char* after, int alen)
{
    if (count <= 0)
        return;
    COxByteArray afterCopy;
    if (alen > 0 && pointsIntoOwnBlock(after)) {
        afterCopy = COxByteArray(after, alen);
        after = afterCopy.constData();
    }
    Ops::replaceRuns(d, indices, count, blen, after, alen);
}

COxByteArray& COxByteArray::replace(int pos, int len, const char* after, int alen)
{
    if (pos < 0 || pos > d->size)
        return *this;
    if (len < 0 || len > d->size - pos)
        len = d->size - pos;
    if (!after || alen < 0)
        alen = 0;
    replace_helper(&pos, 1, len, after, alen);
    return *this;
}

COxByteArray& COxByteArray::replace(int pos, int len, const char* after)
{
    return replace(pos, len, after, after ? cStringLength(after) : 0);
}

COxByteArray& COxByteArray::replace(int pos, int len, const COxByteArray& after)
{
    const COxByteArray keep(after);
    return replace(pos, len, keep.constData(), keep.size());
}

COxByteArray& COxByteArray::replace(char before, char after)
{
    const int first = indexOf(before);
    if (first < 0 || before == after || !makeWritable(d->size, false))
        return *this;
    char* p = static_cast<char*>(d->data());
    for (int i = first; i < d->size; ++i) {
        if (p[i] == before)
            p[i] = after;
    }
    return *this;
}

COxByteArray& COxByteArray::replace(char before, const char* after)
{
    return replace(&before, 1, after, after ? cStringLength(after) : 0);
}

COxByteArray& COxByteArray::replace(char before, const COxByteArray& after)
{
    const COxByteArray keep(after);
    return replace(&before, 1, keep.constData(), keep.size());
}

COxByteArray& COxByteArray::replace(const char* before, const char* after)
{
    return replace(before, before ? cStringLength(before) : 0, after, after ? cStringLength(after) : 0);
}

COxByteArray& COxByteArray::replace(const COxByteArray& before, const COxByteArray& after)
{
    const COxByteArray b(before);
    const COxByteArray a(after);
    return replace(b.constData(), b.size(), a.constData(), a.size());
}

COxByteArray& COxByteArray::replace(const char* before, int blen, const char* after, int alen)
{
    if (!before)
        return *this;
    if (blen < 0)
        blen = 0;
    if (!after || alen < 0)
        alen = 0;
    if (isNull() || (blen == 0 && alen == 0) || (before == after && blen == alen))
        return *this;
    // Needle and replacement must survive the edits of our own block.
    COxByteArray beforeCopy;
    COxByteArray afterCopy;
    if (blen && pointsIntoOwnBlock(before)) {
        beforeCopy = COxByteArray(before, blen);
        before = beforeCopy.constData();
    }
    if (alen && pointsIntoOwnBlock(after)) {
        afterCopy = COxByteArray(after, alen);
        after = afterCopy.constData();
    }
    Ops::replaceMatches<int>(
        d, blen, alen, [&](int from) { return findBytes(constData(), d->size, from, before, blen); },
        [&](const int* indices, int found) { replace_helper(indices, found, blen, after, alen); });
    return *this;
}

int COxByteArray::indexOf(char ch, int from) const
{
    if (from < 0)
        from = (from + d->size) < 0 ? 0 : from + d->size;
    if (from >= d->size)
        return -1;
    const char* p = constData();
    const void* hit = std::memchr(p + from, ch, size_t(d->size - from));
    return hit ? int(static_cast<const char*>(hit) - p) : -1;
}

int COxByteArray::indexOf(const char* str, int from) const
{
    if (!str)
        return -1;
    const int len = cStringLength(str);
    return len < 0 ? -1 : findBytes(constData(), d->size, from, str, len);
}

int COxByteArray::indexOf(const COxByteArray& needle, int from) const
{
    return findBytes(constData(), d->size, from, needle.constData(), needle.size());
}

int COxByteArray::lastIndexOf(char ch, int from) const
{
    if (from < 0)
        from += d->size;
    else if (from >= d->size)
        from = d->size - 1;
    const char* p = constData();
    for (int i = from; i >= 0; --i) {
        if (p[i] == ch)
            return i;
    }
    return -1;
}

int COxByteArray::lastIndexOf(const char* str, int from) const
{
    if (!str)
        return -1;
    const int len = cStringLength(str);
    return len < 0 ? -1 : findLastBytes(constData(), d->size, from, str, len);
}

int COxByteArray::lastIndexOf(const COxByteArray& needle, int from) const
{
    return findLastBytes(constData(), d->size, from, needle.constData(), needle.size());
}

int COxByteArray::count(char ch) const
{
    int n = 0;
    const char* p = constData();
    for (int i = 0; i < d->size; ++i)
        n += p[i] == ch;
    return n;
}

int COxByteArray::count(const char* str) const
{
    return str ? count(COxByteArray::fromRawData(str, cStringLength(str))) : 0;
}

int COxByteArray::count(const COxByteArray& needle) const
{
    // Overlapping matches count; an empty needle matches between all bytes.
    int n = 0;
    int i = -1;
    while ((i = findBytes(constData(), d->size, i + 1, needle.constData(), needle.size())) != -1)
        ++n;
    return n;
}

bool COxByteArray::startsWith(char ch) const
{
    return d->size > 0 && constData()[0] == ch;
}

bool COxByteArray::startsWith(const char* str) const
{
    if (!str)
        return true;
    const int len = cStringLength(str);
    return len >= 0 && len <= d->size && std::memcmp(constData(), str, size_t(len)) == 0;
}

bool COxByteArray::startsWith(const COxByteArray& prefix) const
{
    return prefix.size() <= d->size
        && (prefix.size() == 0 || std::memcmp(constData(), prefix.constData(), size_t(prefix.size())) == 0);
}

bool COxByteArray::endsWith(char ch) const
{
    return d->size > 0 && constData()[d->size - 1] == ch;
}

bool COxByteArray::endsWith(const char* str) const
{
    if (!str)
        return true;
    const int len = cStringLength(str);
    return len >= 0 && len <= d->size && std::memcmp(constData() + d->size - len, str, size_t(len)) == 0;
}

bool COxByteArray::endsWith(const COxByteArray& suffix) const
{
    const int len = suffix.size();
    return len <= d->size && (len == 0 || std::memcmp(constData() + d->size - len, suffix.constData(), size_t(len)) == 0);
}

int COxByteArray::compare_helper(const char* a, int alen, const char* b, int blen)
{
    const int common = alen < blen ? alen : blen;
    if (common > 0) {
        const int r = std::memcmp(a, b, size_t(common));
        if (r)
            return r;
    }
    return alen - blen;
}

int COxByteArray::compare_helper(const char* a, int alen, const char* str)
{
    if (!str)
        return alen > 0 ? 1 : 0;
    const uchar* p = reinterpret_cast<const uchar*>(a);
    const uchar* s = reinterpret_cast<const uchar*>(str);
    int i = 0;
    for (; i < alen && s[i]; ++i) {
        const int diff = int(p[i]) - int(s[i]);
        if (diff)
            return diff;
    }
    if (s[i])
        return -1; // the array ended first
    return i < alen ? 1 : 0;
}

int COxByteArray::compare(const COxByteArray& other, Ox::CaseSensitivity cs) const
{
    if (cs == Ox::CaseSensitive)
        return compare_helper(constData(), d->size, other.constData(), other.size());
    const uchar* a = reinterpret_cast<const uchar*>(constData());
    const uchar* b = reinterpret_cast<const uchar*>(other.constData());
    const int common = d->size < other.size() ? d->size : other.size();
    for (int i = 0; i < common; ++i) {
        const int diff = asciiFold(a[i]) - asciiFold(b[i]);
        if (diff)
            return diff;
    }
    return d->size - other.size();
}

int COxByteArray::compare(const char* str, Ox::CaseSensitivity cs) const
{
    if (cs == Ox::CaseSensitive || !str)
        return compare_helper(constData(), d->size, str);
    const uchar* p = reinterpret_cast<const uchar*>(constData());
    const uchar* s = reinterpret_cast<const uchar*>(str);
    int i = 0;
    for (; i < d->size && s[i]; ++i) {
        const int diff = asciiFold(p[i]) - asciiFold(s[i]);
        if (diff)
            return diff;
    }
    if (s[i])
        return -1;
    return i < d->size ? 1 : 0;
}

COxByteArray COxByteArray::mid(int position, int n) const
{
    switch (OxCutRange(d->size, &position, &n)) {
    case OxCut::Null:
        return COxByteArray();
    case OxCut::Empty:
        return COxByteArray(SOxArrayData::sharedEmpty());
    case OxCut::Full:
        return *this;
    case OxCut::Subset:
        break;
    }
    return COxByteArray(constData() + position, n);
}

COxByteArray COxByteArray::left(int n) const
{
    return mid(0, n);
}

COxByteArray COxByteArray::right(int n) const
{
    if (n < 0)
        return mid(0, -1);
    return mid(d->size - n < 0 ? 0 : d->size - n, n);
}

std::deque<COxByteArray> COxByteArray::split(char sep) const
{
    std::deque<COxByteArray> list;
    int start = 0;
    int end;
    while ((end = indexOf(sep, start)) != -1) {
        list.push_back(mid(start, end - start));
        start = end + 1;
    }
    list.push_back(mid(start));
    return list;
}

COxByteArray COxByteArray::repeated(int times) const
{
    if (d->size == 0)
        return *this;
    if (times <= 1)
        return times == 1 ? *this : COxByteArray(SOxArrayData::sharedEmpty());
    const int64_t total = int64_t(d->size) * times;
    if (total > MaxSize)
        return COxByteArray();
    COxByteArray result(int(total), Ox::Uninitialized);
    if (result.size() != total)
        return COxByteArray();
    char* p = static_cast<char*>(result.d->data());
    std::memcpy(p, constData(), size_t(d->size));
    // Double the filled part until it covers the whole.
    int64_t filled = d->size;
    while (filled < total) {
        const int64_t chunk = filled < total - filled ? filled : total - filled;
        std::memcpy(p + filled, p, size_t(chunk));
        filled += chunk;
    }
    return result;
}

COxByteArray COxByteArray::leftJustified(int width, char fill, bool truncate) const
{
    const int len = d->size;
    if (width > len) {
        COxByteArray result(width, Ox::Uninitialized);
        if (result.size() != width)
            return *this;
        char* p = static_cast<char*>(result.d->data());
        if (len)
            std::memcpy(p, constData(), size_t(len));
        std::memset(p + len, fill, size_t(width - len));
        return result;
    }
    return truncate ? left(width) : *this;
}

COxByteArray COxByteArray::rightJustified(int width, char fill, bool truncate) const
{
    const int len = d->size;
    if (width > len) {
        COxByteArray result(width, Ox::Uninitialized);
        if (result.size() != width)
            return *this;
        char* p = static_cast<char*>(result.d->data());
        std::memset(p, fill, size_t(width - len));
        if (len)
            std::memcpy(p + width - len, constData(), size_t(len));
        return result;
    }
    return truncate ? left(width) : *this;
}

COxByteArray COxByteArray::caseConverted(const uchar* table) const
{
    const uchar* p = reinterpret_cast<const uchar*>(constData());
    int first = 0;
    while (first < d->size && table[p[first]] == p[first])
        ++first;
    if (first == d->size)
        return *this;
    COxByteArray result(d->size, Ox::Uninitialized);
    if (result.size() != d->size)
        return *this;
    uchar* out = static_cast<uchar*>(result.d->data());
    std::memcpy(out, p, size_t(first));
    for (int i = first; i < d->size; ++i)
        out[i] = table[p[i]];
    return result;
}

COxByteArray COxByteArray::toLower() const
{
    return caseConverted(kLatin1Lower.map);
}

COxByteArray COxByteArray::toUpper() const
{
    return caseConverted(kLatin1Upper.map);
}

COxByteArray COxByteArray::trimmed() const
{
    const uchar* p = reinterpret_cast<const uchar*>(constData());
    int begin = 0;
    int end = d->size;
    while (begin < end && isSpace(p[begin]))
        ++begin;
    while (end > begin && isSpace(p[end - 1]))
        --end;
    if (begin == 0 && end == d->size)
        return *this;
    if (begin == end)
        return COxByteArray(SOxArrayData::sharedEmpty());
    return COxByteArray(constData() + begin, end - begin);
}

COxByteArray COxByteArray::simplified() const
{
    const uchar* p = reinterpret_cast<const uchar*>(constData());
    const int len = d->size;
    if (len == 0)
        return *this;
    // Unchanged unless there is a leading or trailing space, a space other
    // than ' ', or two spaces in a row.
    bool change = isSpace(p[0]) || isSpace(p[len - 1]);
    for (int i = 0; i < len && !change; ++i) {
        if (isSpace(p[i]) && (p[i] != ' ' || (i + 1 < len && isSpace(p[i + 1]))))
            change = true;
    }
    if (!change)
        return *this;
    COxByteArray result(len, Ox::Uninitialized);
    if (result.size() != len)
        return *this;
    char* out = static_cast<char*>(result.d->data());
    int n = 0;
    bool pendingSpace = false;
    for (int i = 0; i < len; ++i) {
        if (isSpace(p[i])) {
            pendingSpace = true;
            continue;
        }
        if (pendingSpace && n > 0)
            out[n++] = ' ';
        pendingSpace = false;
        out[n++] = char(p[i]);
    }
    if (n == 0)
        return COxByteArray(SOxArrayData::sharedEmpty());
    result.resize(n);
    return result;
}

COxByteArray COxByteArray::toHex(char separator) const
{
    if (d->size == 0)
        return COxByteArray();
    static const char digits[] = "0123456789abcdef";
    const int64_t length = separator ? int64_t(d->size) * 3 - 1 : int64_t(d->size) * 2;
    if (length > MaxSize)
        return COxByteArray();
    COxByteArray hex(int(length), Ox::Uninitialized);
    if (hex.size() != length)
        return COxByteArray();
    const uchar* p = reinterpret_cast<const uchar*>(constData());
    char* out = static_cast<char*>(hex.d->data());
    for (int i = 0; i < d->size; ++i) {
        if (separator && i)
            *out++ = separator;
        *out++ = digits[p[i] >> 4];
        *out++ = digits[p[i] & 0xf];
    }
    return hex;
}
