// Internal: the private record of COxFileEngine, the base of the records of
// concrete engines.
#ifndef OXFILEENGINE_P_H
#define OXFILEENGINE_P_H

#include "core/io/oxfileengine.h"

class COxFileEnginePrivate {
public:
    COxFileEnginePrivate();
    virtual ~COxFileEnginePrivate();

    COxString fileName;
    COxFileDevice::FileError error;
    COxString errorString;

private:
    OX_DISABLE_COPY(COxFileEnginePrivate)
};

#endif // OXFILEENGINE_P_H
