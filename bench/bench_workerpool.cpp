// The fixed cost the worker pool adds to every frame: one run() of an empty
// job, on 1, 2 and all online processors; and the speed-up this machine
// allows any job split over the pool, measured with pure arithmetic: the
// ceiling against which the renderer's own scaling is read.
#include "lut/lutworkerpool.h"

#include "core/thread/oxprocessorcount.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <vector>

namespace {

void emptyJob(void* context, uint32_t index, uint32_t count)
{
    benchmark::DoNotOptimize(context);
    benchmark::DoNotOptimize(index);
    benchmark::DoNotOptimize(count);
}

void BM_EmptyRun(benchmark::State& state)
{
    LutWorkerPool pool;
    if (!pool.start(int(state.range(0)), 0, 7)) {
        state.SkipWithError("the pool did not start");
        return;
    }
    for (auto _ : state)
        pool.run(emptyJob, nullptr);
    state.counters["workers"] = double(pool.workerCount());
}

// 1 and 2 workers, then every online processor when there are more.
void workerCounts(benchmark::internal::Benchmark* b)
{
    b->Arg(1)->Arg(2);
    if (OxOnlineProcessorCount() > 2)
        b->Arg(OxOnlineProcessorCount());
}

BENCHMARK(BM_EmptyRun)->Apply(workerCounts)->UseRealTime();

// A fixed amount of register-only integer work, split evenly over the job's
// workers: no memory traffic, nothing shared, so its speed-up is the most
// any job can get from the pool on this machine.
constexpr uint64_t kArithmeticSteps = 40000000; // about 30 ms on one core

void arithmeticJob(void* context, uint32_t index, uint32_t count)
{
    (void)index;
    uint64_t x = reinterpret_cast<uintptr_t>(context) | 1;
    for (uint64_t i = kArithmeticSteps / count; i != 0; --i)
        x = x * 6364136223846793005ull + 1442695040888963407ull;
    benchmark::DoNotOptimize(x);
}

// One worker against one per processor, in turn, like the renderer's
// scaling benchmark; reports the median of the per-turn speed-ups.
void BM_ArithmeticScaling(benchmark::State& state)
{
    LutWorkerPool one, all;
    if (!one.start(1, 0, 7) || !all.start(int(OxOnlineProcessorCount()), 0, 7)) {
        state.SkipWithError("the pool did not start");
        return;
    }
    auto timed = [](LutWorkerPool& pool) {
        const auto start = std::chrono::steady_clock::now();
        pool.run(arithmeticJob, &pool);
        return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    };
    std::vector<double> speedups;
    for (auto _ : state) {
        const double oneMs = timed(one);
        speedups.push_back(oneMs / timed(all));
    }
    std::nth_element(speedups.begin(), speedups.begin() + speedups.size() / 2, speedups.end());
    state.counters["speedup"] = speedups[speedups.size() / 2];
    state.counters["workers"] = double(all.workerCount());
}

BENCHMARK(BM_ArithmeticScaling)->UseRealTime()->MinTime(2.0)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
