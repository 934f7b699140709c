#include "tools/framestream.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <ostream>
#include <unistd.h>

namespace oxtool {

ssize_t readFully(int fd, uint8_t* data, size_t size)
{
    size_t done = 0;
    while (done < size) {
        const ssize_t n = ::read(fd, data + done, size - done);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return -1;
        }
        if (n == 0)
            break;
        done += size_t(n);
    }
    return ssize_t(done);
}

bool writeFully(int fd, const uint8_t* data, size_t size)
{
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        data += n;
        size -= size_t(n);
    }
    return true;
}

ProgressMeter::ProgressMeter(std::ostream& out, Clock clock, double interval)
    : m_out(out), m_clock(std::move(clock)), m_interval(interval)
{
    m_start = m_clock();
    m_lastDraw = m_start;
}

void ProgressMeter::update(uint64_t frames)
{
    const double now = m_clock();
    if (now - m_lastDraw >= m_interval)
        draw(frames, now);
}

void ProgressMeter::finish(uint64_t frames)
{
    draw(frames, m_clock());
    m_out << '\n';
    m_out.flush();
}

void ProgressMeter::draw(uint64_t frames, double now)
{
    const double elapsed = now - m_start;
    char line[96];
    std::snprintf(line, sizeof line, "\roxlut: %llu frames, %.1f fps ",
                  static_cast<unsigned long long>(frames),
                  elapsed > 0 ? double(frames) / elapsed : 0.0);
    m_out << line;
    m_out.flush();
    m_lastDraw = now;
}

StreamResult streamFrames(int inFd, int outFd, size_t frameSize, const FrameProcessor& process,
                          ProgressMeter* progress)
{
    StreamResult result;
    auto fail = [&result](std::string text) {
        result.ok = false;
        result.error = std::move(text);
        return result;
    };
    std::unique_ptr<uint8_t[]> frame(new (std::nothrow) uint8_t[frameSize]);
    if (!frame)
        return fail("cannot allocate a frame buffer of " + std::to_string(frameSize) + " bytes");
    for (;;) {
        const ssize_t got = readFully(inFd, frame.get(), frameSize);
        if (got < 0)
            return fail("read error after " + std::to_string(result.frames) +
                        " frames: " + std::strerror(errno));
        if (got == 0)
            break;
        if (size_t(got) < frameSize)
            return fail("input ends with a truncated frame: " + std::to_string(got) +
                        " bytes left over after " + std::to_string(result.frames) +
                        " whole frames (a frame is " + std::to_string(frameSize) + " bytes)");
        if (!process(frame.get()))
            return fail("rendering failed at frame " + std::to_string(result.frames + 1));
        if (!writeFully(outFd, frame.get(), frameSize)) {
            if (errno == EPIPE)
                return fail("output closed by the reader after " +
                            std::to_string(result.frames) + " frames");
            return fail("write error after " + std::to_string(result.frames) +
                        " frames: " + std::strerror(errno));
        }
        ++result.frames;
        if (progress)
            progress->update(result.frames);
    }
    return result;
}

} // namespace oxtool
