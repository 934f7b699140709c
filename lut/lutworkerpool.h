// LutWorkerPool: a fixed set of worker threads that run one job at a time,
// every worker taking part in every job. It is a parallel-for with a fixed
// fan-out, not a task queue:
//
//     LutWorkerPool pool;
//     pool.start(4, 0, 7);
//     pool.run(renderBand, effect); // renderBand(effect, i, 4) for i = 0..3,
//                                   // returns when all four have returned
//     pool.stop();
//
// run() must be called from one thread at a time and never from a worker.
#ifndef LUTWORKERPOOL_H
#define LUTWORKERPOOL_H

#include <cstdint>
#include <pthread.h>

class LutWorker;

class LutWorkerPool {
public:
    typedef void (*Job)(void* context, uint32_t index, uint32_t count);

    LutWorkerPool();
    // Stops the workers, then releases the pool.
    ~LutWorkerPool();

    // Starts max(count, 1) workers with the given thread priority. False when
    // the pool is started already or a worker cannot be started. The stack
    // size is not used: workers get the system default.
    bool start(int count, uint32_t stackSize, uint32_t priority);

    // Calls job(context, i, n) once on every worker i of n and returns when
    // all have returned. A null job only passes through the workers.
    void run(Job job, void* context);

    // Asks every worker to end, joins them and frees them.
    void stop();

    uint32_t workerCount() const { return m_slotCount; }

private:
    friend class LutWorker;

    struct Slot {
        LutWorker* worker; // owned
        bool pending;      // a job waits for this worker
    };

    void workerLoop(uint32_t index, uint32_t count);

    LutWorkerPool(const LutWorkerPool&) = delete;
    LutWorkerPool& operator=(const LutWorkerPool&) = delete;

    void releaseSlots();

    bool m_started;
    Slot* m_slots;        // m_slotCount slots, owned; null when not started
    uint32_t m_slotCount;
    pthread_cond_t m_workAvailable; // workers wait here
    pthread_cond_t m_allDone;       // the caller of run waits here
    uint32_t m_pending;             // workers not yet done with the job
    bool m_stopRequested;
    pthread_mutex_t m_mutex;        // guards everything above but the slot array
    Job m_job;                      // the current job; null between jobs
    void* m_context;
};

#endif // LUTWORKERPOOL_H
