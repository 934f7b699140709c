// The AVX2 row-pair kernel for x86-64 hosts (desktop tools, the test and
// benchmark machines). It gives the bytes of the scalar reference kernel,
// like the NEON kernel, but is laid out for x86 rather than translated from
// Arm intrinsics: x86 has one shuffle port, so byte widening and transposes
// give way to masks, shifts and multiply-adds wherever the arithmetic allows.
//
// A row pair is walked in blocks of 16 columns. Each block stays in
// registers from the source bytes to the destination bytes:
//   1. luma and chroma to RGB: 16 pixels per 16-bit vector and row;
//   2. the table lookup, two pixels per vector: pixel k of the block in the
//      low 128-bit lane, pixel k + 8 in the high one;
//   3. RGB back to luma per pixel and to chroma per 2x2 block.
// Blocks share nothing, so in-place rendering is safe: a block's source
// bytes are all read before its destination bytes are written. A width that
// is not a multiple of 16 ends with a block converted through 16-byte
// temporaries; its missing columns repeat the last real column, as in the
// reference kernel.
//
// The lookup reads the table's corner groups (see lut3dtable.h): one 16-byte
// load per pixel and red level brings the four corners of that red plane,
// stored minus 128 and ordered so that every stage is one multiply-add:
//   red:   (128 - fR) * e0 + fR * e1 on signed bytes (unsigned weights),
//          within +-128 * 128, so shifted right by 7 it is exactly the
//          truncated red stage minus 128;
//   green: low + ((high - low) * fG >> 7), unchanged by the common bias;
//   blue:  (128 - fB) * b0 + fB * b1 on neighbouring 16-bit lanes.
#include "lut/kernels/lutkernel.h"

#if LUT_HAVE_AVX2_KERNEL

#include "lut/lut3deffect.h"
#include "lut/lut3dtable.h"
#include "lut/lutcolorcoefficients.h"

#include <cstring>
#include <immintrin.h>

