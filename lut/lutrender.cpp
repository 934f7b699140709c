#include "lut/lutrender.h"

#include "lut/lut3deffect.h"

#include <cstddef>

LutRowPairKernel lutDefaultKernel()
{
#if defined(OXLUT_SCALAR_KERNEL)
    return lutRowPairReference;
#elif LUT_HAVE_AVX2_KERNEL
    static const LutRowPairKernel kernel = lutAvx2Supported() ? lutRowPairAvx2 : lutRowPairNeon;
    return kernel;
#else
    return lutRowPairNeon;
#endif
}

void lutBandRows(uint32_t height, uint32_t band, uint32_t bandCount, uint32_t* firstRow,
                 uint32_t* rowCount)
{
    *firstRow = 0;
    *rowCount = 0;
    if (bandCount == 0)
        return;
    const uint32_t start = (height * band / bandCount) & ~1u;
    uint32_t end = height * (band + 1) / bandCount;
    if (band != bandCount - 1)
        end &= ~1u; // only the last band keeps an odd row
    if (end <= start)
        return;
    *firstRow = start;
    *rowCount = end - start;
}

void lutRenderBand(void* effect, uint32_t band, uint32_t bandCount)
{
    const Lut3DEffect* e = static_cast<const Lut3DEffect*>(effect);
    uint32_t first, count;
    lutBandRows(e->height, band, bandCount, &first, &count);
    if (count != 0)
        lutRenderRows(e, first, count);
}

void lutRenderRows(const Lut3DEffect* effect, uint32_t firstRow, uint32_t rowCount)
{
    lutRenderRowsWith(effect, firstRow, rowCount, lutDefaultKernel());
}

void lutRenderRowsWith(const Lut3DEffect* effect, uint32_t firstRow, uint32_t rowCount,
                       LutRowPairKernel kernel)
{
    if (effect->pixelFormat > 1)
        return;
    const bool nv21 = effect->pixelFormat == 1;
    const LutImage& src = *effect->src;
    const LutImage& dst = *effect->dst;
    // Start offsets are signed products in pointer width: a bottom-up frame
    // (plane pointers at the last row, negative strides) addresses its band
    // rows backwards, and any int32_t stride times any row stays exact.
    const uint8_t* srcY = src.planes[0] + ptrdiff_t(src.strides[0]) * ptrdiff_t(firstRow);
    const uint8_t* srcUV = src.planes[1] + ptrdiff_t(src.strides[1]) * ptrdiff_t(firstRow >> 1);
    uint8_t* dstY = dst.planes[0] + ptrdiff_t(dst.strides[0]) * ptrdiff_t(firstRow);
    uint8_t* dstUV = dst.planes[1] + ptrdiff_t(dst.strides[1]) * ptrdiff_t(firstRow >> 1);
    for (uint32_t pair = 0; pair < rowCount >> 1; ++pair) {
        kernel(effect, srcY, srcY + src.strides[0], srcUV, dstY, dstY + dst.strides[0], dstUV, nv21);
        // Step on only while rows remain, so no pointer is formed past the
        // end of a frame whose last row is shorter than its stride.
        if (pair + 1 < rowCount >> 1 || (rowCount & 1)) {
            srcY += 2 * ptrdiff_t(src.strides[0]);
            dstY += 2 * ptrdiff_t(dst.strides[0]);
            srcUV += src.strides[1];
            dstUV += dst.strides[1];
        }
    }
    if (rowCount & 1)
        kernel(effect, srcY, srcY, srcUV, dstY, dstY, dstUV, nv21);
}
