// LutColorCoefficients: the fixed-point constants of one render, laid out for
// the NEON kernel. Every constant is replicated across the lanes of the
// vector that uses it, so the kernel loads each one as a whole register.
//
// YUV to RGB gains are Q13 (8192 = 1.0), RGB to YUV weights Q8 (256 = 1.0),
// the level scale Q15. The record is 208 bytes; the effect allocates it on a
// 64-byte boundary. The offsets are part of the kernel's contract.
#ifndef LUTCOLORCOEFFICIENTS_H
#define LUTCOLORCOEFFICIENTS_H

#include <cstddef>
#include <cstdint>

struct Lut3DTable;

struct LutColorCoefficients {
    uint8_t lumaOffset[8];   // 16, or 0 for range 1
    uint8_t chromaOffset[8]; // 128
    uint16_t lumaGain[8];    // Q13
    uint16_t vToR[8];        // Q13, added to R
    uint16_t uToG[8];        // Q13, subtracted from G
    uint16_t vToG[8];        // Q13, subtracted from G
    uint16_t uToB[8];        // Q13, added to B
    uint8_t rToY[8];         // Q8 luma weights
    uint8_t gToY[8];
    uint8_t bToY[8];
    uint16_t rToU[4];        // Q8, subtracted
    uint16_t gToU[4];        // Q8, subtracted
    uint16_t bToU[4];        // Q8, added
    uint16_t rToV[4];        // Q8, added
    uint16_t gToV[4];        // Q8, subtracted
    uint16_t bToV[4];        // Q8, subtracted
    uint8_t unused[8];       // never written
    uint16_t levelScale[8];  // Q15 (N - 1) / 255, for tables with uniform levels only
    uint8_t eight[16];       // the constant 8
};

static_assert(sizeof(LutColorCoefficients) == 208, "LutColorCoefficients is 208 bytes");
static_assert(offsetof(LutColorCoefficients, lumaOffset) == 0, "luma offset at 0");
static_assert(offsetof(LutColorCoefficients, chromaOffset) == 8, "chroma offset at 8");
static_assert(offsetof(LutColorCoefficients, lumaGain) == 16, "luma gain at 16");
static_assert(offsetof(LutColorCoefficients, vToR) == 32, "V to R at 32");
static_assert(offsetof(LutColorCoefficients, uToG) == 48, "U to G at 48");
static_assert(offsetof(LutColorCoefficients, vToG) == 64, "V to G at 64");
static_assert(offsetof(LutColorCoefficients, uToB) == 80, "U to B at 80");
static_assert(offsetof(LutColorCoefficients, rToY) == 96, "R weight of Y at 96");
static_assert(offsetof(LutColorCoefficients, gToY) == 104, "G weight of Y at 104");
static_assert(offsetof(LutColorCoefficients, bToY) == 112, "B weight of Y at 112");
static_assert(offsetof(LutColorCoefficients, rToU) == 120, "R weight of U at 120");
static_assert(offsetof(LutColorCoefficients, gToU) == 128, "G weight of U at 128");
static_assert(offsetof(LutColorCoefficients, bToU) == 136, "B weight of U at 136");
static_assert(offsetof(LutColorCoefficients, rToV) == 144, "R weight of V at 144");
static_assert(offsetof(LutColorCoefficients, gToV) == 152, "G weight of V at 152");
static_assert(offsetof(LutColorCoefficients, bToV) == 160, "B weight of V at 160");
static_assert(offsetof(LutColorCoefficients, levelScale) == 176, "level scale at 176");
static_assert(offsetof(LutColorCoefficients, eight) == 192, "constant 8 at 192");

// Fills the record for a colour standard (0 BT.601, anything else BT.709) and
// range (0 limited, anything else full gains and weights; the luma offset is
// 0 only for exactly 1). When table is non-null and its levels are uniform
// the level scale is written too; otherwise those lanes keep their content.
void lutColorCoefficientsFill(LutColorCoefficients* record, uint32_t colorStandard, uint32_t range,
                              const Lut3DTable* table);

// The Q15 level scale (N - 1) / 255 of a table with n levels per axis,
// evaluated in single precision and truncated.
uint16_t lutLevelScale(uint32_t n);

#endif // LUTCOLORCOEFFICIENTS_H
