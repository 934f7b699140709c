#include "core/text/oxarraydata.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using OxArrayDataPrivate::blockSize;

TEST(OxArrayData, StaticObjectsReadAsEmptyTerminatedSequences)
{
    SOxArrayData* null = SOxArrayData::sharedNull();
    SOxArrayData* empty = SOxArrayData::sharedEmpty();
    SOxArrayData* unsharable = SOxArrayData::unsharableEmpty();
    EXPECT_EQ(null->ref.load(), -1);
    EXPECT_EQ(empty->ref.load(), -1);
    EXPECT_EQ(unsharable->ref.load(), 0);
    for (SOxArrayData* d : {null, empty, unsharable})
        EXPECT_TRUE(d->size == 0 && *static_cast<const char16_t*>(d->data()) == u'\0' && !d->isRawData());
    EXPECT_NE(null, empty);

    EXPECT_EQ(SOxArrayData::allocate(2, 8, 0, 0), empty);
    EXPECT_EQ(SOxArrayData::allocate(2, 8, 0, SOxArrayData::AllocUnshared), unsharable);
    SOxArrayData* header = SOxArrayData::allocate(2, 8, 0, SOxArrayData::AllocHeaderOnly);
    ASSERT_NE(header, nullptr);
    EXPECT_TRUE(header != empty && header->alloc == 0u && header->ref.load() == 1);
    SOxArrayData::deallocate(header, 2, 8);

    // Releasing static data never frees it; deallocating the unsharable
    // empty object is a no-op.
    EXPECT_FALSE(null->release());
    EXPECT_FALSE(empty->release());
    null->acquire();
    EXPECT_EQ(null->ref.load(), -1);
    SOxArrayData::deallocate(unsharable, 2, 8);
    EXPECT_EQ(SOxArrayData::allocate(1, 8, 0, SOxArrayData::AllocUnshared), unsharable);
}

TEST(OxArrayData, AllocateSetsFieldsAndAlignsPayload)
{
    SOxArrayData* d = SOxArrayData::allocate(2, 8, 10, SOxArrayData::AllocReserveCapacity);
    ASSERT_NE(d, nullptr);
    EXPECT_TRUE(d->ref.load() == 1 && d->size == 0 && d->alloc == 10u && d->capacityReserved == 1u);
    std::memset(d->data(), 0x5a, 20); // the whole payload is writable
    SOxArrayData::deallocate(d, 2, 8);

    SOxArrayData* aligned = SOxArrayData::allocate(1, 64, 5, SOxArrayData::AllocUnshared);
    ASSERT_NE(aligned, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(aligned->data()) % 64, 0u);
    EXPECT_TRUE(aligned->release()); // unsharable: free at once, count untouched
    EXPECT_EQ(aligned->ref.load(), 0);
    SOxArrayData::deallocate(aligned, 1, 64);
}

TEST(OxArrayData, OwnerCountingAndReallocation)
{
    SOxArrayData* d = SOxArrayData::allocate(1, 8, 4, 0);
    ASSERT_NE(d, nullptr);
    d->acquire();
    EXPECT_TRUE(d->isShared() && !d->isMutable());
    EXPECT_FALSE(d->release());
    EXPECT_TRUE(d->isMutable());

    std::memcpy(d->data(), "abc", 4);
    d->size = 3;
    SOxArrayData* r = SOxArrayData::reallocateUnaligned(d, 1, 1000, SOxArrayData::AllocGrow);
    ASSERT_NE(r, nullptr);
    EXPECT_STREQ(static_cast<const char*>(r->data()), "abc");
    // 1000 + 24 bytes is exactly 1024; growth goes to the next power of two
    // strictly above it, and the capacity is what that block holds.
    EXPECT_EQ(r->alloc, 2048u - sizeof(SOxArrayData));
    EXPECT_TRUE(r->release());
    SOxArrayData::deallocate(r, 1, 8);
}

TEST(OxArrayData, BlockSizeLimitsAndGrowth)
{
    size_t bytes = 0;
    unsigned long cap = 0;
    const unsigned long h = sizeof(SOxArrayData);

    // Exactly 2^31 - 1 bytes passes, 2^31 fails.
    ASSERT_TRUE(blockSize(1, 0x7fffffffUL - h, h, false, &bytes, &cap));
    EXPECT_EQ(bytes, 0x7fffffffu);
    EXPECT_FALSE(blockSize(1, 0x80000000UL - h, h, false, &bytes, &cap));
    // Overflow of the product or of 32 bits in the capacity fails.
    EXPECT_FALSE(blockSize(2, 0x80000000UL, h, false, &bytes, &cap));
    EXPECT_FALSE(blockSize(1, 0x100000000UL, h, false, &bytes, &cap));
    EXPECT_FALSE(blockSize(1, 1, 0x80000000UL, false, &bytes, &cap));
    // The allocator itself refuses such requests without touching malloc.
    EXPECT_EQ(SOxArrayData::allocate(2, 8, 0x40000000UL, 0), nullptr);
    EXPECT_EQ(SOxArrayData::allocate(1, 8, 0x7fffffffUL, SOxArrayData::AllocGrow), nullptr);

    // Ordinary growth: next power of two strictly above the total.
    ASSERT_TRUE(blockSize(2, 100, h, true, &bytes, &cap));
    EXPECT_EQ(bytes, 256u);
    EXPECT_EQ(cap, (256 - h) / 2);
    ASSERT_TRUE(blockSize(1, 1024 - h, h, true, &bytes, &cap));
    EXPECT_EQ(bytes, 2048u);

    // From 2^30 on the last step goes only half way to 2^31.
    for (uint64_t total : {uint64_t(1) << 30, (uint64_t(1) << 30) + 12345, uint64_t(0x7ffffffe),
                           uint64_t(0x7fffffff)}) {
        ASSERT_TRUE(blockSize(1, total - h, h, true, &bytes, &cap)) << total;
        EXPECT_EQ(bytes, total + ((uint64_t(1) << 31) - total) / 2) << total;
        EXPECT_LT(bytes, size_t(1) << 31);
        EXPECT_EQ(cap, bytes - h);
    }
    // Just below 2^30 growth still doubles to 2^30.
    ASSERT_TRUE(blockSize(1, (1UL << 30) - 1 - h, h, true, &bytes, &cap));
    EXPECT_EQ(bytes, size_t(1) << 30);
    // objectSize 0 records capacity 0.
    ASSERT_TRUE(blockSize(0, 5, h, true, &bytes, &cap));
    EXPECT_EQ(cap, 0u);
}

} // namespace
