// Test helpers for rendering: frames with guarded stride padding, tables of
// a given size, and an effect set up for one render without a worker pool.
#ifndef LUTFRAMETEST_H
#define LUTFRAMETEST_H

#include "lut/kernels/lutkernel.h"
#include "lut/lut3deffect.h"
#include "lut/lut3dtable.h"
#include "lut/lutcolorcoefficients.h"
#include "lut/lutmemory.h"
#include "lut/oxlut3d.h"

#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

namespace luttest {

constexpr uint8_t kGuard = 0xA7;

// An NV12/NV21 frame. Bytes between the end of a row and the next row are a
// guard pattern that rendering must never touch. Each plane ends exactly at
// its last row's last byte, so a read beyond the frame is caught by
// AddressSanitizer.
struct Frame {
    uint32_t width = 0, height = 0;
    int32_t lumaStride = 0, chromaStride = 0;
    std::vector<uint8_t> luma, chroma;

    Frame(uint32_t w, uint32_t h, uint32_t lumaPadding, uint32_t chromaPadding)
        : width(w), height(h), lumaStride(int32_t(w + lumaPadding)),
          chromaStride(int32_t(chromaRowBytes(w) + chromaPadding)),
          luma(size_t(lumaStride) * (h - 1) + w, kGuard),
          chroma(size_t(chromaStride) * (chromaRows() - 1) + chromaRowBytes(w), kGuard)
    {
    }

    static uint32_t chromaRowBytes(uint32_t w) { return (w + 1) & ~1u; }
    uint32_t chromaRows() const { return (height + 1) / 2; }
    uint8_t* y(uint32_t row) { return luma.data() + size_t(lumaStride) * row; }
    uint8_t* uv(uint32_t row) { return chroma.data() + size_t(chromaStride) * row; }
    const uint8_t* y(uint32_t row) const { return luma.data() + size_t(lumaStride) * row; }
    const uint8_t* uv(uint32_t row) const { return chroma.data() + size_t(chromaStride) * row; }

    // Fills the pixels (not the padding) with random bytes.
    void randomize(std::mt19937& rng)
    {
        std::uniform_int_distribution<int> byte(0, 255);
        for (uint32_t r = 0; r < height; ++r)
            for (uint32_t x = 0; x < width; ++x)
                y(r)[x] = uint8_t(byte(rng));
        for (uint32_t r = 0; r < chromaRows(); ++r)
            for (uint32_t x = 0; x < chromaRowBytes(width); ++x)
                uv(r)[x] = uint8_t(byte(rng));
    }

    // Sets every pixel of the frame to one colour.
    void fill(uint8_t luma0, uint8_t c0, uint8_t c1)
    {
        for (uint32_t r = 0; r < height; ++r)
            memset(y(r), luma0, width);
        for (uint32_t r = 0; r < chromaRows(); ++r)
            for (uint32_t x = 0; x < chromaRowBytes(width); x += 2) {
                uv(r)[x] = c0;
                uv(r)[x + 1] = c1;
            }
    }

    // Copies the pixels of another frame of the same size.
    void copyPixels(Frame& other)
    {
        for (uint32_t r = 0; r < height; ++r)
            memcpy(y(r), other.y(r), width);
        for (uint32_t r = 0; r < chromaRows(); ++r)
            memcpy(uv(r), other.uv(r), chromaRowBytes(width));
    }

    bool paddingIntact()
    {
        for (uint32_t r = 0; r + 1 < height; ++r)
            for (int32_t x = int32_t(width); x < lumaStride; ++x)
                if (y(r)[x] != kGuard)
                    return false;
        for (uint32_t r = 0; r + 1 < chromaRows(); ++r)
            for (int32_t x = int32_t(chromaRowBytes(width)); x < chromaStride; ++x)
                if (uv(r)[x] != kGuard)
                    return false;
        return true;
    }

    // Pixels equal (padding is not compared).
    bool samePixels(const Frame& other) const
    {
        for (uint32_t r = 0; r < height; ++r)
            if (memcmp(y(r), other.y(r), width) != 0)
                return false;
        for (uint32_t r = 0; r < chromaRows(); ++r)
            if (memcmp(uv(r), other.uv(r), chromaRowBytes(width)) != 0)
                return false;
        return true;
    }

    // The same memory seen as a bottom-up frame: the plane pointers at the
    // last rows, the strides negative. Its row r is this frame's row
    // height - 1 - r.
    LutImage bottomUpImage()
    {
        LutImage img = {};
        img.planes[0] = y(height - 1);
        img.planes[1] = uv(chromaRows() - 1);
        img.strides[0] = -lumaStride;
        img.strides[1] = -chromaStride;
        return img;
    }

