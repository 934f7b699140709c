#include "tools/framestream.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <ostream>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace oxtool {

namespace {

// One frame of a regular input file, mapped read-only at the file's current
// offset, which moves past the frame as a read would. Anything else (a pipe,
// a terminal, less than a whole frame left, a failed mapping) leaves it
// empty, and the caller reads instead: the end of the input and a truncated
// tail are then found exactly as for a pipe.
class MappedFrame {
public:
    MappedFrame(int fd, size_t size)
    {
        struct stat st;
        if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode))
            return;
        const off_t offset = ::lseek(fd, 0, SEEK_CUR);
        if (offset < 0 || st.st_size - offset < off_t(size))
            return;
        const off_t page = off_t(::sysconf(_SC_PAGESIZE));
        const off_t start = offset / page * page;
        m_length = size_t(offset - start) + size;
        void* map = ::mmap(nullptr, m_length, PROT_READ, MAP_PRIVATE | MAP_POPULATE, fd, start);
        if (map == MAP_FAILED || ::lseek(fd, offset + off_t(size), SEEK_SET) < 0) {
            if (map != MAP_FAILED)
                ::munmap(map, m_length);
            return;
        }
        m_map = map;
        m_data = static_cast<const uint8_t*>(map) + (offset - start);
    }
    ~MappedFrame()
    {
        if (m_map)
            ::munmap(m_map, m_length);
    }
    MappedFrame(const MappedFrame&) = delete;
    MappedFrame& operator=(const MappedFrame&) = delete;

    const uint8_t* data() const { return m_data; }

private:
    void* m_map = nullptr;
    size_t m_length = 0;
    const uint8_t* m_data = nullptr;
};

} // namespace

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
        const MappedFrame mapped(inFd, frameSize);
        const uint8_t* source = mapped.data();
        if (!source) {
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
            source = frame.get();
        }
        if (!process(source, frame.get()))
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
