// oxlut: the command-line face of libOxLutEffect. Everything but the calls
// into the library lives in the tool's own static library (commands.h); this
// file adds the renderer that goes through the five exported functions.
#include "lut/oxlut3d.h"
#include "tools/commands.h"

#include <chrono>
#include <csignal>
#include <iostream>
#include <unistd.h>

namespace {

// A table and an effect of the library, rendering whole frames in the
// layout of FrameGeometry (luma rows of width bytes, then chroma rows).
class EffectRenderer final : public oxtool::FrameRenderer {
public:
    EffectRenderer(const EffectRenderer&) = delete;
    EffectRenderer& operator=(const EffectRenderer&) = delete;
    ~EffectRenderer() override
    {
        OxcLut3DDestroyEffect(m_effect);
        OxcLut3DDestroyTable(m_table);
    }

    static std::unique_ptr<oxtool::FrameRenderer> open(const oxtool::RenderSettings& settings,
                                                       std::string* error)
    {
        Lut3DTable* table = OxcLut3DLoadTableFromFile(settings.lutPath.c_str());
        if (!table) {
            *error = "the library could not load this LUT";
            return nullptr;
        }
        Lut3DEffect* effect = OxcLut3DCreateEffect(settings.threads);
        if (!effect) {
            OxcLut3DDestroyTable(table);
            *error = "the library could not create an effect";
            return nullptr;
        }
        return std::unique_ptr<oxtool::FrameRenderer>(new EffectRenderer(settings, table, effect));
    }

    bool render(const uint8_t* src, uint8_t* dst) override
    {
        const LutImage in = image(src);
        const LutImage out = image(dst);
        return OxcLut3DRenderEffect(m_effect, m_table, &in, &out, m_settings.pixelFormat,
                                    m_settings.colorStandard, m_settings.range,
                                    m_settings.geometry.width, m_settings.geometry.height,
                                    0) == 1;
    }

private:
    EffectRenderer(const oxtool::RenderSettings& settings, Lut3DTable* table,
                   Lut3DEffect* effect)
        : m_settings(settings), m_table(table), m_effect(effect)
    {
    }

    LutImage image(const uint8_t* frame) const
    {
        uint8_t* luma = const_cast<uint8_t*>(frame);
        const int32_t stride = int32_t(m_settings.geometry.width);
        return LutImage{{luma, luma + m_settings.geometry.lumaSize(), nullptr}, {stride, stride}};
    }

    oxtool::RenderSettings m_settings;
    Lut3DTable* m_table;
    Lut3DEffect* m_effect;
};

double steadySeconds()
{
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

} // namespace

int main(int argc, char** argv)
{
    // A reader that goes away shows up as EPIPE from write(), which apply
    // reports, rather than as a silent death by signal.
    std::signal(SIGPIPE, SIG_IGN);

    oxtool::ToolContext context;
    context.out = &std::cout;
    context.err = &std::cerr;
    context.inFd = STDIN_FILENO;
    context.outFd = STDOUT_FILENO;
    context.errIsTerminal = ::isatty(STDERR_FILENO) != 0;
    context.clock = steadySeconds;
    context.openRenderer = &EffectRenderer::open;

    const std::vector<std::string> args(argv + 1, argv + argc);
    const int code = oxtool::runTool(args, context);
    std::cout.flush();
    if (!std::cout) {
        std::cerr << "oxlut: write error on standard output\n";
        return oxtool::ExitFailure;
    }
    return code;
}
