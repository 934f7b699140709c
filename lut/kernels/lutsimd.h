// Vector operations of the NEON kernel that the x86 translation handles
// badly. On Arm each helper is the one intrinsic it is named after. On x86
// hosts SIMDe translates the intrinsics; built with GCC it widens bytes in
// four instructions, emulates the doubling multiply lane by lane (through a
// left shift of negative values) and saturates with compare sequences, so
// there the helpers use the SSE instructions that give the same values.
//
// The rounding helpers add the rounding constant in 16 bits on x86: their
// callers keep every value at least that constant away from the 16-bit
// limits (the kernel's values never come close).
#ifndef LUTSIMD_H
#define LUTSIMD_H

#include "core/oxneon.h"

#define LUT_INLINE inline __attribute__((always_inline))

// Marks the loop around it for bench/arm64-cycles, which finds the loop in
// the compiled code and gives it to the machine-code analyser: `name` and
// `variant` (a constant, telling apart the copies of a template) name the
// loop, `pixels` is how many pixels one pass of the loop body maps. Compiles
// to nothing unless OXLUT_MCA_REGIONS is defined; then it is an assembler
// comment, no instruction.
#if defined(OXLUT_MCA_REGIONS)
#define LUT_MCA_LOOP(name, variant, pixels) \
    __asm__ volatile("// LUT-MCA-LOOP " name ".%c0 %c1" : : "i"(int(variant)), "i"(int(pixels)))
#else
#define LUT_MCA_LOOP(name, variant, pixels) ((void)0)
#endif

namespace lutsimd {

#if defined(SIMDE_X86_SSE4_1_NATIVE)

// 64-bit vectors move to and from the low half of an SSE register through
// memory, which compilers turn into register moves; the __m64 conversions
// would let some compilers use MMX registers (and leave the FPU state dirty).
LUT_INLINE __m128i bits(uint8x8_t a)
{
    return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(&a));
}

LUT_INLINE uint8x8_t lowBytes(__m128i a)
{
    uint8x8_t bytes;
    _mm_storel_epi64(reinterpret_cast<__m128i*>(&bytes), a);
    return bytes;
}

// vmovl_u8
LUT_INLINE uint16x8_t widen(uint8x8_t a)
{
    return simde_uint16x8_from_m128i(_mm_cvtepu8_epi16(bits(a)));
}

// vpaddq_u16: sums of neighbouring lanes, a's then b's, modulo 2^16
LUT_INLINE uint16x8_t pairwiseAdd(uint16x8_t a, uint16x8_t b)
{
    return simde_uint16x8_from_m128i(_mm_hadd_epi16(simde_uint16x8_to_m128i(a), simde_uint16x8_to_m128i(b)));
}

// vqdmulhq_s16 without saturation: floor(a * b / 32768)
LUT_INLINE int16x8_t mulHighDoubled(int16x8_t a, int16x8_t b)
{
    const __m128i x = simde_int16x8_to_m128i(a), y = simde_int16x8_to_m128i(b);
    const __m128i high = _mm_slli_epi16(_mm_mulhi_epi16(x, y), 1);
    const __m128i lowTopBit = _mm_srli_epi16(_mm_mullo_epi16(x, y), 15);
    return simde_int16x8_from_m128i(_mm_or_si128(high, lowTopBit));
}

// vqrshrun_n_s16: saturate((a + 2^(n-1)) >> n) to 0..255
template <int n>
LUT_INLINE uint8x8_t narrowRoundUnsigned(int16x8_t a)
{
    const __m128i x = _mm_srai_epi16(_mm_add_epi16(simde_int16x8_to_m128i(a), _mm_set1_epi16(1 << (n - 1))), n);
    return lowBytes(_mm_packus_epi16(x, x));
}

// vqrshrn_n_u16: saturate((a + 2^(n-1)) >> n) to 0..255, the rounding
// halving average needing no seventeenth bit
template <int n>
LUT_INLINE uint8x8_t narrowRoundSaturate(uint16x8_t a)
{
    const __m128i x = _mm_avg_epu16(_mm_srli_epi16(simde_uint16x8_to_m128i(a), n - 1), _mm_setzero_si128());
    return lowBytes(_mm_packus_epi16(x, x));
}

