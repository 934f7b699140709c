// Row-pair kernels on whole NV12 frames, one thread: megapixels per second
// for the NEON and the scalar kernel through a 33-point table, and, for
// scale, a memcpy of the same frame (luma and chroma bytes).
#include "lut/kernels/lutkernel.h"
#include "lut/lut3deffect.h"
#include "lut/lut3dtable.h"
#include "lut/lutcolorcoefficients.h"
#include "lut/lutmemory.h"
#include "lut/lutrender.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

namespace {

// A warm, slightly contrasty grade on evenly spaced levels, like a real look.
Lut3DTable* makeGrade(uint32_t n)
{
    std::vector<float> levels(n);
    std::vector<uint8_t> grid(size_t(n) * n * n * 3);
    auto curve = [](float x, float gain) {
        const float s = x * x * (3.0f - 2.0f * x); // smoothstep contrast
        return uint8_t(std::min(255.0f, (0.6f * x + 0.4f * s) * gain * 255.0f + 0.5f));
    };
    size_t e = 0;
    for (uint32_t r = 0; r < n; ++r) {
        levels[r] = float(r) / float(n - 1);
        for (uint32_t g = 0; g < n; ++g)
            for (uint32_t b = 0; b < n; ++b) {
                const float x = float(r) / float(n - 1), y = float(g) / float(n - 1), z = float(b) / float(n - 1);
                grid[e++] = curve(0.9f * x + 0.1f * y, 1.05f);
                grid[e++] = curve(y, 1.0f);
                grid[e++] = curve(0.1f * y + 0.9f * z, 0.92f);
            }
    }
    return lutTableCreate(levels.data(), n, grid.data());
}

// An NV12 frame of smooth gradients with a little noise, as a camera gives.
struct Frame {
    uint32_t width, height;
    std::vector<uint8_t> luma, chroma;
    LutImage image = {};

    Frame(uint32_t w, uint32_t h) : width(w), height(h), luma(size_t(w) * h), chroma(size_t(w) * (h / 2))
    {
        std::mt19937 rng(42);
        std::uniform_int_distribution<int> noise(-6, 6);
        for (uint32_t y = 0; y < h; ++y)
            for (uint32_t x = 0; x < w; ++x)
                luma[size_t(y) * w + x] = uint8_t(std::clamp(int(x * 220 / w + y * 30 / h) + noise(rng), 0, 255));
        for (uint32_t y = 0; y < h / 2; ++y)
            for (uint32_t x = 0; x < w; x += 2) {
                chroma[size_t(y) * w + x] = uint8_t(std::clamp(100 + int(y * 60 / h) + noise(rng), 0, 255));
                chroma[size_t(y) * w + x + 1] = uint8_t(std::clamp(150 - int(x * 50 / w) + noise(rng), 0, 255));
            }
        image.planes[0] = luma.data();
        image.planes[1] = chroma.data();
        image.strides[0] = int32_t(w);
        image.strides[1] = int32_t(w);
    }
    size_t bytes() const { return luma.size() + chroma.size(); }
};

void reportFrame(benchmark::State& state, uint32_t width, uint32_t height, size_t bytes)
{
    // Megapixels per second.
    state.counters["Mpixels"] = benchmark::Counter(double(width) * height / 1e6,
                                                   benchmark::Counter::kIsIterationInvariantRate);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes));
}

void renderFrame(benchmark::State& state, LutRowPairKernel kernel, uint32_t width, uint32_t height)
{
    Lut3DTable* table = makeGrade(33);
    auto* coefficients = static_cast<LutColorCoefficients*>(lutAlignedAlloc(sizeof(LutColorCoefficients)));
    if (!table || !coefficients) {
        state.SkipWithError("out of memory");
        lutTableDestroy(table);
        lutAlignedFree(coefficients);
        return;
    }
    lutColorCoefficientsFill(coefficients, 1, 0, table);
    Frame src(width, height), dst(width, height);
    Lut3DEffect effect = {};
    effect.coefficients = coefficients;
    effect.table = table;
    effect.src = &src.image;
    effect.dst = &dst.image;
    effect.pixelFormat = 0;
    effect.colorStandard = 1;
    effect.width = width;
    effect.height = height;
    for (auto _ : state) {
        lutRenderRowsWith(&effect, 0, height, kernel);
        benchmark::ClobberMemory();
    }
    reportFrame(state, width, height, src.bytes());
    lutAlignedFree(coefficients);
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
    reportFrame(state, width, height, src.bytes());
}

} // namespace

BENCHMARK_CAPTURE(copyFrame, memcpy_1080p, 1920, 1080)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(copyFrame, memcpy_4k, 3840, 2160)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(renderFrame, neon_1080p, lutRowPairNeon, 1920, 1080)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(renderFrame, neon_4k, lutRowPairNeon, 3840, 2160)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(renderFrame, scalar_1080p, lutRowPairReference, 1920, 1080)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(renderFrame, scalar_4k, lutRowPairReference, 3840, 2160)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
