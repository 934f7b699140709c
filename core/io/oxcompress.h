// OxCompress and OxUncompress: byte buffers to self-describing zlib streams
// and back.
//
// A compressed buffer is the length of the uncompressed data as an unsigned
// 32-bit big-endian number, followed by the zlib stream; no data at all is
// the four bytes 00 00 00 00 and no stream.
//
//     COxByteArray packed = OxCompress(text);
//     COxByteArray again = OxUncompress(packed);   // == text
//
// Every failure gives an empty array and one warning on the debug output.
#ifndef OXCOMPRESS_H
#define OXCOMPRESS_H

#include "core/text/oxbytearray.h"

// compressionLevel: -1 is zlib's default, 0 (store) to 9 (smallest) are
// passed on, any other value counts as -1.
COxByteArray OxCompress(const uchar* data, int nbytes, int compressionLevel = -1);

// The stored length only sizes the first attempt: a stream that expands to
// more is still read in full (the buffer doubles), and a length the stream
// cannot possibly reach is never allocated. The result keeps a zero byte
// after its data.
COxByteArray OxUncompress(const uchar* data, int nbytes);

inline COxByteArray OxCompress(const COxByteArray& data, int compressionLevel = -1)
{
    return OxCompress(reinterpret_cast<const uchar*>(data.constData()), data.size(), compressionLevel);
}

inline COxByteArray OxUncompress(const COxByteArray& data)
{
    return OxUncompress(reinterpret_cast<const uchar*>(data.constData()), data.size());
}

#endif // OXCOMPRESS_H
