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

// Pass 1 constants. The gains share one vector, a gain per lane, and are
// applied by lane: a multiply by element needs no replicated register and
// costs no more than one by a vector.
struct ToRgbConstants {
    uint8x8_t lumaOffset, chromaOffset;
    int16x8_t gains; // lumaGain, vToR, uToG, vToG, uToB, 0, 0, 0
};

enum ToRgbGain { kLumaGain, kVToR, kUToG, kVToG, kUToB };

ToRgbConstants toRgbConstants(const LutColorCoefficients& k)
{
    const int16_t gains[8] = {int16_t(k.lumaGain[0]), int16_t(k.vToR[0]), int16_t(k.uToG[0]), int16_t(k.vToG[0]),
                              int16_t(k.uToB[0]), 0, 0, 0};
    return {vld1_u8(k.lumaOffset), vld1_u8(k.chromaOffset), vld1q_s16(gains)};
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
    const int16x8_t yt = mulHighDoubledLane<kLumaGain>(centred(y, k.lumaOffset), k.gains);
    storeBlock(rgb, narrowRoundUnsigned<2>(vaddq_s16(yt, rt)), narrowRoundUnsigned<2>(vsubq_s16(yt, gt)),
               narrowRoundUnsigned<2>(vaddq_s16(yt, bt)));
}

