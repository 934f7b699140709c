#include "core/io/oxgenericfileengine.h"
#include "core/io/oxgenericfileengine_p.h"

#include "core/log/oxdebug.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

typedef COxFileDevice Dev;

// Permission bits from a stat mode: each octal digit of the mode becomes a
// hexadecimal digit, and back.
COxFileDevice::Permissions permissionsFromMode(mode_t mode)
{
    return ((mode >> 6) & 7u) << 8 | ((mode >> 3) & 7u) << 4 | (mode & 7u);
}

mode_t modeFromPermissions(COxFileDevice::Permissions permissions)
{
    return mode_t(((permissions >> 8) & 7u) << 6 | ((permissions >> 4) & 7u) << 3 | (permissions & 7u));
}

// Without an open descriptor to ask, anything but a regular file, a
// directory or a block device is taken to be unable to seek (pipes, sockets,
// terminals).
bool isUnseekableType(mode_t mode)
{
    return !S_ISREG(mode) && !S_ISDIR(mode) && !S_ISBLK(mode);
}

// The stdio mode string for an open mode, given whether the file exists;
// empty for a mode no stream can be opened with (reading and truncating).
const char* openModeString(COxIODevice::OpenMode mode, bool exists)
{
    const bool readable = (mode & COxIODevice::ReadOnly) != 0;
    const bool writable = (mode & COxIODevice::WriteOnly) != 0;
    if (mode & COxIODevice::Append)
        return readable ? "ab+" : "ab";
    if (readable && !(mode & COxIODevice::Truncate)) {
        if (!writable)
            return "rb";
        return exists ? "rb+" : "wb+";
    }
    if (writable)
        return readable ? "wb+" : "wb";
    return "";
}

} // namespace

void SOxFileMetaData::fill(const struct stat& st)
{
    flags = (flags & COxFileEngine::LinkType) | COxFileEngine::ExistsFlag | permissionsFromMode(st.st_mode);
    if (S_ISDIR(st.st_mode))
        flags |= COxFileEngine::DirectoryType;
    else if (S_ISREG(st.st_mode))
        flags |= COxFileEngine::FileType;
    size = st.st_size;
    known |= ExistsKnown | SizeKnown;
}

COxGenericFileEnginePrivate::COxGenericFileEnginePrivate()
    : fh(nullptr)
    , openMode(COxIODevice::NotOpen)
    , lastFlushFailed(false)
    , lastTransfer(NoTransfer)
    , sequential(false)
    , maps(nullptr)
    , mapCount(0)
    , mapCapacity(0)
{
}

COxGenericFileEnginePrivate::~COxGenericFileEnginePrivate()
{
    std::free(maps);
}

bool COxGenericFileEnginePrivate::addMapping(const SOxMapping& mapping)
{
    if (mapCount == mapCapacity) {
        const int capacity = mapCapacity ? mapCapacity * 2 : 4;
        void* grown = std::realloc(maps, sizeof(SOxMapping) * size_t(capacity));
        if (!grown)
            return false;
        maps = static_cast<SOxMapping*>(grown);
        mapCapacity = capacity;
    }
    maps[mapCount++] = mapping;
    return true;
}

COxGenericFileEnginePrivate::SOxMapping* COxGenericFileEnginePrivate::findMapping(uchar* address)
{
    for (int i = 0; i < mapCount; ++i) {
        if (maps[i].address == address)
            return &maps[i];
    }
    return nullptr;
}

void COxGenericFileEnginePrivate::removeMapping(SOxMapping* mapping)
{
    *mapping = maps[--mapCount];
}

void COxGenericFileEnginePrivate::adoptStream(FILE* stream, COxIODevice::OpenMode mode)
{
    const int fd = fileno(stream);
    const int fdFlags = fcntl(fd, F_GETFD);
    if (fdFlags != -1)
        fcntl(fd, F_SETFD, fdFlags | FD_CLOEXEC);
    fh = stream;
    openMode = mode;
    lastFlushFailed = false;
    lastTransfer = NoTransfer;
    sequential = lseek(fd, 0, SEEK_CUR) == -1 && errno == ESPIPE;
    metaData.clear();
}

COxGenericFileEngine::COxGenericFileEngine(const COxString& fileName)
    : COxGenericFileEngine(*new COxGenericFileEnginePrivate)
{
    setFileName(fileName);
}

COxGenericFileEngine::COxGenericFileEngine(COxGenericFileEnginePrivate& dd)
    : COxFileEngine(dd)
{
}

COxGenericFileEngine::~COxGenericFileEngine()
{
    COxGenericFileEnginePrivate* d = d_func();
    close();
    for (int i = 0; i < d->mapCount; ++i)
        munmap(d->maps[i].start, d->maps[i].length);
}

