// OxArrayOps: the storage routines that COxByteArray and COxString share.
// Both keep one SOxArrayData pointer to a block of elements (bytes or UTF-16
// units) with a zero element after the last one; the routines here work on
// that pointer for an element type T. Internal to the library: only the
// container sources include this header, and nothing here is exported.
#ifndef OXARRAYOPS_P_H
#define OXARRAYOPS_P_H

#include "core/text/oxarraydata.h"

#include <cstdint>
#include <cstring>

template <typename T>
struct OxArrayOps {
    static constexpr unsigned long kElement = sizeof(T);
    static constexpr unsigned long kAlignment = alignof(SOxArrayData);
    // The largest size: a 2^31 - 1 byte block less the header and the
    // terminating element.
    static constexpr int kMaxSize = int((0x7fffffffu - sizeof(SOxArrayData)) / sizeof(T)) - 1;

    static T* elements(SOxArrayData* d) { return static_cast<T*>(d->data()); }

    static void release(SOxArrayData* d)
    {
        if (d->release())
            SOxArrayData::deallocate(d, kElement, kAlignment);
    }

    // True when the block can take need elements (terminator included) in
    // place.
    static bool isWritable(const SOxArrayData* d, uint need)
    {
        return d->isMutable() && !d->isRawData() && d->alloc >= need;
    }

    static void setSize(SOxArrayData* d, int size)
    {
        d->size = size;
        elements(d)[size] = T(0);
    }

    // A block of size elements with its terminator written, or null.
    static SOxArrayData* allocate(int size, int options = 0)
    {
        if (size < 0 || size > kMaxSize)
            return nullptr;
        SOxArrayData* x = SOxArrayData::allocate(kElement, kAlignment, uint(size) + 1u, options);
        if (x)
            setSize(x, size);
        return x;
    }

    // A block holding a copy of size elements: the shared empty block for
    // size <= 0, the shared null block when allocation fails.
    static SOxArrayData* copy(const void* data, int size)
    {
        if (size <= 0)
            return SOxArrayData::sharedEmpty();
        SOxArrayData* x = allocate(size);
        if (!x)
            return SOxArrayData::sharedNull();
        std::memcpy(x->data(), data, size_t(size) * kElement);
        return x;
    }

    // A bare header pointing at size caller-owned elements, or null.
    static SOxArrayData* rawHeader(const void* data, int size)
    {
        SOxArrayData* x = SOxArrayData::allocate(kElement, kAlignment, 0, SOxArrayData::AllocHeaderOnly);
        if (x)
            pointAt(x, data, size);
        return x;
    }

    // Repoints d when it is a raw header of its own; false otherwise.
    static bool reuseRawHeader(SOxArrayData* d, const void* data, int size)
    {
        if (!data || size <= 0 || !d->isRawData() || d->isShared())
            return false;
        pointAt(d, data, size);
        return true;
    }

    // The single reallocation routine: alloc counts the terminator. On
    // failure d is left as it was.
    static void reallocData(SOxArrayData*& d, uint alloc, bool grow)
    {
        if (alloc == 0)
            alloc = 1;
        int options = d->capacityReserved ? SOxArrayData::AllocReserveCapacity : 0;
        if (grow)
            options |= SOxArrayData::AllocGrow;
        if (d->isMutable() && !d->isRawData() && d->alloc != 0) {
            SOxArrayData* x = SOxArrayData::reallocateUnaligned(d, kElement, alloc, options);
            if (!x)
                return; // the old block is still ours and unchanged
            d = x;
            if (uint(d->size) >= d->alloc)
                setSize(d, int(d->alloc) - 1);
            return;
        }
        SOxArrayData* x = SOxArrayData::allocate(kElement, kAlignment, alloc, options);
        if (!x || x->alloc == 0)
            return;
        const int keep = d->size < int(x->alloc) - 1 ? d->size : int(x->alloc) - 1;
        if (keep > 0)
            std::memcpy(x->data(), d->data(), size_t(keep) * kElement);
        setSize(x, keep);
        release(d);
        d = x;
    }

    // Makes d an unshared block of its own with room for size elements.
    static bool makeWritable(SOxArrayData*& d, int64_t size, bool grow)
    {
        if (size < 0 || size > kMaxSize)
            return false;
        const uint need = uint(size) + 1u;
        if (!isWritable(d, need))
            reallocData(d, need, grow);
        return isWritable(d, need);
    }

    static bool pointsIntoOwnBlock(const SOxArrayData* d, const void* p)
    {
        if (d->isRawData() || d->alloc == 0)
            return false;
        const uintptr_t begin = reinterpret_cast<uintptr_t>(d->data());
        const uintptr_t at = reinterpret_cast<uintptr_t>(p);
        return at >= begin && at < begin + uintptr_t(d->alloc) * kElement;
    }

    static void detach(SOxArrayData*& d)
    {
        if (d->isShared() || d->isRawData())
            reallocData(d, uint(d->size) + 1u, false);
    }

