#include "core/io/oxdir.h"

#include "core/io/oxresourceinfo_p.h"
#include "core/log/oxdebug.h"
#include "core/text/oxstring.h"

#include <cerrno>
#include <cstdlib>
#include <dirent.h>
#include <new>
#include <string>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace {

bool isDirectory(const std::string& path)
{
    struct stat st;
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// Creates path and, when its parent is missing, the parent first. Trailing
// slashes are dropped (a lone "/" stays).
bool makeDirectoryWithParents(std::string path)
{
    while (path.size() >= 2 && path.back() == '/')
        path.pop_back();

    if (::mkdir(path.c_str(), 0777) == 0)
        return true;

    switch (errno) {
    case ENOENT: {
        const size_t slash = path.rfind('/');
        if (slash != std::string::npos && slash >= 1)
            makeDirectoryWithParents(path.substr(0, slash));
        if (::mkdir(path.c_str(), 0777) == 0)
            return true;
        // Someone else may have made it in the meantime.
        return errno == EEXIST && isDirectory(path);
    }
    case EEXIST:
        // A plain file of that name does not count.
        return isDirectory(path);
    default:
        return false;
    }
}

std::string nativePath(const COxString& path)
{
    const COxByteArray native = path.toLocal8Bit();
    return std::string(native.constData(), size_t(native.size()));
}

// Gives the owner full access to a directory that is about to be emptied,
// so that its entries can be listed and removed.
void grantOwnerAccess(const std::string& dir, mode_t mode)
{
    if ((mode & S_IRWXU) != S_IRWXU)
        ::chmod(dir.c_str(), (mode & 07777) | S_IRWXU);
}

// Removes a file (or link); a file without the owner's write permission
// gets it for one more try.
bool removeFile(const std::string& path, mode_t mode)
{
    if (::unlink(path.c_str()) == 0)
        return true;
    if (S_ISLNK(mode) || (mode & S_IWUSR) || ::chmod(path.c_str(), (mode & 07777) | S_IWUSR) != 0)
        return false;
    return ::unlink(path.c_str()) == 0;
}

// Removes everything in dir; false when anything stayed.
bool removeContents(const std::string& dir, mode_t mode)
{
    grantOwnerAccess(dir, mode);
    DIR* stream = ::opendir(dir.c_str());
    if (!stream)
        return false;
    bool removedAll = true;
    while (const dirent* e = ::readdir(stream)) {
        const std::string name = e->d_name;
        if (name == "." || name == "..")
            continue;
        const std::string path = dir + "/" + name;
        struct stat st;
        if (::lstat(path.c_str(), &st) != 0)
            removedAll = false;
        else if (S_ISDIR(st.st_mode))
            removedAll = removeContents(path, st.st_mode) && ::rmdir(path.c_str()) == 0 && removedAll;
        else
            removedAll = removeFile(path, st.st_mode) && removedAll;
    }
    ::closedir(stream);
    return removedAll;
}

// Whether path is absolute; if not, a warning in the name of member, which
// tells an empty path apart when emptyApart is set.
bool isAbsolute(const COxString& path, const char* member, bool emptyApart)
{
    if (emptyApart && path.isEmpty()) {
        oxWarning("%s: Empty or null path name", member);
        return false;
    }
    if (!path.startsWith(COxChar('/'))) {
        oxWarning("%s: only accept absolute dir path!", member);
        return false;
    }
    return true;
}

// Adds a loaded resource to the mounted ones; one that failed to load goes.
bool mount(COxResourceInfo* info, bool loaded)
{
    if (!loaded) {
        delete info;
        return false;
    }
    COxResourceInfo::append(info);
    return true;
}

} // namespace

bool COxDir::mkpath(const COxString& path)
{
    return isAbsolute(path, "COxDir::mkpath", true) && makeDirectoryWithParents(nativePath(path));
}

bool COxDir::rmdir(const COxString& path)
{
    return isAbsolute(path, "COxDir::rmdir", true) && ::rmdir(nativePath(path).c_str()) == 0;
}

bool COxDir::removeRecursively(const COxString& path)
{
    if (!isAbsolute(path, "COxDir::removeRecursively", false))
        return false;
    const std::string native = nativePath(path);
    struct stat st;
    if (::lstat(native.c_str(), &st) != 0 || !S_ISDIR(st.st_mode))
        return false;
    const bool removedAll = removeContents(native, st.st_mode);
    return rmdir(path) && removedAll;
}

COxString COxDir::tempPath()
{
    const char* dir = std::getenv("TMPDIR");
    return cleanPath(COxString::fromLocal8Bit(dir && *dir ? dir : "/tmp"));
}

COxString COxDir::cleanPath(const COxString& path)
{
    if (path.isEmpty())
        return path;
    const bool absolute = path.startsWith(COxChar('/'));
    COxString clean;
    int kept = 0; // segments in clean that a ".." can take away
    for (int at = 0; at <= path.size();) {
        int end = path.indexOf(COxChar('/'), at);
        if (end < 0)
            end = path.size();
        const COxString segment = path.mid(at, end - at);
        at = end + 1;
        if (segment.isEmpty() || segment == COxLatin1String("."))
            continue;
        if (segment == COxLatin1String("..") && (kept > 0 || absolute)) {
            if (kept > 0) {
                const int slash = clean.lastIndexOf(COxChar('/'));
                clean.truncate(slash < 0 ? 0 : slash);
                --kept;
            }
            continue;
        }
        if (absolute || !clean.isEmpty())
            clean.append(COxChar('/'));
        clean.append(segment);
        if (segment != COxLatin1String(".."))
            ++kept;
    }
    if (clean.isEmpty())
        return COxString(absolute ? "/" : ".");
    return clean;
}

bool COxDir::registerResource(const COxString& fileName, const COxString& rootPath)
{
    if (!rootPath.isEmpty() && !rootPath.startsWith(COxChar('/'))) {
        oxWarning("COxDir::registerResource: Registering a resource [%s] must be rooted in an absolute path (start with /) [%s]",
                  fileName.toLocal8Bit().constData(), rootPath.toLocal8Bit().constData());
        return false;
    }
    COxResourceInfo* info = new (std::nothrow) COxResourceInfo(rootPath);
    return mount(info, info && info->loadFile(fileName));
}

bool COxDir::registerResource(const uchar* data, const COxString& rootPath)
{
    // Every offset and length in an image is 32-bit, so no image reaches
    // this far; the bound only keeps the checks' arithmetic in range.
    return registerResource(data, uint64_t(1) << 40, rootPath);
}

bool COxDir::registerResource(const uchar* data, uint64_t size, const COxString& rootPath)
{
    if (!rootPath.isEmpty() && !rootPath.startsWith(COxChar('/'))) {
        oxWarning("COxDir::registerResource: Registering a resource [%p] must be rooted in an absolute path (start with /) [%s]",
                  static_cast<const void*>(data), rootPath.toLocal8Bit().constData());
        return false;
    }
    COxResourceInfo* info = new (std::nothrow) COxResourceInfo(rootPath);
    return mount(info, info && info->loadMemory(data, size));
}
