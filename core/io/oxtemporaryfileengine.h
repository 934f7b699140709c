// COxTemporaryFileEngine: makes a new file under a unique name and opens it
// exclusively; afterwards it is a generic engine on that file.
//
// The name comes from a template. Its placeholder is the last "XXXXXX" in
// the template's file name (a template without one gets ".XXXXXX"
// appended); the six characters are replaced by letters drawn from a
// minimal-standard generator that is seeded anew for every open(), from the
// process id, a per-process call counter and the clock. The file is created
// with O_EXCL, so two creators never share one. When the name is taken, the
// letters advance like a counter until a free name turns up; creation fails
// with EEXIST only when the counter runs off its end at "ZZZZZZ".
//
//     COxTemporaryFileEngine engine(COxString("/data/grades/look.lut.XXXXXX"));
//     if (engine.open(COxIODevice::WriteOnly))
//         ... engine.fileName() is "/data/grades/look.lut.kQzEwa" or the like
//
// Each open() makes another file; the template stays.
#ifndef OXTEMPORARYFILEENGINE_H
#define OXTEMPORARYFILEENGINE_H

#include "core/io/oxgenericfileengine.h"

class COxTemporaryFileEnginePrivate;

class COxTemporaryFileEngine : public COxGenericFileEngine {
public:
    // An empty template stands for defaultTemplate(). creationMode holds the
    // permission bits of open(2) (0600, 0666, ...); the umask applies.
    explicit COxTemporaryFileEngine(const COxString& fileTemplate = COxString(), uint32_t creationMode = 0600);
    ~COxTemporaryFileEngine() override;

    // Creates the file and opens it with the mode (which may ask for reading
    // too). Failures: OpenError with the system's text, "File exists" when
    // every name of the placeholder is taken.
    bool open(COxIODevice::OpenMode mode) override;
    int64_t write(const char* data, int64_t size) override;
    bool flush() override;

    COxString fileTemplate() const;

    // Fixes the seed of the letters for every later open(), so that the
    // names are known in advance; 0 goes back to a fresh seed per open().
    void setSeed(uint32_t seed);

    // The code of the first write or flush that failed since open(), or
    // NoError. Bytes a failed flush dropped never reach the file, whatever
    // later writes do, so such a file is incomplete for good.
    COxFileDevice::FileError writeFailure() const;
    COxString writeFailureString() const;

    // The temporary directory (COxDir::tempPath()) + "/ox_temp." + the
    // process id + ".XXXXXX". The process id is turned into text once per
    // process.
    static COxString defaultTemplate();

private:
    COxTemporaryFileEnginePrivate* d_func() const;
};

#endif // OXTEMPORARYFILEENGINE_H
