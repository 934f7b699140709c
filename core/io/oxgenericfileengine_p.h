// Internal: the private record of COxGenericFileEngine.
#ifndef OXGENERICFILEENGINE_P_H
#define OXGENERICFILEENGINE_P_H

#include "core/io/oxfileengine_p.h"
#include "core/io/oxgenericfileengine.h"

#include <cstdio>

struct stat;

// What the last stat told about the file.
struct SOxFileMetaData {
    enum Known : uint32_t {
        LinkKnown = 0x10000,   // whether the name is a symbolic link
        ExistsKnown = 0x20000, // existence, type and permission bits
        SizeKnown = 0x200000
    };

    uint32_t known = 0;
    COxFileEngine::FileFlags flags = 0;
    int64_t size = 0;

    void clear()
    {
        known = 0;
        flags = 0;
        size = 0;
    }
    void fill(const struct stat& st);
};

class COxGenericFileEnginePrivate : public COxFileEnginePrivate {
public:
    enum LastTransfer {
        NoTransfer,
        ReadTransfer,
        WriteTransfer // unflushed data may sit in the stream
    };

    // One live mapping: the address handed out and the pages really mapped.
    struct SOxMapping {
        uchar* address;
        void* start;
        size_t length;
    };

    COxGenericFileEnginePrivate();
    ~COxGenericFileEnginePrivate() override;

    // Takes over a freshly opened stream: marks the descriptor close-on-exec,
    // learns whether it can seek and starts from a clean state.
    void adoptStream(FILE* stream, COxIODevice::OpenMode mode);
    // Native (local 8-bit) form of the file name, zero-terminated.
    const char* nativeName() const { return nativeFileName.constData(); }

    COxByteArray nativeFileName;
    FILE* fh;
    COxIODevice::OpenMode openMode;
    SOxFileMetaData metaData;
    bool lastFlushFailed;
    LastTransfer lastTransfer;
    bool sequential;

    // The table of live mappings: a plain array, so that recording one can
    // fail without throwing. A process holds few mappings at a time.
    bool addMapping(const SOxMapping& mapping);
    SOxMapping* findMapping(uchar* address);
    void removeMapping(SOxMapping* mapping);

    SOxMapping* maps;
    int mapCount;
    int mapCapacity;
};

#endif // OXGENERICFILEENGINE_P_H
