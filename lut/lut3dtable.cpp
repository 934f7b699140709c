#include "lut/lut3dtable.h"

#include "lut/kernels/lutkernel.h"
#include "lut/lutcolorcoefficients.h"
#include "lut/lutmemory.h"

#include <cmath>
#include <cstring>
#include <new>

namespace {

// Levels within this distance of an even spacing still count as uniform.
constexpr float kUniformTolerance = 1.0f / 512.0f;

// Copies the file entries into the padded 4-byte cells. The padding (byte 3
// of every cell and every cell on an index equal to n) is only ever read with
// weight 0; it is zeroed so that no read touches uninitialised memory.
void fillPaddedGrid(uint8_t* cells, const uint8_t* entries, uint32_t n, uint32_t rowStride,
                    uint32_t planeStride)
{
    memset(cells, 0, size_t(planeStride) * (n + 1));
    for (uint32_t r = 0; r < n; ++r) {
        for (uint32_t g = 0; g < n; ++g) {
            uint8_t* cell = cells + r * planeStride + g * rowStride;
            const uint8_t* entry = entries + (size_t(r) * n + g) * n * 3;
            for (uint32_t b = 0; b < n; ++b, cell += 4, entry += 3) {
                cell[0] = entry[0];
                cell[1] = entry[1];
                cell[2] = entry[2];
            }
        }
    }
}

#if LUT_HAVE_AVX2_KERNEL
// Fills the corner groups (layout in lut3dtable.h) of every point a lookup
// can start from: r up to n (the upper red neighbour of the last level), g
// and b below n. Other groups stay zero.
void fillCornerGroups(int8_t* groups, const uint8_t* cells, uint32_t n, uint32_t rowStride,
                      uint32_t planeStride)
{
    memset(groups, 0, size_t(planeStride) * (n + 1) * 4);
    for (uint32_t r = 0; r <= n; ++r) {
        for (uint32_t g = 0; g < n; ++g) {
            for (uint32_t b = 0; b < n; ++b) {
                const uint32_t offset = r * planeStride + g * rowStride + b * 4;
                int8_t* group = groups + size_t(offset) * 4;
                for (uint32_t dg = 0; dg < 2; ++dg)
                    for (uint32_t c = 0; c < 3; ++c)
                        for (uint32_t db = 0; db < 2; ++db)
                            group[8 * dg + 2 * c + db] = int8_t(cells[offset + dg * rowStride + db * 4 + c] - 128);
            }
        }
    }
}
#endif

// Fills the NEON corners (layout in lut3dtable.h) from the padded cells.
void fillNeonCorners(uint8_t* corners, const uint8_t* cells, uint32_t n, uint32_t rowStride, uint32_t planeStride)
{
    for (uint32_t r = 0; r < n; ++r) {
        for (uint32_t g = 0; g < n; ++g) {
            for (uint32_t b = 0; b < n; ++b, corners += kLutNeonPointBytes) {
                const uint8_t* cell = cells + r * planeStride + g * rowStride + b * 4;
                for (uint32_t corner = 0; corner < 8; ++corner) {
                    const uint32_t dr = corner >> 2, m = corner & 3, dg = m & 1, db = m >> 1;
                    const uint8_t* value = cell + dr * planeStride + dg * rowStride + db * 4;
                    corners[2 * m + dr] = value[2];
                    corners[8 + 8 * dr + m] = value[0];
                    corners[12 + 8 * dr + m] = value[1];
                }
            }
        }
    }
}

// One set of NEON positions from a rule giving each value's grid index and
// fraction.
template <typename Rule>
void fillNeonPositions(LutNeonPositions* positions, uint32_t n, Rule rule)
{
    const uint32_t stride[3] = {kLutNeonPointBytes * n * n, kLutNeonPointBytes * n, kLutNeonPointBytes};
    for (uint32_t v = 0; v < 256; ++v) {
        uint32_t index, fraction;
        rule(v, &index, &fraction);
        for (uint32_t c = 0; c < 3; ++c)
            positions->offset[c][v] = index * stride[c];
        for (uint32_t i = 0; i < 16; ++i) {
            const uint8_t pair = uint8_t(i & 1 ? fraction : 128 - fraction);
            positions->red[v][i] = i < 8 ? pair : uint8_t(i & 1 ? fraction : 0);
            positions->pairTwice[v][i] = pair;
            if (i < 8)
                positions->pair[v][i] = pair;
        }
    }
}

bool addNeonLayout(Lut3DTable* table)
{
    const uint32_t n = table->levelCount;
    LutNeonLayout* neon = static_cast<LutNeonLayout*>(lutAlignedAlloc(sizeof(LutNeonLayout)));
    uint8_t* corners = static_cast<uint8_t*>(lutAlignedAlloc(size_t(n) * n * n * kLutNeonPointBytes));
    if (!neon || !corners) {
        lutAlignedFree(neon);
        lutAlignedFree(corners);
        return false;
    }
    // The cells with an index of n are the zeroed padding of the grid.
    fillNeonCorners(corners, table->grid, n, table->rowStride, table->planeStride);
    neon->corners = corners;
    const uint32_t scale = lutLevelScale(n);
    fillNeonPositions(&neon->byScale, n, [scale](uint32_t v, uint32_t* index, uint32_t* fraction) {
        *index = (v * scale) >> 15;
        *fraction = ((v * scale) >> 8) & 127;
    });
    const LutLevelIndex& map = *table->levelIndex;
    fillNeonPositions(&neon->byMap, n, [&map](uint32_t v, uint32_t* index, uint32_t* fraction) {
        *index = map.entries[v].index;
        *fraction = map.entries[v].fraction;
    });
    table->neon = neon;
    return true;
}

// Position of x between two levels in 1/128, truncated towards zero. The
// caller guarantees lower < x < upper, so this is 0..127 up to rounding; the
// clamp keeps degenerate level values (rounding ties, NaN) inside what the
// kernels accept.
uint8_t levelFraction(float x, float lower, float upper)
{
    const float f = (x - lower) / (upper - lower) * 128.0f;
    if (!(f > 0.0f))
        return 0;
    if (f >= 127.0f)
        return 127;
    return uint8_t(f);
}

} // namespace

