#include "core/io/oxiodevice.h"
#include "core/io/oxiodevice_p.h"

#include "core/log/oxdebug.h"

#include <cstring>

namespace {

// Limits of the reading calls that return byte arrays.
struct SOxReadLimits {
    static constexpr int64_t MaxArraySize = COxByteArray::MaxSize;
    // Growth step of readAll() and readLine() when the final size is unknown.
    static constexpr int64_t Chunk = 16384;
};

// Drops the carriage returns from data[0, n) by moving the other bytes
// forward; returns how many bytes are left.
int64_t dropCarriageReturns(char* data, int64_t n)
{
    char* out = static_cast<char*>(std::memchr(data, '\r', size_t(n)));
    if (!out)
        return n;
    for (const char* in = out + 1; in < data + n; ++in) {
        if (*in != '\r')
            *out++ = *in;
    }
    return out - data;
}

// Resizes the array and tells whether it now really holds size bytes (the
// array keeps its old size when the block cannot be allocated).
bool resizeTo(COxByteArray& array, int64_t size)
{
    array.resize(int(size));
    return array.size() == size;
}

} // namespace

COxIODevicePrivate::COxIODevicePrivate()
    : openMode(COxIODevice::NotOpen)
    , pos(0)
    , devicePos(0)
    , baseReadLineDataCalled(false)
    , accessMode(AccessUnknown)
    , q_ptr(nullptr)
{
}

COxIODevicePrivate::~COxIODevicePrivate() = default;

COxIODevice::COxIODevice()
    : COxIODevice(*new COxIODevicePrivate)
{
}

COxIODevice::COxIODevice(COxIODevicePrivate& dd)
    : d_ptr(&dd)
{
    d_ptr->q_ptr = this;
}

COxIODevice::~COxIODevice()
{
    delete d_ptr;
}

bool COxIODevice::isSequential() const
{
    return false;
}

bool COxIODevice::open(OpenMode mode)
{
    COxIODevicePrivate* d = d_ptr;
    d->openMode = mode;
    d->accessMode = COxIODevicePrivate::AccessUnknown;
    d->pos = (mode & Append) ? size() : 0;
    d->errorString.clear();
    return true;
}

void COxIODevice::close()
{
    if (!isOpen())
        return;
    d_ptr->openMode = NotOpen;
    d_ptr->pos = 0;
}

COxIODevice::OpenMode COxIODevice::openMode() const
{
    return d_ptr->openMode;
}

void COxIODevice::setOpenMode(OpenMode mode)
{
    d_ptr->openMode = mode;
}

bool COxIODevice::isOpen() const
{
    return d_ptr->openMode != NotOpen;
}

bool COxIODevice::isReadable() const
{
    return (d_ptr->openMode & ReadOnly) != 0;
}

bool COxIODevice::isWritable() const
{
    return (d_ptr->openMode & WriteOnly) != 0;
}

bool COxIODevice::isTextModeEnabled() const
{
    return (d_ptr->openMode & Text) != 0;
}

void COxIODevice::setTextModeEnabled(bool enabled)
{
    if (!isOpen()) {
        oxWarning("The device is not open");
        return;
    }
    if (enabled)
        d_ptr->openMode |= Text;
    else
        d_ptr->openMode &= ~uint32_t(Text);
}

int64_t COxIODevice::pos() const
{
    return d_ptr->pos;
}

int64_t COxIODevice::size() const
{
    return d_ptr->isSequential() ? bytesAvailable() : 0;
}

bool COxIODevice::seek(int64_t pos)
{
    COxIODevicePrivate* d = d_ptr;
    if (d->isSequential()) {
        oxWarning("Cannot call seek on a sequential device");
        return false;
    }
    if (!isOpen()) {
        oxWarning("The device is not open");
        return false;
    }
    if (pos < 0) {
        oxWarning("COxIODevice::seek: Invalid pos: %ld", long(pos));
        return false;
    }
    d->pos = pos;
    d->devicePos = pos;
    return true;
}

bool COxIODevice::atEnd() const
{
    return !isOpen() || bytesAvailable() == 0;
}

bool COxIODevice::reset()
{
    return seek(0);
}

int64_t COxIODevice::bytesAvailable() const
{
    if (d_ptr->isSequential())
        return 0;
    const int64_t left = size() - pos();
    return left > 0 ? left : 0;
}

