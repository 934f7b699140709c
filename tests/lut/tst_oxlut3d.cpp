#include "core/thread/oxprocessorcount.h"
#include "lut/lutrender.h"
#include "lut/lutworkerpool.h"
#include "tests/lut/lutframetest.h"
#include "tests/lut/testsupport_lutfile.h"
#include "tests/oxlogcapture.h"

#include <gtest/gtest.h>

#include <cstring>

#if defined(__SANITIZE_ADDRESS__)
#define OX_TEST_ALLOCATION_LIMIT 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define OX_TEST_ALLOCATION_LIMIT 1
#endif
#endif

#if defined(OX_TEST_ALLOCATION_LIMIT)
// Allocations above 1 GiB fail as on a device out of address space, and
// return null where the caller asked for that instead of ending the process.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options()
{
    return "allocator_may_return_null=1:max_allocation_size_mb=1024";
}
#endif

namespace {

using namespace luttest;

const char kFormatMessage[] = "We only support NV12 and NV21 pixel format right now!";

struct TableDestroyer {
    void operator()(Lut3DTable* t) const { OxcLut3DDestroyTable(t); }
};
struct EffectDestroyer {
    void operator()(Lut3DEffect* e) const { OxcLut3DDestroyEffect(e); }
};
using LoadedTable = std::unique_ptr<Lut3DTable, TableDestroyer>;
using EffectPtr = std::unique_ptr<Lut3DEffect, EffectDestroyer>;

// Tables as a host gets them: written to a file and loaded. One with evenly
// spaced levels (the kernels compute the index), one without (they read the
// level index).
class OxLut3D : public testing::Test {
protected:
    void SetUp() override
    {
        m_uniform.reset(OxcLut3DLoadTableFromFile(m_dir.write("uniform.lut", lutFileLayout(17, 11)).c_str()));
        LutFileLayout uneven = lutFileLayout(9, 12);
        uneven.levels = {0.0f, 0.05f, 0.1f, 0.2f, 0.35f, 0.5f, 0.7f, 0.85f, 0.97f};
        m_uneven.reset(OxcLut3DLoadTableFromFile(m_dir.write("uneven.lut", uneven).c_str()));
        ASSERT_TRUE(m_uniform && m_uneven);
        ASSERT_TRUE(m_uniform->uniform);
        ASSERT_FALSE(m_uneven->uniform);
    }

