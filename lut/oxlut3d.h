/*
 * libOxLutEffect public interface.
 *
 * Colour-grades NV12/NV21 frames through a 3D look-up table:
 *
 *   Lut3DTable* table = OxcLut3DLoadTableFromFile("/sdcard/grade.lut");
 *   Lut3DEffect* effect = OxcLut3DCreateEffect(0);     // one worker per core
 *   OxcLut3DRenderEffect(effect, table, &src, &dst, OXC_LUT_NV12,
 *                        OXC_LUT_BT709, OXC_LUT_RANGE_LIMITED, w, h, 0);
 *   OxcLut3DDestroyEffect(effect);
 *   OxcLut3DDestroyTable(table);
 *
 * The functions never throw. Failures return 0 or null; content failures
 * (file format, pixel format) are also logged, null arguments are not.
 * A table may be shared by several effects; one effect serves one render call
 * at a time.
 */
#ifndef OXLUT3D_H
#define OXLUT3D_H

#include <stddef.h>
#include <stdint.h>

/* Version of the library and of this header. The build takes the project
 * version from these three lines. Compare with OXC_LUT_VERSION, as in
 * #if OXC_LUT_VERSION >= OXC_LUT_MAKE_VERSION(0, 2, 0). */
#define OXC_LUT_VERSION_MAJOR 0
#define OXC_LUT_VERSION_MINOR 1
#define OXC_LUT_VERSION_PATCH 0
#define OXC_LUT_MAKE_VERSION(major, minor, patch) (((major) << 16) | ((minor) << 8) | (patch))
#define OXC_LUT_VERSION \
    OXC_LUT_MAKE_VERSION(OXC_LUT_VERSION_MAJOR, OXC_LUT_VERSION_MINOR, OXC_LUT_VERSION_PATCH)

#if defined(_WIN32)
#define OXC_LUT_API __declspec(dllexport)
#else
#define OXC_LUT_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Opaque handles. */
typedef struct Lut3DTable Lut3DTable;
typedef struct Lut3DEffect Lut3DEffect;

/* A frame as the caller owns it: a luma plane of one byte per pixel and an
 * interleaved chroma plane of one byte pair per 2x2 pixels. The layout is
 * fixed (32 bytes); the third plane slot is not read. Source and destination
 * may have different strides, and may be the same frame. */
typedef struct LutImage {
    uint8_t* planes[3];  /* [0] luma, [1] interleaved chroma, [2] unused */
    int32_t strides[2];  /* bytes from one row to the next, per plane */
} LutImage;

#ifdef __cplusplus
static_assert(sizeof(LutImage) == 32, "LutImage is 32 bytes");
static_assert(offsetof(LutImage, planes) == 0, "plane 0 at offset 0");
static_assert(offsetof(LutImage, planes) + sizeof(uint8_t*) == 8, "plane 1 at offset 8");
static_assert(offsetof(LutImage, planes) + 2 * sizeof(uint8_t*) == 16, "third slot at offset 16");
static_assert(offsetof(LutImage, strides) == 24, "stride 0 at offset 24");
static_assert(offsetof(LutImage, strides) + sizeof(int32_t) == 28, "stride 1 at offset 28");
#else
_Static_assert(sizeof(LutImage) == 32, "LutImage is 32 bytes");
_Static_assert(offsetof(LutImage, planes) == 0, "plane 0 at offset 0");
_Static_assert(offsetof(LutImage, strides) == 24, "stride 0 at offset 24");
_Static_assert(offsetof(LutImage, strides) + sizeof(int32_t) == 28, "stride 1 at offset 28");
#endif

/* Pixel formats: the chroma pair is stored U,V (NV12) or V,U (NV21). */
enum { OXC_LUT_NV12 = 0, OXC_LUT_NV21 = 1 };
/* Colour standards: 0 is BT.601, any other value BT.709. */
enum { OXC_LUT_BT601 = 0, OXC_LUT_BT709 = 1 };
/* Ranges: 0 is limited (video) range, 1 full range. */
enum { OXC_LUT_RANGE_LIMITED = 0, OXC_LUT_RANGE_FULL = 1 };

/* Loads a ".ZR-LUT " file (UTF-8 path). Returns null on failure. */
OXC_LUT_API Lut3DTable* OxcLut3DLoadTableFromFile(const char* path);

/* Frees a table. Null is ignored. */
OXC_LUT_API void OxcLut3DDestroyTable(Lut3DTable* table);

/* Creates an effect. threads: 1 renders on the caller's thread, 0 uses one
 * worker per online processor, any other value that many workers. */
OXC_LUT_API Lut3DEffect* OxcLut3DCreateEffect(uint32_t threads);

/* Stops the effect's workers and frees it. Null is ignored. The table is not
 * touched. */
OXC_LUT_API void OxcLut3DDestroyEffect(Lut3DEffect* effect);

/* Renders src into dst through table. Returns 1 once the whole frame is
 * written, 0 on failure (nothing is written then). reserved is not read. */
OXC_LUT_API uint32_t OxcLut3DRenderEffect(Lut3DEffect* effect, Lut3DTable* table,
                                          const LutImage* src, const LutImage* dst,
                                          uint32_t pixelFormat, uint32_t colorStandard,
                                          uint32_t range, uint32_t width, uint32_t height,
                                          int32_t reserved);

#ifdef __cplusplus
}
#endif

#endif /* OXLUT3D_H */
