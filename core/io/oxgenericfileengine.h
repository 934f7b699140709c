// COxGenericFileEngine: plain files through C stdio streams.
//
// Transfers are retried when a signal interrupts them, descriptors are
// closed on exec, and the engine caches the last stat of its file (type,
// existence, permission bits and size) until a change of its own or a
// Refresh request. map() hands out page-aligned mappings of the open file;
// the engine remembers them and releases what is left when it is destroyed.
#ifndef OXGENERICFILEENGINE_H
#define OXGENERICFILEENGINE_H

#include "core/io/oxfileengine.h"

class COxGenericFileEnginePrivate;

class COxGenericFileEngine : public COxFileEngine {
public:
    explicit COxGenericFileEngine(const COxString& fileName);
    ~COxGenericFileEngine() override;

    bool open(COxIODevice::OpenMode mode) override;
    bool close() override;
    bool flush() override;
    // Flushes and asks the system to put the data on disk; works on the
    // name when the file is not open.
    bool syncToDisk() override;
    int64_t size() override;
    int64_t pos() override;
    bool seek(int64_t pos) override;
    bool isSequential() override;
    int64_t read(char* data, int64_t maxSize) override;
    int64_t write(const char* data, int64_t size) override;
    bool remove() override;
    bool rename(const COxString& newName) override;
    bool setSize(int64_t size) override;
    bool setPermissions(COxFileDevice::Permissions permissions) override;
    FileFlags fileFlags(FileFlags mask) override;
    void setFileName(const COxString& name) override;
    bool supportsExtension(Extension extension) const override;
    uchar* map(int64_t offset, int64_t size) override;
    bool unmap(uchar* address) override;

protected:
    // Takes ownership of dd (for engines that create their files otherwise).
    explicit COxGenericFileEngine(COxGenericFileEnginePrivate& dd);

private:
    COxGenericFileEnginePrivate* d_func() const;
};

#endif // OXGENERICFILEENGINE_H
