// Row-pair kernels on whole NV12 frames, one thread: megapixels per second
// for each kernel (NEON, AVX2 where the processor has it, scalar) through a
// 33-point table, and, for scale, a memcpy of the same frame (luma and
// chroma bytes).
#include "lut/kernels/lutkernel.h"
#include "lut/lut3deffect.h"
#include "lut/lut3dtable.h"
#include "lut/lutcolorcoefficients.h"
#include "lut/lutmemory.h"
#include "lut/lutrender.h"

#include "bench/benchframe.h"

namespace {

void renderFrame(benchmark::State& state, LutRowPairKernel kernel, uint32_t width, uint32_t height)
{
#if LUT_HAVE_AVX2_KERNEL
    if (kernel == lutRowPairAvx2 && !lutAvx2Supported()) {
        state.SkipWithError("this processor has no AVX2");
        return;
    }
#endif
    Lut3DTable* table = benchMakeGrade(33);
    auto* coefficients = static_cast<LutColorCoefficients*>(lutAlignedAlloc(sizeof(LutColorCoefficients)));
    if (!table || !coefficients) {
        state.SkipWithError("out of memory");
        lutTableDestroy(table);
        lutAlignedFree(coefficients);
        return;
    }
    lutColorCoefficientsFill(coefficients, 1, 0, table);
    BenchFrame src(width, height), dst(width, height);
    Lut3DEffect effect = {};
    effect.coefficients = coefficients;
    effect.table = table;
    effect.src = &src.image;
    effect.dst = &dst.image;
    effect.pixelFormat = 0;
    effect.colorStandard = 1;
    effect.width = width;
    effect.height = height;
    for (auto _ : state) {
        lutRenderRowsWith(&effect, 0, height, kernel);
        benchmark::ClobberMemory();
    }
    benchReportFrame(state, width, height, src.bytes());
    lutAlignedFree(coefficients);
    lutTableDestroy(table);
}

} // namespace

BENCHMARK_CAPTURE(benchCopyFrame, memcpy_1080p, 1920, 1080)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(benchCopyFrame, memcpy_4k, 3840, 2160)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(renderFrame, neon_1080p, lutRowPairNeon, 1920, 1080)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(renderFrame, neon_4k, lutRowPairNeon, 3840, 2160)->Unit(benchmark::kMillisecond);
#if LUT_HAVE_AVX2_KERNEL
BENCHMARK_CAPTURE(renderFrame, avx2_1080p, lutRowPairAvx2, 1920, 1080)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(renderFrame, avx2_4k, lutRowPairAvx2, 3840, 2160)->Unit(benchmark::kMillisecond);
#endif
BENCHMARK_CAPTURE(renderFrame, scalar_1080p, lutRowPairReference, 1920, 1080)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(renderFrame, scalar_4k, lutRowPairReference, 3840, 2160)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