// 8 pixels of rows A and B with their 4 chroma pairs.
template <bool kNv21>
LUT_INLINE void blockToRgb(const ToRgbConstants& k, uint8x8_t yA, uint8x8_t yB, uint8x8_t uv, uint8_t* rgbA,
                           uint8_t* rgbB)
{
    // Centred as pairs; val[0] then holds the first value of each pair twice,
    // val[1] the second.
    const int16x8_t pairs = centred(uv, k.chromaOffset);
    const int16x8x2_t split = vtrnq_s16(pairs, pairs);
    const int16x8_t u = split.val[kNv21 ? 1 : 0];
    const int16x8_t v = split.val[kNv21 ? 0 : 1];
    const int16x8_t rt = mulHighDoubledLane<kVToR>(v, k.gains);
    const int16x8_t gt = vaddq_s16(mulHighDoubledLane<kVToG>(v, k.gains), mulHighDoubledLane<kUToG>(u, k.gains));
    const int16x8_t bt = mulHighDoubledLane<kUToB>(u, k.gains);
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
// Blocks of 8 pixels, from the table's NEON layout (lut3dtable.h). A pixel's
// R, G and B values pick three offsets whose sum locates its grid point, and
// its weights for the three stages; two 16-byte loads bring its 24 corner
// bytes. Each stage computes the reference's (low * (128 - f) + high * f) >> 7
// in one of two exactly equal forms:
//   red, channels 0 and 1, one pixel per vector: the difference form
//        low + floor((high - low) * f / 128), the floor being a doubling
//        multiply high by f << 8 (|high - low| <= 255 and f << 8 <= 32512,
//        so it never saturates), with one weight for all lanes;
//   the rest: the two values of each step side by side, both multiplied by
//        their weights and the products added pairwise; channel 2 of the red
//        stage, and green and blue.
// Each pairwise sum is at most 255 * 128 and is narrowed by 7. Nothing goes
// through the stack and no byte transposition is needed: the lanes hold
// (pixel, channel, corner) until the last stage leaves one value per pixel
// and channel.

struct TableView {
    const uint8_t* corners;            // 24 bytes per grid point
    const LutNeonPositions* positions; // by scale or by map
};

// What the lookup of one pixel reads.
struct Cell {
    uint8x16_t low;       // [channel 2: (dr = 0, dr = 1) per corner m | channels 0, 1, dr = 0]
    uint8x16_t high;      // channels 0 and 1: [dr = 0 | dr = 1], corners m = dg + 2 * db
    uint8x16_t red;       // [(128 - fR, fR) x4 | fR << 8 x4 (16-bit)]
    uint8x8_t green;      // (128 - fG, fG) x4
    uint8x16_t greenWide; // (128 - fG, fG) x8, read for odd pixels only
    uint8x8_t blue;       // (128 - fB, fB) x4
};

LUT_INLINE Cell lookUp(const TableView& t, uint32_t r, uint32_t g, uint32_t b)
{
    const LutNeonPositions& p = *t.positions;
    // Two independent sums, added last: a shorter chain after the offset loads.
    const uint8_t* point = (t.corners + p.offset[2][b]) + (p.offset[0][r] + p.offset[1][g]);
    return {vld1q_u8(point), vld1q_u8(point + 8), vld1q_u8(p.red[r]), vld1_u8(p.pair[g]), vld1q_u8(p.pairTwice[g]),
            vld1_u8(p.pair[b])};
}

// Channels 0 and 1 of one pixel along red, in 16-bit lanes [c0 m0..m3, c1 m0..m3].
LUT_INLINE uint16x8_t lerpRed(const Cell& c)
{
    const int16x8_t step = vreinterpretq_s16_u16(subWideHigh(c.high, c.low));
    const int16x8_t scaled = mulHighDoubledLaneSmall<4>(step, vreinterpretq_s16_u8(c.red));
    return addWidened(vreinterpretq_u16_s16(scaled), vget_low_u8(c.high));
}

// (low * w + high * w') >> 7 for the neighbouring pairs of a and then of b,
// the weights side by side in wa and wb.
LUT_INLINE uint8x8_t lerpPairs(uint8x8_t a, uint8x8_t wa, uint8x8_t b, uint8x8_t wb)
{
    return narrowShift<7>(pairwiseAdd(mulWide(a, wa), mulWide(b, wb)));
}

// The same for the halves of ab, with the weights of the second half in the
// second half of wb.
LUT_INLINE uint8x8_t lerpPairsHalves(uint8x16_t ab, uint8x8_t wa, uint8x16_t wb)
{
    return narrowShift<7>(pairwiseAdd(mulWide(vget_low_u8(ab), wa), mulWideHigh(ab, wb)));
}

// The first halves of two vectors: [a0..a3, b0..b3].
LUT_INLINE uint8x8_t firstHalves(uint8x8_t a, uint8x8_t b)
{
    return vreinterpret_u8_u32(vzip1_u32(vreinterpret_u32_u8(a), vreinterpret_u32_u8(b)));
}

// The even byte pairs of two vectors: [a0 a1, a4 a5, b0 b1, b4 b5].
LUT_INLINE uint8x8_t evenPairs(uint8x8_t a, uint8x8_t b)
{
    return vreinterpret_u8_u16(vuzp1_u16(vreinterpret_u16_u8(a), vreinterpret_u16_u8(b)));
}

// Maps 8 pixels through the table.
LUT_INLINE uint8x8x3_t mapBlock(const TableView& t, const uint8_t* rgb)
{
    static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "pixel p is byte p of a 64-bit load");
    uint64_t r, g, b;
    memcpy(&r, rgb, 8);
    memcpy(&g, rgb + 8, 8);
    memcpy(&b, rgb + 16, 8);
    Cell cell[8];
#pragma GCC unroll 8
    for (uint32_t p = 0; p < 8; ++p)
        cell[p] = lookUp(t, (r >> 8 * p) & 255, (g >> 8 * p) & 255, (b >> 8 * p) & 255);

    // Along red: channels 0 and 1 per pixel pair, the low bytes of the 16-bit
    // results [p: c0 m0..m3, c1 m0..m3 | q: ...]; channel 2 per pixel pair,
    // [p m0..m3, q m0..m3].
    uint8x16_t red01[4];
    uint8x8_t red2[4];
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) {
        const Cell &p = cell[2 * k], &q = cell[2 * k + 1];
        red01[k] = narrowBoth(lerpRed(p), lerpRed(q));
        red2[k] = lerpPairs(vget_low_u8(p.low), vget_low_u8(p.red), vget_low_u8(q.low), vget_low_u8(q.red));
    }

    // Along green, the pairs (dg = 0, 1): channels 0 and 1 per pixel pair,
    // [p: c0 db0, c0 db1, c1 db0, c1 db1 | q: ...]; channel 2 per four
    // pixels, [db0, db1] for each.
    uint8x8_t green01[4], green2[2], blue[4];
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) {
        const Cell &p = cell[2 * k], &q = cell[2 * k + 1];
        green01[k] = lerpPairsHalves(red01[k], p.green, q.greenWide);
        blue[k] = firstHalves(p.blue, q.blue); // [p (128 - fB, fB) x2 | q ...]
    }
#pragma GCC unroll 2
    for (int h = 0; h < 2; ++h) {
        const Cell* c = cell + 4 * h;
        green2[h] = lerpPairs(red2[2 * h], firstHalves(c[0].green, c[1].green), red2[2 * h + 1],
                              firstHalves(c[2].green, c[3].green));
    }

    // Along blue, the pairs (db = 0, 1): the sums of channels 0 and 1 per
    // four pixels, [c0, c1] for each, are unzipped before they are narrowed;
    // then channel 2 of all 8 pixels.
    uint16x8_t sums01[2];
