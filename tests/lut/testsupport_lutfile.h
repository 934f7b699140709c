// Test helpers for look-up table files: every field of a ".ZR-LUT " file can
// be set, so a test writes exactly the file it needs, broken ones included,
// into a temporary directory that goes away with the test.
//
//     LutFileLayout layout = lutFileLayout(17, 1);  // a valid 3D file, N = 17
//     layout.version = 2;                       // ... that no loader accepts
//     LutTempDir dir;
//     std::string path = dir.write("v2.lut", lutFileBytes(layout));
#ifndef TESTSUPPORT_LUTFILE_H
#define TESTSUPPORT_LUTFILE_H

#include "oxtempdir.h"

#include <cstdint>
#include <string>
#include <vector>

namespace luttest {

struct LutFileLayout {
    std::string magic = ".ZR-LUT "; // the first 8 bytes, cut or zero-padded to 8
    uint32_t version = 1;
    uint32_t levelCount = 0;        // the header's N, whatever the vectors hold
    uint32_t elementType = 0;
    uint32_t dimensions = 1;        // non-zero: 3D
    uint64_t reserved24 = 0;
    uint64_t levelOffset = 48;
    uint64_t reserved40 = 0;
    // Where the level values and the grid go: at levelOffset when that lies
    // within the first MiB (the gap after the header is filled with gapByte),
    // else right after the header.
    uint8_t gapByte = 0;
    std::vector<float> levels;      // written as they are, however many
    std::vector<uint8_t> grid;      // follows the levels directly
};

// A valid file of n evenly spaced levels and a grid of bytes from a generator
// seeded with seed (seed 0: the identity grid, level i giving i * 255 / (n-1)).
LutFileLayout lutFileLayout(uint32_t n, uint32_t seed);

// The bytes of a file: 48-byte little-endian header, the levels, the grid.
std::vector<uint8_t> lutFileBytes(const LutFileLayout& layout);

// A temporary directory that writes files from their bytes or layout and
// returns their paths.
class LutTempDir : public OxTempDir {
public:
    std::string write(const std::string& name, const std::vector<uint8_t>& bytes);
    std::string write(const std::string& name, const LutFileLayout& layout)
    {
        return write(name, lutFileBytes(layout));
    }
};

// Number of open file descriptors of this process (-1 when unknown), to see
// that a load closes what it opened.
int openDescriptorCount();

} // namespace luttest

#endif // TESTSUPPORT_LUTFILE_H
