// Internal: the private record of COxObject.
#ifndef OXOBJECT_P_H
#define OXOBJECT_P_H

#include "core/text/oxstring.h"

class COxThreadData;

class COxObjectPrivate {
public:
    COxObjectPrivate();
    virtual ~COxObjectPrivate();

    // The thread the object belongs to; the object holds one reference.
    COxThreadData* threadData;
    COxString objectName;

private:
    OX_DISABLE_COPY(COxObjectPrivate)
};

#endif // OXOBJECT_P_H