namespace {

#define LUT_AVX2_INLINE inline __attribute__((always_inline))

constexpr uint32_t kBlock = 16; // pixels per block and row

// ---- Constants of one call ----

struct Constants {
    // luma and chroma to RGB (16-bit lanes)
    __m256i lumaOffset, chromaOffset, lumaGain, vToR, uToG, vToG, uToB;
    // RGB to luma (16-bit lanes; the luma offset above is added back)
    __m256i rToY, gToY, bToY;
    // RGB to chroma: even lanes carry the weight of the frame's first chroma
    // byte, odd lanes the second; negated where the weight is subtracted
    __m256i chromaR, chromaG, chromaB;
    // table geometry
    const int8_t* groups;      // corner groups, at 4 times the grid offsets
    uint32_t groupPlaneStride; // 4 times the grid's plane stride
    const LutLevelIndex* map;
    __m256i scale, scaleDoubled; // level scale S and 2S
    __m256i rowStride16;         // rowStride in 16-bit lanes
    __m256i planeAndOne;         // pairs (planeStride, 1) for the offset multiply-add
};

LUT_AVX2_INLINE __m256i splat16(int value)
{
    return _mm256_set1_epi16(short(value));
}

// Even 16-bit lanes `even`, odd lanes `odd`.
LUT_AVX2_INLINE __m256i alternate16(int even, int odd)
{
    return _mm256_set1_epi32(int((uint32_t(uint16_t(odd)) << 16) | uint16_t(even)));
}

Constants constantsFor(const Lut3DEffect& effect, bool nv21)
{
    const LutColorCoefficients& k = *effect.coefficients;
    const Lut3DTable& t = *effect.table;
    Constants c;
    c.lumaOffset = splat16(k.lumaOffset[0]);
    c.chromaOffset = splat16(k.chromaOffset[0]);
    c.lumaGain = splat16(k.lumaGain[0]);
    c.vToR = splat16(k.vToR[0]);
    c.uToG = splat16(k.uToG[0]);
    c.vToG = splat16(k.vToG[0]);
    c.uToB = splat16(k.uToB[0]);
    c.rToY = splat16(k.rToY[0]);
    c.gToY = splat16(k.gToY[0]);
    c.bToY = splat16(k.bToY[0]);
    const int uR = -int(k.rToU[0]), uG = -int(k.gToU[0]), uB = k.bToU[0];
    const int vR = k.rToV[0], vG = -int(k.gToV[0]), vB = -int(k.bToV[0]);
    c.chromaR = nv21 ? alternate16(vR, uR) : alternate16(uR, vR);
    c.chromaG = nv21 ? alternate16(vG, uG) : alternate16(uG, vG);
    c.chromaB = nv21 ? alternate16(vB, uB) : alternate16(uB, vB);
    c.groups = t.cornerGroups;
    c.groupPlaneStride = 4 * t.planeStride;
    c.map = t.levelIndex;
    const int scale = t.uniform ? k.levelScale[0] : 0;
    c.scale = splat16(scale);
    c.scaleDoubled = splat16(2 * scale);
    c.rowStride16 = splat16(int(t.rowStride));
    c.planeAndOne = alternate16(int(t.planeStride), 1);
    return c;
}

// ---- Step 1: luma and chroma to RGB ----

// RGB of the 16 pixels of one row, in 16-bit lanes (pixels 0..7 in the low
// lane, 8..15 in the high lane).
struct Rgb16 {
    __m256i r, g, b;
};

// (value - offset) << 5: the multiply high by a Q13 gain then gives
// floor((value - offset) * gain / 2048).
LUT_AVX2_INLINE __m256i centred(__m256i value, __m256i offset)
{
    return _mm256_slli_epi16(_mm256_sub_epi16(value, offset), 5);
}

// sat8((x + 2) >> 2)
LUT_AVX2_INLINE __m256i toChannel(__m256i x)
{
    const __m256i shifted = _mm256_srai_epi16(_mm256_add_epi16(x, splat16(2)), 2);
    return _mm256_min_epi16(_mm256_max_epi16(shifted, _mm256_setzero_si256()), splat16(255));
}

struct ChromaTerms {
    __m256i r, g, b;
};

// The chroma terms of 8 chroma pairs, each repeated over its two pixels.
template <bool kNv21>
LUT_AVX2_INLINE ChromaTerms chromaTerms(const Constants& c, __m128i pairs)
{
    // Each pair as a 32-bit lane, copied into both of its 16-bit halves.
    const __m256i wide = _mm256_cvtepu16_epi32(pairs);
    const __m256i twice = _mm256_or_si256(wide, _mm256_slli_epi32(wide, 16));
    const __m256i first = _mm256_and_si256(twice, splat16(0xff));
    const __m256i second = _mm256_srli_epi16(twice, 8);
    const __m256i u = centred(kNv21 ? second : first, c.chromaOffset);
    const __m256i v = centred(kNv21 ? first : second, c.chromaOffset);
    return {_mm256_mulhi_epi16(v, c.vToR),
            _mm256_add_epi16(_mm256_mulhi_epi16(v, c.vToG), _mm256_mulhi_epi16(u, c.uToG)),
            _mm256_mulhi_epi16(u, c.uToB)};
}

LUT_AVX2_INLINE Rgb16 lumaToRgb(const Constants& c, __m128i luma, const ChromaTerms& t)
{
    const __m256i yt = _mm256_mulhi_epi16(centred(_mm256_cvtepu8_epi16(luma), c.lumaOffset), c.lumaGain);
    return {toChannel(_mm256_add_epi16(yt, t.r)), toChannel(_mm256_sub_epi16(yt, t.g)),
            toChannel(_mm256_add_epi16(yt, t.b))};
}

// ---- Step 2: the table lookup ----

// Grid positions of 16 pixels: byte offsets of the lower corner cells and the
// interpolation weights, all per pixel.
struct Positions {
    alignas(32) uint32_t offset[16]; // pixels 0-3, 8-11, 4-7, 12-15
    __m256i red;                     // byte pairs (128 - fR, fR), 16-bit lanes
    __m256i green;                   // fG, 16-bit lanes
    __m256i blueLow, blueHigh;       // 16-bit pairs (128 - fB, fB), pixels as the offsets
};

// Uniform levels: index (value * S) >> 15, fraction ((value * S) >> 8) & 127.
LUT_AVX2_INLINE __m256i indexByScale(const Constants& c, __m256i value, __m256i* fraction)
{
    *fraction = _mm256_and_si256(_mm256_srli_epi16(_mm256_mullo_epi16(value, c.scale), 8), splat16(127));
    return _mm256_mulhi_epi16(value, c.scaleDoubled);
}

// Uneven levels: index and fraction from the per-value map.
LUT_AVX2_INLINE __m256i indexByMap(const Constants& c, __m256i value, __m256i* fraction)
{
    alignas(32) uint16_t values[16], index[16], fractions[16];
    _mm256_store_si256(reinterpret_cast<__m256i*>(values), value);
    for (uint32_t p = 0; p < 16; ++p) {
        const LutLevelIndex::Entry e = c.map->entries[values[p]];
        index[p] = e.index;
        fractions[p] = e.fraction;
    }
    *fraction = _mm256_load_si256(reinterpret_cast<const __m256i*>(fractions));
    return _mm256_load_si256(reinterpret_cast<const __m256i*>(index));
}

template <bool kUniform>
LUT_AVX2_INLINE void positions(const Constants& c, const Rgb16& rgb, Positions* pos)
{
    __m256i ir, ig, ib, fr, fb;
    if (kUniform) {
        ir = indexByScale(c, rgb.r, &fr);
        ig = indexByScale(c, rgb.g, &pos->green);
        ib = indexByScale(c, rgb.b, &fb);
    } else {
        ir = indexByMap(c, rgb.r, &fr);
        ig = indexByMap(c, rgb.g, &pos->green);
        ib = indexByMap(c, rgb.b, &fb);
    }
    // Within one red plane the offset fits 16 bits; the red term is added by
    // a 32-bit multiply-add of the pairs (index, in-plane offset).
    const __m256i inPlane = _mm256_add_epi16(_mm256_mullo_epi16(ig, c.rowStride16), _mm256_slli_epi16(ib, 2));
    _mm256_store_si256(reinterpret_cast<__m256i*>(pos->offset),
                       _mm256_madd_epi16(_mm256_unpacklo_epi16(ir, inPlane), c.planeAndOne));
    _mm256_store_si256(reinterpret_cast<__m256i*>(pos->offset + 8),
                       _mm256_madd_epi16(_mm256_unpackhi_epi16(ir, inPlane), c.planeAndOne));
    // Read the offsets back as scalars from memory: extracting them from the
    // registers would take two shuffle-port instructions each.
    __asm__ volatile("" : : "r"(pos->offset) : "memory");

    const __m256i full = splat16(128);
    pos->red = _mm256_or_si256(_mm256_sub_epi16(full, fr), _mm256_slli_epi16(fr, 8));
    const __m256i rest = _mm256_sub_epi16(full, fb);
    pos->blueLow = _mm256_unpacklo_epi16(rest, fb);
    pos->blueHigh = _mm256_unpackhi_epi16(rest, fb);
}

// Two 16-byte corner groups, one per 128-bit lane.
LUT_AVX2_INLINE __m256i loadGroups(const int8_t* low, const int8_t* high)
{
    const __m128i first = _mm_load_si128(reinterpret_cast<const __m128i*>(low));
    return _mm256_inserti128_si256(_mm256_castsi128_si256(first),
                                   _mm_load_si128(reinterpret_cast<const __m128i*>(high)), 1);
}

// Trilinear interpolation of two pixels, one per 128-bit lane: `lowRed` holds
// the pixel's corner group at its lower red index, `highRed` the group one
// red level up, and the weights are broadcast over the pixel's lane (red as
// byte pairs, green as 16-bit lanes, blue as 16-bit pairs). Returns R, G, B
// and an unused value, biased by -128, as the four 32-bit lanes of each
// 128-bit lane.
LUT_AVX2_INLINE __m256i interpolatePair(__m256i lowRed, __m256i highRed, __m256i red, __m256i green, __m256i blue)
{
    // Along red: byte pairs (dr = 0, dr = 1) of every (channel, db), for
    // dg = 0 from the low halves of the groups and dg = 1 from the high.
    const __m256i a0 = _mm256_srai_epi16(_mm256_maddubs_epi16(red, _mm256_unpacklo_epi8(lowRed, highRed)), 7);
    const __m256i a1 = _mm256_srai_epi16(_mm256_maddubs_epi16(red, _mm256_unpackhi_epi8(lowRed, highRed)), 7);
    // Along green, lane by lane.
    const __m256i b = _mm256_add_epi16(a0, _mm256_srai_epi16(_mm256_mullo_epi16(_mm256_sub_epi16(a1, a0), green), 7));
    // Along blue: each channel's (db = 0, db = 1) values are neighbours.
    return _mm256_srai_epi32(_mm256_madd_epi16(b, blue), 7);
}

// Broadcasts 16-bit lane k (32-bit lane k) of each 128-bit lane over that lane.
LUT_AVX2_INLINE __m256i lane16(__m256i v, int k)
{
    return _mm256_shuffle_epi8(v, splat16(0x0100 + 0x0202 * k));
}

LUT_AVX2_INLINE __m256i lane32(__m256i v, int k)
{
    return _mm256_shuffle_epi8(v, _mm256_set1_epi32(0x03020100 + 0x04040404 * k));
}

// Gathers and interpolates pixels k and k + 8 of the block.
LUT_AVX2_INLINE __m256i mapPair(const Constants& c, const Positions& pos, int k)
{
    // Pixel k's offset sits at k (k < 4) or k + 4, pixel k + 8's four later;
    // the blue weights are split the same way.
    const int slot = k < 4 ? k : k + 4;
    const int8_t* p = c.groups + size_t(pos.offset[slot]) * 4;
    const int8_t* q = c.groups + size_t(pos.offset[slot + 4]) * 4;
    const __m256i lowRed = loadGroups(p, q);
    const __m256i highRed = loadGroups(p + c.groupPlaneStride, q + c.groupPlaneStride);
    const __m256i blue = k < 4 ? lane32(pos.blueLow, k) : lane32(pos.blueHigh, k - 4);
    return interpolatePair(lowRed, highRed, lane16(pos.red, k), lane16(pos.green, k), blue);
}

// Maps the 16 pixels of one row through the table.
template <bool kUniform>
LUT_AVX2_INLINE Rgb16 mapBlock(const Constants& c, const Rgb16& rgb)
{
    Positions pos;
    positions<kUniform>(c, rgb, &pos);
    __m256i out[8];
#pragma GCC unroll 8
    for (int k = 0; k < 8; ++k)
        out[k] = mapPair(c, pos, k);

    // Transpose the pairs' (R, G, B, unused) quads back into one vector per
    // channel, pixel k at lane k of each half, and remove the bias.
    const __m256i p01 = _mm256_packs_epi32(out[0], out[1]); // R0 G0 B0 x R1 G1 B1 x
    const __m256i p23 = _mm256_packs_epi32(out[2], out[3]);
    const __m256i p45 = _mm256_packs_epi32(out[4], out[5]);
    const __m256i p67 = _mm256_packs_epi32(out[6], out[7]);
    const __m256i even03 = _mm256_unpacklo_epi16(p01, p23); // R0 R2 G0 G2 B0 B2 x x
    const __m256i odd03 = _mm256_unpackhi_epi16(p01, p23);  // R1 R3 G1 G3 B1 B3 x x
    const __m256i even47 = _mm256_unpacklo_epi16(p45, p67);
    const __m256i odd47 = _mm256_unpackhi_epi16(p45, p67);
    const __m256i rg03 = _mm256_unpacklo_epi16(even03, odd03); // R0 R1 R2 R3 G0 G1 G2 G3
    const __m256i bx03 = _mm256_unpackhi_epi16(even03, odd03); // B0 B1 B2 B3 x x x x
    const __m256i rg47 = _mm256_unpacklo_epi16(even47, odd47);
    const __m256i bx47 = _mm256_unpackhi_epi16(even47, odd47);
    const __m256i unbias = splat16(128);
    return {_mm256_add_epi16(_mm256_unpacklo_epi64(rg03, rg47), unbias),
            _mm256_add_epi16(_mm256_unpackhi_epi64(rg03, rg47), unbias),
            _mm256_add_epi16(_mm256_unpacklo_epi64(bx03, bx47), unbias)};
}

// ---- Step 3: RGB to luma and chroma ----

// ((kYR * R + kYG * G + kYB * B + 128) >> 8) + oY, wrapping to 8 bits like
// the reference; the sum stays below 2^16, so unsigned 16-bit lanes hold it.
LUT_AVX2_INLINE __m256i rgbToLuma(const Constants& c, const Rgb16& p)
{
    __m256i sum = _mm256_mullo_epi16(p.r, c.rToY);
    sum = _mm256_add_epi16(sum, _mm256_mullo_epi16(p.g, c.gToY));
    sum = _mm256_add_epi16(sum, _mm256_mullo_epi16(p.b, c.bToY));
    const __m256i luma = _mm256_add_epi16(_mm256_srli_epi16(_mm256_add_epi16(sum, splat16(128)), 8), c.lumaOffset);
    return _mm256_and_si256(luma, splat16(0xff));
}

// Rounded means of the 2x2 blocks of one channel, each repeated over the
// block's two lanes.
LUT_AVX2_INLINE __m256i blockMeans(__m256i a, __m256i b)
{
    const __m256i sums = _mm256_madd_epi16(_mm256_add_epi16(a, b), splat16(1));
    const __m256i means = _mm256_srli_epi32(_mm256_add_epi32(sums, _mm256_set1_epi32(2)), 2);
    return _mm256_or_si256(means, _mm256_slli_epi32(means, 16));
}

// The 8 chroma pairs of the block: sats8((x + 128) >> 8) + 128 of the weighted
// means, in the frame's byte order, as 16-bit lanes.
LUT_AVX2_INLINE __m256i rgbToChroma(const Constants& c, const Rgb16& a, const Rgb16& b)
{
    __m256i sum = _mm256_mullo_epi16(blockMeans(a.r, b.r), c.chromaR);
    sum = _mm256_add_epi16(sum, _mm256_mullo_epi16(blockMeans(a.g, b.g), c.chromaG));
    sum = _mm256_add_epi16(sum, _mm256_mullo_epi16(blockMeans(a.b, b.b), c.chromaB));
    return _mm256_srai_epi16(_mm256_add_epi16(sum, splat16(128)), 8);
}

// ---- The block ----

// One block of 16 columns: 16 luma bytes of each row and 16 chroma bytes.
template <bool kNv21, bool kUniform>
LUT_AVX2_INLINE void renderBlock(const Constants& c, const uint8_t* srcA, const uint8_t* srcB, const uint8_t* srcUV,
                                 uint8_t* dstA, uint8_t* dstB, uint8_t* dstUV)
{
    const __m128i lumaA = _mm_loadu_si128(reinterpret_cast<const __m128i*>(srcA));
    const __m128i lumaB = _mm_loadu_si128(reinterpret_cast<const __m128i*>(srcB));
    const __m128i pairs = _mm_loadu_si128(reinterpret_cast<const __m128i*>(srcUV));
    const ChromaTerms terms = chromaTerms<kNv21>(c, pairs);
    const Rgb16 a = mapBlock<kUniform>(c, lumaToRgb(c, lumaA, terms));
    const Rgb16 b = mapBlock<kUniform>(c, lumaToRgb(c, lumaB, terms));

    // Luma: packing interleaves the rows per 128-bit lane; one permute puts
    // row A in the low half and row B in the high half.
    const __m256i luma = _mm256_permute4x64_epi64(_mm256_packus_epi16(rgbToLuma(c, a), rgbToLuma(c, b)), 0xd8);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dstA), _mm256_castsi256_si128(luma));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dstB), _mm256_extracti128_si256(luma, 1));
    const __m256i chroma = rgbToChroma(c, a, b);
    const __m256i bytes = _mm256_permute4x64_epi64(_mm256_packs_epi16(chroma, chroma), 0x08);
    const __m128i centredBack = _mm_xor_si128(_mm256_castsi256_si128(bytes), _mm_set1_epi8(char(0x80)));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dstUV), centredBack);
}

