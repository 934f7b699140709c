// One include for Arm Advanced SIMD intrinsics. On arm64 these are the
// compiler's own; elsewhere SIMDe provides the same names over the host's
// vector instructions, so kernels are written (and tested) once.
#ifndef OXNEON_H
#define OXNEON_H

#if defined(OX_NEON_NATIVE) || defined(__aarch64__)
#include <arm_neon.h>
#else
#define SIMDE_ENABLE_NATIVE_ALIASES
#include <simde/arm/neon.h>
#endif

#endif // OXNEON_H
