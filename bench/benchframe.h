// What the frame benchmarks share: a realistic grade, a camera-like NV12
// frame, the megapixel counter, and the memcpy of a frame that every render
// figure is read against.
#ifndef BENCH_BENCHFRAME_H
#define BENCH_BENCHFRAME_H

#include "lut/lut3dtable.h"
#include "lut/oxlut3d.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

// A warm, slightly contrasty grade on n evenly spaced levels, like a real look.
inline Lut3DTable* benchMakeGrade(uint32_t n)
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
    // Every kernel's layout: the benchmarks run each kernel, not only the
    // one that renders here.
    Lut3DTable* table = lutTableCreate(levels.data(), n, grid.data());
    if (table && !lutTableAddLayouts(table, kLutLayoutNeon | lutTableDefaultLayouts())) {
        lutTableDestroy(table);
        return nullptr;
    }
    return table;
}

// A tightly packed NV12 frame of smooth gradients with a little noise, as a
// camera gives.
struct BenchFrame {
    std::vector<uint8_t> luma, chroma;
    LutImage image = {};

    BenchFrame(uint32_t w, uint32_t h) : luma(size_t(w) * h), chroma(size_t(w) * (h / 2))
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

// Megapixels per second, and bytes per second of frame data.
inline void benchReportFrame(benchmark::State& state, uint32_t width, uint32_t height, size_t bytes)
{
    state.counters["Mpixels"] = benchmark::Counter(double(width) * height / 1e6,
                                                   benchmark::Counter::kIsIterationInvariantRate);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes));
}

// The floor any render is measured against: copying the frame's bytes.
inline void benchCopyFrame(benchmark::State& state, uint32_t width, uint32_t height)
{
    BenchFrame src(width, height), dst(width, height);
    for (auto _ : state) {
        std::memcpy(dst.luma.data(), src.luma.data(), src.luma.size());
        std::memcpy(dst.chroma.data(), src.chroma.data(), src.chroma.size());
        benchmark::ClobberMemory();
    }
    benchReportFrame(state, width, height, src.bytes());
}

#endif // BENCH_BENCHFRAME_H
