// Whole-file reading and all-or-nothing writing for the tool's small files
// (.cube text, LUT files). Errors are one line and do not repeat the path.
#ifndef OXTOOL_FILEIO_H
#define OXTOOL_FILEIO_H

#include <string>

namespace oxtool {

// Files above this size are refused rather than read into memory.
constexpr size_t kMaxWholeFileSize = size_t(256) << 20;

bool readWholeFile(const std::string& path, std::string* contents, std::string* error);

// Somewhere other than the file system that readWholeFile reads some paths
// from (the resource packs mounted with --resources).
class FileSource {
public:
    virtual ~FileSource() = default;
    virtual bool covers(const std::string& path) const = 0;
    virtual bool read(const std::string& path, std::string* contents, std::string* error) const = 0;
};

// While it lives, readWholeFile reads the paths that source covers from it
// (a null source changes nothing).
class ScopedFileSource {
public:
    explicit ScopedFileSource(const FileSource* source);
    ~ScopedFileSource();
    ScopedFileSource(const ScopedFileSource&) = delete;
    ScopedFileSource& operator=(const ScopedFileSource&) = delete;

private:
    const FileSource* m_previous;
};

// Whether readWholeFile would read path from a file source.
bool servedByFileSource(const std::string& path);

// Writes bytes to a temporary file beside path and renames it over path once
// everything is on disk, so path either keeps its old contents or gets all of
// the new ones (COxSaveFile). The temporary file is removed on every failure.
// An existing path keeps its permissions; a symbolic link is followed and
// stays a link.
bool writeFileAtomically(const std::string& path, const std::string& bytes, std::string* error);

} // namespace oxtool

#endif // OXTOOL_FILEIO_H
