#include "lut/lutrender.h"
#include "tests/lut/lutframetest.h"
#include "tests/lut/testsupport_lutfile.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

using namespace luttest;

// Two effects, each with its own workers, render different frames through
// one table at the same time; each result must be the frame the scalar
// reference makes on a single thread.
TEST(OxLut3DConcurrent, TwoEffectsShareOneTable)
{
    LutTempDir dir;
    Lut3DTable* table = OxcLut3DLoadTableFromFile(dir.write("shared.lut", lutFileLayout(33, 21)).c_str());
    ASSERT_NE(table, nullptr);

    struct Job {
        uint32_t threads, format, standard, range;
        Frame src, expected;
        int wrongFrames = 0;
    };
    std::mt19937 rng(22);
    Job jobs[2] = {{2, OXC_LUT_NV12, 1, 0, Frame(96, 54, 8, 4), Frame(96, 54, 0, 0)},
                   {3, OXC_LUT_NV21, 0, 1, Frame(61, 37, 3, 5), Frame(61, 37, 0, 0)}};
    for (Job& job : jobs) {
        job.src.randomize(rng);
        Effect reference;
        lutRenderRowsWith(reference.setUp(table, job.src, job.expected, job.format, job.standard, job.range), 0,
                          job.src.height, lutRowPairReference);
    }

    auto render = [table](Job* job) {
        Lut3DEffect* effect = OxcLut3DCreateEffect(job->threads);
        for (int i = 0; i < 25; ++i) {
            Frame dst(job->src.width, job->src.height, 2, 2);
            const LutImage in = job->src.image(), out = dst.image();
            const uint32_t rendered = OxcLut3DRenderEffect(effect, table, &in, &out, job->format, job->standard,
                                                           job->range, dst.width, dst.height, 0);
            if (rendered != 1 || !dst.samePixels(job->expected) || !dst.paddingIntact())
                ++job->wrongFrames;
        }
        OxcLut3DDestroyEffect(effect);
    };
    std::thread first(render, &jobs[0]);
    std::thread second(render, &jobs[1]);
    first.join();
    second.join();
    EXPECT_EQ(jobs[0].wrongFrames, 0);
    EXPECT_EQ(jobs[1].wrongFrames, 0);
    OxcLut3DDestroyTable(table);
}

} // namespace
