// Text codecs: the registry that maps encoding names to numeric codec
// identifiers, stateful decoding of byte streams into COxString for those
// identifiers, and the UTF-16 and UTF-32 byte converters. Internal to the
// library.
//
// A converter state carries what one stream needs between chunks: whether
// its byte order mark was written (or, on input, whether the start of the
// stream has been read), whether invalid input becomes U+0000 instead of
// U+FFFD, and the bytes of a sequence cut off at the end of a chunk.
#ifndef OXTEXTCODEC_H
#define OXTEXTCODEC_H

#include "core/oxglobal.h"
#include "core/text/oxbytearray.h"
#include "core/text/oxstring.h"

#include <memory>

// Codec identifiers.
enum OxTextCodecMib : int {
    OxMibUnknown = 0,
    OxMibLatin1 = 4,
    OxMibUtf8 = 106
};

// Byte order of the UTF-16 and UTF-32 converters. The default writes
// little-endian; on input it follows a leading byte order mark of either
// order and is little-endian without one.
enum OxByteOrder {
    OxDefaultByteOrder = 0,
    OxBigEndian = 1,
    OxLittleEndian = 2
};

struct SOxConverterState {
    enum Flag : uint32_t {
        // Output: the byte order mark has been written. Input: the start of
        // the stream has been read (a leading mark is dropped only there).
        HeaderDone = 0x1,
        // Input in the default byte order found a big-endian mark.
        BigEndianInput = 0x2,
        // Invalid input becomes U+0000 instead of U+FFFD.
        ConvertInvalidToNull = 0x80000000u
    };
    static constexpr int MaxPending = 3;

    int32_t mib = OxMibUnknown;
    uint32_t flags = 0;
    int pendingCount = 0;             // 0 to MaxPending
    uchar pending[MaxPending] = {};   // bytes held back for the next chunk
};

// The identifier for an encoding name, compared after Latin-1 lower-casing:
// "utf-8" is 106; "iso-8859-1", "iso8859-1", "cp819", "ibm819",
// "iso-ir-100" and "csisolatin1" are 4; anything else is 0.
int OxTextCodecMibForName(const COxByteArray& name);
int OxTextCodecMibForName(const char* name);

// A fresh state for the named codec with the given flags, or null when the
// name is unknown.
std::unique_ptr<SOxConverterState> OxTextCodecCreateState(const COxByteArray& name, uint32_t flags = 0);

// Decodes the next len bytes of a stream with the state's codec. Latin-1
// widens each byte. UTF-8 follows the string's decoding rules as if all
// chunks were one input: up to three bytes of a sequence cut off at the end
// of a chunk wait in the state for the next one (they are dropped if no
// further chunk comes). Any other identifier writes "Unsupported mib!" and
// gives the null string, as does a null state.
COxString OxTextCodecToUnicode(SOxConverterState* state, const char* bytes, int len);

// UTF-16 to bytes, two per unit, with a byte order mark first unless the
// state says one was written (without a state it is always written).
COxByteArray OxUtf16FromUnicode(const COxChar* units, int len, SOxConverterState* state,
                                OxByteOrder order = OxDefaultByteOrder);
// Bytes to UTF-16. An odd trailing byte waits in the state for the next
// chunk; without a state it becomes a replacement character. Units are
// taken as they are (a lone surrogate stays).
COxString OxUtf16ToUnicode(const char* bytes, int len, SOxConverterState* state,
                           OxByteOrder order = OxDefaultByteOrder);

// UTF-16 to UTF-32 bytes, four per code point, with a four-byte mark first
// unless already written. A surrogate without its partner in the same call
// becomes U+FFFD.
COxByteArray OxUtf32FromUnicode(const COxChar* units, int len, SOxConverterState* state,
                                OxByteOrder order = OxDefaultByteOrder);
// Bytes to UTF-16. Up to three trailing bytes wait in the state; values
// that are surrogates or beyond U+10FFFF become the replacement character.
COxString OxUtf32ToUnicode(const char* bytes, int len, SOxConverterState* state,
                           OxByteOrder order = OxDefaultByteOrder);

#endif // OXTEXTCODEC_H
