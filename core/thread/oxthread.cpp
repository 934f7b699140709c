#include "core/thread/oxthread.h"
#include "core/thread/oxthread_p.h"

#include "core/log/oxdebug.h"
#include "core/thread/oxevent.h"
#include "core/thread/oxeventdispatcher_p.h"
#include "core/thread/oxthreadstorage_p.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <limits>
#include <new>
#include <sys/prctl.h>

namespace {

// ---- The thread-specific key that leads a thread to its data ----

pthread_once_t g_keyOnce = PTHREAD_ONCE_INIT;
pthread_key_t g_key;
bool g_keyValid = false;

// Runs when a thread that has data ends. Thread storage destructors may use
// thread storage again, so the data stays current while they run.
void destroyThreadData(void* value)
{
    auto* data = static_cast<COxThreadData*>(value);
    pthread_setspecific(g_key, data);
    OxThreadStorageFinish(data->storage);
    if (data->adopted) {
        data->quiet = true;
        delete data->thread();
    }
    pthread_setspecific(g_key, nullptr);
    data->deref();
}

void createKey()
{
    g_keyValid = pthread_key_create(&g_key, destroyThreadData) == 0;
}

bool ensureKey()
{
    pthread_once(&g_keyOnce, createKey);
    return g_keyValid;
}

// Makes data current for the calling thread; the key holds a reference.
bool setCurrentThreadData(COxThreadData* data)
{
    if (!ensureKey())
        return false;
    data->ref();
    if (pthread_setspecific(g_key, data) != 0) {
        data->deref();
        return false;
    }
    return true;
}

// ---- Helpers ----

// The text of an error code: fixed texts for the codes that matter most,
// the system's message (trimmed) for the rest.
void errorText(int code, char* out, size_t size)
{
    const char* fixed = nullptr;
    switch (code) {
    case 2: fixed = "No such file or directory"; break;
    case 13: fixed = "Permission denied"; break;
    case 24: fixed = "Too many open files"; break;
    case 28: fixed = "No space left on device"; break;
    default: break;
    }
    if (fixed) {
        std::snprintf(out, size, "%s", fixed);
        return;
    }
    struct Pick { // strerror_r comes in a GNU and an XSI flavour
        static const char* of(const char* text, const char*) { return text; }
        static const char* of(int rc, const char* buffer) { return rc == 0 ? buffer : "Unknown error"; }
    };
    char buffer[128] = {0};
    std::snprintf(out, size, "%s", Pick::of(strerror_r(code, buffer, sizeof(buffer)), buffer));
    size_t n = std::strlen(out);
    while (n > 0 && (out[n - 1] == ' ' || out[n - 1] == '\n' || out[n - 1] == '\t' || out[n - 1] == '\r'))
        out[--n] = '\0';
}

timespec monotonicNow()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now;
}

// now + ms, clamped to the largest representable time.
timespec deadlineAfter(const timespec& now, unsigned long ms)
{
    const time_t maxSeconds = std::numeric_limits<time_t>::max();
    unsigned long seconds = ms / 1000;
    long nanoseconds = now.tv_nsec + long(ms % 1000) * 1000000L;
    if (nanoseconds >= 1000000000L) {
        nanoseconds -= 1000000000L;
        ++seconds;
    }
    timespec deadline;
    if (seconds > (unsigned long)(maxSeconds - now.tv_sec)) {
        deadline.tv_sec = maxSeconds;
        deadline.tv_nsec = 999999999L;
    } else {
        deadline.tv_sec = now.tv_sec + time_t(seconds);
        deadline.tv_nsec = nanoseconds;
    }
    return deadline;
}

unsigned long millisecondsBetween(const timespec& from, const timespec& to)
{
    long long ms = (long long)(to.tv_sec - from.tv_sec) * 1000 + (to.tv_nsec - from.tv_nsec) / 1000000;
    return ms > 0 ? (unsigned long)ms : 0;
}

void initMonotonicCondition(pthread_cond_t* condition)
{
    pthread_condattr_t attr;
    pthread_condattr_init(&attr);
    pthread_condattr_setclock(&attr, CLOCK_MONOTONIC);
    pthread_cond_init(condition, &attr);
    pthread_condattr_destroy(&attr);
}

} // namespace

// ---- COxThreadData ----

