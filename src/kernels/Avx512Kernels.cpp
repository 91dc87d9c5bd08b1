// Kernels for processors with AVX-512 BW and VL: the AVX2 table, except that the float-to-byte
// converter on interleaved rows stores its bytes through a byte mask (one call fills one
// channel of 8-bit ARGB pixels; without byte-masked stores that is one scalar store a value),
// and the 'r4fl' and '2vuy' decoders go 16 pixels a step. Every value goes through the
// operations of the reference expression in the same order, so the results are the same bits.
// This file alone is compiled with the AVX-512 options.
#include "Avx512Vectors.h"
#include "KernelLevels.h"

namespace Vantor::QuickTime::avx512 {
namespace {

using namespace vectors;

constexpr int kPixelStride = 4;

// The decoders' fast path, as at the AVX2 level: R, G, B, A floats with stride 4.
bool isPackedRgba(const float* a, const float* r, const float* g, const float* b, int stride) {
  return stride == kPixelStride && g == r + 1 && b == r + 2 && a == r + 3;
}

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

void convertR4flToRgbAvx512(const float* in, float* a, float* r, float* g, float* b, int stride, int count) {
  const KernelTable& avx2Kernels = avx2::kernelTable();
  if (!isPackedRgba(a, r, g, b, stride)) return avx2Kernels.r4flToRgb(in, a, r, g, b, stride, count);
  const int blocks = count > 0 ? count / 16 : 0;
  const __m512 k255 = splat16(255.0f), k128 = splat16(128.0f);
  writeBlocks(r, blocks, streams(r, count), [&](int k) {
    const Quad px = loadPixels16(in + 64 * k);  // A, Y', Cb, Cr
    const __m512 y = mul(mul(px.v1, k255), splat16(k1Over219));
    const __m512 cb = sub(mul(px.v2, k255), k128);
    const __m512 cr = sub(mul(px.v3, k255), k128);
    const __m512 red = add(mul(splat16(0.00625893f), cr), y);
    const __m512 green = sub(sub(y, mul(splat16(0.00153632f), cb)), mul(splat16(0.00318811f), cr));
    const __m512 blue = add(mul(splat16(0.00791071f), cb), y);
    return transpose(red, green, blue, px.v0);
  });
  const int done = 16 * blocks, skip = kPixelStride * done;
  avx2Kernels.r4flToRgb(in + 4 * done, a + skip, r + skip, g + skip, b + skip, stride, count - done);
}

// Eight 4:2:2 groups (32 bytes, 16 pixels) a step. The channel vectors hold pixel 4i + L at
// element 4L + i (what transpose turns into four vectors of pixels in row order): lanes 0
// and 2 take the first pixels of groups 0, 2, 4, 6 and 1, 3, 5, 7, lanes 1 and 3 the second
// pixels of the same groups. Each group's Cb and Cr are divided once, all sixteen in one
// vector, and then spread over the lanes that need them.
void convert2vuyToRgbAvx512(const uint8_t* in, float* a, float* r, float* g, float* b, int stride, int byteCount,
                            ChromaCoefficients set) {
  const KernelTable& avx2Kernels = avx2::kernelTable();
  if (!isPackedRgba(a, r, g, b, stride) || byteCount <= 0)
    return avx2Kernels.twoVuyToRgb(in, a, r, g, b, stride, byteCount, set);
  const int blocks = byteCount / 32;
  const __m512i groupOfElement = _mm512_setr_epi32(0, 2, 4, 6, 0, 2, 4, 6, 1, 3, 5, 7, 1, 3, 5, 7);
  const __m512i crOfElement = _mm512_add_epi32(groupOfElement, _mm512_set1_epi32(8));
  const __m512i lumaShift = _mm512_setr_epi32(8, 8, 8, 8, 24, 24, 24, 24, 8, 8, 8, 8, 24, 24, 24, 24);
  const __m512i chromaShift = _mm512_setr_epi32(0, 0, 0, 0, 0, 0, 0, 0, 16, 16, 16, 16, 16, 16, 16, 16);
  const __m512i lowByte = _mm512_set1_epi32(0xFF);
  auto bytesAsFloats = [&](__m512i words, __m512i shift) {
    return _mm512_cvtepi32_ps(_mm512_and_si512(_mm512_srlv_epi32(words, shift), lowByte));
  };
  writeBlocks(r, blocks, streams(r, byteCount / 2), [&](int k) {
    const __m256i groups = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + 32 * k));
    const __m512i twice = _mm512_inserti64x4(_mm512_castsi256_si512(groups), groups, 1);
    // Cb of groups 0-7, then their Cr.
    const __m512 chroma = _mm512_div_ps(sub(bytesAsFloats(twice, chromaShift), splat16(128.0f)), splat16(255.0f));
    const __m512 cb = _mm512_permutexvar_ps(groupOfElement, chroma);
    const __m512 cr = _mm512_permutexvar_ps(crOfElement, chroma);
    const __m512 lumaBytes = bytesAsFloats(_mm512_permutexvar_epi32(groupOfElement, twice), lumaShift);
    const __m512 y = mul(_mm512_max_ps(sub(lumaBytes, splat16(16.0f)), _mm512_setzero_ps()), splat16(set.lumaScale));
    const __m512 red = clamp01(add(y, mul(splat16(set.crToR), cr)));
    const __m512 green = clamp01(add(add(y, mul(splat16(set.cbToG), cb)), mul(splat16(set.crToG), cr)));
    const __m512 blue = clamp01(add(y, mul(splat16(set.cbToB), cb)));
    return transpose(red, green, blue, splat16(1.0f));
  });
  const int done = 32 * blocks, skip = kPixelStride * (done / 2);
  avx2Kernels.twoVuyToRgb(in + done, a + skip, r + skip, g + skip, b + skip, stride, byteCount - done, set);
}

}  // namespace

const KernelTable& kernelTable() {
  static const KernelTable table = [] {
    KernelTable t = avx2::kernelTable();
    t.floatToByte = convertFloatToByteMasked;
    t.r4flToRgb = convertR4flToRgbAvx512;
    t.twoVuyToRgb = convert2vuyToRgbAvx512;
    return t;
  }();
  return table;
}

}  // namespace Vantor::QuickTime::avx512
