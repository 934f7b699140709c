#include "core/io/oxdir.h"

#include "core/log/oxdebug.h"
#include "core/text/oxstring.h"

#include <cerrno>
#include <string>
#include <sys/stat.h>
#include <sys/types.h>

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

} // namespace

bool COxDir::mkpath(const COxString& path)
{
    if (path.isEmpty()) {
        oxWarning("COxDir::mkpath: Empty or null path name");
        return false;
    }
    if (!path.startsWith(COxChar('/'))) {
        oxWarning("COxDir::mkpath: only accept absolute dir path!");
        return false;
    }
    const COxByteArray native = path.toLocal8Bit();
    return makeDirectoryWithParents(std::string(native.constData(), size_t(native.size())));
}
