// Resource images: registration from memory and path lookup. A tree the
// fuzzer describes (nested directories, non-ASCII names, names that collide
// in their hash, compressed and plain files, format 1 or 2) is written as an
// image, optionally damaged byte by byte or cut short, and loaded. An
// undamaged image must load and give every file back byte-exact by its path;
// a damaged one may be refused, but nothing it holds may be read out of
// bounds (AddressSanitizer watches), whatever path is looked up. In raw mode
// the fuzzer's bytes are the image, and every entry the loader accepts must
// be found again by its own path.
#include "core/io/oxcompress.h"
#include "core/io/oxresourceimagewriter.h"
#include "core/io/oxresourceinfo_p.h"
#include "fuzzsupport.h"

#include <string>
#include <vector>

namespace {

// Names from a small alphabet with a non-ASCII letter, a surrogate pair and
// "aq"/"ba", whose hashes collide.
const char16_t* const kNames[] = {u"a", u"aq", u"ba", u"grade.lut", u"\u00e9t\u00e9", u"\U0001F3A8", u"x y", u"Z"};

struct Expected {
    std::u16string path;
    bool directory;
    std::string data;
};

void makeTree(oxfuzz::Input& in, SOxResourceNode* dir, const std::u16string& path, int depth,
              std::vector<Expected>* files)
{
    bool used[8] = {};
    for (uint32_t i = 0, n = in.range(0, 4); i < n && in.remaining(); ++i) {
        const uint32_t pick = in.range(0, 7);
        if (used[pick])
            continue;
        used[pick] = true;
        SOxResourceNode node;
        node.name = kNames[pick];
        node.directory = depth < 3 && in.range(0, 2) == 0;
        const std::u16string child = path + u"/" + node.name;
        if (node.directory) {
            makeTree(in, &node, child, depth + 1, files);
        } else {
            size_t taken;
            const uint8_t* bytes = in.take(in.range(0, 300), &taken);
            std::string plain(reinterpret_cast<const char*>(bytes), taken);
            node.compressed = in.flag();
            node.data = plain;
            if (node.compressed) {
                const COxByteArray packed = OxCompress(bytes, int(taken));
                node.data.assign(packed.constData(), size_t(packed.size()));
            }
            files->push_back({child, false, plain});
        }
        if (node.directory)
            files->push_back({child, true, std::string()});
        dir->children.push_back(node);
    }
}

COxString fromUnits(const std::u16string& s)
{
    return COxString(reinterpret_cast<const COxChar*>(s.data()), int(s.size()));
}

// The bytes of a file entry, expanded when compressed; false when the block
// or its stream is unusable.
bool contents(const COxResourceImage& image, const SOxResourceEntry& e, std::string* out)
{
    const uint8_t* bytes;
    uint32_t size;
    if (!image.data(e, &bytes, &size))
        return false;
    if (!e.isCompressed()) {
        out->assign(reinterpret_cast<const char*>(bytes), size);
        return true;
    }
    const COxByteArray plain = OxUncompress(bytes, int(size));
    out->assign(plain.constData(), size_t(plain.size()));
    return size <= 4 || !plain.isEmpty();
}

// Every entry reachable from the root, found again by its path.
void walkRaw(const COxResourceInfo& info, const SOxResourceEntry& dir, const std::u16string& path, int depth)
{
    const COxResourceImage& image = info.image();
    for (uint32_t i = 0; i < dir.childCount && depth < 64; ++i) {
        SOxResourceEntry e, again;
        SOxResourceName n;
        OXFUZZ_CHECK(image.entry(dir.firstChild + i, &e) && image.name(e, &n));
        std::u16string name;
        for (uint16_t k = 0; k < n.length; ++k)
            name += char16_t(n.units[2 * k] << 8 | n.units[2 * k + 1]);
        const std::u16string child = path + u"/" + name;
        // A name with a separator or a stored hash that is not its own
        // cannot be looked up; every other one must lead to its entry (or an
        // equal sibling of the same name).
        if (name.find(u'/') == std::u16string::npos && !name.empty() && name != u"." && name != u".."
            && n.hash == SOxResourceFormat::nameHash(reinterpret_cast<const uint16_t*>(name.data()), name.size())
            && info.find(fromUnits(child), &again)) {
            SOxResourceName m;
            OXFUZZ_CHECK(image.name(again, &m) && m.compare(n) == 0);
        }
        std::string ignored;
        if (!e.isDirectory())
            contents(image, e, &ignored);
        else
            walkRaw(info, e, child, depth + 1);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static oxfuzz::QuietLog quiet;
    oxfuzz::Input in(data, size);
    const uint32_t mode = in.range(0, 3); // 0 raw, 1 intact, 2 damaged, 3 cut short
    const std::u16string root = u"/fz";
    COxResourceInfo info(fromUnits(root));

    if (mode == 0) {
        std::vector<uint8_t> image(in.data(), in.data() + in.remaining());
        SOxResourceEntry top;
        if (info.loadMemory(image.data(), image.size()) && info.image().entry(0, &top))
            walkRaw(info, top, root, 0);
        return 0;
    }

    SOxResourceNode tree;
    tree.directory = true;
    std::vector<Expected> files;
    const uint32_t version = in.flag() ? 1 : 2;
    makeTree(in, &tree, root, 0, &files);
    std::string image = OxWriteResourceImage(tree, version);
    for (uint32_t k = 0, n = mode == 2 ? in.range(1, 8) : 0; k < n; ++k)
        image[in.range(0, uint32_t(image.size() - 1))] = char(in.byte());
    if (mode == 3)
        image.resize(in.range(0, uint32_t(image.size() - 1)));
    std::vector<uint8_t> bytes(image.begin(), image.end()); // exactly sized for the sanitizer

    const bool loaded = info.loadMemory(bytes.data(), bytes.size());
    OXFUZZ_CHECK(loaded || mode != 1);
    if (!loaded)
        return 0;
    for (const Expected& f : files) {
        SOxResourceEntry e;
        const bool found = info.find(fromUnits(f.path), &e);
        std::string got;
        const bool read = found && !e.isDirectory() && contents(info.image(), e, &got);
        if (mode == 1) {
            OXFUZZ_CHECK(found && e.isDirectory() == f.directory);
            OXFUZZ_CHECK(f.directory || (read && got == f.data));
        }
    }
    SOxResourceEntry missing;
    OXFUZZ_CHECK(mode != 1 || !info.find(fromUnits(root + u"/no such name"), &missing));
    return 0;
}
