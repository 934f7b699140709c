// What the library's fixed-point pipeline does to colours, measured through
// its exported functions:
//
//   1. An identity table (33 points): what comes out for white, black and
//      the greys in between, in limited and in full range (BT.709).
//   2. Real grades: the library's output against the same pipeline worked
//      in double precision (YUV to RGB with the exact BT.709 matrix, the
//      .cube file evaluated in floating point, RGB back to YUV with chroma
//      from the 2x2 average, one rounding at the end): PSNR and the largest
//      difference, over a picture (a raw NV12 frame) or a sweep of colours.
//
//   lut_accuracy [--input FRAME.nv12 --size WxH] [--range limited|full] GRADE.cube...
#include "lut/oxlut3d.h"
#include "tools/cubebake.h"
#include "tools/cubefile.h"
#include "tools/fileio.h"
#include "tools/lutfile.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

using namespace oxtool;

namespace {

// BT.709 in real numbers. Limited range: luma 16 + 219 Y', chroma 128 + 224 C;
// full range: luma 255 Y', chroma 128 + 254 C, the excursions the library's
// coefficient sets stand for.
struct Matrix {
    double kr = 0.2126, kb = 0.0722;
    double lumaOffset, lumaScale, chromaScale;

    explicit Matrix(bool full)
        : lumaOffset(full ? 0 : 16), lumaScale(full ? 255 : 219), chromaScale(full ? 254 : 224)
    {
    }
    double kg() const { return 1 - kr - kb; }

    void toRgb(double y, double u, double v, double rgb[3]) const
    {
        const double l = (y - lumaOffset) / lumaScale;
        const double pb = (u - 128) / chromaScale, pr = (v - 128) / chromaScale;
        rgb[0] = l + 2 * (1 - kr) * pr;
        rgb[1] = l - (2 * kb * (1 - kb) * pb + 2 * kr * (1 - kr) * pr) / kg();
        rgb[2] = l + 2 * (1 - kb) * pb;
        for (int c = 0; c < 3; ++c)
            rgb[c] = std::min(1.0, std::max(0.0, rgb[c]));
    }
    double luma(const double rgb[3]) const
    {
        return lumaOffset + lumaScale * (kr * rgb[0] + kg() * rgb[1] + kb * rgb[2]);
    }
    void chroma(const double rgb[3], double* u, double* v) const
    {
        const double l = kr * rgb[0] + kg() * rgb[1] + kb * rgb[2];
        *u = 128 + chromaScale * (rgb[2] - l) / (2 * (1 - kb));
        *v = 128 + chromaScale * (rgb[0] - l) / (2 * (1 - kr));
    }
};

uint8_t byteOf(double v)
{
    return uint8_t(std::lround(std::min(255.0, std::max(0.0, v))));
}

struct Frame {
    uint32_t width = 0, height = 0;
    std::vector<uint8_t> bytes;

