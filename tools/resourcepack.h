// Resource packs: one read-only file holding a directory tree, in the
// library's resource image format (core/io/oxresourceimage.h). `oxlut pack`
// makes them; `--resources FILE:ROOT` mounts them for info, apply and bench,
// so that a LUT below ROOT is read from the pack.
#ifndef OXTOOL_RESOURCEPACK_H
#define OXTOOL_RESOURCEPACK_H

#include "core/io/oxresourceimage.h"
#include "tools/fileio.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace oxtool {

struct ToolContext;

struct PackSummary {
    size_t files = 0;
    size_t directories = 0; // below the top
    size_t compressed = 0;
    uint64_t fileBytes = 0; // before compression
};

// The image of the tree at dir: every file and directory, hidden ones
// included; symbolic links to files are followed, links to directories and
// special files refused. Each file is stored compressed only when that makes
// it smaller. Names must be UTF-8. skip (when it exists) is left out: the
// pack being replaced may lie inside the tree.
bool packDirectory(const std::string& dir, const std::string& skip, std::string* image,
                   PackSummary* summary, std::string* error);

// Packs mounted under absolute roots. A path at or below a root is read from
// the packs, first mount first, and from nowhere else.
class ResourceMounts final : public FileSource {
public:
    // Reads the pack in file and checks it whole; root is absolute.
    bool mount(const std::string& file, const std::string& root, std::string* error);
    bool empty() const { return m_mounts.empty(); }

    bool covers(const std::string& path) const override;
    bool read(const std::string& path, std::string* contents, std::string* error) const override;

private:
    struct Mount {
        std::string root;
        std::string bytes;
        COxResourceImage image;
    };
    // Where the path starts below the mount's root, or npos.
    static size_t below(const Mount& mount, const std::string& path);

    std::vector<std::unique_ptr<Mount>> m_mounts;
};

int runPack(const std::vector<std::string>& args, const ToolContext& context);

// Runs a command after taking its --resources FILE:ROOT options (any number,
// before "--") out of args and mounting them for the command's file reads.
int runWithResources(const std::string& command, const std::vector<std::string>& args,
                     const ToolContext& context,
                     int (*run)(const std::vector<std::string>&, const ToolContext&));

} // namespace oxtool

#endif // OXTOOL_RESOURCEPACK_H