COxThreadData::COxThreadData(bool adopted)
    : m_ref(1)
    , m_thread(nullptr)
    , m_dispatcher(nullptr)
    , threadId(0)
    , inLoop(false)
    , quitLoop(false)
    , loopLevel(0)
    , quiet(false)
    , adopted(adopted)
{
    pthread_mutex_init(&postEventMutex, nullptr);
}

COxThreadData::~COxThreadData()
{
    // Objects take their events with them when they go, so this is empty
    // unless something was leaked.
    for (int i = 0; i < postEvents.entries.size(); ++i)
        delete postEvents.entries[i].event;
    delete m_dispatcher.load(std::memory_order_acquire);
    pthread_mutex_destroy(&postEventMutex);
}

COxThreadData* COxThreadData::current()
{
    if (!ensureKey())
        return nullptr;
    auto* data = static_cast<COxThreadData*>(pthread_getspecific(g_key));
    if (data)
        return data;
    // A thread the framework did not start: adopt it. The key owns the
    // first reference; the adopted thread object takes its own.
    data = new COxThreadData(true);
    data->threadId = pthread_self();
    if (pthread_setspecific(g_key, data) != 0) {
        data->deref();
        return nullptr;
    }
    new COxAdoptedThread(data); // deleted by destroyThreadData when the thread ends
    return data;
}

COxThreadData* COxThreadData::currentIfAny()
{
    return ensureKey() ? static_cast<COxThreadData*>(pthread_getspecific(g_key)) : nullptr;
}

COxEventDispatcher* COxThreadData::eventDispatcher()
{
    COxEventDispatcher* dispatcher = existingEventDispatcher();
    if (dispatcher)
        return dispatcher;
    dispatcher = new (std::nothrow) COxEventDispatcher;
    if (!dispatcher || !dispatcher->isValid()) {
        if (!dispatcher)
            oxError("COxThreadData: No memory for the event dispatcher");
        delete dispatcher;
        return nullptr;
    }
    m_dispatcher.store(dispatcher, std::memory_order_release);
    return dispatcher;
}

int COxThreadData::exec()
{
    COxThread* owner = thread();
    if (!owner)
        return -1;
    COxThreadPrivate* d = COxThreadPrivate::get(owner);
    pthread_mutex_lock(&d->mutex);
    if (inLoop) {
        pthread_mutex_unlock(&d->mutex);
        oxWarning("COxThreadData::exec: instance %p has already called exec()", static_cast<void*>(this));
        return -1;
    }
    if (currentIfAny() != this) {
        pthread_mutex_unlock(&d->mutex);
        oxWarning("COxThreadData::exec: instance %p belongs to another thread", static_cast<void*>(this));
        return -1;
    }
    if (d->exitRequested) {
        d->exitRequested = false;
        int code = d->exitCode;
        pthread_mutex_unlock(&d->mutex);
        return code;
    }
    COxEventDispatcher* dispatcher = eventDispatcher();
    if (!dispatcher) {
        pthread_mutex_unlock(&d->mutex);
        return -1;
    }
    inLoop = true;
    quitLoop.store(false);
    pthread_mutex_unlock(&d->mutex);

    runEventLoop(dispatcher);

    pthread_mutex_lock(&d->mutex);
    inLoop = false;
    quitLoop.store(false);
    int code = d->exitCode;
    d->exitCode = -1;
    d->exitRequested = false;
    pthread_mutex_unlock(&d->mutex);
    return code;
}

// Each round delivers the events posted so far, then the timers that are
// due, and then sleeps until the next timer or a wake-up: a post from
// another thread, or exit().
void COxThreadData::runEventLoop(COxEventDispatcher* dispatcher)
{
    ++loopLevel;
    while (!quitLoop.load()) {
        COxObjectPrivate::sendPostedEvents(nullptr, 0, this);
        const int64_t now = dispatcher->now();
        int id;
        COxObject* receiver;
        while (!quitLoop.load() && dispatcher->takeDueTimer(now, &id, &receiver)) {
            COxTimerEvent event(id);
            ++loopLevel;
            COxObject::notify(receiver, &event);
            --loopLevel;
        }
        if (!quitLoop.load())
            dispatcher->wait(dispatcher->remainingTime(dispatcher->now()));
    }
    --loopLevel;
}

