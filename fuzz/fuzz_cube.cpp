// .cube text as the fuzzer makes it, through the tool's parser and baker and
// into the library. A parsed file must be whole (its tables hold exactly the
// entries their sizes call for, every domain is non-empty), and the same text
// with CR LF or CR line ends must parse to the same tables or fail with the
// same message. A baked table must survive encoding and decoding byte for
// byte and load through the library's entry point; a plain 3D table on its
// own grid over 0..1 must come back entry for entry.
#include "fuzzsupport.h"
#include "lut/oxlut3d.h"
#include "tools/cubebake.h"
#include "tools/cubefile.h"
#include "tools/lutfile.h"

#include <cmath>
#include <string>

using namespace oxtool;

namespace {

// Files of more points than this are baked onto this grid, which keeps an
// execution short; smaller files are baked onto their own grid.
constexpr uint32_t kLargestGrid = 17;

std::string withLineEnds(const std::string& text, const char* end)
{
    std::string out;
    for (char c : text) {
        if (c == '\n')
            out += end;
        else
            out += c;
    }
    return out;
}

bool sameTable(const CubeTable& a, const CubeTable& b)
{
    for (int c = 0; c < 3; ++c) {
        if (a.domainMin[c] != b.domainMin[c] || a.domainMax[c] != b.domainMax[c])
            return false;
    }
    return a.size == b.size && a.rgb == b.rgb;
}

void checkWhole(const CubeLut& lut)
{
    OXFUZZ_CHECK(lut.hasShaper() || lut.has3D());
    if (lut.hasShaper()) {
        OXFUZZ_CHECK(lut.shaper.size >= kMinCubeSize && lut.shaper.size <= kMaxCube1DSize);
        OXFUZZ_CHECK(lut.shaper.rgb.size() == size_t(lut.shaper.size) * 3);
    }
    if (lut.has3D()) {
        const size_t n = size_t(lut.cube.size);
        OXFUZZ_CHECK(n >= size_t(kMinCubeSize) && n <= size_t(kMaxCubeSize));
        OXFUZZ_CHECK(lut.cube.rgb.size() == n * n * n * 3);
    }
    for (const CubeTable* t : {&lut.shaper, &lut.cube}) {
        for (int c = 0; c < 3; ++c)
            OXFUZZ_CHECK(std::isfinite(t->domainMin[c]) && std::isfinite(t->domainMax[c]) &&
                         t->domainMin[c] < t->domainMax[c]);
        for (float v : t->rgb)
            OXFUZZ_CHECK(std::isfinite(v));
    }
}

// Line ends other than LF must not change what a file says.
void checkLineEnds(const std::string& text, bool parsed, const CubeLut& lut, const std::string& error)
{
    if (text.find('\r') != std::string::npos)
        return;
    for (const char* end : {"\r\n", "\r"}) {
        CubeLut other;
        std::string otherError;
        const bool otherParsed = parseCube(withLineEnds(text, end), &other, &otherError);
        OXFUZZ_CHECK(otherParsed == parsed);
        if (!parsed) {
            OXFUZZ_CHECK(otherError == error);
            continue;
        }
        OXFUZZ_CHECK(sameTable(other.shaper, lut.shaper) && sameTable(other.cube, lut.cube));
        OXFUZZ_CHECK(other.title == lut.title && other.warnings == lut.warnings);
    }
}

bool isPlainUnit3D(const CubeLut& lut)
{
    if (lut.hasShaper() || !lut.has3D())
        return false;
    for (int c = 0; c < 3; ++c) {
        if (lut.cube.domainMin[c] != 0.0f || lut.cube.domainMax[c] != 1.0f)
            return false;
    }
    return true;
}

void checkBaked(const CubeLut& cube, const LutFile& lut, uint32_t grid)
{
    OXFUZZ_CHECK(lut.levelCount() == grid && lut.grid.size() == size_t(grid) * grid * grid * 3);
    OXFUZZ_CHECK(lut.levels.front() >= 0.0f && lut.levels.back() <= 1.0f);

    const std::string bytes = encodeLut(lut);
    LutFile decoded;
    std::string error;
    OXFUZZ_CHECK(decodeLut(bytes, &decoded, &error));
    OXFUZZ_CHECK(decoded.levels == lut.levels && decoded.grid == lut.grid);

    if (isPlainUnit3D(cube) && uint32_t(cube.cube.size) == grid) {
        const uint32_t n = grid;
        for (uint32_t r = 0; r < n; ++r)
            for (uint32_t g = 0; g < n; ++g)
                for (uint32_t b = 0; b < n; ++b) {
                    const float* want = &cube.cube.rgb[((b * n + g) * n + r) * 3];
                    for (int c = 0; c < 3; ++c)
                        OXFUZZ_CHECK(lut.entry(r, g, b)[c] == toByte(want[c]));
                }
    }

    static const std::string path = oxfuzz::scratchPath("cube");
    oxfuzz::writeFile(path, bytes.data(), bytes.size());
    Lut3DTable* table = OxcLut3DLoadTableFromFile(path.c_str());
    OXFUZZ_CHECK(table != nullptr);
    OxcLut3DDestroyTable(table);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static oxfuzz::QuietLog quiet;
    const std::string text(reinterpret_cast<const char*>(data), size);
    CubeLut cube;
    std::string error;
    const bool parsed = parseCube(text, &cube, &error);
    OXFUZZ_CHECK(parsed || !error.empty());
    checkLineEnds(text, parsed, cube, error);
    if (!parsed)
        return 0;
    checkWhole(cube);

    const uint32_t own = defaultGrid(cube);
    const uint32_t grid = own <= kLargestGrid ? own : kLargestGrid;
    LutFile lut;
    OXFUZZ_CHECK(lutFromCube(cube, grid, &lut, &error));
    checkBaked(cube, lut, grid);
    return 0;
}
