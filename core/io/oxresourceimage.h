// The layout of a resource image (magic "qres") and a view of one that
// checks every read against the image's length, so that a damaged or hostile
// image is refused instead of read out of bounds. Plain C++ without the
// framework's types: the resource engine reads images through it, and the
// oxlut tool writes and reads its packs with it.
//
// All numbers are unsigned big-endian.
//   header   0 "qres", 4 version (1 or 2), 8 tree offset, 12 data offset,
//            16 names offset (32 bits each); every offset lies inside the
//            image.
//   tree     entries of 14 bytes (version 1) or 22 (version 2), entry 0 the
//            root directory: 0 name offset (32), 4 flags (16: 0x2 directory,
//            0x1 compressed data), 6 a directory's child count (32) or a
//            file's reserved zero, 10 a directory's first child index or a
//            file's data offset (32), 14 reserved zero (64, version 2 only).
//            Children are consecutive entries after their directory, sorted
//            by name hash, equal hashes by name. The tree reaches from its
//            offset to the next area above it, or to the end.
//   names    16-bit length in UTF-16 units, 32-bit name hash, the units.
//   data     32-bit length, then the bytes; a compressed block holds the
//            output of OxCompress (its own length prefix, then zlib).
#ifndef OXRESOURCEIMAGE_H
#define OXRESOURCEIMAGE_H

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

struct SOxResourceFormat {
    static constexpr uint32_t kHeaderSize = 20;
    static constexpr uint16_t kCompressedFlag = 0x0001;
    static constexpr uint16_t kDirectoryFlag = 0x0002;
    static constexpr uint32_t kNameHeaderSize = 6;
    static constexpr uint32_t kDataHeaderSize = 4;
    static constexpr uint32_t kLatestVersion = 2;

    static uint32_t entrySize(uint32_t version) { return version == 1 ? 14 : 22; }
    static uint16_t read16(const uint8_t* p) { return uint16_t(p[0] << 8 | p[1]); }
    static uint32_t read32(const uint8_t* p)
    {
        return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
    }
    static uint32_t nameHash(const uint16_t* units, size_t count)
    {
        uint32_t h = 0;
        for (size_t i = 0; i < count; ++i) {
            h = (h << 4) + units[i];
            h = ((h >> 23) & 0x1E0) ^ (h & 0x0FFFFFFF);
        }
        return h;
    }
};

struct SOxResourceEntry {
    uint32_t index = 0;
    uint16_t flags = 0;
    uint32_t nameOffset = 0;
    uint32_t childCount = 0;
    uint32_t firstChild = 0; // a file's data offset

    bool isDirectory() const { return (flags & SOxResourceFormat::kDirectoryFlag) != 0; }
    bool isCompressed() const { return !isDirectory() && (flags & SOxResourceFormat::kCompressedFlag); }
    // Marked as both: the directory wins.
    bool claimsDataAndChildren() const
    {
        return isDirectory() && (flags & SOxResourceFormat::kCompressedFlag);
    }
};

struct SOxResourceName {
    const uint8_t* units = nullptr; // big-endian
    uint16_t length = 0;
    uint32_t hash = 0;

    // Names sort by hash, then unit by unit. -1, 0 or 1 as this name sorts
    // before, equal to or after the other.
    int compare(const SOxResourceName& other) const
    {
        if (hash != other.hash)
            return hash < other.hash ? -1 : 1;
        return compareEach(other.length, [&other](size_t i) { return SOxResourceFormat::read16(other.units + 2 * i); });
    }
    // The same against host-order units whose hash is known to be equal.
    int compareUnits(const uint16_t* other, size_t count) const
    {
        return compareEach(count, [other](size_t i) { return other[i]; });
    }

    template <typename UnitAt>
    int compareEach(size_t count, UnitAt unitAt) const
    {
        const size_t n = length < count ? length : count;
        for (size_t i = 0; i < n; ++i) {
            const uint16_t a = SOxResourceFormat::read16(units + 2 * i);
            const uint16_t b = unitAt(i);
            if (a != b)
                return a < b ? -1 : 1;
        }
        return length == count ? 0 : (length < count ? -1 : 1);
    }
};

class COxResourceImage {
public:
    // Checks the header of size bytes at data. Null on success, else why the
    // bytes are no usable image.
    const char* open(const uint8_t* data, uint64_t size)
    {
        m_base = data;
        m_size = size;
        if (!data || size < SOxResourceFormat::kHeaderSize || std::memcmp(data, "qres", 4) != 0)
            return "not a resource image";
        m_version = SOxResourceFormat::read32(data + 4);
        if (m_version != 1 && m_version != 2)
            return "unsupported version";
        m_tree = SOxResourceFormat::read32(data + 8);
        m_data = SOxResourceFormat::read32(data + 12);
        m_names = SOxResourceFormat::read32(data + 16);
        if (m_tree >= size || m_data >= size || m_names >= size)
            return "an area offset lies past the end";
        uint64_t treeEnd = size;
        for (uint64_t other : {uint64_t(m_data), uint64_t(m_names)}) {
            if (other > m_tree && other < treeEnd)
                treeEnd = other;
        }
        const uint64_t count = (treeEnd - m_tree) / SOxResourceFormat::entrySize(m_version);
        m_entryCount = count > UINT32_MAX ? UINT32_MAX : uint32_t(count);
        return nullptr;
    }

