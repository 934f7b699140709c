#include "core/thread/oxthreadstorage.h"
#include "core/thread/oxthreadstorage_p.h"

#include "core/log/oxdebug.h"
#include "core/thread/oxthread_p.h"

#include <atomic>
#include <new>
#include <pthread.h>

namespace {

// The registry of slot ids: one destructor per id, null for a free id.
struct SOxStorageRegistry {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    COxPlainArray<COxThreadStorage::Destructor> destructors;
};

// The registry pointer has two reserved values besides the real address.
SOxStorageRegistry* const kNotCreated = nullptr;
SOxStorageRegistry* const kTornDown = reinterpret_cast<SOxStorageRegistry*>(uintptr_t(1));

std::atomic<SOxStorageRegistry*> g_registry{kNotCreated};
pthread_once_t g_registryOnce = PTHREAD_ONCE_INIT;
// The registry lives here and is never destroyed: a thread still running at
// process exit may lock its mutex after tear-down and must find it intact.
alignas(SOxStorageRegistry) unsigned char g_registryStorage[sizeof(SOxStorageRegistry)];

void createRegistry()
{
    auto* registry = new (g_registryStorage) SOxStorageRegistry;
    SOxStorageRegistry* expected = kNotCreated;
    g_registry.compare_exchange_strong(expected, registry);
}

// At process exit the registry is switched off; from then on every registry
// operation does nothing.
struct SOxStorageTearDown {
    ~SOxStorageTearDown()
    {
        SOxStorageRegistry* registry = g_registry.exchange(kTornDown);
        if (registry != kNotCreated && registry != kTornDown) {
            pthread_mutex_lock(&registry->mutex);
            registry->destructors.clear();
            pthread_mutex_unlock(&registry->mutex);
        }
    }
} g_storageTearDown;

// Locks and returns the live registry, creating it on first use; null when
// the process is tearing down.
SOxStorageRegistry* lockRegistry()
{
    if (g_registry.load(std::memory_order_acquire) == kNotCreated)
        pthread_once(&g_registryOnce, createRegistry);
    SOxStorageRegistry* registry = g_registry.load(std::memory_order_acquire);
    if (registry == kNotCreated || registry == kTornDown)
        return nullptr;
    pthread_mutex_lock(&registry->mutex);
    if (g_registry.load(std::memory_order_acquire) == kTornDown) {
        pthread_mutex_unlock(&registry->mutex);
        return nullptr;
    }
    return registry;
}

enum class Lookup { Found, Destroyed, Unavailable };

// The destructor of slot id; Destroyed when the id is free or unknown.
Lookup lookupDestructor(int id, COxThreadStorage::Destructor* destructor)
{
    SOxStorageRegistry* registry = lockRegistry();
    if (!registry)
        return Lookup::Unavailable;
    *destructor = id < registry->destructors.size() ? registry->destructors[id] : nullptr;
    pthread_mutex_unlock(&registry->mutex);
    return *destructor ? Lookup::Found : Lookup::Destroyed;
}

// Stands in for a null destructor, so that its entry does not read as free.
void dropValue(void*) {}

// The current thread's value array, at least id + 1 entries long.
COxPlainArray<void*>* threadValues(int id, const char* caller)
{
    COxThreadData* data = COxThreadData::current();
    if (!data) {
        oxWarning("%s: COxThreadData is not available!", caller);
        return nullptr;
    }
    return data->storage.ensureSize(id + 1) ? &data->storage : nullptr;
}

} // namespace

COxThreadStorage::COxThreadStorage(Destructor destructor)
    : m_id(-1)
{
    SOxStorageRegistry* registry = lockRegistry();
    if (!registry)
        return;
    COxPlainArray<Destructor>& entries = registry->destructors;
    int id = 0;
    while (id < entries.size() && entries[id])
        ++id;
    if (entries.ensureSize(id + 1)) {
        entries[id] = destructor ? destructor : dropValue;
        m_id = id;
    }
    pthread_mutex_unlock(&registry->mutex);
}

COxThreadStorage::~COxThreadStorage()
{
    if (m_id < 0)
        return;
    SOxStorageRegistry* registry = lockRegistry();
    if (!registry)
        return;
    if (m_id < registry->destructors.size())
        registry->destructors[m_id] = nullptr;
    pthread_mutex_unlock(&registry->mutex);
}

void** COxThreadStorage::get() const
{
    if (m_id < 0)
        return nullptr;
    COxPlainArray<void*>* values = threadValues(m_id, "COxThreadStorage::get");
    if (!values)
        return nullptr;
    void** entry = &(*values)[m_id];
    return *entry ? entry : nullptr;
}

void** COxThreadStorage::set(void* value)
{
    if (m_id < 0)
        return nullptr;
    COxPlainArray<void*>* values = threadValues(m_id, "COxThreadStorage::set");
    if (!values)
        return nullptr;
    void* old = (*values)[m_id];
    if (old) {
        Destructor destructor = nullptr;
        bool found = lookupDestructor(m_id, &destructor) == Lookup::Found;
        (*values)[m_id] = nullptr;
        if (found)
            destructor(old);
        // The destructor may have used thread storage and grown the array:
        // index it afresh.
    }
    (*values)[m_id] = value;
    return &(*values)[m_id];
}

void OxThreadStorageFinish(COxPlainArray<void*>& values)
{
    while (!values.isEmpty()) {
        void* value = values.takeLast();
        if (!value)
            continue;
        const int id = values.size();
        COxThreadStorage::Destructor destructor = nullptr;
        switch (lookupDestructor(id, &destructor)) {
        case Lookup::Found:
            destructor(value);
            break;
        case Lookup::Destroyed:
            oxWarning("COxThreadStorage: Thread exited after COxThreadStorage %d destroyed", id);
            break;
        case Lookup::Unavailable: // process exit: leave the value alone
            break;
        }
    }
}
