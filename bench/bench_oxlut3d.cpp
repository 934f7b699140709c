// Whole frames through the exported interface: megapixels per second for
// 1080p and 4K NV12 frames and a 33-point table, rendered by
// OxcLut3DRenderEffect on one worker and on one worker per processor; the
// scalar reference kernel on one thread for comparison; and, in the same run,
// a memcpy of the same frame as the floor any render is measured against.
#include "lut/kernels/lutkernel.h"
#include "lut/lut3dtable.h"
#include "lut/lutrender.h"
#include "lut/oxlut3d.h"

#include "core/thread/oxprocessorcount.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

namespace {

// A 33-point grade on evenly spaced levels: lifted shadows, warmer reds,
// cooler blues.
Lut3DTable* makeGrade()
{
    const uint32_t n = 33;
    std::vector<float> levels(n);
    std::vector<uint8_t> grid(size_t(n) * n * n * 3);
    auto tone = [](float x, float lift, float gain) {
        return uint8_t(std::min(255.0f, (lift + (1.0f - lift) * x * (1.5f - 0.5f * x)) * gain * 255.0f + 0.5f));
    };
    size_t e = 0;
    for (uint32_t r = 0; r < n; ++r) {
        levels[r] = float(r) / float(n - 1);
        for (uint32_t g = 0; g < n; ++g)
            for (uint32_t b = 0; b < n; ++b) {
                const float x = levels[r], y = float(g) / float(n - 1), z = float(b) / float(n - 1);
                grid[e++] = tone(0.92f * x + 0.08f * y, 0.04f, 1.0f);
                grid[e++] = tone(y, 0.03f, 0.98f);
                grid[e++] = tone(0.1f * x + 0.9f * z, 0.06f, 0.9f);
            }
    }
    return lutTableCreate(levels.data(), n, grid.data());
}

// A tightly packed NV12 frame of gradients with sensor-like noise.
struct Frame {
    std::vector<uint8_t> luma, chroma;
    LutImage image = {};

    Frame(uint32_t w, uint32_t h) : luma(size_t(w) * h), chroma(size_t(w) * (h / 2))
    {
        std::mt19937 rng(7);
        std::uniform_int_distribution<int> noise(-5, 5);
        for (uint32_t y = 0; y < h; ++y)
            for (uint32_t x = 0; x < w; ++x)
                luma[size_t(y) * w + x] = uint8_t(std::clamp(int(16 + x * 200 / w + y * 20 / h) + noise(rng), 0, 255));
        for (uint32_t y = 0; y < h / 2; ++y)
            for (uint32_t x = 0; x < w; x += 2) {
                chroma[size_t(y) * w + x] = uint8_t(std::clamp(110 + int(y * 80 / h) + noise(rng), 0, 255));
                chroma[size_t(y) * w + x + 1] = uint8_t(std::clamp(160 - int(x * 60 / w) + noise(rng), 0, 255));
            }
        image.planes[0] = luma.data();
        image.planes[1] = chroma.data();
        image.strides[0] = int32_t(w);
        image.strides[1] = int32_t(w);
    }
    size_t bytes() const { return luma.size() + chroma.size(); }
};

void report(benchmark::State& state, uint32_t width, uint32_t height, size_t bytes)
{
    state.counters["Mpixels"] = benchmark::Counter(double(width) * height / 1e6,
                                                   benchmark::Counter::kIsIterationInvariantRate);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes));
}

// The vector kernel through OxcLut3DRenderEffect; threads 0 is one worker
// per online processor.
void render(benchmark::State& state, uint32_t width, uint32_t height)
{
    const uint32_t threads = uint32_t(state.range(0));
    Lut3DTable* table = makeGrade();
    Lut3DEffect* effect = OxcLut3DCreateEffect(threads);
    Frame src(width, height), dst(width, height);
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
        report(state, width, height, src.bytes());
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
    Lut3DTable* table = makeGrade();
    Lut3DEffect* effect = OxcLut3DCreateEffect(1);
    Frame src(width, height), dst(width, height);
    if (!table || !effect
        || OxcLut3DRenderEffect(effect, table, &src.image, &dst.image, OXC_LUT_NV12, OXC_LUT_BT709,
                                OXC_LUT_RANGE_LIMITED, width, height, 0) != 1) {
        state.SkipWithError("set-up failed");
    } else {
        for (auto _ : state) {
            lutRenderRowsWith(effect, 0, height, lutRowPairReference);
            benchmark::ClobberMemory();
        }
        report(state, width, height, src.bytes());
    }
    OxcLut3DDestroyEffect(effect);
    lutTableDestroy(table);
}

void copyFrame(benchmark::State& state, uint32_t width, uint32_t height)
{
    Frame src(width, height), dst(width, height);
    for (auto _ : state) {
        memcpy(dst.luma.data(), src.luma.data(), src.luma.size());
        memcpy(dst.chroma.data(), src.chroma.data(), src.chroma.size());
        benchmark::ClobberMemory();
    }
    report(state, width, height, src.bytes());
}

} // namespace

BENCHMARK_CAPTURE(copyFrame, memcpy_1080p, 1920, 1080)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(copyFrame, memcpy_4k, 3840, 2160)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(render, vector_1080p, 1920, 1080)->ArgName("threads")->Arg(1)->Arg(0)->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(render, vector_4k, 3840, 2160)->ArgName("threads")->Arg(1)->Arg(0)->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(renderScalar, scalar_1080p, 1920, 1080)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(renderScalar, scalar_4k, 3840, 2160)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
