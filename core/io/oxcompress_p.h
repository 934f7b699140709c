// Internal: the workers behind OxCompress and OxUncompress, with the zlib
// call passed in, so that tests can make zlib answer what it rarely does
// (a full buffer, no memory, an unexpected code).
#ifndef OXCOMPRESS_P_H
#define OXCOMPRESS_P_H

#include "core/io/oxcompress.h"

#include <zlib.h>

typedef int (*OxCompressCall)(Bytef* dest, uLongf* destLen, const Bytef* source, uLong sourceLen, int level);
typedef int (*OxUncompressCall)(Bytef* dest, uLongf* destLen, const Bytef* source, uLong sourceLen);

COxByteArray OxCompress_helper(const uchar* data, int nbytes, int compressionLevel, OxCompressCall call);
COxByteArray OxUncompress_helper(const uchar* data, int nbytes, OxUncompressCall call);

// The most a zlib stream of streamBytes bytes can expand to: a deflate
// length/distance pair takes at least two bits and yields at most 258 bytes.
inline int64_t OxInflateBound(int64_t streamBytes)
{
    return streamBytes * 1032;
}

#endif // OXCOMPRESS_P_H
