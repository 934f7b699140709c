// COxString: the framework's text type, an implicitly shared, copy-on-write
// sequence of UTF-16 code units in an SOxArrayData block (element size 2,
// alignment 8). Copies share one block until one of them writes. An owned
// block always has a zero unit after its last unit, so utf16() hands out a
// zero-terminated pointer without copying.
//
// Null and empty are distinct: a default-constructed string is null; an
// operation that produces zero units gives the empty string. Both have
// size 0. Positions and lengths always count code units; characters outside
// the Basic Multilingual Plane are surrogate pairs.
//
// Export: the string is the one framework class the shared library offers.
// Every out-of-line member is marked OX_EXPORT one by one, while the class
// keeps the library's default (hidden) type visibility. That keeps the
// standard containers the string hands out (split() returns std::deque)
// from being exported along with it when the library instantiates them.
// Members added in other source files (numbers, arg()) follow the same rule.
// Inline code here may only call exported members or other inline code.
#ifndef OXSTRING_H
#define OXSTRING_H

#include "core/oxglobal.h"
#include "core/text/oxarraydata.h"
#include "core/text/oxbytearray.h"
#include "core/text/oxchar.h"
#include "core/text/oxlatin1string.h"
#include "core/text/oxnamespace.h"

#include <cstring>
#include <deque>
#include <vector>

class COxStringRef;

class COxString {
public:
    enum SplitBehavior {
        KeepEmptyParts = 0,
        SkipEmptyParts = 1
    };

    enum SectionFlag {
        SectionDefault = 0x00,
        SectionSkipEmpty = 0x01,
        SectionIncludeLeadingSep = 0x02,
        SectionIncludeTrailingSep = 0x04,
        SectionCaseInsensitiveSeps = 0x08
    };

    typedef COxChar* iterator;
    typedef const COxChar* const_iterator;
    typedef COxChar value_type;
    typedef int size_type;

    // Construction.
    COxString() noexcept : d(SOxArrayData::sharedNull()) {}
    // size units, or up to the first zero unit when size is negative. A
    // null pointer gives the null string.
    OX_EXPORT explicit COxString(const COxChar* unicode, int size = -1);
    OX_EXPORT COxString(COxChar ch);
    OX_EXPORT COxString(int size, COxChar ch);
    OX_EXPORT COxString(int size, Ox::Initialization);
    COxString(COxLatin1String latin1) : COxString(fromLatin1_helper(latin1.latin1(), latin1.size())) {}
    // C strings are read as Latin-1.
    COxString(const char* str) : COxString(fromAscii_helper(str, -1)) {}
    COxString(const COxString& other) noexcept : d(other.d) { d->acquire(); }
    COxString(COxString&& other) noexcept : d(other.d) { other.d = SOxArrayData::sharedNull(); }
    ~COxString() { release(d); }

    COxString& operator=(const COxString& other) noexcept
    {
        other.d->acquire();
        SOxArrayData* old = d;
        d = other.d;
        release(old);
        return *this;
    }
    COxString& operator=(COxString&& other) noexcept
    {
        swap(other);
        return *this;
    }
    OX_EXPORT COxString& operator=(COxChar ch);
    COxString& operator=(COxLatin1String latin1) { return *this = COxString(latin1); }
    COxString& operator=(const char* str) { return *this = COxString(str); }
    void swap(COxString& other) noexcept
    {
        SOxArrayData* t = d;
        d = other.d;
        other.d = t;
    }

    // Units in host order, copied; a negative size means up to the first
    // zero unit.
    OX_EXPORT static COxString fromUtf16(const ushort* unicode, int size = -1);
    static COxString fromUtf16(const char16_t* unicode, int size = -1)
    {
        return fromUtf16(reinterpret_cast<const ushort*>(unicode), size);
    }
    // Code points from U+10000 become surrogate pairs; values above
    // U+10FFFF become U+FFFD.
    OX_EXPORT static COxString fromUcs4(const uint* unicode, int size = -1);
    static COxString fromUcs4(const char32_t* unicode, int size = -1)
    {
        return fromUcs4(reinterpret_cast<const uint*>(unicode), size);
    }
    OX_EXPORT COxString& setUnicode(const COxChar* unicode, int size);
    COxString& setUtf16(const ushort* unicode, int size)
    {
        return setUnicode(reinterpret_cast<const COxChar*>(unicode), size);
    }
    // Wraps caller-owned units without copying; they are never written
    // through and carry no terminator until a call needs one.
    OX_EXPORT static COxString fromRawData(const COxChar* unicode, int size);
    OX_EXPORT COxString& setRawData(const COxChar* unicode, int size);

