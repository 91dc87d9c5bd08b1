// The public kernel entry points: each forwards to the table of the best instruction-set
// level that the processor supports, chosen once.
#include "KernelLevels.h"

#include <vantor/quicktime/PixelKernels.h>

#include <initializer_list>

namespace Vantor::QuickTime {

bool kernelLevelSupported(KernelLevel level) {
    switch (level) {
    case KernelLevel::kBaseline:
        return true;
#if VQT_HAVE_AVX2_KERNELS
    case KernelLevel::kAvx2:
        return __builtin_cpu_supports("avx2");
    case KernelLevel::kAvx512:
        return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("avx512bw") &&
               __builtin_cpu_supports("avx512vl");
#else
    case KernelLevel::kAvx2:
    case KernelLevel::kAvx512:
        return false;
#endif
    }
    return false;
}

const KernelTable& kernelTable(KernelLevel level) {
#if VQT_HAVE_AVX2_KERNELS
    if (level == KernelLevel::kAvx512)
        return avx512::kernelTable();
    if (level == KernelLevel::kAvx2)
        return avx2::kernelTable();
#endif
    (void)level;
    return baseline::kernelTable();
}

KernelLevel activeKernelLevel() {
    static const KernelLevel level = [] {
        for (KernelLevel best : {KernelLevel::kAvx512, KernelLevel::kAvx2})
            if (kernelLevelSupported(best))
                return best;
        return KernelLevel::kBaseline;
    }();
    return level;
}

const char* kernelLevelName(KernelLevel level) {
    static const char* const names[] = {"baseline", "avx2", "avx512"};
    return names[static_cast<int>(level)];
}

namespace {

const KernelTable& active() {
    static const KernelTable& table = kernelTable(activeKernelLevel());
    return table;
}

} // namespace

void convertRgbToR4fl(const float* a, const float* r, const float* g, const float* b, int stride,
                      float* out, int count) {
    active().rgbToR4fl(a, r, g, b, stride, out, count);
}

void convertRgbTo2vuy(const float* r, const float* g, const float* b, int stride, uint8_t* out,
                      int count) {
    active().rgbTo2vuy(r, g, b, stride, out, count);
}

void convertRgbToR408(const float* r, const float* g, const float* b, int stride, uint8_t* out,
                      int count) {
    active().rgbToR408(r, g, b, stride, out, count);
}

void convertYuvsToRgb(const uint8_t* in, float* a, float* r, float* g, float* b, int stride,
                      int byteCount) {
    active().yuvsToRgb(in, a, r, g, b, stride, byteCount);
}

void convertR4flToRgb(const float* in, float* a, float* r, float* g, float* b, int stride,
                      int count) {
    active().r4flToRgb(in, a, r, g, b, stride, count);
}

void convertR408ToRgb(const uint8_t* in, float* a, float* r, float* g, float* b, int stride,
                      int count) {
    active().r408ToRgb(in, a, r, g, b, stride, count);
}

void convert2vuyToRgb(const uint8_t* in, float* a, float* r, float* g, float* b, int stride,
                      int byteCount, ChromaCoefficients set) {
    active().twoVuyToRgb(in, a, r, g, b, stride, byteCount, set);
}

void convertFloatToByte(uint8_t* out, const float* in, int count, int inStride, int outStride) {
    active().floatToByte(out, in, count, inStride, outStride);
}

void convertFloatToShort(uint16_t* out, const float* in, int count, int bits, int outStride) {
    active().floatToShort(out, in, count, bits, outStride);
}

} // namespace Vantor::QuickTime
