// COxObject: the base of the framework's objects. Every object belongs to one
// thread, at first the one that created it; it receives events, sent at once
// with notify() or posted to its thread with postEvent() and delivered there
// by the thread's event loop, and it may run timers on that thread.
//
//     class Counter : public COxObject {
//     protected:
//         bool event(COxEvent* e) override
//         {
//             if (e->type() == COxEvent::Timer)
//                 ++ticks;
//             return COxObject::event(e);
//         }
//         int ticks = 0;
//     };
//
//     counter->moveToThread(&worker);               // from the object's own thread
//     COxObject::postEvent(counter, new COxEvent(COxEvent::User)); // from any thread
//     counter->deleteLater();                       // deleted by worker's loop
//
// Timers, moves and the delivery of posted events belong to the object's
// thread; called from elsewhere they are refused with a warning.
//
// Subclasses with state of their own derive their private record from
// COxObjectPrivate and hand it to the protected constructor, so that an
// object is always one allocation for the base and one for the record.
#ifndef OXOBJECT_H
#define OXOBJECT_H

#include "core/oxglobal.h"
#include "core/text/oxstring.h"
#include "core/thread/oxevent.h"

class COxObjectPrivate;
class COxThread;

class COxObject {
public:
    COxObject();
    // Takes the object's undelivered posted events with it and stops its
    // timers.
    virtual ~COxObject();

    COxString objectName() const;
    void setObjectName(const COxString& name);

    // The thread the object belongs to; null after a move to no thread.
    COxThread* thread() const;
    // Hands the object (and its undelivered posted events) to the target
    // thread, null for none. Called from the object's thread; its timers are
    // stopped, with a warning.
    void moveToThread(COxThread* target);

    // Handles an event: a deferred delete deletes the object, timer events
    // and user events are accepted (true), other types are not (false).
    virtual bool event(COxEvent* event);

    // Delivers the event to the receiver now, on the calling thread.
    static bool notify(COxObject* receiver, COxEvent* event);
    // Any thread: queues the event, which it takes ownership of, for the
    // receiver's thread and wakes that thread's loop.
    static void postEvent(COxObject* receiver, COxEvent* event);
    // Delivers the calling thread's posted events now: those for one
    // receiver (null: all) and of one type (0: all).
    static void sendPostedEvents(COxObject* receiver = nullptr, uint32_t eventType = 0);
    // Posts a deferred delete: the object is deleted when control returns
    // to an event loop of its thread. Asking again changes nothing.
    void deleteLater();

    // Starts a timer that sends the object a COxTimerEvent every interval
    // milliseconds while its thread runs its event loop. Returns the timer
    // id, or 0 when refused.
    int startTimer(int interval);
    void killTimer(int id);

protected:
    // Takes ownership of dd.
    explicit COxObject(COxObjectPrivate& dd);

    COxObjectPrivate* d_ptr;

private:
    OX_DISABLE_COPY(COxObject)
    friend class COxObjectPrivate;
};

#endif // OXOBJECT_H
