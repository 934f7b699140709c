#include "lut/lutcolorcoefficients.h"

#include "lut/lut3dtable.h"

namespace {

// One colour-conversion set: Q13 gains for YUV to RGB, Q8 weights for RGB to
// YUV (the subtracted weights are stored as magnitudes).
struct ColorSet {
    uint16_t lumaGain, vToR, uToG, vToG, uToB;
    uint8_t rToY, gToY, bToY;
    uint16_t rToU, gToU, bToU;
    uint16_t rToV, gToV, bToV;
};

// Indexed by (standard != 0) + 2 * (range != 0). The full-range chroma gains
// are scaled for a swing of +-127; the BT.709 full-range luma weights add up
// to 255 and the full-range V weights to 127 against 128: these integer sets
// are what the output is defined by and must not be renormalised.
constexpr ColorSet kColorSets[4] = {
    // BT.601 limited range
    {9539, 13075, 3209, 6660, 16525, 66, 129, 25, 38, 74, 112, 112, 94, 18},
    // BT.709 limited range
    {9539, 14686, 1747, 4366, 17305, 47, 157, 16, 26, 87, 112, 112, 102, 10},
    // BT.601 full range
    {8192, 11530, 2830, 5873, 14573, 77, 150, 29, 43, 84, 127, 127, 107, 21},
    // BT.709 full range
    {8192, 12952, 1541, 3850, 15261, 54, 183, 18, 29, 98, 127, 127, 116, 12},
};

template <typename T, size_t Lanes>
void replicate(T (&lanes)[Lanes], T value)
{
    for (T& lane : lanes)
        lane = value;
}

} // namespace

uint16_t lutLevelScale(uint32_t n)
{
    const float scale = float(n - 1) / 255.0f * 32768.0f;
    return uint16_t(scale);
}

void lutColorCoefficientsFill(LutColorCoefficients* record, uint32_t colorStandard, uint32_t range,
                              const Lut3DTable* table)
{
    const ColorSet& set = kColorSets[(colorStandard != 0 ? 1 : 0) + (range != 0 ? 2 : 0)];
    // Only range 1 drops the luma offset; any other non-zero range keeps 16
    // with the full-range gains.
    replicate(record->lumaOffset, uint8_t(range == 1 ? 0 : 16));
    replicate(record->chromaOffset, uint8_t(128));
    replicate(record->lumaGain, set.lumaGain);
    replicate(record->vToR, set.vToR);
    replicate(record->uToG, set.uToG);
    replicate(record->vToG, set.vToG);
    replicate(record->uToB, set.uToB);
    replicate(record->rToY, set.rToY);
    replicate(record->gToY, set.gToY);
    replicate(record->bToY, set.bToY);
    replicate(record->rToU, set.rToU);
    replicate(record->gToU, set.gToU);
    replicate(record->bToU, set.bToU);
    replicate(record->rToV, set.rToV);
    replicate(record->gToV, set.gToV);
    replicate(record->bToV, set.bToV);
    if (table && table->uniform)
        replicate(record->levelScale, lutLevelScale(table->levelCount));
    replicate(record->eight, uint8_t(8));
}
