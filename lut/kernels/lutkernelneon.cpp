// The NEON row-pair kernel. A row pair is processed in column tiles; each tile
// goes through three passes over an RGB scratch buffer on the stack:
//   1. luma and chroma to RGB, 8 pixels of both rows per step;
//   2. every RGB pixel of each scratch row through the table (row LUT kernel,
//      which reads the table's NEON layout; tables without it are handed to
//      the reference kernel);
//   3. RGB back to luma per pixel and to chroma per 2x2 block.
// The arithmetic is that of the scalar reference kernel, lane by lane; every
// intermediate fits 16 bits, so each vector carries 8 pixels.
//
// The scratch rows hold 3 bytes per pixel, stored per block of 8 pixels as
// 8 R, 8 G, 8 B, so every pass moves whole vectors in and out without an
// interleaving step. Rows are padded to whole blocks and start on a cache line.
//
// Tiles bound the stack whatever the frame width. They change no output byte
// (every value depends only on its own 2x2 block, and tiles hold whole blocks)
// and keep in-place rendering safe: a tile's source columns are all read in
// pass 1 before pass 3 writes those same columns, and later tiles read only
// columns that have not been written.
//
// A width that is not a multiple of 8 ends with a partial block, converted
// through 8-byte temporaries. Missing columns repeat the last real column, as
// in the reference kernel (for an odd width this is the column whose luma the
// last block's chroma averages in).
#include "lut/kernels/lutkernel.h"

#include "lut/kernels/lutsimd.h"
#include "lut/lut3deffect.h"
#include "lut/lut3dtable.h"
#include "lut/lutcolorcoefficients.h"

#include <cstring>

using namespace lutsimd;

