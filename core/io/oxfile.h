// COxFile: a file on disk by name. Adds the name, open, exists, remove and
// rename to the file device.
//
//     COxFile file(name);
//     if (file.open(COxIODevice::ReadOnly)) {
//         COxByteArray header = file.read(16);
//         ...
//     }
//
// The engine for the name is made when it is first needed and dropped when
// the name changes.
#ifndef OXFILE_H
#define OXFILE_H

#include "core/io/oxfiledevice.h"

class COxFile : public COxFileDevice {
public:
    COxFile();
    explicit COxFile(const COxString& name);
    ~COxFile() override;

    COxString fileName() const override;
    // Closes an open file first (with a warning).
    void setFileName(const COxString& name);

    // Append implies WriteOnly. A file opened for writing without ReadOnly
    // or Append is truncated.
    bool open(OpenMode mode) override;

    bool exists() const;
    static bool exists(const COxString& name);

    // Closes the file and deletes it.
    bool remove();
    static bool remove(const COxString& name);

    // Gives the file a new name that does not exist yet, or that differs
    // only in letter case and names this same file (which goes through an
    // intermediate name). When the system cannot rename (another file
    // system), the content is copied in blocks and the source removed. The
    // file is closed afterwards.
    bool rename(const COxString& newName);

private:
    bool renameCaseOnly(const COxString& newName);
    bool renameByCopy(const COxString& newName);
};

#endif // OXFILE_H
