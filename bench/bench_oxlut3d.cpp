// Whole frames through the exported interface: megapixels per second for
// 1080p and 4K NV12 frames and a 33-point table, rendered by
// OxcLut3DRenderEffect on one worker and on one worker per processor; the
// scalar reference kernel on one thread for comparison; one worker against
// all workers in alternation (the scaling figure); and, in the same run, a
// memcpy of the same frame as the floor any render is measured against.
#include "lut/kernels/lutkernel.h"
#include "lut/lut3dtable.h"
#include "lut/lutrender.h"
#include "lut/oxlut3d.h"

#include "core/thread/oxprocessorcount.h"

#include "bench/benchframe.h"

#include <algorithm>
#include <chrono>
#include <vector>

namespace {

// The vector kernel through OxcLut3DRenderEffect; threads 0 is one worker
// per online processor.
void render(benchmark::State& state, uint32_t width, uint32_t height)
{
    const uint32_t threads = uint32_t(state.range(0));
    Lut3DTable* table = benchMakeGrade(33);
    Lut3DEffect* effect = OxcLut3DCreateEffect(threads);
    BenchFrame src(width, height), dst(width, height);
    if (!table || !effect) {
        state.SkipWithError("out of memory");
    } else {
        for (auto _ : state) {
            if (OxcLut3DRenderEffect(effect, table, &src.image, &dst.image, OXC_LUT_NV12, OXC_LUT_BT709,
                                     OXC_LUT_RANGE_LIMITED, width, height, 0) != 1) {
                state.SkipWithError("render failed");
                break;
            }
            benchmark::ClobberMemory();
        }
        benchReportFrame(state, width, height, src.bytes());
        state.counters["workers"] = double(threads ? threads : uint32_t(OxOnlineProcessorCount()));
    }
    OxcLut3DDestroyEffect(effect);
    lutTableDestroy(table);
}

// The scalar reference kernel on one thread. One render through the
// interface stores the frame and fills the coefficients; the loop then walks
// the frame with the reference kernel.
void renderScalar(benchmark::State& state, uint32_t width, uint32_t height)
{
    Lut3DTable* table = benchMakeGrade(33);
    Lut3DEffect* effect = OxcLut3DCreateEffect(1);
    BenchFrame src(width, height), dst(width, height);
    if (!table || !effect
        || OxcLut3DRenderEffect(effect, table, &src.image, &dst.image, OXC_LUT_NV12, OXC_LUT_BT709,
                                OXC_LUT_RANGE_LIMITED, width, height, 0) != 1) {
        state.SkipWithError("set-up failed");
    } else {
        for (auto _ : state) {
            lutRenderRowsWith(effect, 0, height, lutRowPairReference);
            benchmark::ClobberMemory();
        }
        benchReportFrame(state, width, height, src.bytes());
    }
    OxcLut3DDestroyEffect(effect);
    lutTableDestroy(table);
}

// One worker against one worker per processor on the same frame, rendered
// in turn so that both see the same machine: on a shared host a burst of
// other load slows both alike instead of deciding the comparison. Reports
// each one's time per frame and the median of the per-turn speed-ups.
void renderScaling(benchmark::State& state, uint32_t width, uint32_t height)
{
    Lut3DTable* table = benchMakeGrade(33);
    Lut3DEffect* one = OxcLut3DCreateEffect(1);
    Lut3DEffect* all = OxcLut3DCreateEffect(0);
    BenchFrame src(width, height), dst(width, height);
    auto renderWith = [&](Lut3DEffect* effect) {
        const auto start = std::chrono::steady_clock::now();
        const uint32_t ok = OxcLut3DRenderEffect(effect, table, &src.image, &dst.image, OXC_LUT_NV12,
                                                 OXC_LUT_BT709, OXC_LUT_RANGE_LIMITED, width, height, 0);
        benchmark::ClobberMemory();
        return ok == 1 ? std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count()
                       : -1.0;
    };
    if (!table || !one || !all) {
        state.SkipWithError("out of memory");
    } else {
        std::vector<double> speedups;
        double oneTotal = 0, allTotal = 0;
        for (auto _ : state) {
            const double oneMs = renderWith(one), allMs = renderWith(all);
            if (oneMs < 0 || allMs < 0) {
                state.SkipWithError("render failed");
                break;
            }
            oneTotal += oneMs;
            allTotal += allMs;
            speedups.push_back(oneMs / allMs);
        }
        if (!speedups.empty()) {
            std::nth_element(speedups.begin(), speedups.begin() + speedups.size() / 2, speedups.end());
            state.counters["one_ms"] = oneTotal / double(speedups.size());
            state.counters["all_ms"] = allTotal / double(speedups.size());
            state.counters["speedup"] = speedups[speedups.size() / 2];
            state.counters["workers"] = double(OxOnlineProcessorCount());
        }
    }
    OxcLut3DDestroyEffect(all);
    OxcLut3DDestroyEffect(one);
    lutTableDestroy(table);
}

} // namespace

BENCHMARK_CAPTURE(benchCopyFrame, memcpy_1080p, 1920, 1080)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(benchCopyFrame, memcpy_4k, 3840, 2160)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(render, vector_1080p, 1920, 1080)->ArgName("threads")->Arg(1)->Arg(0)->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(render, vector_4k, 3840, 2160)->ArgName("threads")->Arg(1)->Arg(0)->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(renderScaling, scaling_4k, 3840, 2160)->UseRealTime()->MinTime(2.0)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(renderScalar, scalar_1080p, 1920, 1080)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(renderScalar, scalar_4k, 3840, 2160)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