namespace {

// Pixels per tile: a multiple of 8; the scratch rows stay in the L1 cache.
constexpr uint32_t kTilePixels = 256;
// Bytes per scratch row: 3 per pixel, rounded up to a cache line.
constexpr uint32_t kScratchStride = (3 * kTilePixels + 63) & ~63u;

// ---- Scratch blocks ----

LUT_INLINE uint8x8x3_t loadBlock(const uint8_t* rgb)
{
    uint8x8x3_t block;
    block.val[0] = vld1_u8(rgb);
    block.val[1] = vld1_u8(rgb + 8);
    block.val[2] = vld1_u8(rgb + 16);
    return block;
}

LUT_INLINE void storeBlock(uint8_t* rgb, uint8x8_t r, uint8x8_t g, uint8x8_t b)
{
    vst1_u8(rgb, r);
    vst1_u8(rgb + 8, g);
    vst1_u8(rgb + 16, b);
}

// ---- Pass 1: luma and chroma to RGB ----

// Pass 1 constants, loaded from the lane-replicated record.
struct ToRgbConstants {
    uint8x8_t lumaOffset, chromaOffset;
    int16x8_t lumaGain, vToR, uToG, vToG, uToB;
};

ToRgbConstants toRgbConstants(const LutColorCoefficients& k)
{
    return {vld1_u8(k.lumaOffset),
            vld1_u8(k.chromaOffset),
            vreinterpretq_s16_u16(vld1q_u16(k.lumaGain)),
            vreinterpretq_s16_u16(vld1q_u16(k.vToR)),
            vreinterpretq_s16_u16(vld1q_u16(k.uToG)),
            vreinterpretq_s16_u16(vld1q_u16(k.vToG)),
            vreinterpretq_s16_u16(vld1q_u16(k.uToB))};
}

// (value - offset) << 4 as signed 16 bits, ready for the doubling multiply
// high: mulHighDoubled(x << 4, gain) == floor(x * gain / 2048).
LUT_INLINE int16x8_t centred(uint8x8_t value, uint8x8_t offset)
{
    return vreinterpretq_s16_u16(vshlq_n_u16(subWide(value, offset), 4));
}

// R, G, B = sat8((yt + chroma term + 2) >> 2) for 8 pixels of one row.
LUT_INLINE void lumaToRgb(const ToRgbConstants& k, uint8x8_t y, int16x8_t rt, int16x8_t gt, int16x8_t bt,
                          uint8_t* rgb)
{
    const int16x8_t yt = mulHighDoubled(centred(y, k.lumaOffset), k.lumaGain);
    storeBlock(rgb, narrowRoundUnsigned<2>(vaddq_s16(yt, rt)), narrowRoundUnsigned<2>(vsubq_s16(yt, gt)),
               narrowRoundUnsigned<2>(vaddq_s16(yt, bt)));
}

// 8 pixels of rows A and B with their 4 chroma pairs.
template <bool kNv21>
LUT_INLINE void blockToRgb(const ToRgbConstants& k, uint8x8_t yA, uint8x8_t yB, uint8x8_t uv, uint8_t* rgbA,
                           uint8_t* rgbB)
{
    // val[0] holds the first byte of each pair twice, val[1] the second.
    const uint8x8x2_t split = vtrn_u8(uv, uv);
    const int16x8_t u = centred(split.val[kNv21 ? 1 : 0], k.chromaOffset);
    const int16x8_t v = centred(split.val[kNv21 ? 0 : 1], k.chromaOffset);
    const int16x8_t rt = mulHighDoubled(v, k.vToR);
    const int16x8_t gt = vaddq_s16(mulHighDoubled(v, k.vToG), mulHighDoubled(u, k.uToG));
    const int16x8_t bt = mulHighDoubled(u, k.uToB);
    lumaToRgb(k, yA, rt, gt, bt, rgbA);
    lumaToRgb(k, yB, rt, gt, bt, rgbB);
}

// Whole blocks; one copy of the loop per chroma order.
template <bool kNv21>
void blocksToRgb(const ToRgbConstants& k, const uint8_t* srcA, const uint8_t* srcB, const uint8_t* srcUV,
                 uint32_t blocks, uint8_t* rgbA, uint8_t* rgbB)
{
    for (uint32_t i = 0; i < blocks; ++i, srcA += 8, srcB += 8, srcUV += 8, rgbA += 24, rgbB += 24) {
        LUT_MCA_LOOP("to-rgb", kNv21, 16);
        blockToRgb<kNv21>(k, vld1_u8(srcA), vld1_u8(srcB), vld1_u8(srcUV), rgbA, rgbB);
    }
}

// Copies count (1..7) bytes and fills the rest of the 8 by repeating the last
// `unit` bytes copied (1 for luma, 2 for chroma pairs).
LUT_INLINE uint8x8_t loadPartial(const uint8_t* src, uint32_t count, uint32_t unit)
{
    alignas(8) uint8_t bytes[8];
    memcpy(bytes, src, count);
    for (uint32_t i = count; i < 8; ++i)
        bytes[i] = bytes[i - unit];
    return vld1_u8(bytes);
}

// Pass 1 over `width` pixels: whole blocks, then a padded partial block, so
// the scratch rows hold (width + 7) & ~7 pixels.
void rowPairToRgb(const ToRgbConstants& k, bool nv21, const uint8_t* srcA, const uint8_t* srcB,
                  const uint8_t* srcUV, uint32_t width, uint8_t* rgbA, uint8_t* rgbB)
{
    const uint32_t blocks = width >> 3;
    if (nv21)
        blocksToRgb<true>(k, srcA, srcB, srcUV, blocks, rgbA, rgbB);
    else
        blocksToRgb<false>(k, srcA, srcB, srcUV, blocks, rgbA, rgbB);
    const uint32_t rem = width & 7;
    if (rem == 0)
        return;
    const uint32_t x = blocks * 8;
    const uint8x8_t yA = loadPartial(srcA + x, rem, 1);
    const uint8x8_t yB = loadPartial(srcB + x, rem, 1);
    const uint8x8_t uv = loadPartial(srcUV + x, (rem + 1) & ~1u, 2);
    if (nv21)
        blockToRgb<true>(k, yA, yB, uv, rgbA + 3 * x, rgbB + 3 * x);
    else
        blockToRgb<false>(k, yA, yB, uv, rgbA + 3 * x, rgbB + 3 * x);
}

// ---- Pass 2: the row LUT kernel ----
//
// Blocks of 8 pixels, from the table's NEON layout (lut3dtable.h):
//   1. locate: per pixel, the sum of one position entry per channel gives the
//      byte offset of its grid point and its three fractions (scalar loads);
//   2. load: the point's 24 corner bytes, channels 0 and 1 in one vector and
//      channel 2 in another;
//   3. transpose: three rounds of zips turn 8 pixels of 8 corner bytes per
//      channel into vectors that hold one corner of one channel for all 8
//      pixels, the two red neighbours in the low and high halves;
//   4. interpolate along red, green and blue, each stage one widening
//      multiply and one multiply-accumulate of 8 lanes, narrowed by 7.
// Nothing goes through the stack, and two blocks are mapped per step so that
// the latency chains of one fill the gaps of the other.

struct TableView {
    const uint8_t* corners;
    const uint64_t (*positions)[256]; // by scale or by map, per channel
};

// Each pixel's point offset (bits 0..31) and fractions (bits 32..55).
LUT_INLINE void locate(const TableView& t, const uint8_t* rgb, uint64_t (&where)[8])
{
    static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "pixel p is byte p of a 64-bit load");
    uint64_t r, g, b;
    memcpy(&r, rgb, 8);
    memcpy(&g, rgb + 8, 8);
    memcpy(&b, rgb + 16, 8);
#pragma GCC unroll 8
    for (uint32_t p = 0; p < 8; ++p)
        where[p] = t.positions[0][(r >> 8 * p) & 255] + t.positions[1][(g >> 8 * p) & 255] +
                   t.positions[2][(b >> 8 * p) & 255];
}

