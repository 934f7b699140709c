#include "core/thread/oxeventdispatcher_p.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

const int64_t kMs = 1000000;

int64_t readClock(void* context)
{
    return *static_cast<int64_t*>(context);
}

// Fires every due timer at the given time and records "id@ms".
void fireAt(COxEventDispatcher& dispatcher, int64_t now, std::vector<std::string>& fired)
{
    int id;
    COxObject* object;
    while (dispatcher.takeDueTimer(now, &id, &object))
        fired.push_back(std::to_string(id) + "@" + std::to_string(now / kMs));
}

TEST(OxEventDispatcher, TimersKeepTheirGridWithoutDriftOrBursts)
{
    int64_t now = 0;
    COxEventDispatcher dispatcher(SOxClock{readClock, &now});
    ASSERT_TRUE(dispatcher.isValid());
    EXPECT_EQ(dispatcher.remainingTime(now), -1);
    auto* a = reinterpret_cast<COxObject*>(0x10);
    auto* b = reinterpret_cast<COxObject*>(0x20);
    ASSERT_TRUE(dispatcher.registerTimer(1, 10, a) && dispatcher.registerTimer(2, 25, b));
    EXPECT_EQ(dispatcher.remainingTime(now + kMs / 2), 10); // 9.5 ms, rounded up

    // Looked at every 7 ms, so mostly late: the due times stay on the grid
    // of 10 and 25 ms, and equal due times keep the order they were set in.
    std::vector<std::string> fired;
    for (int64_t t = 3; t <= 103; t += 7)
        fireAt(dispatcher, t * kMs, fired);
    const std::vector<std::string> expected = {"1@10", "1@24", "2@31", "1@31", "1@45", "2@52",
        "1@52", "1@66", "1@73", "2@80", "1@80", "1@94", "2@101", "1@101"};
    EXPECT_EQ(fired, expected);

    // Missed periods fire once, and the next due time is the grid's.
    fired.clear();
    fireAt(dispatcher, 347 * kMs, fired);
    EXPECT_EQ(fired, (std::vector<std::string>{"1@347", "2@347"}));
    EXPECT_EQ(dispatcher.remainingTime(347 * kMs), 3);

    dispatcher.registerTimer(3, 5, a);
    EXPECT_EQ(dispatcher.unregisterTimers(a), 2);
    EXPECT_TRUE(dispatcher.unregisterTimer(2));
    EXPECT_FALSE(dispatcher.unregisterTimer(2));
    EXPECT_EQ(dispatcher.timerCount(), 0);
}

TEST(OxEventDispatcher, TimerIdsAreTheLowestFreeOnes)
{
    for (int id = 1; id <= 70; ++id) // across a bitmap word
        ASSERT_EQ(OxAllocateTimerId(), id);
    OxReleaseTimerId(65);
    OxReleaseTimerId(3);
    EXPECT_EQ(OxAllocateTimerId(), 3);
    EXPECT_EQ(OxAllocateTimerId(), 65);
    EXPECT_EQ(OxAllocateTimerId(), 71);
    for (int id = 1; id <= 71; ++id)
        OxReleaseTimerId(id);
}

} // namespace
