// Basic definitions shared by the whole framework: the export macro and the
// fixed-width integer names used across modules.
#ifndef OXGLOBAL_H
#define OXGLOBAL_H

#include <cstddef>
#include <cstdint>

// Symbols are hidden by default; OX_EXPORT marks the few that the shared
// library offers to applications.
#if defined(_WIN32)
#define OX_EXPORT __declspec(dllexport)
#else
#define OX_EXPORT __attribute__((visibility("default")))
#endif

#define OX_DISABLE_COPY(Class)            \
    Class(const Class&) = delete;         \
    Class& operator=(const Class&) = delete;

#define OX_LIKELY(x) __builtin_expect(!!(x), 1)
#define OX_UNLIKELY(x) __builtin_expect(!!(x), 0)

typedef unsigned char uchar;
typedef unsigned short ushort;
typedef unsigned int uint;
typedef unsigned long ulong;

#endif // OXGLOBAL_H
