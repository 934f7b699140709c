#include "tools/framediff.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

namespace oxtool {

void PlaneDiff::add(const uint8_t* a, const uint8_t* b, size_t size)
{
    uint64_t sumAbsPart = 0;
    uint64_t sumSquaresPart = 0;
    uint32_t maxPart = maxAbs;
    for (size_t i = 0; i < size; ++i) {
        const uint32_t d = uint32_t(std::abs(int(a[i]) - int(b[i])));
        sumAbsPart += d;
        sumSquaresPart += d * d;
        maxPart = d > maxPart ? d : maxPart;
    }
    samples += size;
    sumAbs += sumAbsPart;
    sumSquares += sumSquaresPart;
    maxAbs = maxPart;
}

void PlaneDiff::add(const PlaneDiff& other)
{
    samples += other.samples;
    sumAbs += other.sumAbs;
    sumSquares += other.sumSquares;
    maxAbs = other.maxAbs > maxAbs ? other.maxAbs : maxAbs;
}

double PlaneDiff::psnr() const
{
    if (samples == 0 || sumSquares == 0)
        return std::numeric_limits<double>::infinity();
    const double mse = double(sumSquares) / double(samples);
    return 10.0 * std::log10(255.0 * 255.0 / mse);
}

PlaneDiff ClipDiff::all() const
{
    PlaneDiff sum = luma;
    sum.add(chroma);
    return sum;
}

bool diffClips(int fdA, int fdB, const FrameGeometry& geometry, ClipDiff* diff,
               std::string* error)
{
    *diff = ClipDiff();
    const size_t size = geometry.frameSize();
    std::unique_ptr<uint8_t[]> a(new (std::nothrow) uint8_t[size]);
    std::unique_ptr<uint8_t[]> b(new (std::nothrow) uint8_t[size]);
    if (!a || !b) {
        *error = "cannot allocate two frame buffers of " + std::to_string(size) + " bytes";
        return false;
    }
    for (;;) {
        const ssize_t gotA = readFully(fdA, a.get(), size);
        const ssize_t gotB = gotA < 0 ? 0 : readFully(fdB, b.get(), size);
        if (gotA < 0 || gotB < 0) {
            *error = std::string("read error: ") + std::strerror(errno);
            return false;
        }
        if (gotA == 0 && gotB == 0)
            return true;
        const std::string after = " after " + std::to_string(diff->frames) + " frames";
        const bool truncatedA = gotA > 0 && size_t(gotA) < size;
        const bool truncatedB = gotB > 0 && size_t(gotB) < size;
        if (truncatedA || truncatedB) {
            *error = std::string(truncatedA ? "first" : "second") +
                     " clip ends with a truncated frame" + after;
            return false;
        }
        if (gotA == 0 || gotB == 0) {
            *error = std::string(gotA == 0 ? "first" : "second") + " clip ends" + after +
                     ", the other goes on";
            return false;
        }
        diff->luma.add(a.get(), b.get(), geometry.lumaSize());
        diff->chroma.add(a.get() + geometry.lumaSize(), b.get() + geometry.lumaSize(),
                         geometry.chromaSize());
        ++diff->frames;
    }
}

} // namespace oxtool
