// Row-pair kernels: map two luma rows and the chroma row they share through
// the effect's table.
//
// A kernel reads the coefficient record, the table and the width from the
// effect and processes `width` pixels of both rows and the chroma bytes that
// serve them (width rounded up to even). Row B may be the same row as row A
// (a frame or band ending on an unpaired row); the destination may be the
// source (in-place rendering). nv21 is true when the chroma pairs are stored
// V first.
//
// Every kernel produces the same bytes. The scalar reference is the readable
// definition of the arithmetic and the fallback for processors without a
// vector kernel; the NEON kernel renders on Arm (and, translated, anywhere
// else); the AVX2 kernel renders on x86-64 processors that have AVX2.
#ifndef LUTKERNEL_H
#define LUTKERNEL_H

#include <cstdint>

struct Lut3DEffect;

typedef void (*LutRowPairKernel)(const Lut3DEffect* effect, const uint8_t* srcA, const uint8_t* srcB,
                                 const uint8_t* srcUV, uint8_t* dstA, uint8_t* dstB, uint8_t* dstUV,
                                 bool nv21);

void lutRowPairReference(const Lut3DEffect* effect, const uint8_t* srcA, const uint8_t* srcB,
                         const uint8_t* srcUV, uint8_t* dstA, uint8_t* dstB, uint8_t* dstUV, bool nv21);

void lutRowPairNeon(const Lut3DEffect* effect, const uint8_t* srcA, const uint8_t* srcB,
                    const uint8_t* srcUV, uint8_t* dstA, uint8_t* dstB, uint8_t* dstUV, bool nv21);

// The AVX2 kernel exists in x86-64 builds only; it must be called only when
// lutAvx2Supported() says the processor runs it.
#if defined(__x86_64__)
#define LUT_HAVE_AVX2_KERNEL 1
void lutRowPairAvx2(const Lut3DEffect* effect, const uint8_t* srcA, const uint8_t* srcB,
                    const uint8_t* srcUV, uint8_t* dstA, uint8_t* dstB, uint8_t* dstUV, bool nv21);
bool lutAvx2Supported();
#else
#define LUT_HAVE_AVX2_KERNEL 0
#endif

#endif // LUTKERNEL_H
