#include "tools/framestream.h"

#include "tools/framebuffer.h"

#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <new>
#include <ostream>
#include <pthread.h>
#include <sched.h>
#include <system_error>
#include <thread>
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

namespace {

constexpr int kPipeBufferSize = 1 << 20;

// Asks the scheduler not to let the calling thread, when it wakes, push the
// renderer off its processor: moving frames can wait for a free processor or
// the next time slice, rendering should not. Advice only.
void preferNotToPreempt()
{
#ifdef SCHED_BATCH
    const sched_param param{};
    pthread_setschedparam(pthread_self(), SCHED_BATCH, &param);
#endif
}

// Frames move through a ring of buffers: an input/output thread writes frame
// k - 1 and reads frame k + 1 into its buffer while the calling thread
// renders frame k in place. Counters of frames read, rendered and written
// (written <= rendered <= read <= written + slots) say which buffer is in
// which state. Two buffers keep both threads busy, since one thread does all
// the transfers in turn; more would only cost memory.
class FramePipeline {
public:
    FramePipeline(int inFd, int outFd, size_t frameSize)
        : m_inFd(inFd), m_outFd(outFd), m_frameSize(frameSize)
    {
    }

    // Makes up to kSlots buffers (at least one); false when not even one.
    bool allocate();
    // The input/output thread.
    void transfer();
    // Renders every frame the input thread delivers; returns when the input
    // is used up or something failed.
    void render(const FrameProcessor& process, ProgressMeter* progress);

    StreamResult result() const;

private:
    static constexpr size_t kSlots = 2;

    uint8_t* slot(uint64_t frame) const { return m_buffers[frame % m_slotCount]->data(); }
    // Keeps the first failure; the caller holds the lock.
    void fail(std::string text);
    bool readFrame(uint64_t frame);   // called without the lock; false on failure
    bool writeFrame(uint64_t frame);  // the same

    const int m_inFd;
    const int m_outFd;
    const size_t m_frameSize;
    std::unique_ptr<FrameBuffer> m_buffers[kSlots];
    size_t m_slotCount = 0;

    std::mutex m_lock;
    std::condition_variable m_changed;
    uint64_t m_read = 0;
    uint64_t m_rendered = 0;
    uint64_t m_written = 0;
    bool m_inputDone = false;     // end of input, or a read failure
    bool m_outputBroken = false;  // a write failed: nothing more goes out
    bool m_renderDone = false;    // the renderer has stopped
    std::string m_error;
};

bool FramePipeline::allocate()
{
    for (std::unique_ptr<FrameBuffer>& buffer : m_buffers) {
        buffer.reset(new (std::nothrow) FrameBuffer(m_frameSize));
        if (!buffer || !buffer->data())
            break;
        ++m_slotCount;
    }
    return m_slotCount > 0;
}

void FramePipeline::fail(std::string text)
{
    if (m_error.empty())
        m_error = std::move(text);
}

bool FramePipeline::readFrame(uint64_t frame)
{
    const ssize_t got = readFully(m_inFd, slot(frame), m_frameSize);
    const int error = errno;
    std::lock_guard<std::mutex> hold(m_lock);
    if (got == ssize_t(m_frameSize))
        return true;
    if (got < 0)
        fail("read error after " + std::to_string(frame) + " frames: " + std::strerror(error));
    else if (got > 0)
        fail("input ends with a truncated frame: " + std::to_string(got) +
             " bytes left over after " + std::to_string(frame) +
             " whole frames (a frame is " + std::to_string(m_frameSize) + " bytes)");
    return false;
}

bool FramePipeline::writeFrame(uint64_t frame)
{
    if (writeFully(m_outFd, slot(frame), m_frameSize))
        return true;
    const int error = errno;
    std::lock_guard<std::mutex> hold(m_lock);
    if (error == EPIPE)
        fail("output closed by the reader after " + std::to_string(frame) + " frames");
    else
        fail("write error after " + std::to_string(frame) + " frames: " + std::strerror(error));
    return false;
}

void FramePipeline::transfer()
{
    preferNotToPreempt();
    std::unique_lock<std::mutex> lock(m_lock);
    for (;;) {
        // Writing first hands finished frames on at once and frees buffers.
        const bool write = !m_outputBroken && m_written < m_rendered;
        if (!write && (m_inputDone || m_renderDone || m_read - m_written >= m_slotCount)) {
            if (m_renderDone)
                return;  // every frame rendered is written, or the output is gone
            m_changed.wait(lock);
            continue;
        }
        const uint64_t frame = write ? m_written : m_read;
        lock.unlock();
        const bool ok = write ? writeFrame(frame) : readFrame(frame);
        lock.lock();
        if (write) {
            m_written += ok ? 1 : 0;
            m_outputBroken = !ok;
        } else {
            m_read += ok ? 1 : 0;
            m_inputDone = !ok;
        }
        // The renderer waits only for a frame to read or for the end.
        if (!write || !ok) {
            lock.unlock();
            m_changed.notify_all();
            lock.lock();
        }
    }
}
void FramePipeline::render(const FrameProcessor& process, ProgressMeter* progress)
{
    std::unique_lock<std::mutex> lock(m_lock);
    for (;;) {
        m_changed.wait(lock,
                       [this] { return m_read > m_rendered || m_inputDone || m_outputBroken; });
        if (m_outputBroken || m_read == m_rendered)
            break;
        const uint64_t frame = m_rendered;
        lock.unlock();
        uint8_t* data = slot(frame);
        const bool ok = process(data, data);
        lock.lock();
        if (!ok) {
            fail("rendering failed at frame " + std::to_string(frame + 1));
            break;
        }
        ++m_rendered;
        const uint64_t written = m_written;
        lock.unlock();
        m_changed.notify_all();
        if (progress)
            progress->update(written);
        lock.lock();
    }
    m_renderDone = true;
    lock.unlock();
    m_changed.notify_all();
}
StreamResult FramePipeline::result() const
{
    StreamResult result;
    result.ok = m_error.empty();
    result.frames = m_written;
    result.error = m_error;
    return result;
}

// Larger pipe buffers move a frame in fewer, larger steps. Advice only: the
// call fails harmlessly on anything but a pipe, or above the system's limit.
void enlargePipe(int fd)
{
#ifdef F_SETPIPE_SZ
    ::fcntl(fd, F_SETPIPE_SZ, kPipeBufferSize);
#else
    (void)fd;
#endif
}

} // namespace

StreamResult streamFrames(int inFd, int outFd, size_t frameSize, const FrameProcessor& process,
                          ProgressMeter* progress)
{
    FramePipeline pipeline(inFd, outFd, frameSize);
    if (!pipeline.allocate()) {
        StreamResult failed;
        failed.ok = false;
        failed.error = "cannot allocate a frame buffer of " + std::to_string(frameSize) + " bytes";
        return failed;
    }
    enlargePipe(inFd);
    enlargePipe(outFd);
#ifdef POSIX_FADV_SEQUENTIAL
    ::posix_fadvise(inFd, 0, 0, POSIX_FADV_SEQUENTIAL);  // read ahead further on files
#endif
    std::thread transfer;
    try {
        transfer = std::thread(&FramePipeline::transfer, &pipeline);
    } catch (const std::system_error& e) {
        StreamResult failed;
        failed.ok = false;
        failed.error = std::string("cannot start the input/output thread: ") + e.what();
        return failed;
    }
    pipeline.render(process, progress);
    transfer.join();
    return pipeline.result();
}

} // namespace oxtool
