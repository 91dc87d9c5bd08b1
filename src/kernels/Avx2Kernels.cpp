// Optimised kernels for processors with AVX2; this file alone is compiled with -mavx2.
// The Y'CbCr kernels on interleaved rows and the contiguous float-to-short converter are
// written by hand, 8 pixels or values a step; the rest are the compiler-vectorised loops
// built for AVX2. Every operation below is the IEEE single-precision operation of the
// reference expression, in the same order.
#include "KernelLevels.h"

#define VQT_KERNEL_LEVEL avx2
#include "VectorKernels.inc"

#include "Avx2Vectors.h"

namespace Vantor::QuickTime::avx2 {
namespace {

using namespace vectors;

// Host pixel base pointer and channel order for the encoders, or null when the channels are
// not one interleaved B, G, R or R, G, B pixel.
struct EncoderLayout {
  const float* base;
  bool bgr;
};
EncoderLayout encoderLayout(const float* r, const float* g, const float* b, int stride) {
  if (stride != kPixelStride) return {nullptr, false};
  if (g == b + 1 && r == b + 2) return {b, true};
  if (g == r + 1 && b == r + 2) return {r, false};
  return {nullptr, false};
}

// Whole blocks of 8 pixels that can be loaded without touching memory past the row: the
// block load also reads the fourth float of its last pixel, which the row only guarantees
// for pixels before the last one.
inline int encoderBlocks(int count) { return count > 8 ? (count - 1) / 8 : 0; }

void convertRgbToR408Avx2(const float* r, const float* g, const float* b, int stride, uint8_t* out, int count) {
  const EncoderLayout layout = encoderLayout(r, g, b, stride);
  if (!layout.base) return kAutoVectorisedKernels.rgbToR408(r, g, b, stride, out, count);
  const int blocks = encoderBlocks(count);
  // Words come out in pixel order 0 2 4 6 1 3 5 7; this puts them back.
  const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
  for (int k = 0; k < blocks; ++k) {
    const Channels px = loadPixels(layout.base + 32 * k);
    const __m256 red = layout.bgr ? px.c2 : px.c0, green = px.c1, blue = layout.bgr ? px.c0 : px.c2;
    const __m256i y = _mm256_cvttps_epi32(clampRange(scaledLuma(red, green, blue), 0.0f, 218.0f));
    const __m256i cb = chromaBytes(cbSum(red, green, blue));
    const __m256i cr = chromaBytes(crSum(red, green, blue));
    __m256i words = _mm256_or_si256(_mm256_set1_epi32(255), _mm256_slli_epi32(y, 8));
    words = _mm256_or_si256(words, _mm256_or_si256(_mm256_slli_epi32(cb, 16), _mm256_slli_epi32(cr, 24)));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 32 * k), _mm256_permutevar8x32_epi32(words, order));
  }
  const int done = 8 * blocks, skip = kPixelStride * done;
  kAutoVectorisedKernels.rgbToR408(r + skip, g + skip, b + skip, stride, out + 4 * done, count - done);
}

void convertRgbTo2vuyAvx2(const float* r, const float* g, const float* b, int stride, uint8_t* out, int count) {
  const EncoderLayout layout = encoderLayout(r, g, b, stride);
  if (!layout.base) return kAutoVectorisedKernels.rgbTo2vuy(r, g, b, stride, out, count);
  const int blocks = encoderBlocks(count);
  for (int k = 0; k < blocks; ++k) {
    // The low half holds the first pixel of each of four pairs, the high half the second.
    const Channels px = loadPixels(layout.base + 32 * k);
    const __m256 red = layout.bgr ? px.c2 : px.c0, green = px.c1, blue = layout.bgr ? px.c0 : px.c2;
    const __m256 swapped[3] = {_mm256_permute2f128_ps(red, red, 1), _mm256_permute2f128_ps(green, green, 1),
                               _mm256_permute2f128_ps(blue, blue, 1)};
    const __m256 rMean = mul(splat(0.5f), add(red, swapped[0]));
    const __m256 gMean = mul(splat(0.5f), add(green, swapped[1]));
    const __m256 bMean = mul(splat(0.5f), add(blue, swapped[2]));
    const __m256i y = _mm256_cvttps_epi32(add(clampRange(scaledLuma(red, green, blue), 0.0f, 219.0f), splat(16.0f)));
    const __m128i cb = _mm256_castsi256_si128(chromaBytes(cbSum(rMean, gMean, bMean)));
    const __m128i cr = _mm256_castsi256_si128(chromaBytes(crSum(rMean, gMean, bMean)));
    const __m128i y0 = _mm256_castsi256_si128(y), y1 = _mm256_extracti128_si256(y, 1);
    const __m128i words = _mm_or_si128(_mm_or_si128(cb, _mm_slli_epi32(y0, 8)),
                                       _mm_or_si128(_mm_slli_epi32(cr, 16), _mm_slli_epi32(y1, 24)));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 16 * k), words);
  }
  const int done = 8 * blocks, skip = kPixelStride * done;
  kAutoVectorisedKernels.rgbTo2vuy(r + skip, g + skip, b + skip, stride, out + 2 * done, count - done);
}

