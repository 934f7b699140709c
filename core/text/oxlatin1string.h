// COxLatin1String: a non-owning view of a byte string read as Latin-1 (a
// pointer and a length). The bytes must outlive the view.
#ifndef OXLATIN1STRING_H
#define OXLATIN1STRING_H

#include "core/text/oxbytearray.h"
#include "core/text/oxchar.h"

#include <cstring>

class COxLatin1String {
public:
    constexpr COxLatin1String() noexcept : m_size(0), m_data(nullptr) {}
    explicit COxLatin1String(const char* s) noexcept : m_size(s ? int(std::strlen(s)) : 0), m_data(s) {}
    constexpr COxLatin1String(const char* s, int size) noexcept : m_size(s && size > 0 ? size : 0), m_data(s) {}
    explicit COxLatin1String(const COxByteArray& s) noexcept : m_size(s.size()), m_data(s.isNull() ? nullptr : s.constData()) {}

    constexpr const char* latin1() const noexcept { return m_data; }
    constexpr const char* data() const noexcept { return m_data; }
    constexpr int size() const noexcept { return m_size; }
    constexpr bool isNull() const noexcept { return m_data == nullptr; }
    constexpr bool isEmpty() const noexcept { return m_size == 0; }
    constexpr COxChar at(int i) const { return COxChar(m_data[i]); }
    constexpr COxChar operator[](int i) const { return at(i); }
    constexpr const char* begin() const noexcept { return m_data; }
    constexpr const char* end() const noexcept { return m_data + m_size; }

private:
    int m_size;
    const char* m_data;
};

inline bool operator==(COxLatin1String a, COxLatin1String b) noexcept
{
    return a.size() == b.size() && (a.size() == 0 || std::memcmp(a.data(), b.data(), size_t(a.size())) == 0);
}
inline bool operator!=(COxLatin1String a, COxLatin1String b) noexcept { return !(a == b); }

#endif // OXLATIN1STRING_H
