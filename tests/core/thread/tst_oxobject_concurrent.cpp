#include "core/thread/oxobject.h"
#include "core/thread/oxthread.h"

#include "oxlogcapture.h"
#include "threadtestsupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <pthread.h>
#include <thread>
#include <vector>

#ifdef __has_feature
#define OX_TEST_HAS_FEATURE(x) __has_feature(x)
#else
#define OX_TEST_HAS_FEATURE(x) 0
#endif

namespace {

using Clock = std::chrono::steady_clock;
using Ms = std::chrono::milliseconds;

const uint32_t kCall = COxEvent::User + 1;
const uint32_t kNumbered = COxEvent::User + 2;

// A correct implementation gets there soon; a faulty one fails the run
// instead of hanging it.
const int kPatienceMs = 30000;
void require(bool happened)
{
    if (!happened) {
        std::fprintf(stderr, "an event or the end of a loop never came\n");
        std::abort();
    }
}

// Runs a function in the receiver's thread.
struct Call : COxEvent {
    explicit Call(std::function<void()> f) : COxEvent(kCall), f(std::move(f)) {}
    std::function<void()> f;
};

struct Numbered : COxEvent {
    Numbered(int poster, int sequence) : COxEvent(kNumbered), poster(poster), sequence(sequence) {}
    int poster, sequence;
};

std::atomic<int> g_numberedDelivered{0};

// Runs calls, counts timer events, checks that numbered events arrive in
// order per poster and notes the thread they arrive on.
struct Probe : COxObject {
    explicit Probe(int posters = 1, int perPoster = 0, std::atomic<int>* deleted = nullptr)
        : next(size_t(posters), 0), expected(posters * perPoster), deleted(deleted) {}
    ~Probe() override { if (deleted) ++*deleted; }
    bool event(COxEvent* e) override
    {
        ticks += e->type() == COxEvent::Timer;
        if (e->type() == kCall)
            static_cast<Call*>(e)->f();
        if (e->type() == kNumbered) {
            auto* n = static_cast<Numbered*>(e);
            ++g_numberedDelivered;
            lastThread = pthread_self();
            disorder += n->sequence != next[size_t(n->poster)];
            next[size_t(n->poster)] = n->sequence + 1;
            if (++received == expected)
                allReceived.open();
        }
        return COxObject::event(e);
    }
    std::atomic<int> ticks{0};
    pthread_t lastThread{};
    std::vector<int> next;
    int disorder = 0, received = 0;
    const int expected;
    Gate allReceived;
    std::atomic<int>* deleted;
};

// A thread running its loop, with a probe living there to run calls.
struct Loop {
    Loop()
    {
        thread.start();
        probe->moveToThread(&thread);
    }
    ~Loop()
    {
        thread.quit();
        require(thread.wait(kPatienceMs));
        delete probe;
    }
    // Runs f in the loop's thread and waits for it.
    void run(std::function<void()> f)
    {
        Gate done;
        COxObject::postEvent(probe, new Call([&] { f(); done.open(); }));
        require(done.passWithin(Ms(kPatienceMs)));
    }
    COxThread thread;
    Probe* probe = new Probe;
};

TEST(OxObjectConcurrent, TimersFireOnTheirIntervalAndStopWhenKilled)
{
    OxLogCapture capture;
    Loop loop;
    Probe *ticker = nullptr, *other = nullptr;
    int id = 0, otherId = 0, ticks = 0, otherTicks = 0;
    Clock::time_point started;
    loop.run([&] {
        ticker = new Probe;
        other = new Probe;
        started = Clock::now();
        id = ticker->startTimer(20);
        otherId = other->startTimer(5);
    });
    ASSERT_TRUE(id > 0 && otherId > 0 && id != otherId);
    // Refused from this thread, which the framework did not start; the
    // timer keeps running.
    Probe local;
    COxEvent user(COxEvent::User);
    EXPECT_FALSE(COxObject::notify(nullptr, &user));
    COxObject::postEvent(nullptr, new COxEvent(COxEvent::User));
    EXPECT_EQ(local.startTimer(0), 0);
    EXPECT_EQ(local.startTimer(10), 0);
    local.killTimer(7); // no timer was ever started: nothing to say
    EXPECT_EQ(ticker->startTimer(20), 0);
    ticker->killTimer(id);
    ticker->moveToThread(nullptr);
    COxObject::sendPostedEvents(ticker);
    const char* refusals[] = {"COxObject::notify: Unexpected null receiver",
        "COxObject::postEvent: Unexpected null receiver",
        "COxObject::startTimer: Timers cannot have negative or zero intervals",
        "COxObject::startTimer: Timers can only be used with threads started with COxThread",
        "COxObject::startTimer: Timers cannot be started from another thread",
        "COxObject::killTimer: Timers cannot be stopped from another thread",
        "COxObject::moveToThread: Current thread (0x",
        "COxObject::sendPostedEvents: Cannot send posted events for objects in another thread"};
    ASSERT_EQ(capture.size(), 8u);
    for (size_t i = 0; i < 8; ++i)
        EXPECT_NE(capture.lines()[i].text.find(refusals[i]), std::string::npos) << refusals[i];
    std::this_thread::sleep_for(Ms(400));

    loop.run([&] {
        const double elapsedMs = std::chrono::duration<double, std::milli>(Clock::now() - started).count();
        // Never more often than the interval; the lower bound is loose, for
        // a loaded machine.
        EXPECT_LE(ticker->ticks, int(elapsedMs / 20));
        EXPECT_GE(ticker->ticks, int(elapsedMs / 20 / 4));
        ticker->killTimer(otherId); // not its own: refused
        ticker->killTimer(id);
        ticks = ticker->ticks;
        otherTicks = other->ticks;
    });
    EXPECT_EQ(capture.count("COxObject::killTimer(): Error: timer id " + std::to_string(otherId)), 1u);
    std::this_thread::sleep_for(Ms(100));
    loop.run([&] {
        EXPECT_EQ(ticker->ticks, ticks);
        EXPECT_GT(other->ticks, otherTicks);
        EXPECT_EQ(ticker->startTimer(50), id); // the lowest free id again
    });

    // Destroyed from another thread (while the loop waits for it): warned,
    // and its timer goes with it.
    loop.run([&] { std::thread([&] { delete other; }).join(); });
    std::this_thread::sleep_for(Ms(30)); // time for its timer to fire, had it stayed
    EXPECT_EQ(capture.count("COxObject::~COxObject: Timers cannot be stopped from another thread"), 1u);
    // Moved away, it leaves its timers behind, stopped.
    loop.run([&] { ticker->moveToThread(nullptr); });
    EXPECT_EQ(capture.count("Stop all object's timers while moving object to another thread!"), 1u);
    delete ticker;
}

TEST(OxObjectConcurrent, ManyPostersLoseAndDuplicateNothing)
{
#if defined(OX_TEST_EMULATED)
    const int kEach = 10000; // ten times slower and more
#elif defined(__SANITIZE_THREAD__) || OX_TEST_HAS_FEATURE(thread_sanitizer)
    const int kEach = 25000; // every lock and event is tracked
#else
    const int kEach = 100000;
#endif
    const int kPosters = 8;
    Loop loop;
    auto* sink = new Probe(kPosters, kEach);
    sink->moveToThread(&loop.thread);
    std::vector<std::thread> posters;
    for (int p = 0; p < kPosters; ++p) {
        posters.emplace_back([sink, p] {
            for (int i = 0; i < kEach; ++i)
                COxObject::postEvent(sink, new Numbered(p, i));
        });
    }
    for (std::thread& poster : posters)
        poster.join();
    require(sink->allReceived.passWithin(Ms(kPatienceMs)));
    loop.run([&] {
        EXPECT_EQ(sink->received, kPosters * kEach);
        EXPECT_EQ(sink->disorder, 0);
        delete sink;
    });
}

TEST(OxObjectConcurrent, MovesCarryEventsAndDeferredDeletesWaitForTheirLevel)
{
    std::atomic<int> deleted{0};
    Loop loop;
    auto* moving = new Probe(1, 3, &deleted);
    for (int i = 0; i < 3; ++i)
        COxObject::postEvent(moving, new Numbered(0, i));
    moving->moveToThread(&loop.thread);
    require(moving->allReceived.passWithin(Ms(kPatienceMs)));
    loop.run([&] {
        EXPECT_EQ(moving->disorder, 0);
        EXPECT_TRUE(pthread_equal(moving->lastThread, pthread_self()));
        // Not while this handler runs, even when it delivers again; once
        // control is back in the loop, and once only.
        moving->deleteLater();
        moving->deleteLater();
        COxObject::sendPostedEvents();
        EXPECT_EQ(deleted, 0);
    });
    loop.run([] {});
    EXPECT_EQ(deleted, 1);

    // Asked from another thread: the next round of the loop deletes it.
    auto* remote = new Probe(1, 0, &deleted);
    remote->moveToThread(&loop.thread);
    remote->deleteLater();
    loop.run([] {});
    EXPECT_EQ(deleted, 2);

    // Deleted while its events wait in the queue: none of them reaches it.
    auto* victim = new Probe;
    victim->moveToThread(&loop.thread);
    const int before = g_numberedDelivered;
    loop.run([&] {
        std::thread([&] {
            for (int i = 0; i < 100; ++i)
                COxObject::postEvent(victim, new Numbered(0, i));
            delete victim;
        }).join();
    });
    loop.run([] {});
    EXPECT_EQ(g_numberedDelivered, before);
}

// A poster reads the receiver's thread while the receiver leaves it and the
// thread ends and goes: the poster must not lock the queue of freed data
// (the sanitizers see the freed or destroyed mutex otherwise).
TEST(OxObjectConcurrent, PostingWhileTheReceiverLeavesAThreadThatEnds)
{
    struct Leaver : COxThread {
        COxObject* object = nullptr;
        Gate arrived;
        void run() override
        {
            arrived.pass();
            object->moveToThread(nullptr);
        }
    };
#if defined(OX_TEST_EMULATED)
    const int kRounds = 100;
#else
    const int kRounds = 1000;
#endif
    auto* receiver = new COxObject;
    receiver->moveToThread(nullptr); // from no thread any thread may move it
    std::atomic<bool> done{false};
    std::thread poster([&] {
        while (!done)
            COxObject::postEvent(receiver, new COxEvent(kNumbered));
    });
    for (int i = 0; i < kRounds; ++i) {
        auto* leaver = new Leaver;
        leaver->object = receiver;
        leaver->start();
        receiver->moveToThread(leaver);
        leaver->arrived.open();
        require(leaver->wait(kPatienceMs));
        delete leaver;
    }
    done = true;
    poster.join();
    delete receiver;
}

} // namespace
