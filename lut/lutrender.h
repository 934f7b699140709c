// The frame walk of a render: a band of rows per worker, each band walked in
// pairs of luma rows that share one chroma row.
#ifndef LUTRENDER_H
#define LUTRENDER_H

#include "lut/kernels/lutkernel.h"

#include <cstdint>

struct Lut3DEffect;

// Rows of band `band` out of `bandCount` for a frame of `height` rows, in
// unsigned 32-bit arithmetic: every band starts on an even row, only the last
// band may end on an odd one, and with more bands than row pairs some bands
// are empty (rowCount 0). bandCount 0 gives an empty band.
void lutBandRows(uint32_t height, uint32_t band, uint32_t bandCount, uint32_t* firstRow,
                 uint32_t* rowCount);

// Renders band `band` of `bandCount` of the frame stored in the effect (a
// Lut3DEffect*). Its signature is that of a worker-pool job: context, worker
// index, worker count.
void lutRenderBand(void* effect, uint32_t band, uint32_t bandCount);

// Renders rowCount rows from firstRow with the default kernel. firstRow must
// be even. An odd last row is processed as a pair with itself.
void lutRenderRows(const Lut3DEffect* effect, uint32_t firstRow, uint32_t rowCount);

// The same walk with a given row-pair kernel.
void lutRenderRowsWith(const Lut3DEffect* effect, uint32_t firstRow, uint32_t rowCount,
                       LutRowPairKernel kernel);

// The kernel lutRenderRows uses: the scalar reference when the build defines
// OXLUT_SCALAR_KERNEL, else AVX2 on x86-64 processors that have it, else NEON.
LutRowPairKernel lutDefaultKernel();

#endif // LUTRENDER_H
