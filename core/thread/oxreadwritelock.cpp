#include "core/thread/oxreadwritelock.h"

#include "core/log/oxdebug.h"

COxReadWriteLock::COxReadWriteLock()
{
    int rc = pthread_rwlock_init(&m_lock, nullptr);
    if (rc != 0)
        oxError("pthread_rwlock_init() failed, errno=%d", rc);
}

COxReadWriteLock::~COxReadWriteLock()
{
    int rc = pthread_rwlock_destroy(&m_lock);
    if (rc != 0)
        oxError("pthread_rwlock_destroy() failed, errno=%d", rc);
}

void COxReadWriteLock::lockForRead()
{
    int rc = pthread_rwlock_rdlock(&m_lock);
    if (rc != 0)
        oxError("pthread_rwlock_rdlock() failed, errno=%d", rc);
}

void COxReadWriteLock::lockForWrite()
{
    int rc = pthread_rwlock_wrlock(&m_lock);
    if (rc != 0)
        oxError("pthread_rwlock_wrlock() failed, errno=%d", rc);
}

void COxReadWriteLock::unlock()
{
    int rc = pthread_rwlock_unlock(&m_lock);
    if (rc != 0)
        oxError("pthread_rwlock_unlock() failed, errno=%d", rc);
}