    Frame(uint32_t w, uint32_t h) : width(w), height(h), bytes(size_t(w) * h * 3 / 2) {}
    uint8_t& y(uint32_t x, uint32_t row) { return bytes[size_t(row) * width + x]; }
    // The U, V pair of pixel (x, row).
    uint8_t* uv(uint32_t x, uint32_t row)
    {
        return &bytes[size_t(width) * height + size_t(row / 2) * width + x / 2 * 2];
    }
};

// The library's rendering of a frame through a .cube grade.
bool renderWithLibrary(const CubeLut& cube, bool full, const Frame& in, Frame* out)
{
    LutFile lut;
    std::string error;
    const char* tmp = std::getenv("TMPDIR");
    const std::string path = std::string(tmp && *tmp ? tmp : "/tmp") + "/lut-accuracy-" +
                             std::to_string(::getpid()) + ".lut";
    if (!lutFromCube(cube, 0, &lut, &error) || !writeFileAtomically(path, encodeLut(lut), &error)) {
        std::fprintf(stderr, "lut_accuracy: cannot write the table: %s\n", error.c_str());
        return false;
    }
    Lut3DTable* table = OxcLut3DLoadTableFromFile(path.c_str());
    ::unlink(path.c_str());
    Lut3DEffect* effect = OxcLut3DCreateEffect(1);
    *out = in;
    const int32_t stride = int32_t(in.width);
    uint8_t* src = const_cast<uint8_t*>(in.bytes.data());
    const LutImage a{{src, src + size_t(in.width) * in.height, nullptr}, {stride, stride}};
    const LutImage b{{out->bytes.data(), out->bytes.data() + size_t(in.width) * in.height, nullptr},
                     {stride, stride}};
    const bool ok = table && effect &&
                    OxcLut3DRenderEffect(effect, table, &a, &b, OXC_LUT_NV12, OXC_LUT_BT709,
                                         full ? OXC_LUT_RANGE_FULL : OXC_LUT_RANGE_LIMITED,
                                         in.width, in.height, 0) == 1;
    OxcLut3DDestroyEffect(effect);
    OxcLut3DDestroyTable(table);
    return ok;
}

// The same pipeline in double precision: chroma shared by each 2x2 block,
// the grade per pixel, luma per pixel, chroma from the block's mean colour.
Frame renderInFloat(const CubeLut& cube, bool full, Frame in)
{
    const Matrix m(full);
    const CubeEvaluator grade(cube);
    Frame out = in;
    for (uint32_t row = 0; row < in.height; row += 2) {
        for (uint32_t x = 0; x < in.width; x += 2) {
            double mean[3] = {0, 0, 0};
            for (uint32_t dy = 0; dy < 2; ++dy) {
                for (uint32_t dx = 0; dx < 2; ++dx) {
                    const uint32_t px = x + dx, py = std::min(row + dy, in.height - 1);
                    double rgb[3], graded[3];
                    m.toRgb(in.y(px, py), in.uv(x, row)[0], in.uv(x, row)[1], rgb);
                    grade.evaluate(rgb, graded);
                    for (int c = 0; c < 3; ++c) {
                        graded[c] = std::min(1.0, std::max(0.0, graded[c]));
                        mean[c] += graded[c] / 4;
                    }
                    out.y(px, py) = byteOf(m.luma(graded));
                }
            }
            double u, v;
            m.chroma(mean, &u, &v);
            out.uv(x, row)[0] = byteOf(u);
            out.uv(x, row)[1] = byteOf(v);
        }
    }
    return out;
}

CubeLut identity(int n)
{
    CubeLut cube;
    cube.cube.size = n;
    for (int b = 0; b < n; ++b)
        for (int g = 0; g < n; ++g)
            for (int r = 0; r < n; ++r)
                for (int c : {r, g, b})
                    cube.cube.rgb.push_back(float(c) / float(n - 1));
    return cube;
}

// Identity table: each 2x2 block of a 512x2 frame is one grey (luma 0 to
// 255, chroma 128), so what comes out of block k is what grey k becomes.
void reportIdentity()
{
    Frame greys(512, 2);
    for (uint32_t x = 0; x < 512; ++x) {
        greys.y(x, 0) = greys.y(x, 1) = uint8_t(x / 2);
        greys.uv(x, 0)[0] = greys.uv(x, 0)[1] = 128;
    }
    std::printf("identity table (33 points), BT.709, chroma 128:\n");
    for (const bool full : {false, true}) {
        Frame out(512, 2);
        if (!renderWithLibrary(identity(33), full, greys, &out))
            std::exit(1);
        const int lo = full ? 0 : 16, hi = full ? 255 : 235;
        double shift[3] = {0, 0, 0};  // Y, U, V
        int most = 0, changed = 0;
        for (int k = lo; k <= hi; ++k) {
            const uint8_t* uv = out.uv(uint32_t(2 * k), 0);
            const int d = out.y(uint32_t(2 * k), 0) - k;
            shift[0] += d;
            shift[1] += uv[0] - 128;
            shift[2] += uv[1] - 128;
            most = std::abs(d) > std::abs(most) ? d : most;
            changed += d != 0;
        }
        const int count = hi - lo + 1;
        auto show = [&](int k) {
            const uint8_t* uv = out.uv(uint32_t(2 * k), 0);
            std::printf("    %3d,128,128 -> %d,%d,%d\n", k, out.y(uint32_t(2 * k), 0), uv[0],
                        uv[1]);
        };
        std::printf("  %s range:\n", full ? "full" : "limited");
        show(hi);
        show((lo + hi + 1) / 2);
        show(lo);
        std::printf("    greys %d..%d: luma shift mean %+.2f, largest %+d, %d of %d changed; "
                    "mean U %+.2f, V %+.2f\n",
                    lo, hi, shift[0] / count, most, changed, count, shift[1] / count,
                    shift[2] / count);
    }
}

// A frame that sweeps the colours a camera gives: luma ramps across, the
// chroma pair ramps down and across inside a disc that keeps RGB in range.
Frame sweep(uint32_t width, uint32_t height)
{
    Frame f(width, height);
    for (uint32_t row = 0; row < height; ++row)
        for (uint32_t x = 0; x < width; ++x)
            f.y(x, row) = uint8_t(16 + x * 219 / width);
    for (uint32_t row = 0; row < height; row += 2)
        for (uint32_t x = 0; x < width; x += 2) {
            const double a = 6.2831853 * x / width, r = 100.0 * row / height;
            f.uv(x, row)[0] = uint8_t(128 + r * std::cos(a));
            f.uv(x, row)[1] = uint8_t(128 + r * std::sin(a));
        }
    return f;
}

void reportGrade(const std::string& name, const CubeLut& cube, const Frame& picture, bool full)
{
    Frame library(picture.width, picture.height);
    if (!renderWithLibrary(cube, full, picture, &library))
        std::exit(1);
    const Frame reference = renderInFloat(cube, full, picture);
    const size_t luma = size_t(picture.width) * picture.height;
    double squares = 0;
    int largest[2] = {0, 0};
    for (size_t i = 0; i < library.bytes.size(); ++i) {
        const int d = std::abs(int(library.bytes[i]) - int(reference.bytes[i]));
        squares += double(d) * d;
        largest[i < luma ? 0 : 1] = std::max(largest[i < luma ? 0 : 1], d);
    }
    const double mse = squares / double(library.bytes.size());
    std::printf("  %-28s PSNR %6.2f dB, largest difference %d (luma %d, chroma %d)\n",
                name.c_str(),
                mse > 0 ? 10 * std::log10(255.0 * 255.0 / mse) : INFINITY,
                std::max(largest[0], largest[1]), largest[0], largest[1]);
}

} // namespace

