// Differences between two raw NV12/NV21 clips, per plane: mean absolute
// difference, largest difference and PSNR. Used to check a grade against
// another renderer of the same LUT.
#ifndef OXTOOL_FRAMEDIFF_H
#define OXTOOL_FRAMEDIFF_H

#include "tools/framestream.h"

#include <cstdint>
#include <string>

namespace oxtool {

struct PlaneDiff {
    uint64_t samples = 0;
    uint64_t sumAbs = 0;
    uint64_t sumSquares = 0;
    uint32_t maxAbs = 0;

    void add(const uint8_t* a, const uint8_t* b, size_t size);
    void add(const PlaneDiff& other);
    double meanAbs() const { return samples ? double(sumAbs) / double(samples) : 0.0; }
    // Peak signal-to-noise ratio in dB for 8-bit samples; infinite when equal.
    double psnr() const;
};

struct ClipDiff {
    uint64_t frames = 0;
    PlaneDiff luma;
    PlaneDiff chroma;

    PlaneDiff all() const;
};

// Compares two clips frame by frame through one buffer each. Clips of
// different lengths, or with a truncated last frame, are an error.
bool diffClips(int fdA, int fdB, const FrameGeometry& geometry, ClipDiff* diff,
               std::string* error);

} // namespace oxtool

#endif // OXTOOL_FRAMEDIFF_H
