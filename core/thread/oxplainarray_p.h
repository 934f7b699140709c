// Internal: a growable array of plain values (pointers, ids, small records
// without constructors), used by the threading layer wherever a container
// must report running out of memory instead of throwing.
#ifndef OXPLAINARRAY_P_H
#define OXPLAINARRAY_P_H

#include "core/oxglobal.h"

#include <cstdlib>
#include <cstring>
#include <type_traits>

// New entries are value-initialised (null); growing at least doubles the
// capacity, and an array that has become mostly empty gives memory back.
template <typename T>
class COxPlainArray {
    static_assert(std::is_trivially_copyable<T>::value, "entries are moved with memmove");

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
            if (!reallocate(capacity < n ? n : capacity))
                return false;
        }
        for (int i = m_size; i < n; ++i)
            m_items[i] = T();
        m_size = n;
        return true;
    }

    bool append(const T& value) { return insert(m_size, value); }

    // Inserts before entry i (0 <= i <= size); false when memory runs out.
    bool insert(int i, const T& value)
    {
        if (!ensureSize(m_size + 1))
            return false;
        std::memmove(static_cast<void*>(m_items + i + 1), m_items + i, sizeof(T) * size_t(m_size - 1 - i));
        m_items[i] = value;
        return true;
    }

    void removeAt(int i)
    {
        std::memmove(static_cast<void*>(m_items + i), m_items + i + 1, sizeof(T) * size_t(m_size - 1 - i));
        --m_size;
        shrinkIfSparse();
    }

    // Removes every entry for which remove(entry) holds, keeping the order of
    // the others. Returns the number removed.
    template <typename Predicate>
    int removeIf(Predicate remove)
    {
        int kept = 0;
        for (int i = 0; i < m_size; ++i) {
            if (!remove(m_items[i]))
                m_items[kept++] = m_items[i];
        }
        const int removed = m_size - kept;
        m_size = kept;
        shrinkIfSparse();
        return removed;
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

    bool reallocate(int capacity)
    {
        T* items = static_cast<T*>(std::realloc(static_cast<void*>(m_items), sizeof(T) * size_t(capacity)));
        if (!items)
            return false;
        m_items = items;
        m_capacity = capacity;
        return true;
    }

    // A failed shrink keeps the larger block, which is harmless.
    void shrinkIfSparse()
    {
        if (m_capacity > 64 && m_size < m_capacity / 4)
            reallocate(m_size * 2 > 8 ? m_size * 2 : 8);
    }

    T* m_items = nullptr;
    int m_size = 0;
    int m_capacity = 0;
};

#endif // OXPLAINARRAY_P_H
