// The apply, bench and diff commands with a stand-in renderer, and the
// refusal of bad arguments.
#include "tools/commands.h"
#include "tools/lutfile.h"
#include "tooltestsupport.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace oxtool;

namespace {

// Adds one to every byte; records what it was opened with.
class AddOneRenderer : public FrameRenderer {
public:
    explicit AddOneRenderer(size_t size) : m_size(size) {}
    bool render(const uint8_t* src, uint8_t* dst) override
    {
        for (size_t i = 0; i < m_size; ++i)
            dst[i] = uint8_t(src[i] + 1);
        return true;
    }

private:
    size_t m_size;
};

struct Harness {
    std::ostringstream out, err;
    ToolContext context;
    RenderSettings opened;
    LutFile openedLut;
    std::string openedError;
    double now = 0;

    Harness()
    {
        context.out = &out;
        context.err = &err;
        context.clock = [this] { return now += 0.25; };
        context.openRenderer = [this](const RenderSettings& s, std::string* error) {
            opened = s;
            // The renderer always receives a readable LUT file.
            if (!readLutFile(s.lutPath, &openedLut, &openedError))
                return std::unique_ptr<FrameRenderer>();
            (void)error;
            return std::unique_ptr<FrameRenderer>(new AddOneRenderer(s.geometry.frameSize()));
        };
    }
    int run(const std::vector<std::string>& args) { return runTool(args, context); }
};

} // namespace

TEST(ApplyCommand, GradesFramesFromFileToFileWithTheChosenSettings)
{
    tooltest::ScratchDir dir;
    tooltest::writeFile(dir.file("look.cube"), tooltest::identityCube(5));
    Harness h;
    ASSERT_EQ(h.run({"convert", dir.file("look.cube"), dir.file("look.lut")}), 0);
    std::string frames(2 * 48, '\0');
    for (size_t i = 0; i < frames.size(); ++i)
        frames[i] = char(i);
    tooltest::writeFile(dir.file("in.nv12"), frames);

    ASSERT_EQ(h.run({"apply", "--lut", dir.file("look.lut"), "--size=6x5", "--format", "nv21",
                     "--standard", "bt709", "--range", "full", "--threads", "3",
                     dir.file("in.nv12"), dir.file("out.nv12")}),
              0)
        << h.err.str();
    EXPECT_EQ(h.opened.lutPath, dir.file("look.lut"));
    EXPECT_EQ(h.opened.geometry.frameSize(), 48u);
    const uint32_t chosen[] = {h.opened.pixelFormat, h.opened.colorStandard, h.opened.range, h.opened.threads};
    EXPECT_EQ(std::vector<uint32_t>(chosen, chosen + 4), std::vector<uint32_t>({1, 1, 1, 3}));
    const std::string out = tooltest::readFile(dir.file("out.nv12"));
    ASSERT_EQ(out.size(), frames.size());
    for (size_t i = 0; i < out.size(); ++i)
        ASSERT_EQ(uint8_t(out[i]), uint8_t(i + 1));

    // A .cube LUT is converted, on the grid asked for, to a temporary file
    // that is gone afterwards.
    ASSERT_EQ(h.run({"apply", "--lut", dir.file("look.cube"), "--grid", "9", "--size", "6x5",
                     dir.file("in.nv12"), dir.file("out2.nv12")}),
              0)
        << h.err.str();
    EXPECT_EQ(h.openedError, "");
    EXPECT_EQ(h.openedLut.levelCount(), 9u);
    EXPECT_FALSE(tooltest::fileExists(h.opened.lutPath));
    EXPECT_EQ(h.opened.pixelFormat + h.opened.colorStandard + h.opened.range + h.opened.threads, 0u);
}

