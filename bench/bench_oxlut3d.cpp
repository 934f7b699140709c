// Whole frames through the exported interface: megapixels per second for
// 1080p and 4K NV12 frames and a 33-point table, rendered by
// OxcLut3DRenderEffect on one worker and on one worker per processor; the
// scalar reference kernel on one thread for comparison; one worker against
// all workers in alternation, beside the machine's own ceiling for that
// (the scaling figure); and, in the same run, a memcpy of the same frame as
// the floor any render is measured against.
#include "lut/kernels/lutkernel.h"
#include "lut/lut3dtable.h"
#include "lut/lutrender.h"
#include "lut/lutworkerpool.h"
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

// A fixed amount of register-only integer work split evenly over a job's
// workers: no memory traffic, nothing shared. Its speed-up is the most any
// job can gain from more workers on this machine at that moment.
constexpr uint64_t kArithmeticSteps = 30000000; // about 20 ms on one core

void arithmeticJob(void* context, uint32_t index, uint32_t count)
{
    (void)index;
    uint64_t x = reinterpret_cast<uintptr_t>(context) | 1;
    for (uint64_t i = kArithmeticSteps / count; i != 0; --i)
        x = x * 6364136223846793005ull + 1442695040888963407ull;
    benchmark::DoNotOptimize(x);
}

template <typename F>
double millisecondsOf(F&& f)
{
    const auto start = std::chrono::steady_clock::now();
    f();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
    return values[values.size() / 2];
}

// One worker against one worker per processor on the same frame, rendered
// in turn so that both see the same machine; in the same turns the
// arithmetic job runs on one thread and on a pool of as many workers. On a
// shared host a burst of other load then slows every side alike instead of
// deciding the comparison. Reports the time per frame of each side, the
// median per-turn speed-up of the render and of the arithmetic (the
// ceiling), and the median of their per-turn quotient (the share of the
// ceiling the renderer reaches).
void renderScaling(benchmark::State& state, uint32_t width, uint32_t height)
{
    Lut3DTable* table = benchMakeGrade(33);
    Lut3DEffect* one = OxcLut3DCreateEffect(1);
    Lut3DEffect* all = OxcLut3DCreateEffect(0);
    LutWorkerPool pool;
    BenchFrame src(width, height), dst(width, height);
    bool ok = table && one && all && pool.start(int(OxOnlineProcessorCount()), 0, 7);
    auto renderWith = [&](Lut3DEffect* effect) {
        return millisecondsOf([&] {
            ok = ok && OxcLut3DRenderEffect(effect, table, &src.image, &dst.image, OXC_LUT_NV12, OXC_LUT_BT709,
                                            OXC_LUT_RANGE_LIMITED, width, height, 0) == 1;
            benchmark::ClobberMemory();
        });
    };
    std::vector<double> speedups, ceilings, shares;
    double oneTotal = 0, allTotal = 0;
    for (auto _ : state) {
        const double oneMs = renderWith(one), allMs = renderWith(all);
        const double arithmeticOne = millisecondsOf([&] { arithmeticJob(&pool, 0, 1); });
        const double arithmeticAll = millisecondsOf([&] { pool.run(arithmeticJob, &pool); });
        if (!ok) {
            state.SkipWithError("set-up or render failed");
            break;
        }
        oneTotal += oneMs;
        allTotal += allMs;
        speedups.push_back(oneMs / allMs);
        ceilings.push_back(arithmeticOne / arithmeticAll);
        shares.push_back(speedups.back() / ceilings.back());
    }
    if (ok && !speedups.empty()) {
        state.counters["one_ms"] = oneTotal / double(speedups.size());
        state.counters["all_ms"] = allTotal / double(speedups.size());
        state.counters["speedup"] = median(speedups);
        state.counters["ceiling"] = median(ceilings);
        state.counters["share"] = median(shares);
        state.counters["workers"] = double(pool.workerCount());
    }
    pool.stop();
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
