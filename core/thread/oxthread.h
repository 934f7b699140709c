// COxThread: an object that owns one detached system thread and calls its
// virtual run() on it.
//
//     class Decoder : public COxThread {
//     protected:
//         void run() override { ... }   // runs on the new thread
//     };
//
//     Decoder decoder;
//     decoder.setObjectName(COxString::fromLatin1("decoder")); // system thread name
//     decoder.start();
//     ...
//     decoder.wait();                   // no time limit
//
// The default run() enters the thread's event loop, which delivers the
// events posted to the thread's objects and their timer events, and returns
// when exit() or quit() is called:
//
//     COxThread worker;
//     worker.start();
//     decoderObject->moveToThread(&worker); // its events now run on worker
//     ...
//     worker.quit();
//     worker.wait();
//
// A thread object must outlive its thread: wait for it before destroying it.
#ifndef OXTHREAD_H
#define OXTHREAD_H

#include "core/thread/oxobject.h"

#include <climits>

class COxThreadPrivate;

class COxThread : public COxObject {
public:
    // The priority a thread records unless told otherwise.
    static const uint32_t DefaultPriority = 7;

    COxThread();
    ~COxThread() override;

    // Starts the thread; does nothing while it runs. The priority is recorded
    // only; the system scheduler is not changed.
    void start(uint32_t priority = DefaultPriority);

    // Waits until the thread has stopped running, at most ms milliseconds
    // (ULONG_MAX: no limit). True when the thread is not (or no longer)
    // running; false on timeout and when a thread waits on itself.
    bool wait(unsigned long ms = ULONG_MAX);

    // Asks the thread's event loop to return the code. Asked before the loop
    // runs, the next loop returns it at once without running.
    void exit(int code = 0);
    void quit() { exit(0); }

    // The stack size of the next start in bytes; 0 is the system default.
    void setStackSize(uint32_t size);
    uint32_t stackSize() const;

    // Records a new priority; refused while the thread is not running.
    void setPriority(uint32_t priority);
    uint32_t priority() const;

    bool isRunning() const;
    bool isFinished() const;

protected:
    explicit COxThread(COxThreadPrivate& dd);

    // Called by run() on the thread: runs the thread's event loop, which
    // delivers posted events and timer events until exit() or quit(), and
    // returns the exit code.
    int exec();

    // The thread's work. The default runs exec().
    virtual void run();

private:
    friend class COxThreadPrivate;
};

#endif // OXTHREAD_H
