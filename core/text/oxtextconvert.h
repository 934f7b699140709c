// Conversion kernels between UTF-16 code units and 8-bit encodings (UTF-8,
// Latin-1) and UCS-4. Plain ASCII and Latin-1 runs are handled 8 or 16
// units at a time with Advanced SIMD; everything else unit by unit.
// Internal to the library: the string and byte array and the text codecs
// build on these.
#ifndef OXTEXTCONVERT_H
#define OXTEXTCONVERT_H

#include "core/oxglobal.h"

// Widens len Latin-1 bytes into len units.
void OxLatin1ToUtf16(ushort* dst, const uchar* src, int len);

// Narrows len units to Latin-1 bytes; a unit above 0xff (surrogates
// included, unit by unit) becomes '?'. dst may be the first byte of src's
// own storage (in-place narrowing).
void OxUtf16ToLatin1(uchar* dst, const ushort* src, int len);

enum OxUtf8DecodeFlag {
    OxUtf8SkipByteOrderMark = 0x1,  // drop EF BB BF at the very start
    OxUtf8StopAtIncompleteTail = 0x2 // leave a cut-off but so far valid sequence unconsumed
};

struct OxUtf8DecodeResult {
    int written = 0;       // units written to dst
    int consumed = 0;      // input bytes used (less than len only with OxUtf8StopAtIncompleteTail)
    bool invalid = false;  // at least one replacement was written
};

// Decodes len bytes of UTF-8 into dst, which must hold len units. An
// invalid or cut-off sequence yields one replacement unit for its lead byte
// and decoding resumes at the next byte.
OxUtf8DecodeResult OxUtf8ToUtf16(ushort* dst, const uchar* src, int len, int flags,
                                 ushort replacement = 0xfffd);

// Encodes len units as UTF-8 into dst and returns the bytes written. dst
// must hold OxUtf8Length(src, len) bytes (3 * len always does). A surrogate
// without its partner becomes '?'.
int OxUtf16ToUtf8(uchar* dst, const ushort* src, int len);

// The exact number of bytes OxUtf16ToUtf8 writes for these units.
int64_t OxUtf8Length(const ushort* src, int len);

// Writes one value per code point into dst (room for len values) and returns
// the count. A surrogate without its partner becomes U+FFFD.
int OxUtf16ToUcs4(uint* dst, const ushort* src, int len);

#endif // OXTEXTCONVERT_H
