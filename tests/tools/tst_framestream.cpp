// The frame streaming pipeline over real pipes (short reads, truncated tails,
// a reader that goes away, reading ahead) and from a file, the progress line
// and clip differences.
#include "tools/framediff.h"
#include "tools/framestream.h"
#include "tooltestsupport.h"

#include <chrono>
#include <cmath>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <thread>
#include <unistd.h>

using namespace oxtool;

namespace {

const size_t kFrame = FrameGeometry{6, 5}.frameSize();

struct Pipe {
    int fds[2] = {-1, -1};
    Pipe() { EXPECT_EQ(::pipe(fds), 0); }
    ~Pipe() { close(0), close(1); }
    void close(int end)
    {
        if (fds[end] >= 0)
            ::close(fds[end]);
        fds[end] = -1;
    }
};

std::string pattern(size_t size)
{
    std::string s(size, '\0');
    for (size_t i = 0; i < size; ++i)
        s[i] = char((i * 7 + i / 13) & 0xff);
    return s;
}

struct Streamed {
    StreamResult result;
    std::string output;
};

// Streams input between two pipes: it is fed in small uneven pieces so the
// loop sees short reads, and the output is drained unless the reader is gone.
Streamed streamThrough(const std::string& input, const FrameProcessor& process, bool readerGone = false)
{
    std::signal(SIGPIPE, SIG_IGN);  // as the tool does: a vanished reader is an EPIPE error
    Pipe in, out;
    Streamed s;
    std::thread writer([&] {
        size_t done = 0;
        for (size_t piece = 1; done < input.size(); piece = piece * 3 % 1000 + 1) {
            const size_t n = std::min(piece, input.size() - done);
            writeFully(in.fds[1], reinterpret_cast<const uint8_t*>(input.data()) + done, n);
            done += n;
        }
        in.close(1);
    });
    std::thread reader;
    if (readerGone) {
        out.close(0);
    } else {
        reader = std::thread([&] {
            char buffer[4096];
            ssize_t n;
            while ((n = ::read(out.fds[0], buffer, sizeof buffer)) > 0)
                s.output.append(buffer, size_t(n));
        });
    }
    s.result = streamFrames(in.fds[0], out.fds[1], kFrame, process, nullptr);
    out.close(1);
    in.close(0);
    writer.join();
    if (reader.joinable())
        reader.join();
    return s;
}

const FrameProcessor invert = [](const uint8_t* src, uint8_t* dst) {
    for (size_t i = 0; i < kFrame; ++i)
        dst[i] = uint8_t(255 - src[i]);
    return true;
};

// Streams a regular file from byte `skip` on into another file.
Streamed streamFile(const std::string& input, off_t skip)
{
    tooltest::ScratchDir dir;
    tooltest::writeFile(dir.file("in"), input);
    const int in = ::open(dir.file("in").c_str(), O_RDONLY);
    const int out = ::open(dir.file("out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    EXPECT_EQ(::lseek(in, skip, SEEK_SET), skip);
    Streamed s;
    s.result = streamFrames(in, out, kFrame, invert, nullptr);
    ::close(in);
    ::close(out);
    s.output = tooltest::readFile(dir.file("out"));
    return s;
}

} // namespace

TEST(FrameStream, StreamsWholeFramesThroughPipes)
{
    const std::string input = pattern(kFrame * 4);
    // An odd height still has a chroma row for its last luma row.
    ASSERT_EQ(kFrame, 30u + 18u);
    const Streamed s = streamThrough(input, invert);
    ASSERT_TRUE(s.result.ok) << s.result.error;
    EXPECT_EQ(s.result.frames, 4u);
    ASSERT_EQ(s.output.size(), input.size());
    for (size_t i = 0; i < input.size(); ++i)
        ASSERT_EQ(uint8_t(s.output[i]), 255 - uint8_t(input[i])) << i;

    // A truncated tail is an error naming the leftover, after the whole
    // frames before it have been delivered.
    const Streamed cut = streamThrough(pattern(kFrame * 3 + 17), invert);
    EXPECT_FALSE(cut.result.ok);
    EXPECT_EQ(cut.result.frames, 3u);
    EXPECT_EQ(cut.result.error, "input ends with a truncated frame: 17 bytes left over after 3 whole "
                                "frames (a frame is 48 bytes)");
    EXPECT_EQ(cut.output.size(), kFrame * 3);

    // From a regular file, starting at an odd offset: the same frames, the
    // same tail error.
    const std::string file = "12345" + input + pattern(17);
    const Streamed mapped = streamFile(file, 5);
    EXPECT_EQ(mapped.result.frames, 4u);
    EXPECT_EQ(mapped.result.error, "input ends with a truncated frame: 17 bytes left over after 4 whole "
                                   "frames (a frame is 48 bytes)");
    EXPECT_EQ(mapped.output, s.output);
}

TEST(FrameStream, StopsOnRenderFailureAndOnAClosedReader)
{
    int calls = 0;
    const Streamed failed = streamThrough(pattern(kFrame * 3), [&calls](const uint8_t*, uint8_t*) { return ++calls < 2; });
    EXPECT_EQ(failed.result.error, "rendering failed at frame 2");
    EXPECT_EQ(failed.output.size(), kFrame);

    const Streamed gone = streamThrough(pattern(kFrame * 2), invert, true);
    EXPECT_FALSE(gone.result.ok);
    EXPECT_EQ(gone.result.error, "output closed by the reader after 0 frames");
}

TEST(FrameStream, ReadsTheNextFrameWhileRenderingOne)
{
    // Three frames wait in the input pipe. While the second renders, the
    // third must be read: the pipe empties. A stream that reads only between
    // renders leaves it full until the timeout.
    Pipe in, out;
    const std::string input = pattern(kFrame * 3);
    ASSERT_TRUE(writeFully(in.fds[1], reinterpret_cast<const uint8_t*>(input.data()), input.size()));
    in.close(1);
    bool readAhead = false;
    int calls = 0;
    const FrameProcessor watch = [&](const uint8_t* src, uint8_t* dst) {
        const bool second = ++calls == 2;
        for (int waited = 0; second && !readAhead && waited < 1000; ++waited) {
            int pending = -1;
            readAhead = ::ioctl(in.fds[0], FIONREAD, &pending) == 0 && pending == 0;
            if (!readAhead)
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return invert(src, dst);
    };
    std::string output;
    std::thread reader([&] {
        char buffer[256];
        ssize_t n;
        while ((n = ::read(out.fds[0], buffer, sizeof buffer)) > 0)
            output.append(buffer, size_t(n));
    });
    const StreamResult result = streamFrames(in.fds[0], out.fds[1], kFrame, watch, nullptr);
    out.close(1);
    reader.join();
    EXPECT_TRUE(readAhead);
    EXPECT_EQ(result.frames, 3u);
    EXPECT_EQ(output, streamThrough(input, invert).output);
}

TEST(ProgressMeter, RedrawsAtMostOncePerIntervalAndEndsTheLine)
{
    double now = 10.0;
    std::ostringstream out;
    ProgressMeter meter(out, [&now] { return now; }, 0.5);
    now = 10.2;
    meter.update(1);
    EXPECT_EQ(out.str(), "");
    now = 11.0;
    meter.update(25);
    EXPECT_EQ(out.str(), "\roxlut: 25 frames, 25.0 fps ");
    now = 11.2;
    meter.update(30);
    EXPECT_EQ(out.str(), "\roxlut: 25 frames, 25.0 fps ");
    now = 12.0;
    meter.finish(60);
    EXPECT_EQ(out.str(), "\roxlut: 25 frames, 25.0 fps \roxlut: 60 frames, 30.0 fps \n");
}

TEST(ClipDiff, MeasuresPlanesAndRefusesUnequalClips)
{
    const FrameGeometry g{4, 2};  // 8 luma + 4 chroma bytes
    tooltest::ScratchDir dir;
    std::string a(24, char(100)), b(24, char(100));
    b[0] = char(104);   // luma, frame 1
    b[10] = char(97);   // chroma, frame 1
    b[20] = char(101);  // chroma, frame 2
    tooltest::writeFile(dir.file("a"), a);
    tooltest::writeFile(dir.file("b"), b);
    auto diffFiles = [&](const char* x, const char* y, ClipDiff* d, std::string* e) {
        const int fx = ::open(dir.file(x).c_str(), O_RDONLY);
        const int fy = ::open(dir.file(y).c_str(), O_RDONLY);
        const bool ok = diffClips(fx, fy, g, d, e);
        ::close(fx);
        ::close(fy);
        return ok;
    };
    ClipDiff diff;
    std::string error;
    ASSERT_TRUE(diffFiles("a", "b", &diff, &error)) << error;
    EXPECT_EQ(diff.frames, 2u);
    EXPECT_EQ(diff.luma.samples, 16u);
    const uint64_t sums[] = {diff.luma.sumAbs, diff.luma.maxAbs, diff.chroma.sumAbs, diff.chroma.maxAbs};
    EXPECT_EQ(std::vector<uint64_t>(sums, sums + 4), std::vector<uint64_t>({4, 4, 4, 3}));
    EXPECT_DOUBLE_EQ(diff.all().meanAbs(), 8.0 / 24.0);
    EXPECT_NEAR(diff.all().psnr(), 10 * std::log10(255.0 * 255.0 / (26.0 / 24.0)), 1e-9);
    EXPECT_TRUE(std::isinf(PlaneDiff().psnr()));

    tooltest::writeFile(dir.file("c"), a.substr(0, 12));
    tooltest::writeFile(dir.file("d"), a.substr(0, 18));
    auto diffError = [&](const char* x, const char* y) {
        ClipDiff d;
        std::string e;
        return diffFiles(x, y, &d, &e) ? std::string("ok") : e;
    };
    EXPECT_EQ(diffError("a", "c"), "second clip ends after 1 frames, the other goes on");
    EXPECT_EQ(diffError("d", "a"), "first clip ends with a truncated frame after 1 frames");
}
