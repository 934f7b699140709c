// A POSIX read-write lock behind an object, with scoped lockers.
//
//     COxReadWriteLock lock;
//     {
//         COxReadLocker reading(&lock);   // shared with other readers
//         ...
//     }
//     {
//         COxWriteLocker writing(&lock);  // exclusive
//         ...
//     }
//
// Every failing pthread call is reported with its return value and otherwise
// ignored: callers carry on as if the lock were held. A locker built with a
// null lock does nothing.
#ifndef OXREADWRITELOCK_H
#define OXREADWRITELOCK_H

#include "core/oxglobal.h"

#include <pthread.h>

class COxReadWriteLock {
public:
    COxReadWriteLock();
    ~COxReadWriteLock();

    void lockForRead();
    void lockForWrite();
    void unlock();

private:
    OX_DISABLE_COPY(COxReadWriteLock)
    pthread_rwlock_t m_lock;
};

class COxReadLocker {
public:
    explicit COxReadLocker(COxReadWriteLock* lock)
        : m_lock(lock)
    {
        if (m_lock)
            m_lock->lockForRead();
    }
    ~COxReadLocker()
    {
        if (m_lock)
            m_lock->unlock();
    }

private:
    OX_DISABLE_COPY(COxReadLocker)
    COxReadWriteLock* m_lock;
};

class COxWriteLocker {
public:
    explicit COxWriteLocker(COxReadWriteLock* lock)
        : m_lock(lock)
    {
        if (m_lock)
            m_lock->lockForWrite();
    }
    ~COxWriteLocker()
    {
        if (m_lock)
            m_lock->unlock();
    }

private:
    OX_DISABLE_COPY(COxWriteLocker)
    COxReadWriteLock* m_lock;
};

#endif // OXREADWRITELOCK_H
