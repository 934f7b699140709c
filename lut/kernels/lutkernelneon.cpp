// The NEON row-pair kernel. A row pair is processed in column tiles; each tile
// goes through three passes over an RGB scratch buffer on the stack:
//   1. luma and chroma to RGB, 8 pixels of both rows per step;
//   2. every RGB pixel of each scratch row through the table (row LUT kernel);
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

// The table as the row LUT kernel needs it.
struct TableView {
    const uint8_t* grid;
    uint32_t rowStride, planeStride;
    const LutLevelIndex* map;
    int16x8_t scale; // Q15 level scale, only for uniform tables
};

// Grid positions of 8 pixels: the byte offset of each lower corner cell and
// the R, G, B fractions (1/128).
struct alignas(32) Positions {
    uint32_t offset[8];
    uint8x8_t fraction[3];
};

// Corner cells of 8 pixels, gathered in pairs along blue: pair[dr * 2 + dg][p]
// holds the cells (dr, dg, 0) and (dr, dg, 1) of pixel p, 8 bytes.
struct alignas(64) Corners {
    uint64_t pair[4][8];
};

// Uniform levels: index (value * S) >> 15 by the doubling multiply high,
// fraction ((value * S) >> 8) & 127 from the low half of the product.
LUT_INLINE uint16x8_t gridIndexByScale(uint8x8_t value, int16x8_t scale, uint8x8_t* fraction)
{
    const uint16x8_t wide = widen(value);
    const uint16x8_t index = vreinterpretq_u16_s16(mulHighDoubled(vreinterpretq_s16_u16(wide), scale));
    const uint16x8_t product = vmulq_u16(wide, vreinterpretq_u16_s16(scale));
    *fraction = vand_u8(vshrn_n_u16(product, 8), vdup_n_u8(127));
    return index;
}

LUT_INLINE void positionsByScale(const TableView& t, const uint8_t* rgb, Positions* pos)
{
    const uint8x8x3_t px = loadBlock(rgb);
    const uint16x8_t r = gridIndexByScale(px.val[0], t.scale, &pos->fraction[0]);
    const uint16x8_t g = gridIndexByScale(px.val[1], t.scale, &pos->fraction[1]);
    const uint16x8_t b = gridIndexByScale(px.val[2], t.scale, &pos->fraction[2]);
    // The strides of a table of at most 65 levels fit 16 bits, and so does the
    // part of the offset within one red plane.
    const uint16x8_t inPlane = vmlaq_n_u16(vshlq_n_u16(b, 2), g, uint16_t(t.rowStride));
    mulAddWideN(r, uint16_t(t.planeStride), inPlane, pos->offset);
}

// Uneven levels: index and fraction from the per-value map.
LUT_INLINE void positionsByMap(const TableView& t, const uint8_t* rgb, Positions* pos)
{
    alignas(8) uint8_t fraction[3][8];
    for (uint32_t p = 0; p < 8; ++p) {
        const LutLevelIndex::Entry r = t.map->entries[rgb[p]];
        const LutLevelIndex::Entry g = t.map->entries[rgb[p + 8]];
        const LutLevelIndex::Entry b = t.map->entries[rgb[p + 16]];
        pos->offset[p] = r.index * t.planeStride + g.index * t.rowStride + b.index * 4u;
        fraction[0][p] = r.fraction;
        fraction[1][p] = g.fraction;
        fraction[2][p] = b.fraction;
    }
    pos->fraction[0] = vld1_u8(fraction[0]);
    pos->fraction[1] = vld1_u8(fraction[1]);
    pos->fraction[2] = vld1_u8(fraction[2]);
}

LUT_INLINE uint64_t loadCellPair(const uint8_t* cell)
{
    uint64_t value;
    memcpy(&value, cell, 8);
    return value;
}

// The scalar gather: the 8 corner cells of each pixel, two neighbours along
// blue per load. The padding of the grid keeps every load inside it.
LUT_INLINE void gather(const TableView& t, const Positions& pos, Corners* corners)
{
    const uint32_t row = t.rowStride, plane = t.planeStride;
    for (uint32_t p = 0; p < 8; ++p) {
        const uint8_t* c = t.grid + pos.offset[p];
        corners->pair[0][p] = loadCellPair(c);
        corners->pair[1][p] = loadCellPair(c + row);
        corners->pair[2][p] = loadCellPair(c + plane);
        corners->pair[3][p] = loadCellPair(c + plane + row);
    }
}

// Splits one pair array (8 pixels of two cells of R, G, B, unused) into R, G
// and B vectors whose low half is the cell with db = 0 and whose high half
// the cell with db = 1. A table lookup groups the bytes of 2 pixels by plane
// and cell; zips transpose the 4 groups.
LUT_INLINE uint8x16x3_t loadPairs(const uint64_t* pairs, uint8x16_t order)
{
    const uint8_t* bytes = reinterpret_cast<const uint8_t*>(pairs);
    const uint16x8_t t0 = vreinterpretq_u16_u8(vqtbl1q_u8(vld1q_u8(bytes), order));
    const uint16x8_t t1 = vreinterpretq_u16_u8(vqtbl1q_u8(vld1q_u8(bytes + 16), order));
    const uint16x8_t t2 = vreinterpretq_u16_u8(vqtbl1q_u8(vld1q_u8(bytes + 32), order));
    const uint16x8_t t3 = vreinterpretq_u16_u8(vqtbl1q_u8(vld1q_u8(bytes + 48), order));
    const uint32x4_t rg01 = vreinterpretq_u32_u16(vzip1q_u16(t0, t1));
    const uint32x4_t rg23 = vreinterpretq_u32_u16(vzip1q_u16(t2, t3));
    const uint32x4_t bx01 = vreinterpretq_u32_u16(vzip2q_u16(t0, t1));
    const uint32x4_t bx23 = vreinterpretq_u32_u16(vzip2q_u16(t2, t3));
    uint8x16x3_t planes;
    planes.val[0] = vreinterpretq_u8_u32(vzip1q_u32(rg01, rg23));
    planes.val[1] = vreinterpretq_u8_u32(vzip2q_u32(rg01, rg23));
    planes.val[2] = vreinterpretq_u8_u32(vzip1q_u32(bx01, bx23));
    return planes;
}

