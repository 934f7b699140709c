#include "core/thread/oxthread.h"
#include "core/thread/oxthread_p.h"

#include "oxlogcapture.h"
#include "threadtestsupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <pthread.h>
#include <string>
#include <sys/prctl.h>
#include <thread>

namespace {

// Runs until its gate opens and records what it saw on its own thread.
class GatedThread : public COxThread {
public:
    Gate gate;
    int runs = 0;
    std::string name;
    COxThreadData* data = nullptr;
    bool selfWaitForever = true;
    bool selfWaitZero = true;
    size_t measuredStack = 0;

protected:
    void run() override
    {
        ++runs;
        char buffer[17] = {0};
        prctl(PR_GET_NAME, buffer);
        name = buffer;
        data = COxThreadData::current();
        selfWaitForever = wait(ULONG_MAX);
        selfWaitZero = wait(0);
        pthread_attr_t attr;
        if (pthread_getattr_np(pthread_self(), &attr) == 0) {
            pthread_attr_getstacksize(&attr, &measuredStack);
            pthread_attr_destroy(&attr);
        }
        gate.pass();
    }
};

TEST(OxThread, StartWaitAndStateRules)
{
    const uint32_t kStack = 384 * 1024;
    OxLogCapture capture;
    GatedThread thread;
    // Never started: not running, every wait succeeds at once.
    EXPECT_FALSE(thread.isRunning());
    EXPECT_TRUE(thread.wait(0));
    EXPECT_EQ(thread.priority(), 7u);
    thread.setPriority(3);
    EXPECT_EQ(thread.priority(), 7u);
    EXPECT_EQ(capture.count("COxThread::setPriority: Cannot set priority, thread is not running"), 1u);

    thread.start(5);
    EXPECT_TRUE(thread.isRunning());
    EXPECT_EQ(thread.priority(), 5u);
    EXPECT_FALSE(thread.wait(30));
    thread.start(9); // running already: nothing changes
    EXPECT_EQ(thread.priority(), 5u);
    thread.setPriority(2);
    EXPECT_EQ(thread.priority(), 2u);
    thread.setStackSize(kStack); // warned, but kept for the next start
    EXPECT_EQ(capture.count("COxThread: cannot change stack size while the thread is running!"), 1u);
    EXPECT_EQ(thread.stackSize(), kStack);

    thread.gate.open();
    EXPECT_TRUE(thread.wait());
    EXPECT_TRUE(!thread.isRunning() && thread.isFinished());
    const size_t defaultStack = thread.measuredStack;

    // A finished thread starts again, now with the stored stack size.
    thread.start();
    EXPECT_TRUE(thread.wait());
    EXPECT_EQ(thread.runs, 2);
    // Sanitizers may add room of their own to the requested size.
    EXPECT_GE(thread.measuredStack, kStack);
    EXPECT_LT(thread.measuredStack, defaultStack);
    EXPECT_EQ(capture.count("Destroyed while thread is still running"), 0u);
}

TEST(OxThread, SelfWaitIsRefusedAndTheThreadIsNamed)
{
    OxLogCapture capture;
    GatedThread unnamed;
    unnamed.gate.open();
    unnamed.start();
    ASSERT_TRUE(unnamed.wait());
    EXPECT_FALSE(unnamed.selfWaitForever);
    EXPECT_FALSE(unnamed.selfWaitZero);
    EXPECT_EQ(capture.count("COxThread::wait: Thread tried to wait on itself"), 2u);
    EXPECT_EQ(unnamed.name, "COxThread");
    // The thread's own data leads back to its object.
    ASSERT_NE(unnamed.data, nullptr);
    EXPECT_TRUE(unnamed.data->thread() == &unnamed && !unnamed.data->adopted);

    GatedThread named;
    named.setObjectName(COxString::fromUtf8("lut-band-worker-long-name"));
    named.gate.open();
    named.start();
    ASSERT_TRUE(named.wait());
    EXPECT_EQ(named.name, "lut-band-worker"); // the kernel keeps 15 bytes
}

TEST(OxThread, RefusedStackSizeLeavesTheThreadStopped)
{
    OxLogCapture capture;
    GatedThread thread;
    thread.gate.open();
    thread.setStackSize(1);
    thread.start();
    EXPECT_TRUE(!thread.isRunning() && thread.runs == 0);
    EXPECT_EQ(capture.count("COxThread::start: Thread stack size error: Invalid argument"), 1u);
    EXPECT_TRUE(thread.wait(0));
}

class LoopThread : public COxThread {
public:
    Gate gate;
    std::atomic<COxThreadData*> data{nullptr};
    int first = 0;
    int second = 0;

protected:
    void run() override
    {
        data = COxThreadData::current();
        gate.pass();
        first = data.load()->exec();
        second = data.load()->exec();
    }
};

TEST(OxThread, EventLoopExitRules)
{
    OxLogCapture capture;
    LoopThread thread;
    thread.start();
    // Asked before the loop runs: the first exec returns 5 without a loop.
    thread.exit(5);
    thread.gate.open();
    while (!thread.data.load() || !thread.data.load()->isInEventLoop())
        std::this_thread::yield();
    // The second exec runs the loop; entering it again is refused.
    EXPECT_EQ(thread.data.load()->exec(), -1);
    EXPECT_EQ(capture.count("COxThreadData::exec: instance 0x"), 1u);
    EXPECT_EQ(capture.count("has already called exec()"), 1u);
    EXPECT_FALSE(thread.wait(10));
    thread.exit(9);
    ASSERT_TRUE(thread.wait());
    EXPECT_EQ(thread.first, 5);
    EXPECT_EQ(thread.second, 9);

    // The default run is the event loop; quit ends it.
    COxThread plain;
    plain.start();
    plain.quit(); // before or inside the loop, either way the thread ends
    EXPECT_TRUE(plain.wait());
}

TEST(OxThread, ForeignThreadsAreAdopted)
{
    OxLogCapture capture;
    COxThreadData* first = nullptr;
    COxThreadData* again = nullptr;
    bool selfWait = true;
    bool adopted = false;
    COxObject* leftBehind = nullptr;
    std::thread foreign([&] {
        // An object made here keeps the thread's data alive after it ends.
        leftBehind = new COxObject;
        leftBehind->setObjectName(COxString::fromUtf8("left behind"));
        first = COxThreadData::current();
        again = COxThreadData::current();
        adopted = first && first->adopted && first->thread() != nullptr;
        if (adopted)
            selfWait = first->thread()->wait(0);
    });
    foreign.join();
    EXPECT_TRUE(first != nullptr && first == again && adopted);
    EXPECT_FALSE(selfWait);
    EXPECT_EQ(capture.count("COxThread::wait: Thread tried to wait on itself"), 1u);
    // Its thread object went away with the thread, silently.
    EXPECT_EQ(capture.count("Destroyed while thread is still running"), 0u);
    EXPECT_EQ(leftBehind->objectName(), COxString::fromUtf8("left behind"));
    EXPECT_EQ(first->thread(), nullptr);
    delete leftBehind;
}

} // namespace
