#include "tools/lutsummary.h"

#include "tools/lutfile.h"

#include <algorithm>
#include <cmath>

namespace oxtool {

LutSummary summarizeLut(const LutFile& lut)
{
    LutSummary s;
    const size_t entries = lut.grid.size() / 3;
    if (entries == 0)
        return s;
    double sum[3] = {0, 0, 0};
    for (int c = 0; c < 3; ++c) {
        s.min[c] = 1.0;
        s.max[c] = 0.0;
    }
    for (size_t e = 0; e < entries; ++e) {
        for (int c = 0; c < 3; ++c) {
            const double v = lut.grid[e * 3 + c] / 255.0;
            sum[c] += v;
            s.min[c] = std::min(s.min[c], v);
            s.max[c] = std::max(s.max[c], v);
        }
    }
    for (int c = 0; c < 3; ++c)
        s.mean[c] = sum[c] / double(entries);

    if (!lut.is3D)
        return s;
    const uint32_t n = lut.levelCount();
    double distance = 0;
    s.hasIdentityDistance = true;
    for (uint32_t r = 0; r < n; ++r) {
        for (uint32_t g = 0; g < n; ++g) {
            for (uint32_t b = 0; b < n; ++b) {
                const uint8_t* out = lut.entry(r, g, b);
                const uint32_t index[3] = {r, g, b};
                for (int c = 0; c < 3; ++c) {
                    const double d = std::fabs(out[c] / 255.0 - double(lut.levels[index[c]]));
                    distance += d;
                    if (d > s.maxFromIdentity) {
                        s.maxFromIdentity = d;
                        std::copy(index, index + 3, s.farthest);
                    }
                }
            }
        }
    }
    s.meanFromIdentity = distance / (double(entries) * 3.0);
    return s;
}

} // namespace oxtool
