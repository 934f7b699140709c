#include "core/text/oxarraydata.h"

#include <cstdlib>
#include <cstring>
#include <new>

static_assert(sizeof(SOxArrayData) == 24, "SOxArrayData header is 24 bytes");
static_assert(alignof(SOxArrayData) == 8, "SOxArrayData header is 8-byte aligned");

namespace {

constexpr int64_t kHeaderSize = sizeof(SOxArrayData);
constexpr uint64_t kBlockLimit = 0x80000000u; // 2^31

#define OX_STATIC_HEADER(refValue) { {refValue}, 0, 0, 0, kHeaderSize }
#define OX_ZERO_HEADER { {0}, 0, 0, 0, 0 }

// Each static object is followed by a zeroed record so that its payload (which
// starts right behind the header) reads as an empty, zero-terminated sequence.
SOxArrayData g_sharedEmpty[2] = { OX_STATIC_HEADER(-1), OX_ZERO_HEADER };
SOxArrayData g_unsharableEmpty[2] = { OX_STATIC_HEADER(0), OX_ZERO_HEADER };

uint64_t nextPowerOfTwoAbove(uint64_t v)
{
    uint64_t p = 1;
    while (p <= v)
        p <<= 1;
    return p;
}

} // namespace

const SOxArrayData SOxArrayData::shared_null[2] = { OX_STATIC_HEADER(-1), OX_ZERO_HEADER };

SOxArrayData* SOxArrayData::sharedEmpty() { return &g_sharedEmpty[0]; }
SOxArrayData* SOxArrayData::unsharableEmpty() { return &g_unsharableEmpty[0]; }

bool OxArrayDataPrivate::blockSize(unsigned long objectSize, unsigned long capacity,
                                   unsigned long headerSize, bool grow, size_t* bytesOut,
                                   unsigned long* capacityOut)
{
    // The arithmetic is 32-bit unsigned; anything that leaves that range, or
    // reaches 2^31 bytes in total, is refused.
    if (capacity > 0xffffffffu || objectSize > 0xffffffffu || headerSize >= kBlockLimit)
        return false;
    const uint64_t payload = uint64_t(objectSize) * uint64_t(capacity);
    if (payload > 0xffffffffu)
        return false;
    const uint64_t total = payload + headerSize;
    if (total >= kBlockLimit)
        return false;

    uint64_t bytes = total;
    if (grow) {
        bytes = nextPowerOfTwoAbove(total);
        if (bytes == kBlockLimit) // would be negative as a signed 32-bit size
            bytes = total + (kBlockLimit - total) / 2;
    }
    *bytesOut = size_t(bytes);
    *capacityOut = grow ? (objectSize ? (bytes - headerSize) / objectSize : 0) : capacity;
    return true;
}

SOxArrayData* SOxArrayData::allocate(unsigned long objectSize, unsigned long alignment,
                                     unsigned long capacity, int options)
{
    if (!(options & AllocHeaderOnly) && capacity == 0)
        return (options & AllocUnshared) ? unsharableEmpty() : sharedEmpty();

    unsigned long headerSize = sizeof(SOxArrayData);
    if (!(options & AllocHeaderOnly) && alignment > alignof(SOxArrayData))
        headerSize += alignment - alignof(SOxArrayData);

    size_t bytes = 0;
    unsigned long grownCapacity = capacity;
    if (!OxArrayDataPrivate::blockSize(objectSize, capacity, headerSize,
                                       (options & AllocGrow) != 0, &bytes, &grownCapacity))
        return nullptr;

    auto* header = static_cast<SOxArrayData*>(::malloc(bytes));
    if (!header)
        return nullptr;

    uintptr_t payload = reinterpret_cast<uintptr_t>(header) + sizeof(SOxArrayData);
    if (!(options & AllocHeaderOnly))
        payload = (payload + alignment - 1) & ~uintptr_t(alignment - 1);

    new (&header->ref) std::atomic<int>((options & AllocUnshared) ? 0 : 1);
    header->size = 0;
    header->alloc = uint(grownCapacity);
    header->capacityReserved = (options & AllocReserveCapacity) ? 1 : 0;
    header->offset = int64_t(payload - reinterpret_cast<uintptr_t>(header));
    return header;
}

SOxArrayData* SOxArrayData::reallocateUnaligned(SOxArrayData* data, unsigned long objectSize,
                                                unsigned long capacity, int options)
{
    size_t bytes = 0;
    unsigned long grownCapacity = capacity;
    if (!OxArrayDataPrivate::blockSize(objectSize, capacity, sizeof(SOxArrayData),
                                       (options & AllocGrow) != 0, &bytes, &grownCapacity))
        return nullptr;

    auto* header = static_cast<SOxArrayData*>(::realloc(data, bytes));
    if (!header)
        return nullptr;
    header->alloc = uint(grownCapacity);
    header->capacityReserved = (options & AllocReserveCapacity) ? 1 : 0;
    return header;
}

void SOxArrayData::deallocate(SOxArrayData* data, unsigned long, unsigned long)
{
    if (!data || data == unsharableEmpty() || data->ref.load() == -1)
        return;
    ::free(data);
}
