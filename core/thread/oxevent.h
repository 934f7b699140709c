// COxEvent: what objects receive, either sent at once through
// COxObject::notify or posted to the receiver's thread with
// COxObject::postEvent. Subclass it to carry data; types from User up are
// free for applications.
//
//     class FrameReady : public COxEvent {
//     public:
//         explicit FrameReady(int index) : COxEvent(COxEvent::User + 1), index(index) {}
//         int index;
//     };
//     COxObject::postEvent(consumer, new FrameReady(7)); // the queue owns it now
//
// Events are allocated for every post, so they keep their few fields
// inline rather than behind a private record.
#ifndef OXEVENT_H
#define OXEVENT_H

#include "core/oxglobal.h"

class COxEvent {
public:
    enum Type : uint32_t {
        None = 0,
        Timer = 1, // a COxTimerEvent
        ThreadChange = 2, // sent just before the object moves to another thread
        DeferredDelete = 3, // the receiver deletes itself
        User = 1000
    };

    explicit COxEvent(uint32_t type)
        : m_type(type)
        , m_loopLevel(0)
    {
    }
    virtual ~COxEvent();

    uint32_t type() const { return m_type; }

private:
    OX_DISABLE_COPY(COxEvent)
    friend class COxObject;
    friend class COxObjectPrivate;

    uint32_t m_type;
    // For a deferred delete: the loop level of the receiver's thread when it
    // was posted from that thread, 0 when it was posted outside any loop or
    // from another thread.
    int m_loopLevel;
};

class COxTimerEvent : public COxEvent {
public:
    explicit COxTimerEvent(int timerId)
        : COxEvent(Timer)
        , m_timerId(timerId)
    {
    }
    ~COxTimerEvent() override;

    int timerId() const { return m_timerId; }

private:
    int m_timerId;
};

#endif // OXEVENT_H
