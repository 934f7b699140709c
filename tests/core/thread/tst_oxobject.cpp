#include "core/thread/oxobject.h"

#include "oxlogcapture.h"

#include <gtest/gtest.h>

#include <string>

namespace {

const uint32_t kNote = COxEvent::User + 1;

// Counts how many events are destroyed, to show that none leaks or is
// destroyed twice.
int g_eventsDestroyed = 0;

class Note : public COxEvent {
public:
    explicit Note(char tag, uint32_t type = kNote) : COxEvent(type), tag(tag) {}
    ~Note() override { ++g_eventsDestroyed; }
    char tag;
};

// Appends "<name><tag>" to a shared log for every note; onNote runs inside
// the handler.
class Recorder : public COxObject {
public:
    Recorder(char name, std::string* log, int* deleted = nullptr) : name(name), log(log), deleted(deleted) {}
    ~Recorder() override
    {
        if (deleted)
            ++*deleted;
    }
    bool event(COxEvent* e) override
    {
        if (e->type() < COxEvent::User)
            return COxObject::event(e);
        *log += name;
        *log += static_cast<Note*>(e)->tag;
        if (onNote)
            onNote(this);
        return true;
    }
    char name;
    std::string* log;
    int* deleted;
    void (*onNote)(Recorder*) = nullptr;
};

TEST(OxObject, NotifyAndTheBaseHandler)
{
    OxLogCapture capture;
    COxObject object;
    COxEvent timer(COxEvent::Timer), user(COxEvent::User), below(COxEvent::User - 1), none(0);
    EXPECT_TRUE(COxObject::notify(&object, &timer));
    EXPECT_TRUE(COxObject::notify(&object, &user));
    EXPECT_FALSE(COxObject::notify(&object, &below));
    EXPECT_FALSE(COxObject::notify(&object, &none));
    EXPECT_FALSE(COxObject::notify(nullptr, &user));
    EXPECT_EQ(capture.count("COxObject::notify: Unexpected null receiver"), 1u);

    g_eventsDestroyed = 0;
    COxObject::postEvent(nullptr, new Note('x'));
    EXPECT_EQ(capture.count("COxObject::postEvent: Unexpected null receiver"), 1u);
    EXPECT_EQ(g_eventsDestroyed, 1);
}

TEST(OxObject, PostedEventsArriveInOrderOncePerReceiverAndType)
{
    std::string log;
    Recorder a('a', &log), b('b', &log);
    COxObject::postEvent(&a, new Note('1'));
    COxObject::postEvent(&b, new Note('2', kNote + 1));
    COxObject::postEvent(&a, new Note('3'));
    COxObject::postEvent(&b, new Note('4'));
    COxObject::sendPostedEvents(&a);
    EXPECT_EQ(log, "a1a3");
    COxObject::sendPostedEvents(nullptr, kNote);
    EXPECT_EQ(log, "a1a3b4");
    COxObject::sendPostedEvents();
    EXPECT_EQ(log, "a1a3b4b2");

    // A handler that delivers again from inside: the inner call takes the
    // rest, the outer one skips what was taken, nothing arrives twice.
    log.clear();
    a.onNote = [](Recorder* self) {
        self->onNote = nullptr;
        COxObject::postEvent(self, new Note('9'));
        COxObject::sendPostedEvents();
    };
    COxObject::postEvent(&a, new Note('1'));
    COxObject::postEvent(&b, new Note('2'));
    COxObject::postEvent(&a, new Note('3'));
    COxObject::sendPostedEvents();
    COxObject::sendPostedEvents();
    EXPECT_EQ(log, "a1b2a3a9");
}

TEST(OxObject, DeferredDeleteAndDestructionWithQueuedEvents)
{
    std::string log;
    int deleted = 0;
    // Posted outside any loop: only a call that asks for deferred deletes
    // at this level delivers them, and twice posted deletes once.
    auto* doomed = new Recorder('d', &log, &deleted);
    doomed->deleteLater();
    g_eventsDestroyed = 0;
    COxObject::postEvent(doomed, new Note('x', COxEvent::DeferredDelete));
    EXPECT_EQ(g_eventsDestroyed, 1); // dropped at once
    COxObject::sendPostedEvents();
    EXPECT_EQ(deleted, 0);
    COxObject::sendPostedEvents(doomed, COxEvent::DeferredDelete);
    EXPECT_EQ(deleted, 1);

    // Deleted with events queued: they go with it, the others still arrive.
    Recorder keeper('k', &log);
    auto* victim = new Recorder('v', &log);
    COxObject::postEvent(victim, new Note('1'));
    COxObject::postEvent(&keeper, new Note('2'));
    COxObject::postEvent(victim, new Note('3'));
    delete victim;
    EXPECT_EQ(g_eventsDestroyed, 3);
    COxObject::sendPostedEvents();
    EXPECT_EQ(log, "k2");
    EXPECT_EQ(g_eventsDestroyed, 4);
}

TEST(OxObject, TimersNeedAThreadStartedByTheFramework)
{
    OxLogCapture capture;
    COxObject object; // this thread was adopted
    EXPECT_EQ(object.startTimer(0), 0);
    EXPECT_EQ(object.startTimer(-5), 0);
    EXPECT_EQ(capture.count("COxObject::startTimer: Timers cannot have negative or zero intervals"), 2u);
    EXPECT_EQ(object.startTimer(10), 0);
    EXPECT_EQ(capture.count("COxObject::startTimer: Timers can only be used with threads started with COxThread"), 1u);
    object.killTimer(0);
    object.killTimer(7); // no timer was ever started: nothing to say
    EXPECT_EQ(capture.size(), 3u);
}

} // namespace