COxGenericFileEnginePrivate* COxGenericFileEngine::d_func() const
{
    return static_cast<COxGenericFileEnginePrivate*>(d_ptr);
}

void COxGenericFileEngine::setFileName(const COxString& name)
{
    COxGenericFileEnginePrivate* d = d_func();
    COxFileEngine::setFileName(name);
    d->nativeFileName = name.toLocal8Bit();
    d->metaData.clear();
}

bool COxGenericFileEngine::open(COxIODevice::OpenMode mode)
{
    COxGenericFileEnginePrivate* d = d_func();
    unsetError();
    if (d->fileName.isEmpty()) {
        oxWarning("COxGenericFileEngine::open: No file name specified");
        setError(Dev::OpenError, ENOENT);
        return false;
    }
    if (d->fh)
        close();

    struct stat st;
    const char* modeString = openModeString(mode, ::stat(d->nativeName(), &st) == 0);
    FILE* fh;
    do {
        fh = fopen(d->nativeName(), modeString);
    } while (!fh && errno == EINTR);
    if (!fh) {
        const int e = errno;
        setError(e == EMFILE ? Dev::ResourceError : Dev::OpenError, e);
        return false;
    }

    // Reading a directory through a stream succeeds on some systems and
    // then returns nothing useful.
    if (!(mode & COxIODevice::WriteOnly) && fstat(fileno(fh), &st) == 0 && S_ISDIR(st.st_mode)) {
        setError(Dev::OpenError, COxString("file to open is a directory"));
        fclose(fh);
        return false;
    }
    if (mode & COxIODevice::Append) {
        int r;
        do {
            r = fseek(fh, 0, SEEK_END);
        } while (r != 0 && errno == EINTR);
        if (r != 0) {
            const int e = errno;
            setError(e == EMFILE ? Dev::ResourceError : Dev::OpenError, e);
            fclose(fh);
            return false;
        }
    }
    d->adoptStream(fh, mode);
    return true;
}

bool COxGenericFileEngine::close()
{
    COxGenericFileEnginePrivate* d = d_func();
    if (!d->fh)
        return true;
    unsetError();
    int failure = 0;
    if ((d->openMode & COxIODevice::WriteOnly) && !d->lastFlushFailed && fflush(d->fh) != 0)
        failure = errno;
    if (fclose(d->fh) != 0 && failure == 0)
        failure = errno;
    d->fh = nullptr;
    d->openMode = COxIODevice::NotOpen;
    d->lastTransfer = COxGenericFileEnginePrivate::NoTransfer;
    d->metaData.clear();
    if (failure != 0) {
        setError(Dev::UnspecifiedError, failure);
        return false;
    }
    return true;
}

bool COxGenericFileEngine::flush()
{
    COxGenericFileEnginePrivate* d = d_func();
    unsetError();
    if (!d->fh || !(d->openMode & COxIODevice::WriteOnly))
        return true;
    if (fflush(d->fh) != 0) {
        const int e = errno;
        d->lastFlushFailed = true;
        setError(e == ENOSPC ? Dev::ResourceError : Dev::WriteError, e);
        return false;
    }
    d->lastFlushFailed = false;
    if (d->lastTransfer == COxGenericFileEnginePrivate::WriteTransfer)
        d->lastTransfer = COxGenericFileEnginePrivate::NoTransfer;
    return true;
}

bool COxGenericFileEngine::syncToDisk()
{
    COxGenericFileEnginePrivate* d = d_func();
    if (!flush())
        return false;
    int fd = d->fh ? fileno(d->fh) : -1;
    const bool ownDescriptor = fd == -1;
    if (ownDescriptor) {
        do {
            fd = ::open(d->nativeName(), O_RDONLY | O_CLOEXEC);
        } while (fd == -1 && errno == EINTR);
    }
    int failure = fd == -1 ? errno : 0;
    if (fd != -1) {
        int r;
        do {
            r = fdatasync(fd);
        } while (r != 0 && errno == EINTR);
        if (r != 0)
            failure = errno;
        if (ownDescriptor)
            ::close(fd);
    }
    if (failure != 0) {
        setError(Dev::WriteError, failure);
        return false;
    }
    return true;
}

int64_t COxGenericFileEngine::size()
{
    COxGenericFileEnginePrivate* d = d_func();
    if (d->fh)
        flush();
    unsetError();
    d->metaData.known &= ~uint32_t(SOxFileMetaData::SizeKnown);
    struct stat st;
    const int r = d->fh ? fstat(fileno(d->fh), &st) : ::stat(d->nativeName(), &st);
    if (r != 0) {
        setError(Dev::UnspecifiedError, errno);
        return 0;
    }
    d->metaData.fill(st);
    return d->metaData.size;
}

