// COxString: extraction, transformation and conversion.
#include "core/text/oxstring.h"

#include "core/text/oxrangecut.h"
#include "core/text/oxstring_p.h"
#include "core/text/oxstringref.h"
#include "core/text/oxtextconvert.h"

#include <cstring>
#include <utility>

using namespace OxStringPrivate;

namespace {

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
