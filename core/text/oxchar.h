// COxChar: one UTF-16 code unit, with the few classification helpers the
// string needs. Everything here is inline; letter case is ASCII only.
#ifndef OXCHAR_H
#define OXCHAR_H

#include "core/oxglobal.h"

class COxChar {
public:
    enum SpecialCharacter : ushort {
        Null = 0x0000,
        Tabulation = 0x0009,
        LineFeed = 0x000a,
        CarriageReturn = 0x000d,
        Space = 0x0020,
        Nbsp = 0x00a0,
        ByteOrderMark = 0xfeff,
        ReplacementCharacter = 0xfffd
    };

    constexpr COxChar() noexcept : m_ucs(0) {}
    constexpr COxChar(ushort rc) noexcept : m_ucs(rc) {}
    constexpr COxChar(char16_t ch) noexcept : m_ucs(ushort(ch)) {}
    // Bytes are read as Latin-1.
    constexpr COxChar(char ch) noexcept : m_ucs(uchar(ch)) {}
    constexpr COxChar(uchar ch) noexcept : m_ucs(ch) {}
    constexpr COxChar(uchar cell, uchar row) noexcept : m_ucs(ushort((row << 8) | cell)) {}
    constexpr COxChar(SpecialCharacter s) noexcept : m_ucs(ushort(s)) {}
    explicit constexpr COxChar(short rc) noexcept : m_ucs(ushort(rc)) {}
    explicit constexpr COxChar(int rc) noexcept : m_ucs(ushort(rc & 0xffff)) {}
    explicit constexpr COxChar(uint rc) noexcept : m_ucs(ushort(rc & 0xffff)) {}

    static constexpr COxChar fromLatin1(char c) noexcept { return COxChar(c); }

    constexpr ushort unicode() const noexcept { return m_ucs; }
    ushort& unicode() noexcept { return m_ucs; }
    // The Latin-1 byte, or 0 for units above 0xff.
    constexpr char toLatin1() const noexcept { return m_ucs > 0xff ? '\0' : char(m_ucs); }
    constexpr uchar cell() const noexcept { return uchar(m_ucs & 0xff); }
    constexpr uchar row() const noexcept { return uchar(m_ucs >> 8); }

    constexpr bool isNull() const noexcept { return m_ucs == 0; }
    constexpr bool isSpace() const noexcept { return isSpace(m_ucs); }
    constexpr bool isDigit() const noexcept { return m_ucs >= '0' && m_ucs <= '9'; }
    constexpr bool isLower() const noexcept { return m_ucs >= 'a' && m_ucs <= 'z'; }
    constexpr bool isUpper() const noexcept { return m_ucs >= 'A' && m_ucs <= 'Z'; }
    constexpr bool isLetter() const noexcept { return isLower() || isUpper(); }
    constexpr COxChar toLower() const noexcept { return COxChar(toLower(m_ucs)); }
    constexpr COxChar toUpper() const noexcept { return COxChar(toUpper(m_ucs)); }

    constexpr bool isHighSurrogate() const noexcept { return isHighSurrogate(m_ucs); }
    constexpr bool isLowSurrogate() const noexcept { return isLowSurrogate(m_ucs); }
    constexpr bool isSurrogate() const noexcept { return isSurrogate(m_ucs); }

    // The whitespace set of the framework: 9 to 13, 32, U+0085, U+00A0 and
    // the Unicode spaces below. U+2001 to U+2005 and U+2007 are deliberately
    // left out.
    static constexpr bool isSpace(uint ucs4) noexcept
    {
        return ucs4 == 0x20 || (ucs4 >= 0x09 && ucs4 <= 0x0d)
            || (ucs4 > 0x7f
                && (ucs4 == 0x85 || ucs4 == 0xa0 || ucs4 == 0x1680 || ucs4 == 0x180e
                    || ucs4 == 0x2000 || ucs4 == 0x2006 || ucs4 == 0x2008 || ucs4 == 0x2009
                    || ucs4 == 0x200a || ucs4 == 0x2028 || ucs4 == 0x2029 || ucs4 == 0x205f
                    || ucs4 == 0x3000));
    }
    static constexpr uint toLower(uint ucs4) noexcept { return (ucs4 >= 'A' && ucs4 <= 'Z') ? ucs4 + 32 : ucs4; }
    static constexpr uint toUpper(uint ucs4) noexcept { return (ucs4 >= 'a' && ucs4 <= 'z') ? ucs4 - 32 : ucs4; }

    static constexpr bool isHighSurrogate(uint ucs4) noexcept { return (ucs4 & 0xfffffc00) == 0xd800; }
    static constexpr bool isLowSurrogate(uint ucs4) noexcept { return (ucs4 & 0xfffffc00) == 0xdc00; }
    static constexpr bool isSurrogate(uint ucs4) noexcept { return ucs4 - 0xd800u < 2048u; }
    static constexpr bool requiresSurrogates(uint ucs4) noexcept { return ucs4 >= 0x10000; }
    static constexpr uint surrogateToUcs4(ushort high, ushort low) noexcept
    {
        return (uint(high) << 10) + low - 0x35fdc00u; // (high - 0xd800) * 0x400 + (low - 0xdc00) + 0x10000
    }
    static constexpr uint surrogateToUcs4(COxChar high, COxChar low) noexcept
    {
        return surrogateToUcs4(high.m_ucs, low.m_ucs);
    }
    static constexpr ushort highSurrogate(uint ucs4) noexcept { return ushort((ucs4 >> 10) + 0xd7c0); }
    static constexpr ushort lowSurrogate(uint ucs4) noexcept { return ushort(ucs4 % 0x400 + 0xdc00); }

private:
    ushort m_ucs;
};

constexpr bool operator==(const COxChar a, const COxChar b) noexcept { return a.unicode() == b.unicode(); }
constexpr bool operator!=(const COxChar a, const COxChar b) noexcept { return a.unicode() != b.unicode(); }
constexpr bool operator<(const COxChar a, const COxChar b) noexcept { return a.unicode() < b.unicode(); }
constexpr bool operator>(const COxChar a, const COxChar b) noexcept { return a.unicode() > b.unicode(); }
constexpr bool operator<=(const COxChar a, const COxChar b) noexcept { return a.unicode() <= b.unicode(); }
constexpr bool operator>=(const COxChar a, const COxChar b) noexcept { return a.unicode() >= b.unicode(); }

static_assert(sizeof(COxChar) == 2, "COxChar is one UTF-16 code unit");

#endif // OXCHAR_H
