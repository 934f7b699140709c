// COxStringRef: a non-owning view of a range inside a COxString (a pointer
// to the string, a position and a length). The string must outlive the view
// and keep its size while the view is used. Header-only: everything goes
// through the string's exported range helpers.
#ifndef OXSTRINGREF_H
#define OXSTRINGREF_H

#include "core/text/oxrangecut.h"
#include "core/text/oxstring.h"

class COxStringRef {
public:
    COxStringRef() noexcept : m_string(nullptr), m_position(0), m_size(0) {}
    COxStringRef(const COxString* string, int position, int size) noexcept
        : m_string(string), m_position(position), m_size(size)
    {
    }
    COxStringRef(const COxString* string) noexcept
        : m_string(string), m_position(0), m_size(string ? string->size() : 0)
    {
    }

    const COxString* string() const noexcept { return m_string; }
    int position() const noexcept { return m_position; }
    int size() const noexcept { return m_size; }
    int count() const noexcept { return m_size; }
    int length() const noexcept { return m_size; }
    bool isNull() const noexcept { return !m_string || m_string->isNull(); }
    bool isEmpty() const noexcept { return m_size == 0; }
    void clear() noexcept
    {
        m_string = nullptr;
        m_position = 0;
        m_size = 0;
    }

    const COxChar* unicode() const noexcept
    {
        return m_string ? m_string->unicode() + m_position
                        : static_cast<const COxChar*>(SOxArrayData::sharedNull()->data());
    }
    const COxChar* data() const noexcept { return unicode(); }
    const COxChar* constData() const noexcept { return unicode(); }
    const COxChar* begin() const noexcept { return unicode(); }
    const COxChar* end() const noexcept { return unicode() + m_size; }
    COxChar at(int i) const { return unicode()[i]; }
    COxChar operator[](int i) const { return unicode()[i]; }

    COxString toString() const
    {
        if (!m_string)
            return COxString();
        if (m_position == 0 && m_size == m_string->size())
            return *m_string;
        return COxString(unicode(), m_size);
    }
    COxByteArray toLatin1() const { return COxString::toLatin1_helper(isNull() ? nullptr : unicode(), m_size); }
    COxByteArray toUtf8() const { return COxString::toLocal8Bit_helper(isNull() ? nullptr : unicode(), m_size); }
    COxByteArray toLocal8Bit() const { return COxString::toLocal8Bit_helper(isNull() ? nullptr : unicode(), m_size); }

    // Appends the viewed units to str and returns a view of them there.
    COxStringRef appendTo(COxString* str) const
    {
        if (!str)
            return COxStringRef();
        const int pos = str->size();
        str->append(unicode(), m_size);
        return COxStringRef(str, pos, m_size);
    }

    COxStringRef left(int n) const { return mid(0, n); }
    COxStringRef right(int n) const
    {
        if (n < 0)
            return mid(0, -1);
        return mid(m_size - n < 0 ? 0 : m_size - n, n);
    }
    COxStringRef mid(int pos, int n = -1) const
    {
        switch (OxCutRange(m_size, &pos, &n)) {
        case OxCut::Null:
            return COxStringRef();
        case OxCut::Empty:
            return COxStringRef(m_string, m_position, 0);
        case OxCut::Full:
            return *this;
        case OxCut::Subset:
            break;
        }
        return COxStringRef(m_string, m_position + pos, n);
    }
    COxStringRef trimmed() const
    {
        const COxChar* p = unicode();
        int begin = 0;
        int end = m_size;
        while (begin < end && p[begin].isSpace())
            ++begin;
        while (end > begin && p[end - 1].isSpace())
            --end;
        return COxStringRef(m_string, m_position + begin, end - begin);
    }