// Copies count (1..15) bytes and fills the rest of the 16 by repeating the
// last `unit` bytes copied (1 for luma, 2 for chroma pairs).
LUT_AVX2_INLINE void loadPartial(uint8_t* to, const uint8_t* from, uint32_t count, uint32_t unit)
{
    memcpy(to, from, count);
    for (uint32_t i = count; i < kBlock; ++i)
        to[i] = to[i - unit];
}

template <bool kNv21, bool kUniform>
void renderRowPair(const Constants& c, const uint8_t* srcA, const uint8_t* srcB, const uint8_t* srcUV,
                   uint8_t* dstA, uint8_t* dstB, uint8_t* dstUV, uint32_t width)
{
    uint32_t x = 0;
    for (; x + kBlock <= width; x += kBlock)
        renderBlock<kNv21, kUniform>(c, srcA + x, srcB + x, srcUV + x, dstA + x, dstB + x, dstUV + x);
    const uint32_t rem = width - x;
    if (rem == 0)
        return;
    const uint32_t chromaBytes = (rem + 1) & ~1u;
    alignas(16) uint8_t lumaA[kBlock], lumaB[kBlock], chroma[kBlock];
    loadPartial(lumaA, srcA + x, rem, 1);
    loadPartial(lumaB, srcB + x, rem, 1);
    loadPartial(chroma, srcUV + x, chromaBytes, 2);
    renderBlock<kNv21, kUniform>(c, lumaA, lumaB, chroma, lumaA, lumaB, chroma);
    memcpy(dstA + x, lumaA, rem);
    memcpy(dstB + x, lumaB, rem);
    memcpy(dstUV + x, chroma, chromaBytes);
}

} // namespace

