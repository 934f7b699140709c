// COxString: construction, size and storage, and editing.
#include "core/text/oxstring.h"

#include "core/text/oxstring_p.h"
#include "core/text/oxstringref.h"
#include "core/text/oxtextconvert.h"

#include <cstring>

using namespace OxStringPrivate;

namespace {

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
