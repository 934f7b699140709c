#include "core/io/oxresourcefileengine.h"

#include "core/io/oxcompress.h"
#include "core/io/oxfileengine_p.h"
#include "core/io/oxresourceinfo_p.h"
#include "core/log/oxdebug.h"

#include <cerrno>
#include <cstring>

class COxResourceFileEnginePrivate : public COxFileEnginePrivate {
public:
    // Looks the name up once it is found; a name not found yet is asked
    // again, as a later registration may bring it.
    bool resolve()
    {
        if (!info)
            COxResourceInfo::lookup(fileName, &info, &entry);
        return info != nullptr;
    }
    // The bytes to serve: the stored block, or its expansion. False when a
    // compressed block does not expand.
    bool content();

    const COxResourceInfo* info = nullptr;
    SOxResourceEntry entry;
    const uchar* bytes = nullptr;
    int64_t length = -1; // unknown until content()
    COxByteArray expanded;
    int64_t position = 0;
    bool isOpen = false;
};

bool COxResourceFileEnginePrivate::content()
{
    if (length >= 0)
        return true;
    if (!resolve() || entry.isDirectory())
        return false;
    const uint8_t* stored;
    uint32_t storedSize;
    if (!info->image().data(entry, &stored, &storedSize))
        return false;
    if (entry.isCompressed() && storedSize > 0) {
        if (storedSize > uint32_t(COxByteArray::MaxSize))
            return false;
        expanded = OxUncompress(stored, int(storedSize));
        if (expanded.isNull())
            return false;
        bytes = reinterpret_cast<const uchar*>(expanded.constData());
        length = expanded.size();
    } else {
        bytes = stored;
        length = storedSize;
    }
    return true;
}

typedef COxFileDevice Dev;

COxResourceFileEngine::COxResourceFileEngine(const COxString& fileName)
    : COxFileEngine(*new COxResourceFileEnginePrivate)
{
    setFileName(fileName);
}

COxResourceFileEngine::~COxResourceFileEngine() = default;

COxResourceFileEnginePrivate* COxResourceFileEngine::d_func() const
{
    return static_cast<COxResourceFileEnginePrivate*>(d_ptr);
}

bool COxResourceFileEngine::handles(const COxString& fileName)
{
    const COxResourceInfo* info;
    SOxResourceEntry entry;
    return COxResourceInfo::lookup(fileName, &info, &entry);
}

void COxResourceFileEngine::setFileName(const COxString& name)
{
    COxResourceFileEnginePrivate* d = d_func();
    COxFileEngine::setFileName(name);
    d->info = nullptr;
    d->length = -1;
    d->expanded.clear();
    d->isOpen = false;
}

bool COxResourceFileEngine::open(COxIODevice::OpenMode mode)
{
    COxResourceFileEnginePrivate* d = d_func();
    unsetError();
    if (d->fileName.isEmpty()) {
        oxWarning("COxResourceFileEngine::open: Missing file name");
        setError(Dev::OpenError, ENOENT);
        return false;
    }
    if (mode & (COxIODevice::WriteOnly | COxIODevice::Append | COxIODevice::Truncate)) {
        setError(Dev::OpenError, EROFS);
        return false;
    }
    if (!d->resolve()) {
        setError(Dev::OpenError, ENOENT);
        return false;
    }
    if (d->entry.isDirectory()) {
        setError(Dev::OpenError, COxString("file to open is a directory"));
        return false;
    }
    if (!d->content()) {
        setError(Dev::OpenError, COxString("resource data is corrupted"));
        return false;
    }
    d->position = 0;
    d->isOpen = true;
    return true;
}

bool COxResourceFileEngine::close()
{
    d_func()->isOpen = false;
    return true;
}

int64_t COxResourceFileEngine::size()
{
    COxResourceFileEnginePrivate* d = d_func();
    return d->content() ? d->length : 0;
}

int64_t COxResourceFileEngine::pos()
{
    return d_func()->position;
}

bool COxResourceFileEngine::seek(int64_t pos)
{
    COxResourceFileEnginePrivate* d = d_func();
    unsetError();
    if (!d->isOpen || pos < 0) {
        setError(Dev::UnspecifiedError, d->isOpen ? EINVAL : EBADF);
        return false;
    }
    d->position = pos;
    return true;
}

int64_t COxResourceFileEngine::read(char* data, int64_t maxSize)
{
    COxResourceFileEnginePrivate* d = d_func();
    unsetError();
    if (!d->isOpen || maxSize < 0 || (!data && maxSize > 0)) {
        setError(Dev::ReadError, d->isOpen ? EINVAL : EBADF);
        return -1;
    }
    const int64_t left = d->position < d->length ? d->length - d->position : 0;
    const int64_t n = maxSize < left ? maxSize : left;
    if (n > 0)
        std::memcpy(data, d->bytes + d->position, size_t(n));
    d->position += n;
    return n;
}

COxFileEngine::FileFlags COxResourceFileEngine::fileFlags(FileFlags mask)
{
    COxResourceFileEnginePrivate* d = d_func();
    if (!d->resolve())
        return 0;
    const FileFlags readable = ReadOwnerPerm | ReadGroupPerm | ReadOtherPerm;
    const FileFlags flags = d->entry.isDirectory()
        ? ExistsFlag | DirectoryType | readable | ExeOwnerPerm | ExeGroupPerm | ExeOtherPerm
        : ExistsFlag | FileType | readable;
    return flags & mask & FlagsMask;
}
