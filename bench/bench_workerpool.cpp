// The fixed cost the worker pool adds to every frame: one run() of an empty
// job, on 1, 2 and all online processors.
#include "lut/lutworkerpool.h"

#include "core/thread/oxprocessorcount.h"

#include <benchmark/benchmark.h>

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

} // namespace

BENCHMARK_MAIN();
