#include "core/io/oxcompress.h"
#include "core/io/oxcompress_p.h"

#include "core/log/oxdebug.h"

namespace {

struct SOxCompressLimits {
    static constexpr int64_t kMaxSize = COxByteArray::MaxSize;
    static constexpr int kPrefixSize = 4;
    // How often an unexpected answer of zlib's uncompress is tried again with
    // the same buffer before the input counts as corrupted: the retry is for
    // passing trouble, and an answer that never changes must not hang.
    static constexpr int kMaxRetries = 8;
};
typedef SOxCompressLimits Limits;

// Makes a hold exactly size bytes (plus its terminator), without the growth
// reserve of resize(); false when the block cannot be had. A failed attempt
// leaves a as it was.
bool allocateExactly(COxByteArray& a, int64_t size)
{
    if (size < 0 || size > Limits::kMaxSize)
        return false;
    a.reallocData(uint(size) + 1u, false);
    if (a.capacity() < size)
        return false;
    a.resize(int(size));
    return a.size() == size;
}

void warnCorrupted()
{
    oxWarning("OxUncompress: Input data is corrupted");
}

} // namespace

COxByteArray OxCompress_helper(const uchar* data, int nbytes, int compressionLevel, OxCompressCall call)
{
    if (nbytes == 0)
        return COxByteArray(Limits::kPrefixSize, '\0');
    if (!data) {
        oxWarning("OxCompress: Data is null");
        return COxByteArray();
    }
    if (nbytes < 0) {
        oxWarning("OxCompress: Invalid size %d", nbytes);
        return COxByteArray();
    }
    if (compressionLevel < -1 || compressionLevel > 9)
        compressionLevel = -1;

    // The stream and its prefix must fit one array.
    const int64_t largest = Limits::kMaxSize - Limits::kPrefixSize;
    int64_t capacity = int64_t(nbytes) + nbytes / 100 + 13;
    if (capacity > largest)
        capacity = largest;
    COxByteArray out;
    for (;;) {
        if (!allocateExactly(out, capacity + Limits::kPrefixSize)) {
            oxWarning("OxCompress: Z_MEM_ERROR: Not enough memory");
            return COxByteArray();
        }
        uLongf produced = uLongf(capacity);
        const int result = call(reinterpret_cast<Bytef*>(out.data()) + Limits::kPrefixSize, &produced, data,
                                uLong(nbytes), compressionLevel);
        if (result == Z_OK) {
            out.resize(int(produced) + Limits::kPrefixSize);
            uchar* prefix = reinterpret_cast<uchar*>(out.data());
            prefix[0] = uchar(uint32_t(nbytes) >> 24);
            prefix[1] = uchar(uint32_t(nbytes) >> 16);
            prefix[2] = uchar(uint32_t(nbytes) >> 8);
            prefix[3] = uchar(nbytes);
            out.squeeze();
            return out;
        }
        if (result == Z_BUF_ERROR) {
            if (capacity == largest) {
                oxWarning("OxCompress: Z_MEM_ERROR: Not enough memory");
                return COxByteArray();
            }
            capacity = capacity > largest / 2 ? largest : capacity * 2;
            continue;
        }
        if (result == Z_MEM_ERROR) {
            oxWarning("OxCompress: Z_MEM_ERROR: Not enough memory");
            return COxByteArray();
        }
        return out;
    }
}

COxByteArray OxUncompress_helper(const uchar* data, int nbytes, OxUncompressCall call)
{
    if (!data) {
        oxWarning("OxUncompress: Data is null");
        return COxByteArray();
    }
    if (nbytes <= Limits::kPrefixSize) {
        if (nbytes == Limits::kPrefixSize && (data[0] | data[1] | data[2] | data[3]) == 0)
            return COxByteArray(0, '\0');
        warnCorrupted();
        return COxByteArray();
    }

    const uint32_t stored = uint32_t(data[0]) << 24 | uint32_t(data[1]) << 16 | uint32_t(data[2]) << 8 | data[3];
    int64_t length = stored ? stored : 1;
    if (length > Limits::kMaxSize) {
        warnCorrupted();
        return COxByteArray();
    }
    // A stored length beyond anything the stream can expand to is a lie;
    // asking for that much memory would let a few bytes claim gigabytes.
    const int64_t streamBytes = nbytes - Limits::kPrefixSize;
    if (length > OxInflateBound(streamBytes))
        length = OxInflateBound(streamBytes);

    COxByteArray out;
    if (!allocateExactly(out, length)) {
        warnCorrupted();
        return COxByteArray();
    }
    int retries = 0;
    for (;;) {
        uLongf produced = uLongf(length);
        const int result = call(reinterpret_cast<Bytef*>(out.data()), &produced, data + Limits::kPrefixSize,
                                uLong(streamBytes));
        switch (result) {
        case Z_OK:
            out.resize(int(produced));
            if (int64_t(produced) < length)
                out.squeeze();
            return out;
        case Z_BUF_ERROR:
            // The stored length was too small.
            length *= 2;
            if (length > Limits::kMaxSize || !allocateExactly(out, length)) {
                warnCorrupted();
                return COxByteArray();
            }
            break;
        case Z_MEM_ERROR:
            oxWarning("OxUncompress: Z_MEM_ERROR: Not enough memory");
            return COxByteArray();
        case Z_DATA_ERROR:
            oxWarning("OxUncompress: Z_DATA_ERROR: Input data is corrupted");
            return COxByteArray();
        default:
            if (++retries == Limits::kMaxRetries) {
                warnCorrupted();
                return COxByteArray();
            }
            break;
        }
    }
}

COxByteArray OxCompress(const uchar* data, int nbytes, int compressionLevel)
{
    return OxCompress_helper(data, nbytes, compressionLevel, &compress2);
}

COxByteArray OxUncompress(const uchar* data, int nbytes)
{
    return OxUncompress_helper(data, nbytes, &uncompress);
}