TEST(ApplyCommand, ReadsStandardInputAndReportsFailuresInOneLine)
{
    tooltest::ScratchDir dir;
    tooltest::writeFile(dir.file("look.cube"), tooltest::identityCube(2));
    Harness h;
    ASSERT_EQ(h.run({"convert", dir.file("look.cube"), dir.file("look.lut")}), 0);
    tooltest::writeFile(dir.file("in.nv12"), std::string(48 * 2 + 5, 'a'));
    const int in = ::open(dir.file("in.nv12").c_str(), O_RDONLY);
    const int out = ::open(dir.file("out.nv12").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    h.context.inFd = in;
    h.context.outFd = out;
    EXPECT_EQ(h.run({"apply", "--lut", dir.file("look.lut"), "--size", "6x5"}), 1);
    ::close(in);
    ::close(out);
    EXPECT_EQ(h.err.str(), "oxlut: input ends with a truncated frame: 5 bytes left over after 2 "
                           "whole frames (a frame is 48 bytes)\n");
    EXPECT_EQ(tooltest::readFile(dir.file("out.nv12")), std::string(96, 'b'));

    auto failure = [&](const std::vector<std::string>& args) {
        Harness f;
        EXPECT_EQ(f.run(args), 1);
        const std::string err = f.err.str();
        EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
        return err;
    };
    const std::string lut = dir.file("look.lut");
    EXPECT_EQ(failure({"apply", "--lut", dir.file("none.lut"), "--size", "6x5", lut, "-"}),
              "oxlut: " + dir.file("none.lut") + ": cannot open: No such file or directory\n");
    EXPECT_EQ(failure({"apply", "--lut", lut, "--size", "6x5", dir.file("none.nv12"), "-"}),
              "oxlut: " + dir.file("none.nv12") + ": No such file or directory\n");
    EXPECT_EQ(failure({"apply", "--lut", lut, "--grid", "9", "--size", "6x5", dir.file("in.nv12"), "-"}),
              "oxlut: " + lut + ": --grid applies to .cube files only\n");
    EXPECT_EQ(failure({"apply", "--lut", lut, "--size", "6x5", dir.file("in.nv12"), dir.file("in.nv12")}),
              "oxlut: " + dir.file("in.nv12") + ": input and output are the same file\n");
    EXPECT_NE(tooltest::readFile(dir.file("in.nv12")).size(), 0u); // not truncated by opening it

    // A 1D table is refused before the library sees it.
    LutFile flat;
    std::string error;
    ASSERT_TRUE(readLutFile(lut, &flat, &error));
    flat.is3D = false;
    flat.grid.resize(2 * 3);
    tooltest::writeFile(dir.file("flat.lut"), encodeLut(flat));
    EXPECT_EQ(failure({"apply", "--lut", dir.file("flat.lut"), "--size", "6x5", lut, "-"}),
              "oxlut: " + dir.file("flat.lut") +
                  ": a 1D table of 2 entries: the library renders 3D tables only\n");
}

TEST(ToolArguments, BadArgumentsAreUsageErrors)
{
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{}, ""},
        {{"frobnicate"}, "oxlut: unknown command 'frobnicate'"},
        {{"apply", "--size", "8x8"}, "oxlut: apply: missing --lut FILE"},
        {{"apply", "--lut", "a.lut"}, "oxlut: apply: missing --size WxH"},
        {{"apply", "--lut", "a.lut", "--size", "8by8"},
         "oxlut: apply: --size must be WIDTHxHEIGHT with sides from 1 to 16384, not '8by8'"},
        {{"apply", "--lut", "a.lut", "--size", "8x"}, "oxlut: apply: --size must be"},
        {{"apply", "--lut", "a.lut", "--size", "0x8"}, "oxlut: apply: --size must be"},
        {{"apply", "--lut", "a.lut", "--size", "8x20000"}, "oxlut: apply: --size must be"},
        {{"apply", "--lut", "a.lut", "--size", "7x8"},
         "oxlut: apply: --size 7x8: the width must be even"},
        {{"apply", "--lut", "a.lut", "--size", "8x8", "--format", "i420"},
         "oxlut: apply: --format must be one of nv12, nv21, not 'i420'"},
        {{"apply", "--lut", "a.lut", "--size", "8x8", "--standard", "bt2020"},
         "oxlut: apply: --standard must be one of bt601, bt709"},
        {{"apply", "--lut", "a.lut", "--size", "8x8", "--range", "tv"},
         "oxlut: apply: --range must be one of limited, full"},
        {{"apply", "--lut", "a.lut", "--size", "8x8", "--threads", "-1"},
         "oxlut: apply: --threads must be a whole number from 0 to 1024, not '-1'"},
        {{"apply", "--lut", "a.lut", "--size", "8x8", "--threads", "2x"}, "oxlut: apply: --threads"},
        {{"apply", "--lut", "a.lut", "--size", "8x8", "--threads", "99999999999999999999"},
         "oxlut: apply: --threads"},
        {{"apply", "--lut", "a.lut", "--size", "8x8", "--speed", "9"},
         "oxlut: apply: unknown option '--speed'"},
        {{"apply", "--lut", "a.lut", "--size", "8x8", "--lut", "b.lut"},
         "oxlut: apply: --lut given twice"},
        {{"apply", "--size", "8x8", "--lut"}, "oxlut: apply: --lut needs a value"},
        {{"apply", "--lut", "a.lut", "--size", "8x8", "a", "b", "c"},
         "oxlut: apply: unexpected argument 'c'"},
        {{"bench", "--lut", "a.lut", "--size", "8x8", "--frames", "0"},
         "oxlut: bench: --frames must be a whole number from 1"},
        {{"bench", "--lut", "a.lut", "--size", "8x8", "extra"},
         "oxlut: bench: unexpected argument 'extra'"},
        {{"info"}, "oxlut: info: missing FILE"},
        {{"info", "--verbose", "x"}, "oxlut: info: unknown option '--verbose'"},
        {{"diff", "a", "b"}, "oxlut: diff: missing --size WxH"},
        {{"diff", "--size", "8x8", "-", "-"}, "oxlut: diff: only one of A and B"},
    };
    for (const auto& c : cases) {
        Harness h;
        EXPECT_EQ(h.run(c.first), 2) << c.second;
        const std::string err = h.err.str();
        EXPECT_EQ(err.compare(0, c.second.size(), c.second), 0) << err;
        if (!c.first.empty()) {
            EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
            EXPECT_NE(err.find("(see 'oxlut help')"), std::string::npos) << err;
        }
    }
    Harness h;
    EXPECT_EQ(h.run({"help"}), 0);
    EXPECT_NE(h.out.str().find("apply --lut FILE --size WxH"), std::string::npos);
}

