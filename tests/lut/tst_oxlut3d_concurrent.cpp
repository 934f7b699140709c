#include "lut/lutrender.h"
#include "tests/lut/lutframetest.h"
#include "tests/lut/testsupport_lutfile.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <thread>
#include <vector>

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

// A soak of the handles' life cycles: effects are created, render and are
// destroyed on several threads over tables that other threads render through
// with long-lived effects at the same time, while one more thread loads
// tables of its own and destroys each after its effects. Every frame must be
// the reference frame. OX_SOAK_ROUNDS makes the run longer (default 8).
TEST(OxLut3DConcurrent, SoakOfEffectsAndTablesOverSharedTables)
{
    const char* env = std::getenv("OX_SOAK_ROUNDS");
    const int rounds = env && std::atoi(env) > 0 ? std::atoi(env) : 8;
    LutTempDir dir;
    LutFileLayout uneven = lutFileLayout(9, 31);
    uneven.levels = {0.0f, 0.04f, 0.1f, 0.2f, 0.33f, 0.5f, 0.66f, 0.9f, 1.0f};
    const std::string paths[3] = {dir.write("a.lut", lutFileLayout(17, 30)), dir.write("b.lut", uneven),
                                  dir.write("c.lut", lutFileLayout(33, 32))};
    Lut3DTable* shared[3];
    for (int t = 0; t < 3; ++t)
        ASSERT_NE(shared[t] = OxcLut3DLoadTableFromFile(paths[t].c_str()), nullptr);

    // Every (table file, frame, conversion) case with its reference frame.
    struct Case {
        int table;
        uint32_t format, standard, range;
        Frame* src;
        Frame expected;
    };
    std::mt19937 rng(33);
    Frame sources[2] = {Frame(64, 18, 6, 2), Frame(37, 11, 1, 3)};
    for (Frame& f : sources)
        f.randomize(rng);
    std::vector<Case> cases;
    for (int t = 0; t < 3; ++t)
        for (Frame& src : sources)
            for (uint32_t format : {OXC_LUT_NV12, OXC_LUT_NV21}) {
                cases.push_back({t, format, format, 1 - format, &src, Frame(src.width, src.height, 0, 0)});
                Effect reference;
                lutRenderRowsWith(reference.setUp(shared[t], src, cases.back().expected, format, format, 1 - format),
                                  0, src.height, lutRowPairReference);
            }

    std::atomic<int> wrong(0), steadyFrames(0);
    auto renderCase = [&](Lut3DEffect* effect, Lut3DTable* table, const Case& c) {
        Frame dst(c.src->width, c.src->height, 3, 1);
        const LutImage in = c.src->image(), out = dst.image();
        if (OxcLut3DRenderEffect(effect, table, &in, &out, c.format, c.standard, c.range, dst.width, dst.height, 0) != 1
            || !dst.samePixels(c.expected) || !dst.paddingIntact())
            ++wrong;
    };

    std::atomic<bool> stop(false);
    std::vector<std::thread> steady, churners;
    for (int s = 0; s < 2; ++s)
        steady.emplace_back([&, s] {
            Lut3DEffect* effect = OxcLut3DCreateEffect(2);
            for (size_t i = size_t(s); !stop; i += 5, ++steadyFrames)
                renderCase(effect, shared[cases[i % cases.size()].table], cases[i % cases.size()]);
            OxcLut3DDestroyEffect(effect);
        });
    for (int c = 0; c < 3; ++c)
        churners.emplace_back([&, c] {
            const uint32_t workers[] = {1, 2, 3, 0};
            for (int r = 0; r < rounds; ++r) {
                Lut3DEffect* effect = OxcLut3DCreateEffect(workers[(r + c) % 4]);
                for (size_t i = size_t(r * 3 + c); i < size_t(r * 3 + c) + 2; ++i)
                    renderCase(effect, shared[cases[i % cases.size()].table], cases[i % cases.size()]);
                OxcLut3DDestroyEffect(effect);
            }
        });
    churners.emplace_back([&] { // tables of its own, destroyed after their effects
        for (int r = 0; r < rounds; ++r) {
            const Case& c = cases[size_t(r * 7) % cases.size()];
            Lut3DTable* own = OxcLut3DLoadTableFromFile(paths[c.table].c_str());
            Lut3DEffect* effects[2] = {OxcLut3DCreateEffect(1), OxcLut3DCreateEffect(2)};
            for (Lut3DEffect* effect : effects) {
                renderCase(effect, own, c);
                OxcLut3DDestroyEffect(effect);
            }
            OxcLut3DDestroyTable(own);
        }
    });
    for (std::thread& t : churners)
        t.join();
    stop = true;
    for (std::thread& t : steady)
        t.join();
    for (Lut3DTable* table : shared)
        OxcLut3DDestroyTable(table);
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_GE(steadyFrames.load(), 2);
}

} // namespace