// The red stage: (high * f + low * (128 - f)) >> 7 from 8-bit corners, kept
// in 16 bits for the next stages.
LUT_INLINE int16x8_t lerpCorners(uint8x8_t low, uint8x8_t high, uint8x8_t f, uint8x8_t rest)
{
    return vreinterpretq_s16_u16(vshrq_n_u16(mulAddWide(mulWide(high, f), low, rest), 7));
}

// The green and blue stages on 16-bit values: low + ((high - low) * f >> 7)
// with an arithmetic shift, which equals the formula above because low * 128
// is a whole multiple of 128; |(high - low) * f| <= 255 * 127 fits 16 bits.
LUT_INLINE int16x8_t lerpValues(int16x8_t low, int16x8_t high, int16x8_t f)
{
    return vsraq_n_s16(low, vmulq_s16(vsubq_s16(high, low), f), 7);
}

// Trilinear interpolation of 8 pixels along red, green, then blue; stores the
// mapped block over the input block.
LUT_INLINE void interpolate(const Corners& corners, const Positions& pos, uint8x16_t order, uint8_t* rgb)
{
    const uint8x8_t fr = pos.fraction[0];
    const uint8x8_t rr = vsub_u8(vdup_n_u8(128), fr);
    const int16x8_t fg = vreinterpretq_s16_u16(widen(pos.fraction[1]));
    const int16x8_t fb = vreinterpretq_s16_u16(widen(pos.fraction[2]));
    uint8x16x3_t e[4]; // by dr * 2 + dg
    for (int i = 0; i < 4; ++i)
        e[i] = loadPairs(corners.pair[i], order);
    uint8x8_t out[3];
#pragma GCC unroll 3
    for (int ch = 0; ch < 3; ++ch) {
        const uint8x16_t low0 = e[0].val[ch], high0 = e[2].val[ch]; // dg = 0; dr = 0 and 1
        const uint8x16_t low1 = e[1].val[ch], high1 = e[3].val[ch]; // dg = 1
        const int16x8_t a00 = lerpCorners(vget_low_u8(low0), vget_low_u8(high0), fr, rr);
        const int16x8_t a01 = lerpCorners(vget_high_u8(low0), vget_high_u8(high0), fr, rr);
        const int16x8_t a10 = lerpCorners(vget_low_u8(low1), vget_low_u8(high1), fr, rr);
        const int16x8_t a11 = lerpCorners(vget_high_u8(low1), vget_high_u8(high1), fr, rr);
        const int16x8_t b0 = lerpValues(a00, a10, fg);
        const int16x8_t b1 = lerpValues(a01, a11, fg);
        out[ch] = vmovn_u16(vreinterpretq_u16_s16(lerpValues(b0, b1, fb)));
    }
    storeBlock(rgb, out[0], out[1], out[2]);
}

// Maps count (a multiple of 8) scratch pixels through the table, in place.
template <bool kUniform>
void mapRow(const TableView& t, uint8_t* rgb, uint32_t count)
{
    // Byte order that groups 2 pixels' cell pairs by plane, then by cell.
    static const uint8_t kPairOrder[16] = {0, 8, 4, 12, 1, 9, 5, 13, 2, 10, 6, 14, 3, 11, 7, 15};
    const uint8x16_t order = vld1q_u8(kPairOrder);
    Positions pos;
    Corners corners;
    for (uint32_t i = 0; i < count; i += 8, rgb += 24) {
        LUT_MCA_LOOP("map", kUniform, 8);
        if (kUniform)
            positionsByScale(t, rgb, &pos);
        else
            positionsByMap(t, rgb, &pos);
        gather(t, pos, &corners);
        interpolate(corners, pos, order, rgb);
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
    TableView view = {table.grid, table.rowStride, table.planeStride, table.levelIndex, vdupq_n_s16(0)};
    if (table.uniform)
        view.scale = vreinterpretq_s16_u16(vld1q_u16(k.levelScale));

    alignas(64) uint8_t scratch[2 * kScratchStride];
    uint8_t* rgbA = scratch;
    uint8_t* rgbB = scratch + kScratchStride;
    const uint32_t width = effect->width;
    for (uint32_t x = 0; x < width; x += kTilePixels) {
        const uint32_t n = width - x < kTilePixels ? width - x : kTilePixels;
        rowPairToRgb(toRgb, nv21, srcA + x, srcB + x, srcUV + x, n, rgbA, rgbB);
        const uint32_t padded = (n + 7) & ~7u;
        if (table.uniform) {
            mapRow<true>(view, rgbA, padded);
            mapRow<true>(view, rgbB, padded);
        } else {
            mapRow<false>(view, rgbA, padded);
            mapRow<false>(view, rgbB, padded);
        }
        rowPairToYuv(toYuv, rgbA, rgbB, n, dstA + x, dstB + x, dstUV + x);
    }
}
