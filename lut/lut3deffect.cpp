// The effect handle: creation with its coefficient record and worker pool,
// the render step that follows the entry point's argument checks, and
// destruction.
#include "lut/lut3deffect.h"

#include "core/log/oxdebug.h"
#include "core/thread/oxprocessorcount.h"
#include "lut/lutcolorcoefficients.h"
#include "lut/lutmemory.h"
#include "lut/lutrender.h"
#include "lut/lutworkerpool.h"

#include <cstring>
#include <new>

namespace {

// Worker threads get the thread class's default stack and this priority.
constexpr uint32_t kWorkerStackSize = 0;
constexpr uint32_t kWorkerPriority = 7;

} // namespace

void lutEffectSetWorkerCount(Lut3DEffect* effect, uint32_t count)
{
    if (count == 0)
        count = uint32_t(OxOnlineProcessorCount());
    if (effect->pool && effect->workerCount == count)
        return;
    delete effect->pool; // stops and joins its workers
    effect->pool = nullptr;
    LutWorkerPool* pool = new (std::nothrow) LutWorkerPool;
    if (pool && !pool->start(int(count), kWorkerStackSize, kWorkerPriority)) {
        // Without workers the frame is rendered on the caller's thread.
        delete pool;
        pool = nullptr;
    }
    effect->pool = pool;
    effect->workerCount = count;
}

Lut3DEffect* lutEffectCreate(uint32_t threads)
{
    Lut3DEffect* effect = new (std::nothrow) Lut3DEffect();
    if (!effect)
        return nullptr;
    // A missing record is not reported here: every render then returns 0.
    effect->coefficients = static_cast<LutColorCoefficients*>(lutAlignedAlloc(sizeof(LutColorCoefficients)));
    if (effect->coefficients)
        memset(effect->coefficients, 0, sizeof(LutColorCoefficients));
    if (threads != 1)
        lutEffectSetWorkerCount(effect, threads);
    return effect;
}

void lutEffectDestroy(Lut3DEffect* effect)
{
    if (!effect)
        return;
    delete effect->pool;
    lutAlignedFree(effect->coefficients);
    delete effect;
}

uint32_t lutEffectRender(Lut3DEffect* effect, const Lut3DTable* table, const LutImage* src,
                         const LutImage* dst, uint32_t pixelFormat, uint32_t colorStandard,
                         uint32_t range, uint32_t width, uint32_t height, int32_t reserved)
{
    if (!effect->coefficients)
        return 0;
    if (pixelFormat > 1) {
        oxError("We only support NV12 and NV21 pixel format right now!");
        return 0;
    }
    effect->table = table;
    effect->src = src;
    effect->dst = dst;
    effect->pixelFormat = pixelFormat;
    effect->colorStandard = colorStandard;
    effect->range = range;
    effect->width = width;
    effect->height = height;
    effect->reserved = reserved;
    lutColorCoefficientsFill(effect->coefficients, colorStandard, range, table);

    if (effect->pool)
        effect->pool->run(lutRenderBand, effect); // one band per worker; returns when all are done
    else
        lutRenderRows(effect, 0, height);
    return 1;
}