bool COxThreadData::isInEventLoop() const
{
    COxThread* owner = thread();
    if (!owner)
        return false;
    COxThreadPrivate* d = COxThreadPrivate::get(owner);
    pthread_mutex_lock(&d->mutex);
    bool in = inLoop;
    pthread_mutex_unlock(&d->mutex);
    return in;
}

// ---- COxThreadPrivate ----

COxThreadPrivate::COxThreadPrivate(COxThreadData* threadData)
    : running(false)
    , finished(false)
    , finishing(false)
    , exitRequested(false)
    , exitCode(-1)
    , stackSize(0)
    , priority(COxThread::DefaultPriority)
    , data(threadData)
{
    pthread_mutex_init(&mutex, nullptr);
    initMonotonicCondition(&stopped);
    if (data)
        data->ref();
    else
        data = new COxThreadData;
}

COxThreadPrivate::~COxThreadPrivate()
{
    data->deref();
    pthread_cond_destroy(&stopped);
    pthread_mutex_destroy(&mutex);
}

void* COxThreadPrivate::body(void* arg)
{
    auto* thread = static_cast<COxThread*>(arg);
    COxThreadPrivate* d = get(thread);
    pthread_cleanup_push(&COxThreadPrivate::finish, thread);

    pthread_mutex_lock(&d->mutex);
    if (int32_t(d->priority) < 0)
        d->priority &= 0x7fffffffu;
    d->data->threadId = pthread_self();
    setCurrentThreadData(d->data);
    pthread_mutex_unlock(&d->mutex);

    // The kernel keeps the first 15 bytes of the name.
    COxString name = thread->objectName();
    if (name.isEmpty())
        prctl(PR_SET_NAME, "COxThread");
    else
        prctl(PR_SET_NAME, name.toLocal8Bit().constData());

    thread->run();

    pthread_cleanup_pop(1);
    return nullptr;
}

void COxThreadPrivate::finish(void* arg)
{
    COxThreadPrivate* d = get(static_cast<COxThread*>(arg));
    pthread_mutex_lock(&d->mutex);
    d->finishing = true;
    COxThreadData* data = d->data;
    pthread_mutex_unlock(&d->mutex);

    OxThreadStorageFinish(data->storage);

    // Once the waiters are woken the thread object may be destroyed at any
    // moment: nothing of it is touched after the unlock.
    pthread_mutex_lock(&d->mutex);
    d->running = false;
    d->finished = true;
    d->finishing = false;
    pthread_cond_broadcast(&d->stopped);
    pthread_mutex_unlock(&d->mutex);
}

// ---- COxThread ----

COxThread::COxThread()
    : COxThread(*new COxThreadPrivate)
{
}

COxThread::COxThread(COxThreadPrivate& dd)
    : COxObject(dd)
{
    dd.data->setThread(this);
}

COxThread::~COxThread()
{
    COxThreadPrivate* d = COxThreadPrivate::get(this);
    pthread_mutex_lock(&d->mutex);
    if (d->finishing) {
        pthread_mutex_unlock(&d->mutex);
        wait(ULONG_MAX);
        pthread_mutex_lock(&d->mutex);
    }
    if (d->running && !d->finished && !d->data->quiet)
        oxWarning("COxThread: Destroyed while thread is still running");
    d->data->setThread(nullptr);
    pthread_mutex_unlock(&d->mutex);
}

void COxThread::start(uint32_t priority)
{
    COxThreadPrivate* d = COxThreadPrivate::get(this);
    pthread_mutex_lock(&d->mutex);
    if (d->finishing)
        pthread_cond_wait(&d->stopped, &d->mutex);
    if (d->running) {
        pthread_mutex_unlock(&d->mutex);
        return;
    }
    d->exitCode = 0;
    d->running = true;
    d->finished = false;
    d->exitRequested = false;
    d->priority = priority;

    char text[160];
    pthread_attr_t attr;
    pthread_attr_init(&attr);
    pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
    if (d->stackSize != 0) {
        int rc = pthread_attr_setstacksize(&attr, d->stackSize);
        if (rc != 0) {
            errorText(rc, text, sizeof(text));
            oxWarning("COxThread::start: Thread stack size error: %s", text);
            d->running = false;
            pthread_attr_destroy(&attr);
            pthread_mutex_unlock(&d->mutex);
            return;
        }
    }
    pthread_t id;
    int rc = pthread_create(&id, &attr, &COxThreadPrivate::body, this);
    if (rc == EPERM) // may be refused once on some systems; try again
        rc = pthread_create(&id, &attr, &COxThreadPrivate::body, this);
    pthread_attr_destroy(&attr);
    if (rc != 0) {
        errorText(rc, text, sizeof(text));
        oxError("COxThread::start: Thread creation error: %s", text);
        d->running = false;
        d->finished = false;
        d->data->threadId = 0;
    }
    pthread_mutex_unlock(&d->mutex);
}

