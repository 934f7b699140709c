// Helpers of the resource tests: trees of files built from paths, their
// images, and image bytes that must stay alive once registered.
#ifndef TESTS_CORE_IO_RESOURCETESTSUPPORT_H
#define TESTS_CORE_IO_RESOURCETESTSUPPORT_H

#include "core/io/oxcompress.h"
#include "core/io/oxresourceimagewriter.h"
#include "core/text/oxstring.h"

#include <algorithm>
#include <deque>
#include <memory>
#include <string>

inline std::u16string u16(const std::string& utf8)
{
    const COxString text = COxString::fromUtf8(utf8.c_str());
    return std::u16string(reinterpret_cast<const char16_t*>(text.utf16()), size_t(text.size()));
}

// Adds a file at a "/"-separated path below root, making the directories on
// the way; compressed files hold OxCompress's output.
inline void addResource(SOxResourceNode* root, const std::string& path, const std::string& content,
                        bool compressed = false)
{
    SOxResourceNode* dir = root;
    size_t at = 0;
    for (size_t slash; (slash = path.find('/', at)) != std::string::npos; at = slash + 1) {
        const std::u16string name = u16(path.substr(at, slash - at));
        SOxResourceNode* next = nullptr;
        for (SOxResourceNode& child : dir->children)
            next = child.name == name ? &child : next;
        if (!next) {
            dir->children.emplace_back();
            next = &dir->children.back();
            next->name = name;
            next->directory = true;
        }
        dir = next;
    }
    SOxResourceNode file;
    file.name = u16(path.substr(at));
    file.compressed = compressed;
    const COxByteArray packed = OxCompress(COxByteArray(content.data(), int(content.size())));
    file.data = compressed ? std::string(packed.constData(), size_t(packed.size())) : content;
    dir->children.push_back(file);
}

inline SOxResourceNode resourceRoot()
{
    SOxResourceNode root;
    root.directory = true;
    return root;
}

// A heap copy of exactly the image's bytes (so that the address sanitizer
// sees any read past them), kept for the rest of the test program.
inline const uchar* keptImage(const std::string& image)
{
    static std::deque<std::unique_ptr<uchar[]>> kept;
    kept.emplace_back(new uchar[image.size() ? image.size() : 1]);
    std::copy(image.begin(), image.end(), kept.back().get());
    return kept.back().get();
}

#endif // TESTS_CORE_IO_RESOURCETESTSUPPORT_H
