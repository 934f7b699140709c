// The oxlut subcommands: convert, info, apply, bench, diff and help (pack is
// in tools/resourcepack.h). They talk to the world only through a
// ToolContext, so tests can run them with string streams, pipes, a fake clock
// and a stand-in renderer.
#ifndef OXTOOL_COMMANDS_H
#define OXTOOL_COMMANDS_H

#include "tools/framestream.h"
#include "tools/options.h"

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

namespace oxtool {

// Renders one NV12/NV21 frame through a loaded LUT. src and dst may be the
// same buffer (in-place rendering).
class FrameRenderer {
public:
    virtual ~FrameRenderer() = default;
    virtual bool render(const uint8_t* src, uint8_t* dst) = 0;
};

// Opens a renderer for settings.lutPath, always a ".ZR-LUT " file by then
// (.cube files are converted first). Null with a one-line error on failure.
using RendererFactory =
    std::function<std::unique_ptr<FrameRenderer>(const RenderSettings&, std::string* error)>;

struct ToolContext {
    std::ostream* out = nullptr;   // text output (never used by apply)
    std::ostream* err = nullptr;   // messages and the progress line
    int inFd = 0;                  // what "-" reads
    int outFd = 1;                 // what "-" writes
    bool errIsTerminal = false;    // draw the progress line
    ProgressMeter::Clock clock;    // seconds
    RendererFactory openRenderer;
};

// Exit codes: 0 success, 1 failure, 2 bad usage.
enum ExitCode { ExitOk = 0, ExitFailure = 1, ExitUsage = 2 };

// args are the arguments after the program name.
int runTool(const std::vector<std::string>& args, const ToolContext& context);

int runConvert(const std::vector<std::string>& args, const ToolContext& context);
int runInfo(const std::vector<std::string>& args, const ToolContext& context);
int runApply(const std::vector<std::string>& args, const ToolContext& context);
int runBench(const std::vector<std::string>& args, const ToolContext& context);
int runDiff(const std::vector<std::string>& args, const ToolContext& context);

} // namespace oxtool

#endif // OXTOOL_COMMANDS_H