// Weights of one interpolation stage: the fraction f (in both halves, for the
// multiply-accumulate of high halves) and 128 - f.
struct Weights {
    uint8x16_t f;
    uint8x8_t rest;
};

LUT_INLINE Weights weights(uint8x16_t f)
{
    return {f, vsub_u8(vdup_n_u8(128), vget_low_u8(f))};
}

// The fractions of the 8 pixels, from bytes 4, 5 and 6 of their words: the
// words' upper halves (fR, fG, fB, 0 per pixel) are unzipped by bytes into
// vectors of 8 pixels, each repeated in both halves.
LUT_INLINE void fractions(const uint64_t (&where)[8], Weights* red, Weights* green, Weights* blue)
{
    uint32x4_t high[2];
#pragma GCC unroll 2
    for (int h = 0; h < 2; ++h) {
        const uint64x2_t w01 = combineWords(where[4 * h], where[4 * h + 1]);
        const uint64x2_t w23 = combineWords(where[4 * h + 2], where[4 * h + 3]);
        high[h] = vuzp2q_u32(vreinterpretq_u32_u64(w01), vreinterpretq_u32_u64(w23));
    }
    const uint8x16_t even = vuzp1q_u8(vreinterpretq_u8_u32(high[0]), vreinterpretq_u8_u32(high[1]));
    const uint8x16_t odd = vuzp2q_u8(vreinterpretq_u8_u32(high[0]), vreinterpretq_u8_u32(high[1]));
    *red = weights(vuzp1q_u8(even, even));
    *green = weights(vuzp1q_u8(odd, odd));
    *blue = weights(vuzp2q_u8(even, even));
}

// One stage on 8 lanes: (low * (128 - f) + high * f) >> 7.
LUT_INLINE uint8x8_t lerp(uint8x8_t low, uint8x8_t high, const Weights& w)
{
    return narrowShift<7>(mulAddWide(mulWide(low, w.rest), high, vget_low_u8(w.f)));
}

// The same for `pair` = [low | high].
LUT_INLINE uint8x8_t lerpHalves(uint8x16_t pair, const Weights& w)
{
    return narrowShift<7>(mulAddWide(mulWide(vget_low_u8(pair), w.rest), vget_high_u8(pair), vget_high_u8(w.f)));
}

// Maps 8 pixels through the table.
LUT_INLINE uint8x8x3_t mapBlock(const TableView& t, const uint8_t* rgb)
{
    uint64_t where[8];
    locate(t, rgb, where);
    uint8x16_t rows[2][8]; // per pixel: channels 0 and 1; channel 2 in the low half
#pragma GCC unroll 8
    for (int p = 0; p < 8; ++p) {
        const uint8_t* point = t.corners + uint32_t(where[p]);
        rows[0][p] = vld1q_u8(point);
        rows[1][p] = loadLow(point + 16);
    }
    Weights red, green, blue;
    fractions(where, &red, &green, &blue);

    // Transpose: bytes of pixel pairs, then 16-bit pairs of 4 pixels, then
    // 32-bit groups of 8 pixels. corner[c][m] = [dr = 0 | dr = 1] of corner
    // m = dg + 2 * db of channel c, pixel p in lane p of each half.
    uint8x16_t pairs[3][4];
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) {
        pairs[0][k] = vzip1q_u8(rows[0][2 * k], rows[0][2 * k + 1]);
        pairs[1][k] = vzip2q_u8(rows[0][2 * k], rows[0][2 * k + 1]);
        pairs[2][k] = vzip1q_u8(rows[1][2 * k], rows[1][2 * k + 1]);
    }
    uint8x16_t corner[3][4];
