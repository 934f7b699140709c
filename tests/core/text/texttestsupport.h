// Helpers of the text tests: strings from UTF-16 literals and back, readable
// failure output, and a deterministic generator so random rounds reproduce.
#ifndef TESTS_CORE_TEXT_TEXTTESTSUPPORT_H
#define TESTS_CORE_TEXT_TEXTTESTSUPPORT_H

#include "core/text/oxbytearray.h"
#include "core/text/oxstring.h"

#include <cstdint>
#include <ostream>
#include <string>

// Printable ASCII as it is, other units as \uXXXX (bytes as \xNN).
inline void PrintTo(const COxString& s, std::ostream* os)
{
    static const char hex[] = "0123456789abcdef";
    *os << '"';
    for (int i = 0; i < s.size(); ++i) {
        const ushort u = s.at(i).unicode();
        if (u >= 0x20 && u < 0x7f)
            *os << char(u);
        else
            *os << "\\u" << hex[u >> 12] << hex[(u >> 8) & 15] << hex[(u >> 4) & 15] << hex[u & 15];
    }
    *os << '"' << (s.isNull() ? " (null)" : "");
}

inline void PrintTo(const COxByteArray& a, std::ostream* os)
{
    static const char hex[] = "0123456789abcdef";
    *os << '"';
    for (int i = 0; i < a.size(); ++i) {
        const uchar c = uchar(a.at(i));
        if (c >= 0x20 && c < 0x7f)
            *os << char(c);
        else
            *os << "\\x" << hex[c >> 4] << hex[c & 15];
    }
    *os << '"' << (a.isNull() ? " (null)" : "");
}

inline COxString units(const std::u16string& s)
{
    return COxString(reinterpret_cast<const COxChar*>(s.data()), int(s.size()));
}

inline std::u16string toStd(const COxString& s)
{
    return std::u16string(reinterpret_cast<const char16_t*>(s.constData()), size_t(s.size()));
}

inline std::string bytes(const COxByteArray& a) { return std::string(a.constData(), size_t(a.size())); }

struct Lcg {
    uint64_t state;
    uint32_t next()
    {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        return uint32_t(state >> 32);
    }
};

#endif // TESTS_CORE_TEXT_TEXTTESTSUPPORT_H
