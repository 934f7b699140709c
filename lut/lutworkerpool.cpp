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

LutWorkerPool::LutWorkerPool()
    : m_started(false)
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
    // No worker runs yet, so nothing else can see these.
    m_stopRequested = false;
    m_pending = 0;
    m_slots.reserve(n);
    for (uint32_t i = 0; i < n; ++i) {
        LutWorker* worker = new (std::nothrow) LutWorker(this, i, n);
        if (!worker) {
            oxError("LutWorkerPool::start: No memory for worker %u of %u", i, n);
            for (Slot& slot : m_slots)
                delete slot.worker; // never started
            m_slots.clear();
            return false;
        }
        m_slots.push_back(Slot{worker, false});
    }
    for (Slot& slot : m_slots)
        slot.worker->start(priority);
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
    m_pending = uint32_t(m_slots.size());
    for (Slot& slot : m_slots)
        slot.pending = true;
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
    for (Slot& slot : m_slots) {
        slot.worker->wait(ULONG_MAX);
        delete slot.worker;
        slot.worker = nullptr;
    }
    m_slots.clear();
    m_started = false;
}
