// Aligned allocation for the effect's bulk buffers (padded grid, level index,
// colour-coefficient record). Every block starts on a 64-byte cache line and
// is released with free(), the matching free of posix_memalign.
#ifndef LUTMEMORY_H
#define LUTMEMORY_H

#include <cstddef>
#include <cstdlib>

constexpr size_t kLutAlignment = 64;

// Returns a 64-byte aligned block of size bytes, or null when out of memory.
inline void* lutAlignedAlloc(size_t size)
{
    void* block = nullptr;
    if (posix_memalign(&block, kLutAlignment, size != 0 ? size : 1) != 0)
        return nullptr;
    return block;
}

// Frees a block from lutAlignedAlloc; null is ignored.
inline void lutAlignedFree(void* block)
{
    free(block);
}

#endif // LUTMEMORY_H