TEST(BenchCommand, ReportsRenderAndCopyTimes)
{
    tooltest::ScratchDir dir;
    tooltest::writeFile(dir.file("look.cube"), tooltest::identityCube(2));
    Harness h;
    // The clock advances a quarter second per reading: both timed loops
    // span one step, so 4 frames take 62.5 ms each.
    ASSERT_EQ(h.run({"bench", "--lut", dir.file("look.cube"), "--size", "64x32", "--frames", "4",
                     "--threads", "2"}),
              0)
        << h.err.str();
    EXPECT_EQ(h.out.str(),
              "bench: 64x32 NV12 BT.601 limited, 2-level LUT, threads 2, 4 frames\n"
              "render: 62.500 ms/frame, 0.0 Mpixel/s\n"
              "memcpy: 62.500 ms/frame (3072 bytes)\n");
    EXPECT_EQ(h.opened.threads, 2u);

    // --input renders the first frame of a clip, which must hold one.
    tooltest::writeFile(dir.file("clip.nv12"), std::string(3071, 'a'));
    Harness c;
    EXPECT_EQ(c.run({"bench", "--lut", dir.file("look.cube"), "--size", "64x32", "--input",
                     dir.file("clip.nv12")}), 1);
    EXPECT_EQ(c.err.str(), "oxlut: " + dir.file("clip.nv12") + ": shorter than one frame (3071 of 3072 bytes)\n");
}

TEST(DiffCommand, PrintsPerPlaneFigures)
{
    tooltest::ScratchDir dir;
    std::string a(12, char(50)), b(12, char(50));
    b[3] = char(60);
    tooltest::writeFile(dir.file("a"), a);
    tooltest::writeFile(dir.file("b"), b);
    Harness h;
    ASSERT_EQ(h.run({"diff", "--size", "4x2", dir.file("a"), dir.file("b")}), 0) << h.err.str();
    EXPECT_EQ(h.out.str(), "frames: 1\n"
                           "luma:   mean abs diff 1.2500, max 10, PSNR 37.16 dB\n"
                           "chroma: mean abs diff 0.0000, max 0, PSNR inf dB\n"
                           "all:    mean abs diff 0.8333, max 10, PSNR 38.92 dB\n");
}
