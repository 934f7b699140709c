// Internal: the private record of COxIODevice. Concrete devices derive their
// own records from it and hand them to the protected constructor.
#ifndef OXIODEVICE_P_H
#define OXIODEVICE_P_H

#include "core/io/oxiodevice.h"

class COxIODevicePrivate {
public:
    // Values of the sequential cache.
    enum AccessMode : uint32_t {
        AccessUnknown = 0,
        AccessSequential = 1,
        AccessRandom = 2
    };

    COxIODevicePrivate();
    virtual ~COxIODevicePrivate();

    // Asks the device once per open whether it is sequential.
    bool isSequential() const
    {
        if (accessMode == AccessUnknown)
            accessMode = q_ptr->isSequential() ? AccessSequential : AccessRandom;
        return accessMode == AccessSequential;
    }

    COxIODevice::OpenMode openMode;
    COxString errorString;
    int64_t pos;       // the position the user sees
    int64_t devicePos; // where the concrete device stands; -1 when unknown
    bool baseReadLineDataCalled;
    mutable uint32_t accessMode;
    COxIODevice* q_ptr;

private:
    OX_DISABLE_COPY(COxIODevicePrivate)
};

#endif // OXIODEVICE_P_H
