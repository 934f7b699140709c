// Per-thread slots. Each COxThreadStorage is one slot id; every thread keeps
// its own value for it, and a value that a thread still holds when it ends is
// handed to the slot's destructor.
//
//     static void freeBuffer(void* p) { free(p); }
//     COxThreadStorage buffers(freeBuffer);
//     void** entry = buffers.get();
//     char* buffer = entry ? static_cast<char*>(*entry) : nullptr;
//     if (!buffer)
//         buffers.set(buffer = static_cast<char*>(malloc(256)));
//
// Slot ids come from a process-wide registry: the lowest free id is taken,
// so ids of destroyed storages are reused. Destroying a storage does not
// destroy the values threads hold for it; those are reported and left alone
// when their threads end.
#ifndef OXTHREADSTORAGE_H
#define OXTHREADSTORAGE_H

#include "core/oxglobal.h"

class COxThreadStorage {
public:
    typedef void (*Destructor)(void*);

    // A null destructor is allowed: values are then simply dropped.
    explicit COxThreadStorage(Destructor destructor);
    ~COxThreadStorage();

    // The slot id, or -1 when the storage was made during process tear-down.
    int id() const { return m_id; }

    // The address of this thread's entry when it holds a value, else null.
    void** get() const;
    // Stores the value for this thread. A value already there is passed to
    // the destructor first. Returns the address of the entry (null when the
    // thread has no thread data).
    void** set(void* value);

private:
    OX_DISABLE_COPY(COxThreadStorage)
    int m_id;
};

#endif // OXTHREADSTORAGE_H
