#include "core/thread/oxeventdispatcher_p.h"

#include "core/log/oxdebug.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {

const int64_t kNanosecondsPerMs = 1000000;

int64_t monotonicNow(void*)
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t(now.tv_sec) * 1000000000 + now.tv_nsec;
}

// ---- Timer ids: one bit per id in a bitmap that only grows ----

struct SOxTimerIds {
    pthread_mutex_t mutex;
    uint64_t* words; // bit b of word w stands for id w * 64 + b + 1
    int wordCount;
    int firstFree; // no word below this one has a free bit
};

// Plain data with a static initialiser: usable at any point of process
// start and exit. The bitmap is never freed.
SOxTimerIds g_timerIds = {PTHREAD_MUTEX_INITIALIZER, nullptr, 0, 0};

} // namespace

SOxClock OxMonotonicClock()
{
    return SOxClock{monotonicNow, nullptr};
}

int OxAllocateTimerId()
{
    SOxTimerIds& ids = g_timerIds;
    pthread_mutex_lock(&ids.mutex);
    int word = ids.firstFree;
    while (word < ids.wordCount && ids.words[word] == ~uint64_t(0))
        ++word;
    if (word == ids.wordCount) {
        const int count = ids.wordCount ? ids.wordCount * 2 : 4;
        void* grown = count < INT_MAX / 128 ? std::realloc(ids.words, sizeof(uint64_t) * size_t(count)) : nullptr;
        if (!grown) {
            pthread_mutex_unlock(&ids.mutex);
            return 0;
        }
        ids.words = static_cast<uint64_t*>(grown);
        std::memset(ids.words + ids.wordCount, 0, sizeof(uint64_t) * size_t(count - ids.wordCount));
        ids.wordCount = count;
    }
    const int bit = __builtin_ctzll(~ids.words[word]);
    ids.words[word] |= uint64_t(1) << bit;
    ids.firstFree = word;
    pthread_mutex_unlock(&ids.mutex);
    return word * 64 + bit + 1;
}

void OxReleaseTimerId(int id)
{
    if (id <= 0)
        return;
    SOxTimerIds& ids = g_timerIds;
    const int word = (id - 1) / 64;
    pthread_mutex_lock(&ids.mutex);
    if (word < ids.wordCount) {
        ids.words[word] &= ~(uint64_t(1) << ((id - 1) % 64));
        if (word < ids.firstFree)
            ids.firstFree = word;
    }
    pthread_mutex_unlock(&ids.mutex);
}

// ---- COxEventDispatcher ----

COxEventDispatcher::COxEventDispatcher(const SOxClock& clock)
    : m_clock(clock)
    , m_wakeFd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    , m_wakePending(false)
{
    pthread_mutex_init(&m_mutex, nullptr);
    if (m_wakeFd < 0)
        oxError("COxEventDispatcher: Cannot create the wake-up descriptor: %s", std::strerror(errno));
}

COxEventDispatcher::~COxEventDispatcher()
{
    if (m_wakeFd >= 0)
        close(m_wakeFd);
    pthread_mutex_destroy(&m_mutex);
}

int COxEventDispatcher::insertionPoint(int64_t due, int from) const
{
    int low = from;
    int high = m_timers.size();
    while (low < high) {
        const int middle = low + (high - low) / 2;
        if (m_timers[middle].due <= due)
            low = middle + 1;
        else
            high = middle;
    }
    return low;
}

bool COxEventDispatcher::registerTimer(int id, int intervalMs, COxObject* object)
{
    SOxTimer timer;
    timer.interval = int64_t(intervalMs) * kNanosecondsPerMs;
    timer.due = now() + timer.interval;
    timer.object = object;
    timer.id = id;
    pthread_mutex_lock(&m_mutex);
    const bool ok = m_timers.insert(insertionPoint(timer.due, 0), timer);
    pthread_mutex_unlock(&m_mutex);
    return ok;
}

bool COxEventDispatcher::unregisterTimer(int id)
{
    pthread_mutex_lock(&m_mutex);
    const int removed = m_timers.removeIf([id](const SOxTimer& t) { return t.id == id; });
    pthread_mutex_unlock(&m_mutex);
    return removed > 0;
}

int COxEventDispatcher::unregisterTimers(const COxObject* object)
{
    pthread_mutex_lock(&m_mutex);
    const int removed = m_timers.removeIf([object](const SOxTimer& t) { return t.object == object; });
    pthread_mutex_unlock(&m_mutex);
    return removed;
}

int COxEventDispatcher::timerCount() const
{
    pthread_mutex_lock(&m_mutex);
    const int count = m_timers.size();
    pthread_mutex_unlock(&m_mutex);
    return count;
}

bool COxEventDispatcher::takeDueTimer(int64_t now, int* id, COxObject** object)
{
    pthread_mutex_lock(&m_mutex);
    if (m_timers.isEmpty() || m_timers[0].due > now) {
        pthread_mutex_unlock(&m_mutex);
        return false;
    }
    SOxTimer timer = m_timers[0];
    timer.due += ((now - timer.due) / timer.interval + 1) * timer.interval;
    // Move it back to its new place: the timers in between move up by one.
    const int place = insertionPoint(timer.due, 1) - 1;
    for (int i = 0; i < place; ++i)
        m_timers[i] = m_timers[i + 1];
    m_timers[place] = timer;
    pthread_mutex_unlock(&m_mutex);
    *id = timer.id;
    *object = timer.object;
    return true;
}

int COxEventDispatcher::remainingTime(int64_t now) const
{
    pthread_mutex_lock(&m_mutex);
    const bool none = m_timers.isEmpty();
    const int64_t left = none ? 0 : m_timers[0].due - now;
    pthread_mutex_unlock(&m_mutex);
    if (none)
        return -1;
    if (left <= 0)
        return 0;
    const int64_t ms = (left + kNanosecondsPerMs - 1) / kNanosecondsPerMs;
    return ms < INT_MAX ? int(ms) : INT_MAX;
}

void COxEventDispatcher::wakeUp()
{
    // The flag is cleared by wait() only after it has emptied the
    // descriptor, so a wake-up skipped here is one the loop will still see.
    if (m_wakePending.exchange(true))
        return;
    const uint64_t one = 1;
    ssize_t written;
    do
        written = write(m_wakeFd, &one, sizeof(one));
    while (written < 0 && errno == EINTR);
}

bool COxEventDispatcher::wait(int timeoutMs)
{
    pollfd entry;
    entry.fd = m_wakeFd;
    entry.events = POLLIN;
    entry.revents = 0;
    if (poll(&entry, 1, timeoutMs) <= 0)
        return false; // timed out, or interrupted: the loop simply comes round again
    uint64_t count;
    ssize_t got;
    do
        got = read(m_wakeFd, &count, sizeof(count));
    while (got < 0 && errno == EINTR);
    m_wakePending.store(false);
    return true;
}