// vrshrq_n_u16: (a + 2^(n-1)) >> n
template <int n>
LUT_INLINE uint16x8_t shiftRound(uint16x8_t a)
{
    return vshrq_n_u16(vaddq_u16(a, vdupq_n_u16(1 << (n - 1))), n);
}

// vraddhn_u16: the high bytes of a + b + 128, modulo 2^16
LUT_INLINE uint8x8_t addNarrowRound(uint16x8_t a, uint16x8_t b)
{
    const __m128i sum = _mm_add_epi16(simde_uint16x8_to_m128i(a), simde_uint16x8_to_m128i(b));
    const __m128i x = _mm_srli_epi16(_mm_add_epi16(sum, _mm_set1_epi16(128)), 8);
    return lowBytes(_mm_packus_epi16(x, x));
}

// vshrn_n_u16 for results that fit 8 bits: a >> n
template <int n>
LUT_INLINE uint8x8_t narrowShift(uint16x8_t a)
{
    const __m128i x = _mm_srli_epi16(simde_uint16x8_to_m128i(a), n);
    return lowBytes(_mm_packus_epi16(x, x));
}

// vshrn_n_u16 of vuzp1q_u16(a, b) and of vuzp2q_u16(a, b), for results that
// fit 8 bits
template <int n>
LUT_INLINE uint8x8x2_t narrowShiftUnzip(uint16x8_t a, uint16x8_t b)
{
    const __m128i x = _mm_packus_epi16(_mm_srli_epi16(simde_uint16x8_to_m128i(a), n),
                                       _mm_srli_epi16(simde_uint16x8_to_m128i(b), n));
    const __m128i split = _mm_shuffle_epi8(x, _mm_setr_epi8(0, 2, 4, 6, 8, 10, 12, 14, 1, 3, 5, 7, 9, 11, 13, 15));
    uint8x8x2_t out;
    out.val[0] = lowBytes(split);
    out.val[1] = lowBytes(_mm_unpackhi_epi64(split, split));
    return out;
}

#else

LUT_INLINE uint16x8_t widen(uint8x8_t a)
{
    return vmovl_u8(a);
}

LUT_INLINE uint16x8_t pairwiseAdd(uint16x8_t a, uint16x8_t b)
{
    return vpaddq_u16(a, b);
}

LUT_INLINE int16x8_t mulHighDoubled(int16x8_t a, int16x8_t b)
{
    return vqdmulhq_s16(a, b);
}

template <int n>
LUT_INLINE uint8x8_t narrowRoundUnsigned(int16x8_t a)
{
    return vqrshrun_n_s16(a, n);
}

template <int n>
LUT_INLINE uint8x8_t narrowRoundSaturate(uint16x8_t a)
{
    return vqrshrn_n_u16(a, n);
}

template <int n>
LUT_INLINE uint16x8_t shiftRound(uint16x8_t a)
{
    return vrshrq_n_u16(a, n);
}

LUT_INLINE uint8x8_t addNarrowRound(uint16x8_t a, uint16x8_t b)
{
    return vraddhn_u16(a, b);
}

template <int n>
LUT_INLINE uint8x8_t narrowShift(uint16x8_t a)
{
    return vshrn_n_u16(a, n);
}

template <int n>
LUT_INLINE uint8x8x2_t narrowShiftUnzip(uint16x8_t a, uint16x8_t b)
{
    uint8x8x2_t out;
    out.val[0] = vshrn_n_u16(vuzp1q_u16(a, b), n);
    out.val[1] = vshrn_n_u16(vuzp2q_u16(a, b), n);
    return out;
}

#endif

