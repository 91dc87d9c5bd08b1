// Kernels for processors with AVX-512 BW and VL: the AVX2 table, except that the float-to-byte
// converter on interleaved rows stores its bytes through a byte mask. One call fills one
// channel of 8-bit ARGB pixels; without byte-masked stores that is one scalar store a value.
// This file alone is compiled with the AVX-512 options.
#include "Avx2Vectors.h"
#include "KernelLevels.h"

namespace Vantor::QuickTime::avx512 {
namespace {

using namespace vectors;

constexpr int kPixelStride = 4;

void convertFloatToByteMasked(uint8_t* out, const float* in, int count, int inStride, int outStride) {
  const KernelTable& avx2Kernels = avx2::kernelTable();
  if (inStride != kPixelStride || outStride != kPixelStride)
    return avx2Kernels.floatToByte(out, in, count, inStride, outStride);
  // The block load reads the three floats after each value, which the row only guarantees
  // before its last value.
  const int blocks = count > 8 ? (count - 1) / 8 : 0;
  const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
  const __mmask32 firstByteOfEachWord = 0x11111111;
  for (int k = 0; k < blocks; ++k) {
    const __m256 value = loadPixels(in + 32 * k).c0;
    // As the scalar rule: clamp01 maps NaN and v <= 0 to 0 and v >= 1 to 1, then
    // (128 + round-half-even(v * 65280)) >> 8; adding and removing 2^23 rounds like
    // nearbyint for these non-negative values below 2^23.
    const __m256 scaled = mul(clamp01(value), splat(65280.0f));
    const __m256i rounded = _mm256_cvttps_epi32(sub(add(scaled, splat(8388608.0f)), splat(8388608.0f)));
    const __m256i bytes = _mm256_srli_epi32(_mm256_add_epi32(rounded, _mm256_set1_epi32(128)), 8);
    _mm256_mask_storeu_epi8(out + 32 * k, firstByteOfEachWord, _mm256_permutevar8x32_epi32(bytes, order));
  }
  const int done = 8 * blocks;
  avx2Kernels.floatToByte(out + kPixelStride * done, in + kPixelStride * done, count - done, inStride, outStride);
}

}  // namespace

const KernelTable& kernelTable() {
  static const KernelTable table = [] {
    KernelTable t = avx2::kernelTable();
    t.floatToByte = convertFloatToByteMasked;
    return t;
  }();
  return table;
}

}  // namespace Vantor::QuickTime::avx512
