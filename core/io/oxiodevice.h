// COxIODevice: the abstract base of every byte stream of the framework
// (files, save files, resource files).
//
// The device owns the open mode, the logical position, the error string and
// the text-mode translation. The public read, peek, readLine, readAll and
// write calls are turned into calls of two primitives that each concrete
// device supplies, readData() and writeData(). There is no read-ahead or
// write buffer here: every public read reaches readData() directly.
//
// Two positions are tracked for random-access devices: the logical position
// the user sees (pos()) and the position the concrete device stands at. When
// they differ (after a peek, or after a readLineData() that read directly),
// the next transfer first calls the virtual seek().
//
// Misuse (negative sizes, wrong mode, a closed device) emits a warning and
// returns -1, false or an empty array; device failures are reported by the
// concrete device through setErrorString().
#ifndef OXIODEVICE_H
#define OXIODEVICE_H

#include "core/oxglobal.h"
#include "core/text/oxbytearray.h"
#include "core/text/oxstring.h"

class COxIODevicePrivate;

class COxIODevice {
public:
    enum OpenModeFlag : uint32_t {
        NotOpen = 0x0,
        ReadOnly = 0x1,
        WriteOnly = 0x2,
        ReadWrite = ReadOnly | WriteOnly,
        Append = 0x4,   // writes go to the end; open() moves to the end
        Truncate = 0x8, // the file is emptied on open
        Text = 0x10     // carriage returns are dropped on read
    };
    typedef uint32_t OpenMode;

    COxIODevice();
    // The virtual operations below are declared in the order of their
    // table slots; concrete devices keep this order when adding their own.
    virtual ~COxIODevice();

    virtual bool isSequential() const;
    virtual bool open(OpenMode mode);
    virtual void close();
    virtual int64_t pos() const;
    virtual int64_t size() const;
    virtual bool seek(int64_t pos);
    virtual bool atEnd() const;
    virtual bool reset();
    virtual int64_t bytesAvailable() const;

    OpenMode openMode() const;
    bool isOpen() const;
    bool isReadable() const;
    bool isWritable() const;
    bool isTextModeEnabled() const;
    void setTextModeEnabled(bool enabled);

    int64_t read(char* data, int64_t maxSize);
    COxByteArray read(int64_t maxSize);
    COxByteArray readAll();
    // Reads up to maxSize - 1 bytes, stopping after a line feed, and always
    // zero-terminates data.
    int64_t readLine(char* data, int64_t maxSize);
    // At most maxSize bytes; 0 reads the whole line whatever its length.
    COxByteArray readLine(int64_t maxSize = 0);
    int64_t peek(char* data, int64_t maxSize);
    COxByteArray peek(int64_t maxSize);

    int64_t write(const char* data, int64_t maxSize);
    int64_t write(const COxByteArray& data);

    // The last error text, or "Unknown error" when none was set.
    COxString errorString() const;

protected:
    // Takes ownership of dd (a record derived by a concrete device).
    explicit COxIODevice(COxIODevicePrivate& dd);

    // Bytes read into data (at most maxSize), 0 at the end, -1 on failure.
    virtual int64_t readData(char* data, int64_t maxSize) = 0;
    // Reads one line of at most maxSize bytes, line feed included.
    virtual int64_t readLineData(char* data, int64_t maxSize);
    // Bytes written, or -1 on failure.
    virtual int64_t writeData(const char* data, int64_t size) = 0;

    void setOpenMode(OpenMode mode);
    void setErrorString(const COxString& text);

    COxIODevicePrivate* d_ptr;

private:
    OX_DISABLE_COPY(COxIODevice)

    // Emits the warning for a read or peek that cannot be served.
    bool checkRead(int64_t maxSize, bool peeking) const;
    // The transfer loop shared by read() and peek().
    int64_t readInto(char* data, int64_t maxSize, bool peeking);
    // The array forms of read() and peek().
    COxByteArray readArray(int64_t maxSize, bool peeking);
    int64_t capToDevice(int64_t maxSize) const;
};

#endif // OXIODEVICE_H
