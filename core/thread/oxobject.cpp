#include "core/thread/oxobject.h"
#include "core/thread/oxobject_p.h"

#include "core/log/oxdebug.h"
#include "core/thread/oxeventdispatcher_p.h"
#include "core/thread/oxthread_p.h"

#include <cstdint>
#include <functional>
#include <new>
#include <pthread.h>

namespace {

// An object's thread pointer is read together with a reference on the data
// under one of a few process-wide locks, picked by the object's address, and
// moveToThread changes it under the same lock. Without that a poster could
// read the pointer, the object could move away and its old thread end, and
// the poster would lock the queue of freed data.
pthread_mutex_t* threadPointerLock(const COxObjectPrivate* d)
{
    struct Stripe {
        pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    };
    static Stripe stripes[16];
    return &stripes[(reinterpret_cast<uintptr_t>(d) >> 6) & 15].mutex;
}

COxThreadData* refObjectThread(const COxObjectPrivate* d)
{
    pthread_mutex_t* lock = threadPointerLock(d);
    pthread_mutex_lock(lock);
    COxThreadData* data = d->threadData.load(std::memory_order_acquire);
    if (data)
        data->ref();
    pthread_mutex_unlock(lock);
    return data;
}

// Locks the post-event mutex of the object's thread data and returns the
// data, referenced until unlockObjectThread; null, with nothing locked, when
// the object belongs to no thread. The object may be moving meanwhile, so
// the pointer is read again under the lock until it holds still.
COxThreadData* lockObjectThread(const COxObjectPrivate* d)
{
    COxThreadData* data = refObjectThread(d);
    while (data) {
        pthread_mutex_lock(&data->postEventMutex);
        if (d->threadData.load(std::memory_order_acquire) == data)
            return data;
        pthread_mutex_unlock(&data->postEventMutex);
        data->deref();
        data = refObjectThread(d);
    }
    return nullptr;
}

void unlockObjectThread(COxThreadData* data)
{
    pthread_mutex_unlock(&data->postEventMutex);
    data->deref();
}

// After entries were taken: moves the start past the taken ones at the
// front, and when no delivery is walking the list (compact), drops every
// taken entry.
void tidy(SOxPostEventList& list, bool compact)
{
    while (list.start < list.entries.size() && !list.entries[list.start].event)
        ++list.start;
    if (compact) {
        list.entries.removeIf([](const SOxPostEvent& entry) { return !entry.event; });
        list.start = 0;
    }
}

// Takes every event still queued for the receiver out of the list, in
// order, and hands each to take(entry). The list's mutex is held.
template <typename Take>
void takePostedEvents(SOxPostEventList& list, const COxObject* receiver, Take take)
{
    for (int i = list.start; i < list.entries.size(); ++i) {
        SOxPostEvent entry = list.entries[i];
        if (entry.receiver != receiver || !entry.event)
            continue;
        list.entries[i].event = nullptr;
        take(entry);
    }
    tidy(list, list.recursion == 0);
}

// Events taken out of a queue are deleted after its mutex is released, as
// their destructors may post. Should the list itself run out of memory, an
// event is deleted at once instead.
class COxEventTrash {
public:
    ~COxEventTrash()
    {
        for (int i = 0; i < m_events.size(); ++i)
            delete m_events[i];
    }
    void add(COxEvent* event)
    {
        if (!m_events.append(event))
            delete event;
    }

private:
    COxPlainArray<COxEvent*> m_events;
};

// A deferred delete waits until control is back at a loop level above the
// one it was posted at, or posted outside any loop, until a loop runs; a
// call that asks for deferred deletes takes those of its own level too.
bool deferredDeleteDue(int postedLevel, int currentLevel, uint32_t eventType)
{
    return postedLevel > currentLevel || (postedLevel == 0 && currentLevel > 0)
        || (eventType == COxEvent::DeferredDelete && postedLevel == currentLevel);
}

} // namespace

// ---- COxObjectPrivate ----

COxObjectPrivate::COxObjectPrivate()
    : threadData(nullptr)
    , postedEvents(0)
    , deletePending(false)
    , timerIds(nullptr)
{
}

COxObjectPrivate::~COxObjectPrivate()
{
    delete timerIds;
}

void COxObjectPrivate::releaseTimers(COxObject* q)
{
    if (!timerIds || timerIds->isEmpty())
        return;
    COxThreadData* data = threadData.load(std::memory_order_acquire);
    COxEventDispatcher* dispatcher = data ? data->existingEventDispatcher() : nullptr;
    if (dispatcher)
        dispatcher->unregisterTimers(q);
    while (!timerIds->isEmpty())
        OxReleaseTimerId(timerIds->takeLast());
}

void COxObjectPrivate::stopTimersForMove(COxObject* q)
{
    if (!timerIds || timerIds->isEmpty())
        return;
    oxWarning("Stop all object's timers while moving object to another thread!");
    releaseTimers(q);
}