int64_t COxGenericFileEngine::pos()
{
    COxGenericFileEnginePrivate* d = d_func();
    unsetError();
    if (!d->fh) {
        setError(Dev::UnspecifiedError, EBADF);
        return -1;
    }
    const off_t p = ftello(d->fh);
    if (p == -1) {
        setError(Dev::UnspecifiedError, errno);
        return -1;
    }
    return p;
}

bool COxGenericFileEngine::seek(int64_t pos)
{
    COxGenericFileEnginePrivate* d = d_func();
    unsetError();
    if (!d->fh) {
        setError(Dev::UnspecifiedError, EBADF);
        return false;
    }
    if (pos < 0) {
        setError(Dev::UnspecifiedError, EINVAL);
        return false;
    }
    if (d->lastTransfer == COxGenericFileEnginePrivate::WriteTransfer && !flush())
        return false;
    int r;
    do {
        r = fseeko(d->fh, off_t(pos), SEEK_SET);
    } while (r != 0 && errno == EINTR);
    if (r != 0) {
        setError(Dev::ReadError, errno);
        return false;
    }
    d->lastTransfer = COxGenericFileEnginePrivate::NoTransfer;
    return true;
}

bool COxGenericFileEngine::isSequential()
{
    COxGenericFileEnginePrivate* d = d_func();
    if (d->fh)
        return d->sequential;
    struct stat st;
    return ::stat(d->nativeName(), &st) == 0 && isUnseekableType(st.st_mode);
}

int64_t COxGenericFileEngine::read(char* data, int64_t maxSize)
{
    COxGenericFileEnginePrivate* d = d_func();
    unsetError();
    if (!d->fh) {
        setError(Dev::ReadError, EBADF);
        return -1;
    }
    if (maxSize < 0 || (!data && maxSize > 0)) {
        setError(Dev::ReadError, EINVAL);
        return -1;
    }
    // A stream must be flushed between writing and reading.
    if (d->lastTransfer == COxGenericFileEnginePrivate::WriteTransfer && !flush())
        return -1;
    d->lastTransfer = COxGenericFileEnginePrivate::ReadTransfer;

    clearerr(d->fh);
    int64_t total = 0;
    while (total < maxSize) {
        total += int64_t(fread(data + total, 1, size_t(maxSize - total), d->fh));
        if (total < maxSize) {
            if (ferror(d->fh) && errno == EINTR) {
                clearerr(d->fh);
                continue;
            }
            break; // end of file or a failure
        }
    }
    if (ferror(d->fh)) {
        setError(Dev::ReadError, errno);
        if (total == 0)
            return -1;
    }
    return total;
}

int64_t COxGenericFileEngine::write(const char* data, int64_t size)
{
    COxGenericFileEnginePrivate* d = d_func();
    unsetError();
    if (!d->fh) {
        setError(Dev::WriteError, EBADF);
        return -1;
    }
    if (size < 0 || (!data && size > 0)) {
        setError(Dev::WriteError, EINVAL);
        return -1;
    }
    // Switching from reading to writing needs a positioning call in
    // between; a stream that cannot seek has no read buffer to drop.
    if (d->lastTransfer == COxGenericFileEnginePrivate::ReadTransfer)
        fseeko(d->fh, 0, SEEK_CUR);
    d->lastTransfer = COxGenericFileEnginePrivate::WriteTransfer;
    d->metaData.known &= ~uint32_t(SOxFileMetaData::SizeKnown);

    clearerr(d->fh);
    int64_t total = 0;
    while (total < size) {
        total += int64_t(fwrite(data + total, 1, size_t(size - total), d->fh));
        if (total < size) {
            if (ferror(d->fh) && errno == EINTR) {
                clearerr(d->fh);
                continue;
            }
            break;
        }
    }
    if (total < size) {
        const int e = errno;
        setError(e == ENOSPC ? Dev::ResourceError : Dev::WriteError, e);
        // The count of a failed stream write includes bytes that only
        // reached the stream's buffer, which the failure left unwritten:
        // none of it can be reported as written.
        return -1;
    }
    return total;
}

bool COxGenericFileEngine::remove()
{
    COxGenericFileEnginePrivate* d = d_func();
    unsetError();
    d->metaData.clear();
    if (unlink(d->nativeName()) != 0) {
        setError(Dev::RemoveError, errno);
        return false;
    }
    return true;
}

bool COxGenericFileEngine::rename(const COxString& newName)
{
    COxGenericFileEnginePrivate* d = d_func();
    unsetError();
    const COxByteArray target = newName.toLocal8Bit();
    if (::rename(d->nativeName(), target.constData()) != 0) {
        setError(Dev::RenameError, errno);
        return false;
    }
    setFileName(newName);
    return true;
}

