// OxUncompress on hostile buffers: whatever it returns must be what zlib
// itself makes of the stream, never more than the stream holds, and nothing
// the stored length claims is allocated beyond that. Every buffer must also
// come back from OxCompress at the fuzzer's level, and expand again when its
// stored length is understated.
#include "core/io/oxcompress.h"
#include "fuzzsupport.h"

#include <vector>
#include <zlib.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static oxfuzz::QuietLog quiet;
    oxfuzz::Input in(data, size);
    const int level = int(in.range(0, 11)) - 1; // -1 to 10: 10 counts as the default
    const uint32_t understate = in.range(0, 3);
    const uchar* bytes = in.data();
    const int n = int(in.remaining());

    // Hostile input: an answer must be zlib's reading of the stream.
    const COxByteArray out = OxUncompress(bytes, n);
    if (!out.isEmpty()) {
        OXFUZZ_CHECK(n > 4);
        std::vector<Bytef> check(size_t(out.size()) + 1);
        uLongf length = uLongf(check.size());
        OXFUZZ_CHECK(uncompress(check.data(), &length, bytes + 4, uLong(n - 4)) == Z_OK);
        OXFUZZ_CHECK(length == uLongf(out.size()) && memcmp(check.data(), out.constData(), length) == 0);
        OXFUZZ_CHECK(out.constData()[out.size()] == '\0');
    }

    // Round trip, with the stored length as written and understated.
    COxByteArray packed = OxCompress(bytes, n, level);
    OXFUZZ_CHECK(packed.size() >= 4);
    const uint32_t stored = uint32_t(uchar(packed[0])) << 24 | uint32_t(uchar(packed[1])) << 16
                          | uint32_t(uchar(packed[2])) << 8 | uchar(packed[3]);
    OXFUZZ_CHECK(stored == uint32_t(n));
    const COxByteArray back = OxUncompress(packed);
    OXFUZZ_CHECK(back.size() == n && (n == 0 || memcmp(back.constData(), bytes, size_t(n)) == 0));
    if (n > 0 && understate) {
        const uint32_t smaller = stored >> understate;
        packed[0] = char(smaller >> 24), packed[1] = char(smaller >> 16);
        packed[2] = char(smaller >> 8), packed[3] = char(smaller);
        const COxByteArray again = OxUncompress(packed);
        OXFUZZ_CHECK(again.size() == n && memcmp(again.constData(), bytes, size_t(n)) == 0);
    }
    return 0;
}
