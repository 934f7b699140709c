// The library's binary LUT file (magic ".ZR-LUT "): encoding one to bytes and
// decoding one for inspection (.cube files become one in cubebake.h).
//
// Layout: a 48-byte little-endian header (magic, version 1, level count N,
// element type 0, 3D flag, level values offset), N float level values, then
// N^3 entries of 3 bytes (output R, G, B) with blue varying fastest.
#ifndef OXTOOL_LUTFILE_H
#define OXTOOL_LUTFILE_H

#include <cstdint>
#include <string>
#include <vector>

namespace oxtool {

constexpr char kLutMagic[9] = ".ZR-LUT ";
constexpr size_t kLutHeaderSize = 48;
constexpr uint32_t kLutMaxLevels = 65;
// Levels count as evenly spaced over 0..1 within this tolerance (1/512),
// the same rule the renderer uses to skip its level lookup.
constexpr float kUniformTolerance = 1.0f / 512.0f;

struct LutFile {
    uint32_t version = 1;
    uint32_t elementType = 0;
    bool is3D = true;
    uint64_t levelsOffset = kLutHeaderSize;
    std::vector<float> levels;
    // N^3 x 3 bytes (3D) or N x 3 bytes (1D), file order.
    std::vector<uint8_t> grid;
    // Bytes after the grid (ignored by the loader, reported by info).
    uint64_t trailingBytes = 0;

    uint32_t levelCount() const { return uint32_t(levels.size()); }
    // Entry of grid indices r, g, b (3D files).
    const uint8_t* entry(uint32_t r, uint32_t g, uint32_t b) const
    {
        const size_t n = levels.size();
        return &grid[((r * n + g) * n + b) * 3];
    }
};

// The file's bytes (header at offset 0, level values at offset 48).
std::string encodeLut(const LutFile& lut);

// Checks and decodes the bytes of a LUT file. Accepts what the library's
// loader accepts (also 1D files, which only it refuses later).
bool decodeLut(const std::string& bytes, LutFile* lut, std::string* error);

bool readLutFile(const std::string& path, LutFile* lut, std::string* error);

// Whether levels are evenly spaced from 0 to 1 (within kUniformTolerance).
bool levelsAreUniform(const std::vector<float>& levels);

// Rounds a colour value to 8 bits after clamping it to 0..1.
uint8_t toByte(float value);

} // namespace oxtool

#endif // OXTOOL_LUTFILE_H
