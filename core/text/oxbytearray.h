// COxByteArray: an implicitly shared, copy-on-write array of bytes. Copies
// share one SOxArrayData block until one of them writes. An owned block always
// has a zero byte after its last byte, so constData() can be handed to C
// functions; raw data (fromRawData) carries no such guarantee.
//
// Null (default constructed) and empty are distinct; both have size 0.
#ifndef OXBYTEARRAY_H
#define OXBYTEARRAY_H

#include "core/oxglobal.h"
#include "core/text/oxarraydata.h"
#include "core/text/oxnamespace.h"

#include <cstring>
#include <deque>

class COxString;

class COxByteArray {
public:
    // The largest size: a 2^31 - 1 byte block less the header and the
    // terminating zero.
    static constexpr int MaxSize = 2147483622;

    COxByteArray() noexcept : d(SOxArrayData::sharedNull()) {}
    // Copies size bytes; a negative size means up to the first zero byte.
    // A null pointer gives the null array.
    COxByteArray(const char* data, int size = -1);
    COxByteArray(int size, char ch);
    COxByteArray(int size, Ox::Initialization);
    COxByteArray(const COxByteArray& other) noexcept : d(other.d) { d->acquire(); }
    COxByteArray(COxByteArray&& other) noexcept : d(other.d) { other.d = SOxArrayData::sharedNull(); }
    ~COxByteArray() { release(d); }

    COxByteArray& operator=(const COxByteArray& other) noexcept
    {
        SOxArrayData* old = d;
        other.d->acquire();
        d = other.d;
        release(old);
        return *this;
    }
    COxByteArray& operator=(COxByteArray&& other) noexcept
    {
        swap(other);
        return *this;
    }
    COxByteArray& operator=(const char* str);
    void swap(COxByteArray& other) noexcept
    {
        SOxArrayData* t = d;
        d = other.d;
        other.d = t;
    }

    // Wraps caller-owned bytes without copying. They are never written
    // through; any change first copies them into a block of its own.
    static COxByteArray fromRawData(const char* data, int size);
    COxByteArray& setRawData(const char* data, int size);

    // Size and storage.
    int size() const noexcept { return d->size; }
    int count() const noexcept { return d->size; }
    int length() const noexcept { return d->size; }
    bool isEmpty() const noexcept { return d->size == 0; }
    bool isNull() const noexcept { return d == SOxArrayData::sharedNull(); }
    int capacity() const noexcept { return d->alloc ? int(d->alloc) - 1 : 0; }
    void reserve(int size);
    void squeeze();
    void resize(int size);
    void truncate(int pos);
    void chop(int n);
    COxByteArray& fill(char ch, int size = -1);
    void clear();
    void detach();
    bool isDetached() const noexcept { return !d->isShared(); }
    bool isSharedWith(const COxByteArray& other) const noexcept { return d == other.d; }
    // The single reallocation routine: alloc counts the terminating byte.
    void reallocData(uint alloc, bool grow = false);

    char* data()
    {
        detach();
        return static_cast<char*>(d->data());
    }
    const char* data() const noexcept { return static_cast<const char*>(d->data()); }
    const char* constData() const noexcept { return static_cast<const char*>(d->data()); }
    char at(int i) const { return constData()[i]; }
    char operator[](int i) const { return constData()[i]; }
    char& operator[](int i) { return data()[i]; }
    char front() const { return at(0); }
    char back() const { return at(size() - 1); }

    char* begin() { return data(); }
    char* end() { return data() + size(); }
    const char* begin() const noexcept { return constData(); }
    const char* end() const noexcept { return constData() + size(); }
    const char* cbegin() const noexcept { return constData(); }
    const char* cend() const noexcept { return constData() + size(); }

    // Editing. Positions beyond the end pad with spaces; negative positions
    // leave the array unchanged.
    COxByteArray& append(char ch);
    COxByteArray& append(int count, char ch);
    COxByteArray& append(const char* str);
    COxByteArray& append(const char* str, int len);
    COxByteArray& append(const COxByteArray& other);
    COxByteArray& prepend(char ch) { return insert(0, ch); }
    COxByteArray& prepend(const char* str) { return insert(0, str); }
    COxByteArray& prepend(const char* str, int len) { return insert(0, str, len); }
    COxByteArray& prepend(const COxByteArray& other) { return insert(0, other); }
    COxByteArray& insert(int i, char ch) { return insert(i, &ch, 1); }
    COxByteArray& insert(int i, int count, char ch);
    COxByteArray& insert(int i, const char* str);
    COxByteArray& insert(int i, const char* str, int len);
    COxByteArray& insert(int i, const COxByteArray& other);
    COxByteArray& remove(int pos, int len);
    COxByteArray& replace(int pos, int len, const char* after, int alen);
    COxByteArray& replace(int pos, int len, const char* after);
    COxByteArray& replace(int pos, int len, const COxByteArray& after);
    COxByteArray& replace(char before, char after);
    COxByteArray& replace(char before, const char* after);
    COxByteArray& replace(char before, const COxByteArray& after);
    COxByteArray& replace(const char* before, int blen, const char* after, int alen);
    COxByteArray& replace(const char* before, const char* after);
    COxByteArray& replace(const COxByteArray& before, const COxByteArray& after);
    void push_back(char ch) { append(ch); }
    void push_back(const COxByteArray& other) { append(other); }
    void push_front(char ch) { prepend(ch); }
    void push_front(const COxByteArray& other) { prepend(other); }
    COxByteArray& operator+=(char ch) { return append(ch); }
    COxByteArray& operator+=(const char* str) { return append(str); }
    COxByteArray& operator+=(const COxByteArray& other) { return append(other); }

