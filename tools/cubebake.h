// Turning a parsed .cube file into the library's LUT file. Whatever the file
// holds (a 3D table, a 1D table, a 1D shaper and a 3D table, domains per
// channel or beyond 0..1), it is evaluated in floating point at every point
// of one N x N x N grid and rounded once to 8 bits. For a plain 3D table on
// its own grid the evaluation gives back its entries exactly.
#ifndef OXTOOL_CUBEBAKE_H
#define OXTOOL_CUBEBAKE_H

#include <cstdint>
#include <string>
#include <vector>

namespace oxtool {

struct CubeLut;
struct LutFile;

constexpr uint32_t kDefault1DGrid = 33;

// The file's transform at one input colour: the 1D shaper (linear between
// its entries, each channel on its own), then the 3D table (trilinear), each
// input clamped to its table's domain first. The output is not clamped.
class CubeEvaluator {
public:
    explicit CubeEvaluator(const CubeLut& lut) : m_lut(lut) {}
    void evaluate(const double in[3], double out[3]) const;

private:
    const CubeLut& m_lut;
};

// The grid a file is baked onto unless asked otherwise: its own 3D size, or
// kDefault1DGrid for a 1D table.
uint32_t defaultGrid(const CubeLut& lut);

// Builds the LUT file of a parsed .cube file on a grid of `grid` points per
// side (0: defaultGrid). The level values span the file's input domain when
// it is the same for the three channels and lies inside 0..1, and 0..1
// otherwise. Appends a warning when every entry comes out the same colour.
bool lutFromCube(const CubeLut& cube, uint32_t grid, LutFile* lut, std::string* error,
                 std::vector<std::string>* warnings = nullptr);

} // namespace oxtool

#endif // OXTOOL_CUBEBAKE_H
