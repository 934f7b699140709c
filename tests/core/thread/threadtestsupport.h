// A one-shot gate for the thread tests: opened once, every waiter passes from
// then on.
#ifndef TESTS_CORE_THREAD_THREADTESTSUPPORT_H
#define TESTS_CORE_THREAD_THREADTESTSUPPORT_H

#include <chrono>
#include <future>

class Gate {
public:
    void open() { m_promise.set_value(); }
    void pass() const { m_opened.wait(); }
    bool passWithin(std::chrono::milliseconds limit) const
    {
        return m_opened.wait_for(limit) == std::future_status::ready;
    }

private:
    std::promise<void> m_promise;
    std::shared_future<void> m_opened = m_promise.get_future().share();
};

#endif // TESTS_CORE_THREAD_THREADTESTSUPPORT_H
