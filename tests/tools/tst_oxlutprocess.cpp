// The real oxlut program, run as a process: grading over pipes through
// libOxLutEffect, and its failures. The commands' own logic is tested through
// the tool library; here the program's wiring, exit codes and signals.
#include "tools/framestream.h"
#include "tooltestsupport.h"

#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#ifndef OXLUT_TOOL_PATH
#error "OXLUT_TOOL_PATH names the oxlut program under test"
#endif
#ifndef OXLUT_TOOL_EMULATOR
#define OXLUT_TOOL_EMULATOR ""
#endif

namespace {

struct Outcome {
    bool exited = false;
    int code = -1;  // exit code, or the signal number when !exited
    std::string out;
    std::string err;
};

std::vector<std::string> commandLine(const std::vector<std::string>& args)
{
    std::vector<std::string> argv;
    std::istringstream emulator(OXLUT_TOOL_EMULATOR);
    for (std::string word; emulator >> word;)
        argv.push_back(word);
    argv.push_back(OXLUT_TOOL_PATH);
    argv.insert(argv.end(), args.begin(), args.end());
    return argv;
}

// Runs oxlut with input written in small pieces to a pipe on its standard
// input, collecting its standard output (from a pipe) and error. With
// closedOutput its standard output is a pipe nobody reads.
Outcome runOxlut(const std::vector<std::string>& args, const std::string& input = "",
                 bool closedOutput = false)
{
    tooltest::ScratchDir dir;
    const std::string errPath = dir.file("stderr");
    std::vector<std::string> argv = commandLine(args);
    std::vector<char*> cargv;
    for (std::string& a : argv)
        cargv.push_back(&a[0]);
    cargv.push_back(nullptr);
    int in[2], out[2];
    if (::pipe(in) != 0 || ::pipe(out) != 0)
        return Outcome();
    const pid_t pid = ::fork();
    if (pid == 0) {
        const int err = ::open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        ::dup2(in[0], 0);
        ::dup2(out[1], 1);
        ::dup2(err, 2);
        for (int fd : {in[0], in[1], out[0], out[1], err})
            ::close(fd);
        std::signal(SIGPIPE, SIG_DFL);  // the program must cope with it on its own
        ::execvp(cargv[0], cargv.data());
        _exit(127);
    }
    ::close(in[0]);
    ::close(out[1]);
    if (closedOutput)
        ::close(out[0]);
    std::signal(SIGPIPE, SIG_IGN);  // our own writes to a finished child
    std::thread feeder([&] {
        for (size_t at = 0; at < input.size();) {
            const ssize_t n = ::write(in[1], input.data() + at, std::min<size_t>(input.size() - at, 4099));
            if (n < 0)
                break;
            at += size_t(n);
        }
        ::close(in[1]);
    });
    Outcome outcome;
    char buffer[65536];
    ssize_t n;
    while (!closedOutput && (n = ::read(out[0], buffer, sizeof buffer)) > 0)
        outcome.out.append(buffer, size_t(n));
    if (!closedOutput)
        ::close(out[0]);
    feeder.join();
    int status = 0;
    ::waitpid(pid, &status, 0);
    outcome.exited = WIFEXITED(status);
    outcome.code = outcome.exited ? WEXITSTATUS(status) : WTERMSIG(status);
    outcome.err = tooltest::readFile(errPath);
    return outcome;
}

// Frames of a smooth picture that stays inside the colour gamut.
std::string testFrames(const oxtool::FrameGeometry& g, int count)
{
    std::string frame(g.frameSize(), '\0');
    for (uint32_t y = 0; y < g.height; ++y)
        for (uint32_t x = 0; x < g.width; ++x)
            frame[y * g.width + x] = char(64 + (x * 128) / g.width);
    for (size_t y = 0; y < g.chromaRows(); ++y)
        for (uint32_t x = 0; x < g.width; x += 2) {
            frame[g.lumaSize() + y * g.width + x] = char(112 + (y * 32) / g.chromaRows());
            frame[g.lumaSize() + y * g.width + x + 1] = char(144 - (x * 32) / g.width);
        }
    std::string frames;
    for (int i = 0; i < count; ++i)
        frames += frame;
    return frames;
}

int maxDifference(const std::string& a, const std::string& b)
{
    int largest = 0;
    for (size_t i = 0; i < a.size() && i < b.size(); ++i)
        largest = std::max(largest, std::abs(int(uint8_t(a[i])) - int(uint8_t(b[i]))));
    return largest;
}

std::string sampleCube()
{
    const char* source = std::getenv("OX_TEST_SOURCE_DIR");
    return std::string(source ? source : ".") + "/tools/samples/warm-teal.cube";
}

} // namespace

