// Lut3DTable: the render-ready form of a 3D look-up table.
//
// The grid of N x N x N RGB entries is copied into cells of 4 bytes padded to
// N + 1 points per axis, so a lookup at the last level can read its upper
// neighbour (with weight 0) without a bounds test. Cell (r, g, b) lies at
//   grid + r * planeStride + g * rowStride + b * 4
// and holds the output R, G, B in bytes 0..2. Beside the grid the table keeps
// a 256-entry level index (grid index and 1/128 fraction for every 8-bit
// value) and a flag telling the kernels that the levels are evenly spaced, in
// which case they compute index and fraction from a scale instead.
#ifndef LUT3DTABLE_H
#define LUT3DTABLE_H

#include <cstdint>

// The loaded file behind a table; defined by the file loader.
struct LutFileData;

// Lower grid level and position towards the next level (0..127, in 1/128)
// for each 8-bit input value. 512 bytes, 64-byte aligned.
struct LutLevelIndex {
    struct Entry {
        uint8_t index;
        uint8_t fraction;
    };
    Entry entries[256];
};
static_assert(sizeof(LutLevelIndex) == 512, "LutLevelIndex is 512 bytes");

// Where 8-bit values fall in the grid, as the NEON kernel reads it: for each
// value v, with f its fraction (1/128),
//   offset[c][v]: v's lower grid index times the point stride of channel c's
//     axis (24 * N * N, 24 * N, 24 bytes), so that a pixel's three offsets add
//     up to the byte offset of its point in LutNeonLayout::corners;
//   red[v]: the pair (128 - f, f) four times, then f << 8 in four 16-bit
//     lanes (the multiplier of the difference form, see the kernel);
//   pair[v]: the pair (128 - f, f) four times;
//   pairTwice[v]: the pair eight times.
struct LutNeonPositions {
    uint32_t offset[3][256];
    uint8_t red[256][16];
    uint8_t pair[256][8];
    uint8_t pairTwice[256][16];
};

// The NEON kernel's view of a table, 64-byte aligned: positions by the level
// scale (uniform tables) and by the per-value map, and the corners: 24 bytes
// for each grid point (r, g, b), all three below N, at 24 * ((r * N + g) * N
// + b), the 8 corner cells of the point's cube. With m = dg + 2 * db, corner
// (dr, dg, db) of channel 2 is at byte 2 * m + dr and that of channel c = 0,
// 1 at byte 8 + 8 * dr + 4 * c + m: a 16-byte load at the point brings channel
// 2 and the lower red neighbours of channels 0 and 1, one 8 bytes further on
// both red neighbours of channels 0 and 1. Corners beyond the grid (a lower
// index of N - 1, read with weight 0) are 0. 842 KiB for N = 33.
struct LutNeonLayout {
    LutNeonPositions byScale;
    LutNeonPositions byMap;
    uint8_t* corners;
};

struct Lut3DTable {
    LutFileData* file;         // the loaded file; owned by the table's owner (see lutTableDestroy)
    uint8_t* grid;             // (N + 1)^3 cells of 4 bytes, 64-byte aligned
    uint32_t rowStride;        // (N + 1) * 4
    uint32_t planeStride;      // (N + 1) * 4 * (N + 1)
    LutLevelIndex* levelIndex; // 64-byte aligned
    uint8_t uniform;           // 1 when the levels are evenly spaced over 0..1
    uint32_t levelCount;       // N
    // The corner groups of the AVX2 kernel; null where that kernel does not
    // run. 16 bytes per grid point, at 4 times the point's grid offset: the
    // cells (g + dg, b + db) of the point's red plane, channel c of corner
    // (dg, db) at byte 8 * dg + 2 * c + db (bytes 6, 7, 14, 15 zero), each
    // value stored minus 128 as a signed byte. 64-byte aligned.
    int8_t* cornerGroups;
    // The corners and positions of the NEON kernel; null where that kernel
    // does not run (see LutNeonLayout).
    LutNeonLayout* neon;
};

// Bytes per grid point in LutNeonLayout::corners.
constexpr uint32_t kLutNeonPointBytes = 24;

// The kernel-specific layouts a table can carry beside its grid.
enum LutTableLayout : uint32_t {
    kLutLayoutNeon = 1u << 0,
    kLutLayoutAvx2 = 1u << 1,
};

// Largest number of levels per axis a table can have.
constexpr uint32_t kLutMaxLevels = 65;

// Builds a table from n level values (n from 1 to kLutMaxLevels) and the
// n^3 grid entries in file order (blue fastest, red slowest, 3 bytes each:
// output R, G, B), with the layout of the kernel that renders on this
// processor. The file pointer is left null for the caller to set.
// Returns null when n is out of range or an allocation fails; a kernel
// layout that cannot be allocated is left out (its kernel then hands the
// table to another kernel).
Lut3DTable* lutTableCreate(const float* levels, uint32_t n, const uint8_t* grid);

// The layouts (LutTableLayout bits) of the kernel this build renders with on
// this processor: none for the scalar kernel.
uint32_t lutTableDefaultLayouts();

// Adds layouts to a table: tests and benchmarks that run a kernel other than
// the default one add its layout. False when one cannot be allocated.
bool lutTableAddLayouts(Lut3DTable* table, uint32_t layouts);

// Frees the level index, the padded grid and the table itself; null is
// ignored. The file record is not touched: whoever set table->file frees it
// (before or after this call).
void lutTableDestroy(Lut3DTable* table);

// The two steps of lutTableCreate that derive data from the levels; they
// write into caller-provided storage.
void lutBuildLevelIndex(const float* levels, uint32_t n, LutLevelIndex* index);
bool lutLevelsAreUniform(const float* levels, uint32_t n);

#endif // LUT3DTABLE_H
