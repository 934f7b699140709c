#include "tools/commands.h"

#include "tools/cubebake.h"
#include "tools/cubefile.h"
#include "tools/fileio.h"
#include "tools/framebuffer.h"
#include "tools/framediff.h"
#include "tools/lutfile.h"
#include "tools/lutsummary.h"
#include "tools/resourcepack.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <ostream>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace oxtool {

namespace {

const char kUsage[] =
    "usage: oxlut COMMAND [ARGS]\n"
    "\n"
    "  convert [--grid N] IN.cube OUT\n"
    "      Converts a .cube file (3D table, 1D table, or 1D shaper and 3D table)\n"
    "      into the library's LUT file, on a grid of N points per side (2 to 65;\n"
    "      default: the file's 3D size, 33 for a 1D table).\n"
    "  info [--grid N] FILE\n"
    "      Prints the header, level values and a colour summary of a LUT file\n"
    "      (or of a .cube file as it would be converted).\n"
    "  apply --lut FILE --size WxH [--format nv12|nv21] [--standard bt601|bt709]\n"
    "        [--range limited|full] [--threads N] [--grid N] [IN|-] [OUT|-]\n"
    "      Grades raw frames from IN (default standard input) to OUT (default\n"
    "      standard output). FILE may be a LUT file or a .cube file. Defaults:\n"
    "      nv12, bt601, limited, one thread per processor (--threads 0).\n"
    "  bench --lut FILE --size WxH [--threads N] [--frames K] [--input CLIP]\n"
    "        [--format ...] [--standard ...] [--range ...] [--grid N]\n"
    "      Times the rendering of one frame (a colour sweep, or the first frame\n"
    "      of CLIP) against a memcpy of it.\n"
    "  diff --size WxH A B\n"
    "      Mean absolute difference, largest difference and PSNR between two\n"
    "      raw NV12/NV21 clips, for luma, chroma and both.\n"
    "  pack DIR OUT\n"
    "      Packs the files below DIR into one read-only resource file.\n"
    "  help\n"
    "      Prints this text.\n"
    "\n"
    "info, apply and bench take --resources PACK:ROOT (repeatable): the pack's\n"
    "files then appear below the absolute path ROOT, e.g. --lut ROOT/grade.lut.\n";

// Reports a failure as one line on the error stream.
int fail(const ToolContext& context, const std::string& message, int code = ExitFailure)
{
    *context.err << "oxlut: " << message << '\n';
    return code;
}

int usageError(const ToolContext& context, const std::string& command, const std::string& error)
{
    return fail(context, command + ": " + error + " (see 'oxlut help')", ExitUsage);
}

bool endsWithCube(const std::string& path)
{
    if (path.size() < 5)
        return false;
    std::string tail = path.substr(path.size() - 5);
    for (char& c : tail)
        c = char(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    return tail == ".cube";
}

std::string format(const char* pattern, double a)
{
    char text[64];
    std::snprintf(text, sizeof text, pattern, a);
    return text;
}

// A file removed when the holder goes out of scope.
class TemporaryFile {
public:
    TemporaryFile() = default;
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile()
    {
        if (!m_path.empty())
            ::unlink(m_path.c_str());
    }

    bool create(std::string* error)
    {
        const char* dir = std::getenv("TMPDIR");
        std::string pattern = std::string(dir && *dir ? dir : "/tmp") + "/oxlut-XXXXXX";
        std::vector<char> name(pattern.begin(), pattern.end());
        name.push_back('\0');
        const int fd = ::mkstemp(name.data());
        if (fd < 0) {
            *error = std::string("cannot create a temporary file: ") + std::strerror(errno);
            return false;
        }
        ::close(fd);
        m_path = name.data();
        return true;
    }
    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

// Parses and converts the text of a .cube file; its warnings go to the error
// stream, one line each, naming the file. what describes the file.
bool lutFromCubeText(const ToolContext& context, const std::string& path, const std::string& text,
                     uint32_t grid, LutFile* lut, std::string* what, std::string* error)
{
    CubeLut cube;
    std::vector<std::string> warnings;
    if (!parseCube(text, &cube, error) || !lutFromCube(cube, grid, lut, error, &warnings))
        return false;
    warnings.insert(warnings.begin(), cube.warnings.begin(), cube.warnings.end());
    for (const std::string& warning : warnings)
        *context.err << "oxlut: " << path << ": warning: " << warning << '\n';
    *what = cube.describe();
    return true;
}

// Checks the LUT named on the command line and gives the path the renderer
// should load: the file itself, or a converted copy of a .cube file.
bool prepareLut(const ToolContext& context, const RenderSettings& settings,
                TemporaryFile* converted, std::string* loadPath, LutFile* lut,
                std::string* error)
{
    const std::string& path = settings.lutPath;
    if (endsWithCube(path)) {
        std::string text;
        std::string what;
        if (!readWholeFile(path, &text, error) ||
            !lutFromCubeText(context, path, text, settings.cubeGrid, lut, &what, error) ||
            !converted->create(error) ||
            !writeFileAtomically(converted->path(), encodeLut(*lut), error))
            return false;
        *loadPath = converted->path();
        return true;
    }
    if (settings.cubeGrid) {
        *error = "--grid applies to .cube files only";
        return false;
    }
    if (!readLutFile(path, lut, error))
        return false;
    if (!lut->is3D) {
        *error = "a 1D table of " + std::to_string(lut->levelCount()) +
                 " entries: the library renders 3D tables only";
        return false;
    }
    // The library cannot see the tool's mounted packs: it gets a copy.
    if (servedByFileSource(path)) {
        std::string bytes;
        if (!readWholeFile(path, &bytes, error) || !converted->create(error) ||
            !writeFileAtomically(converted->path(), bytes, error))
            return false;
        *loadPath = converted->path();
        return true;
    }
    *loadPath = path;
    return true;
}

// Opens the renderer for the LUT of settings; errors name the LUT file.
std::unique_ptr<FrameRenderer> openRenderer(const ToolContext& context,
                                            const RenderSettings& settings, LutFile* lut,
                                            std::string* error)
{
    TemporaryFile converted;
    RenderSettings resolved = settings;
    if (!prepareLut(context, settings, &converted, &resolved.lutPath, lut, error)) {
        *error = settings.lutPath + ": " + *error;
        return nullptr;
    }
    std::unique_ptr<FrameRenderer> renderer = context.openRenderer(resolved, error);
    if (!renderer)
        *error = settings.lutPath + ": " + *error;
    return renderer;
}

// A descriptor from a command-line name: "-" is the context's own, which is
// not closed; others are opened and closed here.
class Stream {
public:
    Stream() = default;
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;
    ~Stream()
    {
        if (m_owned)
            ::close(m_fd);
    }

    bool openRead(const std::string& name, int standardFd, std::string* error)
    {
        if (name == "-") {
            m_fd = standardFd;
            return true;
        }
        return open(name, ::open(name.c_str(), O_RDONLY | O_CLOEXEC), error);
    }
    bool openWrite(const std::string& name, int standardFd, std::string* error)
    {
        if (name == "-") {
            m_fd = standardFd;
            return true;
        }
        return open(name, ::open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644),
                     error);
    }
    // Closes an opened file, reporting errors that only show at close.
    bool close(std::string* error)
    {
        if (!m_owned)
            return true;
        m_owned = false;
        if (::close(m_fd) != 0) {
            *error = std::string("write error on close: ") + std::strerror(errno);
            return false;
        }
        return true;
    }
    int fd() const { return m_fd; }

private:
    bool open(const std::string& name, int fd, std::string* error)
    {
        if (fd < 0) {
            *error = name + ": " + std::strerror(errno);
            return false;
        }
        m_fd = fd;
        m_owned = true;
        return true;
    }

    int m_fd = -1;
    bool m_owned = false;
};

bool sameFile(int fd, const std::string& path)
{
    struct stat a, b;
    return ::fstat(fd, &a) == 0 && ::stat(path.c_str(), &b) == 0 && S_ISREG(b.st_mode) &&
           a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

const char* formatName(uint32_t code) { return code == 1 ? "NV21" : "NV12"; }
const char* standardName(uint32_t code) { return code == 1 ? "BT.709" : "BT.601"; }
const char* rangeName(uint32_t code) { return code == 1 ? "full" : "limited"; }

std::string colourLine(const char* label, const double* rgb)
{
    char text[96];
    std::snprintf(text, sizeof text, "%sR %.4f  G %.4f  B %.4f", label, rgb[0], rgb[1], rgb[2]);
    return text;
}

// fromCube describes the .cube file shown as converted ("" for a LUT file).
void printLutInfo(std::ostream& out, const std::string& path, size_t fileSize,
                  const std::string& fromCube, const LutFile& lut)
{
    const uint32_t n = lut.levelCount();
    const size_t entries = lut.grid.size() / 3;
    out << "file:           " << path << " (" << fileSize << " bytes"
        << (fromCube.empty() ? "" : ", .cube text shown as converted") << ")\n";
    if (!fromCube.empty())
        out << "converted from: " << fromCube << '\n';
    out << "signature:      \".ZR-LUT \"\n";
    out << "version:        " << lut.version << '\n';
    out << "element type:   " << lut.elementType << " (8-bit unsigned)\n";
    out << "layout:         " << (lut.is3D ? "3D" : "1D") << ", N = " << n << ", " << entries
        << " entries of 3 bytes (R, G, B)" << (lut.is3D ? ", blue varying fastest" : "")
        << '\n';
    if (lut.trailingBytes)
        out << "trailing bytes: " << lut.trailingBytes << " after the grid (ignored)\n";

    bool ascending = true;
    for (uint32_t i = 1; i < n; ++i)
        ascending = ascending && lut.levels[i] > lut.levels[i - 1];
    out << "level values:   offset " << lut.levelsOffset << ", "
        << (levelsAreUniform(lut.levels)
                ? "uniform (evenly spaced from 0 to 1)"
                : std::string("not uniform (") + format("%g", lut.levels[0]) + " to " +
                      format("%g", lut.levels[n - 1]) + ")")
        << (ascending ? "" : ", NOT ascending") << '\n';
    for (uint32_t i = 0; i < n; ++i) {
        out << (i % 8 == 0 ? "                " : " ") << format("%.6g", lut.levels[i]);
        if (i % 8 == 7 || i + 1 == n)
            out << '\n';
    }

    const LutSummary s = summarizeLut(lut);
    char hex[16];
    std::snprintf(hex, sizeof hex, "#%02X%02X%02X", int(std::lround(s.mean[0] * 255)),
                  int(std::lround(s.mean[1] * 255)), int(std::lround(s.mean[2] * 255)));
    out << colourLine("output mean:    ", s.mean) << "  (" << hex << ")\n";
    out << colourLine("output min:     ", s.min) << '\n';
    out << colourLine("output max:     ", s.max) << '\n';
    if (s.hasIdentityDistance) {
        char text[160];
        std::snprintf(text, sizeof text,
                      "from identity:  mean %.4f (%.1f of 255), largest %.4f (%.0f of 255) at "
                      "r=%u g=%u b=%u%s\n",
                      s.meanFromIdentity, s.meanFromIdentity * 255, s.maxFromIdentity,
                      s.maxFromIdentity * 255, s.farthest[0], s.farthest[1], s.farthest[2],
                      s.maxFromIdentity <= kIdentityRounding ? " (identity)" : "");
        out << text;
    }
}

} // namespace

int runConvert(const std::vector<std::string>& args, const ToolContext& context)
{
    ConvertOptions options;
    std::string error;
    if (!parseConvertOptions(args, &options, &error))
        return usageError(context, "convert", error);
    std::string text;
    std::string what;
    LutFile lut;
    if (!readWholeFile(options.input, &text, &error) ||
        !lutFromCubeText(context, options.input, text, options.grid, &lut, &what, &error))
        return fail(context, options.input + ": " + error);
    const std::string bytes = encodeLut(lut);
    if (!writeFileAtomically(options.output, bytes, &error))
        return fail(context, options.output + ": " + error);
    *context.out << "wrote " << options.output << ": " << lut.levelCount() << " levels, "
                 << lut.grid.size() / 3 << " entries, " << bytes.size() << " bytes, from "
                 << what << '\n';
    return ExitOk;
}

int runInfo(const std::vector<std::string>& args, const ToolContext& context)
{
    InfoOptions options;
    std::string error;
    if (!parseInfoOptions(args, &options, &error))
        return usageError(context, "info", error);
    std::string bytes;
    LutFile lut;
    if (!readWholeFile(options.path, &bytes, &error))
        return fail(context, options.path + ": " + error);
    std::string fromCube;
    if (!decodeLut(bytes, &lut, &error)) {
        std::string cubeError;
        if (!endsWithCube(options.path))
            return fail(context, options.path + ": " + error);
        if (!lutFromCubeText(context, options.path, bytes, options.grid, &lut, &fromCube,
                             &cubeError))
            return fail(context, options.path + ": " + cubeError);
    } else if (options.grid) {
        return fail(context, options.path + ": --grid applies to .cube files only");
    }
    printLutInfo(*context.out, options.path, bytes.size(), fromCube, lut);
    return ExitOk;
}

int runApply(const std::vector<std::string>& args, const ToolContext& context)
{
    ApplyOptions options;
    std::string error;
    if (!parseApplyOptions(args, &options, &error))
        return usageError(context, "apply", error);

    Stream input;
    Stream output;
    if (options.output == "-" && ::isatty(context.outFd))
        return fail(context, "refusing to write raw frames to a terminal; give OUT or a pipe");
    if (!input.openRead(options.input, context.inFd, &error))
        return fail(context, error);
    if (options.output != "-" && sameFile(input.fd(), options.output))
        return fail(context, options.output + ": input and output are the same file");
    LutFile lut;
    std::unique_ptr<FrameRenderer> renderer =
        openRenderer(context, options.render, &lut, &error);
    if (!renderer)
        return fail(context, error);
    if (!output.openWrite(options.output, context.outFd, &error))
        return fail(context, error);

    std::unique_ptr<ProgressMeter> progress;
    if (context.errIsTerminal)
        progress.reset(new ProgressMeter(*context.err, context.clock));
    FrameRenderer* r = renderer.get();
    const StreamResult result = streamFrames(
        input.fd(), output.fd(), options.render.geometry.frameSize(),
        [r](const uint8_t* src, uint8_t* dst) { return r->render(src, dst); }, progress.get());
    if (progress)
        progress->finish(result.frames);
    if (!result.ok)
        return fail(context, result.error);
    if (!output.close(&error))
        return fail(context, options.output + ": " + error);
    return ExitOk;
}

int runBench(const std::vector<std::string>& args, const ToolContext& context)
{
    BenchOptions options;
    std::string error;
    if (!parseBenchOptions(args, &options, &error))
        return usageError(context, "bench", error);
    LutFile lut;
    std::unique_ptr<FrameRenderer> renderer =
        openRenderer(context, options.render, &lut, &error);
    if (!renderer)
        return fail(context, error);

    const FrameGeometry& g = options.render.geometry;
    const size_t size = g.frameSize();
    FrameBuffer src(size);
    FrameBuffer dst(size);
    if (!src.data() || !dst.data())
        return fail(context, "cannot allocate two frame buffers of " + std::to_string(size) +
                                 " bytes");
    if (!options.input.empty()) {
        // The first frame of the user's clip.
        Stream input;
        if (!input.openRead(options.input, context.inFd, &error))
            return fail(context, error);
        const ssize_t got = readFully(input.fd(), src.data(), size);
        if (got != ssize_t(size))
            return fail(context, options.input + ": " +
                                     (got < 0 ? std::string(std::strerror(errno))
                                              : "shorter than one frame (" + std::to_string(got) +
                                                    " of " + std::to_string(size) + " bytes)"));
    } else {
        // A frame that sweeps the whole colour cube: luma ramps across,
        // chroma ramps down and across.
        for (uint32_t y = 0; y < g.height; ++y)
            for (uint32_t x = 0; x < g.width; ++x)
                src.data()[size_t(y) * g.width + x] = uint8_t((x * 255u) / g.width);
        for (size_t y = 0; y < g.chromaRows(); ++y)
            for (uint32_t x = 0; x < g.width; x += 2) {
                uint8_t* pair = &src.data()[g.lumaSize() + y * g.width + x];
                pair[0] = uint8_t((y * 255u) / g.chromaRows());
                pair[1] = uint8_t(255u - (x * 255u) / g.width);
            }
    }

    if (!renderer->render(src.data(), dst.data()))
        return fail(context, "rendering failed");
    const uint32_t frames = options.frames;
    const double renderStart = context.clock();
    for (uint32_t i = 0; i < frames; ++i) {
        if (!renderer->render(src.data(), dst.data()))
            return fail(context, "rendering failed at frame " + std::to_string(i + 1));
    }
    const double renderSeconds = context.clock() - renderStart;
    const double copyStart = context.clock();
    unsigned checksum = 0;
    for (uint32_t i = 0; i < frames; ++i) {
        std::memcpy(dst.data(), src.data(), size);
        checksum += dst.data()[i % size];
    }
    const double copySeconds = context.clock() - copyStart;
    volatile unsigned keepCopies = checksum;  // the copies must not be optimised away
    (void)keepCopies;

    const double pixels = double(g.width) * g.height * frames;
    char text[256];
    std::snprintf(text, sizeof text,
                  "bench: %ux%u %s %s %s, %u-level LUT, threads %s, %u frames\n"
                  "render: %.3f ms/frame, %.1f Mpixel/s\n"
                  "memcpy: %.3f ms/frame (%zu bytes)\n",
                  g.width, g.height, formatName(options.render.pixelFormat),
                  standardName(options.render.colorStandard), rangeName(options.render.range),
                  lut.levelCount(),
                  options.render.threads ? std::to_string(options.render.threads).c_str()
                                         : "0 (one per processor)",
                  frames, renderSeconds * 1000.0 / frames,
                  renderSeconds > 0 ? pixels / renderSeconds / 1e6 : 0.0,
                  copySeconds * 1000.0 / frames, size);
    *context.out << text;
    return ExitOk;
}

int runDiff(const std::vector<std::string>& args, const ToolContext& context)
{
    DiffOptions options;
    std::string error;
    if (!parseDiffOptions(args, &options, &error))
        return usageError(context, "diff", error);
    if (options.first == "-" && options.second == "-")
        return usageError(context, "diff", "only one of A and B can be standard input");
    Stream a;
    Stream b;
    if (!a.openRead(options.first, context.inFd, &error) ||
        !b.openRead(options.second, context.inFd, &error))
        return fail(context, error);
    ClipDiff diff;
    if (!diffClips(a.fd(), b.fd(), options.geometry, &diff, &error))
        return fail(context, error);
    *context.out << "frames: " << diff.frames << '\n';
    const PlaneDiff all = diff.all();
    const std::pair<const char*, const PlaneDiff*> planes[] = {
        {"luma:  ", &diff.luma}, {"chroma:", &diff.chroma}, {"all:   ", &all}};
    for (const auto& plane : planes) {
        char text[128];
        std::snprintf(text, sizeof text, "%s mean abs diff %.4f, max %u, PSNR %.2f dB\n",
                      plane.first, plane.second->meanAbs(), plane.second->maxAbs,
                      plane.second->psnr());
        *context.out << text;
    }
    return ExitOk;
}

int runTool(const std::vector<std::string>& args, const ToolContext& context)
{
    if (args.empty()) {
        *context.err << kUsage;
        return ExitUsage;
    }
    const std::string& command = args[0];
    const std::vector<std::string> rest(args.begin() + 1, args.end());
    if (command == "help" || command == "--help" || command == "-h") {
        *context.out << kUsage;
        return ExitOk;
    }
    if (command == "convert")
        return runConvert(rest, context);
    if (command == "info")
        return runWithResources(command, rest, context, runInfo);
    if (command == "apply")
        return runWithResources(command, rest, context, runApply);
    if (command == "bench")
        return runWithResources(command, rest, context, runBench);
    if (command == "pack")
        return runPack(rest, context);
    if (command == "diff")
        return runDiff(rest, context);
    return fail(context, "unknown command '" + command + "' (see 'oxlut help')", ExitUsage);
}

} // namespace oxtool