    static COxString fromLatin1(const char* str, int size = -1) { return fromLatin1_helper(str, size); }
    static COxString fromLatin1(const COxByteArray& ba)
    {
        return ba.isNull() ? COxString() : fromLatin1_helper(ba.constData(), ba.size());
    }
    static COxString fromUtf8(const char* str, int size = -1) { return fromUtf8_helper(str, size); }
    static COxString fromUtf8(const COxByteArray& ba)
    {
        return ba.isNull() ? COxString() : fromUtf8_helper(ba.constData(), ba.size());
    }
    // The local 8-bit encoding is UTF-8.
    static COxString fromLocal8Bit(const char* str, int size = -1) { return fromLocal8Bit_helper(str, size); }
    static COxString fromLocal8Bit(const COxByteArray& ba)
    {
        return ba.isNull() ? COxString() : fromLocal8Bit_helper(ba.constData(), ba.size());
    }

    OX_EXPORT static COxString fromLatin1_helper(const char* str, int size = -1);
    OX_EXPORT static COxString fromAscii_helper(const char* str, int size = -1);
    // Replacement rules: an invalid or cut-off sequence gives one U+FFFD
    // for its lead byte. *hadInvalid (when given) tells whether one was made.
    OX_EXPORT static COxString fromUtf8_helper(const char* str, int size, bool* hadInvalid = nullptr);
    OX_EXPORT static COxString fromLocal8Bit_helper(const char* str, int size);

    // Size and storage.
    int size() const noexcept { return d->size; }
    int count() const noexcept { return d->size; }
    int length() const noexcept { return d->size; }
    bool isEmpty() const noexcept { return d->size == 0; }
    bool isNull() const noexcept { return d == SOxArrayData::sharedNull(); }
    int capacity() const noexcept { return d->alloc ? int(d->alloc) - 1 : 0; }
    OX_EXPORT void reserve(int size);
    OX_EXPORT void squeeze();
    // A negative size counts as 0.
    OX_EXPORT void resize(int size);
    OX_EXPORT void resize(int size, COxChar fillChar);
    OX_EXPORT void truncate(int pos);
    OX_EXPORT void chop(int n);
    OX_EXPORT COxString& fill(COxChar ch, int size = -1);
    OX_EXPORT void clear();
    // The single reallocation routine; alloc counts the terminating unit.
    OX_EXPORT void reallocData(uint alloc, bool grow = false);
    // Makes position i valid, padding the new units with spaces.
    OX_EXPORT void expand(int i);
    void detach()
    {
        if (d->isShared() || d->isRawData())
            reallocData(uint(d->size) + 1u);
    }
    bool isDetached() const noexcept { return !d->isShared(); }
    bool isSharedWith(const COxString& other) const noexcept { return d == other.d; }

    const COxChar* unicode() const noexcept { return static_cast<const COxChar*>(d->data()); }
    const COxChar* constData() const noexcept { return static_cast<const COxChar*>(d->data()); }
    const COxChar* data() const noexcept { return static_cast<const COxChar*>(d->data()); }
    COxChar* data()
    {
        detach();
        return static_cast<COxChar*>(d->data());
    }
    // Zero-terminated; raw data is first copied into a block of its own.
    OX_EXPORT const ushort* utf16() const;
    COxChar at(int i) const { return constData()[i]; }
    COxChar operator[](int i) const { return constData()[i]; }
    COxChar& operator[](int i) { return data()[i]; }
    COxChar front() const { return at(0); }
    COxChar back() const { return at(size() - 1); }
    // False as soon as a unit lies in U+0590 to U+10FF or U+FB10 to U+FFFF.
    OX_EXPORT bool isSimpleText() const;

    iterator begin() { return data(); }
    iterator end() { return data() + size(); }
    const_iterator begin() const noexcept { return constData(); }
    const_iterator end() const noexcept { return constData() + size(); }
    const_iterator cbegin() const noexcept { return constData(); }
    const_iterator cend() const noexcept { return constData() + size(); }
    const_iterator constBegin() const noexcept { return constData(); }
    const_iterator constEnd() const noexcept { return constData() + size(); }

