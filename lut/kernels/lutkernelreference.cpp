// The scalar reference kernel: one 2x2 block at a time, one small function
// per step of the pipeline
//   YUV -> RGB -> trilinear LUT lookup -> luma per pixel, chroma per block.
// Every shift, truncation and saturation here defines the output bytes; the
// NEON kernel reproduces them exactly.
//
// Odd widths: the last block then has one real column. Its missing right
// column takes the luma of the last real column (and the block's chroma), so
// the block's chroma averages the last column twice. The NEON kernel uses the
// same rule.
#include "lut/kernels/lutkernel.h"

#include "lut/lut3deffect.h"
#include "lut/lut3dtable.h"
#include "lut/lutcolorcoefficients.h"

namespace {

// Right shifts of negative values below must round towards minus infinity.
static_assert((-7 >> 2) == -2, "arithmetic right shift required");

struct Rgb {
    int r, g, b;
};

// The chroma contributions of one block, shared by its four pixels (Q13
// products scaled down to the luma term's units).
struct ChromaTerms {
    int r, g, b;
};

// A channel value's place in the grid: lower level and 1/128 fraction.
struct GridPosition {
    uint32_t index, fraction;
};

int clamp(int value, int low, int high)
{
    return value < low ? low : (value > high ? high : value);
}

ChromaTerms chromaTerms(const LutColorCoefficients& k, int u, int v)
{
    u -= k.chromaOffset[0];
    v -= k.chromaOffset[0];
    return {(v * k.vToR[0]) >> 11, ((v * k.vToG[0]) >> 11) + ((u * k.uToG[0]) >> 11), (u * k.uToB[0]) >> 11};
}

Rgb yuvToRgb(const LutColorCoefficients& k, int y, const ChromaTerms& c)
{
    const int yt = ((y - k.lumaOffset[0]) * k.lumaGain[0]) >> 11;
    return {clamp((yt + c.r + 2) >> 2, 0, 255), clamp((yt - c.g + 2) >> 2, 0, 255),
            clamp((yt + c.b + 2) >> 2, 0, 255)};
}

GridPosition gridPosition(const Lut3DTable& table, const LutColorCoefficients& k, int value)
{
    if (table.uniform) {
        const uint32_t scaled = uint32_t(value) * k.levelScale[0];
        return {scaled >> 15, (scaled >> 8) & 127};
    }
    const LutLevelIndex::Entry& entry = table.levelIndex->entries[value];
    return {entry.index, entry.fraction};
}

// Linear step between two 8-bit values, truncated.
int lerp(int low, int high, uint32_t fraction)
{
    return (high * int(fraction) + low * int(128 - fraction)) >> 7;
}

// Trilinear interpolation of one output channel (0 R, 1 G, 2 B) around the
// cell at base: along red, then green, then blue.
int interpolate(const Lut3DTable& table, const uint8_t* base, int channel, const GridPosition& r,
                const GridPosition& g, const GridPosition& b)
{
    auto corner = [&](uint32_t dr, uint32_t dg, uint32_t db) {
        return int(base[dr * table.planeStride + dg * table.rowStride + db * 4 + channel]);
    };
    const int a00 = lerp(corner(0, 0, 0), corner(1, 0, 0), r.fraction);
    const int a01 = lerp(corner(0, 0, 1), corner(1, 0, 1), r.fraction);
    const int a10 = lerp(corner(0, 1, 0), corner(1, 1, 0), r.fraction);
    const int a11 = lerp(corner(0, 1, 1), corner(1, 1, 1), r.fraction);
    const int b0 = lerp(a00, a10, g.fraction);
    const int b1 = lerp(a01, a11, g.fraction);
    return lerp(b0, b1, b.fraction);
}

Rgb lookUp(const Lut3DTable& table, const LutColorCoefficients& k, const Rgb& in)
{
    const GridPosition r = gridPosition(table, k, in.r);
    const GridPosition g = gridPosition(table, k, in.g);
    const GridPosition b = gridPosition(table, k, in.b);
    const uint8_t* base = table.grid + r.index * table.planeStride + g.index * table.rowStride + b.index * 4;
    return {interpolate(table, base, 0, r, g, b), interpolate(table, base, 1, r, g, b),
            interpolate(table, base, 2, r, g, b)};
}

uint8_t rgbToLuma(const LutColorCoefficients& k, const Rgb& p)
{
    return uint8_t(((k.rToY[0] * p.r + k.gToY[0] * p.g + k.bToY[0] * p.b + 128) >> 8) + k.lumaOffset[0]);
}

// sats8((x + 128) >> 8) + 128
uint8_t chromaByte(int x)
{
    return uint8_t(clamp((x + 128) >> 8, -128, 127) + 128);
}

// Writes the block's chroma pair from the average of its four mapped pixels.
void rgbToChroma(const LutColorCoefficients& k, const Rgb (&p)[4], bool nv21, uint8_t* pair)
{
    const int r = (p[0].r + p[1].r + p[2].r + p[3].r + 2) >> 2;
    const int g = (p[0].g + p[1].g + p[2].g + p[3].g + 2) >> 2;
    const int b = (p[0].b + p[1].b + p[2].b + p[3].b + 2) >> 2;
    const int u = k.bToU[0] * b - (k.rToU[0] * r + k.gToU[0] * g);
    const int v = k.rToV[0] * r - (k.gToV[0] * g + k.bToV[0] * b);
    pair[nv21 ? 1 : 0] = chromaByte(u);
    pair[nv21 ? 0 : 1] = chromaByte(v);
}

} // namespace

void lutRowPairReference(const Lut3DEffect* effect, const uint8_t* srcA, const uint8_t* srcB,
                         const uint8_t* srcUV, uint8_t* dstA, uint8_t* dstB, uint8_t* dstUV, bool nv21)
{
    const LutColorCoefficients& k = *effect->coefficients;
    const Lut3DTable& table = *effect->table;
    const uint32_t width = effect->width;
    for (uint32_t x = 0; x < width; x += 2) {
        // Read the whole block before writing any of it: the destination may
        // be the source.
        const bool twoColumns = x + 1 < width;
        const int y00 = srcA[x], y01 = twoColumns ? srcA[x + 1] : y00;
        const int y10 = srcB[x], y11 = twoColumns ? srcB[x + 1] : y10;
        const int u = srcUV[x + (nv21 ? 1 : 0)];
        const int v = srcUV[x + (nv21 ? 0 : 1)];

        const ChromaTerms terms = chromaTerms(k, u, v);
        const Rgb mapped[4] = {
            lookUp(table, k, yuvToRgb(k, y00, terms)), lookUp(table, k, yuvToRgb(k, y01, terms)),
            lookUp(table, k, yuvToRgb(k, y10, terms)), lookUp(table, k, yuvToRgb(k, y11, terms))};

        dstA[x] = rgbToLuma(k, mapped[0]);
        dstB[x] = rgbToLuma(k, mapped[2]);
        if (twoColumns) {
            dstA[x + 1] = rgbToLuma(k, mapped[1]);
            dstB[x + 1] = rgbToLuma(k, mapped[3]);
        }
        rgbToChroma(k, mapped, nv21, dstUV + x);
    }
}
