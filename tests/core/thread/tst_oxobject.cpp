#include "core/thread/oxobject.h"

#include <gtest/gtest.h>

#include <string>

namespace {

int g_eventsDestroyed = 0;

class Note : public COxEvent {
public:
    explicit Note(char tag, uint32_t type = COxEvent::User) : COxEvent(type), tag(tag) {}
    ~Note() override { ++g_eventsDestroyed; }
    char tag;
};

// Appends its name and the note's tag to a shared log; onNote runs inside
// the handler.
class Recorder : public COxObject {
public:
    Recorder(char name, std::string* log, int* deleted = nullptr) : name(name), log(log), deleted(deleted) {}
    ~Recorder() override { if (deleted) ++*deleted; }
    bool event(COxEvent* e) override
    {
        if (e->type() < COxEvent::User)
            return COxObject::event(e);
        *log += std::string(1, name) + static_cast<Note*>(e)->tag;
        if (onNote)
            onNote(this);
        return true;
    }
    char name;
    std::string* log;
    int* deleted;
    void (*onNote)(Recorder*) = nullptr;
};

TEST(OxObject, PostedEventsArriveInOrderOncePerReceiverAndType)
{
    std::string log;
    Recorder a('a', &log), b('b', &log);
    COxObject::postEvent(&a, new Note('1'));
    COxObject::postEvent(&b, new Note('2', COxEvent::User + 1));
    COxObject::postEvent(&a, new Note('3'));
    COxObject::postEvent(&b, new Note('4'));
    COxObject::sendPostedEvents(&a);
    COxObject::sendPostedEvents(nullptr, COxEvent::User);
    COxObject::sendPostedEvents();
    EXPECT_EQ(log, "a1a3b4b2");

    // A handler that delivers again from inside: the inner call takes the
    // rest, the outer one skips what was taken.
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

TEST(OxObject, DeferredDeleteOutsideAnyLoop)
{
    // Only a call that asks for deferred deletes at this level delivers it;
    // a second one is dropped at once.
    std::string log;
    int deleted = 0;
    auto* doomed = new Recorder('d', &log, &deleted);
    doomed->deleteLater();
    g_eventsDestroyed = 0;
    COxObject::postEvent(doomed, new Note('x', COxEvent::DeferredDelete));
    EXPECT_EQ(g_eventsDestroyed, 1);
    COxObject::sendPostedEvents();
    EXPECT_EQ(deleted, 0);
    COxObject::sendPostedEvents(doomed, COxEvent::DeferredDelete);
    EXPECT_EQ(deleted, 1);
}

} // namespace