    // Editing. Inserting beyond the end pads with spaces; negative
    // positions leave the string unchanged.
    OX_EXPORT COxString& insert(int i, COxChar ch);
    OX_EXPORT COxString& insert(int i, const COxChar* unicode, int size);
    OX_EXPORT COxString& insert(int i, COxLatin1String str);
    COxString& insert(int i, const COxString& str) { return insert(i, str.constData(), str.size()); }
    COxString& insert(int i, const char* str) { return insert(i, COxLatin1String(str)); }
    OX_EXPORT COxString& append(const COxString& str);
    OX_EXPORT COxString& append(const COxChar* unicode, int size);
    OX_EXPORT COxString& append(COxLatin1String str);
    OX_EXPORT COxString& append(COxChar ch);
    OX_EXPORT COxString& append(const COxStringRef& str);
    COxString& append(const char* str) { return append(COxLatin1String(str)); }
    COxString& prepend(const COxString& str) { return insert(0, str); }
    COxString& prepend(const COxChar* unicode, int size) { return insert(0, unicode, size); }
    COxString& prepend(COxLatin1String str) { return insert(0, str); }
    COxString& prepend(COxChar ch) { return insert(0, ch); }
    COxString& prepend(const char* str) { return insert(0, COxLatin1String(str)); }
    void push_back(COxChar ch) { append(ch); }
    void push_back(const COxString& str) { append(str); }
    void push_front(COxChar ch) { prepend(ch); }
    void push_front(const COxString& str) { prepend(str); }
    COxString& operator+=(COxChar ch) { return append(ch); }
    COxString& operator+=(const COxString& str) { return append(str); }
    COxString& operator+=(const COxStringRef& str) { return append(str); }
    COxString& operator+=(COxLatin1String str) { return append(str); }
    COxString& operator+=(const char* str) { return append(COxLatin1String(str)); }

    OX_EXPORT COxString& remove(int i, int len);
    OX_EXPORT COxString& remove(COxChar ch, Ox::CaseSensitivity cs = Ox::CaseSensitive);
    OX_EXPORT COxString& remove(const COxString& str, Ox::CaseSensitivity cs = Ox::CaseSensitive);
    OX_EXPORT COxString& remove(COxLatin1String str, Ox::CaseSensitivity cs = Ox::CaseSensitive);

    OX_EXPORT COxString& replace(int i, int len, COxChar after);
    OX_EXPORT COxString& replace(int i, int len, const COxChar* after, int alen);
    COxString& replace(int i, int len, const COxString& after) { return replace(i, len, after.constData(), after.size()); }
    OX_EXPORT COxString& replace(COxChar before, COxChar after, Ox::CaseSensitivity cs = Ox::CaseSensitive);
    OX_EXPORT COxString& replace(const COxChar* before, int blen, const COxChar* after, int alen,
                                 Ox::CaseSensitivity cs = Ox::CaseSensitive);
    OX_EXPORT COxString& replace(const COxString& before, const COxString& after,
                                 Ox::CaseSensitivity cs = Ox::CaseSensitive);
    OX_EXPORT COxString& replace(COxChar ch, const COxString& after, Ox::CaseSensitivity cs = Ox::CaseSensitive);
    OX_EXPORT COxString& replace(COxLatin1String before, COxLatin1String after,
                                 Ox::CaseSensitivity cs = Ox::CaseSensitive);
    OX_EXPORT COxString& replace(COxLatin1String before, const COxString& after,
                                 Ox::CaseSensitivity cs = Ox::CaseSensitive);
    OX_EXPORT COxString& replace(const COxString& before, COxLatin1String after,
                                 Ox::CaseSensitivity cs = Ox::CaseSensitive);
    OX_EXPORT COxString& replace(COxChar ch, COxLatin1String after, Ox::CaseSensitivity cs = Ox::CaseSensitive);

