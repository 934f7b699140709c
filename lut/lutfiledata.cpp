#include "lut/lutfiledata.h"

#include "core/io/oxfile.h"
#include "core/log/oxdebug.h"
#include "lut/lut3dtable.h"
#include "lut/lutmemory.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr char kMagic[8] = {'.', 'Z', 'R', '-', 'L', 'U', 'T', ' '};
constexpr uint32_t kVersion = 1;
constexpr int64_t kHeaderSize = 48;

// Header fields by byte offset.
constexpr size_t kVersionAt = 8;
constexpr size_t kLevelCountAt = 12;
constexpr size_t kElementTypeAt = 16;
constexpr size_t kDimensionsAt = 20;
constexpr size_t kLevelOffsetAt = 32;

uint32_t littleEndian32(const uint8_t* p)
{
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

uint64_t littleEndian64(const uint8_t* p)
{
    return uint64_t(littleEndian32(p)) | uint64_t(littleEndian32(p + 4)) << 32;
}

float littleEndianFloat(const uint8_t* p)
{
    const uint32_t bits = littleEndian32(p);
    float value;
    memcpy(&value, &bits, sizeof value);
    return value;
}

// Reads exactly size bytes; a short read or an error is false.
bool readFully(COxFile& file, void* data, int64_t size)
{
    return file.read(static_cast<char*>(data), size) == size;
}

} // namespace

LutLevelValues::~LutLevelValues()
{
    clear();
}

bool LutLevelValues::resize(uint32_t n)
{
    clear();
    if (n == 0)
        return true;
    m_data = static_cast<float*>(calloc(n, sizeof(float)));
    if (!m_data)
        return false;
    m_size = n;
    return true;
}

void LutLevelValues::clear()
{
    free(m_data);
    m_data = nullptr;
    m_size = 0;
}

void LutLevelValues::swap(LutLevelValues& other) noexcept
{
    float* data = m_data;
    const uint32_t size = m_size;
    m_data = other.m_data;
    m_size = other.m_size;
    other.m_data = data;
    other.m_size = size;
}

LutFileData::LutFileData(const COxString& path)
    : m_path(path)
    , m_version(0)
    , m_is3D(true)
    , m_elementType(0)
    , m_grid(nullptr)
{
}

LutFileData::~LutFileData()
{
    lutAlignedFree(m_grid);
}

void LutFileData::reset()
{
    m_version = 0;
    m_is3D = true;
    m_levels.clear();
    m_elementType = 0;
    lutAlignedFree(m_grid);
    m_grid = nullptr;
}

bool LutFileData::load()
{
    reset();
    COxFile file(m_path);
    if (!file.open(COxIODevice::ReadOnly)) {
        oxError("Failed to open lut file %s", m_path.toUtf8().constData());
        return false;
    }
    const bool loaded = readFrom(file);
    file.close();
    return loaded;
}

bool LutFileData::readFrom(COxFile& file)
{
    char magic[sizeof kMagic];
    if (!readFully(file, magic, sizeof magic))
        return false;
    if (memcmp(magic, kMagic, sizeof kMagic) != 0) {
        oxError("Invalid lut file signature!");
        return false;
    }

    // Only version 1 is known; anything else is refused without a word.
    uint8_t version[4];
    if (!readFully(file, version, sizeof version) || littleEndian32(version) != kVersion || !file.seek(0))
        return false;

    uint8_t header[kHeaderSize];
    if (!readFully(file, header, kHeaderSize)) {
        oxError("Failed to read lut file header!");
        return false;
    }
    const uint32_t n = littleEndian32(header + kLevelCountAt);
    const uint32_t elementType = littleEndian32(header + kElementTypeAt);
    const bool is3D = littleEndian32(header + kDimensionsAt) != 0;
    const uint64_t levelOffset = littleEndian64(header + kLevelOffsetAt);
    if (elementType != 0 || n < 1 || n > kLutMaxLevels)
        return false;

    LutLevelValues levels;
    if (!levels.resize(n))
        return false;
    // An offset beyond what a file position can hold cannot be sought.
    if (levelOffset > uint64_t(INT64_MAX) || !file.seek(int64_t(levelOffset)))
        return false;
    uint8_t rawLevels[kLutMaxLevels * 4];
    if (!readFully(file, rawLevels, int64_t(n) * 4)) {
        oxError("Failed to read lut level values!");
        return false;
    }
    for (uint32_t i = 0; i < n; ++i)
        levels.data()[i] = littleEndianFloat(rawLevels + 4 * i);

    // The grid follows the level values directly.
    const uint32_t entries = is3D ? n * n * n : n;
    const uint32_t bytes = entries * 3;
    uint8_t* grid = static_cast<uint8_t*>(lutAlignedAlloc(bytes));
    if (!grid)
        return false;
    if (!readFully(file, grid, bytes)) {
        oxError("Failed to read lut data!");
        lutAlignedFree(grid);
        return false;
    }

    m_version = littleEndian32(header + kVersionAt);
    m_is3D = is3D;
    m_levels.swap(levels);
    m_elementType = elementType;
    m_grid = grid;
    return true;
}
