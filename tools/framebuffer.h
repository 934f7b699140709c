// Memory for whole raw frames, as apply streams them and bench renders them:
// page aligned, every page touched once when it is made (so no page faults
// while frames go through it) and, on Linux, offered to the kernel as huge
// pages, which spares the renderer most translation misses on large frames.
#ifndef OXTOOL_FRAMEBUFFER_H
#define OXTOOL_FRAMEBUFFER_H

#include <cstddef>
#include <cstdint>

namespace oxtool {

class FrameBuffer {
public:
    // data() is null when the memory cannot be had.
    explicit FrameBuffer(size_t size);
    ~FrameBuffer();
    FrameBuffer(const FrameBuffer&) = delete;
    FrameBuffer& operator=(const FrameBuffer&) = delete;

    uint8_t* data() const { return m_data; }
    size_t size() const { return m_size; }

private:
    void* m_map = nullptr;
    size_t m_mapLength = 0;
    uint8_t* m_data = nullptr;
    size_t m_size = 0;
};

} // namespace oxtool

#endif // OXTOOL_FRAMEBUFFER_H