    // Search. A negative from counts from the end. Matches may overlap in
    // count(); an empty needle matches at every position.
    OX_EXPORT int indexOf(const COxString& str, int from = 0, Ox::CaseSensitivity cs = Ox::CaseSensitive) const;
    OX_EXPORT int indexOf(COxLatin1String str, int from = 0, Ox::CaseSensitivity cs = Ox::CaseSensitive) const;
    OX_EXPORT int indexOf(COxChar ch, int from = 0, Ox::CaseSensitivity cs = Ox::CaseSensitive) const;
    OX_EXPORT int indexOf(const COxStringRef& str, int from = 0, Ox::CaseSensitivity cs = Ox::CaseSensitive) const;
    OX_EXPORT int lastIndexOf(const COxString& str, int from = -1, Ox::CaseSensitivity cs = Ox::CaseSensitive) const;
    OX_EXPORT int lastIndexOf(COxLatin1String str, int from = -1, Ox::CaseSensitivity cs = Ox::CaseSensitive) const;
    OX_EXPORT int lastIndexOf(COxChar ch, int from = -1, Ox::CaseSensitivity cs = Ox::CaseSensitive) const;
    OX_EXPORT int lastIndexOf(const COxStringRef& str, int from = -1, Ox::CaseSensitivity cs = Ox::CaseSensitive) const;
    bool contains(const COxString& str, Ox::CaseSensitivity cs = Ox::CaseSensitive) const { return indexOf(str, 0, cs) != -1; }
    bool contains(COxLatin1String str, Ox::CaseSensitivity cs = Ox::CaseSensitive) const { return indexOf(str, 0, cs) != -1; }
    bool contains(COxChar ch, Ox::CaseSensitivity cs = Ox::CaseSensitive) const { return indexOf(ch, 0, cs) != -1; }
    bool contains(const COxStringRef& str, Ox::CaseSensitivity cs = Ox::CaseSensitive) const { return indexOf(str, 0, cs) != -1; }
    OX_EXPORT int count(const COxString& str, Ox::CaseSensitivity cs = Ox::CaseSensitive) const;
    OX_EXPORT int count(COxLatin1String str, Ox::CaseSensitivity cs = Ox::CaseSensitive) const;
    OX_EXPORT int count(COxChar ch, Ox::CaseSensitivity cs = Ox::CaseSensitive) const;
    OX_EXPORT int count(const COxStringRef& str, Ox::CaseSensitivity cs = Ox::CaseSensitive) const;
    OX_EXPORT bool startsWith(const COxString& str, Ox::CaseSensitivity cs = Ox::CaseSensitive) const;
    OX_EXPORT bool startsWith(COxLatin1String str, Ox::CaseSensitivity cs = Ox::CaseSensitive) const;
    OX_EXPORT bool startsWith(COxChar ch, Ox::CaseSensitivity cs = Ox::CaseSensitive) const;
    OX_EXPORT bool startsWith(const COxStringRef& str, Ox::CaseSensitivity cs = Ox::CaseSensitive) const;
    OX_EXPORT bool endsWith(const COxString& str, Ox::CaseSensitivity cs = Ox::CaseSensitive) const;
    OX_EXPORT bool endsWith(COxLatin1String str, Ox::CaseSensitivity cs = Ox::CaseSensitive) const;
    OX_EXPORT bool endsWith(COxChar ch, Ox::CaseSensitivity cs = Ox::CaseSensitive) const;
    OX_EXPORT bool endsWith(const COxStringRef& str, Ox::CaseSensitivity cs = Ox::CaseSensitive) const;

    // Search over plain unit ranges (the views and the members above build
    // on these).
    OX_EXPORT static int indexOf_helper(const COxChar* haystack, int haystackLen, const COxChar* needle,
                                        int needleLen, int from, Ox::CaseSensitivity cs);
    OX_EXPORT static int indexOf_helper(const COxChar* haystack, int haystackLen, COxLatin1String needle,
                                        int from, Ox::CaseSensitivity cs);
    OX_EXPORT static int indexOf_helper(const COxChar* haystack, int haystackLen, COxChar ch, int from,
                                        Ox::CaseSensitivity cs);
    OX_EXPORT static int lastIndexOf_helper(const COxChar* haystack, int haystackLen, const COxChar* needle,
                                            int needleLen, int from, Ox::CaseSensitivity cs);
    OX_EXPORT static int lastIndexOf_helper(const COxChar* haystack, int haystackLen, COxChar ch, int from,
                                            Ox::CaseSensitivity cs);
    OX_EXPORT static int count_helper(const COxChar* haystack, int haystackLen, const COxChar* needle,
                                      int needleLen, Ox::CaseSensitivity cs);

