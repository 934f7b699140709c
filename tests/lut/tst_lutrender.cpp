#include "lut/lutrender.h"
#include "tests/lut/lutframetest.h"

#include <gtest/gtest.h>

#include <utility>

namespace {

using namespace luttest;

std::pair<uint32_t, uint32_t> band(uint32_t height, uint32_t b, uint32_t n)
{
    uint32_t first, count;
    lutBandRows(height, b, n, &first, &count);
    return {first, count};
}

TEST(LutRender, BandsStartEvenAndCoverEveryRowOnce)
{
    using P = std::pair<uint32_t, uint32_t>;
    // Height 7, 2 bands: band 0 would end at 3, which is cleared to 2.
    EXPECT_EQ(band(7, 0, 2), P(0, 2));
    EXPECT_EQ(band(7, 1, 2), P(2, 5));
    // Height 4, 8 bands: only bands 3 and 7 get rows.
    for (uint32_t b = 0; b < 8; ++b)
        EXPECT_EQ(band(4, b, 8), b == 3 ? P(0, 2) : b == 7 ? P(2, 2) : P(0, 0)) << b;
    EXPECT_EQ(band(100, 0, 0), P(0, 0));

    for (uint32_t height = 1; height < 40; ++height)
        for (uint32_t n = 1; n <= 9; ++n) {
            uint32_t next = 0;
            for (uint32_t b = 0; b < n; ++b) {
                const P p = band(height, b, n);
                if (p.second == 0)
                    continue;
                EXPECT_EQ(p.first, next) << height << " " << b << "/" << n;
                EXPECT_EQ(p.first % 2, 0u);
                next = p.first + p.second;
            }
            EXPECT_EQ(next, height) << height << " " << n;
        }
}

// The walker's calls, recorded by a stand-in kernel.
struct Call {
    const uint8_t *srcA, *srcB, *srcUV;
    uint8_t *dstA, *dstB, *dstUV;
    bool nv21;
};
std::vector<Call> g_calls;

void recordingKernel(const Lut3DEffect*, const uint8_t* srcA, const uint8_t* srcB, const uint8_t* srcUV,
                     uint8_t* dstA, uint8_t* dstB, uint8_t* dstUV, bool nv21)
{
    g_calls.push_back({srcA, srcB, srcUV, dstA, dstB, dstUV, nv21});
}

TEST(LutRender, WalkerPairsRowsAndPassesAnOddLastRowTwice)
{
    TablePtr table = identityTable(2, evenLevels(2), 255);
    Frame src(6, 7, 3, 1), dst(6, 7, 10, 4);
    Effect effect;
    Lut3DEffect* e = effect.setUp(table.get(), src, dst, OXC_LUT_NV21, 0, 0);

    g_calls.clear();
    lutRenderRowsWith(e, 2, 5, recordingKernel);
    ASSERT_EQ(g_calls.size(), 3u);
    const uint32_t rows[3][2] = {{2, 3}, {4, 5}, {6, 6}};
    for (uint32_t i = 0; i < 3; ++i) {
        const Call& c = g_calls[i];
        EXPECT_TRUE(c.srcA == src.y(rows[i][0]) && c.srcB == src.y(rows[i][1]) && c.srcUV == src.uv(rows[i][0] / 2))
            << i;
        EXPECT_TRUE(c.dstA == dst.y(rows[i][0]) && c.dstB == dst.y(rows[i][1]) && c.dstUV == dst.uv(rows[i][0] / 2))
            << i;
        EXPECT_TRUE(c.nv21);
    }

    e->pixelFormat = OXC_LUT_NV12;
    g_calls.clear();
    lutRenderRowsWith(e, 0, 2, recordingKernel);
    ASSERT_EQ(g_calls.size(), 1u);
    EXPECT_FALSE(g_calls[0].nv21);

    e->pixelFormat = 2;
    g_calls.clear();
    lutRenderRowsWith(e, 0, 7, recordingKernel);
    EXPECT_TRUE(g_calls.empty());
}

// Rendering band by band with the build's kernel gives the reference frame,
// whatever the band count.
TEST(LutRender, BandsRenderTheSameFrameAsOneWalk)
{
    std::mt19937 rng(5);
    TablePtr table = randomTable(17, evenLevels(17), rng);
    ASSERT_TRUE(table);
    for (uint32_t height : {13u, 4u, 1u}) {
        Frame src(37, height, 3, 1), expected(37, height, 0, 0);
        src.randomize(rng);
        Effect reference;
        lutRenderRowsWith(reference.setUp(table.get(), src, expected, OXC_LUT_NV12, 1, 0), 0, height,
                          lutRowPairReference);
        for (uint32_t n : {1u, 2u, 3u, 8u}) {
            SCOPED_TRACE(testing::Message() << "height " << height << " bands " << n);
            Frame dst(37, height, 2, 2);
            dst.randomize(rng);
            Effect effect;
            Lut3DEffect* e = effect.setUp(table.get(), src, dst, OXC_LUT_NV12, 1, 0);
            for (uint32_t b = 0; b < n; ++b)
                lutRenderBand(e, b, n);
            EXPECT_TRUE(dst.samePixels(expected));
            EXPECT_TRUE(dst.paddingIntact());
        }
    }
}

} // namespace