    // Walks every entry reachable from the root and checks that its name and
    // data lie in the image, that children follow their directory inside the
    // tree in name order, and that the walk ends: no more entries are reached
    // than the tree holds. onBoth hears of each directory that is also marked
    // as holding data. Null when the tree is sound, else what is wrong.
    template <typename Callback>
    const char* checkTree(Callback onBoth) const
    {
        SOxResourceEntry dir;
        if (!entry(0, &dir) || !dir.isDirectory())
            return "the root is no directory";
        // Directories still to look into: a stack that grows without throwing.
        uint32_t* pending = nullptr;
        size_t depth = 0;
        size_t capacity = 0;
        uint64_t visits = 1;
        const char* problem = nullptr;
        for (;;) {
            if (dir.claimsDataAndChildren())
                onBoth(dir);
            if (dir.childCount && (dir.firstChild <= dir.index
                                   || uint64_t(dir.firstChild) + dir.childCount > m_entryCount)) {
                problem = "a directory's children lie outside the tree";
                break;
            }
            visits += dir.childCount;
            if (visits > m_entryCount) {
                problem = "entries of the tree are reached more than once";
                break;
            }
            SOxResourceName previous;
            for (uint32_t i = dir.firstChild; !problem && i < dir.firstChild + dir.childCount; ++i) {
                SOxResourceEntry e;
                SOxResourceName n;
                const uint8_t* bytes;
                uint32_t size;
                if (!entry(i, &e) || !name(e, &n))
                    problem = "a name lies outside the image";
                else if (i > dir.firstChild && previous.compare(n) > 0)
                    problem = "children are not sorted by name hash";
                else if (!e.isDirectory() && !data(e, &bytes, &size))
                    problem = "a data block lies outside the image";
                else if (e.isDirectory() && !push(&pending, &depth, &capacity, i))
                    problem = "out of memory";
                previous = n;
            }
            if (problem || depth == 0)
                break;
            entry(pending[--depth], &dir);
        }
        std::free(pending);
        return problem;
    }

    bool entry(uint32_t index, SOxResourceEntry* e) const
    {
        const uint32_t size = SOxResourceFormat::entrySize(m_version);
        if (index >= m_entryCount)
            return false;
        const uint8_t* p = m_base + m_tree + uint64_t(index) * size;
        e->index = index;
        e->nameOffset = SOxResourceFormat::read32(p);
        e->flags = SOxResourceFormat::read16(p + 4);
        e->childCount = e->isDirectory() ? SOxResourceFormat::read32(p + 6) : 0;
        e->firstChild = SOxResourceFormat::read32(p + 10);
        return true;
    }

    bool name(const SOxResourceEntry& e, SOxResourceName* n) const
    {
        const uint64_t at = uint64_t(m_names) + e.nameOffset;
        if (at + SOxResourceFormat::kNameHeaderSize > m_size)
            return false;
        const uint8_t* p = m_base + at;
        n->length = SOxResourceFormat::read16(p);
        n->hash = SOxResourceFormat::read32(p + 2);
        n->units = p + SOxResourceFormat::kNameHeaderSize;
        return at + SOxResourceFormat::kNameHeaderSize + 2u * n->length <= m_size;
    }

    // The stored bytes of a file entry (still compressed when it is).
    bool data(const SOxResourceEntry& e, const uint8_t** bytes, uint32_t* size) const
    {
        const uint64_t at = uint64_t(m_data) + e.firstChild;
        if (e.isDirectory() || at + SOxResourceFormat::kDataHeaderSize > m_size)
            return false;
        *size = SOxResourceFormat::read32(m_base + at);
        *bytes = m_base + at + SOxResourceFormat::kDataHeaderSize;
        return at + SOxResourceFormat::kDataHeaderSize + *size <= m_size;
    }

    // The child of dir with the given name, by binary search on the hash.
    bool findChild(const SOxResourceEntry& dir, const uint16_t* units, size_t count, SOxResourceEntry* child) const
    {
        if (!dir.isDirectory() || count > UINT16_MAX)
            return false;
        const uint32_t hash = SOxResourceFormat::nameHash(units, count);
        uint32_t lo = dir.firstChild;
        uint32_t hi = dir.firstChild + dir.childCount;
        while (lo < hi) {
            const uint32_t mid = lo + (hi - lo) / 2;
            SOxResourceEntry e;
            SOxResourceName n;
            if (!entry(mid, &e) || !name(e, &n))
                return false;
            if (n.hash < hash || (n.hash == hash && n.compareUnits(units, count) < 0))
                lo = mid + 1;
            else
                hi = mid;
        }
        SOxResourceEntry e;
        SOxResourceName n;
        if (lo == dir.firstChild + dir.childCount || !entry(lo, &e) || !name(e, &n) || n.hash != hash
            || n.compareUnits(units, count) != 0)
            return false;
        *child = e;
        return true;
    }

    uint32_t version() const { return m_version; }
    uint32_t entryCount() const { return m_entryCount; }

private:
    static bool push(uint32_t** stack, size_t* depth, size_t* capacity, uint32_t index)
    {
        if (*depth == *capacity) {
            const size_t grown = *capacity ? *capacity * 2 : 16;
            uint32_t* p = static_cast<uint32_t*>(std::realloc(*stack, grown * sizeof(uint32_t)));
            if (!p)
                return false;
            *stack = p;
            *capacity = grown;
        }
        (*stack)[(*depth)++] = index;
        return true;
    }

    const uint8_t* m_base = nullptr;
    uint64_t m_size = 0;
    uint32_t m_version = 0;
    uint32_t m_tree = 0;
    uint32_t m_data = 0;
    uint32_t m_names = 0;
    uint32_t m_entryCount = 0;
};

#endif // OXRESOURCEIMAGE_H