    // Comparison. Case-sensitive comparison orders by unit value, then by
    // length. Case-insensitive comparison folds ASCII A to Z only and reads
    // surrogate pairs as their code points.
    OX_EXPORT int compare(const COxString& other, Ox::CaseSensitivity cs = Ox::CaseSensitive) const noexcept;
    OX_EXPORT int compare(COxLatin1String other, Ox::CaseSensitivity cs = Ox::CaseSensitive) const noexcept;
    OX_EXPORT int compare(const COxStringRef& other, Ox::CaseSensitivity cs = Ox::CaseSensitive) const noexcept;
    static int compare(const COxString& a, const COxString& b, Ox::CaseSensitivity cs = Ox::CaseSensitive) noexcept
    {
        return a.compare(b, cs);
    }
    static int compare(const COxString& a, COxLatin1String b, Ox::CaseSensitivity cs = Ox::CaseSensitive) noexcept
    {
        return a.compare(b, cs);
    }
    static int compare(COxLatin1String a, const COxString& b, Ox::CaseSensitivity cs = Ox::CaseSensitive) noexcept
    {
        return -b.compare(a, cs);
    }
    OX_EXPORT static int compare_helper(const COxChar* data1, int length1, const COxChar* data2, int length2,
                                        Ox::CaseSensitivity cs = Ox::CaseSensitive) noexcept;
    OX_EXPORT static int compare_helper(const COxChar* data1, int length1, COxLatin1String s2,
                                        Ox::CaseSensitivity cs = Ox::CaseSensitive) noexcept;
    // The bytes are decoded as UTF-8 first.
    OX_EXPORT static int compare_helper(const COxChar* data1, int length1, const char* data2, int length2,
                                        Ox::CaseSensitivity cs = Ox::CaseSensitive);

    OX_EXPORT bool operator==(COxLatin1String other) const noexcept;
    OX_EXPORT bool operator<(COxLatin1String other) const noexcept;
    OX_EXPORT bool operator>(COxLatin1String other) const noexcept;
    bool operator!=(COxLatin1String other) const noexcept { return !operator==(other); }
    bool operator<=(COxLatin1String other) const noexcept { return !operator>(other); }
    bool operator>=(COxLatin1String other) const noexcept { return !operator<(other); }
    bool operator==(const char* str) const noexcept { return operator==(COxLatin1String(str)); }
    bool operator!=(const char* str) const noexcept { return !operator==(COxLatin1String(str)); }
    bool operator<(const char* str) const noexcept { return operator<(COxLatin1String(str)); }
    bool operator>(const char* str) const noexcept { return operator>(COxLatin1String(str)); }
    bool operator<=(const char* str) const noexcept { return !operator>(COxLatin1String(str)); }
    bool operator>=(const char* str) const noexcept { return !operator<(COxLatin1String(str)); }

    // Extraction. left/right/mid share the string when the range covers it;
    // a position beyond the end gives the null string (core/text/oxrangecut.h).
    OX_EXPORT COxString left(int n) const;
    OX_EXPORT COxString right(int n) const;
    OX_EXPORT COxString mid(int position, int n = -1) const;
    OX_EXPORT COxStringRef leftRef(int n) const;
    OX_EXPORT COxStringRef rightRef(int n) const;
    OX_EXPORT COxStringRef midRef(int position, int n = -1) const;
    OX_EXPORT COxString section(COxChar sep, int start, int end = -1, int flags = SectionDefault) const;
    OX_EXPORT COxString section(const COxString& sep, int start, int end = -1, int flags = SectionDefault) const;
    OX_EXPORT std::deque<COxString> split(const COxString& sep, SplitBehavior behavior = KeepEmptyParts,
                                          Ox::CaseSensitivity cs = Ox::CaseSensitive) const;
    OX_EXPORT std::deque<COxString> split(COxChar sep, SplitBehavior behavior = KeepEmptyParts,
                                          Ox::CaseSensitivity cs = Ox::CaseSensitive) const;
    OX_EXPORT std::deque<COxStringRef> splitRef(const COxString& sep, SplitBehavior behavior = KeepEmptyParts,
                                                Ox::CaseSensitivity cs = Ox::CaseSensitive) const;
    OX_EXPORT std::deque<COxStringRef> splitRef(COxChar sep, SplitBehavior behavior = KeepEmptyParts,
                                                Ox::CaseSensitivity cs = Ox::CaseSensitive) const;
    OX_EXPORT COxString repeated(int times) const;
    OX_EXPORT COxString leftJustified(int width, COxChar fill = COxChar(' '), bool truncate = false) const;
    OX_EXPORT COxString rightJustified(int width, COxChar fill = COxChar(' '), bool truncate = false) const;

