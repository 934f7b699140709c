// COxFileDevice: the device behind every file. It forwards each transfer to
// a file engine (core/io/oxfileengine.h) and keeps the file error: a code and
// a text copied from the engine when an operation fails.
#ifndef OXFILEDEVICE_H
#define OXFILEDEVICE_H

#include "core/io/oxiodevice.h"

class COxFileEngine;
class COxFileDevicePrivate;

class COxFileDevice : public COxIODevice {
public:
    // File error codes; 3, 6 and 7 are not used.
    enum FileError : uint32_t {
        NoError = 0,
        ReadError = 1,        // a read failed; also a failed seek of the engine
        WriteError = 2,       // writing, flushing or syncing failed
        ResourceError = 4,    // too many open files, or no space left
        OpenError = 5,        // any other open failure; the path is a directory
        UnspecifiedError = 8, // closing, stat, position or unmapping failed
        RemoveError = 9,
        RenameError = 10,
        PositionError = 11,   // seek failed where the engine gave code 8
        ResizeError = 12,
        PermissionsError = 13 // chmod failed; unmapping an unmapped address
    };

    // Permission bits, one hexadecimal digit per class of user: read 4,
    // write 2, execute 1.
    enum Permission : uint32_t {
        ReadOwner = 0x400,
        WriteOwner = 0x200,
        ExeOwner = 0x100,
        ReadGroup = 0x40,
        WriteGroup = 0x20,
        ExeGroup = 0x10,
        ReadOther = 0x4,
        WriteOther = 0x2,
        ExeOther = 0x1
    };
    typedef uint32_t Permissions;

    COxFileDevice();
    ~COxFileDevice() override;

    bool isSequential() const override;
    void close() override;
    int64_t pos() const override;
    int64_t size() const override;
    bool seek(int64_t pos) override;

    // Operations files add, in the order of their table slots.
    virtual COxString fileName() const;
    virtual bool resize(int64_t size);
    virtual Permissions permissions() const;
    virtual bool setPermissions(Permissions permissions);

    // Hands buffered data to the operating system.
    bool flush();

    FileError error() const;
    void unsetError();

    // Maps size bytes of the open file from offset; null on failure. The
    // mapping outlives close() and stays valid until unmap(), a new file
    // name or the end of the file object.
    uchar* map(int64_t offset, int64_t size);
    bool unmap(uchar* address);

protected:
    // Takes ownership of dd.
    explicit COxFileDevice(COxFileDevicePrivate& dd);

    int64_t readData(char* data, int64_t maxSize) override;
    int64_t writeData(const char* data, int64_t size) override;

    void setError(FileError error, const COxString& text);
};

#endif // OXFILEDEVICE_H