TEST(OxlutProcess, GradesFramesOverPipes)
{
    tooltest::ScratchDir dir;
    tooltest::writeFile(dir.file("identity.cube"), tooltest::identityCube(17));
    ASSERT_EQ(runOxlut({"convert", dir.file("identity.cube"), dir.file("identity.lut")}).code, 0);
    const oxtool::FrameGeometry g{64, 46};
    const int frames = 5;
    const std::string input = testFrames(g, frames);

    // The identity grade gives the picture back up to rounding, every frame alike.
    Outcome r = runOxlut({"apply", "--lut", dir.file("identity.lut"), "--size", "64x46"}, input);
    ASSERT_TRUE(r.exited && r.code == 0 && r.err.empty()) << r.err;
    ASSERT_EQ(r.out.size(), input.size());
    EXPECT_LE(maxDifference(r.out, input), 3);
    const size_t size = g.frameSize();
    for (int i = 1; i < frames; ++i)
        EXPECT_EQ(r.out.compare(i * size, size, r.out, 0, size), 0) << "frame " << i;

    // A negative turns luma around (limited range: 16 <-> 235), the same
    // way on one thread and on several.
    tooltest::writeFile(dir.file("negative.cube"),
                        tooltest::cubeText(17, [](int r, int g, int b) {
                            return std::vector<double>{1 - r / 16.0, 1 - g / 16.0, 1 - b / 16.0};
                        }));
    auto negative = [&](const char* threads) {
        return runOxlut({"apply", "--lut", dir.file("negative.cube"), "--size", "64x46", "--standard", "bt709",
                         "--threads", threads}, input);
    };
    const Outcome a = negative("1");
    const Outcome b = negative("3");
    ASSERT_TRUE(a.code == 0 && b.code == 0) << a.err << b.err;
    ASSERT_EQ(a.out.size(), input.size());
    for (size_t i = 0; i < g.lumaSize(); ++i)
        EXPECT_NEAR(uint8_t(a.out[i]), 251 - uint8_t(input[i]), 3) << i;
    EXPECT_TRUE(a.out == b.out);

    // The sample grade, given as its .cube file, changes the picture.
    r = runOxlut({"apply", "--lut", sampleCube(), "--size", "64x46"}, input);
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_GT(maxDifference(r.out, input), 5);
}

TEST(OxlutProcess, FailsWithOneLineAndNonZeroStatus)
{
    tooltest::ScratchDir dir;
    const std::string input = testFrames({64, 46}, 3);
    const std::vector<std::string> apply = {"apply", "--lut", sampleCube(), "--size", "64x46"};

    Outcome r = runOxlut(apply, input + "tail!");
    EXPECT_TRUE(r.exited && r.code == 1);
    EXPECT_EQ(r.err, "oxlut: input ends with a truncated frame: 5 bytes left over after 3 whole "
                     "frames (a frame is 4416 bytes)\n");
    EXPECT_EQ(r.out.size(), input.size());

    // A reader that has gone: an error, not a death by SIGPIPE.
    r = runOxlut(apply, input, /*closedOutput=*/true);
    EXPECT_TRUE(r.exited) << "killed by signal " << r.code;
    EXPECT_EQ(r.code, 1);
    EXPECT_EQ(r.err, "oxlut: output closed by the reader after 0 frames\n");

    r = runOxlut({"apply", "--lut", sampleCube(), "--size", "63x46"});
    EXPECT_EQ(r.code, 2);
    tooltest::writeFile(dir.file("broken.lut"), ".ZR-LUT junk");
    r = runOxlut({"apply", "--lut", dir.file("broken.lut"), "--size", "64x46"}, input);
    EXPECT_EQ(r.code, 1);
    EXPECT_EQ(r.err, "oxlut: " + dir.file("broken.lut") + ": header truncated (12 of 48 bytes)\n");
}
