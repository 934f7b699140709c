// The render entry with geometry chosen by the fuzzer: sizes, paddings and
// stride signs per plane, in place or not, both pixel formats and invalid
// ones, every standard and range value, and 1 to 4 workers. Each frame is
// compared byte for byte with the scalar reference kernel walked on this
// thread, and with every vector kernel this processor runs; the paddings
// must stay untouched (AddressSanitizer watches the bytes around the planes).
#include "fuzzsupport.h"
#include "lut/kernels/lutkernel.h"
#include "lut/lutrender.h"
#include "tests/lut/lutframetest.h"

#include <algorithm>
#include <random>

using namespace luttest;

namespace {

const uint32_t kStandards[] = {0, 1, 2, 0xffffffffu};
const uint32_t kRanges[] = {0, 1, 2, 3, 0xffffffffu};

Lut3DEffect* effectWithWorkers(uint32_t workers)
{
    static Lut3DEffect* effects[4] = {};
    Lut3DEffect*& e = effects[workers - 1];
    if (!e)
        e = OxcLut3DCreateEffect(workers);
    return e;
}

// Levels that rise from near 0 to near 1 in uneven steps.
std::vector<float> risingLevels(uint32_t n, std::mt19937& rng)
{
    std::vector<float> levels(n);
    float sum = 0;
    for (float& l : levels)
        l = sum += 0.01f + float(rng() >> 8) * (0.99f / 16777216.0f);
    for (float& l : levels)
        l = (l - levels[0] * 0.5f) / sum;
    return levels;
}

// Planes as the image record sees them: each plane top-down or bottom-up.
LutImage imageOf(Frame& frame, bool lumaUp, bool chromaUp)
{
    const LutImage down = frame.image(), up = frame.bottomUpImage();
    LutImage img = down;
    if (lumaUp) {
        img.planes[0] = up.planes[0];
        img.strides[0] = up.strides[0];
    }
    if (chromaUp) {
        img.planes[1] = up.planes[1];
        img.strides[1] = up.strides[1];
    }
    return img;
}

// The reference frame, rendered top-down from a top-down copy of the source
// as the image record addresses it.
Frame referenceFrame(const Lut3DTable* table, Frame& src, bool lumaUp, bool chromaUp, uint32_t format,
                     uint32_t standard, uint32_t range, LutRowPairKernel kernel)
{
    Frame mirrored = src.mirrored();
    Frame in(src.width, src.height, 0, 0), out(src.width, src.height, 0, 0);
    for (uint32_t r = 0; r < src.height; ++r)
        memcpy(in.y(r), (lumaUp ? mirrored : src).y(r), src.width);
    for (uint32_t r = 0; r < src.chromaRows(); ++r)
        memcpy(in.uv(r), (chromaUp ? mirrored : src).uv(r), Frame::chromaRowBytes(src.width));
    Effect effect;
    lutRenderRowsWith(effect.setUp(table, in, out, format, standard, range), 0, src.height, kernel);
    return out;
}

// The rendered frame read back top-down as the image record addresses it.
bool sameAsReference(Frame& dst, bool lumaUp, bool chromaUp, Frame& expected)
{
    Frame mirrored = dst.mirrored();
    for (uint32_t r = 0; r < dst.height; ++r)
        if (memcmp((lumaUp ? mirrored : dst).y(r), expected.y(r), dst.width) != 0)
            return false;
    for (uint32_t r = 0; r < dst.chromaRows(); ++r)
        if (memcmp((chromaUp ? mirrored : dst).uv(r), expected.uv(r), Frame::chromaRowBytes(dst.width)) != 0)
            return false;
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static oxfuzz::QuietLog quiet;
    oxfuzz::Input in(data, size);
    const uint32_t width = in.flag() ? in.range(1, 40) : in.range(1, 700);
    const uint32_t height = in.range(1, 24);
    const uint32_t srcPad[2] = {in.range(0, 70), in.range(0, 70)};
    const uint32_t dstPad[2] = {in.range(0, 70), in.range(0, 70)};
    const bool srcUp[2] = {in.flag(), in.flag()}, dstUp[2] = {in.flag(), in.flag()};
    const bool inPlace = in.range(0, 3) == 0;
    const uint8_t formatByte = in.byte();
    const uint32_t format = formatByte < 250 ? formatByte & 1 : formatByte;
    const uint32_t standard = kStandards[in.range(0, 3)];
    const uint32_t range = kRanges[in.range(0, 4)];
    const uint32_t workers = in.range(1, 4);
    const uint32_t n = in.flag() ? in.range(2, 5) : in.range(2, 33);
    const bool uniform = in.flag();
    std::mt19937 rng(in.u32());

    const std::vector<float> levels = uniform ? evenLevels(n) : risingLevels(n, rng);
    TablePtr table = randomTable(n, levels, rng);
    OXFUZZ_CHECK(table);

    Frame src(width, height, srcPad[0], srcPad[1]);
    src.randomize(rng);
    Frame separate(width, height, dstPad[0], dstPad[1]);
    Frame& dst = inPlace ? src : separate;
    const bool* up = inPlace ? srcUp : dstUp;
    const LutImage srcImage = imageOf(src, srcUp[0], srcUp[1]);
    const LutImage dstImage = inPlace ? srcImage : imageOf(dst, dstUp[0], dstUp[1]);

    if (format > 1) {
        Frame before = src.mirrored();
        const uint32_t rc = OxcLut3DRenderEffect(effectWithWorkers(workers), table.get(), &srcImage, &dstImage,
                                                 format, standard, range, width, height, 0);
        Frame after = src.mirrored();
        OXFUZZ_CHECK(rc == 0 && after.samePixels(before));
        return 0;
    }

    Frame expected = referenceFrame(table.get(), src, srcUp[0], srcUp[1], format, standard, range,
                                    lutRowPairReference);
    // Every vector kernel through the row walk on this thread.
    for (LutRowPairKernel kernel : oxfuzz::vectorKernels()) {
        Frame got = referenceFrame(table.get(), src, srcUp[0], srcUp[1], format, standard, range, kernel);
        OXFUZZ_CHECK(got.samePixels(expected));
    }

    // The entry point with its workers, into the chosen destination.
    OXFUZZ_CHECK(OxcLut3DRenderEffect(effectWithWorkers(workers), table.get(), &srcImage, &dstImage, format,
                                      standard, range, width, height, 0) == 1);
    OXFUZZ_CHECK(sameAsReference(dst, up[0], up[1], expected));
    OXFUZZ_CHECK(dst.paddingIntact());
    return 0;
}
