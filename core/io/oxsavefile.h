// COxSaveFile: writes a file so that readers never see it half-written.
//
// Everything written goes to a new temporary file beside the target (the
// target's name followed by six random letters); only commit() replaces the
// target, by renaming the finished file over it. Until then the target is
// untouched, and a crash, a full disk or a failed write leaves it as it was:
//
//     COxSaveFile file(COxString("/data/grades/look.lut"));
//     if (file.open(COxIODevice::WriteOnly)) {
//         file.write(bytes);
//         if (!file.commit())
//             ... file.errorString() tells why; look.lut is unchanged
//     }
//
// The first failed write is remembered: later writes are refused and
// commit() discards the temporary file. Destroying a save file without
// commit() discards it as well. close() must not be used (it would leave
// the question of the target open); it only complains.
//
// A target that is a symbolic link is followed to the file it finally
// names, which gets the new content; the link stays. An existing target's
// permission bits pass to the new file, a new one is made with 0666 less
// the umask.
#ifndef OXSAVEFILE_H
#define OXSAVEFILE_H

#include "core/io/oxfiledevice.h"

class COxSaveFile : public COxFileDevice {
public:
    explicit COxSaveFile(const COxString& name);
    // Discards the temporary file unless commit() was called.
    ~COxSaveFile() override;

    // Only WriteOnly (with Truncate or Text if wished) is supported. Refuses
    // an existing target that is not writable ("Existing file is not
    // writable") or a directory ("Filename refers to a directory").
    bool open(OpenMode mode) override;
    // Does nothing but complain: use commit(), or let the object go.
    void close() override;

    // The target's name: after open() the file a symbolic link led to.
    COxString fileName() const override;

    // Closes, puts the data on disk and renames the temporary file over the
    // target. True when the target now holds what was written; otherwise
    // the temporary file is gone, the target unchanged, and error() and
    // errorString() tell why.
    bool commit();

protected:
    int64_t writeData(const char* data, int64_t size) override;
};

#endif // OXSAVEFILE_H