    // Transformation. Each returns the input itself (shared, not copied)
    // when nothing changes; on an rvalue an unshared buffer is reused.
    COxString toLower() const& { return toLower_helper(*this); }
    COxString toLower() && { return toLower_helper(*this); }
    COxString toUpper() const& { return toUpper_helper(*this); }
    COxString toUpper() && { return toUpper_helper(*this); }
    COxString trimmed() const& { return trimmed_helper(*this); }
    COxString trimmed() && { return trimmed_helper(*this); }
    COxString simplified() const& { return simplified_helper(*this); }
    COxString simplified() && { return simplified_helper(*this); }
    OX_EXPORT COxString toHtmlEscaped() const;

    OX_EXPORT static COxString toLower_helper(const COxString& str);
    OX_EXPORT static COxString toLower_helper(COxString& str);
    OX_EXPORT static COxString toUpper_helper(const COxString& str);
    OX_EXPORT static COxString toUpper_helper(COxString& str);
    OX_EXPORT static COxString trimmed_helper(const COxString& str);
    OX_EXPORT static COxString trimmed_helper(COxString& str);
    OX_EXPORT static COxString simplified_helper(const COxString& str);
    OX_EXPORT static COxString simplified_helper(COxString& str);

    // Conversion.
    COxByteArray toLatin1() const& { return toLatin1_helper(*this); }
    COxByteArray toLatin1() && { return toLatin1_helper_inplace(*this); }
    COxByteArray toUtf8() const { return toUtf8_helper(*this); }
    COxByteArray toLocal8Bit() const { return toLocal8Bit_helper(isNull() ? nullptr : constData(), size()); }
    std::vector<uint> toUcs4() const
    {
        std::vector<uint> v(static_cast<size_t>(size()));
        v.resize(size_t(toUcs4_helper(reinterpret_cast<const ushort*>(constData()), size(), v.data())));
        return v;
    }

    // Units above 0xff (surrogates included) become '?'.
    OX_EXPORT static COxByteArray toLatin1_helper(const COxString& str);
    OX_EXPORT static COxByteArray toLatin1_helper(const COxChar* data, int size);
    // Narrows an unshared string's own buffer and hands it over; the string
    // is left null.
    OX_EXPORT static COxByteArray toLatin1_helper_inplace(COxString& str);
    OX_EXPORT static COxByteArray toUtf8_helper(const COxString& str);
    OX_EXPORT static COxByteArray toLocal8Bit_helper(const COxChar* data, int size);
    // Writes one value per code point to out (room for length values).
    OX_EXPORT static int toUcs4_helper(const ushort* unicode, int length, uint* out);

    // Numbers to text (core/text/oxstringnumber.cpp), formatted as by the
    // byte array and widened as Latin-1. Integers are widened to 64 bits, so
    // number(-1, 16) has sixteen f digits; a minus sign appears only in base
    // 10. Floating point goes through snprintf with the conversion format
    // and precision (negative: the C library's default).
    OX_EXPORT COxString& setNum(long n, int base = 10);
    OX_EXPORT COxString& setNum(ulong n, int base = 10);
    OX_EXPORT COxString& setNum(double n, char format = 'g', int precision = 6);
    COxString& setNum(short n, int base = 10) { return setNum(long(n), base); }
    COxString& setNum(ushort n, int base = 10) { return setNum(ulong(n), base); }
    COxString& setNum(int n, int base = 10) { return setNum(long(n), base); }
    COxString& setNum(uint n, int base = 10) { return setNum(ulong(n), base); }
    COxString& setNum(long long n, int base = 10) { return setNum(long(n), base); }
    COxString& setNum(unsigned long long n, int base = 10) { return setNum(ulong(n), base); }
    COxString& setNum(float n, char format = 'g', int precision = 6) { return setNum(double(n), format, precision); }
    OX_EXPORT static COxString number(int n, int base = 10);
    OX_EXPORT static COxString number(uint n, int base = 10);
    OX_EXPORT static COxString number(long n, int base = 10);
    OX_EXPORT static COxString number(ulong n, int base = 10);
    OX_EXPORT static COxString number(double n, char format = 'g', int precision = 6);
    static COxString number(long long n, int base = 10) { return number(long(n), base); }
    static COxString number(unsigned long long n, int base = 10) { return number(ulong(n), base); }

