#include "core/io/oxfile.h"
#include "core/io/oxfiledevice_p.h"

#include "core/io/oxfileengine.h"
#include "core/io/oxtemporaryfileengine.h"
#include "core/log/oxdebug.h"

#include <sys/stat.h>

class COxFilePrivate : public COxFileDevicePrivate {
public:
    COxFileEngine* engine() const override
    {
        if (!fileEngine)
            fileEngine = COxFileEngine::create(fileName);
        return fileEngine;
    }

    COxString fileName;
};

namespace {

// Size of the blocks of the copying rename.
constexpr int kCopyBlockSize = 4096;

// Whether the two names lead to one and the same file.
bool sameFile(const COxString& a, const COxString& b)
{
    struct stat sa;
    struct stat sb;
    return ::stat(a.toLocal8Bit().constData(), &sa) == 0 && ::stat(b.toLocal8Bit().constData(), &sb) == 0
        && sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
}

} // namespace

static inline COxFilePrivate* filePrivate(COxIODevicePrivate* d)
{
    return static_cast<COxFilePrivate*>(d);
}

COxFile::COxFile()
    : COxFileDevice(*new COxFilePrivate)
{
}

COxFile::COxFile(const COxString& name)
    : COxFile()
{
    filePrivate(d_ptr)->fileName = name;
}

COxFile::~COxFile() = default;

COxString COxFile::fileName() const
{
    return filePrivate(d_ptr)->fileName;
}

void COxFile::setFileName(const COxString& name)
{
    COxFilePrivate* d = filePrivate(d_ptr);
    if (isOpen()) {
        oxWarning("COxFile::setFileName: File (%s) is already opened", d->fileName.toLocal8Bit().constData());
        close();
    }
    delete d->fileEngine;
    d->fileEngine = nullptr;
    d->fileName = name;
}

bool COxFile::open(OpenMode mode)
{
    COxFilePrivate* d = filePrivate(d_ptr);
    if (isOpen()) {
        oxWarning("COxFile::open: File (%s) already open", d->fileName.toLocal8Bit().constData());
        return false;
    }
    unsetError();
    if (!(mode & (ReadWrite | Append))) {
        oxWarning("COxIODevice::open: File access not specified");
        return false;
    }
    if (mode & Append)
        mode |= WriteOnly;
    COxFileEngine* engine = d->engine();
    if (!engine->open(mode)) {
        d->copyEngineError();
        return false;
    }
    COxFileDevice::open(mode);
    if (mode & Append)
        seek(size());
    return true;
}

bool COxFile::exists() const
{
    COxFileEngine* engine = filePrivate(d_ptr)->engine();
    return (engine->fileFlags(COxFileEngine::ExistsFlag | COxFileEngine::Refresh) & COxFileEngine::ExistsFlag) != 0;
}

bool COxFile::exists(const COxString& name)
{
    return COxFile(name).exists();
}

bool COxFile::remove()
{
    COxFilePrivate* d = filePrivate(d_ptr);
    if (d->fileName.isEmpty()) {
        oxWarning("COxFile::remove: Empty or null file name");
        return false;
    }
    unsetError();
    close();
    if (error() != NoError)
        return false;
    if (!d->engine()->remove()) {
        d->copyEngineError();
        return false;
    }
    return true;
}

bool COxFile::remove(const COxString& name)
{
    return COxFile(name).remove();
}

bool COxFile::rename(const COxString& newName)
{
    COxFilePrivate* d = filePrivate(d_ptr);
    if (d->fileName.isEmpty()) {
        oxWarning("COxFile::rename: Empty or null file name");
        return false;
    }
    unsetError();
    if (d->fileName == newName) {
        setError(RenameError, COxString("Destination file is the same file."));
        return false;
    }
    if (!exists()) {
        setError(RenameError, COxString("Source file does not exist."));
        return false;
    }
    if (COxFile::exists(newName)) {
        if (d->fileName.compare(newName, Ox::CaseInsensitive) == 0 && sameFile(d->fileName, newName))
            return renameCaseOnly(newName);
        setError(RenameError, COxString("Destination file exists"));
        return false;
    }

    close();
    if (d->engine()->rename(newName)) {
        unsetError();
        d->fileName = newName;
        return true;
    }
    if (isSequential()) {
        setError(RenameError, COxString("Will not rename sequential file using block copy"));
        return false;
    }
    return renameByCopy(newName);
}

// Changing only the letter case of a name on a file system that ignores case
// has to go through a free intermediate name: the old and the new name are
// the same entry there.
bool COxFile::renameCaseOnly(const COxString& newName)
{
    COxFilePrivate* d = filePrivate(d_ptr);
    close();
    // The intermediate name is reserved by creating it; the rename then
    // replaces the empty file.
    COxString fileTemplate = newName;
    fileTemplate.append(".XXXXXX");
    COxTemporaryFileEngine reserved(fileTemplate);
    if (!reserved.open(WriteOnly)) {
        setError(RenameError, COxString("Error while renaming."));
        return false;
    }
    reserved.close();
    const COxString intermediate = reserved.fileName();
    COxFileEngine* engine = d->engine();
    if (!engine->rename(intermediate)) {
        reserved.remove();
        setError(RenameError, COxString("Error while renaming."));
        return false;
    }
    if (!engine->rename(newName)) {
        if (!engine->rename(d->fileName)) {
            // The file is left under the intermediate name; so is this object.
            setError(RenameError, COxString("Unable to restore from %1: %2").arg(intermediate).arg(engine->errorString()));
            d->fileName = intermediate;
            return false;
        }
        setError(RenameError, COxString("Error while renaming."));
        return false;
    }
    // Where both names are links of one file (a file system that tells case
    // apart), renaming one onto the other does nothing: the intermediate
    // name stays and goes now.
    if (sameFile(intermediate, newName))
        reserved.remove();
    d->fileName = newName;
    return true;
}

bool COxFile::renameByCopy(const COxString& newName)
{
    const Permissions permissions = this->permissions();
    if (!open(ReadOnly)) {
        setError(RenameError, errorString());
        return false;
    }
    COxFile out(newName);
    if (!out.open(WriteOnly | Truncate)) {
        setError(RenameError, out.errorString());
        close();
        return false;
    }

    bool copied = true;
    char block[kCopyBlockSize];
    int64_t n;
    while ((n = read(block, kCopyBlockSize)) > 0) {
        if (out.write(block, n) != n) {
            setError(RenameError, out.errorString());
            copied = false;
            break;
        }
    }
    if (copied && n < 0) {
        setError(RenameError, errorString());
        copied = false;
    }
    // Data still buffered for the destination must reach it before the
    // source goes away.
    if (copied && !out.flush()) {
        setError(RenameError, out.errorString());
        copied = false;
    }
    if (copied && !remove()) {
        setError(RenameError, COxString("Cannot remove source file"));
        copied = false;
    }
    if (!copied) {
        out.remove();
        close();
        return false;
    }

    out.close();
    setFileName(newName);
    if (permissions != 0)
        setPermissions(permissions);
    unsetError();
    close();
    return true;
}