    int indexOf(const COxString& str, int from = 0, Ox::CaseSensitivity cs = Ox::CaseSensitive) const
    {
        return COxString::indexOf_helper(unicode(), m_size, str.unicode(), str.size(), from, cs);
    }
    int indexOf(const COxStringRef& str, int from = 0, Ox::CaseSensitivity cs = Ox::CaseSensitive) const
    {
        return COxString::indexOf_helper(unicode(), m_size, str.unicode(), str.size(), from, cs);
    }
    int indexOf(COxLatin1String str, int from = 0, Ox::CaseSensitivity cs = Ox::CaseSensitive) const
    {
        return COxString::indexOf_helper(unicode(), m_size, str, from, cs);
    }
    int indexOf(COxChar ch, int from = 0, Ox::CaseSensitivity cs = Ox::CaseSensitive) const
    {
        return COxString::indexOf_helper(unicode(), m_size, ch, from, cs);
    }
    int lastIndexOf(const COxString& str, int from = -1, Ox::CaseSensitivity cs = Ox::CaseSensitive) const
    {
        return COxString::lastIndexOf_helper(unicode(), m_size, str.unicode(), str.size(), from, cs);
    }
    int lastIndexOf(const COxStringRef& str, int from = -1, Ox::CaseSensitivity cs = Ox::CaseSensitive) const
    {
        return COxString::lastIndexOf_helper(unicode(), m_size, str.unicode(), str.size(), from, cs);
    }
    int lastIndexOf(COxLatin1String str, int from = -1, Ox::CaseSensitivity cs = Ox::CaseSensitive) const
    {
        return lastIndexOf(COxString(str), from, cs);
    }
    int lastIndexOf(COxChar ch, int from = -1, Ox::CaseSensitivity cs = Ox::CaseSensitive) const
    {
        return COxString::lastIndexOf_helper(unicode(), m_size, ch, from, cs);
    }
    bool contains(const COxString& str, Ox::CaseSensitivity cs = Ox::CaseSensitive) const { return indexOf(str, 0, cs) != -1; }
    bool contains(const COxStringRef& str, Ox::CaseSensitivity cs = Ox::CaseSensitive) const { return indexOf(str, 0, cs) != -1; }
    bool contains(COxLatin1String str, Ox::CaseSensitivity cs = Ox::CaseSensitive) const { return indexOf(str, 0, cs) != -1; }
    bool contains(COxChar ch, Ox::CaseSensitivity cs = Ox::CaseSensitive) const { return indexOf(ch, 0, cs) != -1; }
    int count(const COxString& str, Ox::CaseSensitivity cs = Ox::CaseSensitive) const
    {
        return COxString::count_helper(unicode(), m_size, str.unicode(), str.size(), cs);
    }
    int count(const COxStringRef& str, Ox::CaseSensitivity cs = Ox::CaseSensitive) const
    {
        return COxString::count_helper(unicode(), m_size, str.unicode(), str.size(), cs);
    }
    int count(COxChar ch, Ox::CaseSensitivity cs = Ox::CaseSensitive) const
    {
        return COxString::count_helper(unicode(), m_size, &ch, 1, cs);
    }
    bool startsWith(const COxString& str, Ox::CaseSensitivity cs = Ox::CaseSensitive) const
    {
        return startsWith(COxStringRef(&str), cs);
    }
    bool startsWith(const COxStringRef& str, Ox::CaseSensitivity cs = Ox::CaseSensitive) const
    {
        return str.size() <= m_size
            && COxString::compare_helper(unicode(), str.size(), str.unicode(), str.size(), cs) == 0;
    }
    bool startsWith(COxLatin1String str, Ox::CaseSensitivity cs = Ox::CaseSensitive) const
    {
        return str.size() <= m_size && COxString::compare_helper(unicode(), str.size(), str, cs) == 0;
    }
    bool startsWith(COxChar ch, Ox::CaseSensitivity cs = Ox::CaseSensitive) const
    {
        return m_size > 0 && COxString::compare_helper(unicode(), 1, &ch, 1, cs) == 0;
    }
    bool endsWith(const COxString& str, Ox::CaseSensitivity cs = Ox::CaseSensitive) const
    {
        return endsWith(COxStringRef(&str), cs);
    }
    bool endsWith(const COxStringRef& str, Ox::CaseSensitivity cs = Ox::CaseSensitive) const
    {
        return str.size() <= m_size
            && COxString::compare_helper(unicode() + m_size - str.size(), str.size(), str.unicode(), str.size(), cs) == 0;
    }
    bool endsWith(COxLatin1String str, Ox::CaseSensitivity cs = Ox::CaseSensitive) const
    {
        return str.size() <= m_size
            && COxString::compare_helper(unicode() + m_size - str.size(), str.size(), str, cs) == 0;
    }
    bool endsWith(COxChar ch, Ox::CaseSensitivity cs = Ox::CaseSensitive) const
    {
        return m_size > 0 && COxString::compare_helper(unicode() + m_size - 1, 1, &ch, 1, cs) == 0;
    }

    int compare(const COxString& other, Ox::CaseSensitivity cs = Ox::CaseSensitive) const noexcept
    {
        return COxString::compare_helper(unicode(), m_size, other.unicode(), other.size(), cs);
    }
    int compare(const COxStringRef& other, Ox::CaseSensitivity cs = Ox::CaseSensitive) const noexcept
    {
        return COxString::compare_helper(unicode(), m_size, other.unicode(), other.size(), cs);
    }
    int compare(COxLatin1String other, Ox::CaseSensitivity cs = Ox::CaseSensitive) const noexcept
    {
        return COxString::compare_helper(unicode(), m_size, other, cs);
    }

private:
    const COxString* m_string;
    int m_position;
    int m_size;
};

inline bool operator==(const COxStringRef& a, const COxStringRef& b) noexcept
{
    return a.size() == b.size() && a.compare(b) == 0;
}
inline bool operator!=(const COxStringRef& a, const COxStringRef& b) noexcept { return !(a == b); }
inline bool operator<(const COxStringRef& a, const COxStringRef& b) noexcept { return a.compare(b) < 0; }
inline bool operator==(const COxString& a, const COxStringRef& b) noexcept
{
    return a.size() == b.size() && b.compare(a) == 0;
}
inline bool operator!=(const COxString& a, const COxStringRef& b) noexcept { return !(a == b); }
inline bool operator==(const COxStringRef& a, const COxString& b) noexcept { return b == a; }
inline bool operator!=(const COxStringRef& a, const COxString& b) noexcept { return !(b == a); }
inline bool operator==(const COxStringRef& a, COxLatin1String b) noexcept
{
    return a.size() == b.size() && a.compare(b) == 0;
}
inline bool operator!=(const COxStringRef& a, COxLatin1String b) noexcept { return !(a == b); }
inline bool operator==(COxLatin1String a, const COxStringRef& b) noexcept { return b == a; }
inline bool operator!=(COxLatin1String a, const COxStringRef& b) noexcept { return !(b == a); }

#endif // OXSTRINGREF_H
