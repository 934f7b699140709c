// Internal: the private record of COxObject.
#ifndef OXOBJECT_P_H
#define OXOBJECT_P_H

#include "core/text/oxstring.h"
#include "core/thread/oxplainarray_p.h"

#include <atomic>

class COxObject;
class COxThreadData;

class COxObjectPrivate {
public:
    COxObjectPrivate();
    virtual ~COxObjectPrivate();

    // Delivers the posted events of the given thread, which must be the
    // calling one: those for one receiver (null: all) and of one type (0:
    // all).
    static void sendPostedEvents(COxObject* receiver, uint32_t eventType, COxThreadData* data);

    // Stops every timer of the object and gives their ids back.
    void releaseTimers(COxObject* q);
    // The same before a move to another thread, with a warning when there
    // are timers.
    void stopTimersForMove(COxObject* q);

    // The thread the object belongs to; the object holds one reference.
    // Other threads read it to post events; it changes only under the
    // post-event mutexes of the old and the new thread data.
    std::atomic<COxThreadData*> threadData;
    COxString objectName;
    // Guarded by the post-event mutex of the object's thread data.
    int postedEvents; // posted to the object and not yet delivered
    bool deletePending; // a deferred delete is queued
    // Made by the first startTimer; touched only by the object's thread.
    COxPlainArray<int>* timerIds;

private:
    OX_DISABLE_COPY(COxObjectPrivate)
};

#endif // OXOBJECT_P_H
