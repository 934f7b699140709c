// COxResourceFileEngine: files inside registered resource trees (see
// COxDir::registerResource). The engine factory gives it every name at or
// below a mount root; a name the trees do not hold neither exists nor opens.
//
// Data is served read-only straight from the image. A compressed block is
// expanded once, on first need, and the engine keeps the expanded bytes.
// Directories exist but do not open.
#ifndef OXRESOURCEFILEENGINE_H
#define OXRESOURCEFILEENGINE_H

#include "core/io/oxfileengine.h"

class COxResourceFileEnginePrivate;

class COxResourceFileEngine : public COxFileEngine {
public:
    explicit COxResourceFileEngine(const COxString& fileName);
    ~COxResourceFileEngine() override;

    // Whether a mounted root covers the name, which then belongs to this
    // engine.
    static bool handles(const COxString& fileName);

    bool open(COxIODevice::OpenMode mode) override;
    bool close() override;
    int64_t size() override;
    int64_t pos() override;
    bool seek(int64_t pos) override;
    int64_t read(char* data, int64_t maxSize) override;
    FileFlags fileFlags(FileFlags mask) override;
    void setFileName(const COxString& name) override;

private:
    COxResourceFileEnginePrivate* d_func() const;
};

#endif // OXRESOURCEFILEENGINE_H
