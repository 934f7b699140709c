#include "tools/options.h"

#include <cerrno>
#include <cstdlib>
#include <map>

namespace oxtool {

namespace {

// Splits arguments into options with values and positional arguments.
class ArgList {
public:
    bool parse(const std::vector<std::string>& args, const std::vector<std::string>& known,
               std::string* error);

    bool has(const std::string& name) const { return m_values.count(name) != 0; }
    const std::string& value(const std::string& name) const { return m_values.at(name); }
    const std::vector<std::string>& positionals() const { return m_positionals; }

private:
    std::map<std::string, std::string> m_values;
    std::vector<std::string> m_positionals;
};

bool ArgList::parse(const std::vector<std::string>& args, const std::vector<std::string>& known,
                    std::string* error)
{
    bool optionsEnded = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (optionsEnded || arg == "-" || arg.compare(0, 1, "-") != 0) {
            m_positionals.push_back(arg);
            continue;
        }
        if (arg == "--") {
            optionsEnded = true;
            continue;
        }
        const size_t equals = arg.find('=');
        const std::string name = arg.substr(0, equals);
        bool isKnown = false;
        for (const std::string& k : known)
            isKnown = isKnown || k == name;
        if (!isKnown) {
            *error = "unknown option '" + name + "'";
            return false;
        }
        if (m_values.count(name)) {
            *error = name + " given twice";
            return false;
        }
        if (equals != std::string::npos) {
            m_values[name] = arg.substr(equals + 1);
        } else if (i + 1 < args.size()) {
            m_values[name] = args[++i];
        } else {
            *error = name + " needs a value";
            return false;
        }
    }
    return true;
}

bool parseCount(const std::string& name, const std::string& text, uint32_t lo, uint32_t hi,
                uint32_t* value, std::string* error)
{
    char* end = nullptr;
    errno = 0;
    const unsigned long long v = std::strtoull(text.c_str(), &end, 10);
    if (text.empty() || text[0] == '-' || text[0] == '+' || *end != '\0' || errno == ERANGE ||
        v < lo || v > hi) {
        *error = name + " must be a whole number from " + std::to_string(lo) + " to " +
                 std::to_string(hi) + ", not '" + text + "'";
        return false;
    }
    *value = uint32_t(v);
    return true;
}

bool parseChoice(const ArgList& list, const std::string& name,
                 const std::vector<std::string>& choices, uint32_t* code, std::string* error)
{
    if (!list.has(name))
        return true;
    const std::string& text = list.value(name);
    for (size_t i = 0; i < choices.size(); ++i) {
        if (text == choices[i]) {
            *code = uint32_t(i);
            return true;
        }
    }
    std::string all;
    for (const std::string& c : choices)
        all += (all.empty() ? "" : ", ") + c;
    *error = name + " must be one of " + all + ", not '" + text + "'";
    return false;
}

bool takePositionals(const ArgList& list, size_t least, size_t most, const char* what,
                     std::string* error)
{
    const size_t count = list.positionals().size();
    if (count < least) {
        *error = std::string("missing ") + what;
        return false;
    }
    if (count > most) {
        *error = "unexpected argument '" + list.positionals()[most] + "'";
        return false;
    }
    return true;
}

// Two names and the given options; the second name is a file to write, so it
// cannot be standard output.
bool parseInputAndOutput(ArgList* list, const std::vector<std::string>& args,
                         const std::vector<std::string>& options, const char* names,
                         const char* command, std::string* input, std::string* output,
                         std::string* error)
{
    if (!list->parse(args, options, error) || !takePositionals(*list, 2, 2, names, error))
        return false;
    *input = list->positionals()[0];
    *output = list->positionals()[1];
    if (*output == "-") {
        *error = std::string(command) + " writes a file, not standard output";
        return false;
    }
    return true;
}

// --lut, --size, --format, --standard, --range, --threads, --grid.
const std::vector<std::string> kRenderOptions = {"--lut",   "--size",    "--format", "--standard",
                                                 "--range", "--threads", "--grid"};

// --grid N, the points per side a .cube file is baked onto.
bool parseGrid(const ArgList& list, uint32_t* grid, std::string* error)
{
    return !list.has("--grid") ||
           parseCount("--grid", list.value("--grid"), kMinGrid, kMaxGrid, grid, error);
}

bool parseRenderSettings(const ArgList& list, RenderSettings* render, std::string* error)
{
    if (!list.has("--lut")) {
        *error = "missing --lut FILE";
        return false;
    }
    if (!list.has("--size")) {
        *error = "missing --size WxH";
        return false;
    }
    render->lutPath = list.value("--lut");
    if (render->lutPath.empty()) {
        *error = "--lut needs a file name";
        return false;
    }
    return parseFrameSize(list.value("--size"), &render->geometry, error) &&
           parseChoice(list, "--format", {"nv12", "nv21"}, &render->pixelFormat, error) &&
           parseChoice(list, "--standard", {"bt601", "bt709"}, &render->colorStandard, error) &&
           parseChoice(list, "--range", {"limited", "full"}, &render->range, error) &&
           (!list.has("--threads") ||
            parseCount("--threads", list.value("--threads"), 0, kMaxThreads, &render->threads,
                       error)) &&
           parseGrid(list, &render->cubeGrid, error);
}

} // namespace