void lutBuildLevelIndex(const float* levels, uint32_t n, LutLevelIndex* index)
{
    uint32_t c = 0; // level cursor; only moves forward as v grows
    for (uint32_t v = 0; v < 256; ++v) {
        const float x = float(v) / 255.0f;
        while (x > levels[c]) {
            if (c == n - 1) {
                // Every value above the last level maps onto it exactly.
                for (; v < 256; ++v)
                    index->entries[v] = {uint8_t(n - 1), 0};
                return;
            }
            ++c;
        }
        if (x == levels[c])
            index->entries[v] = {uint8_t(c), 0};
        else if (c > 0)
            index->entries[v] = {uint8_t(c - 1), levelFraction(x, levels[c - 1], levels[c])};
        else
            index->entries[v] = {0, 0}; // below the first level
    }
}

bool lutLevelsAreUniform(const float* levels, uint32_t n)
{
    if (n < 2)
        return false;
    if (std::fabs(levels[0]) > kUniformTolerance || std::fabs(levels[n - 1] - 1.0f) > kUniformTolerance)
        return false;
    float smallest = levels[1] - levels[0];
    float largest = smallest;
    for (uint32_t i = 1; i + 1 < n; ++i) {
        const float step = levels[i + 1] - levels[i];
        smallest = std::fmin(smallest, step);
        largest = std::fmax(largest, step);
    }
    return !(largest - smallest > kUniformTolerance);
}

Lut3DTable* lutTableCreate(const float* levels, uint32_t n, const uint8_t* grid)
{
    if (n < 1 || n > kLutMaxLevels || !levels || !grid)
        return nullptr;
    Lut3DTable* table = new (std::nothrow) Lut3DTable();
    if (!table)
        return nullptr;
    table->levelCount = n;
    table->rowStride = (n + 1) * 4;
    table->planeStride = (n + 1) * 4 * (n + 1);
    table->grid = static_cast<uint8_t*>(lutAlignedAlloc(size_t(table->planeStride) * (n + 1)));
    table->levelIndex = static_cast<LutLevelIndex*>(lutAlignedAlloc(sizeof(LutLevelIndex)));
    if (!table->grid || !table->levelIndex) {
        lutTableDestroy(table);
        return nullptr;
    }
    fillPaddedGrid(table->grid, grid, n, table->rowStride, table->planeStride);
    lutBuildLevelIndex(levels, n, table->levelIndex);
    table->uniform = lutLevelsAreUniform(levels, n) ? 1 : 0;
    // Without its layout (out of memory) a kernel hands the table over.
    lutTableAddLayouts(table, lutTableDefaultLayouts());
    return table;
}

uint32_t lutTableDefaultLayouts()
{
    // The same choice as lutDefaultKernel().
#if defined(OXLUT_SCALAR_KERNEL)
    return 0;
#elif LUT_HAVE_AVX2_KERNEL
    return lutAvx2Supported() ? kLutLayoutAvx2 : kLutLayoutNeon;
#else
    return kLutLayoutNeon;
#endif
}

bool lutTableAddLayouts(Lut3DTable* table, uint32_t layouts)
{
    if ((layouts & kLutLayoutNeon) && !table->neon && !addNeonLayout(table))
        return false;
#if LUT_HAVE_AVX2_KERNEL
    if ((layouts & kLutLayoutAvx2) && !table->cornerGroups) {
        const uint32_t n = table->levelCount;
        table->cornerGroups = static_cast<int8_t*>(lutAlignedAlloc(size_t(table->planeStride) * (n + 1) * 4));
        if (!table->cornerGroups)
            return false;
        fillCornerGroups(table->cornerGroups, table->grid, n, table->rowStride, table->planeStride);
    }
#endif
    return true;
}

void lutTableDestroy(Lut3DTable* table)
{
    if (!table)
        return;
    if (table->neon)
        lutAlignedFree(table->neon->corners);
    lutAlignedFree(table->neon);
    lutAlignedFree(table->cornerGroups);
    lutAlignedFree(table->levelIndex);
    lutAlignedFree(table->grid);
    delete table;
}
