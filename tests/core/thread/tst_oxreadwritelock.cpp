#include "core/thread/oxreadwritelock.h"

#include "oxlogcapture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <string>
#include <thread>

namespace {

TEST(OxReadWriteLock, ReadersShareWritersExclude)
{
    COxReadWriteLock lock;
    std::atomic<int> phase{0};
    {
        COxReadLocker first(&lock);
        // A second reader on another thread gets in while we read.
        std::thread reader([&] {
            COxReadLocker second(&lock);
            phase = 1;
        });
        reader.join();
        EXPECT_EQ(phase.load(), 1);
    }

    int shared = 0;
    std::thread writer;
    {
        COxWriteLocker writing(&lock);
        writer = std::thread([&] {
            COxWriteLocker other(&lock); // blocks until we unlock
            phase = 3;
            shared += 1;
        });
        // Give the other writer time to block on the lock.
        for (int i = 0; i < 1000; ++i)
            std::this_thread::yield();
        EXPECT_EQ(phase.load(), 1);
        shared += 10;
        phase = 2;
    }
    writer.join();
    EXPECT_EQ(phase.load(), 3);
    EXPECT_EQ(shared, 11);
}

TEST(OxReadWriteLock, NullLockersDoNothing)
{
    OxLogCapture capture;
    {
        COxReadLocker reading(nullptr);
        COxWriteLocker writing(nullptr);
    }
    EXPECT_EQ(capture.size(), 0u);
}

#if !defined(__SANITIZE_THREAD__)
// The thread sanitizer reports the deliberate self-deadlock below itself.
TEST(OxReadWriteLock, FailingCallsAreReportedWithTheirCode)
{
    OxLogCapture capture;
    COxReadWriteLock lock;
    lock.lockForWrite();
    lock.lockForWrite(); // the owner locking again is refused
    lock.lockForRead();
    lock.unlock();
    EXPECT_EQ(capture.count("pthread_rwlock_wrlock() failed, errno=" + std::to_string(EDEADLK)), 1u);
    EXPECT_EQ(capture.count("pthread_rwlock_rdlock() failed, errno=" + std::to_string(EDEADLK)), 1u);
    EXPECT_EQ(capture.size(), 2u);
}
#endif

} // namespace