// Byte `index` (0 = lowest) of every 32-bit lane, as floats.
inline __m128 laneByte(__m128i words, int index) {
  const __m128i shifted = _mm_srl_epi32(words, _mm_cvtsi32_si128(8 * index));
  return _mm_cvtepi32_ps(_mm_and_si128(shifted, _mm_set1_epi32(0xFF)));
}
inline __m256 bothHalves(__m128 v) { return _mm256_set_m128(v, v); }

// Four 4:2:2 groups (16 bytes) to eight R, G, B, A pixels; the luma of the first pixels goes
// in the low half and the chroma terms serve both halves.
inline void storeGroups(bool stream, float* px, __m128 y0, __m128 y1, __m128 cb128, __m128 cr128, float crToR,
                        float cbToG, float crToG, float cbToB) {
  const __m256 y = _mm256_set_m128(y1, y0), cb = bothHalves(cb128), cr = bothHalves(cr128);
  const __m256 red = clamp01(add(y, mul(splat(crToR), cr)));
  const __m256 green = clamp01(add(add(y, mul(splat(cbToG), cb)), mul(splat(crToG), cr)));
  const __m256 blue = clamp01(add(y, mul(splat(cbToB), cb)));
  putPixels(stream, px, red, green, blue, splat(1.0f));
}

inline __m128 lumaFromBytes(__m128 v, float scale) {
  return _mm_mul_ps(_mm_max_ps(_mm_sub_ps(v, _mm_set1_ps(16.0f)), _mm_setzero_ps()), _mm_set1_ps(scale));
}

void convert2vuyToRgbAvx2(const uint8_t* in, float* a, float* r, float* g, float* b, int stride, int byteCount,
                          ChromaCoefficients set) {
  if (!isPackedRgba(a, r, g, b, stride) || byteCount <= 0)
    return kAutoVectorisedKernels.twoVuyToRgb(in, a, r, g, b, stride, byteCount, set);
  const int blocks = byteCount / 16;
  const bool stream = streams(r, byteCount / 2);
  const __m128 k255 = _mm_set1_ps(255.0f), k128 = _mm_set1_ps(128.0f);
  for (int k = 0; k < blocks; ++k) {
    const __m128i words = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + 16 * k));
    const __m128 cb = _mm_div_ps(_mm_sub_ps(laneByte(words, 0), k128), k255);
    const __m128 y0 = lumaFromBytes(laneByte(words, 1), set.lumaScale);
    const __m128 cr = _mm_div_ps(_mm_sub_ps(laneByte(words, 2), k128), k255);
    const __m128 y1 = lumaFromBytes(laneByte(words, 3), set.lumaScale);
    storeGroups(stream, r + 32 * k, y0, y1, cb, cr, set.crToR, set.cbToG, set.crToG, set.cbToB);
  }
  endStreaming(stream);
  const int done = 16 * blocks, skip = kPixelStride * (done / 2);
  kAutoVectorisedKernels.twoVuyToRgb(in + done, a + skip, r + skip, g + skip, b + skip, stride, byteCount - done, set);
}

