// Raw NV12/NV21 frames through descriptors: frame geometry, reads and writes
// that survive short transfers on pipes, and the pipeline that streams a clip
// through a few frame buffers, reading and writing while it renders.
#ifndef OXTOOL_FRAMESTREAM_H
#define OXTOOL_FRAMESTREAM_H

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>
#include <sys/types.h>

namespace oxtool {

// A frame as raw video tools lay it out: width x height luma bytes, then one
// interleaved chroma row of width bytes for every two luma rows.
struct FrameGeometry {
    uint32_t width = 0;
    uint32_t height = 0;

    size_t lumaSize() const { return size_t(width) * height; }
    size_t chromaRows() const { return (size_t(height) + 1) / 2; }
    size_t chromaSize() const { return size_t(width) * chromaRows(); }
    size_t frameSize() const { return lumaSize() + chromaSize(); }
};

// Reads until size bytes have arrived or the input ends. Returns the number
// of bytes read (below size only at the end of input), or -1 with errno set.
ssize_t readFully(int fd, uint8_t* data, size_t size);

// Writes every byte, retrying short writes and interruptions. Returns false
// with errno set on failure.
bool writeFully(int fd, const uint8_t* data, size_t size);

// The "frames, frames per second" line on a terminal, redrawn in place at
// most once per interval. The clock (seconds, any origin) is a seam for tests.
class ProgressMeter {
public:
    using Clock = std::function<double()>;

    ProgressMeter(std::ostream& out, Clock clock, double interval = 0.5);

    void update(uint64_t frames);
    // Draws the final count and ends the line.
    void finish(uint64_t frames);

private:
    void draw(uint64_t frames, double now);

    std::ostream& m_out;
    Clock m_clock;
    double m_interval;
    double m_start;
    double m_lastDraw;
};

struct StreamResult {
    bool ok = true;
    uint64_t frames = 0;  // frames written in full
    std::string error;    // one line when !ok
};

// Renders one frame from src into dst (the stream passes the same buffer as
// both); false stops the stream.
using FrameProcessor = std::function<bool(const uint8_t* src, uint8_t* dst)>;

// Reads whole frames from inFd, processes each in place and writes it to
// outFd until the input ends. A second thread writes the previous frame and
// reads the next one while the calling thread processes the current one,
// through two frame buffers whatever the clip length. A
// partial last frame is an error naming the bytes left over; a reader that
// closes the output (EPIPE) stops the stream with an error too. Frames
// before a failure are written. progress (may be null) is updated by the
// calling thread.
StreamResult streamFrames(int inFd, int outFd, size_t frameSize, const FrameProcessor& process,
                          ProgressMeter* progress);

} // namespace oxtool

#endif // OXTOOL_FRAMESTREAM_H
