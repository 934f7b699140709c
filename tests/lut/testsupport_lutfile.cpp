#include "tests/lut/testsupport_lutfile.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <random>

namespace luttest {

namespace {

void put32(std::vector<uint8_t>& out, size_t at, uint32_t value)
{
    for (int i = 0; i < 4; ++i)
        out[at + i] = uint8_t(value >> (8 * i));
}

void put64(std::vector<uint8_t>& out, size_t at, uint64_t value)
{
    put32(out, at, uint32_t(value));
    put32(out, at + 4, uint32_t(value >> 32));
}

} // namespace

LutFileLayout lutFileLayout(uint32_t n, uint32_t seed)
{
    LutFileLayout layout;
    layout.levelCount = n;
    layout.levels.assign(n, 0.0f);
    for (uint32_t i = 1; i < n; ++i)
        layout.levels[i] = float(i) / float(n - 1);
    layout.grid.resize(size_t(n) * n * n * 3);
    std::mt19937 rng(seed);
    auto level = [n](uint32_t i) { return uint8_t(n > 1 ? i * 255 / (n - 1) : 0); };
    size_t e = 0;
    for (uint32_t r = 0; r < n; ++r)
        for (uint32_t g = 0; g < n; ++g)
            for (uint32_t b = 0; b < n; ++b) {
                layout.grid[e++] = seed ? uint8_t(rng()) : level(r);
                layout.grid[e++] = seed ? uint8_t(rng()) : level(g);
                layout.grid[e++] = seed ? uint8_t(rng()) : level(b);
            }
    return layout;
}

std::vector<uint8_t> lutFileBytes(const LutFileLayout& layout)
{
    std::vector<uint8_t> out(48, 0);
    memcpy(out.data(), layout.magic.data(), std::min<size_t>(layout.magic.size(), 8));
    put32(out, 8, layout.version);
    put32(out, 12, layout.levelCount);
    put32(out, 16, layout.elementType);
    put32(out, 20, layout.dimensions);
    put64(out, 24, layout.reserved24);
    put64(out, 32, layout.levelOffset);
    put64(out, 40, layout.reserved40);
    if (layout.levelOffset >= 48 && layout.levelOffset <= (1u << 20))
        out.resize(size_t(layout.levelOffset), layout.gapByte);
    for (float level : layout.levels) {
        uint32_t bits;
        memcpy(&bits, &level, 4);
        out.resize(out.size() + 4);
        put32(out, out.size() - 4, bits);
    }
    out.insert(out.end(), layout.grid.begin(), layout.grid.end());
    return out;
}

std::string LutTempDir::write(const std::string& name, const std::vector<uint8_t>& bytes)
{
    const std::string path = file(name);
    if (FILE* f = fopen(path.c_str(), "wb")) {
        if (!bytes.empty())
            fwrite(bytes.data(), 1, bytes.size(), f);
        fclose(f);
    }
    return path;
}

int openDescriptorCount()
{
    DIR* dir = opendir("/proc/self/fd");
    if (!dir)
        return -1;
    int count = 0;
    while (readdir(dir))
        ++count;
    closedir(dir);
    return count;
}

} // namespace luttest
