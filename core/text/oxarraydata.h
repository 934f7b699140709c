// SOxArrayData: the header in front of every implicitly shared container
// (strings and byte arrays). A container holds one pointer to a header; the
// elements follow the header in the same heap block, or, for raw data, live
// anywhere in memory at header + offset.
#ifndef OXARRAYDATA_H
#define OXARRAYDATA_H

#include "core/oxglobal.h"

#include <atomic>

// Only the allocation functions and shared_null are exported from the shared
// library; everything else here is inline or internal.
struct SOxArrayData {
    enum AllocationOption {
        AllocReserveCapacity = 0x1, // remembered in capacityReserved
        AllocUnshared = 0x2,        // the block starts with ref 0
        AllocHeaderOnly = 0x4,      // bare header for raw (external) data
        AllocGrow = 0x8,            // round the block up geometrically
        Default = 0
    };

    std::atomic<int> ref; // -1 static, 0 unsharable, >= 1 owners
    int size;             // elements in use (a terminator is not counted)
    uint alloc : 31;      // capacity in elements behind the header
    uint capacityReserved : 1;
    int64_t offset;       // bytes from this header to the first element

    void* data() { return reinterpret_cast<char*>(this) + offset; }
    const void* data() const { return reinterpret_cast<const char*>(this) + offset; }

    bool isStatic() const { return ref.load() == -1; }
    bool isShared() const { uint r = uint(ref.load()); return r != 0 && r != 1; }
    // Writable in place by its only owner (also true for unsharable data).
    bool isMutable() const { return uint(ref.load()) < 2; }
    // Raw data points at memory the block does not own.
    bool isRawData() const { return offset != int64_t(sizeof(SOxArrayData)); }

    // Owner rules. acquire() counts a new owner; static and unsharable
    // headers are never counted. release() drops one owner and returns true
    // when the caller must deallocate the block.
    void acquire()
    {
        int r = ref.load();
        if (r != -1 && r != 0)
            ref.fetch_add(1);
    }
    bool release()
    {
        int r = ref.load();
        if (r == -1)
            return false;
        if (r == 0)
            return true;
        return ref.fetch_sub(1) == 1;
    }

    OX_EXPORT static SOxArrayData* allocate(unsigned long objectSize, unsigned long alignment,
                                  unsigned long capacity, int options);
    OX_EXPORT static SOxArrayData* reallocateUnaligned(SOxArrayData* data, unsigned long objectSize,
                                             unsigned long capacity, int options);
    OX_EXPORT static void deallocate(SOxArrayData* data, unsigned long objectSize, unsigned long alignment);

    // The null object followed by a zeroed record that terminates its
    // (empty) payload.
    OX_EXPORT static const SOxArrayData shared_null[2];

    static SOxArrayData* sharedNull() { return const_cast<SOxArrayData*>(&shared_null[0]); }
    // Internal to the library (not exported): inline code of exported classes
    // must not call these.
    static SOxArrayData* sharedEmpty();
    static SOxArrayData* unsharableEmpty();
};

namespace OxArrayDataPrivate {

// The block-size arithmetic shared by both allocation functions. Returns
// false when the request cannot be served (does not fit 32 bits, or the block
// would reach 2^31 bytes). With grow, the block is rounded up to the next
// power of two (half way for the last step below 2^31) and *capacityOut
// receives what the rounded block really holds.
bool blockSize(unsigned long objectSize, unsigned long capacity, unsigned long headerSize,
               bool grow, size_t* bytesOut, unsigned long* capacityOut);

} // namespace OxArrayDataPrivate

#endif // OXARRAYDATA_H
