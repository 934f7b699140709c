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

// Allocates an effect with its coefficient record; threads as for
// OxcLut3DCreateEffect (1: no pool, 0: one worker per online processor).
Lut3DEffect* lutEffectCreate(uint32_t threads);
// Stops and joins the pool, frees the record and the effect. Null is ignored.
void lutEffectDestroy(Lut3DEffect* effect);
// Rebuilds the pool for a new worker count (0: online processors); nothing
// happens when the count is unchanged.
void lutEffectSetWorkerCount(Lut3DEffect* effect, uint32_t count);
// The render proper behind OxcLut3DRenderEffect, after its argument checks:
// 1 once the frame is written, 0 without a coefficient record or for a pixel
// format other than NV12 and NV21 (logged).
uint32_t lutEffectRender(Lut3DEffect* effect, const Lut3DTable* table, const LutImage* src,
                         const LutImage* dst, uint32_t pixelFormat, uint32_t colorStandard,
                         uint32_t range, uint32_t width, uint32_t height, int32_t reserved);

#endif // LUT3DEFFECT_H
