#include "core/thread/oxobject.h"
#include "core/thread/oxobject_p.h"

#include "core/thread/oxthread_p.h"

COxObjectPrivate::COxObjectPrivate()
    : threadData(nullptr)
{
}

COxObjectPrivate::~COxObjectPrivate() = default;

COxObject::COxObject()
    : COxObject(*new COxObjectPrivate)
{
}

COxObject::COxObject(COxObjectPrivate& dd)
    : d_ptr(&dd)
{
    d_ptr->threadData = COxThreadData::current();
    if (d_ptr->threadData)
        d_ptr->threadData->ref();
}

COxObject::~COxObject()
{
    if (d_ptr->threadData)
        d_ptr->threadData->deref();
    delete d_ptr;
}

COxString COxObject::objectName() const
{
    return d_ptr->objectName;
}

void COxObject::setObjectName(const COxString& name)
{
    d_ptr->objectName = name;
}