void COxObjectPrivate::sendPostedEvents(COxObject* receiver, uint32_t eventType, COxThreadData* data)
{
    if (receiver && receiver->d_ptr->threadData.load(std::memory_order_acquire) != data) {
        oxWarning("COxObject::sendPostedEvents: Cannot send posted events for objects in another thread");
        return;
    }
    if (!data)
        return;
    SOxPostEventList& list = data->postEvents;
    pthread_mutex_lock(&data->postEventMutex);
    ++list.recursion;
    if (!receiver || receiver->d_ptr->postedEvents > 0) {
        // Events posted from here on wait for the next call. Entries are
        // only appended or taken while a delivery walks the list, so the
        // indices stay valid across the unlocked deliveries.
        const int end = list.entries.size();
        for (int i = list.start; i < end; ++i) {
            const SOxPostEvent entry = list.entries[i];
            if (!entry.event || (receiver && entry.receiver != receiver)
                || (eventType && entry.event->type() != eventType))
                continue;
            if (entry.event->type() == COxEvent::DeferredDelete
                && !deferredDeleteDue(entry.event->m_loopLevel, data->loopLevel, eventType))
                continue;
            list.entries[i].event = nullptr;
            --entry.receiver->d_ptr->postedEvents;
            tidy(list, false);
            pthread_mutex_unlock(&data->postEventMutex);

            ++data->loopLevel;
            COxObject::notify(entry.receiver, entry.event);
            --data->loopLevel;
            delete entry.event;

            pthread_mutex_lock(&data->postEventMutex);
        }
    }
    --list.recursion;
    tidy(list, list.recursion == 0 && !receiver && !eventType);
    pthread_mutex_unlock(&data->postEventMutex);
}

// ---- COxObject ----

COxObject::COxObject()
    : COxObject(*new COxObjectPrivate)
{
}

COxObject::COxObject(COxObjectPrivate& dd)
    : d_ptr(&dd)
{
    COxThreadData* data = COxThreadData::current();
    if (data)
        data->ref();
    d_ptr->threadData.store(data, std::memory_order_release);
}

COxObject::~COxObject()
{
    COxObjectPrivate* d = d_ptr;
    COxThreadData* data = d->threadData.load(std::memory_order_acquire);
    if (d->timerIds && !d->timerIds->isEmpty()) {
        if (COxThreadData::currentIfAny() != data)
            oxWarning("COxObject::~COxObject: Timers cannot be stopped from another thread");
        d->releaseTimers(this);
    }
    if (data) {
        COxEventTrash trash;
        pthread_mutex_lock(&data->postEventMutex);
        if (d->postedEvents > 0) {
            takePostedEvents(data->postEvents, this, [&trash](const SOxPostEvent& entry) { trash.add(entry.event); });
            d->postedEvents = 0;
        }
        pthread_mutex_unlock(&data->postEventMutex);
        data->deref();
    }
    delete d;
}

COxString COxObject::objectName() const
{
    return d_ptr->objectName;
}

void COxObject::setObjectName(const COxString& name)
{
    d_ptr->objectName = name;
}

COxThread* COxObject::thread() const
{
    COxThreadData* data = d_ptr->threadData.load(std::memory_order_acquire);
    return data ? data->thread() : nullptr;
}

bool COxObject::event(COxEvent* event)
{
    switch (event->type()) {
    case COxEvent::Timer:
        return true;
    case COxEvent::ThreadChange:
        d_ptr->stopTimersForMove(this);
        return true;
    case COxEvent::DeferredDelete:
        delete this;
        return true;
    default:
        return event->type() >= COxEvent::User;
    }
}

bool COxObject::notify(COxObject* receiver, COxEvent* event)
{
    if (!receiver) {
        oxWarning("COxObject::notify: Unexpected null receiver");
        return false;
    }
    return event && receiver->event(event);
}

void COxObject::postEvent(COxObject* receiver, COxEvent* event)
{
    if (!event)
        return;
    if (!receiver) {
        oxWarning("COxObject::postEvent: Unexpected null receiver");
        delete event;
        return;
    }
    COxObjectPrivate* d = receiver->d_ptr;
    COxThreadData* data = lockObjectThread(d);
    if (!data) {
        delete event;
        return;
    }
    const bool deferredDelete = event->type() == COxEvent::DeferredDelete;
    if (deferredDelete && d->deletePending) {
        unlockObjectThread(data);
        delete event;
        return;
    }
    if (!data->postEvents.entries.append(SOxPostEvent{receiver, event})) {
        unlockObjectThread(data);
        oxError("COxObject::postEvent: No memory to queue the event, event dropped");
        delete event;
        return;
    }
    if (deferredDelete) {
        d->deletePending = true;
        // Only the thread itself runs loops at its levels.
        event->m_loopLevel = COxThreadData::currentIfAny() == data ? data->loopLevel : 0;
    }
    ++d->postedEvents;
    // Woken under the lock: the dispatcher lives as long as the thread data,
    // and the data cannot go while the object still holds it.
    if (COxEventDispatcher* dispatcher = data->existingEventDispatcher())
        dispatcher->wakeUp();
    unlockObjectThread(data);
}

