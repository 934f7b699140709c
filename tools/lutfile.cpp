#include "tools/lutfile.h"

#include "tools/fileio.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace oxtool {

namespace {

void putU32(std::string* out, size_t at, uint32_t v)
{
    for (int i = 0; i < 4; ++i)
        (*out)[at + i] = char((v >> (8 * i)) & 0xff);
}

void putU64(std::string* out, size_t at, uint64_t v)
{
    for (int i = 0; i < 8; ++i)
        (*out)[at + i] = char((v >> (8 * i)) & 0xff);
}

uint32_t getU32(const std::string& in, size_t at)
{
    uint32_t v = 0;
    for (int i = 0; i < 4; ++i)
        v |= uint32_t(uint8_t(in[at + i])) << (8 * i);
    return v;
}

uint64_t getU64(const std::string& in, size_t at)
{
    uint64_t v = 0;
    for (int i = 0; i < 8; ++i)
        v |= uint64_t(uint8_t(in[at + i])) << (8 * i);
    return v;
}

float bitsToFloat(uint32_t bits)
{
    float f;
    std::memcpy(&f, &bits, sizeof f);
    return f;
}

uint32_t floatToBits(float f)
{
    uint32_t bits;
    std::memcpy(&bits, &f, sizeof bits);
    return bits;
}

} // namespace

uint8_t toByte(float value)
{
    const float clamped = value < 0.0f ? 0.0f : (value > 1.0f ? 1.0f : value);
    return uint8_t(std::lround(double(clamped) * 255.0));
}

std::string encodeLut(const LutFile& lut)
{
    const uint32_t n = lut.levelCount();
    std::string out(kLutHeaderSize + size_t(n) * 4, '\0');
    std::memcpy(&out[0], kLutMagic, 8);
    putU32(&out, 8, lut.version);
    putU32(&out, 12, n);
    putU32(&out, 16, lut.elementType);
    putU32(&out, 20, lut.is3D ? 1 : 0);
    putU64(&out, 32, kLutHeaderSize);
    for (uint32_t i = 0; i < n; ++i)
        putU32(&out, kLutHeaderSize + size_t(i) * 4, floatToBits(lut.levels[i]));
    out.append(reinterpret_cast<const char*>(lut.grid.data()), lut.grid.size());
    return out;
}

bool decodeLut(const std::string& bytes, LutFile* lut, std::string* error)
{
    *lut = LutFile();
    if (bytes.size() < 8 || std::memcmp(bytes.data(), kLutMagic, 8) != 0) {
        *error = "not a .ZR-LUT file (no \".ZR-LUT \" signature)";
        return false;
    }
    if (bytes.size() < kLutHeaderSize) {
        *error = "header truncated (" + std::to_string(bytes.size()) + " of " +
                 std::to_string(kLutHeaderSize) + " bytes)";
        return false;
    }
    lut->version = getU32(bytes, 8);
    const uint32_t n = getU32(bytes, 12);
    lut->elementType = getU32(bytes, 16);
    lut->is3D = getU32(bytes, 20) != 0;
    lut->levelsOffset = getU64(bytes, 32);
    if (lut->version != 1) {
        *error = "unsupported version " + std::to_string(lut->version) + " (only 1)";
        return false;
    }
    if (lut->elementType != 0) {
        *error = "unsupported element type " + std::to_string(lut->elementType) +
                 " (only 0, 8-bit)";
        return false;
    }
    if (n < 1 || n > kLutMaxLevels) {
        *error = "level count " + std::to_string(n) + " outside 1.." +
                 std::to_string(kLutMaxLevels);
        return false;
    }
    const uint64_t levelsEnd = lut->levelsOffset + uint64_t(n) * 4;
    if (lut->levelsOffset > bytes.size() || levelsEnd > bytes.size()) {
        *error = "level values past the end of the file (offset " +
                 std::to_string(lut->levelsOffset) + ")";
        return false;
    }
    lut->levels.resize(n);
    for (uint32_t i = 0; i < n; ++i)
        lut->levels[i] = bitsToFloat(getU32(bytes, size_t(lut->levelsOffset) + size_t(i) * 4));
    const uint64_t entries = lut->is3D ? uint64_t(n) * n * n : n;
    const uint64_t available = bytes.size() - levelsEnd;
    if (available < entries * 3) {
        *error = "grid truncated (" + std::to_string(available) + " of " +
                 std::to_string(entries * 3) + " bytes)";
        return false;
    }
    const char* grid = bytes.data() + levelsEnd;
    lut->grid.assign(grid, grid + entries * 3);
    lut->trailingBytes = available - entries * 3;
    return true;
}

bool readLutFile(const std::string& path, LutFile* lut, std::string* error)
{
    std::string bytes;
    return readWholeFile(path, &bytes, error) && decodeLut(bytes, lut, error);
}

bool levelsAreUniform(const std::vector<float>& levels)
{
    const size_t n = levels.size();
    if (n < 2)
        return false;
    if (std::fabs(levels[0]) > kUniformTolerance ||
        std::fabs(levels[n - 1] - 1.0f) > kUniformTolerance)
        return false;
    float smallest = levels[1] - levels[0];
    float largest = smallest;
    for (size_t i = 1; i + 1 < n; ++i) {
        const float step = levels[i + 1] - levels[i];
        smallest = std::min(smallest, step);
        largest = std::max(largest, step);
    }
    return largest - smallest <= kUniformTolerance;
}

} // namespace oxtool
