#include "lut/lutworkerpool.h"

#include "core/thread/oxthreadstorage.h"

#include <gtest/gtest.h>

#include <atomic>
#include <vector>

namespace {

// counts[job][worker]: each cell is written by one worker only; run()
// returning is what makes them visible to the test thread.
struct Tally {
    uint32_t workers = 0;
    uint32_t job = 0;
    std::vector<std::vector<int>> counts;
    std::atomic<int> wrongCount{0};
};

void countJob(void* context, uint32_t index, uint32_t count)
{
    auto* tally = static_cast<Tally*>(context);
    if (count != tally->workers || index >= count) {
        ++tally->wrongCount;
        return;
    }
    ++tally->counts[tally->job][index];
}

TEST(LutWorkerPool, EveryWorkerRunsEveryJobOnce)
{
    const int kJobs = 4000;
    for (int workers : {1, 3, 8}) {
        LutWorkerPool pool;
        ASSERT_TRUE(pool.start(workers, 0, 7));
        ASSERT_EQ(pool.workerCount(), uint32_t(workers));
        Tally tally;
        tally.workers = uint32_t(workers);
        tally.counts.assign(kJobs, std::vector<int>(size_t(workers), 0));
        for (int job = 0; job < kJobs; ++job) {
            tally.job = uint32_t(job);
            pool.run(countJob, &tally);
            if (job % 7 == 3)
                pool.run(nullptr, nullptr); // completes without touching anything
        }
        pool.stop();
        EXPECT_EQ(tally.wrongCount.load(), 0);
        int bad = 0;
        for (int job = 0; job < kJobs; ++job)
            for (int w = 0; w < workers; ++w)
                bad += tally.counts[size_t(job)][size_t(w)] != 1;
        EXPECT_EQ(bad, 0) << workers << " workers";
    }
}

TEST(LutWorkerPool, StartRules)
{
    LutWorkerPool zero;
    EXPECT_EQ(zero.workerCount(), 0u);
    EXPECT_TRUE(zero.start(0, 0, 7));
    EXPECT_EQ(zero.workerCount(), 1u);
    EXPECT_FALSE(zero.start(4, 0, 7)); // started: refused, unchanged
    EXPECT_EQ(zero.workerCount(), 1u);

    LutWorkerPool negative;
    EXPECT_TRUE(negative.start(-5, 0, 7));
    EXPECT_EQ(negative.workerCount(), 1u);
    negative.stop();
    EXPECT_EQ(negative.workerCount(), 0u);
    negative.stop(); // harmless
    negative.run(countJob, nullptr); // no workers: nothing runs
}

// Every worker leaves a value in thread storage; its destructor runs when the
// worker's thread ends.
std::atomic<int> g_ended{0};
void countEnd(void*) { ++g_ended; }
COxThreadStorage* g_marker = nullptr;
int g_value = 1;

void markJob(void*, uint32_t, uint32_t)
{
    g_marker->set(&g_value);
}

TEST(LutWorkerPool, StopAndDestructionJoinEveryWorker)
{
    COxThreadStorage marker(countEnd);
    g_marker = &marker;

    g_ended = 0;
    LutWorkerPool pool;
    ASSERT_TRUE(pool.start(6, 0, 7));
    pool.run(markJob, nullptr);
    EXPECT_EQ(g_ended.load(), 0);
    pool.stop();
    EXPECT_EQ(g_ended.load(), 6);
    EXPECT_EQ(pool.workerCount(), 0u);

    g_ended = 0;
    {
        LutWorkerPool scoped;
        ASSERT_TRUE(scoped.start(3, 0, 7));
        scoped.run(markJob, nullptr);
    }
    EXPECT_EQ(g_ended.load(), 3);
    g_marker = nullptr;
}

} // namespace
