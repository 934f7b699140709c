// Internal: number text on 8-bit characters with the C library. The byte
// array's number members are thin wrappers around these; the string's
// members format into the same stack buffers and widen the result as
// Latin-1, and parse their Latin-1 narrowing with the same parsers.
#ifndef OXNUMBER_P_H
#define OXNUMBER_P_H

#include "core/oxglobal.h"

// Buffer sizes of the number routines, in bytes.
struct SOxNumberText {
    // 64 binary digits, a minus sign and the terminator.
    static constexpr int IntegerBufferSize = 66;
    // The C format of a floating-point conversion, e.g. "%.6g".
    static constexpr int FormatBufferSize = 32;
    // The floating-point text; longer results are clipped to one byte less.
    static constexpr int FloatBufferSize = 128;
};

// Writes n in base into out (IntegerBufferSize bytes), zero-terminated, and
// returns the length. Digits from 10 on are lower-case letters. A minus sign
// is written only in base 10; other bases show a negative value as its
// 64-bit two's complement. Bases outside 2 to 36 are not refused: they give
// meaningless but bounded text, and base 0 is taken as 10.
int OxFormatSigned(char* out, int64_t n, int base);
int OxFormatUnsigned(char* out, uint64_t n, int base);

// snprintf of n with the conversion format ('e', 'E', 'f', 'F', 'g', 'G',
// 'a', 'A'; any other character is taken as 'g') and precision (negative:
// the C library's default) into out (FloatBufferSize bytes). Returns the
// length, clipped to FloatBufferSize - 1; 0 when snprintf fails.
int OxFormatDouble(char* out, double n, char format, int precision);

// Parsers over len bytes at text, where text[len] must be a zero byte.
// Leading and trailing whitespace (bytes 9 to 13, 32, 0x85, 0xa0) is
// allowed, nothing else around the number. The base follows strtoll: 0
// picks it from the prefix ("0x" hexadecimal, "0" octal), 16 accepts an
// optional "0x". On failure the result is 0 and *ok (when given) false;
// *ok is always written.
int64_t OxParseSigned(const char* text, int len, bool* ok, int base);
uint64_t OxParseUnsigned(const char* text, int len, bool* ok, int base);
// strtod; a range error is accepted only for a gradual underflow (a
// non-zero value below the smallest normal double).
double OxParseDouble(const char* text, int len, bool* ok);
// Narrows a parsed double to single precision. A finite value beyond the
// float range gives 0 with *ok false, like the narrow integer parsers.
float OxNarrowFloat(double value, bool* ok);

// The narrowing step of the short parsers: value when it lies in [lo, hi],
// else 0 with *ok false. *ok must already hold the 64-bit parse's verdict.
template <typename T, typename Wide>
T OxNarrowInteger(Wide value, Wide lo, Wide hi, bool* ok)
{
    if (value < lo || value > hi) {
        if (ok)
            *ok = false;
        return 0;
    }
    return T(value);
}

#endif // OXNUMBER_P_H
