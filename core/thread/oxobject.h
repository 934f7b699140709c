// COxObject: the base of the framework's objects. Every object belongs to the
// thread that created it (it holds a reference on that thread's data) and
// carries a name that diagnostics show.
//
// Subclasses with state of their own derive their private record from
// COxObjectPrivate and hand it to the protected constructor, so that an
// object is always one allocation for the base and one for the record.
#ifndef OXOBJECT_H
#define OXOBJECT_H

#include "core/oxglobal.h"
#include "core/text/oxstring.h"

class COxObjectPrivate;

class COxObject {
public:
    COxObject();
    virtual ~COxObject();

    COxString objectName() const;
    void setObjectName(const COxString& name);

protected:
    // Takes ownership of dd.
    explicit COxObject(COxObjectPrivate& dd);

    COxObjectPrivate* d_ptr;

private:
    OX_DISABLE_COPY(COxObject)
};

#endif // OXOBJECT_H