bool COxGenericFileEngine::setSize(int64_t size)
{
    COxGenericFileEnginePrivate* d = d_func();
    unsetError();
    if (size < 0) {
        setError(Dev::ResizeError, EINVAL);
        return false;
    }
    // Buffered data goes out first, so that it cannot land after the cut.
    if (d->fh && !flush())
        return false;
    d->metaData.clear();
    int r;
    do {
        r = d->fh ? ftruncate(fileno(d->fh), off_t(size)) : truncate(d->nativeName(), off_t(size));
    } while (r != 0 && errno == EINTR);
    if (r != 0) {
        setError(Dev::ResizeError, errno);
        return false;
    }
    return true;
}

bool COxGenericFileEngine::setPermissions(COxFileDevice::Permissions permissions)
{
    COxGenericFileEnginePrivate* d = d_func();
    unsetError();
    d->metaData.clear();
    if (chmod(d->nativeName(), modeFromPermissions(permissions)) != 0) {
        setError(Dev::PermissionsError, errno);
        return false;
    }
    return true;
}

COxFileEngine::FileFlags COxGenericFileEngine::fileFlags(FileFlags mask)
{
    COxGenericFileEnginePrivate* d = d_func();
    if (d->fileName.isEmpty())
        return 0;
    SOxFileMetaData& meta = d->metaData;
    const bool refresh = (mask & Refresh) != 0;
    if ((mask & (PermsMask | FileType | DirectoryType | ExistsFlag))
        && (refresh || !(meta.known & SOxFileMetaData::ExistsKnown))) {
        struct stat st;
        if (::stat(d->nativeName(), &st) == 0) {
            meta.fill(st);
        } else {
            oxWarning("stat() failed for '%s'", d->nativeName());
            meta.flags &= LinkType;
            meta.size = 0;
            meta.known |= SOxFileMetaData::ExistsKnown;
            meta.known &= ~uint32_t(SOxFileMetaData::SizeKnown);
        }
    }
    if ((mask & LinkType) && (refresh || !(meta.known & SOxFileMetaData::LinkKnown))) {
        struct stat st;
        if (lstat(d->nativeName(), &st) == 0 && S_ISLNK(st.st_mode))
            meta.flags |= LinkType;
        else
            meta.flags &= ~uint32_t(LinkType);
        meta.known |= SOxFileMetaData::LinkKnown;
    }
    return meta.flags & mask & FlagsMask;
}

bool COxGenericFileEngine::supportsExtension(Extension extension) const
{
    return extension == MapExtension || extension == UnMapExtension;
}

uchar* COxGenericFileEngine::map(int64_t offset, int64_t size)
{
    COxGenericFileEnginePrivate* d = d_func();
    unsetError();
    if (!d->fh) {
        setError(Dev::UnspecifiedError, EBADF);
        return nullptr;
    }
    if (offset < 0 || size <= 0 || size > INT64_MAX - offset || uint64_t(size) > SIZE_MAX / 2) {
        setError(Dev::UnspecifiedError, EINVAL);
        return nullptr;
    }
    // What was written must be in the file before its pages are shared.
    if (!flush())
        return nullptr;
    struct stat st;
    if (fstat(fileno(d->fh), &st) == 0 && offset + size > st.st_size)
        oxWarning("COxGenericFileEngine::map: Mapping a file beyond its size is not portable");

    const int64_t page = getpagesize();
    const int64_t slack = offset % page;
    const size_t length = size_t(size + slack);
    int protection = 0;
    if (d->openMode & COxIODevice::ReadOnly)
        protection |= PROT_READ;
    if (d->openMode & COxIODevice::WriteOnly)
        protection |= PROT_WRITE;
    void* start = mmap(nullptr, length, protection, MAP_SHARED, fileno(d->fh), off_t(offset - slack));
    if (start == MAP_FAILED) {
        const int e = errno;
        switch (e) {
        case EACCES:
        case EPERM:
            setError(Dev::PermissionsError, e);
            break;
        case ENOMEM:
        case EMFILE:
        case ENFILE:
        case EAGAIN:
            setError(Dev::ResourceError, e);
            break;
        default:
            setError(Dev::UnspecifiedError, e);
            break;
        }
        return nullptr;
    }
    uchar* address = static_cast<uchar*>(start) + slack;
    if (!d->addMapping({address, start, length})) {
        munmap(start, length);
        setError(Dev::ResourceError, ENOMEM);
        return nullptr;
    }
    return address;
}

bool COxGenericFileEngine::unmap(uchar* address)
{
    COxGenericFileEnginePrivate* d = d_func();
    unsetError();
    COxGenericFileEnginePrivate::SOxMapping* mapping = d->findMapping(address);
    if (!mapping) {
        setError(Dev::PermissionsError, EACCES);
        return false;
    }
    if (munmap(mapping->start, mapping->length) != 0) {
        setError(Dev::UnspecifiedError, errno);
        return false;
    }
    d->removeMapping(mapping);
    return true;
}
