#include "VectorLevel.h"

namespace vqt::codecs {

VectorLevel bestVectorLevel() {
  static const VectorLevel level = [] {
#if defined(__x86_64__) && defined(__GNUC__)
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl") &&
        __builtin_cpu_supports("avx512dq"))
      return VectorLevel::avx512;
    if (__builtin_cpu_supports("avx2")) return VectorLevel::avx2;
    return VectorLevel::sse2;
#elif defined(__SSE2__)
    return VectorLevel::sse2;
#else
    return VectorLevel::scalar;
#endif
  }();
  return level;
}

}  // namespace vqt::codecs