    LutTempDir m_dir;
    LoadedTable m_uniform, m_uneven;
};

// The frame the scalar reference kernel makes, walked on this thread.
Frame referenceRender(const Lut3DTable* table, Frame& src, uint32_t pixelFormat, uint32_t standard,
                      uint32_t range)
{
    Frame out(src.width, src.height, 0, 0);
    Effect reference;
    lutRenderRowsWith(reference.setUp(table, src, out, pixelFormat, standard, range), 0, src.height,
                      lutRowPairReference);
    return out;
}

TEST_F(OxLut3D, EveryWorkerCountRendersTheReferenceFrame)
{
    std::mt19937 rng(77);
    const uint32_t workerCounts[] = {1, 2, 3, 8, 0};
    std::vector<EffectPtr> effects;
    for (uint32_t threads : workerCounts) {
        effects.emplace_back(OxcLut3DCreateEffect(threads));
        const Lut3DEffect* e = effects.back().get();
        ASSERT_NE(e, nullptr);
        ASSERT_NE(e->coefficients, nullptr);
        if (threads == 1) {
            EXPECT_EQ(e->pool, nullptr); // renders on the caller's thread
        } else {
            const uint32_t expected = threads ? threads : uint32_t(OxOnlineProcessorCount());
            ASSERT_NE(e->pool, nullptr);
            EXPECT_EQ(e->pool->workerCount(), expected);
            EXPECT_EQ(e->workerCount, expected);
        }
    }

    const std::pair<uint32_t, uint32_t> sizes[] = {{61, 37}, {1, 1}, {8, 7}, {130, 4}, {17, 2}};
    const std::pair<uint32_t, uint32_t> conversions[] = {{0, 0}, {1, 1}, {1, 2}, {0, 1}};
    for (const Lut3DTable* table : {m_uniform.get(), m_uneven.get()})
        for (auto size : sizes) {
            Frame src(size.first, size.second, 5, 3);
            src.randomize(rng);
            for (uint32_t format : {OXC_LUT_NV12, OXC_LUT_NV21})
                for (auto conversion : conversions) {
                    Frame expected = referenceRender(table, src, format, conversion.first, conversion.second);
                    for (size_t i = 0; i < effects.size(); ++i) {
                        SCOPED_TRACE(testing::Message() << size.first << "x" << size.second << " format " << format
                                                        << " standard " << conversion.first << " range "
                                                        << conversion.second << " workers " << workerCounts[i]);
                        Frame dst(size.first, size.second, 7, 2);
                        const LutImage in = src.image(), out = dst.image();
                        ASSERT_EQ(OxcLut3DRenderEffect(effects[i].get(), const_cast<Lut3DTable*>(table), &in, &out,
                                                       format, conversion.first, conversion.second, size.first,
                                                       size.second, 0),
                                  1u);
                        EXPECT_TRUE(dst.samePixels(expected));
                        EXPECT_TRUE(dst.paddingIntact());
                    }
                }
        }
}

TEST_F(OxLut3D, InPlaceRenderingEqualsSeparateBuffers)
{
    std::mt19937 rng(78);
    for (uint32_t threads : {1u, 2u, 3u}) {
        EffectPtr effect(OxcLut3DCreateEffect(threads));
        for (uint32_t format : {OXC_LUT_NV12, OXC_LUT_NV21}) {
            Frame src(45, 23, 4, 6), dst(45, 23, 0, 0), frame(45, 23, 4, 6);
            src.randomize(rng);
            frame.copyPixels(src);
            const LutImage in = src.image(), out = dst.image(), both = frame.image();
            ASSERT_EQ(OxcLut3DRenderEffect(effect.get(), m_uneven.get(), &in, &out, format, 1, 0, 45, 23, 0), 1u);
            ASSERT_EQ(OxcLut3DRenderEffect(effect.get(), m_uneven.get(), &both, &both, format, 1, 0, 45, 23, 0), 1u);
            EXPECT_TRUE(frame.samePixels(dst)) << threads << " " << format;
            EXPECT_TRUE(frame.paddingIntact());
        }
    }
}

// Bottom-up frames: every band of every worker must start at its own rows,
// counted backwards from the plane pointers.
TEST_F(OxLut3D, NegativeStridesRenderEveryBandWhereItBelongs)
{
    std::mt19937 rng(80);
    for (uint32_t threads : {1u, 2u, 3u, 8u}) {
        EffectPtr effect(OxcLut3DCreateEffect(threads));
        for (auto size : {std::make_pair(16u, 4u), std::make_pair(37u, 21u)}) {
            SCOPED_TRACE(testing::Message() << threads << " workers, " << size.first << "x" << size.second);
            Frame src(size.first, size.second, 3, 5);
            src.randomize(rng);
            Frame upright = src.mirrored();
            Frame expected = referenceRender(m_uneven.get(), upright, OXC_LUT_NV21, 1, 0);

            // Bottom-up to bottom-up, and bottom-up to top-down (a flip).
            Frame flipped(size.first, size.second, 2, 4), straight(size.first, size.second, 6, 0);
            const LutImage in = src.bottomUpImage(), outFlipped = flipped.bottomUpImage(),
                           outStraight = straight.image();
            ASSERT_EQ(OxcLut3DRenderEffect(effect.get(), m_uneven.get(), &in, &outFlipped, OXC_LUT_NV21, 1, 0,
                                           size.first, size.second, 0),
                      1u);
            ASSERT_EQ(OxcLut3DRenderEffect(effect.get(), m_uneven.get(), &in, &outStraight, OXC_LUT_NV21, 1, 0,
                                           size.first, size.second, 0),
                      1u);
            Frame flippedBack = flipped.mirrored();
            EXPECT_TRUE(flippedBack.samePixels(expected));
            EXPECT_TRUE(straight.samePixels(expected));
            EXPECT_TRUE(flipped.paddingIntact() && straight.paddingIntact());
        }
    }
}

TEST_F(OxLut3D, FailedRendersReturnZeroAndWriteNothing)
{
    std::mt19937 rng(79);
    EffectPtr effect(OxcLut3DCreateEffect(2));
    Frame src(20, 10, 2, 2), dst(20, 10, 2, 2);
    src.randomize(rng);
    dst.randomize(rng);
    const std::vector<uint8_t> luma = dst.luma, chroma = dst.chroma;
    const LutImage in = src.image(), out = dst.image();
    Lut3DEffect* e = effect.get();
    Lut3DTable* t = m_uniform.get();

    for (uint32_t format : {2u, 3u, 0xffffffffu}) {
        OxLogCapture log;
        EXPECT_EQ(OxcLut3DRenderEffect(e, t, &in, &out, format, 0, 0, 20, 10, 0), 0u);
        ASSERT_EQ(log.size(), 1u) << format;
        const std::string line = log.lines()[0].text;
        EXPECT_EQ(line.compare(line.size() - strlen(kFormatMessage), std::string::npos, kFormatMessage), 0) << line;
        EXPECT_EQ(log.lines()[0].level, 3u);
    }

    OxLogCapture log;
    EXPECT_EQ(OxcLut3DRenderEffect(nullptr, t, &in, &out, 0, 0, 0, 20, 10, 0), 0u);
    EXPECT_EQ(OxcLut3DRenderEffect(e, nullptr, &in, &out, 0, 0, 0, 20, 10, 0), 0u);
    EXPECT_EQ(OxcLut3DRenderEffect(e, t, nullptr, &out, 0, 0, 0, 20, 10, 0), 0u);
    EXPECT_EQ(OxcLut3DRenderEffect(e, t, &in, nullptr, 0, 0, 0, 20, 10, 0), 0u);
    EXPECT_EQ(OxcLut3DRenderEffect(e, t, &in, &out, 0, 0, 0, 0, 10, 0), 0u);
    EXPECT_EQ(OxcLut3DRenderEffect(e, t, &in, &out, 0, 0, 0, 20, 0, 0), 0u);
    // Argument checks come before the format check: no message here.
    EXPECT_EQ(OxcLut3DRenderEffect(e, t, &in, &out, 2, 0, 0, 0, 0, 0), 0u);
    // An effect whose coefficient record could not be allocated.
    LutColorCoefficients* coefficients = e->coefficients;
    e->coefficients = nullptr;
    EXPECT_EQ(OxcLut3DRenderEffect(e, t, &in, &out, 0, 0, 0, 20, 10, 0), 0u);
    e->coefficients = coefficients;
    EXPECT_EQ(log.size(), 0u);
    EXPECT_TRUE(dst.luma == luma && dst.chroma == chroma);

    // The effect still renders afterwards.
    EXPECT_EQ(OxcLut3DRenderEffect(e, t, &in, &out, 0, 0, 0, 20, 10, 0), 1u);
    Frame expected = referenceRender(t, src, 0, 0, 0);
    EXPECT_TRUE(dst.samePixels(expected));
    EXPECT_TRUE(dst.paddingIntact());
}

TEST(OxLut3DHandles, DestroyingNullOrUnusedEffectsIsSafe)
{
    OxcLut3DDestroyEffect(nullptr);
    OxcLut3DDestroyEffect(OxcLut3DCreateEffect(4)); // never rendered: its workers still go
}

// An absurd worker count cannot get its worker slots: the effect still comes
// back, renders on the caller's thread, and nothing of the failed pool is
// kept (the leak checker runs at exit).
TEST_F(OxLut3D, EffectWithoutRoomForItsWorkersRendersOnTheCaller)
{
#if !defined(OX_TEST_ALLOCATION_LIMIT)
    GTEST_SKIP() << "needs the sanitizer's allocation limit";
#else
    std::mt19937 rng(81);
    Frame src(24, 6, 0, 0), dst(24, 6, 0, 0);
    src.randomize(rng);
    const LutImage in = src.image(), out = dst.image();
    for (int round = 0; round < 3; ++round) {
        OxLogCapture log;
        EffectPtr effect(OxcLut3DCreateEffect(0x40000000u));
        ASSERT_NE(effect, nullptr);
        EXPECT_EQ(effect->pool, nullptr);
        EXPECT_EQ(log.count("No memory for 1073741824 workers"), 1u);
        ASSERT_EQ(OxcLut3DRenderEffect(effect.get(), m_uniform.get(), &in, &out, 0, 1, 1, 24, 6, 0), 1u);
        Frame expected = referenceRender(m_uniform.get(), src, 0, 1, 1);
        EXPECT_TRUE(dst.samePixels(expected));
    }
#endif
}

} // namespace
