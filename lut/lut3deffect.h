// Lut3DEffect: an effect handle. It owns the colour-coefficient record and,
// when rendering on several threads, the worker pool; during a render call it
// also holds that call's arguments, which is how the band workers (which only
// receive the effect pointer and their band) reach the frame.
#ifndef LUT3DEFFECT_H
#define LUT3DEFFECT_H

#include "lut/oxlut3d.h"

#include <cstdint>

struct LutColorCoefficients;
struct Lut3DTable;
class LutWorkerPool;

struct Lut3DEffect {
    LutColorCoefficients* coefficients; // owned, 64-byte aligned; rewritten by every render
    const Lut3DTable* table;            // borrowed for the current render
    const LutImage* src;                // borrowed for the current render
    const LutImage* dst;                // borrowed for the current render
    uint32_t pixelFormat;               // 0 NV12, 1 NV21
    uint32_t colorStandard;
    uint32_t range;
    uint32_t width;
    uint32_t height;
    int32_t reserved;                   // stored, never read
    LutWorkerPool* pool;                // owned, null when rendering on the caller's thread
    uint32_t workerCount;               // workers the pool was built with
};

#endif // LUT3DEFFECT_H
