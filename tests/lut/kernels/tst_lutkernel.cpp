#include "lut/kernels/lutkernel.h"
#include "lut/lutrender.h"
#include "tests/lut/lutframetest.h"

#include <gtest/gtest.h>

namespace {

using namespace luttest;

struct Kernel {
    const char* name;
    LutRowPairKernel run;
};
// The reference first, then every vector kernel this processor runs.
std::vector<Kernel> allKernels()
{
    std::vector<Kernel> kernels = {{"reference", lutRowPairReference}, {"neon", lutRowPairNeon}};
#if LUT_HAVE_AVX2_KERNEL
    if (lutAvx2Supported())
        kernels.push_back({"avx2", lutRowPairAvx2});
#endif
    return kernels;
}
const std::vector<Kernel> kKernels = allKernels();

// Renders a whole frame with one kernel.
void render(LutRowPairKernel kernel, const Lut3DTable* table, Frame& src, Frame& dst,
            uint32_t pixelFormat, uint32_t standard, uint32_t range)
{
    Effect effect;
    lutRenderRowsWith(effect.setUp(table, src, dst, pixelFormat, standard, range), 0, src.height, kernel);
}

// Renders a 2-row frame of gray pixels (chroma 128) with the given luma
// values and returns the output luma of row 0 followed by the chroma row.
std::vector<uint8_t> renderGray(LutRowPairKernel kernel, const Lut3DTable* table,
                                const std::vector<uint8_t>& luma, uint32_t standard, uint32_t range)
{
    const uint32_t width = uint32_t(luma.size());
    Frame src(width, 2, 3, 5), dst(width, 2, 1, 2);
    src.fill(0, 128, 128);
    memcpy(src.y(0), luma.data(), width);
    memcpy(src.y(1), luma.data(), width);
    render(kernel, table, src, dst, OXC_LUT_NV12, standard, range);
    EXPECT_TRUE(dst.paddingIntact());
    EXPECT_EQ(0, memcmp(dst.y(0), dst.y(1), width));
    std::vector<uint8_t> out(dst.y(0), dst.y(0) + width);
    out.insert(out.end(), dst.uv(0), dst.uv(0) + Frame::chromaRowBytes(width));
    return out;
}

// Values worked out by hand from the fixed-point definition. In BT.601 full
// range a gray Y with chroma 128 converts to R = G = B = Y ((4Y + 2) >> 2),
// and gray RGB X converts back to luma ((256X + 128) >> 8) = X, U 128 and
// V 128 for X <= 128, else 127 ((-X + 128) >> 8 = -1). Through an identity
// table the output is lerp(v(i), v(i+1), f) = (v(i+1) f + v(i) (128 - f)) >> 7.
TEST(LutKernel, GrayThroughIdentityTablesGivesHandComputedValues)
{
    // N = 17, uniform: S = 2056. 100 -> i 6, f 35: (112*35 + 96*93) >> 7 = 100;
    // 128 -> i 8, f 4: (144*4 + 128*124) >> 7 = 128; 255 -> i 15, f 127:
    // (255*127 + 240) >> 7 = 254. Chroma of block (0, 100): mean 50; of
    // (128, 254): mean 191, so V = 127.
    TablePtr even17 = identityTable(17, evenLevels(17), 16);
    // The same grid read through the per-value map: 255 lies on the last
    // level, (16, 0), which returns the last grid point exactly.
    TablePtr map17 = identityTable(17, evenLevels(17), 16);
    ASSERT_TRUE(even17 && map17);
    map17->uniform = 0;
    // N = 2: S = 128. 128 -> i 0, f 64: (255*64) >> 7 = 127; 255 -> i 0,
    // f 127: (255*127) >> 7 = 253.
    TablePtr even2 = identityTable(2, evenLevels(2), 255);
    // N = 33: 255 -> i 31, f 127 (never the last grid point):
    // (255*127 + 248) >> 7 = 254.
    TablePtr even33 = identityTable(33, evenLevels(33), 8);
    ASSERT_TRUE(even2 && even33);

    for (const Kernel& k : kKernels) {
        SCOPED_TRACE(k.name);
        EXPECT_EQ(renderGray(k.run, even17.get(), {0, 100, 128, 255}, 0, 1),
                  (std::vector<uint8_t>{0, 100, 128, 254, 128, 128, 128, 127}));
        EXPECT_EQ(renderGray(k.run, map17.get(), {0, 100, 128, 255}, 0, 1),
                  (std::vector<uint8_t>{0, 100, 128, 255, 128, 128, 128, 127}));
        EXPECT_EQ(renderGray(k.run, even2.get(), {128, 255}, 0, 1), (std::vector<uint8_t>{127, 253, 128, 127}));
        EXPECT_EQ(renderGray(k.run, even33.get(), {255, 255}, 0, 1), (std::vector<uint8_t>{254, 254, 128, 127}));
    }
}

TEST(LutKernel, SaturationAndCoefficientEdgesGiveHandComputedValues)
{
    TablePtr identity = identityTable(17, evenLevels(17), 16);
    std::vector<uint8_t> whiteGrid(size_t(5) * 5 * 5 * 3, 255), grayGrid(size_t(5) * 5 * 5 * 3, 100);
    TablePtr white = withKernelLayouts(lutTableCreate(evenLevels(5).data(), 5, whiteGrid.data()));
    TablePtr gray = withKernelLayouts(lutTableCreate(evenLevels(5).data(), 5, grayGrid.data()));
    ASSERT_TRUE(identity && white && gray);

    for (const Kernel& k : kKernels) {
        SCOPED_TRACE(k.name);
        // White in BT.709 full range: (255 * 255 + 128) >> 8 = 254; U 128;
        // V: 127*255 - 128*255 = -255, (-255 + 128) >> 8 = -1, so 127.
        EXPECT_EQ(renderGray(k.run, white.get(), {255, 17}, 1, 1), (std::vector<uint8_t>{254, 254, 128, 127}));
        // Y = 10 in limited range: yt = floor(-6 * 9539 / 2048) = -28 and
        // (-28 + 2) >> 2 = -7 saturates to 0 (a wrap would give 249); black
        // converts back to (0 + 128) >> 8 + 16 = 16. Range 2 subtracts the
        // offset 16 too (yt = -24, saturated) with full-range gains; range 1
        // keeps Y = 10 as RGB 10: i 0, f 80, (16 * 80) >> 7 = 10.
        EXPECT_EQ(renderGray(k.run, identity.get(), {10, 10}, 0, 0), (std::vector<uint8_t>{16, 16, 128, 128}));
        EXPECT_EQ(renderGray(k.run, identity.get(), {10, 10}, 0, 2), (std::vector<uint8_t>{16, 16, 128, 128}));
        EXPECT_EQ(renderGray(k.run, identity.get(), {10, 10}, 0, 1), (std::vector<uint8_t>{10, 10, 128, 128}));
        // Gray 100 back to luma: limited (220 * 100 + 128) >> 8 + 16 = 102,
        // full 100, range 2 full weights plus the offset: 116.
        EXPECT_EQ(renderGray(k.run, gray.get(), {0, 255}, 0, 0), (std::vector<uint8_t>{102, 102, 128, 128}));
        EXPECT_EQ(renderGray(k.run, gray.get(), {0, 255}, 0, 1), (std::vector<uint8_t>{100, 100, 128, 128}));
        EXPECT_EQ(renderGray(k.run, gray.get(), {0, 255}, 0, 2), (std::vector<uint8_t>{116, 116, 128, 128}));

        // NV21 stores V first: white's pair reads 127, 128.
        Frame src(2, 1, 0, 0), dst(2, 1, 0, 0);
        src.fill(255, 128, 128);
        render(k.run, white.get(), src, dst, OXC_LUT_NV21, 1, 1);
        EXPECT_EQ(dst.uv(0)[0], 127);
        EXPECT_EQ(dst.uv(0)[1], 128);
    }
}

// Relations the reference itself must satisfy: NV21 is NV12 with the pair
// swapped; an odd width repeats its last column; an unpaired row is a row
// paired with itself.
TEST(LutKernel, FormatsOddWidthsAndUnpairedRowsFollowTheirDefinitions)
{
    std::mt19937 rng(7);
    TablePtr table = randomTable(9, evenLevels(9), rng);
    ASSERT_TRUE(table);
    for (const Kernel& k : kKernels) {
        SCOPED_TRACE(k.name);
        Frame nv12(10, 4, 2, 2), nv21(10, 4, 2, 2), out12(10, 4, 0, 0), out21(10, 4, 0, 0);
        nv12.randomize(rng);
        nv21.copyPixels(nv12);
        for (uint32_t r = 0; r < 2; ++r)
            for (uint32_t x = 0; x < 10; x += 2)
                std::swap(nv21.uv(r)[x], nv21.uv(r)[x + 1]);
        render(k.run, table.get(), nv12, out12, OXC_LUT_NV12, 1, 0);
        render(k.run, table.get(), nv21, out21, OXC_LUT_NV21, 1, 0);
        for (uint32_t r = 0; r < 2; ++r)
            for (uint32_t x = 0; x < 10; x += 2) {
                EXPECT_EQ(out12.uv(r)[x], out21.uv(r)[x + 1]);
                EXPECT_EQ(out12.uv(r)[x + 1], out21.uv(r)[x]);
            }
        EXPECT_EQ(0, memcmp(out12.luma.data(), out21.luma.data(), out12.luma.size()));

        // Width 3 equals width 4 whose fourth column repeats the third.
        Frame odd(3, 2, 1, 0), even(4, 2, 0, 0), oddOut(3, 2, 1, 0), evenOut(4, 2, 0, 0);
        odd.randomize(rng);
        for (uint32_t r = 0; r < 2; ++r) {
            memcpy(even.y(r), odd.y(r), 3);
            even.y(r)[3] = odd.y(r)[2];
        }
        memcpy(even.uv(0), odd.uv(0), 4);
        render(k.run, table.get(), odd, oddOut, OXC_LUT_NV12, 0, 1);
        render(k.run, table.get(), even, evenOut, OXC_LUT_NV12, 0, 1);
        for (uint32_t r = 0; r < 2; ++r)
            EXPECT_EQ(0, memcmp(oddOut.y(r), evenOut.y(r), 3));
        EXPECT_EQ(0, memcmp(oddOut.uv(0), evenOut.uv(0), 4));
        EXPECT_TRUE(oddOut.paddingIntact());

        // Height 1 equals height 2 whose second row repeats the first.
        Frame one(5, 1, 0, 0), two(5, 2, 0, 0), oneOut(5, 1, 0, 0), twoOut(5, 2, 0, 0);
        one.randomize(rng);
        memcpy(two.y(0), one.y(0), 5);
        memcpy(two.y(1), one.y(0), 5);
        memcpy(two.uv(0), one.uv(0), 6);
        render(k.run, table.get(), one, oneOut, OXC_LUT_NV12, 0, 0);
        render(k.run, table.get(), two, twoOut, OXC_LUT_NV12, 0, 0);
        EXPECT_EQ(0, memcmp(oneOut.y(0), twoOut.y(0), 5));
        EXPECT_EQ(0, memcmp(oneOut.uv(0), twoOut.uv(0), 6));
    }
}

// A table without a kernel's layout (built for another kernel, or out of
// memory) is handed on to a kernel that can read it, with the same bytes.
TEST(LutKernel, KernelsRenderTablesWithoutTheirLayout)
{
    std::mt19937 rng(5);
    TablePtr table = randomTable(17, unevenLevels(17), rng);
    ASSERT_TRUE(table);
    Lut3DTable bare = *table; // borrows the grid and index, owns nothing
    bare.neon = nullptr;
    bare.cornerGroups = nullptr;
    Frame src(37, 3, 1, 2), expected(37, 3, 0, 0);
    src.randomize(rng);
    render(lutRowPairReference, table.get(), src, expected, OXC_LUT_NV12, 0, 0);
    for (const Kernel& k : kKernels) {
        SCOPED_TRACE(k.name);
        Frame actual(37, 3, 0, 0);
        render(k.run, &bare, src, actual, OXC_LUT_NV12, 0, 0);
        EXPECT_TRUE(actual.samePixels(expected));
    }
}

// The tables of the comparison: uniform and per-value map, N = 2, 17, 33, 65.
struct Tables {
    std::vector<TablePtr> all;
    explicit Tables(std::mt19937& rng)
    {
        for (uint32_t n : {2u, 17u, 33u, 65u}) {
            all.push_back(randomTable(n, evenLevels(n), rng));
            all.push_back(randomTable(n, unevenLevels(n), rng));
        }
    }
};

// One comparison: the reference and each vector kernel into separate
// destinations that start with different contents (so each must write every
// pixel), then each vector kernel in place.
void compareKernels(const Lut3DTable* table, uint32_t width, uint32_t height, uint32_t format,
                    uint32_t standard, uint32_t range, std::mt19937& rng)
{
    SCOPED_TRACE(testing::Message() << "width " << width << " height " << height << " format " << format
                                    << " standard " << standard << " range " << range << " levels "
                                    << table->levelCount << (table->uniform ? " uniform" : " map"));
    Frame src(width, height, 1 + width % 5, 3), expected(width, height, 4, 1 + width % 3);
    src.randomize(rng);
    expected.randomize(rng);
    render(lutRowPairReference, table, src, expected, format, standard, range);
    EXPECT_TRUE(expected.paddingIntact());
    for (size_t k = 1; k < kKernels.size(); ++k) {
        SCOPED_TRACE(kKernels[k].name);
        Frame actual(width, height, 2, 6), inPlace(width, height, 1 + width % 5, 3);
        actual.randomize(rng);
        inPlace.copyPixels(src);
        render(kKernels[k].run, table, src, actual, format, standard, range);
        render(kKernels[k].run, table, inPlace, inPlace, format, standard, range);
        EXPECT_TRUE(actual.samePixels(expected));
        EXPECT_TRUE(inPlace.samePixels(expected));
        EXPECT_TRUE(actual.paddingIntact());
        EXPECT_TRUE(inPlace.paddingIntact());
    }
}

TEST(LutKernel, VectorKernelsMatchReferenceOnEveryNarrowWidth)
{
    std::mt19937 rng(1234);
    Tables tables(rng);
    for (uint32_t width = 1; width <= 70; ++width) {
        const uint32_t height = 1 + width % 9;
        compareKernels(tables.all[width % tables.all.size()].get(), width, height, width & 1, (width >> 1) & 1,
                       (width >> 2) % 3, rng);
    }
}

TEST(LutKernel, VectorKernelsMatchReferenceOnWideAndTallFrames)
{
    std::mt19937 rng(99);
    Tables tables(rng);
    struct Case {
        uint32_t width, height;
    };
    const Case cases[] = {{1000, 3}, {1921, 2}, {4096, 5}, {257, 17}, {511, 4}, {40, 41}};
    uint32_t i = 0;
    for (const Case& c : cases) {
        for (uint32_t t = 0; t < 2; ++t, ++i)
            compareKernels(tables.all[(3 * i + t) % tables.all.size()].get(), c.width, c.height, i & 1,
                           (i >> 1) & 1, i % 3, rng);
    }
    // Every standard and range combination once, on both table kinds.
    for (uint32_t combo = 0; combo < 12; ++combo)
        compareKernels(tables.all[combo % tables.all.size()].get(), 23, 3, combo & 1, (combo >> 1) & 1,
                       combo % 3, rng);
}

} // namespace