#pragma GCC unroll 3
    for (int c = 0; c < 3; ++c) {
        uint16x8_t quad[4];
#pragma GCC unroll 2
        for (int h = 0; h < 2; ++h) {
            const uint16x8_t a = vreinterpretq_u16_u8(pairs[c][2 * h]);
            const uint16x8_t b = vreinterpretq_u16_u8(pairs[c][2 * h + 1]);
            quad[2 * h] = vzip1q_u16(a, b);
            quad[2 * h + 1] = vzip2q_u16(a, b);
        }
#pragma GCC unroll 2
        for (int h = 0; h < 2; ++h) {
            const uint32x4_t a = vreinterpretq_u32_u16(quad[h]), b = vreinterpretq_u32_u16(quad[h + 2]);
            corner[c][2 * h] = vreinterpretq_u8_u32(vzip1q_u32(a, b));
            corner[c][2 * h + 1] = vreinterpretq_u8_u32(vzip2q_u32(a, b));
        }
    }

    // Along red for the four (dg, db), along green for each db, along blue.
    uint8x8x3_t out;
#pragma GCC unroll 3
    for (int c = 0; c < 3; ++c) {
        const uint8x8_t a00 = lerpHalves(corner[c][0], red), a10 = lerpHalves(corner[c][1], red);
        const uint8x8_t a01 = lerpHalves(corner[c][2], red), a11 = lerpHalves(corner[c][3], red);
        out.val[c] = lerp(lerp(a00, a10, green), lerp(a01, a11, green), blue);
    }
    return out;
}

// Maps count (a multiple of 8) scratch pixels through the table, in place.
// Both blocks of a step are read before either is written, so that their
// work can interleave.
void mapRow(const TableView& t, uint8_t* rgb, uint32_t count)
{
    uint32_t i = 0;
    for (; i + 16 <= count; i += 16, rgb += 48) {
        LUT_MCA_LOOP("map", 0, 16);
        const uint8x8x3_t a = mapBlock(t, rgb), b = mapBlock(t, rgb + 24);
        storeBlock(rgb, a.val[0], a.val[1], a.val[2]);
        storeBlock(rgb + 24, b.val[0], b.val[1], b.val[2]);
    }
    if (i < count) {
        const uint8x8x3_t a = mapBlock(t, rgb);
        storeBlock(rgb, a.val[0], a.val[1], a.val[2]);
    }
}

// ---- Pass 3: RGB to luma and chroma ----

// Pass 3 constants. The chroma weights are laid out per pair of lanes in the
// frame's chroma order (U, V for NV12; V, U for NV21), negated modulo 2^16
// where the weight is subtracted, so one multiply-accumulate chain yields the
// interleaved pairs; the chroma order costs nothing per block.
struct ToYuvConstants {
    uint8x8_t lumaOffset, rToY, gToY, bToY;
    uint16x8_t chromaR, chromaG, chromaB;
};

LUT_INLINE uint16x8_t pairLanes(uint16x4_t first, uint16x4_t second)
{
    const uint16x4x2_t zipped = vzip_u16(first, second);
    return vcombine_u16(zipped.val[0], zipped.val[1]);
}

ToYuvConstants toYuvConstants(const LutColorCoefficients& k, bool nv21)
{
    const uint16x4_t zero = vdup_n_u16(0);
    const uint16x4_t uR = vsub_u16(zero, vld1_u16(k.rToU)), uG = vsub_u16(zero, vld1_u16(k.gToU));
    const uint16x4_t uB = vld1_u16(k.bToU);
    const uint16x4_t vR = vld1_u16(k.rToV), vG = vsub_u16(zero, vld1_u16(k.gToV));
    const uint16x4_t vB = vsub_u16(zero, vld1_u16(k.bToV));
    ToYuvConstants c;
    c.lumaOffset = vld1_u8(k.lumaOffset);
    c.rToY = vld1_u8(k.rToY);
    c.gToY = vld1_u8(k.gToY);
    c.bToY = vld1_u8(k.bToY);
    c.chromaR = nv21 ? pairLanes(vR, uR) : pairLanes(uR, vR);
    c.chromaG = nv21 ? pairLanes(vG, uG) : pairLanes(uG, vG);
    c.chromaB = nv21 ? pairLanes(vB, uB) : pairLanes(uB, vB);
    return c;
}

// ((kYR * R + kYG * G + kYB * B + 128) >> 8) + oY, wrapping like the
// reference (the coefficient sets keep it in range).
LUT_INLINE uint8x8_t rgbToLuma(const ToYuvConstants& k, const uint8x8x3_t& p)
{
    uint16x8_t sum = mulWide(p.val[0], k.rToY);
    sum = mulAddWide(sum, p.val[1], k.gToY);
    sum = mulAddWide(sum, p.val[2], k.bToY);
    return vadd_u8(narrowRound<8>(sum), k.lumaOffset);
}