bool COxIODevice::checkRead(int64_t maxSize, bool peeking) const
{
    if (maxSize < 0) {
        oxWarning("Called with maxSize < 0");
        return false;
    }
    if (!isReadable()) {
        if (isOpen())
            oxWarning("WriteOnly device");
        else
            oxWarning("device not open");
        return false;
    }
    if (peeking && d_ptr->isSequential()) {
        oxWarning("Peeking data for sequential device is not supported!");
        return false;
    }
    return true;
}

int64_t COxIODevice::readInto(char* data, int64_t maxSize, bool peeking)
{
    COxIODevicePrivate* d = d_ptr;
    if (!data && maxSize > 0)
        return -1;
    if (!d->isSequential() && d->pos != d->devicePos && !seek(d->pos))
        return -1;

    const int64_t start = d->pos;
    const bool text = (d->openMode & Text) != 0;
    int64_t total = 0;
    bool failed = false;
    while (total < maxSize) {
        const int64_t asked = maxSize - total;
        const int64_t n = readData(data + total, asked);
        if (n <= 0) {
            failed = n < 0;
            break;
        }
        d->pos += n;
        d->devicePos += n;
        // In text mode the dropped carriage returns leave room that the
        // next round fills.
        total += text ? dropCarriageReturns(data + total, n) : n;
        if (n < asked)
            break;
    }
    if (peeking)
        d->pos = start;
    return (total == 0 && failed) ? -1 : total;
}

int64_t COxIODevice::read(char* data, int64_t maxSize)
{
    COxIODevicePrivate* d = d_ptr;
    // Single bytes (the default line reader) skip the general loop while the
    // device stands where the user reads.
    if (maxSize == 1 && data && isReadable() && (d->isSequential() || d->pos == d->devicePos)) {
        const bool sequential = d->isSequential();
        while (readData(data, 1) == 1) {
            if (!sequential) {
                ++d->pos;
                ++d->devicePos;
            }
            if (*data != '\r' || !(d->openMode & Text))
                return 1;
        }
    }
    if (!checkRead(maxSize, false))
        return -1;
    return readInto(data, maxSize, false);
}

int64_t COxIODevice::peek(char* data, int64_t maxSize)
{
    if (!checkRead(maxSize, true))
        return -1;
    return readInto(data, maxSize, true);
}

int64_t COxIODevice::capToDevice(int64_t maxSize) const
{
    // Nothing past the end of a random-access device can be read, so the
    // array need not be larger than what is left (an unknown size is 0).
    if (!d_ptr->isSequential()) {
        const int64_t total = size();
        if (total > 0) {
            const int64_t left = total - d_ptr->pos;
            if (left < maxSize)
                maxSize = left > 0 ? left : 0;
        }
    }
    return maxSize;
}

COxByteArray COxIODevice::readArray(int64_t maxSize, bool peeking)
{
    if (maxSize < 0) {
        oxWarning("Called with maxSize < 0");
        return COxByteArray();
    }
    if (maxSize > SOxReadLimits::MaxArraySize) {
        oxWarning("maxSize argument exceeds COxByteArray size limit");
        maxSize = SOxReadLimits::MaxArraySize;
    }
    if (!checkRead(0, peeking))
        return COxByteArray();
    maxSize = capToDevice(maxSize);
    COxByteArray result;
    if (!resizeTo(result, maxSize))
        return COxByteArray();
    const int64_t n = peeking ? peek(result.data(), maxSize) : read(result.data(), maxSize);
    if (n < 1)
        return COxByteArray();
    result.resize(int(n));
    return result;
}

COxByteArray COxIODevice::read(int64_t maxSize)
{
    return readArray(maxSize, false);
}

COxByteArray COxIODevice::peek(int64_t maxSize)
{
    return readArray(maxSize, true);
}

COxByteArray COxIODevice::readAll()
{
    COxIODevicePrivate* d = d_ptr;
    COxByteArray result;
    const int64_t total = d->isSequential() ? 0 : size();
    if (total != 0) {
        const int64_t n = total - d->pos;
        if (n > SOxReadLimits::MaxArraySize || n < 1 || !resizeTo(result, n))
            return COxByteArray();
        const int64_t got = read(result.data(), n);
        if (got < 1)
            return COxByteArray();
        result.resize(int(got));
        return result;
    }

    // Unknown size: read in chunks until the device has nothing more.
    int64_t got = 0;
    while (got + SOxReadLimits::Chunk <= SOxReadLimits::MaxArraySize) {
        if (!resizeTo(result, got + SOxReadLimits::Chunk))
            break;
        const int64_t n = read(result.data() + got, SOxReadLimits::Chunk);
        if (n < 1)
            break;
        got += n;
    }
    if (got == 0)
        return COxByteArray();
    result.resize(int(got));
    return result;
}

