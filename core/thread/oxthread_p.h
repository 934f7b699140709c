// Internal: the private record of COxThread, the per-thread data and the
// stand-in for threads the framework did not start.
#ifndef OXTHREAD_P_H
#define OXTHREAD_P_H

#include "core/thread/oxobject_p.h"
#include "core/thread/oxthread.h"
#include "core/thread/oxthreadstorage_p.h"

#include <atomic>
#include <pthread.h>

class COxEvent;
class COxEventDispatcher;

// One posted event waiting in its receiver's thread. An entry whose event
// is null has been delivered or taken away.
struct SOxPostEvent {
    COxObject* receiver;
    COxEvent* event;
};

// A thread's queue of posted events, guarded by the thread data's
// post-event mutex.
struct SOxPostEventList {
    COxPlainArray<SOxPostEvent> entries;
    int recursion = 0; // deliveries in progress (they nest through handlers)
    int start = 0; // every entry before this one has been taken
};

// What the framework keeps for one system thread. Reachable from the thread
// itself through a thread-specific key (current()); kept alive by a reference
// count shared by the key, the thread object and every object living in the
// thread.
class COxThreadData {
    std::atomic<int> m_ref;
    std::atomic<COxThread*> m_thread; // cleared when the thread object goes
    std::atomic<COxEventDispatcher*> m_dispatcher; // made on first use

public:
    // The reference count starts at 1, owned by whoever creates the record.
    explicit COxThreadData(bool adopted = false);
    ~COxThreadData();

    void ref() { m_ref.fetch_add(1, std::memory_order_relaxed); }
    void deref()
    {
        if (m_ref.fetch_sub(1, std::memory_order_acq_rel) == 1)
            delete this;
    }

    // The calling thread's data. A thread the framework did not start gets
    // data and a COxAdoptedThread on its first call. Null when the data
    // cannot be made.
    static COxThreadData* current();
    // The calling thread's data if it has any; never makes it.
    static COxThreadData* currentIfAny();

    COxThread* thread() const { return m_thread.load(std::memory_order_acquire); }
    void setThread(COxThread* thread) { m_thread.store(thread, std::memory_order_release); }

    // The thread's event dispatcher, made on first use. Only the thread
    // itself may make it; null (and logged) when it cannot be made.
    COxEventDispatcher* eventDispatcher();
    // Any thread: the dispatcher if it has been made.
    COxEventDispatcher* existingEventDispatcher() const { return m_dispatcher.load(std::memory_order_acquire); }

    // Runs the event loop until the thread's exit() and returns the exit
    // code. See COxThread::exit for an exit asked before the loop.
    int exec();
    bool isInEventLoop() const;

    // Set by the thread itself when it begins; 0 when start failed. Guarded
    // by the thread's mutex.
    pthread_t threadId;
    // Guarded by the thread's mutex; quitLoop is also read by the running
    // loop without it.
    bool inLoop;
    std::atomic<bool> quitLoop;
    // Event loops and event deliveries running on the thread, outermost
    // first: 1 inside the loop, 2 inside a handler it called, and so on.
    // Touched only by the thread itself.
    int loopLevel;
    pthread_mutex_t postEventMutex;
    SOxPostEventList postEvents;
    // Suppresses the destroyed-while-running message of the thread object.
    bool quiet;
    const bool adopted;
    // Thread storage values by slot id; touched only by the thread itself.
    COxPlainArray<void*> storage;

private:
    OX_DISABLE_COPY(COxThreadData)

    void runEventLoop(COxEventDispatcher* dispatcher);
};

class COxThreadPrivate : public COxObjectPrivate {
public:
    // Makes new thread data, or takes a reference on the given one.
    explicit COxThreadPrivate(COxThreadData* data = nullptr);
    ~COxThreadPrivate() override;

    static COxThreadPrivate* get(const COxThread* thread)
    {
        return static_cast<COxThreadPrivate*>(thread->d_ptr);
    }

    // The system thread's entry point and the clean-up that ends it.
    static void* body(void* arg);
    static void finish(void* arg);

    pthread_mutex_t mutex;
    bool running;
    bool finished;
    bool finishing; // the thread is tearing down; start and destruction wait
    bool exitRequested; // exit() came before the event loop started
    int32_t exitCode; // -1 after construction and after a loop, 0 when started
    uint32_t stackSize;
    uint32_t priority;
    pthread_cond_t stopped; // on the monotonic clock; broadcast when running ends
    COxThreadData* data; // one reference held
};

// The thread object of a thread the framework did not start. It is made by
// COxThreadData::current() and destroyed when its thread ends.
class COxAdoptedThread : public COxThread {
public:
    explicit COxAdoptedThread(COxThreadData* data);

protected:
    void run() override;
};

#endif // OXTHREAD_P_H
