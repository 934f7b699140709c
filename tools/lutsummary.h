// Colour statistics of a LUT's grid for `oxlut info`: what the grade does to
// colours on average and how far it moves them from the identity.
#ifndef OXTOOL_LUTSUMMARY_H
#define OXTOOL_LUTSUMMARY_H

#include <cstdint>

namespace oxtool {

struct LutFile;

struct LutSummary {
    // Per output channel R, G, B, in 0..1.
    double mean[3] = {0, 0, 0};
    double min[3] = {0, 0, 0};
    double max[3] = {0, 0, 0};
    // Distance of the outputs from the identity grade (output = input level),
    // over all entries and channels, in 0..1. Only for 3D tables.
    bool hasIdentityDistance = false;
    double meanFromIdentity = 0;
    double maxFromIdentity = 0;
    // Entry index (r, g, b) where the distance is largest.
    uint32_t farthest[3] = {0, 0, 0};
};

LutSummary summarizeLut(const LutFile& lut);

// Largest distance from identity that 8-bit rounding alone explains.
constexpr double kIdentityRounding = 0.5 / 255.0 + 1e-6;

} // namespace oxtool

#endif // OXTOOL_LUTSUMMARY_H