    // A frame whose rows are this frame's in reverse order.
    Frame mirrored()
    {
        Frame out(width, height, uint32_t(lumaStride) - width, uint32_t(chromaStride) - chromaRowBytes(width));
        for (uint32_t r = 0; r < height; ++r)
            memcpy(out.y(r), y(height - 1 - r), width);
        for (uint32_t r = 0; r < chromaRows(); ++r)
            memcpy(out.uv(r), uv(chromaRows() - 1 - r), chromaRowBytes(width));
        return out;
    }

    LutImage image()
    {
        LutImage img = {};
        img.planes[0] = luma.data();
        img.planes[1] = chroma.data();
        img.strides[0] = lumaStride;
        img.strides[1] = chromaStride;
        return img;
    }
};

struct TableDeleter {
    void operator()(Lut3DTable* t) const { lutTableDestroy(t); }
};
using TablePtr = std::unique_ptr<Lut3DTable, TableDeleter>;

// A table with the layouts of every kernel that runs here, so that each
// kernel takes its own path (lutTableCreate builds only the renderer's).
inline TablePtr withKernelLayouts(Lut3DTable* table)
{
    uint32_t layouts = kLutLayoutNeon;
#if LUT_HAVE_AVX2_KERNEL
    if (lutAvx2Supported())
        layouts |= kLutLayoutAvx2;
#endif
    if (table && !lutTableAddLayouts(table, layouts)) {
        lutTableDestroy(table);
        table = nullptr;
    }
    return TablePtr(table);
}

// Evenly spaced levels 0, 1/(n-1), ..., 1.
inline std::vector<float> evenLevels(uint32_t n)
{
    std::vector<float> levels(n, 0.0f);
    for (uint32_t i = 1; i < n; ++i)
        levels[i] = float(i) / float(n - 1);
    return levels;
}

// Uneven levels that start above 0 and end below 1, so the per-value map also
// has entries below the first and above the last level.
inline std::vector<float> unevenLevels(uint32_t n)
{
    std::vector<float> levels(n, 0.03f);
    for (uint32_t i = 1; i < n; ++i)
        levels[i] = 0.03f + 0.94f * std::pow(float(i) / float(n - 1), 1.7f);
    return levels;
}

// A table whose entry (r, g, b) is (step * r, step * g, step * b), clamped to
// 255: with step = 255 / (n - 1) rounded up, an identity.
inline TablePtr identityTable(uint32_t n, const std::vector<float>& levels, uint32_t step)
{
    std::vector<uint8_t> grid(size_t(n) * n * n * 3);
    auto level = [&](uint32_t i) { return uint8_t(std::min(255u, i * step)); };
    size_t e = 0;
    for (uint32_t r = 0; r < n; ++r)
        for (uint32_t g = 0; g < n; ++g)
            for (uint32_t b = 0; b < n; ++b) {
                grid[e++] = level(r);
                grid[e++] = level(g);
                grid[e++] = level(b);
            }
    return withKernelLayouts(lutTableCreate(levels.data(), n, grid.data()));
}

inline TablePtr randomTable(uint32_t n, const std::vector<float>& levels, std::mt19937& rng)
{
    std::vector<uint8_t> grid(size_t(n) * n * n * 3);
    std::uniform_int_distribution<int> byte(0, 255);
    for (uint8_t& v : grid)
        v = uint8_t(byte(rng));
    return withKernelLayouts(lutTableCreate(levels.data(), n, grid.data()));
}

// An effect without a pool, set up for one render as the dispatch would: the
// arguments stored, the coefficient record filled.
class Effect {
public:
    Effect() : m_coefficients(static_cast<LutColorCoefficients*>(lutAlignedAlloc(sizeof(LutColorCoefficients))))
    {
        memset(m_coefficients, 0, sizeof(LutColorCoefficients));
        m_effect.coefficients = m_coefficients;
    }
    ~Effect() { lutAlignedFree(m_coefficients); }
    Effect(const Effect&) = delete;
    Effect& operator=(const Effect&) = delete;

    Lut3DEffect* setUp(const Lut3DTable* table, Frame& src, Frame& dst, uint32_t pixelFormat,
                       uint32_t colorStandard, uint32_t range)
    {
        m_src = src.image();
        m_dst = dst.image();
        m_effect.table = table;
        m_effect.src = &m_src;
        m_effect.dst = &m_dst;
        m_effect.pixelFormat = pixelFormat;
        m_effect.colorStandard = colorStandard;
        m_effect.range = range;
        m_effect.width = src.width;
        m_effect.height = src.height;
        lutColorCoefficientsFill(m_coefficients, colorStandard, range, table);
        return &m_effect;
    }

private:
    LutColorCoefficients* m_coefficients;
    Lut3DEffect m_effect = {};
    LutImage m_src = {}, m_dst = {};
};

} // namespace luttest

#endif // LUTFRAMETEST_H
