// Reading the text .cube format that grading applications export: a 3D table
// of output colours with red varying fastest, plus a few keywords.
//
//     TITLE "Warm teal"
//     LUT_3D_SIZE 17
//     DOMAIN_MIN 0 0 0
//     DOMAIN_MAX 1 1 1
//     0.0 0.0 0.0        # entry r=0 g=0 b=0
//     0.07 0.0 0.0       # entry r=1 g=0 b=0
//     ...
#ifndef OXTOOL_CUBEFILE_H
#define OXTOOL_CUBEFILE_H

#include <string>
#include <vector>

namespace oxtool {

constexpr int kMinCubeSize = 2;
constexpr int kMaxCubeSize = 65;

struct CubeLut {
    std::string title;
    int size = 0;
    float domainMin[3] = {0.0f, 0.0f, 0.0f};
    float domainMax[3] = {1.0f, 1.0f, 1.0f};
    // Line numbers of the keywords that set the domain (0 when absent), so
    // that a refused domain can be reported where it was written.
    int domainMinLine = 0;
    int domainMaxLine = 0;
    // size^3 output colours, three floats each, in file order (red fastest).
    std::vector<float> rgb;

    size_t entryCount() const { return size_t(size) * size * size; }
};

// Parses the text of a .cube file. On failure returns false and sets error to
// one line, starting with "line N: " when a line is at fault.
bool parseCube(const std::string& text, CubeLut* lut, std::string* error);

// Reads and parses a file; errors name what went wrong but not the path.
bool readCubeFile(const std::string& path, CubeLut* lut, std::string* error);

} // namespace oxtool

#endif // OXTOOL_CUBEFILE_H