    // Text to numbers. The units are narrowed to Latin-1 (units above 0xff
    // become '?', which no number accepts) and parsed with the C library:
    // whitespace may stand before and after the number, nothing else. The
    // base follows strtoll (0 picks it from a "0x" or "0" prefix). On
    // failure the result is 0 and *ok (when given) false; *ok is always
    // written. The narrow types parse as 64 bits and then refuse values
    // that do not fit them.
    OX_EXPORT long long toLongLong(bool* ok = nullptr, int base = 10) const;
    OX_EXPORT unsigned long long toULongLong(bool* ok = nullptr, int base = 10) const;
    OX_EXPORT long toLong(bool* ok = nullptr, int base = 10) const;
    OX_EXPORT ulong toULong(bool* ok = nullptr, int base = 10) const;
    OX_EXPORT int toInt(bool* ok = nullptr, int base = 10) const;
    OX_EXPORT uint toUInt(bool* ok = nullptr, int base = 10) const;
    OX_EXPORT short toShort(bool* ok = nullptr, int base = 10) const;
    OX_EXPORT ushort toUShort(bool* ok = nullptr, int base = 10) const;
    // A range error is accepted only for a gradual underflow (a non-zero
    // value below the smallest normal double); empty text fails.
    OX_EXPORT double toDouble(bool* ok = nullptr) const;
    // toDouble narrowed; a finite value beyond the float range fails.
    OX_EXPORT float toFloat(bool* ok = nullptr) const;
    OX_EXPORT static long long toIntegral_helper(const COxChar* data, int len, bool* ok, int base);
    OX_EXPORT static unsigned long long toIntegral_helper(const COxChar* data, uint len, bool* ok, int base);

    // Placeholder substitution (core/text/oxstringarg.cpp). An escape is '%'
    // and one or two decimal digits (%0 to %99; "%10" is escape ten). Each
    // call replaces every escape with the lowest number present and leaves
    // the others, so successive calls fill %1, %2, ... in turn. "%L" with
    // digits is plain text. The argument is padded with fillChar to
    // |fieldWidth| units, on the left for a positive width (right-aligned)
    // and on the right for a negative one; it is never cut. Without any
    // escape a warning is written and the string is returned unchanged.
    OX_EXPORT COxString arg(const COxString& a, int fieldWidth = 0, COxChar fillChar = COxChar(' ')) const;
    // Numbers are formatted as by number(); a negative number padded with
    // '0' to a positive width gets its zeros after the minus sign (-005).
    OX_EXPORT COxString arg(long a, int fieldWidth = 0, int base = 10, COxChar fillChar = COxChar(' ')) const;
    OX_EXPORT COxString arg(ulong a, int fieldWidth = 0, int base = 10, COxChar fillChar = COxChar(' ')) const;
    OX_EXPORT COxString arg(double a, int fieldWidth = 0, char format = 'g', int precision = -1,
                            COxChar fillChar = COxChar(' ')) const;
    OX_EXPORT COxString arg(COxChar a, int fieldWidth = 0, COxChar fillChar = COxChar(' ')) const;
    // The byte is read as Latin-1.
    OX_EXPORT COxString arg(char a, int fieldWidth = 0, COxChar fillChar = COxChar(' ')) const;
    COxString arg(int a, int fieldWidth = 0, int base = 10, COxChar fillChar = COxChar(' ')) const
    {
        return arg(long(a), fieldWidth, base, fillChar);
    }
    COxString arg(uint a, int fieldWidth = 0, int base = 10, COxChar fillChar = COxChar(' ')) const
    {
        return arg(ulong(a), fieldWidth, base, fillChar);
    }
    COxString arg(short a, int fieldWidth = 0, int base = 10, COxChar fillChar = COxChar(' ')) const
    {
        return arg(long(a), fieldWidth, base, fillChar);
    }
    COxString arg(ushort a, int fieldWidth = 0, int base = 10, COxChar fillChar = COxChar(' ')) const
    {
        return arg(ulong(a), fieldWidth, base, fillChar);
    }
    COxString arg(long long a, int fieldWidth = 0, int base = 10, COxChar fillChar = COxChar(' ')) const
    {
        return arg(long(a), fieldWidth, base, fillChar);
    }
    COxString arg(unsigned long long a, int fieldWidth = 0, int base = 10, COxChar fillChar = COxChar(' ')) const
    {
        return arg(ulong(a), fieldWidth, base, fillChar);
    }
    COxString arg(char16_t a, int fieldWidth = 0, COxChar fillChar = COxChar(' ')) const
    {
        return arg(COxChar(a), fieldWidth, fillChar);
    }
    COxString arg(const char* a, int fieldWidth = 0, COxChar fillChar = COxChar(' ')) const
    {
        return arg(COxString(a), fieldWidth, fillChar);
    }
    COxString arg(COxLatin1String a, int fieldWidth = 0, COxChar fillChar = COxChar(' ')) const
    {
        return arg(COxString(a), fieldWidth, fillChar);
    }

private:
    friend class COxStringRef;
    explicit COxString(SOxArrayData* data) noexcept : d(data) {}