void convertYuvsToRgbAvx2(const uint8_t* in, float* a, float* r, float* g, float* b, int stride, int byteCount) {
  if (!isPackedRgba(a, r, g, b, stride) || byteCount <= 0)
    return kAutoVectorisedKernels.yuvsToRgb(in, a, r, g, b, stride, byteCount);
  const int blocks = byteCount / 16;
  const bool stream = streams(r, byteCount / 2);
  const __m128 k255 = _mm_set1_ps(255.0f);
  for (int k = 0; k < blocks; ++k) {
    const __m128i words = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + 16 * k));
    const __m128 y0 = lumaFromBytes(laneByte(words, 0), k1Over218);
    const __m128 cb = _mm_div_ps(_mm_sub_ps(laneByte(words, 1), _mm_set1_ps(127.0f)), k255);
    const __m128 y1 = lumaFromBytes(laneByte(words, 2), k1Over218);
    const __m128 cr = _mm_div_ps(_mm_sub_ps(laneByte(words, 3), _mm_set1_ps(128.0f)), k255);
    storeGroups(stream, r + 32 * k, y0, y1, cb, cr, kYuvsCrToR, kYuvsCbToG, kYuvsCrToG, kYuvsCbToB);
  }
  endStreaming(stream);
  const int done = 16 * blocks, skip = kPixelStride * (done / 2);
  kAutoVectorisedKernels.yuvsToRgb(in + done, a + skip, r + skip, g + skip, b + skip, stride, byteCount - done);
}

// Byte `index` of every 32-bit lane of eight pixels, as floats.
inline __m256 pixelByte(__m256i words, int index) {
  const __m256i shifted = _mm256_srl_epi32(words, _mm_cvtsi32_si128(8 * index));
  return _mm256_cvtepi32_ps(_mm256_and_si256(shifted, _mm256_set1_epi32(0xFF)));
}

void convertR408ToRgbAvx2(const uint8_t* in, float* a, float* r, float* g, float* b, int stride, int count) {
  if (!isPackedRgba(a, r, g, b, stride)) return kAutoVectorisedKernels.r408ToRgb(in, a, r, g, b, stride, count);
  const int blocks = count > 0 ? count / 8 : 0;
  // Pixels in the order 0 2 4 6 1 3 5 7, the order storePixels expects.
  const __m256i order = _mm256_setr_epi32(0, 2, 4, 6, 1, 3, 5, 7);
  const bool stream = streams(r, count);
  for (int k = 0; k < blocks; ++k) {
    const __m256i loaded = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + 32 * k));
    const __m256i words = _mm256_permutevar8x32_epi32(loaded, order);
    const __m256 alpha = _mm256_div_ps(pixelByte(words, 0), splat(255.0f));
    const __m256 y = _mm256_max_ps(mul(pixelByte(words, 1), splat(k1Over219)), _mm256_setzero_ps());
    const __m256 cb = sub(pixelByte(words, 2), splat(128.0f));
    const __m256 cr = sub(pixelByte(words, 3), splat(128.0f));
    const __m256 red = clamp01(add(y, mul(splat(0.00625893f), cr)));
    const __m256 green = clamp01(sub(sub(y, mul(splat(0.00153632f), cb)), mul(splat(0.00318811f), cr)));
    const __m256 blue = clamp01(add(y, mul(splat(0.00791071f), cb)));
    putPixels(stream, r + 32 * k, red, green, blue, alpha);
  }
  endStreaming(stream);
  const int done = 8 * blocks, skip = kPixelStride * done;
  kAutoVectorisedKernels.r408ToRgb(in + 4 * done, a + skip, r + skip, g + skip, b + skip, stride, count - done);
}