    // Search.
    int indexOf(char ch, int from = 0) const;
    int indexOf(const char* str, int from = 0) const;
    int indexOf(const COxByteArray& needle, int from = 0) const;
    int lastIndexOf(char ch, int from = -1) const;
    int lastIndexOf(const char* str, int from = -1) const;
    int lastIndexOf(const COxByteArray& needle, int from = -1) const;
    bool contains(char ch) const { return indexOf(ch) != -1; }
    bool contains(const char* str) const { return indexOf(str) != -1; }
    bool contains(const COxByteArray& needle) const { return indexOf(needle) != -1; }
    int count(char ch) const;
    int count(const char* str) const;
    int count(const COxByteArray& needle) const;
    bool startsWith(char ch) const;
    bool startsWith(const char* str) const;
    bool startsWith(const COxByteArray& prefix) const;
    bool endsWith(char ch) const;
    bool endsWith(const char* str) const;
    bool endsWith(const COxByteArray& suffix) const;

    // Comparison. Case-insensitive comparison folds ASCII letters only.
    int compare(const COxByteArray& other, Ox::CaseSensitivity cs = Ox::CaseSensitive) const;
    int compare(const char* str, Ox::CaseSensitivity cs = Ox::CaseSensitive) const;
    // memcmp over the shorter length, then the size difference.
    static int compare_helper(const char* a, int alen, const char* b, int blen);
    // Against a zero-terminated C string; a null C string is smaller than
    // any non-empty array and equal to an empty one.
    static int compare_helper(const char* a, int alen, const char* str);

    // Extraction. left/right/mid share the array when the range covers it
    // and clamp the range as described in core/text/oxrangecut.h.
    COxByteArray left(int n) const;
    COxByteArray right(int n) const;
    COxByteArray mid(int position, int n = -1) const;
    std::deque<COxByteArray> split(char sep) const;
    COxByteArray repeated(int times) const;
    COxByteArray leftJustified(int width, char fill = ' ', bool truncate = false) const;
    COxByteArray rightJustified(int width, char fill = ' ', bool truncate = false) const;

    // Transformation. Each returns the input itself (shared, not copied)
    // when nothing changes. Whitespace is bytes 9 to 13, 32, 0x85 and 0xa0.
    COxByteArray toLower() const;
    COxByteArray toUpper() const;
    COxByteArray trimmed() const;
    COxByteArray simplified() const;
    // Two lower-case hexadecimal digits per byte, with an optional separator
    // between byte pairs. An empty array gives the null array.
    COxByteArray toHex(char separator = '\0') const;

    static bool isSpace(uchar c) noexcept
    {
        return c == ' ' || (c >= '\t' && c <= '\r') || c == 0x85 || c == 0xa0;
    }

    // Numbers to text. Integers are widened to 64 bits (signed values with
    // their sign) and written in base, digits from 10 on as lower-case
    // letters; a minus sign appears only in base 10, other bases show a
    // negative value as its 64-bit two's complement. Floating point goes
    // through snprintf with the conversion format ('e', 'E', 'f', 'F', 'g',
    // 'G', 'a', 'A') and precision (negative: the C library's default).
    COxByteArray& setNum(short n, int base = 10) { return setNum(long(n), base); }
    COxByteArray& setNum(ushort n, int base = 10) { return setNum(ulong(n), base); }
    COxByteArray& setNum(int n, int base = 10) { return setNum(long(n), base); }
    COxByteArray& setNum(uint n, int base = 10) { return setNum(ulong(n), base); }
    COxByteArray& setNum(long n, int base = 10);
    COxByteArray& setNum(ulong n, int base = 10);
    COxByteArray& setNum(long long n, int base = 10) { return setNum(long(n), base); }
    COxByteArray& setNum(unsigned long long n, int base = 10) { return setNum(ulong(n), base); }
    COxByteArray& setNum(float n, char format = 'g', int precision = 6) { return setNum(double(n), format, precision); }
    COxByteArray& setNum(double n, char format = 'g', int precision = 6);
    static COxByteArray number(int n, int base = 10) { return number(long(n), base); }
    static COxByteArray number(uint n, int base = 10) { return number(ulong(n), base); }
    static COxByteArray number(long n, int base = 10);
    static COxByteArray number(ulong n, int base = 10);
    static COxByteArray number(long long n, int base = 10) { return number(long(n), base); }
    static COxByteArray number(unsigned long long n, int base = 10) { return number(ulong(n), base); }
    static COxByteArray number(double n, char format = 'g', int precision = 6);