bool parseFrameSize(const std::string& text, FrameGeometry* geometry, std::string* error)
{
    const size_t x = text.find('x');
    uint32_t width = 0;
    uint32_t height = 0;
    std::string ignored;
    if (x == std::string::npos ||
        !parseCount("width", text.substr(0, x), 1, kMaxFrameSide, &width, &ignored) ||
        !parseCount("height", text.substr(x + 1), 1, kMaxFrameSide, &height, &ignored)) {
        *error = "--size must be WIDTHxHEIGHT with sides from 1 to " +
                 std::to_string(kMaxFrameSide) + ", not '" + text + "'";
        return false;
    }
    if (width % 2 != 0) {
        *error = "--size " + text + ": the width must be even for NV12/NV21";
        return false;
    }
    geometry->width = width;
    geometry->height = height;
    return true;
}

bool parseConvertOptions(const std::vector<std::string>& args, ConvertOptions* options,
                         std::string* error)
{
    ArgList list;
    return parseInputAndOutput(&list, args, {"--grid"}, "IN.cube and OUT", "convert",
                               &options->input, &options->output, error) &&
           parseGrid(list, &options->grid, error);
}

bool parsePackOptions(const std::vector<std::string>& args, PackOptions* options,
                      std::string* error)
{
    ArgList list;
    return parseInputAndOutput(&list, args, {}, "DIR and OUT", "pack", &options->dir,
                               &options->output, error);
}

bool parseInfoOptions(const std::vector<std::string>& args, InfoOptions* options,
                      std::string* error)
{
    ArgList list;
    if (!list.parse(args, {"--grid"}, error) || !takePositionals(list, 1, 1, "FILE", error))
        return false;
    options->path = list.positionals()[0];
    return parseGrid(list, &options->grid, error);
}

bool parseApplyOptions(const std::vector<std::string>& args, ApplyOptions* options,
                       std::string* error)
{
    ArgList list;
    if (!list.parse(args, kRenderOptions, error) ||
        !parseRenderSettings(list, &options->render, error) ||
        !takePositionals(list, 0, 2, "", error))
        return false;
    const std::vector<std::string>& files = list.positionals();
    options->input = files.size() > 0 ? files[0] : "-";
    options->output = files.size() > 1 ? files[1] : "-";
    return true;
}

bool parseBenchOptions(const std::vector<std::string>& args, BenchOptions* options,
                       std::string* error)
{
    std::vector<std::string> known = kRenderOptions;
    known.push_back("--frames");
    known.push_back("--input");
    ArgList list;
    if (!list.parse(args, known, error) || !parseRenderSettings(list, &options->render, error) ||
        !takePositionals(list, 0, 0, "", error))
        return false;
    if (list.has("--input"))
        options->input = list.value("--input");
    return !list.has("--frames") ||
           parseCount("--frames", list.value("--frames"), 1, 100000, &options->frames, error);
}

bool parseDiffOptions(const std::vector<std::string>& args, DiffOptions* options,
                      std::string* error)
{
    ArgList list;
    if (!list.parse(args, {"--size"}, error) || !takePositionals(list, 2, 2, "A and B", error))
        return false;
    if (!list.has("--size")) {
        *error = "missing --size WxH";
        return false;
    }
    options->first = list.positionals()[0];
    options->second = list.positionals()[1];
    return parseFrameSize(list.value("--size"), &options->geometry, error);
}

} // namespace oxtool
