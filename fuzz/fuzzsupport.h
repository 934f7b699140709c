// Shared pieces of the fuzz targets: a reader that takes typed values from
// the fuzzer's bytes (zeros once they run out), a hook that keeps the
// library's messages off the console, and a check that ends the run with a
// readable reason, which the fuzzer records as a crash with its input.
#ifndef FUZZSUPPORT_H
#define FUZZSUPPORT_H

#include "core/log/oxlogsink.h"
#include "lut/kernels/lutkernel.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

namespace oxfuzz {

class Input {
public:
    Input(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}

    size_t remaining() const { return m_size; }
    const uint8_t* data() const { return m_data; }

    uint8_t byte()
    {
        if (m_size == 0)
            return 0;
        --m_size;
        return *m_data++;
    }
    uint32_t u32()
    {
        uint32_t v = 0;
        for (int i = 0; i < 4; ++i)
            v = (v << 8) | byte();
        return v;
    }
    // A value in lo..hi (inclusive) from as few bytes as the span needs.
    uint32_t range(uint32_t lo, uint32_t hi)
    {
        const uint32_t span = hi - lo;
        uint32_t v = byte();
        if (span > 0xff)
            v = (v << 8) | byte();
        if (span > 0xffff)
            v = (v << 16) | (uint32_t(byte()) << 8) | byte();
        return span == 0xffffffffu ? v : lo + v % (span + 1);
    }
    bool flag() { return byte() & 1; }

    // The next n bytes (fewer when the input ends first); *taken says how many.
    const uint8_t* take(size_t n, size_t* taken)
    {
        *taken = n < m_size ? n : m_size;
        const uint8_t* p = m_data;
        m_data += *taken;
        m_size -= *taken;
        return p;
    }

private:
    const uint8_t* m_data;
    size_t m_size;
};

// Swallows every console line of the library while the fuzzer runs; the
// count lets a target see that a refusal was reported.
struct QuietLog {
    static size_t& lines()
    {
        static size_t n = 0;
        return n;
    }
    static void swallow(void*, uint32_t, const char*) { ++lines(); }
    QuietLog() { OxLogSetHook(&QuietLog::swallow, nullptr); }
};

// Every vector kernel this processor runs, to compare with the reference.
inline std::vector<LutRowPairKernel> vectorKernels()
{
    std::vector<LutRowPairKernel> kernels = {lutRowPairNeon};
#if LUT_HAVE_AVX2_KERNEL
    if (lutAvx2Supported())
        kernels.push_back(lutRowPairAvx2);
#endif
    return kernels;
}

[[noreturn]] inline void fail(const char* what, const char* file, int line)
{
    std::fprintf(stderr, "%s:%d: check failed: %s\n", file, line, what);
    std::abort();
}

} // namespace oxfuzz

#define OXFUZZ_CHECK(cond)                                  \
    do {                                                    \
        if (!(cond))                                        \
            ::oxfuzz::fail(#cond, __FILE__, __LINE__);      \
    } while (0)

namespace oxfuzz {

// A file of this process for targets that load through a path, in memory
// where /dev/shm is there.
inline std::string scratchPath(const char* target)
{
    const char* dir = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    return std::string(dir) + "/oxfuzz-" + target + "-" + std::to_string(getpid()) + ".lut";
}

inline void writeFile(const std::string& path, const void* data, size_t size)
{
    FILE* f = fopen(path.c_str(), "wb");
    OXFUZZ_CHECK(f && fwrite(data, 1, size, f) == size && fclose(f) == 0);
}

} // namespace oxfuzz

#endif // FUZZSUPPORT_H