    // Text to numbers, with strtoll/strtoull/strtod. Whitespace may stand
    // before and after the number, nothing else. On failure the result is 0
    // and *ok (when given) false; *ok is always written. The narrow types
    // parse as 64 bits and then refuse values that do not fit them.
    long long toLongLong(bool* ok = nullptr, int base = 10) const;
    unsigned long long toULongLong(bool* ok = nullptr, int base = 10) const;
    long toLong(bool* ok = nullptr, int base = 10) const;
    ulong toULong(bool* ok = nullptr, int base = 10) const;
    int toInt(bool* ok = nullptr, int base = 10) const;
    uint toUInt(bool* ok = nullptr, int base = 10) const;
    short toShort(bool* ok = nullptr, int base = 10) const;
    ushort toUShort(bool* ok = nullptr, int base = 10) const;
    // A range error is accepted only for a gradual underflow.
    double toDouble(bool* ok = nullptr) const;
    // A finite value beyond the float range fails.
    float toFloat(bool* ok = nullptr) const;

private:
    friend class COxString;
    explicit COxByteArray(SOxArrayData* data) noexcept : d(data) {}

    static void release(SOxArrayData* data) noexcept
    {
        if (data->release())
            SOxArrayData::deallocate(data, 1, alignof(SOxArrayData));
    }
    // True when the block can take need bytes (terminator included) in place.
    bool isWritable(uint need) const noexcept
    {
        return d->isMutable() && !d->isRawData() && d->alloc >= need;
    }
    bool makeWritable(int64_t size, bool grow);
    bool pointsIntoOwnBlock(const char* p) const noexcept;
    void setSize(int size) noexcept;
    void replace_helper(const int* indices, int count, int blen, const char* after, int alen);
    COxByteArray caseConverted(const uchar* table) const;
    // The bytes followed by a zero byte: constData(), or for raw data a
    // terminated copy kept in *holder.
    const char* terminatedData(COxByteArray* holder) const;

    SOxArrayData* d;
};

inline bool operator==(const COxByteArray& a, const COxByteArray& b) noexcept
{
    return a.size() == b.size() && (a.size() == 0 || std::memcmp(a.constData(), b.constData(), size_t(a.size())) == 0);
}
inline bool operator!=(const COxByteArray& a, const COxByteArray& b) noexcept { return !(a == b); }
inline bool operator<(const COxByteArray& a, const COxByteArray& b) { return a.compare(b) < 0; }
inline bool operator>(const COxByteArray& a, const COxByteArray& b) { return a.compare(b) > 0; }
inline bool operator<=(const COxByteArray& a, const COxByteArray& b) { return a.compare(b) <= 0; }
inline bool operator>=(const COxByteArray& a, const COxByteArray& b) { return a.compare(b) >= 0; }
inline bool operator==(const COxByteArray& a, const char* b) { return a.compare(b) == 0; }
inline bool operator!=(const COxByteArray& a, const char* b) { return a.compare(b) != 0; }
inline bool operator<(const COxByteArray& a, const char* b) { return a.compare(b) < 0; }
inline bool operator>(const COxByteArray& a, const char* b) { return a.compare(b) > 0; }
inline bool operator==(const char* a, const COxByteArray& b) { return b.compare(a) == 0; }
inline bool operator!=(const char* a, const COxByteArray& b) { return b.compare(a) != 0; }
inline bool operator<(const char* a, const COxByteArray& b) { return b.compare(a) > 0; }
inline bool operator>(const char* a, const COxByteArray& b) { return b.compare(a) < 0; }

inline COxByteArray operator+(const COxByteArray& a, const COxByteArray& b)
{
    COxByteArray t(a);
    t += b;
    return t;
}
inline COxByteArray operator+(const COxByteArray& a, const char* b)
{
    COxByteArray t(a);
    t += b;
    return t;
}
inline COxByteArray operator+(const COxByteArray& a, char b)
{
    COxByteArray t(a);
    t += b;
    return t;
}
inline COxByteArray operator+(const char* a, const COxByteArray& b)
{
    COxByteArray t(a);
    t += b;
    return t;
}

#endif // OXBYTEARRAY_H
