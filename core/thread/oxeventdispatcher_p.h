// Internal: the event dispatcher of one thread, and the process-wide timer
// id allocator.
//
// The dispatcher keeps the thread's timers ordered by the time they are next
// due on a monotonic clock, and owns the wake-up descriptor that other
// threads signal when they post an event, so that the thread's event loop
// can sleep until the earlier of the two. The loop itself belongs to the
// thread data (COxThreadData::exec); it asks the dispatcher which timers are
// due, how long it may sleep, and sleeps with wait().
#ifndef OXEVENTDISPATCHER_P_H
#define OXEVENTDISPATCHER_P_H

#include "core/thread/oxplainarray_p.h"

#include <atomic>
#include <pthread.h>

class COxObject;

// A monotonic clock in nanoseconds. Tests give a dispatcher a clock that
// they move by hand.
struct SOxClock {
    int64_t (*now)(void* context);
    void* context;
};
SOxClock OxMonotonicClock();

class COxEventDispatcher {
public:
    explicit COxEventDispatcher(const SOxClock& clock = OxMonotonicClock());
    ~COxEventDispatcher();

    // False when the wake-up descriptor could not be made (the reason was
    // logged); such a dispatcher must not be used.
    bool isValid() const { return m_wakeFd >= 0; }
    int64_t now() const { return m_clock.now(m_clock.context); }

    // Timers are registered by the owning thread, but an object destroyed in
    // another thread unregisters its timers from there, so the timer set
    // has a lock of its own. The first expiry is one interval from now.
    bool registerTimer(int id, int intervalMs, COxObject* object);
    bool unregisterTimer(int id);
    int unregisterTimers(const COxObject* object); // the number removed
    int timerCount() const;

    // Takes the earliest timer that is due at now and moves its due time on
    // by whole intervals to the first point after now: due times stay on the
    // grid of the first one, so nothing drifts, and periods that a busy
    // thread missed are skipped rather than delivered in a burst.
    bool takeDueTimer(int64_t now, int* id, COxObject** object);
    // Milliseconds until the earliest timer is due, rounded up; 0 when one
    // is due, -1 without timers.
    int remainingTime(int64_t now) const;

    // Any thread: interrupts the current or next wait(). Wake-ups that come
    // before the loop has seen the last one cost no system call.
    void wakeUp();
    // Sleeps until woken up or until timeoutMs milliseconds have passed (-1:
    // no limit). True when it was woken up; the wake-up is consumed.
    bool wait(int timeoutMs);

private:
    OX_DISABLE_COPY(COxEventDispatcher)

    struct SOxTimer {
        int64_t due;
        int64_t interval;
        COxObject* object;
        int id;
    };
    // Where a timer due at the given time goes: after every timer due at the
    // same time or earlier, so that equal due times keep their order.
    int insertionPoint(int64_t due, int from) const;

    mutable pthread_mutex_t m_mutex; // guards m_timers
    COxPlainArray<SOxTimer> m_timers; // ordered by due time
    SOxClock m_clock;
    int m_wakeFd;
    std::atomic<bool> m_wakePending;
};

// Timer ids: positive, unique among live timers, and the lowest free id is
// handed out first, so ids are reused after release. 0 when memory runs out.
int OxAllocateTimerId();
void OxReleaseTimerId(int id);

#endif // OXEVENTDISPATCHER_P_H
