// COxFileEngine: the operating-system side of a file, behind COxFileDevice.
//
// create() is the one place where a file name is given its engine: a name at
// or below the root of a registered resource file is served by
// COxResourceFileEngine, every other by COxGenericFileEngine (plain files
// through C stdio streams).
//
// Each operation that can fail first clears the error; a failure leaves a
// code (COxFileDevice::FileError) and a text, read with error() and
// errorString(). The base implementations of the optional operations fail
// with the operating system's text for ENOTSUP.
#ifndef OXFILEENGINE_H
#define OXFILEENGINE_H

#include "core/io/oxfiledevice.h"

class COxFileEnginePrivate;

class COxFileEngine {
public:
    enum Extension : uint32_t {
        MapExtension = 0,
        UnMapExtension = 1
    };

    // What fileFlags() reports. The permission bits are those of
    // COxFileDevice::Permission.
    enum FileFlag : uint32_t {
        ReadOwnerPerm = COxFileDevice::ReadOwner,
        WriteOwnerPerm = COxFileDevice::WriteOwner,
        ExeOwnerPerm = COxFileDevice::ExeOwner,
        ReadGroupPerm = COxFileDevice::ReadGroup,
        WriteGroupPerm = COxFileDevice::WriteGroup,
        ExeGroupPerm = COxFileDevice::ExeGroup,
        ReadOtherPerm = COxFileDevice::ReadOther,
        WriteOtherPerm = COxFileDevice::WriteOther,
        ExeOtherPerm = COxFileDevice::ExeOther,
        PermsMask = 0x0fff,

        FileType = 0x1000,
        DirectoryType = 0x2000,
        LinkType = 0x4000, // the name itself is a symbolic link
        TypesMask = 0x7000,

        ExistsFlag = 0x10000,
        FlagsMask = PermsMask | TypesMask | ExistsFlag,

        // Asks the file system again instead of answering from the cache.
        Refresh = 0x1000000
    };
    typedef uint32_t FileFlags;

    virtual ~COxFileEngine();

    // A new engine for the name; the caller owns it.
    static COxFileEngine* create(const COxString& fileName);

    virtual bool open(COxIODevice::OpenMode mode) = 0;
    virtual bool close() = 0;
    virtual bool flush();
    virtual bool syncToDisk();
    virtual int64_t size() = 0;
    virtual int64_t pos() = 0;
    virtual bool seek(int64_t pos) = 0;
    virtual bool isSequential();
    virtual int64_t read(char* data, int64_t maxSize) = 0;
    virtual int64_t write(const char* data, int64_t size);
    virtual bool remove();
    virtual bool rename(const COxString& newName);
    virtual bool setSize(int64_t size);
    virtual bool setPermissions(COxFileDevice::Permissions permissions);
    // The flags of mask that hold for the file.
    virtual FileFlags fileFlags(FileFlags mask) = 0;
    virtual COxString fileName() const;
    virtual void setFileName(const COxString& name);
    virtual bool supportsExtension(Extension extension) const;
    virtual uchar* map(int64_t offset, int64_t size);
    virtual bool unmap(uchar* address);

    COxFileDevice::FileError error() const;
    COxString errorString() const;

protected:
    // Takes ownership of dd (a record derived by a concrete engine).
    explicit COxFileEngine(COxFileEnginePrivate& dd);

    void setError(COxFileDevice::FileError error, const COxString& text);
    // The code with the operating system's text for errnum.
    void setError(COxFileDevice::FileError error, int errnum);
    void unsetError();

    COxFileEnginePrivate* d_ptr;

private:
    OX_DISABLE_COPY(COxFileEngine)
};

// The operating system's text for an errno value.
COxString OxErrnoText(int errnum);

#endif // OXFILEENGINE_H
