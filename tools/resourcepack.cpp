#include "tools/resourcepack.h"

#include "core/io/oxresourceimagewriter.h"
#include "tools/commands.h"
#include "tools/options.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <ostream>
#include <sys/stat.h>
#include <zlib.h>

namespace oxtool {

namespace {

// Images address their data with 32-bit offsets.
constexpr uint64_t kMaxPackBytes = 0xF0000000u;

// Strict UTF-8 to UTF-16: false for anything malformed, overlong or beyond
// U+10FFFF.
bool toUtf16(const std::string& text, std::u16string* out)
{
    static const uint32_t kLeast[] = {0, 0x80, 0x800, 0x10000};
    out->clear();
    for (size_t i = 0; i < text.size();) {
        const unsigned char lead = static_cast<unsigned char>(text[i]);
        const int extra = lead < 0x80 ? 0 : (lead >> 5) == 6 ? 1 : (lead >> 4) == 14 ? 2 : (lead >> 3) == 30 ? 3 : -1;
        if (extra < 0 || i + size_t(extra) >= text.size())
            return false;
        uint32_t cp = extra == 0 ? lead : lead & (0x3Fu >> extra);
        for (int k = 1; k <= extra; ++k) {
            const unsigned char next = static_cast<unsigned char>(text[i + size_t(k)]);
            if ((next & 0xC0) != 0x80)
                return false;
            cp = cp << 6 | (next & 0x3F);
        }
        if (cp < kLeast[extra] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))
            return false;
        if (cp >= 0x10000) {
            out->push_back(char16_t(0xD800 + ((cp - 0x10000) >> 10)));
            out->push_back(char16_t(0xDC00 + ((cp - 0x10000) & 0x3FF)));
        } else {
            out->push_back(char16_t(cp));
        }
        i += size_t(extra) + 1;
    }
    return true;
}

// The bytes in OxCompress's format (big-endian length, then the zlib
// stream at the best compression), or empty when zlib fails.
std::string compressed(const std::string& raw)
{
    uLongf size = compressBound(uLong(raw.size()));
    std::string out(4 + size, '\0');
    if (compress2(reinterpret_cast<Bytef*>(&out[4]), &size, reinterpret_cast<const Bytef*>(raw.data()),
                  uLong(raw.size()), Z_BEST_COMPRESSION) != Z_OK)
        return std::string();
    for (int i = 0; i < 4; ++i)
        out[size_t(i)] = char(uint32_t(raw.size()) >> (24 - 8 * i));
    out.resize(4 + size);
    return out;
}

// The inverse, for lengths a file read may have; a stored length the stream
// cannot reach, or that it does not end on, is damage.
bool expanded(const uint8_t* data, uint32_t size, std::string* out)
{
    out->clear();
    if (size == 4 && SOxResourceFormat::read32(data) == 0)
        return true;
    if (size <= 4)
        return false;
    const uint32_t length = SOxResourceFormat::read32(data);
    if (length == 0 || length > kMaxWholeFileSize || length > uint64_t(size - 4) * 1032)
        return false;
    out->resize(length);
    uLongf produced = length;
    return uncompress(reinterpret_cast<Bytef*>(&(*out)[0]), &produced, data + 4, size - 4) == Z_OK &&
           produced == length;
}

struct PackWalk {
    struct stat skip;
    bool hasSkip = false;
    PackSummary* summary;
    uint64_t stored = 0;
    std::string error;

    bool isSkipped(const struct stat& st) const
    {
        return hasSkip && st.st_dev == skip.st_dev && st.st_ino == skip.st_ino;
    }
    bool fail(const std::string& path, const std::string& why)
    {
        error = path + ": " + why;
        return false;
    }

    bool addDirectory(const std::string& dir, SOxResourceNode* node)
    {
        DIR* stream = ::opendir(dir.c_str());
        if (!stream)
            return fail(dir, std::strerror(errno));
        std::vector<std::string> names;
        while (const dirent* e = ::readdir(stream)) {
            if (std::strcmp(e->d_name, ".") != 0 && std::strcmp(e->d_name, "..") != 0)
                names.push_back(e->d_name);
        }
        ::closedir(stream);
        for (const std::string& name : names) {
            const std::string path = dir + "/" + name;
            SOxResourceNode child;
            struct stat st, link;
            if (!toUtf16(name, &child.name))
                return fail(path, "the name is not UTF-8");
            if (::stat(path.c_str(), &st) != 0 || ::lstat(path.c_str(), &link) != 0)
                return fail(path, std::strerror(errno));
            if (isSkipped(st))
                continue;
            if (S_ISDIR(st.st_mode)) {
                if (S_ISLNK(link.st_mode))
                    return fail(path, "links to directories are not followed");
                child.directory = true;
                ++summary->directories;
                if (!addDirectory(path, &child))
                    return false;
            } else if (S_ISREG(st.st_mode)) {
                if (!readWholeFile(path, &child.data, &error))
                    return fail(path, error);
                summary->fileBytes += child.data.size();
                ++summary->files;
                std::string packed = compressed(child.data);
                if (!packed.empty() && packed.size() < child.data.size()) {
                    child.data.swap(packed);
                    child.compressed = true;
                    ++summary->compressed;
                }
                stored += 4 + child.data.size() + 32 + 2 * child.name.size();
                if (stored > kMaxPackBytes)
                    return fail(path, "the pack would pass 4 GiB");
            } else {
                return fail(path, "not a regular file or directory");
            }
            node->children.push_back(std::move(child));
        }
        return true;
    }
};

int report(const ToolContext& context, const std::string& message, int code)
{
    *context.err << "oxlut: " << message << '\n';
    return code;
}

} // namespace

