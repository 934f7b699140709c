#include "core/thread/oxthreadstorage.h"

#include "core/thread/oxthread.h"
#include "core/thread/oxthread_p.h"

#include "oxlogcapture.h"
#include "threadtestsupport.h"

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

// Destructors record the value they get; values are tags, not allocations.
std::mutex g_mutex;
std::vector<int> g_destroyed;

void recordDestroyed(void* value)
{
    std::lock_guard<std::mutex> lock(g_mutex);
    g_destroyed.push_back(*static_cast<int*>(value));
}

std::vector<int> takeDestroyed()
{
    std::lock_guard<std::mutex> lock(g_mutex);
    std::vector<int> out;
    out.swap(g_destroyed);
    return out;
}

int g_tags[8] = {0, 1, 2, 3, 4, 5, 6, 7};

TEST(OxThreadStorage, IdsAreReusedFirstFit)
{
    auto* a = new COxThreadStorage(recordDestroyed);
    COxThreadStorage b(recordDestroyed);
    const int idA = a->id();
    EXPECT_GT(b.id(), idA);
    delete a;
    COxThreadStorage c(recordDestroyed);
    EXPECT_EQ(c.id(), idA);
    COxThreadStorage d(nullptr); // a null destructor still holds its id
    COxThreadStorage e(recordDestroyed);
    EXPECT_NE(d.id(), e.id());
    EXPECT_GT(e.id(), b.id());
}

TEST(OxThreadStorage, GetSetAndReplace)
{
    COxThreadStorage slot(recordDestroyed);
    takeDestroyed();
    // Never set: null, and the array has grown to cover the id.
    EXPECT_EQ(slot.get(), nullptr);
    ASSERT_GE(COxThreadData::current()->storage.size(), slot.id() + 1);

    void** entry = slot.set(&g_tags[1]);
    ASSERT_NE(entry, nullptr);
    EXPECT_TRUE(*entry == &g_tags[1] && slot.get() == entry);
    EXPECT_TRUE(takeDestroyed().empty());
    // Replacing hands the old value to the destructor.
    slot.set(&g_tags[2]);
    EXPECT_EQ(*slot.get(), &g_tags[2]);
    EXPECT_EQ(takeDestroyed(), std::vector<int>({1}));
    slot.set(nullptr);
    EXPECT_EQ(slot.get(), nullptr);
    EXPECT_EQ(takeDestroyed(), std::vector<int>({2}));
}

// Sets tags 0..n-1 in slots[0..n-1] and ends.
class SettingThread : public COxThread {
public:
    std::vector<COxThreadStorage*> slots;

protected:
    void run() override
    {
        for (size_t i = 0; i < slots.size(); ++i)
            slots[i]->set(&g_tags[i]);
    }
};

COxThreadStorage* g_nested = nullptr;

// A destructor that itself uses thread storage.
void setNestedAndRecord(void* value)
{
    g_nested->set(&g_tags[7]);
    recordDestroyed(value);
}

TEST(OxThreadStorage, ThreadExitDestroysFromTheHighestIdDown)
{
    COxThreadStorage s0(recordDestroyed), s1(recordDestroyed), s2(recordDestroyed);
    ASSERT_TRUE(s0.id() < s1.id() && s1.id() < s2.id());
    takeDestroyed();

    // Set in the order 0, 1, 2 on purpose, destroyed 2, 1, 0.
    SettingThread thread;
    thread.slots = {&s0, &s1, &s2};
    thread.start();
    ASSERT_TRUE(thread.wait());
    EXPECT_EQ(takeDestroyed(), std::vector<int>({2, 1, 0}));

    // A foreign thread's values go the same way when its data is destroyed,
    // and a destructor may use storage again (its value is destroyed too).
    COxThreadStorage nested(recordDestroyed);
    g_nested = &nested;
    COxThreadStorage top(setNestedAndRecord);
    std::thread foreign([&] {
        s0.set(&g_tags[0]);
        s2.set(&g_tags[2]);
        top.set(&g_tags[5]);
    });
    foreign.join();
    EXPECT_EQ(takeDestroyed(), std::vector<int>({5, 7, 2, 0}));
    g_nested = nullptr;
}

class BlockedThread : public COxThread {
public:
    COxThreadStorage* slot = nullptr;
    Gate stored;
    Gate release;

protected:
    void run() override
    {
        slot->set(&g_tags[3]);
        stored.open();
        release.pass();
    }
};

TEST(OxThreadStorage, ValuesOfDestroyedStorageAreReportedNotDestroyed)
{
    OxLogCapture capture;
    takeDestroyed();
    auto* slot = new COxThreadStorage(recordDestroyed);
    const int id = slot->id();
    BlockedThread thread;
    thread.slot = slot;
    thread.start();
    thread.stored.pass();
    delete slot;
    thread.release.open();
    ASSERT_TRUE(thread.wait());
    EXPECT_TRUE(takeDestroyed().empty());
    EXPECT_EQ(capture.count("COxThreadStorage: Thread exited after COxThreadStorage " + std::to_string(id) +
                            " destroyed"),
              1u);
}

} // namespace
