// Writing a resource image (the layout is in core/io/oxresourceimage.h) from
// a tree held in memory. Plain C++ for the programs that make images, such as
// the oxlut tool; the library itself only reads them.
//
// The image is laid out as header, tree, data, names. Entries are numbered
// breadth first, so every directory's children follow it, and each
// directory's children are sorted by name hash, equal hashes by name.
#ifndef OXRESOURCEIMAGEWRITER_H
#define OXRESOURCEIMAGEWRITER_H

#include "core/io/oxresourceimage.h"

#include <algorithm>
#include <string>
#include <vector>

struct SOxResourceNode {
    std::u16string name; // not stored for the root
    bool directory = false;
    bool compressed = false; // data is the output of OxCompress
    std::string data;
    std::vector<SOxResourceNode> children;
};

namespace OxResourceImageWriter {

inline void put16(std::string* out, uint32_t v)
{
    out->push_back(char(v >> 8));
    out->push_back(char(v));
}

inline void put32(std::string* out, uint32_t v)
{
    put16(out, v >> 16);
    put16(out, v);
}

inline uint32_t hashOf(const std::u16string& name)
{
    return SOxResourceFormat::nameHash(reinterpret_cast<const uint16_t*>(name.data()), name.size());
}

} // namespace OxResourceImageWriter

// The image of the tree below root, in format version 1 or 2. Names must be
// shorter than 65536 units.
inline std::string OxWriteResourceImage(const SOxResourceNode& root, uint32_t version = 2)
{
    using namespace OxResourceImageWriter;
    std::vector<const SOxResourceNode*> order{&root};
    std::vector<uint32_t> firstChild;
    for (size_t i = 0; i < order.size(); ++i) {
        std::vector<const SOxResourceNode*> children;
        for (const SOxResourceNode& child : order[i]->children)
            children.push_back(&child);
        std::sort(children.begin(), children.end(), [](const SOxResourceNode* a, const SOxResourceNode* b) {
            const uint32_t ha = hashOf(a->name);
            const uint32_t hb = hashOf(b->name);
            return ha != hb ? ha < hb : a->name < b->name;
        });
        firstChild.push_back(uint32_t(order.size()));
        order.insert(order.end(), children.begin(), children.end());
    }

    std::string tree, data, names;
    for (size_t i = 0; i < order.size(); ++i) {
        const SOxResourceNode& node = *order[i];
        const std::u16string& name = node.name;
        put32(&tree, uint32_t(names.size()));
        put16(&names, uint32_t(name.size()));
        put32(&names, hashOf(name));
        for (char16_t unit : name)
            put16(&names, unit);
        if (node.directory) {
            put16(&tree, SOxResourceFormat::kDirectoryFlag);
            put32(&tree, uint32_t(node.children.size()));
            put32(&tree, node.children.empty() ? 0 : firstChild[i]);
        } else {
            put16(&tree, node.compressed ? SOxResourceFormat::kCompressedFlag : 0);
            put32(&tree, 0);
            put32(&tree, uint32_t(data.size()));
            put32(&data, uint32_t(node.data.size()));
            data += node.data;
        }
        if (version != 1)
            tree.append(8, '\0');
    }

    std::string image("qres");
    const uint32_t treeAt = SOxResourceFormat::kHeaderSize;
    put32(&image, version);
    put32(&image, treeAt);
    put32(&image, treeAt + uint32_t(tree.size()));
    put32(&image, treeAt + uint32_t(tree.size() + data.size()));
    return image + tree + data + names;
}

#endif // OXRESOURCEIMAGEWRITER_H
