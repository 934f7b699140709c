// Internal: the private record of COxFileDevice, the base of the records of
// files and save files.
#ifndef OXFILEDEVICE_P_H
#define OXFILEDEVICE_P_H

#include "core/io/oxfiledevice.h"
#include "core/io/oxiodevice_p.h"

class COxFileDevicePrivate : public COxIODevicePrivate {
public:
    COxFileDevicePrivate();
    ~COxFileDevicePrivate() override;

    // The engine for operations that may run on a closed device. A device
    // that knows its file name makes the engine on first use.
    virtual COxFileEngine* engine() const;

    void setError(COxFileDevice::FileError code, const COxString& text);
    // Takes the engine's error code and text.
    void copyEngineError();
    // After a failed transfer the stream stands wherever the bytes that
    // really went out left it; both positions follow it.
    void followEnginePosition();

    mutable COxFileEngine* fileEngine; // owned
    COxFileDevice::FileError error;
    bool writePending; // data was written since the last flush
};

#endif // OXFILEDEVICE_P_H