    static void reserve(SOxArrayData*& d, int size)
    {
        if (size < 0)
            size = 0;
        if (size > kMaxSize)
            return;
        const int keep = size > d->size ? size : d->size;
        if (!isWritable(d, uint(keep) + 1u))
            reallocData(d, uint(keep) + 1u, false);
        if (isWritable(d, 1))
            d->capacityReserved = 1;
    }

    static void squeeze(SOxArrayData*& d)
    {
        if (d->isStatic())
            return;
        if (d->isShared() || (!d->isRawData() && uint(d->size) + 1u < d->alloc))
            reallocData(d, uint(d->size) + 1u, false);
        if (isWritable(d, 1))
            d->capacityReserved = 0;
    }

    static void resize(SOxArrayData*& d, int size)
    {
        if (size < 0)
            size = 0;
        if (d->isRawData() && !d->isShared() && size < d->size) {
            // Never write a terminator into the caller's memory.
            d->size = size;
            return;
        }
        if (size > kMaxSize)
            return;
        const uint need = uint(size) + 1u;
        if (!isWritable(d, need))
            reallocData(d, need, true);
        if (isWritable(d, need))
            setSize(d, size);
    }

    // Opens a gap of len elements at i (len > 0, i >= 0) and returns the
    // elements, or null when the block cannot grow. A gap beyond the end is
    // preceded by spaces; the gap itself is left for the caller to fill.
    static T* openGap(SOxArrayData*& d, int i, int len)
    {
        const int old = d->size;
        const int64_t newSize = int64_t(i > old ? i : old) + len;
        if (!makeWritable(d, newSize, true))
            return nullptr;
        T* p = elements(d);
        if (i > old) {
            for (int k = old; k < i; ++k)
                p[k] = T(' ');
        } else {
            std::memmove(p + i + len, p + i, size_t(old - i) * kElement);
        }
        setSize(d, int(newSize));
        return p;
    }

    static void removeRange(SOxArrayData*& d, int pos, int len)
    {
        if (len <= 0 || pos < 0 || pos >= d->size)
            return;
        if (len >= d->size - pos) {
            resize(d, pos);
            return;
        }
        if (!makeWritable(d, d->size, false))
            return;
        T* p = elements(d);
        std::memmove(p + pos, p + pos + len, size_t(d->size - pos - len) * kElement);
        setSize(d, d->size - len);
    }

    // Replaces count runs of blen elements, starting at the ascending
    // indices, with the alen elements at after (which must not point into
    // d's block).
    template <typename Index>
    static void replaceRuns(SOxArrayData*& d, const Index* indices, int count, int blen, const T* after,
                            int alen)
    {
        const int oldSize = d->size;
        const int64_t newSize = int64_t(oldSize) + int64_t(count) * (alen - blen);
        if (!makeWritable(d, newSize > oldSize ? newSize : oldSize, newSize > oldSize))
            return;
        T* p = elements(d);
        if (alen <= blen) {
            // Shrinking or equal: move the text between matches forwards.
            int to = int(indices[0]);
            for (int k = 0; k < count; ++k) {
                if (alen)
                    std::memcpy(p + to, after, size_t(alen) * kElement);
                to += alen;
                const int moveStart = int(indices[k]) + blen;
                const int moveEnd = k + 1 < count ? int(indices[k + 1]) : oldSize;
                if (moveEnd > moveStart) {
                    std::memmove(p + to, p + moveStart, size_t(moveEnd - moveStart) * kElement);
                    to += moveEnd - moveStart;
                }
            }
        } else {
            // Growing: work from the back so nothing is overwritten unread.
            int moveEnd = oldSize;
            for (int k = count - 1; k >= 0; --k) {
                const int moveStart = int(indices[k]) + blen;
                const int insertStart = int(indices[k]) + k * (alen - blen);
                std::memmove(p + insertStart + alen, p + moveStart, size_t(moveEnd - moveStart) * kElement);
                std::memcpy(p + insertStart, after, size_t(alen) * kElement);
                moveEnd = int(indices[k]);
            }
        }
        setSize(d, int(newSize));
    }

    // Replaces every match of a needle, found by find(from) (-1 when there
    // is none), in batches: replace(indices, found) edits one batch.
    // Returns when nothing more matches or an edit could not be made.
    template <typename Index, typename Find, typename Replace>
    static void replaceMatches(SOxArrayData*& d, int blen, int alen, Find find, Replace replace)
    {
        constexpr int kBatch = 1024;
        Index indices[kBatch];
        int index = 0;
        for (;;) {
            int found = 0;
            while (found < kBatch) {
                index = find(index);
                if (index < 0)
                    break;
                indices[found++] = Index(index);
                index += blen ? blen : 1;
            }
            if (!found)
                break;
            const int64_t expected = int64_t(d->size) + int64_t(found) * (alen - blen);
            replace(indices, found);
            if (index < 0 || d->size != expected)
                break; // done, or the edit could not be made
            index += found * (alen - blen);
        }
    }

private:
    static void pointAt(SOxArrayData* x, const void* data, int size)
    {
        x->offset = reinterpret_cast<intptr_t>(data) - reinterpret_cast<intptr_t>(x);
        x->size = size;
    }
};

#endif // OXARRAYOPS_P_H
