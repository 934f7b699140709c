// Command-line options of the oxlut subcommands. Options are "--name value"
// or "--name=value"; "-" is a positional argument (standard input or output)
// and "--" ends the options.
#ifndef OXTOOL_OPTIONS_H
#define OXTOOL_OPTIONS_H

#include "tools/framestream.h"

#include <cstdint>
#include <string>
#include <vector>

namespace oxtool {

constexpr uint32_t kMaxFrameSide = 16384;
constexpr uint32_t kMaxThreads = 1024;
// --grid: the sizes of 3D table the library loads.
constexpr uint32_t kMinGrid = 2;
constexpr uint32_t kMaxGrid = 65;

// What the renderer needs besides the pixels. The codes are those of the
// library's render call: format 0 NV12, 1 NV21; standard 0 BT.601, 1 BT.709;
// range 0 limited, 1 full. threads 0 means one per processor.
struct RenderSettings {
    std::string lutPath;
    uint32_t cubeGrid = 0;  // --grid: points per side for a .cube LUT; 0 its own
    FrameGeometry geometry;
    uint32_t pixelFormat = 0;
    uint32_t colorStandard = 0;
    uint32_t range = 0;
    uint32_t threads = 0;
};

struct ConvertOptions {
    std::string input;
    std::string output;
    uint32_t grid = 0;
};

struct PackOptions {
    std::string dir;
    std::string output;
};

struct InfoOptions {
    std::string path;
    uint32_t grid = 0;
};

struct ApplyOptions {
    RenderSettings render;
    std::string input = "-";
    std::string output = "-";
};

struct BenchOptions {
    RenderSettings render;
    uint32_t frames = 30;
    std::string input;  // a raw clip whose first frame is rendered; "" for a colour sweep
};

struct DiffOptions {
    FrameGeometry geometry;
    std::string first;
    std::string second;
};

// Each takes the arguments after the subcommand name.
bool parseConvertOptions(const std::vector<std::string>& args, ConvertOptions* options,
                         std::string* error);
bool parsePackOptions(const std::vector<std::string>& args, PackOptions* options,
                      std::string* error);
bool parseInfoOptions(const std::vector<std::string>& args, InfoOptions* options,
                      std::string* error);
bool parseApplyOptions(const std::vector<std::string>& args, ApplyOptions* options,
                       std::string* error);
bool parseBenchOptions(const std::vector<std::string>& args, BenchOptions* options,
                       std::string* error);
bool parseDiffOptions(const std::vector<std::string>& args, DiffOptions* options,
                      std::string* error);

// "WxH" with an even width (chroma pairs cover two columns) and sides of at
// most kMaxFrameSide.
bool parseFrameSize(const std::string& text, FrameGeometry* geometry, std::string* error);

} // namespace oxtool

#endif // OXTOOL_OPTIONS_H