void lutRowPairAvx2(const Lut3DEffect* effect, const uint8_t* srcA, const uint8_t* srcB, const uint8_t* srcUV,
                    uint8_t* dstA, uint8_t* dstB, uint8_t* dstUV, bool nv21)
{
    if (!effect->table->cornerGroups) {
        lutRowPairNeon(effect, srcA, srcB, srcUV, dstA, dstB, dstUV, nv21);
        return;
    }
    const Constants c = constantsFor(*effect, nv21);
    const uint32_t width = effect->width;
    const bool uniform = effect->table->uniform != 0;
    if (nv21) {
        if (uniform)
            renderRowPair<true, true>(c, srcA, srcB, srcUV, dstA, dstB, dstUV, width);
        else
            renderRowPair<true, false>(c, srcA, srcB, srcUV, dstA, dstB, dstUV, width);
    } else {
        if (uniform)
            renderRowPair<false, true>(c, srcA, srcB, srcUV, dstA, dstB, dstUV, width);
        else
            renderRowPair<false, false>(c, srcA, srcB, srcUV, dstA, dstB, dstUV, width);
    }
}

bool lutAvx2Supported()
{
    // The processor's feature bits (AVX2, and the system saving the wide
    // registers); safe to call from static constructors too.
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2");
}

#endif // LUT_HAVE_AVX2_KERNEL
