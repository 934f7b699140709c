// The frame streaming loop over real pipes (short reads, truncated tails, a
// reader that goes away), the progress line and clip differences.
#include "tools/framediff.h"
#include "tools/framestream.h"
#include "tooltestsupport.h"

#include <cmath>
#include <csignal>
#include <gtest/gtest.h>
#include <thread>
#include <unistd.h>

using namespace oxtool;

namespace {

struct Pipe {
    int fds[2] = {-1, -1};
    Pipe() { EXPECT_EQ(::pipe(fds), 0); }
    ~Pipe()
    {
        closeRead();
        closeWrite();
    }
    int readEnd() const { return fds[0]; }
    int writeEnd() const { return fds[1]; }
    void closeRead()
    {
        if (fds[0] >= 0)
            ::close(fds[0]);
        fds[0] = -1;
    }
    void closeWrite()
    {
        if (fds[1] >= 0)
            ::close(fds[1]);
        fds[1] = -1;
    }
};

std::string pattern(size_t size)
{
    std::string s(size, '\0');
    for (size_t i = 0; i < size; ++i)
        s[i] = char((i * 7 + i / 13) & 0xff);
    return s;
}

// Feeds bytes into a pipe in small uneven pieces so the reader sees short reads.
std::thread feedInPieces(Pipe* pipe, std::string bytes)
{
    return std::thread([pipe, bytes] {
        size_t done = 0;
        for (size_t piece = 1; done < bytes.size(); piece = piece * 3 % 1000 + 1) {
            const size_t n = std::min(piece, bytes.size() - done);
            writeFully(pipe->writeEnd(), reinterpret_cast<const uint8_t*>(bytes.data()) + done, n);
            done += n;
        }
        pipe->closeWrite();
    });
}

std::thread drain(Pipe* pipe, std::string* into)
{
    return std::thread([pipe, into] {
        char buffer[4096];
        ssize_t n;
        while ((n = ::read(pipe->readEnd(), buffer, sizeof buffer)) > 0)
            into->append(buffer, size_t(n));
    });
}

const FrameProcessor invert = [](uint8_t* frame) {
    for (size_t i = 0; i < FrameGeometry{6, 5}.frameSize(); ++i)
        frame[i] = uint8_t(255 - frame[i]);
    return true;
};

} // namespace

TEST(FrameGeometry, MatchesRawVideoLayout)
{
    EXPECT_EQ((FrameGeometry{1920, 1080}.frameSize()), 1920u * 1080 * 3 / 2);
    // An odd height still has a chroma row for its last luma row.
    EXPECT_EQ((FrameGeometry{6, 5}.frameSize()), 30u + 18u);
    EXPECT_EQ((FrameGeometry{6, 5}.chromaRows()), 3u);
}

TEST(FrameStream, StreamsWholeFramesThroughPipes)
{
    const size_t frame = FrameGeometry{6, 5}.frameSize();
    const std::string input = pattern(frame * 4);
    Pipe in, out;
    std::string output;
    std::thread writer = feedInPieces(&in, input);
    std::thread reader = drain(&out, &output);
    const StreamResult result = streamFrames(in.readEnd(), out.writeEnd(), frame, invert, nullptr);
    out.closeWrite();
    writer.join();
    reader.join();
    ASSERT_TRUE(result.ok) << result.error;
    EXPECT_EQ(result.frames, 4u);
    ASSERT_EQ(output.size(), input.size());
    for (size_t i = 0; i < input.size(); ++i)
        ASSERT_EQ(uint8_t(output[i]), 255 - uint8_t(input[i])) << i;
}

TEST(FrameStream, TruncatedTailIsAnErrorNamingTheLeftover)
{
    const size_t frame = FrameGeometry{6, 5}.frameSize();
    Pipe in, out;
    std::string output;
    std::thread writer = feedInPieces(&in, pattern(frame * 3 + 17));
    std::thread reader = drain(&out, &output);
    const StreamResult result = streamFrames(in.readEnd(), out.writeEnd(), frame, invert, nullptr);
    out.closeWrite();
    writer.join();
    reader.join();
    EXPECT_FALSE(result.ok);
    EXPECT_EQ(result.frames, 3u);
    EXPECT_EQ(result.error, "input ends with a truncated frame: 17 bytes left over after 3 whole "
                            "frames (a frame is 48 bytes)");
    EXPECT_EQ(output.size(), frame * 3);  // whole frames before the tail are delivered
}

TEST(FrameStream, StopsOnRenderFailureAndOnAClosedReader)
{
    const size_t frame = FrameGeometry{6, 5}.frameSize();
    int calls = 0;
    const FrameProcessor failSecond = [&calls](uint8_t*) { return ++calls < 2; };
    {
        Pipe in, out;
        std::string output;
        std::thread writer = feedInPieces(&in, pattern(frame * 3));
        std::thread reader = drain(&out, &output);
        const StreamResult result =
            streamFrames(in.readEnd(), out.writeEnd(), frame, failSecond, nullptr);
        out.closeWrite();
        in.closeRead();
        writer.join();
        reader.join();
        EXPECT_EQ(result.error, "rendering failed at frame 2");
        EXPECT_EQ(output.size(), frame);
    }
    {
        // The tool ignores SIGPIPE so that a vanished reader is an EPIPE error.
        std::signal(SIGPIPE, SIG_IGN);
        Pipe in, out;
        out.closeRead();
        std::thread writer = feedInPieces(&in, pattern(frame * 2));
        const StreamResult result =
            streamFrames(in.readEnd(), out.writeEnd(), frame, invert, nullptr);
        in.closeRead();
        writer.join();
        EXPECT_FALSE(result.ok);
        EXPECT_EQ(result.error, "output closed by the reader after 0 frames");
    }
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
    ClipDiff diff;
    std::string error;
    {
        FILE* fa = std::fopen(dir.file("a").c_str(), "rb");
        FILE* fb = std::fopen(dir.file("b").c_str(), "rb");
        ASSERT_TRUE(diffClips(fileno(fa), fileno(fb), g, &diff, &error)) << error;
        std::fclose(fa);
        std::fclose(fb);
    }
    EXPECT_EQ(diff.frames, 2u);
    EXPECT_EQ(diff.luma.samples, 16u);
    EXPECT_EQ(diff.luma.sumAbs, 4u);
    EXPECT_EQ(diff.luma.maxAbs, 4u);
    EXPECT_EQ(diff.chroma.sumAbs, 4u);
    EXPECT_EQ(diff.chroma.maxAbs, 3u);
    EXPECT_DOUBLE_EQ(diff.all().meanAbs(), 8.0 / 24.0);
    EXPECT_NEAR(diff.all().psnr(), 10 * std::log10(255.0 * 255.0 / (26.0 / 24.0)), 1e-9);
    EXPECT_TRUE(std::isinf(PlaneDiff().psnr()));

    tooltest::writeFile(dir.file("c"), a.substr(0, 12));
    tooltest::writeFile(dir.file("d"), a.substr(0, 18));
    auto diffError = [&](const char* x, const char* y) {
        FILE* fx = std::fopen(dir.file(x).c_str(), "rb");
        FILE* fy = std::fopen(dir.file(y).c_str(), "rb");
        std::string e;
        ClipDiff d;
        const bool ok = diffClips(fileno(fx), fileno(fy), g, &d, &e);
        std::fclose(fx);
        std::fclose(fy);
        return ok ? std::string("ok") : e;
    };
    EXPECT_EQ(diffError("a", "c"), "second clip ends after 1 frames, the other goes on");
    EXPECT_EQ(diffError("d", "a"), "first clip ends with a truncated frame after 1 frames");
}
