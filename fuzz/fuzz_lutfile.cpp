// LUT files as the fuzzer makes them, loaded from disk through the file
// record and through the table entry point. The target parses the 48-byte
// header itself and demands the loader's verdict to match it: a file is
// taken exactly when its magic, version, level count, element type and the
// extent of its level values and grid are right. A taken file must hand
// back its own level values and grid bytes, its table must hold every entry
// in its padded cell and a level index inside the grid, and it must render
// alike with every kernel.
#include "core/text/oxstring.h"
#include "fuzzsupport.h"
#include "lut/kernels/lutkernel.h"
#include "lut/lutfiledata.h"
#include "lut/lutrender.h"
#include "tests/lut/lutframetest.h"

#include <random>
#include <string>

using namespace luttest;

namespace {

uint64_t le(const uint8_t* p, int bytes)
{
    uint64_t v = 0;
    for (int i = bytes - 1; i >= 0; --i)
        v = (v << 8) | p[i];
    return v;
}

struct Expectation {
    bool loads = false;
    uint32_t n = 0;
    bool is3D = false;
    uint64_t levelOffset = 0;
    uint64_t gridBytes = 0;
};

Expectation expect(const uint8_t* data, size_t size)
{
    Expectation e;
    if (size < 48 || memcmp(data, ".ZR-LUT ", 8) != 0 || le(data + 8, 4) != 1)
        return e;
    e.n = uint32_t(le(data + 12, 4));
    e.is3D = le(data + 20, 4) != 0;
    e.levelOffset = le(data + 32, 8);
    if (le(data + 16, 4) != 0 || e.n < 1 || e.n > 65)
        return e;
    e.gridBytes = (e.is3D ? uint64_t(e.n) * e.n * e.n : e.n) * 3;
    e.loads = e.levelOffset <= size && size - e.levelOffset >= 4ull * e.n + e.gridBytes;
    return e;
}

void checkTable(const Lut3DTable* table, const LutFileData& file, uint32_t seed)
{
    const uint32_t n = file.levelCount();
    OXFUZZ_CHECK(table->levelCount == n);
    const uint8_t* entry = file.gridBytes();
    for (uint32_t r = 0; r < n; ++r)
        for (uint32_t g = 0; g < n; ++g)
            for (uint32_t b = 0; b < n; ++b, entry += 3)
                OXFUZZ_CHECK(memcmp(table->grid + r * table->planeStride + g * table->rowStride + b * 4, entry, 3) == 0);
    for (const LutLevelIndex::Entry& e : table->levelIndex->entries)
        OXFUZZ_CHECK(e.index < n && e.fraction < 128);

    std::mt19937 rng(seed);
    Frame src(37, 3, 1, 2), expected(37, 3, 0, 0);
    src.randomize(rng);
    Effect reference;
    lutRenderRowsWith(reference.setUp(table, src, expected, 0, 1, 0), 0, 3, lutRowPairReference);
    for (LutRowPairKernel kernel : oxfuzz::vectorKernels()) {
        Frame got(37, 3, 0, 0);
        Effect effect;
        lutRenderRowsWith(effect.setUp(table, src, got, 0, 1, 0), 0, 3, kernel);
        OXFUZZ_CHECK(got.samePixels(expected));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static oxfuzz::QuietLog quiet;
    static const std::string path = oxfuzz::scratchPath("lutfile");
    oxfuzz::writeFile(path, data, size);

    const Expectation e = expect(data, size);
    LutFileData file(COxString::fromUtf8(path.c_str()));
    OXFUZZ_CHECK(file.load() == e.loads);
    if (!e.loads) {
        OXFUZZ_CHECK(file.levelCount() == 0 && file.levelValues() == nullptr);
        OXFUZZ_CHECK(OxcLut3DLoadTableFromFile(path.c_str()) == nullptr);
        return 0;
    }
    OXFUZZ_CHECK(file.levelCount() == e.n && file.is3D() == e.is3D && file.elementType() == 0);
    OXFUZZ_CHECK(memcmp(file.levelValues(), data + e.levelOffset, 4ull * e.n) == 0);
    OXFUZZ_CHECK(memcmp(file.gridBytes(), data + e.levelOffset + 4ull * e.n, e.gridBytes) == 0);

    Lut3DTable* table = OxcLut3DLoadTableFromFile(path.c_str());
    OXFUZZ_CHECK((table != nullptr) == e.is3D);
    if (table) {
        // Every kernel's own layout, so none hands the table to the reference.
        OXFUZZ_CHECK(lutTableAddLayouts(table, kLutLayoutNeon | lutTableDefaultLayouts()));
        checkTable(table, file, uint32_t(size));
        OxcLut3DDestroyTable(table);
    }
    return 0;
}