#pragma GCC unroll 2
    for (int h = 0; h < 2; ++h)
        sums01[h] = pairwiseAdd(mulWide(green01[2 * h], blue[2 * h]), mulWide(green01[2 * h + 1], blue[2 * h + 1]));
    const uint8x8x2_t out01 = narrowShiftUnzip<7>(sums01[0], sums01[1]);
    uint8x8x3_t out;
    out.val[0] = out01.val[0];
    out.val[1] = out01.val[1];
    out.val[2] = lerpPairs(green2[0], evenPairs(blue[0], blue[1]), green2[1], evenPairs(blue[2], blue[3]));
    return out;
}

// Maps count (a multiple of 8) scratch pixels through the table, in place.
void mapRow(const TableView& t, uint8_t* rgb, uint32_t count)
{
    for (uint32_t i = 0; i < count; i += 8, rgb += 24) {
        LUT_MCA_LOOP("map", 0, 8);
        const uint8x8x3_t mapped = mapBlock(t, rgb);
        storeBlock(rgb, mapped.val[0], mapped.val[1], mapped.val[2]);
    }
}

// ---- Pass 3: RGB to luma and chroma ----

// Pass 3 constants. The chroma weights are laid out per pair of lanes in the
// frame's chroma order (U, V for NV12; V, U for NV21), negated modulo 2^16
// where the weight is subtracted, so one multiply-accumulate chain yields the
// interleaved pairs; the chroma order costs nothing per block.
struct ToYuvConstants {
    uint8x8_t rToY, gToY, bToY;
    uint16x8_t lumaBias; // oY * 256
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
    c.lumaBias = vdupq_n_u16(uint16_t(k.lumaOffset[0] * 256));
    c.rToY = vld1_u8(k.rToY);
    c.gToY = vld1_u8(k.gToY);
    c.bToY = vld1_u8(k.bToY);
    c.chromaR = nv21 ? pairLanes(vR, uR) : pairLanes(uR, vR);
    c.chromaG = nv21 ? pairLanes(vG, uG) : pairLanes(uG, vG);
    c.chromaB = nv21 ? pairLanes(vB, uB) : pairLanes(uB, vB);
    return c;
}

// ((kYR * R + kYG * G + kYB * B + 128) >> 8) + oY, wrapping like the
// reference (the coefficient sets keep it in range): oY * 256 added before
// the rounded narrowing adds oY to the high byte, modulo 256.
LUT_INLINE uint8x8_t rgbToLuma(const ToYuvConstants& k, const uint8x8x3_t& p)
{
    uint16x8_t sum = mulWide(p.val[0], k.rToY);
    sum = mulAddWide(sum, p.val[1], k.gToY);
    sum = mulAddWide(sum, p.val[2], k.bToY);
    return addNarrowRound(sum, k.lumaBias);
}

// Rounded mean of each 2x2 block, repeated over the block's two lanes.
LUT_INLINE uint16x8_t blockMeans(uint8x8_t a, uint8x8_t b)
{
    const uint16x8_t columns = addWide(a, b);
    return shiftRound<2>(vaddq_u16(columns, vrev32q_u16(columns)));
}

// The 4 chroma pairs of 8 pixels of rows A and B: sats8((x + 128) >> 8) + 128
// of the weighted block means x. The exact values fit signed 16 bits, so
// wrapping arithmetic gives them exactly; started from 32768, the sum holds
// x + 32768 as an unsigned value, and its unsigned rounded narrowing,
// saturated to 0..255, is the byte.
LUT_INLINE uint8x8_t rgbToChroma(const ToYuvConstants& k, const uint8x8x3_t& a, const uint8x8x3_t& b)
{
    uint16x8_t sum = vmlaq_u16(vdupq_n_u16(0x8000), blockMeans(a.val[0], b.val[0]), k.chromaR);
    sum = vmlaq_u16(sum, blockMeans(a.val[1], b.val[1]), k.chromaG);
    sum = vmlaq_u16(sum, blockMeans(a.val[2], b.val[2]), k.chromaB);
    return narrowRoundSaturate<8>(sum);
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
    const TableView view = {table.neon->corners, table.uniform ? &table.neon->byScale : &table.neon->byMap};

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
