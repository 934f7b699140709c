// Reading the text .cube format that grading applications and photo editors
// export. A file holds a 3D table of output colours (red varying fastest), a
// 1D table (one curve per channel), or a 1D shaper followed by a 3D table,
// plus a few keywords:
//
//     TITLE "Warm teal"
//     LUT_3D_SIZE 17
//     DOMAIN_MIN 0.0 0.0 0.0
//     DOMAIN_MAX 1.0 1.0 1.0
//     0.0 0.0 0.0        # entry r=0 g=0 b=0
//     0.07 0.0 0.0       # entry r=1 g=0 b=0
//     ...
//
// DOMAIN_MIN/DOMAIN_MAX give the input domain of the file's first table, per
// channel; LUT_1D_INPUT_RANGE and LUT_3D_INPUT_RANGE give the domain of the
// 1D and of the 3D table, the same for all channels, and take precedence.
// Lines end in LF, CR LF or CR alone; a byte order mark is skipped.
#ifndef OXTOOL_CUBEFILE_H
#define OXTOOL_CUBEFILE_H

#include <string>
#include <vector>

namespace oxtool {

constexpr int kMinCubeSize = 2;
constexpr int kMaxCubeSize = 65;
constexpr int kMaxCube1DSize = 65536;

// One table of a .cube file.
struct CubeTable {
    int size = 0;  // entries (1D) or points per side (3D); 0 when the file has none
    float domainMin[3] = {0.0f, 0.0f, 0.0f};
    float domainMax[3] = {1.0f, 1.0f, 1.0f};
    // Output colours, three floats each, in file order (red fastest in 3D).
    std::vector<float> rgb;
};

struct CubeLut {
    std::string title;
    CubeTable shaper;  // LUT_1D_SIZE: applied first, each channel on its own
    CubeTable cube;    // LUT_3D_SIZE
    // Things the file says that change nothing, one line each.
    std::vector<std::string> warnings;

    bool hasShaper() const { return shaper.size > 0; }
    bool has3D() const { return cube.size > 0; }
    // What the file is: "a 3D table of 33 points per side", "a 1D table of
    // 1024 entries", "a 1D shaper of 1024 entries and a 3D table of ...".
    std::string describe() const;
};

// Parses the text of a .cube file. On failure returns false and sets error to
// one line, starting with "line N: " when a line is at fault.
bool parseCube(const std::string& text, CubeLut* lut, std::string* error);

// Reads and parses a file; errors name what went wrong but not the path.
bool readCubeFile(const std::string& path, CubeLut* lut, std::string* error);

} // namespace oxtool

#endif // OXTOOL_CUBEFILE_H