    static void release(SOxArrayData* data) noexcept
    {
        if (data->release())
            SOxArrayData::deallocate(data, sizeof(COxChar), alignof(SOxArrayData));
    }
    ushort* units() noexcept { return static_cast<ushort*>(d->data()); }
    const ushort* units() const noexcept { return static_cast<const ushort*>(d->data()); }
    bool isWritable(uint need) const noexcept { return d->isMutable() && !d->isRawData() && d->alloc >= need; }
    bool makeWritable(int64_t size, bool grow);
    bool pointsIntoOwnBlock(const void* p) const noexcept;
    void setSize(int size) noexcept;
    static COxString emptyString() noexcept;
    void replace_helper(const uint* indices, int count, int blen, const COxChar* after, int alen);
    void replaceAll(const COxChar* before, int blen, const COxChar* after, int alen, Ox::CaseSensitivity cs);
    static COxString caseConverted_helper(const COxString& str, bool lower);
    static COxString caseConverted_helper(COxString& str, bool lower);

    SOxArrayData* d;
};

inline bool operator==(const COxString& a, const COxString& b) noexcept
{
    return a.size() == b.size()
        && (a.size() == 0 || std::memcmp(a.constData(), b.constData(), sizeof(COxChar) * size_t(a.size())) == 0);
}
inline bool operator!=(const COxString& a, const COxString& b) noexcept { return !(a == b); }
inline bool operator<(const COxString& a, const COxString& b) noexcept { return a.compare(b) < 0; }
inline bool operator>(const COxString& a, const COxString& b) noexcept { return a.compare(b) > 0; }
inline bool operator<=(const COxString& a, const COxString& b) noexcept { return a.compare(b) <= 0; }
inline bool operator>=(const COxString& a, const COxString& b) noexcept { return a.compare(b) >= 0; }

inline bool operator==(COxLatin1String a, const COxString& b) noexcept { return b == a; }
inline bool operator!=(COxLatin1String a, const COxString& b) noexcept { return b != a; }
inline bool operator<(COxLatin1String a, const COxString& b) noexcept { return b > a; }
inline bool operator>(COxLatin1String a, const COxString& b) noexcept { return b < a; }
inline bool operator<=(COxLatin1String a, const COxString& b) noexcept { return b >= a; }
inline bool operator>=(COxLatin1String a, const COxString& b) noexcept { return b <= a; }

inline bool operator==(const char* a, const COxString& b) noexcept { return b == a; }
inline bool operator!=(const char* a, const COxString& b) noexcept { return b != a; }
inline bool operator<(const char* a, const COxString& b) noexcept { return b > a; }
inline bool operator>(const char* a, const COxString& b) noexcept { return b < a; }
inline bool operator<=(const char* a, const COxString& b) noexcept { return b >= a; }
inline bool operator>=(const char* a, const COxString& b) noexcept { return b <= a; }

inline COxString operator+(const COxString& a, const COxString& b)
{
    COxString t(a);
    t += b;
    return t;
}
inline COxString operator+(const COxString& a, COxChar b)
{
    COxString t(a);
    t += b;
    return t;
}
inline COxString operator+(COxChar a, const COxString& b)
{
    COxString t(a);
    t += b;
    return t;
}
inline COxString operator+(const COxString& a, const char* b)
{
    COxString t(a);
    t += COxLatin1String(b);
    return t;
}
inline COxString operator+(const char* a, const COxString& b)
{
    COxString t(a);
    t += b;
    return t;
}
inline COxString operator+(const COxString& a, COxLatin1String b)
{
    COxString t(a);
    t += b;
    return t;
}
inline COxString operator+(COxLatin1String a, const COxString& b)
{
    COxString t(a);
    t += b;
    return t;
}

inline void swap(COxString& a, COxString& b) noexcept { a.swap(b); }

#include "core/text/oxstringref.h"

#endif // OXSTRING_H