void COxObject::sendPostedEvents(COxObject* receiver, uint32_t eventType)
{
    COxObjectPrivate::sendPostedEvents(receiver, eventType, COxThreadData::currentIfAny());
}

void COxObject::deleteLater()
{
    COxEvent* event = new (std::nothrow) COxEvent(COxEvent::DeferredDelete);
    if (!event)
        oxError("COxObject::deleteLater: No memory for the event");
    postEvent(this, event);
}

int COxObject::startTimer(int interval)
{
    COxObjectPrivate* d = d_ptr;
    if (interval < 1) {
        oxWarning("COxObject::startTimer: Timers cannot have negative or zero intervals");
        return 0;
    }
    COxThreadData* data = d->threadData.load(std::memory_order_acquire);
    if (data && data->adopted) {
        oxWarning("COxObject::startTimer: Timers can only be used with threads started with COxThread");
        return 0;
    }
    if (!data || COxThreadData::currentIfAny() != data) {
        oxWarning("COxObject::startTimer: Timers cannot be started from another thread");
        return 0;
    }
    COxEventDispatcher* dispatcher = data->eventDispatcher();
    if (!dispatcher)
        return 0;
    if (!d->timerIds)
        d->timerIds = new (std::nothrow) COxPlainArray<int>;
    const int id = d->timerIds ? OxAllocateTimerId() : 0;
    if (id != 0 && d->timerIds->append(id)) {
        if (dispatcher->registerTimer(id, interval, this))
            return id;
        d->timerIds->takeLast();
    }
    OxReleaseTimerId(id);
    oxError("COxObject::startTimer: No memory for the timer");
    return 0;
}

void COxObject::killTimer(int id)
{
    COxObjectPrivate* d = d_ptr;
    COxThreadData* data = d->threadData.load(std::memory_order_acquire);
    if (!data || COxThreadData::currentIfAny() != data) {
        oxWarning("COxObject::killTimer: Timers cannot be stopped from another thread");
        return;
    }
    if (id == 0 || !d->timerIds)
        return;
    int at = 0;
    while (at < d->timerIds->size() && (*d->timerIds)[at] != id)
        ++at;
    if (at == d->timerIds->size()) {
        oxWarning("COxObject::killTimer(): Error: timer id %d is not valid for object %p (%s), timer has not been killed",
                  id, static_cast<void*>(this), d->objectName.toUtf8().constData());
        return;
    }
    if (COxEventDispatcher* dispatcher = data->existingEventDispatcher())
        dispatcher->unregisterTimer(id);
    d->timerIds->removeAt(at);
    OxReleaseTimerId(id);
}

void COxObject::moveToThread(COxThread* target)
{
    COxObjectPrivate* d = d_ptr;
    COxThreadData* current = COxThreadData::currentIfAny();
    COxThreadData* from = d->threadData.load(std::memory_order_acquire);
    COxThreadData* to = target ? COxThreadPrivate::get(target)->data : nullptr;
    if (from && from != current) {
        oxWarning("COxObject::moveToThread: Current thread (%p) is not the object's thread (%p).\n"
                  "Cannot move to target thread (%p)\n",
                  static_cast<void*>(current ? current->thread() : nullptr),
                  static_cast<void*>(from->thread()), static_cast<void*>(target));
        return;
    }
    if (from == to)
        return;

    COxEvent change(COxEvent::ThreadChange);
    notify(this, &change);
    // A subclass that kept the event from the base handler still must not
    // leave timers behind in the old thread.
    d->stopTimersForMove(this);

    // Both queues are locked, always the one at the lower address first.
    COxThreadData* first = std::less<COxThreadData*>()(from, to) ? from : to;
    COxThreadData* second = first == from ? to : from;
    if (first)
        pthread_mutex_lock(&first->postEventMutex);
    pthread_mutex_lock(&second->postEventMutex);
    if (to)
        to->ref();
    COxEventTrash trash;
    bool moved = false;
    if (from) {
        takePostedEvents(from->postEvents, this, [&](SOxPostEvent entry) {
            // A loop level of the old thread means nothing in the new one.
            entry.event->m_loopLevel = 0;
            if (to && to->postEvents.entries.append(entry)) {
                moved = true;
                return;
            }
            if (to)
                oxError("COxObject::moveToThread: No memory to move a posted event, event dropped");
            --d->postedEvents;
            trash.add(entry.event);
        });
    }
    pthread_mutex_t* pointerLock = threadPointerLock(d);
    pthread_mutex_lock(pointerLock);
    d->threadData.store(to, std::memory_order_release);
    pthread_mutex_unlock(pointerLock);
    if (moved) {
        if (COxEventDispatcher* dispatcher = to->existingEventDispatcher())
            dispatcher->wakeUp();
    }
    pthread_mutex_unlock(&second->postEventMutex);
    if (first)
        pthread_mutex_unlock(&first->postEventMutex);
    if (from)
        from->deref();
}
