// Posted events through a thread's event loop: events delivered per second
// with one poster and with 8 posters to one receiver, and the wake-up
// latency of an idle loop (from postEvent to the receiver's handler).
#include "core/thread/oxobject.h"
#include "core/thread/oxthread.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

class Stamped : public COxEvent {
public:
    explicit Stamped(Clock::time_point posted) : COxEvent(COxEvent::User), posted(posted) {}
    Clock::time_point posted;
};

class Receiver : public COxObject {
public:
    bool event(COxEvent* e) override
    {
        if (e->type() != COxEvent::User)
            return COxObject::event(e);
        latencyNs.store((Clock::now() - static_cast<Stamped*>(e)->posted).count(), std::memory_order_relaxed);
        delivered.fetch_add(1, std::memory_order_release);
        return true;
    }
    std::atomic<int64_t> delivered{0};
    std::atomic<int64_t> latencyNs{0};
};

// A receiver living in a thread that runs its event loop.
struct Loop {
    Loop()
    {
        thread.start();
        receiver->moveToThread(&thread);
    }
    ~Loop()
    {
        thread.quit();
        thread.wait();
        delete receiver;
    }
    COxThread thread;
    Receiver* receiver = new Receiver;
};

void BM_PostedEventsDelivered(benchmark::State& state)
{
    const int posters = int(state.range(0));
    const int perPoster = 200000 / posters;
    Loop loop;
    int64_t expected = 0;
    for (auto _ : state) {
        std::vector<std::thread> threads;
        for (int p = 0; p < posters; ++p) {
            threads.emplace_back([&loop, perPoster] {
                const Clock::time_point now = Clock::now();
                for (int i = 0; i < perPoster; ++i)
                    COxObject::postEvent(loop.receiver, new Stamped(now));
            });
        }
        for (std::thread& t : threads)
            t.join();
        expected += int64_t(posters) * perPoster;
        while (loop.receiver->delivered.load(std::memory_order_acquire) < expected)
            std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
    state.SetItemsProcessed(expected);
}

void BM_IdleLoopWakeUp(benchmark::State& state)
{
    Loop loop;
    int64_t delivered = 0;
    for (auto _ : state) {
        // Give the loop time to fall asleep again.
        std::this_thread::sleep_for(std::chrono::microseconds(300));
        COxObject::postEvent(loop.receiver, new Stamped(Clock::now()));
        ++delivered;
        while (loop.receiver->delivered.load(std::memory_order_acquire) < delivered)
            std::this_thread::yield();
        state.SetIterationTime(double(loop.receiver->latencyNs.load(std::memory_order_relaxed)) * 1e-9);
    }
}

BENCHMARK(BM_PostedEventsDelivered)->Arg(1)->Arg(8)->ArgName("posters")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_IdleLoopWakeUp)->UseManualTime()->Iterations(3000)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