bool COxThread::wait(unsigned long ms)
{
    COxThreadPrivate* d = COxThreadPrivate::get(this);
    pthread_mutex_lock(&d->mutex);
    if (d->running && d->data->threadId != 0 && pthread_equal(d->data->threadId, pthread_self())) {
        pthread_mutex_unlock(&d->mutex);
        oxWarning("COxThread::wait: Thread tried to wait on itself");
        return false;
    }
    bool stopped = true;
    if (ms == ULONG_MAX) {
        while (d->running)
            pthread_cond_wait(&d->stopped, &d->mutex);
    } else {
        const timespec start = monotonicNow();
        const timespec deadline = deadlineAfter(start, ms);
        while (d->running) {
            if (millisecondsBetween(start, monotonicNow()) >= ms) {
                stopped = false;
                break;
            }
            pthread_cond_timedwait(&d->stopped, &d->mutex, &deadline);
        }
    }
    pthread_mutex_unlock(&d->mutex);
    return stopped;
}

void COxThread::exit(int code)
{
    COxThreadPrivate* d = COxThreadPrivate::get(this);
    pthread_mutex_lock(&d->mutex);
    d->exitCode = code;
    if (d->data->inLoop) {
        // The loop made its dispatcher before it began.
        d->data->quitLoop.store(true);
        d->data->existingEventDispatcher()->wakeUp();
    } else {
        d->exitRequested = true;
    }
    pthread_mutex_unlock(&d->mutex);
}

void COxThread::setStackSize(uint32_t size)
{
    COxThreadPrivate* d = COxThreadPrivate::get(this);
    pthread_mutex_lock(&d->mutex);
    if (d->running)
        oxWarning("COxThread: cannot change stack size while the thread is running!");
    // Stored all the same: it applies to the next start.
    d->stackSize = size;
    pthread_mutex_unlock(&d->mutex);
}

uint32_t COxThread::stackSize() const
{
    COxThreadPrivate* d = COxThreadPrivate::get(this);
    pthread_mutex_lock(&d->mutex);
    uint32_t size = d->stackSize;
    pthread_mutex_unlock(&d->mutex);
    return size;
}

void COxThread::setPriority(uint32_t priority)
{
    COxThreadPrivate* d = COxThreadPrivate::get(this);
    pthread_mutex_lock(&d->mutex);
    if (!d->running)
        oxWarning("COxThread::setPriority: Cannot set priority, thread is not running");
    else
        d->priority = priority;
    pthread_mutex_unlock(&d->mutex);
}

uint32_t COxThread::priority() const
{
    COxThreadPrivate* d = COxThreadPrivate::get(this);
    pthread_mutex_lock(&d->mutex);
    uint32_t value = d->priority;
    pthread_mutex_unlock(&d->mutex);
    return value;
}

bool COxThread::isRunning() const
{
    COxThreadPrivate* d = COxThreadPrivate::get(this);
    pthread_mutex_lock(&d->mutex);
    bool value = d->running;
    pthread_mutex_unlock(&d->mutex);
    return value;
}

bool COxThread::isFinished() const
{
    COxThreadPrivate* d = COxThreadPrivate::get(this);
    pthread_mutex_lock(&d->mutex);
    bool value = d->finished;
    pthread_mutex_unlock(&d->mutex);
    return value;
}

int COxThread::exec()
{
    return COxThreadPrivate::get(this)->data->exec();
}

void COxThread::run()
{
    exec();
}

// ---- COxAdoptedThread ----

COxAdoptedThread::COxAdoptedThread(COxThreadData* data)
    : COxThread(*new COxThreadPrivate(data))
{
    // The thread runs already; it was just not started here.
    COxThreadPrivate* d = COxThreadPrivate::get(this);
    d->running = true;
}

void COxAdoptedThread::run()
{
    oxError("COxAdoptedThread::run(): Internal error, this implementation should never be called.");
}