// vmull_u8, vmlal_u8, vaddl_u8, vsubl_u8, their forms on high halves
// (vmull_high_u8, vsubl_high_u8), vaddw_u8, vqdmulhq_laneq_s16 (see
// mulHighDoubled; the Small form where 2 * a fits 16 bits, which x86
// computes in one multiply) and vuzp1q_u8 of bytes widened to 16 bits (narrowBoth)
#if defined(SIMDE_X86_SSE4_1_NATIVE)
LUT_INLINE uint16x8_t mulWide(uint8x8_t a, uint8x8_t b)
{
    return vmulq_u16(widen(a), widen(b));
}
LUT_INLINE uint16x8_t mulAddWide(uint16x8_t sum, uint8x8_t a, uint8x8_t b)
{
    return vmlaq_u16(sum, widen(a), widen(b));
}
LUT_INLINE uint16x8_t addWide(uint8x8_t a, uint8x8_t b)
{
    return vaddq_u16(widen(a), widen(b));
}
LUT_INLINE uint16x8_t subWide(uint8x8_t a, uint8x8_t b)
{
    return vsubq_u16(widen(a), widen(b));
}
LUT_INLINE __m128i widenHigh(uint8x16_t a)
{
    return _mm_unpackhi_epi8(simde_uint8x16_to_m128i(a), _mm_setzero_si128());
}
LUT_INLINE uint16x8_t mulWideHigh(uint8x16_t a, uint8x16_t b)
{
    return simde_uint16x8_from_m128i(_mm_mullo_epi16(widenHigh(a), widenHigh(b)));
}
LUT_INLINE uint16x8_t subWideHigh(uint8x16_t a, uint8x16_t b)
{
    return simde_uint16x8_from_m128i(_mm_sub_epi16(widenHigh(a), widenHigh(b)));
}
LUT_INLINE uint16x8_t addWidened(uint16x8_t a, uint8x8_t b)
{
    return vaddq_u16(a, widen(b));
}
template <int lane>
LUT_INLINE int16x8_t mulHighDoubledLane(int16x8_t a, int16x8_t b)
{
    return mulHighDoubled(a, vdupq_laneq_s16(b, lane));
}
// The same where 2 * a fits 16 bits: the high half of (2 * a) * b[lane],
// one multiply.
template <int lane>
LUT_INLINE int16x8_t mulHighDoubledLaneSmall(int16x8_t a, int16x8_t b)
{
    const __m128i x = simde_int16x8_to_m128i(a);
    return simde_int16x8_from_m128i(
        _mm_mulhi_epi16(_mm_add_epi16(x, x), simde_int16x8_to_m128i(vdupq_laneq_s16(b, lane))));
}
// vuzp1q_u8 of 16-bit lanes that fit 8 bits: their low bytes, a's then b's
LUT_INLINE uint8x16_t narrowBoth(uint16x8_t a, uint16x8_t b)
{
    return simde_uint8x16_from_m128i(_mm_packus_epi16(simde_uint16x8_to_m128i(a), simde_uint16x8_to_m128i(b)));
}
#else
LUT_INLINE uint16x8_t mulWide(uint8x8_t a, uint8x8_t b)
{
    return vmull_u8(a, b);
}
LUT_INLINE uint16x8_t mulAddWide(uint16x8_t sum, uint8x8_t a, uint8x8_t b)
{
    return vmlal_u8(sum, a, b);
}
LUT_INLINE uint16x8_t addWide(uint8x8_t a, uint8x8_t b)
{
    return vaddl_u8(a, b);
}
LUT_INLINE uint16x8_t subWide(uint8x8_t a, uint8x8_t b)
{
    return vsubl_u8(a, b);
}
LUT_INLINE uint16x8_t mulWideHigh(uint8x16_t a, uint8x16_t b)
{
    return vmull_high_u8(a, b);
}
LUT_INLINE uint16x8_t subWideHigh(uint8x16_t a, uint8x16_t b)
{
    return vsubl_high_u8(a, b);
}
LUT_INLINE uint16x8_t addWidened(uint16x8_t a, uint8x8_t b)
{
    return vaddw_u8(a, b);
}
template <int lane>
LUT_INLINE int16x8_t mulHighDoubledLane(int16x8_t a, int16x8_t b)
{
    return vqdmulhq_laneq_s16(a, b, lane);
}
template <int lane>
LUT_INLINE int16x8_t mulHighDoubledLaneSmall(int16x8_t a, int16x8_t b)
{
    return vqdmulhq_laneq_s16(a, b, lane);
}
LUT_INLINE uint8x16_t narrowBoth(uint16x8_t a, uint16x8_t b)
{
    return vuzp1q_u8(vreinterpretq_u8_u16(a), vreinterpretq_u8_u16(b));
}
#endif

} // namespace lutsimd

#endif // LUTSIMD_H
