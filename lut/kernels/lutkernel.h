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
// Both kernels produce identical bytes. The scalar reference is the readable
// definition of the arithmetic and the fallback for processors without NEON;
// the NEON kernel is the one that renders by default.
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

#endif // LUTKERNEL_H
