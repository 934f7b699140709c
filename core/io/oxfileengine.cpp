#include "core/io/oxfileengine.h"
#include "core/io/oxfileengine_p.h"

#include "core/io/oxgenericfileengine.h"
#include "core/io/oxresourcefileengine.h"

#include <cerrno>
#include <cstring>

// strerror_r comes in two flavours: the GNU one returns the text, the POSIX
// one fills the buffer and returns 0. Overload resolution picks the reading
// that fits; as members of a struct, the one not picked is no unused function.
namespace {

struct StrerrorResult {
    static const char* of(const char* text, const char*) { return text; }
    static const char* of(int result, const char* buffer) { return result == 0 ? buffer : "Unknown error"; }
};

} // namespace

COxString OxErrnoText(int errnum)
{
    char buffer[256];
    buffer[0] = '\0';
    return COxString::fromLocal8Bit(StrerrorResult::of(strerror_r(errnum, buffer, sizeof buffer), buffer));
}

COxFileEnginePrivate::COxFileEnginePrivate()
    : error(COxFileDevice::NoError)
{
}

COxFileEnginePrivate::~COxFileEnginePrivate() = default;

COxFileEngine::COxFileEngine(COxFileEnginePrivate& dd)
    : d_ptr(&dd)
{
}

COxFileEngine::~COxFileEngine()
{
    delete d_ptr;
}

COxFileEngine* COxFileEngine::create(const COxString& fileName)
{
    if (COxResourceFileEngine::handles(fileName))
        return new COxResourceFileEngine(fileName);
    return new COxGenericFileEngine(fileName);
}

bool COxFileEngine::flush()
{
    return true;
}

bool COxFileEngine::syncToDisk()
{
    return flush();
}

bool COxFileEngine::isSequential()
{
    return false;
}

int64_t COxFileEngine::write(const char*, int64_t)
{
    setError(COxFileDevice::WriteError, ENOTSUP);
    return -1;
}

bool COxFileEngine::remove()
{
    setError(COxFileDevice::RemoveError, ENOTSUP);
    return false;
}

bool COxFileEngine::rename(const COxString&)
{
    setError(COxFileDevice::RenameError, ENOTSUP);
    return false;
}

bool COxFileEngine::setSize(int64_t)
{
    setError(COxFileDevice::ResizeError, ENOTSUP);
    return false;
}

bool COxFileEngine::setPermissions(COxFileDevice::Permissions)
{
    setError(COxFileDevice::PermissionsError, ENOTSUP);
    return false;
}

COxString COxFileEngine::fileName() const
{
    return d_ptr->fileName;
}

void COxFileEngine::setFileName(const COxString& name)
{
    d_ptr->fileName = name;
}

bool COxFileEngine::supportsExtension(Extension) const
{
    return false;
}

uchar* COxFileEngine::map(int64_t, int64_t)
{
    setError(COxFileDevice::UnspecifiedError, ENOTSUP);
    return nullptr;
}

bool COxFileEngine::unmap(uchar*)
{
    setError(COxFileDevice::UnspecifiedError, ENOTSUP);
    return false;
}

COxFileDevice::FileError COxFileEngine::error() const
{
    return d_ptr->error;
}

COxString COxFileEngine::errorString() const
{
    return d_ptr->errorString;
}

void COxFileEngine::setError(COxFileDevice::FileError error, const COxString& text)
{
    d_ptr->error = error;
    d_ptr->errorString = text;
}

void COxFileEngine::setError(COxFileDevice::FileError error, int errnum)
{
    setError(error, OxErrnoText(errnum));
}

void COxFileEngine::unsetError()
{
    d_ptr->error = COxFileDevice::NoError;
    d_ptr->errorString.clear();
}
