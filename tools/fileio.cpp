#include "tools/fileio.h"

#include "core/io/oxsavefile.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace oxtool {

namespace {

const FileSource* g_source = nullptr;

std::string systemError(const char* what)
{
    return std::string(what) + ": " + std::strerror(errno);
}

} // namespace

ScopedFileSource::ScopedFileSource(const FileSource* source) : m_previous(g_source)
{
    if (source)
        g_source = source;
}

ScopedFileSource::~ScopedFileSource()
{
    g_source = m_previous;
}

bool servedByFileSource(const std::string& path)
{
    return g_source && g_source->covers(path);
}

bool readWholeFile(const std::string& path, std::string* contents, std::string* error)
{
    if (servedByFileSource(path))
        return g_source->read(path, contents, error);
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        *error = systemError("cannot open");
        return false;
    }
    struct stat st;
    if (::fstat(fd, &st) != 0) {
        *error = systemError("cannot stat");
        ::close(fd);
        return false;
    }
    if (!S_ISREG(st.st_mode)) {
        *error = S_ISDIR(st.st_mode) ? "is a directory" : "not a regular file";
        ::close(fd);
        return false;
    }
    if (size_t(st.st_size) > kMaxWholeFileSize) {
        *error = "file too large (" + std::to_string(st.st_size) + " bytes)";
        ::close(fd);
        return false;
    }
    contents->clear();
    contents->reserve(size_t(st.st_size));
    char buffer[65536];
    for (;;) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            *error = systemError("read error");
            ::close(fd);
            return false;
        }
        if (n == 0)
            break;
        if (contents->size() + size_t(n) > kMaxWholeFileSize) {
            *error = "file too large";
            ::close(fd);
            return false;
        }
        contents->append(buffer, size_t(n));
    }
    ::close(fd);
    return true;
}

bool writeFileAtomically(const std::string& path, const std::string& bytes, std::string* error)
{
    COxSaveFile file(COxString::fromLocal8Bit(path.c_str(), int(path.size())));
    const auto fail = [&file, error](const char* what) {
        *error = std::string(what) + file.errorString().toLocal8Bit().constData();
        return false;
    };
    if (!file.open(COxIODevice::WriteOnly))
        // Refusals of the target itself speak for themselves.
        return fail(file.error() == COxFileDevice::WriteError ? "" : "cannot create a temporary file beside the output: ");
    if (file.write(bytes.data(), int64_t(bytes.size())) != int64_t(bytes.size()))
        return fail("write error: ");
    if (!file.commit())
        return fail(file.error() == COxFileDevice::RenameError ? "cannot rename the temporary file: " : "write error: ");
    return true;
}

} // namespace oxtool
