#include "core/io/oxfiledevice.h"
#include "core/io/oxfiledevice_p.h"

#include "core/io/oxfileengine.h"
#include "core/log/oxdebug.h"

COxFileDevicePrivate::COxFileDevicePrivate()
    : fileEngine(nullptr)
    , error(COxFileDevice::NoError)
    , writePending(false)
{
}

COxFileDevicePrivate::~COxFileDevicePrivate()
{
    delete fileEngine;
}

COxFileEngine* COxFileDevicePrivate::engine() const
{
    return fileEngine;
}

void COxFileDevicePrivate::setError(COxFileDevice::FileError code, const COxString& text)
{
    error = code;
    errorString = text;
}

void COxFileDevicePrivate::copyEngineError()
{
    setError(fileEngine->error(), fileEngine->errorString());
}

void COxFileDevicePrivate::followEnginePosition()
{
    if (!fileEngine || openMode == COxIODevice::NotOpen || isSequential())
        return;
    const int64_t p = fileEngine->pos();
    if (p >= 0) {
        pos = p;
        devicePos = p;
    }
}

COxFileDevice::COxFileDevice()
    : COxFileDevice(*new COxFileDevicePrivate)
{
}

COxFileDevice::COxFileDevice(COxFileDevicePrivate& dd)
    : COxIODevice(dd)
{
}

COxFileDevice::~COxFileDevice()
{
    close();
}

static inline COxFileDevicePrivate* fileDevicePrivate(COxIODevicePrivate* d)
{
    return static_cast<COxFileDevicePrivate*>(d);
}

bool COxFileDevice::isSequential() const
{
    COxFileEngine* engine = fileDevicePrivate(d_ptr)->engine();
    return engine && engine->isSequential();
}

void COxFileDevice::close()
{
    COxFileDevicePrivate* d = fileDevicePrivate(d_ptr);
    if (!isOpen())
        return;
    const bool flushed = flush();
    COxIODevice::close();
    d->writePending = false;
    // The first failure is the one worth reporting.
    if (d->fileEngine && !d->fileEngine->close() && flushed)
        d->copyEngineError();
}

int64_t COxFileDevice::pos() const
{
    COxFileDevicePrivate* d = fileDevicePrivate(d_ptr);
    // The stream stands at the logical position unless a peek or a direct
    // line read moved it; then the logical position is the answer.
    if (!isOpen() || !d->fileEngine || d->pos != d->devicePos || d->isSequential())
        return COxIODevice::pos();
    const int64_t p = d->fileEngine->pos();
    if (p < 0)
        d->copyEngineError();
    return p;
}

int64_t COxFileDevice::size() const
{
    COxFileEngine* engine = fileDevicePrivate(d_ptr)->engine();
    return engine ? engine->size() : 0;
}

bool COxFileDevice::seek(int64_t pos)
{
    COxFileDevicePrivate* d = fileDevicePrivate(d_ptr);
    if (!isOpen()) {
        oxWarning("COxFileDevice::seek: IODevice is not open");
        return false;
    }
    // What the base refuses (a negative position, a sequential file) it
    // reports itself, before the stream is touched.
    if (pos < 0 || d->isSequential())
        return COxIODevice::seek(pos);
    if (d->writePending) {
        d->writePending = false;
        if (!flush())
            return false;
    }
    if (d->fileEngine->seek(pos) && COxIODevice::seek(pos)) {
        unsetError();
        return true;
    }
    // An engine without a position to give is a position error here.
    d->copyEngineError();
    if (d->error == UnspecifiedError)
        d->error = PositionError;
    return false;
}

COxString COxFileDevice::fileName() const
{
    return COxString();
}

bool COxFileDevice::resize(int64_t size)
{
    COxFileDevicePrivate* d = fileDevicePrivate(d_ptr);
    unsetError();
    COxFileEngine* engine = d->engine();
    if (!engine)
        return false;
    if (!engine->setSize(size)) {
        d->copyEngineError();
        return false;
    }
    return true;
}

COxFileDevice::Permissions COxFileDevice::permissions() const
{
    COxFileEngine* engine = fileDevicePrivate(d_ptr)->engine();
    if (!engine)
        return 0;
    return engine->fileFlags(COxFileEngine::PermsMask | COxFileEngine::Refresh) & COxFileEngine::PermsMask;
}

bool COxFileDevice::setPermissions(Permissions permissions)
{
    COxFileDevicePrivate* d = fileDevicePrivate(d_ptr);
    unsetError();
    COxFileEngine* engine = d->engine();
    if (!engine)
        return false;
    if (!engine->setPermissions(permissions)) {
        d->copyEngineError();
        return false;
    }
    return true;
}

bool COxFileDevice::flush()
{
    COxFileDevicePrivate* d = fileDevicePrivate(d_ptr);
    if (!d->fileEngine) {
        oxWarning("COxFileDevice::flush: No file engine. Is IODevice open?");
        return false;
    }
    if (!d->fileEngine->flush()) {
        d->copyEngineError();
        d->followEnginePosition();
        return false;
    }
    d->writePending = false;
    return true;
}

COxFileDevice::FileError COxFileDevice::error() const
{
    return fileDevicePrivate(d_ptr)->error;
}

void COxFileDevice::unsetError()
{
    fileDevicePrivate(d_ptr)->setError(NoError, COxString());
}

void COxFileDevice::setError(FileError error, const COxString& text)
{
    fileDevicePrivate(d_ptr)->setError(error, text);
}

uchar* COxFileDevice::map(int64_t offset, int64_t size)
{
    COxFileDevicePrivate* d = fileDevicePrivate(d_ptr);
    unsetError();
    if (!d->fileEngine || !d->fileEngine->supportsExtension(COxFileEngine::MapExtension)) {
        setError(UnspecifiedError, COxString("No file engine available or engine does not support MapExtension"));
        return nullptr;
    }
    uchar* address = d->fileEngine->map(offset, size);
    if (!address)
        d->copyEngineError();
    return address;
}

bool COxFileDevice::unmap(uchar* address)
{
    COxFileDevicePrivate* d = fileDevicePrivate(d_ptr);
    unsetError();
    if (!d->fileEngine || !d->fileEngine->supportsExtension(COxFileEngine::UnMapExtension)) {
        setError(UnspecifiedError, COxString("No file engine available or engine does not support UnMapExtension"));
        return false;
    }
    if (!d->fileEngine->unmap(address)) {
        d->copyEngineError();
        return false;
    }
    return true;
}

int64_t COxFileDevice::readData(char* data, int64_t maxSize)
{
    COxFileDevicePrivate* d = fileDevicePrivate(d_ptr);
    if (!d->fileEngine)
        return -1;
    const int64_t n = d->fileEngine->read(data, maxSize);
    if (d->fileEngine->error() != NoError)
        d->copyEngineError();
    return n;
}

int64_t COxFileDevice::writeData(const char* data, int64_t size)
{
    COxFileDevicePrivate* d = fileDevicePrivate(d_ptr);
    if (!d->fileEngine)
        return -1;
    const int64_t n = d->fileEngine->write(data, size);
    if (n > 0)
        d->writePending = true;
    if (d->fileEngine->error() != NoError) {
        d->copyEngineError();
        // The caller adds nothing for a failed write; the stream tells
        // what really went out.
        if (n < 0)
            d->followEnginePosition();
    }
    return n;
}
