// The public kernel entry points: each forwards to the table of the best instruction-set
// level that the processor supports, chosen once.
#include "KernelLevels.h"

#include <vantor/quicktime/PixelKernels.h>

#include <bit>
#include <cstdint>
#include <initializer_list>

#include "PixelMath.h"

namespace Vantor::QuickTime {

// The public header spells the luma scales as hexadecimal literals; they must
// stay the exact values the kernels use.
static_assert(std::bit_cast<std::uint32_t>(kVideo2vuyMpeg.lumaScale) ==
              std::bit_cast<std::uint32_t>(pixelmath::k1Over218));
static_assert(std::bit_cast<std::uint32_t>(kVideo2vuyDefault.lumaScale) ==
              std::bit_cast<std::uint32_t>(pixelmath::k1Over219));

namespace {

// Every level, in the order of KernelLevel: its name, whether the processor can run it, and
// its table (null where this build has none).
struct LevelEntry {
  const char* name;
  bool (*supported)();
  const KernelTable& (*table)();
};

#if VQT_HAVE_AVX2_KERNELS
const LevelEntry kLevels[] = {
    {"baseline", [] { return true; }, baseline::kernelTable},
    {"avx2", [] { return __builtin_cpu_supports("avx2") != 0; }, avx2::kernelTable},
    {"avx512",
     [] {
       return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("avx512bw") &&
              __builtin_cpu_supports("avx512vl");
     },
     avx512::kernelTable},
};
#else
const LevelEntry kLevels[] = {
    {"baseline", [] { return true; }, baseline::kernelTable},
    {"avx2", [] { return false; }, nullptr},
    {"avx512", [] { return false; }, nullptr},
};
#endif

const LevelEntry& entry(KernelLevel level) { return kLevels[static_cast<int>(level)]; }

}  // namespace

bool kernelLevelSupported(KernelLevel level) { return entry(level).table && entry(level).supported(); }

const KernelTable& kernelTable(KernelLevel level) {
  return entry(level).table ? entry(level).table() : baseline::kernelTable();
}

KernelLevel activeKernelLevel() {
  static const KernelLevel level = [] {
    for (KernelLevel best : {KernelLevel::kAvx512, KernelLevel::kAvx2})
      if (kernelLevelSupported(best)) return best;
    return KernelLevel::kBaseline;
  }();
  return level;
}

const char* kernelLevelName(KernelLevel level) { return entry(level).name; }

namespace {

const KernelTable& active() {
  static const KernelTable& table = kernelTable(activeKernelLevel());
  return table;
}

}  // namespace

void convertRgbToR4fl(const float* a, const float* r, const float* g, const float* b, int stride, float* out,
                      int count) {
  active().rgbToR4fl(a, r, g, b, stride, out, count);
}

void convertRgbTo2vuy(const float* r, const float* g, const float* b, int stride, uint8_t* out, int count) {
  active().rgbTo2vuy(r, g, b, stride, out, count);
  // The last pixel of an odd count has no partner: it makes a group of its own,
  // paired with itself (stride 0), so an odd-width picture keeps its last column.
  if (count > 0 && count % 2 != 0) {
    const long last = static_cast<long>(count - 1) * stride;
    reference::convertRgbTo2vuy(r + last, g + last, b + last, 0, out + 2 * static_cast<long>(count - 1), 2);
  }
}

void convertRgbToR408(const float* r, const float* g, const float* b, int stride, uint8_t* out, int count) {
  active().rgbToR408(r, g, b, stride, out, count);
}

void convertYuvsToRgb(const uint8_t* in, float* a, float* r, float* g, float* b, int stride, int byteCount) {
  active().yuvsToRgb(in, a, r, g, b, stride, byteCount);
}

void convertR4flToRgb(const float* in, float* a, float* r, float* g, float* b, int stride, int count) {
  active().r4flToRgb(in, a, r, g, b, stride, count);
}

void convertR408ToRgb(const uint8_t* in, float* a, float* r, float* g, float* b, int stride, int count) {
  active().r408ToRgb(in, a, r, g, b, stride, count);
}

void convert2vuyToRgb(const uint8_t* in, float* a, float* r, float* g, float* b, int stride, int byteCount,
                      ChromaCoefficients set) {
  active().twoVuyToRgb(in, a, r, g, b, stride, byteCount, set);
}

void convertFloatToByte(uint8_t* out, const float* in, int count, int inStride, int outStride) {
  active().floatToByte(out, in, count, inStride, outStride);
}

void convertFloatToShort(uint16_t* out, const float* in, int count, int bits, int outStride) {
  active().floatToShort(out, in, count, bits, outStride);
}

}  // namespace Vantor::QuickTime
