#include "lut/lutworkerpool.h"

#include "core/log/oxdebug.h"
#include "core/thread/oxthread.h"

#include <new>

class LutWorker : public COxThread {
public:
    LutWorker(LutWorkerPool* pool, uint32_t index, uint32_t count)
        : m_pool(pool)
        , m_index(index)
        , m_count(count)
    {
    }

protected:
    void run() override { m_pool->workerLoop(m_index, m_count); }

private:
    LutWorkerPool* m_pool;
    uint32_t m_index;
    uint32_t m_count;
};

namespace {

// A worker object, or null when it cannot be allocated. The thread class
// allocates its private record with a plain new; its bad_alloc ends here, so
// that start() can release what it holds and fail.
LutWorker* newWorker(LutWorkerPool* pool, uint32_t index, uint32_t count)
{
    try {
        return new LutWorker(pool, index, count);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

} // namespace

LutWorkerPool::LutWorkerPool()
    : m_started(false)
    , m_slots(nullptr)
    , m_slotCount(0)
    , m_pending(0)
    , m_stopRequested(false)
    , m_job(nullptr)
    , m_context(nullptr)
{
    pthread_cond_init(&m_workAvailable, nullptr);
    pthread_cond_init(&m_allDone, nullptr);
    pthread_mutex_init(&m_mutex, nullptr);
}

LutWorkerPool::~LutWorkerPool()
{
    stop();
    pthread_mutex_destroy(&m_mutex);
    pthread_cond_destroy(&m_allDone);
    pthread_cond_destroy(&m_workAvailable);
}

bool LutWorkerPool::start(int count, uint32_t stackSize, uint32_t priority)
{
    (void)stackSize;
    if (m_started)
        return false;
    const uint32_t n = count > 1 ? uint32_t(count) : 1;
    // No worker runs yet, so nothing else can see these. Every object is made
    // before any thread starts; an absurd count fails here, with nothing
    // started and nothing kept.
    m_stopRequested = false;
    m_pending = 0;
    m_slots = new (std::nothrow) Slot[n];
    if (!m_slots) {
        oxError("LutWorkerPool::start: No memory for %u workers", n);
        return false;
    }
    for (uint32_t i = 0; i < n; ++i) {
        LutWorker* worker = newWorker(this, i, n);
        if (!worker) {
            oxError("LutWorkerPool::start: No memory for worker %u of %u", i, n);
            releaseSlots(); // none of them started
            return false;
        }
        m_slots[m_slotCount++] = Slot{worker, false};
    }
    for (uint32_t i = 0; i < n; ++i)
        m_slots[i].worker->start(priority);
    m_started = true;

    // A worker that did not start would leave every job waiting for it.
    for (uint32_t i = 0; i < n; ++i) {
        if (!m_slots[i].worker->isRunning()) {
            oxError("LutWorkerPool::start: Worker %u of %u did not start", i, n);
            stop();
            return false;
        }
    }
    return true;
}

void LutWorkerPool::run(Job job, void* context)
{
    pthread_mutex_lock(&m_mutex);
    m_job = job;
    m_context = context;
    m_pending = m_slotCount;
    for (uint32_t i = 0; i < m_slotCount; ++i)
        m_slots[i].pending = true;
    pthread_cond_broadcast(&m_workAvailable);
    while (m_pending != 0)
        pthread_cond_wait(&m_allDone, &m_mutex);
    m_job = nullptr;
    m_context = nullptr;
    pthread_mutex_unlock(&m_mutex);
}

void LutWorkerPool::workerLoop(uint32_t index, uint32_t count)
{
    for (;;) {
        pthread_mutex_lock(&m_mutex);
        while (!m_slots[index].pending && !m_stopRequested)
            pthread_cond_wait(&m_workAvailable, &m_mutex);
        if (m_stopRequested) { // wins over a pending job
            pthread_mutex_unlock(&m_mutex);
            return;
        }
        m_slots[index].pending = false;
        Job job = m_job;
        void* context = m_context;
        pthread_mutex_unlock(&m_mutex);

        if (job)
            job(context, index, count);

        pthread_mutex_lock(&m_mutex);
        if (m_pending != 0)
            --m_pending;
        const bool last = m_pending == 0;
        pthread_mutex_unlock(&m_mutex);
        if (last)
            pthread_cond_broadcast(&m_allDone);
    }
}

void LutWorkerPool::stop()
{
    if (!m_started)
        return;
    pthread_mutex_lock(&m_mutex);
    m_stopRequested = true;
    pthread_cond_broadcast(&m_workAvailable);
    pthread_mutex_unlock(&m_mutex);
    for (uint32_t i = 0; i < m_slotCount; ++i)
        m_slots[i].worker->wait(ULONG_MAX);
    releaseSlots();
    m_started = false;
}

void LutWorkerPool::releaseSlots()
{
    for (uint32_t i = 0; i < m_slotCount; ++i)
        delete m_slots[i].worker;
    delete[] m_slots;
    m_slots = nullptr;
    m_slotCount = 0;
}
