/* An application of the installed library, in plain C. It makes a small
 * NV21 frame with padded rows, grades it in place on three workers through
 * the grade given, and writes the frame before and after without padding.
 * On standard output it prints the oxlut apply options that describe the
 * same frame and conversion, so that the tool can grade the input likewise.
 *
 *   consumer GRADE.lut BEFORE.nv21 AFTER.nv21
 */
#include <oxlut3d.h>

#include <stdio.h>

#define WIDTH 64
#define HEIGHT 37 /* odd: the last luma row has no partner */
#define CHROMA_ROWS ((HEIGHT + 1) / 2)
#define LUMA_STRIDE (WIDTH + 24)
#define CHROMA_STRIDE (WIDTH + 40)

#if OXC_LUT_VERSION < OXC_LUT_MAKE_VERSION(0, 1, 0)
#error "the version macros do not work in C"
#endif

static uint8_t luma[LUMA_STRIDE * HEIGHT];
static uint8_t chroma[CHROMA_STRIDE * CHROMA_ROWS];

static int writeFrame(const char* path)
{
    FILE* file = fopen(path, "wb");
    int ok = file != NULL;
    for (int row = 0; ok && row < HEIGHT; ++row)
        ok = fwrite(luma + row * LUMA_STRIDE, 1, WIDTH, file) == WIDTH;
    for (int row = 0; ok && row < CHROMA_ROWS; ++row)
        ok = fwrite(chroma + row * CHROMA_STRIDE, 1, WIDTH, file) == WIDTH;
    if (file && fclose(file) != 0)
        ok = 0;
    if (!ok)
        fprintf(stderr, "consumer: cannot write %s\n", path);
    return ok;
}

int main(int argc, char** argv)
{
    if (argc != 4) {
        fprintf(stderr, "usage: consumer GRADE.lut BEFORE.nv21 AFTER.nv21\n");
        return 2;
    }
    /* Smooth ramps crossed by a coarser pattern reach most of the cube. */
    for (int row = 0; row < HEIGHT; ++row)
        for (int x = 0; x < WIDTH; ++x)
            luma[row * LUMA_STRIDE + x] = (uint8_t)(x * 4 + row * 7 + (x ^ row) % 5);
    for (int row = 0; row < CHROMA_ROWS; ++row)
        for (int x = 0; x < WIDTH; ++x)
            chroma[row * CHROMA_STRIDE + x] = (uint8_t)(x % 2 ? row * 14 + x : 255 - x * 4 + row);
    if (!writeFrame(argv[2]))
        return 1;

    Lut3DTable* table = OxcLut3DLoadTableFromFile(argv[1]);
    Lut3DEffect* effect = OxcLut3DCreateEffect(3);
    LutImage frame = {{luma, chroma, NULL}, {LUMA_STRIDE, CHROMA_STRIDE}};
    const uint32_t rendered = table && effect &&
                              OxcLut3DRenderEffect(effect, table, &frame, &frame, OXC_LUT_NV21,
                                                   OXC_LUT_BT709, OXC_LUT_RANGE_FULL, WIDTH,
                                                   HEIGHT, 0);
    OxcLut3DDestroyEffect(effect);
    OxcLut3DDestroyTable(table);
    if (!rendered) {
        fprintf(stderr, "consumer: the library did not grade the frame\n");
        return 1;
    }
    if (!writeFrame(argv[3]))
        return 1;
    printf("--size %dx%d --format nv21 --standard bt709 --range full\n", WIDTH, HEIGHT);
    return 0;
}