void convertRgbToR4flAvx2(const float* a, const float* r, const float* g, const float* b, int stride, float* out,
                          int count) {
  const EncoderLayout layout = encoderLayout(r, g, b, stride);
  if (!layout.base || (a && a != layout.base + 3))
    return kAutoVectorisedKernels.rgbToR4fl(a, r, g, b, stride, out, count);
  const int blocks = encoderBlocks(count);
  const __m256 k255 = splat(k1Over255);
  for (int k = 0; k < blocks; ++k) {
    const Channels px = loadPixels(layout.base + 32 * k);
    const __m256 red = layout.bgr ? px.c2 : px.c0, green = px.c1, blue = layout.bgr ? px.c0 : px.c2;
    const __m256 alpha = a ? px.c3 : splat(1.0f);
    const __m256 y = mul(mul(lumaSum(red, green, blue), splat(kLumaExcursion)), k255);
    const __m256 cb = mul(add(mul(cbSum(red, green, blue), splat(kChromaExcursion)), splat(128.0f)), k255);
    const __m256 cr = mul(add(mul(crSum(red, green, blue), splat(kChromaExcursion)), splat(128.0f)), k255);
    storePixels(out + 32 * k, alpha, y, cb, cr);
  }
  const int done = 8 * blocks, skip = kPixelStride * done;
  kAutoVectorisedKernels.rgbToR4fl(a ? a + skip : nullptr, r + skip, g + skip, b + skip, stride, out + 4 * done,
                                   count - done);
}

void convertR4flToRgbAvx2(const float* in, float* a, float* r, float* g, float* b, int stride, int count) {
  if (!isPackedRgba(a, r, g, b, stride)) return kAutoVectorisedKernels.r4flToRgb(in, a, r, g, b, stride, count);
  const int blocks = count > 0 ? count / 8 : 0;
  const __m256 k255 = splat(255.0f), k128 = splat(128.0f);
  const bool stream = streams(r, count);
  for (int k = 0; k < blocks; ++k) {
    const Channels px = loadPixels(in + 32 * k);  // A, Y', Cb, Cr
    const __m256 y = mul(mul(px.c1, k255), splat(k1Over219));
    const __m256 cb = sub(mul(px.c2, k255), k128);
    const __m256 cr = sub(mul(px.c3, k255), k128);
    const __m256 red = add(mul(splat(0.00625893f), cr), y);
    const __m256 green = sub(sub(y, mul(splat(0.00153632f), cb)), mul(splat(0.00318811f), cr));
    const __m256 blue = add(mul(splat(0.00791071f), cb), y);
    putPixels(stream, r + 32 * k, red, green, blue, px.c0);
  }
  endStreaming(stream);
  const int done = 8 * blocks, skip = kPixelStride * done;
  kAutoVectorisedKernels.r4flToRgb(in + 4 * done, a + skip, r + skip, g + skip, b + skip, stride, count - done);
}

void convertFloatToShortAvx2(uint16_t* out, const float* in, int count, int bits, int outStride) {
  if (outStride != 1) return kAutoVectorisedKernels.floatToShort(out, in, count, bits, outStride);
  const int blocks = count > 0 ? count / 8 : 0;
  const __m256 maximum = splat(shortMaximum(bits));
  for (int k = 0; k < blocks; ++k) {
    // clamp01 gives 0 for NaN and v <= 0 and the maximum for v >= 1; adding and removing
    // 2^23 rounds half to even like nearbyint for these values below 2^23.
    const __m256 scaled = mul(clamp01(_mm256_loadu_ps(in + 8 * k)), maximum);
    const __m256i rounded = _mm256_cvttps_epi32(sub(add(scaled, splat(8388608.0f)), splat(8388608.0f)));
    const __m128i shorts = _mm_packus_epi32(_mm256_castsi256_si128(rounded), _mm256_extracti128_si256(rounded, 1));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 8 * k), shorts);
  }
  const int done = 8 * blocks;
  kAutoVectorisedKernels.floatToShort(out + done, in + done, count - done, bits, outStride);
}

}  // namespace

const KernelTable& kernelTable() {
  static constexpr KernelTable table = [] {
    KernelTable t = kAutoVectorisedKernels;
    t.rgbToR408 = convertRgbToR408Avx2;
    t.rgbTo2vuy = convertRgbTo2vuyAvx2;
    t.twoVuyToRgb = convert2vuyToRgbAvx2;
    t.yuvsToRgb = convertYuvsToRgbAvx2;
    t.r408ToRgb = convertR408ToRgbAvx2;
    t.rgbToR4fl = convertRgbToR4flAvx2;
    t.r4flToRgb = convertR4flToRgbAvx2;
    t.floatToShort = convertFloatToShortAvx2;
    return t;
  }();
  return table;
}

}  // namespace Vantor::QuickTime::avx2
