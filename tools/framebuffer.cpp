#include "tools/framebuffer.h"

#include <sys/mman.h>

namespace oxtool {

namespace {

// The huge page size of x86-64 and of arm64 with 4 KiB pages; elsewhere the
// advice is only a little wasted alignment.
constexpr size_t kHugePage = size_t(2) << 20;
// Touching one byte in every 4 KiB touches every page of any page size.
constexpr size_t kSmallPage = 4096;

size_t roundUp(size_t value, size_t step)
{
    return (value + step - 1) / step * step;
}

} // namespace

FrameBuffer::FrameBuffer(size_t size)
{
    if (size == 0)
        return;
    // Frames of a huge page or more start on a huge page boundary.
    const bool huge = size >= kHugePage;
    const size_t length = huge ? roundUp(size, kHugePage) + kHugePage : size;
    void* map = ::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (map == MAP_FAILED)
        return;
    m_map = map;
    m_mapLength = length;
    m_data = static_cast<uint8_t*>(map);
    if (huge) {
        m_data = reinterpret_cast<uint8_t*>(roundUp(reinterpret_cast<uintptr_t>(map), kHugePage));
#ifdef MADV_HUGEPAGE
        ::madvise(m_data, roundUp(size, kHugePage), MADV_HUGEPAGE);  // advice only
#endif
    }
    m_size = size;
    // Fault every page in now (the kernel hands them out zeroed).
    for (size_t at = 0; at < size; at += kSmallPage)
        m_data[at] = 0;
}

FrameBuffer::~FrameBuffer()
{
    if (m_map)
        ::munmap(m_map, m_mapLength);
}

} // namespace oxtool
