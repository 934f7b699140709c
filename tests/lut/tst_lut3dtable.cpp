#include "lut/lut3dtable.h"
#include "tests/lut/lutframetest.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>

namespace {

using namespace luttest;
using Entry = std::pair<int, int>;

Entry entry(const Lut3DTable& t, int v)
{
    return {t.levelIndex->entries[v].index, t.levelIndex->entries[v].fraction};
}

TablePtr tableWithLevels(const std::vector<float>& levels)
{
    const uint32_t n = uint32_t(levels.size());
    std::vector<uint8_t> grid(size_t(n) * n * n * 3, 0);
    return TablePtr(lutTableCreate(levels.data(), n, grid.data()));
}

TEST(Lut3DTable, GridIsCopiedIntoPaddedCells)
{
    const uint32_t n = 3;
    std::vector<uint8_t> grid(n * n * n * 3);
    for (size_t i = 0; i < grid.size(); ++i)
        grid[i] = uint8_t(i * 7 + 1);
    TablePtr t(lutTableCreate(evenLevels(n).data(), n, grid.data()));
    ASSERT_TRUE(t);
    EXPECT_EQ(t->file, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(t->grid) % 64, 0u);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(t->levelIndex) % 64, 0u);
    // Entry (r, g, b) of the file, blue fastest, lands in cell r*64 + g*16 + b*4.
    for (uint32_t r = 0; r < n; ++r)
        for (uint32_t g = 0; g < n; ++g)
            for (uint32_t b = 0; b < n; ++b)
                for (uint32_t c = 0; c < 3; ++c)
                    EXPECT_EQ(t->grid[r * 64 + g * 16 + b * 4 + c], grid[((r * n + g) * n + b) * 3 + c]);
    // Spot check written out: entry 19 is (2, 0, 1).
    EXPECT_EQ(t->grid[2 * 64 + 0 * 16 + 1 * 4 + 2], uint8_t((19 * 3 + 2) * 7 + 1));

    // Only the layout of the kernel that renders here is built (the NEON
    // corners of N = 33 take 842 KiB); the others are added on request, once.
    const uint32_t layouts = lutTableDefaultLayouts();
    EXPECT_EQ(t->neon != nullptr, (layouts & kLutLayoutNeon) != 0);
    EXPECT_EQ(t->cornerGroups != nullptr, (layouts & kLutLayoutAvx2) != 0);
    ASSERT_TRUE(lutTableAddLayouts(t.get(), kLutLayoutNeon));
    const LutNeonLayout* neon = t->neon;
    ASSERT_TRUE(lutTableAddLayouts(t.get(), kLutLayoutNeon));
    EXPECT_EQ(t->neon, neon);

    // Strides, padding and the level index for other sizes are checked
    // through the file loader; here only the sizes no table can have.
    std::vector<float> levels = evenLevels(66);
    EXPECT_EQ(lutTableCreate(levels.data(), 66, grid.data()), nullptr);
    EXPECT_EQ(lutTableCreate(levels.data(), 0, grid.data()), nullptr);
    lutTableDestroy(nullptr);
}

TEST(Lut3DTable, LevelIndexFollowsTheLevels)
{
    // Evenly spaced N = 17: 100/255 lies 35.1/128 past level 6, 128/255 4.0/128
    // past level 8; 0 and 255 sit on the first and last level.
    TablePtr even = tableWithLevels(evenLevels(17));
    ASSERT_TRUE(even);
    EXPECT_EQ(entry(*even, 0), Entry(0, 0));
    EXPECT_EQ(entry(*even, 100), Entry(6, 35));
    EXPECT_EQ(entry(*even, 128), Entry(8, 4));
    EXPECT_EQ(entry(*even, 255), Entry(16, 0));

    // Levels 0, 0.25, 1: 51/255 = 0.2 is 102.4/128 into the first interval;
    // 128/255 is (128/255 - 1/4) / (3/4) * 128 = 43.0 into the second.
    TablePtr uneven = tableWithLevels({0.0f, 0.25f, 1.0f});
    ASSERT_TRUE(uneven);
    EXPECT_EQ(entry(*uneven, 51), Entry(0, 102));
    EXPECT_EQ(entry(*uneven, 128), Entry(1, 43));
    EXPECT_EQ(entry(*uneven, 255), Entry(2, 0));

    // Last level below 1.0: every value above it maps to (N - 1, 0). A first
    // level above 0 maps everything below it to (0, 0).
    TablePtr low = tableWithLevels({0.1f, 0.5f});
    ASSERT_TRUE(low);
    EXPECT_EQ(entry(*low, 0), Entry(0, 0));
    EXPECT_EQ(entry(*low, 25), Entry(0, 0));
    EXPECT_EQ(entry(*low, 64), Entry(0, 48)); // (64/255 - 0.1) / 0.4 * 128 = 48.3
    EXPECT_EQ(entry(*low, 127), Entry(0, 127));
    for (int v = 128; v < 256; ++v)
        EXPECT_EQ(entry(*low, v), Entry(1, 0)) << v;

    // Fractions truncate: with levels 0 and 1, 253 is 126.99/128 and 254 is
    // 127.50/128 of the way.
    TablePtr two = tableWithLevels({0.0f, 1.0f});
    ASSERT_TRUE(two);
    EXPECT_EQ(entry(*two, 253), Entry(0, 126));
    EXPECT_EQ(entry(*two, 254), Entry(0, 127));

    // A single level: everything is (0, 0).
    TablePtr one = tableWithLevels({0.5f});
    ASSERT_TRUE(one);
    for (int v : {0, 127, 128, 255})
        EXPECT_EQ(entry(*one, v), Entry(0, 0));
}

TEST(Lut3DTable, UniformFlagToleratesOneIn512)
{
    EXPECT_EQ(tableWithLevels(evenLevels(17))->uniform, 1);

    std::vector<float> levels = evenLevels(17);
    levels[8] += 1.0f / 2048.0f; // steps differ by 1/1024: within tolerance
    EXPECT_EQ(tableWithLevels(levels)->uniform, 1);

    // Just past the tolerance: steps that differ by 0.002 (> 1/512), an end
    // level 0.002 away from its bound.
    levels = evenLevels(17);
    levels[8] += 0.001f;
    EXPECT_EQ(tableWithLevels(levels)->uniform, 0);
    levels = evenLevels(17);
    levels[0] = 1.0f / 600.0f;
    EXPECT_EQ(tableWithLevels(levels)->uniform, 1);
    levels[0] = 0.002f;
    EXPECT_EQ(tableWithLevels(levels)->uniform, 0);
    levels = evenLevels(17);
    levels[16] = 1.0f - 0.002f;
    EXPECT_EQ(tableWithLevels(levels)->uniform, 0);
    EXPECT_EQ(tableWithLevels({0.0f})->uniform, 0);
    EXPECT_EQ(tableWithLevels({0.0f, 0.25f, 1.0f})->uniform, 0);
}

} // namespace
