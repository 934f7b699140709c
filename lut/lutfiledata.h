// LutFileData: a look-up table file as read from disk, before it is turned
// into the render-ready Lut3DTable.
//
// File layout (every number little-endian):
//
//   offset  size  field
//        0     8  magic ".ZR-LUT " (the eighth byte is a space)
//        8     4  version, 1
//       12     4  level count N, 1 to 65
//       16     4  element type, 0 for 8-bit unsigned grid values
//       20     4  non-zero for a 3D grid of N^3 entries, 0 for one line of N
//       24     8  reserved
//       32     8  file offset of the level values
//       40     8  reserved
//
// At the level values offset follow N 32-bit floats, the positions of the
// grid levels on 0..1, and right after them the grid: 3 bytes (output R, G,
// B) per entry, blue varying fastest and red slowest.
//
//     LutFileData file(COxString::fromUtf8(path));
//     if (file.load())
//         use(file.levelValues(), file.levelCount(), file.gridBytes());
//
// A load that fails leaves the level array empty; format errors are logged,
// unreadable or unsupported fields fail without a message.
#ifndef LUTFILEDATA_H
#define LUTFILEDATA_H

#include "core/text/oxstring.h"

#include <cstdint>

class COxFile;

// A float array that only grows through resize and hands its contents over
// by swapping; allocation failure is a false return, never an exception.
class LutLevelValues {
public:
    LutLevelValues() = default;
    ~LutLevelValues();

    // n zeros; false (and empty) when the memory cannot be had.
    bool resize(uint32_t n);
    void clear();
    void swap(LutLevelValues& other) noexcept;

    uint32_t size() const { return m_size; }
    bool isEmpty() const { return m_size == 0; }
    float* data() { return m_data; }
    const float* data() const { return m_data; }

private:
    LutLevelValues(const LutLevelValues&) = delete;
    LutLevelValues& operator=(const LutLevelValues&) = delete;

    float* m_data = nullptr;
    uint32_t m_size = 0;
};

struct LutFileData {
public:
    // Keeps the path; nothing is read until load().
    explicit LutFileData(const COxString& path);
    ~LutFileData();

    // Reads and checks the file. True when it loaded, which is exactly when
    // the level array is not empty afterwards.
    bool load();

    const COxString& path() const { return m_path; }
    uint32_t version() const { return m_version; }
    bool is3D() const { return m_is3D; }
    uint32_t levelCount() const { return m_levels.size(); }
    // Null when nothing is loaded.
    const float* levelValues() const { return m_levels.isEmpty() ? nullptr : m_levels.data(); }
    uint32_t elementType() const { return m_elementType; }
    // N^3 x 3 bytes for a 3D file, N x 3 for a line; 64-byte aligned.
    const uint8_t* gridBytes() const { return m_grid; }

private:
    LutFileData(const LutFileData&) = delete;
    LutFileData& operator=(const LutFileData&) = delete;

    void reset();
    bool readFrom(COxFile& file);

    COxString m_path;
    uint32_t m_version;
    bool m_is3D;
    LutLevelValues m_levels;
    uint32_t m_elementType;
    uint8_t* m_grid; // owned
};

#endif // LUTFILEDATA_H