bool packDirectory(const std::string& dir, const std::string& skip, std::string* image,
                   PackSummary* summary, std::string* error)
{
    struct stat st;
    if (::stat(dir.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
        *error = dir + ": not a directory";
        return false;
    }
    *summary = PackSummary();
    PackWalk walk;
    walk.summary = summary;
    walk.hasSkip = ::stat(skip.c_str(), &walk.skip) == 0;
    SOxResourceNode root;
    root.directory = true;
    if (!walk.addDirectory(dir, &root)) {
        *error = walk.error;
        return false;
    }
    *image = OxWriteResourceImage(root);
    return true;
}

bool ResourceMounts::mount(const std::string& file, const std::string& root, std::string* error)
{
    std::unique_ptr<Mount> mount(new Mount);
    mount->root = root;
    while (mount->root.size() > 1 && mount->root.back() == '/')
        mount->root.pop_back();
    if (!readWholeFile(file, &mount->bytes, error)) {
        *error = file + ": " + *error;
        return false;
    }
    const char* problem =
        mount->image.open(reinterpret_cast<const uint8_t*>(mount->bytes.data()), mount->bytes.size());
    if (!problem)
        problem = mount->image.checkTree([](const SOxResourceEntry&) {});
    if (problem) {
        *error = file + ": not a usable resource pack (" + problem + ")";
        return false;
    }
    m_mounts.push_back(std::move(mount));
    return true;
}

size_t ResourceMounts::below(const Mount& mount, const std::string& path)
{
    if (mount.root == "/")
        return path.compare(0, 1, "/") == 0 ? 1 : std::string::npos;
    if (path.compare(0, mount.root.size(), mount.root) != 0)
        return std::string::npos;
    if (path.size() == mount.root.size())
        return path.size();
    return path[mount.root.size()] == '/' ? mount.root.size() + 1 : std::string::npos;
}

bool ResourceMounts::covers(const std::string& path) const
{
    for (const std::unique_ptr<Mount>& mount : m_mounts) {
        if (below(*mount, path) != std::string::npos)
            return true;
    }
    return false;
}

bool ResourceMounts::read(const std::string& path, std::string* contents, std::string* error) const
{
    for (const std::unique_ptr<Mount>& mount : m_mounts) {
        size_t at = below(*mount, path);
        SOxResourceEntry entry;
        if (at == std::string::npos || !mount->image.entry(0, &entry))
            continue;
        // Empty and "." segments are skipped, as the library does.
        bool found = true;
        while (found && at < path.size()) {
            size_t end = path.find('/', at);
            if (end == std::string::npos)
                end = path.size();
            const std::string segment = path.substr(at, end - at);
            std::u16string name;
            found = segment.empty() || segment == "." ||
                    (toUtf16(segment, &name) &&
                     mount->image.findChild(entry, reinterpret_cast<const uint16_t*>(name.data()),
                                            name.size(), &entry));
            at = end + 1;
        }
        if (!found)
            continue;
        const uint8_t* data;
        uint32_t size;
        if (entry.isDirectory()) {
            *error = "is a directory";
            return false;
        }
        if (!mount->image.data(entry, &data, &size) ||
            (entry.isCompressed() && size > 0 && !expanded(data, size, contents))) {
            *error = "damaged in its resource pack";
            return false;
        }
        if (!entry.isCompressed() || size == 0)
            contents->assign(reinterpret_cast<const char*>(data), size);
        return true;
    }
    *error = "not in the mounted resource packs";
    return false;
}

int runPack(const std::vector<std::string>& args, const ToolContext& context)
{
    PackOptions options;
    std::string error;
    if (!parsePackOptions(args, &options, &error))
        return report(context, "pack: " + error + " (see 'oxlut help')", ExitUsage);
    std::string image;
    PackSummary summary;
    if (!packDirectory(options.dir, options.output, &image, &summary, &error))
        return report(context, error, ExitFailure);
    if (!writeFileAtomically(options.output, image, &error))
        return report(context, options.output + ": " + error, ExitFailure);
    *context.out << "wrote " << options.output << ": " << summary.files << " files ("
                 << summary.compressed << " compressed) in " << summary.directories
                 << " directories, " << image.size() << " bytes from " << summary.fileBytes << '\n';
    return ExitOk;
}

int runWithResources(const std::string& command, const std::vector<std::string>& args,
                     const ToolContext& context,
                     int (*run)(const std::vector<std::string>&, const ToolContext&))
{
    const std::string option = "--resources";
    ResourceMounts mounts;
    std::vector<std::string> rest;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "--") {
            rest.insert(rest.end(), args.begin() + long(i), args.end());
            break;
        }
        if (arg != option && arg.compare(0, option.size() + 1, option + "=") != 0) {
            rest.push_back(arg);
            continue;
        }
        const std::string value = arg != option ? arg.substr(option.size() + 1) : i + 1 < args.size() ? args[++i] : "";
        const size_t colon = value.rfind(":/");
        if (colon == std::string::npos || colon == 0)
            return report(context, command + ": --resources needs FILE:ROOT with an absolute ROOT, not '" + value +
                                       "' (see 'oxlut help')", ExitUsage);
        std::string error;
        if (!mounts.mount(value.substr(0, colon), value.substr(colon + 1), &error))
            return report(context, command + ": " + error, ExitFailure);
    }
    ScopedFileSource source(mounts.empty() ? nullptr : &mounts);
    return run(rest, context);
}

} // namespace oxtool