int64_t COxIODevice::readLine(char* data, int64_t maxSize)
{
    COxIODevicePrivate* d = d_ptr;
    if (maxSize < 2) {
        oxWarning("Called with maxSize < 2");
        return -1;
    }
    if (!data)
        return -1;
    const bool sequential = d->isSequential();
    if (!sequential && d->pos != d->devicePos && !seek(d->pos))
        return -1;

    d->baseReadLineDataCalled = false;
    int64_t n = readLineData(data, maxSize - 1);
    if (n < 0) {
        data[0] = '\0';
        return -1;
    }
    if (!sequential && !d->baseReadLineDataCalled) {
        // The device read the line itself: the position moves, and where
        // the device stands is no longer known.
        d->pos += n;
        d->devicePos = -1;
    }
    data[n] = '\0';
    if ((d->openMode & Text) && n >= 2 && data[n - 2] == '\r' && data[n - 1] == '\n') {
        data[n - 2] = '\n';
        data[n - 1] = '\0';
        --n;
    }
    return n;
}

COxByteArray COxIODevice::readLine(int64_t maxSize)
{
    if (maxSize < 0) {
        oxWarning("Called with maxSize < 0");
        return COxByteArray();
    }
    if (maxSize > SOxReadLimits::MaxArraySize) {
        oxWarning("maxSize argument exceeds COxByteArray size limit");
        maxSize = SOxReadLimits::MaxArraySize;
    }

    // A bounded read is one readLine() into maxSize bytes, which keeps the
    // last of them for its terminating zero: readLine(3) yields at most 2
    // bytes, readLine(1) none (with readLine's warning). An unbounded read
    // grows the array step by step; there each step's zero lands in the
    // array's own terminator slot, so a full step reads Chunk bytes.
    COxByteArray result;
    int64_t total = 0;
    if (maxSize > 0) {
        if (!resizeTo(result, maxSize))
            return COxByteArray();
        total = readLine(result.data(), maxSize);
    } else {
        for (;;) {
            const int64_t room = SOxReadLimits::MaxArraySize - total;
            const int64_t step = room < SOxReadLimits::Chunk ? room : SOxReadLimits::Chunk;
            if (step < 1 || !resizeTo(result, total + step))
                break;
            const int64_t n = readLine(result.data() + total, step + 1);
            if (n < 0)
                break;
            total += n;
            if (n < step || (total > 0 && result.at(int(total - 1)) == '\n'))
                break;
        }
    }
    if (total < 1)
        return COxByteArray();
    result.resize(int(total));
    return result;
}

int64_t COxIODevice::readLineData(char* data, int64_t maxSize)
{
    COxIODevicePrivate* d = d_ptr;
    d->baseReadLineDataCalled = true;
    int64_t stored = 0;
    int64_t last = 0;
    while (stored < maxSize) {
        last = read(data + stored, 1);
        if (last != 1)
            break;
        if (data[stored++] == '\n')
            break;
    }
    if (stored == 0)
        return d->isSequential() ? last : -1;
    return stored;
}

int64_t COxIODevice::write(const char* data, int64_t maxSize)
{
    COxIODevicePrivate* d = d_ptr;
    if (!isWritable()) {
        if (isOpen())
            oxWarning("ReadOnly device");
        else
            oxWarning("device not open");
        return -1;
    }
    if (maxSize < 0) {
        oxWarning("Called with maxSize < 0");
        return -1;
    }
    if (!data && maxSize > 0)
        return -1;
    const bool sequential = d->isSequential();
    if (!sequential && d->pos != d->devicePos && !seek(d->pos))
        return -1;
    const int64_t n = writeData(data, maxSize);
    if (n > 0 && !sequential) {
        d->pos += n;
        d->devicePos += n;
    }
    return n;
}

int64_t COxIODevice::write(const COxByteArray& data)
{
    return write(data.constData(), data.size());
}

COxString COxIODevice::errorString() const
{
    if (d_ptr->errorString.isEmpty())
        return COxString("Unknown error");
    return d_ptr->errorString;
}

void COxIODevice::setErrorString(const COxString& text)
{
    d_ptr->errorString = text;
}