int main(int argc, char** argv)
{
    std::string input;
    uint32_t width = 1920, height = 1080;
    bool full = false;
    std::vector<std::string> grades;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--input" && i + 1 < argc)
            input = argv[++i];
        else if (arg == "--size" && i + 1 < argc &&
                 std::sscanf(argv[i + 1], "%ux%u", &width, &height) == 2)
            ++i;
        else if (arg == "--range" && i + 1 < argc)
            full = std::string(argv[++i]) == "full";
        else
            grades.push_back(arg);
    }
    reportIdentity();
    Frame picture = sweep(width, height);
    if (!input.empty()) {
        std::string bytes, error;
        if (!readWholeFile(input, &bytes, &error) || bytes.size() < picture.bytes.size()) {
            std::fprintf(stderr, "lut_accuracy: %s: %s\n", input.c_str(),
                         error.empty() ? "shorter than one frame" : error.c_str());
            return 1;
        }
        std::memcpy(picture.bytes.data(), bytes.data(), picture.bytes.size());
    }
    std::printf("against the same pipeline in floating point, BT.709 %s range, %ux%u %s:\n",
                full ? "full" : "limited", width, height,
                input.empty() ? "colour sweep" : input.c_str());
    reportGrade("identity (33 points)", identity(33), picture, full);
    for (const std::string& path : grades) {
        CubeLut cube;
        std::string error;
        if (!readCubeFile(path, &cube, &error)) {
            std::fprintf(stderr, "lut_accuracy: %s: %s\n", path.c_str(), error.c_str());
            return 1;
        }
        reportGrade(path.substr(path.rfind('/') + 1), cube, picture, full);
    }
    return 0;
}