// Rounded mean of each 2x2 block, repeated over the block's two lanes.
LUT_INLINE uint16x8_t blockMeans(uint8x8_t a, uint8x8_t b)
{
    const uint16x8_t columns = addWide(a, b);
    return shiftRound<2>(vaddq_u16(columns, vrev32q_u16(columns)));
}

// The 4 chroma pairs of 8 pixels of rows A and B: sats8((x + 128) >> 8) + 128
// of the weighted block means (exact values fit signed 16 bits, so wrapping
// arithmetic gives them exactly).
LUT_INLINE uint8x8_t rgbToChroma(const ToYuvConstants& k, const uint8x8x3_t& a, const uint8x8x3_t& b)
{
    uint16x8_t sum = vmulq_u16(blockMeans(a.val[0], b.val[0]), k.chromaR);
    sum = vmlaq_u16(sum, blockMeans(a.val[1], b.val[1]), k.chromaG);
    sum = vmlaq_u16(sum, blockMeans(a.val[2], b.val[2]), k.chromaB);
    const int8x8_t centredChroma = narrowRoundSigned<8>(vreinterpretq_s16_u16(sum));
    return veor_u8(vreinterpret_u8_s8(centredChroma), vdup_n_u8(0x80));
}

LUT_INLINE void blockToYuv(const ToYuvConstants& k, const uint8_t* rgbA, const uint8_t* rgbB, uint8_t* dstA,
                           uint8_t* dstB, uint8_t* dstUV)
{
    const uint8x8x3_t a = loadBlock(rgbA);
    const uint8x8x3_t b = loadBlock(rgbB);
    vst1_u8(dstA, rgbToLuma(k, a));
    vst1_u8(dstB, rgbToLuma(k, b));
    vst1_u8(dstUV, rgbToChroma(k, a, b));
}

// Pass 3 over `width` pixels; a partial block goes through temporaries and
// only its `width & 7` luma bytes and the chroma pairs they need are written.
void rowPairToYuv(const ToYuvConstants& k, const uint8_t* rgbA, const uint8_t* rgbB, uint32_t width,
                  uint8_t* dstA, uint8_t* dstB, uint8_t* dstUV)
{
    const uint32_t blocks = width >> 3;
    for (uint32_t i = 0; i < blocks; ++i, rgbA += 24, rgbB += 24, dstA += 8, dstB += 8, dstUV += 8) {
        LUT_MCA_LOOP("to-yuv", 0, 16);
        blockToYuv(k, rgbA, rgbB, dstA, dstB, dstUV);
    }
    const uint32_t rem = width & 7;
    if (rem == 0)
        return;
    alignas(8) uint8_t lumaA[8], lumaB[8], chroma[8];
    blockToYuv(k, rgbA, rgbB, lumaA, lumaB, chroma);
    memcpy(dstA, lumaA, rem);
    memcpy(dstB, lumaB, rem);
    memcpy(dstUV, chroma, (rem + 1) & ~1u);
}

} // namespace

void lutRowPairNeon(const Lut3DEffect* effect, const uint8_t* srcA, const uint8_t* srcB,
                    const uint8_t* srcUV, uint8_t* dstA, uint8_t* dstB, uint8_t* dstUV, bool nv21)
{
    const LutColorCoefficients& k = *effect->coefficients;
    const Lut3DTable& table = *effect->table;
    const ToRgbConstants toRgb = toRgbConstants(k);
    const ToYuvConstants toYuv = toYuvConstants(k, nv21);
    if (!table.neon) {
        // Tables without the NEON layout (out of memory, or built for
        // another kernel) are rendered by the reference kernel.
        lutRowPairReference(effect, srcA, srcB, srcUV, dstA, dstB, dstUV, nv21);
        return;
    }
    const TableView view = {table.neon->corners, table.uniform ? table.neon->byScale : table.neon->byMap};

    alignas(64) uint8_t scratch[2 * kScratchStride];
    uint8_t* rgbA = scratch;
    uint8_t* rgbB = scratch + kScratchStride;
    const uint32_t width = effect->width;
    for (uint32_t x = 0; x < width; x += kTilePixels) {
        const uint32_t n = width - x < kTilePixels ? width - x : kTilePixels;
        rowPairToRgb(toRgb, nv21, srcA + x, srcB + x, srcUV + x, n, rgbA, rgbB);
        const uint32_t padded = (n + 7) & ~7u;
        mapRow(view, rgbA, padded);
        mapRow(view, rgbB, padded);
        rowPairToYuv(toYuv, rgbA, rgbB, n, dstA + x, dstB + x, dstUV + x);
    }
}
