// Internal: the arrays behind thread storage and the thread layer's hook into
// it.
#ifndef OXTHREADSTORAGE_P_H
#define OXTHREADSTORAGE_P_H

#include "core/oxglobal.h"

#include <cstdlib>

// A growable array of plain values (pointers and the like). New entries are
// null; growing at least doubles the capacity and reports a failure instead
// of throwing.
template <typename T>
class COxPlainArray {
public:
    COxPlainArray() = default;
    ~COxPlainArray() { std::free(m_items); }

    int size() const { return m_size; }
    bool isEmpty() const { return m_size == 0; }
    T& operator[](int i) { return m_items[i]; }
    const T& operator[](int i) const { return m_items[i]; }

    // Makes the array at least n entries long; false when memory runs out.
    bool ensureSize(int n)
    {
        if (n <= m_size)
            return true;
        if (n > m_capacity) {
            int capacity = m_capacity < 4 ? 8 : m_capacity * 2;
            if (capacity < n)
                capacity = n;
            T* items = static_cast<T*>(std::realloc(m_items, sizeof(T) * size_t(capacity)));
            if (!items)
                return false;
            m_items = items;
            m_capacity = capacity;
        }
        for (int i = m_size; i < n; ++i)
            m_items[i] = T();
        m_size = n;
        return true;
    }

    // Takes the last entry out, shortening the array by one.
    T takeLast() { return m_items[--m_size]; }

    void clear()
    {
        std::free(m_items);
        m_items = nullptr;
        m_size = m_capacity = 0;
    }

private:
    OX_DISABLE_COPY(COxPlainArray)
    T* m_items = nullptr;
    int m_size = 0;
    int m_capacity = 0;
};

// Runs when a thread ends: empties the thread's value array from the highest
// slot id down, handing every value to its slot's destructor (outside the
// registry lock, so destructors may use thread storage themselves). A value
// whose storage is gone is reported and left alone.
void OxThreadStorageFinish(COxPlainArray<void*>& values);

#endif // OXTHREADSTORAGE_P_H
