#include "core/io/oxsavefile.h"
#include "core/io/oxfiledevice_p.h"

#include "core/io/oxfile.h"
#include "core/io/oxtemporaryfileengine.h"
#include "core/log/oxdebug.h"

#include <cerrno>
#include <climits>
#include <new>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Links followed before a chain counts as a loop, as the system counts.
constexpr int kMaxLinks = 40;

// The file that path finally leads to through symbolic links. The chain is
// followed link by link, so a link to a file that does not exist yet leads
// to the name that file will have. False with errno set when a link cannot
// be read or the chain does not end.
bool followLinks(std::string* path)
{
    for (int links = 0;; ++links) {
        struct stat st;
        if (::lstat(path->c_str(), &st) != 0 || !S_ISLNK(st.st_mode))
            return true;
        if (links == kMaxLinks) {
            errno = ELOOP;
            return false;
        }
        char target[PATH_MAX];
        const ssize_t n = ::readlink(path->c_str(), target, sizeof target);
        if (n < 0)
            return false;
        if (size_t(n) == sizeof target) {
            errno = ENAMETOOLONG;
            return false;
        }
        // A relative target is relative to the link's directory.
        std::string next(target, size_t(n));
        const size_t slash = path->rfind('/');
        if (next.compare(0, 1, "/") != 0 && slash != std::string::npos)
            next.insert(0, *path, 0, slash + 1);
        path->swap(next);
    }
}

} // namespace

class COxSaveFilePrivate : public COxFileDevicePrivate {
public:
    COxTemporaryFileEngine* temporary() const { return static_cast<COxTemporaryFileEngine*>(fileEngine); }

    // Fails open() with a write error that later writes keep seeing.
    bool refuse(const char* text)
    {
        writeError = COxFileDevice::WriteError;
        setError(writeError, COxString(text));
        return false;
    }

    // Done with the temporary file: it is closed and, unless it became the
    // target, removed.
    void dropTemporary(bool remove)
    {
        COxTemporaryFileEngine* engine = temporary();
        engine->close();
        if (remove)
            engine->remove();
        delete engine;
        fileEngine = nullptr;
        writeError = COxFileDevice::NoError;
    }

    COxString fileName; // the target; after open() the end of its links
    COxFileDevice::FileError writeError = COxFileDevice::NoError;
};

static inline COxSaveFilePrivate* saveFilePrivate(COxIODevicePrivate* d)
{
    return static_cast<COxSaveFilePrivate*>(d);
}

COxSaveFile::COxSaveFile(const COxString& name)
    : COxFileDevice(*new COxSaveFilePrivate)
{
    saveFilePrivate(d_ptr)->fileName = name;
}

COxSaveFile::~COxSaveFile()
{
    COxSaveFilePrivate* d = saveFilePrivate(d_ptr);
    if (d->fileEngine) {
        COxFileDevice::close();
        d->dropTemporary(true);
    }
}

COxString COxSaveFile::fileName() const
{
    return saveFilePrivate(d_ptr)->fileName;
}

bool COxSaveFile::open(OpenMode mode)
{
    COxSaveFilePrivate* d = saveFilePrivate(d_ptr);
    if (isOpen()) {
        oxWarning("COxSaveFile::open: File (%s) already open", d->fileName.toLocal8Bit().constData());
        return false;
    }
    unsetError();
    d->writeError = NoError;
    if (!(mode & ReadWrite)) {
        oxWarning("COxSaveFile::open: Open mode not specified");
        return false;
    }
    if (mode & (ReadOnly | Append)) {
        oxWarning("COxSaveFile::open: Unsupported open mode 0x%x", mode);
        return false;
    }
    if (d->fileName.isEmpty()) {
        oxWarning("COxSaveFile::open: No file name specified");
        setError(OpenError, OxErrnoText(ENOENT));
        return false;
    }

    const COxByteArray native = d->fileName.toLocal8Bit();
    std::string target(native.constData(), size_t(native.size()));
    struct stat st;
    const bool exists = ::stat(target.c_str(), &st) == 0;
    if (exists && ::access(target.c_str(), W_OK) != 0)
        return d->refuse("Existing file is not writable");
    if (exists && S_ISDIR(st.st_mode))
        return d->refuse("Filename refers to a directory");
    if (!followLinks(&target)) {
        setError(OpenError, OxErrnoText(errno));
        return false;
    }
    d->fileName = COxString::fromLocal8Bit(target.c_str(), int(target.size()));
    const Permissions permissions = exists ? COxFile(d->fileName).permissions() : 0;

    COxString fileTemplate = d->fileName;
    fileTemplate.append(".XXXXXX");
    COxTemporaryFileEngine* engine = new (std::nothrow) COxTemporaryFileEngine(fileTemplate, exists ? 0600 : 0666);
    if (!engine) {
        setError(ResourceError, OxErrnoText(ENOMEM));
        return false;
    }
    d->fileEngine = engine;
    const bool created = engine->open(mode);
    if (!created || (exists && !engine->setPermissions(permissions))) {
        d->copyEngineError();
        d->dropTemporary(created);
        return false;
    }
    COxFileDevice::open(mode);
    return true;
}

void COxSaveFile::close()
{
    oxError("COxSaveFile::close called");
}

bool COxSaveFile::commit()
{
    COxSaveFilePrivate* d = saveFilePrivate(d_ptr);
    COxTemporaryFileEngine* engine = d->temporary();
    if (!engine)
        return false;
    if (!isOpen()) {
        oxWarning("COxSaveFile::commit: File (%s) is not open", d->fileName.toLocal8Bit().constData());
        return false;
    }

    // Closing flushes what the stream still holds. A failure there, or of
    // any earlier write or flush, means the temporary file lacks data.
    unsetError();
    COxFileDevice::close();
    FileError failure = d->writeError != NoError ? d->writeError : engine->writeFailure();
    COxString text = engine->writeFailureString();
    if (failure == NoError && error() != NoError) {
        failure = error();
        text = errorString();
    }
    if (failure == NoError && !engine->syncToDisk()) {
        failure = engine->error();
        text = engine->errorString();
    }
    if (failure != NoError) {
        d->dropTemporary(true);
        setError(failure, text);
        return false;
    }
    if (!engine->rename(d->fileName)) {
        d->copyEngineError();
        d->dropTemporary(true);
        return false;
    }
    d->dropTemporary(false);
    return true;
}

int64_t COxSaveFile::writeData(const char* data, int64_t size)
{
    COxSaveFilePrivate* d = saveFilePrivate(d_ptr);
    COxTemporaryFileEngine* engine = d->temporary();
    if (d->writeError == NoError && engine)
        d->writeError = engine->writeFailure(); // a flush lost data
    if (d->writeError != NoError)
        return -1;
    const int64_t n = COxFileDevice::writeData(data, size);
    if (engine && engine->error() != NoError)
        d->writeError = engine->error();
    return n;
}
