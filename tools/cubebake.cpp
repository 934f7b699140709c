#include "tools/cubebake.h"

#include "tools/cubefile.h"
#include "tools/lutfile.h"

#include <cmath>
#include <cstdio>

namespace oxtool {

namespace {

// Position of x on a table axis of n points over [lo, hi]: the lower point
// and the fraction towards the next. Inputs outside the domain clamp to its
// edge.
struct AxisPosition {
    int index;
    double fraction;
};

AxisPosition axisPosition(double x, double lo, double hi, int n)
{
    const double clamped = x < lo ? lo : (x > hi ? hi : x);
    const double t = (clamped - lo) / (hi - lo) * (n - 1);
    int index = int(t);
    if (index > n - 2)
        index = n - 2;
    return {index, t - index};
}

std::string hexColour(const uint8_t* rgb)
{
    char text[8];
    std::snprintf(text, sizeof text, "#%02X%02X%02X", rgb[0], rgb[1], rgb[2]);
    return text;
}

} // namespace

void CubeEvaluator::evaluate(const double in[3], double out[3]) const
{
    double x[3] = {in[0], in[1], in[2]};
    const CubeTable& shaper = m_lut.shaper;
    if (shaper.size > 0) {
        for (int c = 0; c < 3; ++c) {
            const AxisPosition p =
                axisPosition(x[c], shaper.domainMin[c], shaper.domainMax[c], shaper.size);
            const float* v = &shaper.rgb[size_t(p.index) * 3 + c];
            x[c] = v[0] + (double(v[3]) - v[0]) * p.fraction;
        }
    }
    const CubeTable& cube = m_lut.cube;
    if (cube.size == 0) {
        for (int c = 0; c < 3; ++c)
            out[c] = x[c];
        return;
    }
    const int n = cube.size;
    AxisPosition p[3];
    for (int c = 0; c < 3; ++c)
        p[c] = axisPosition(x[c], cube.domainMin[c], cube.domainMax[c], n);
    // Entries are stored red fastest: (r + n * (g + n * b)) * 3.
    const size_t step[3] = {3, size_t(n) * 3, size_t(n) * n * 3};
    const float* base =
        &cube.rgb[p[0].index * step[0] + p[1].index * step[1] + p[2].index * step[2]];
    for (int c = 0; c < 3; ++c) {
        double value = 0;
        for (int corner = 0; corner < 8; ++corner) {
            double weight = 1;
            size_t offset = size_t(c);
            for (int axis = 0; axis < 3; ++axis) {
                const bool upper = (corner >> axis) & 1;
                weight *= upper ? p[axis].fraction : 1 - p[axis].fraction;
                offset += upper ? step[axis] : 0;
            }
            if (weight != 0)
                value += weight * base[offset];
        }
        out[c] = value;
    }
}

uint32_t defaultGrid(const CubeLut& lut)
{
    return lut.has3D() ? uint32_t(lut.cube.size) : kDefault1DGrid;
}

bool lutFromCube(const CubeLut& cube, uint32_t grid, LutFile* lut, std::string* error,
                 std::vector<std::string>* warnings)
{
    const uint32_t n = grid ? grid : defaultGrid(cube);
    if (n < uint32_t(kMinCubeSize) || n > kLutMaxLevels) {
        *error = "a grid of " + std::to_string(n) + " points per side is outside " +
                 std::to_string(kMinCubeSize) + ".." + std::to_string(kLutMaxLevels);
        return false;
    }
    // The level values span the input domain where the library's level
    // values can express it (one domain for all channels, inside 0..1).
    const CubeTable& first = cube.hasShaper() ? cube.shaper : cube.cube;
    double lo = first.domainMin[0];
    double hi = first.domainMax[0];
    for (int c = 0; c < 3; ++c) {
        if (first.domainMin[c] != lo || first.domainMax[c] != hi || lo < 0 || hi > 1) {
            lo = 0;
            hi = 1;
            break;
        }
    }

    *lut = LutFile();
    lut->levels.resize(n);
    std::vector<double> at(n);
    for (uint32_t i = 0; i < n; ++i) {
        at[i] = i + 1 == n ? hi : lo + (hi - lo) * i / (n - 1);
        lut->levels[i] = float(at[i]);
    }

    // File order: blue fastest.
    const CubeEvaluator evaluator(cube);
    lut->grid.resize(size_t(n) * n * n * 3);
    uint8_t* out = lut->grid.data();
    bool allEqual = true;
    for (uint32_t r = 0; r < n; ++r) {
        for (uint32_t g = 0; g < n; ++g) {
            for (uint32_t b = 0; b < n; ++b, out += 3) {
                const double in[3] = {at[r], at[g], at[b]};
                double rgb[3];
                evaluator.evaluate(in, rgb);
                for (int c = 0; c < 3; ++c) {
                    out[c] = toByte(float(rgb[c]));
                    allEqual = allEqual && out[c] == lut->grid[size_t(c)];
                }
            }
        }
    }
    if (allEqual && warnings)
        warnings->push_back("every entry is the same colour, " + hexColour(lut->grid.data()) +
                            ": every pixel comes out that colour");
    return true;
}

} // namespace oxtool
