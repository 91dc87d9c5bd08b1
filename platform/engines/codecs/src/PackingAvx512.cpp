#include "PackingAvx512.h"

#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>

#define VQT_AVX512 __attribute__((target("avx512f,avx512bw,avx512vl")))

namespace vqt::codecs {
namespace {

// Element 4L + i of a vector holds pixel 4i + L, so that the in-lane transpose at the end
// leaves four vectors of four consecutive pixels. The permutes that widen samples put them
// in this order at no extra cost for half-width chroma.
VQT_AVX512 inline __m512i pixelOrder() {
  return _mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
}
VQT_AVX512 inline __m512i halfWidthOrder() { return _mm512_setr_epi32(0, 2, 4, 6, 0, 2, 4, 6, 1, 3, 5, 7, 1, 3, 5, 7); }

VQT_AVX512 inline __m512i sixteenWords(const std::uint16_t* p) {
  return _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)));
}
VQT_AVX512 inline __m512i sixteenWords(const std::uint8_t* p) {
  return _mm512_cvtepu8_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
}
VQT_AVX512 inline __m512i eightWords(const std::uint16_t* p) {
  return _mm512_castsi256_si512(_mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))));
}
VQT_AVX512 inline __m512i eightWords(const std::uint8_t* p) {
  return _mm512_castsi256_si512(_mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
}
// Sixteen pixels' samples in pixel order (exact as floats: integers below 2^16).
template <typename Sample>
VQT_AVX512 inline __m512 pixelSamples(const Sample* p) {
  return _mm512_cvtepi32_ps(_mm512_permutexvar_epi32(pixelOrder(), sixteenWords(p)));
}
// The chroma of sixteen pixels, full or half width, in pixel order.
template <typename Sample>
VQT_AVX512 inline __m512 chromaSamples(const Sample* p, int x, int chromaShiftX) {
  if (chromaShiftX) return _mm512_cvtepi32_ps(_mm512_permutexvar_epi32(halfWidthOrder(), eightWords(p + x / 2)));
  return pixelSamples(p + x);
}

template <typename Sample>
VQT_AVX512 int packPixels(const Sample* luma, const Sample* cb, const Sample* cr, const Sample* alpha, float alphaScale,
                          int chromaShiftX, float unit, const YCbCrTransform& t, std::uint8_t* row, int width) {
  if (chromaShiftX > 1) return 0;
  const __m512 units = _mm512_set1_ps(unit), inverse255 = _mm512_set1_ps(1.0f / 255.0f);
  const __m512 sixteen = _mm512_set1_ps(16.0f), alphaUnits = _mm512_set1_ps(alphaScale);
  int x = 0;
  for (; x + 16 <= width; x += 16) {
    const __m512 blue = chromaSamples(cb, x, chromaShiftX);
    const __m512 red = chromaSamples(cr, x, chromaShiftX);
    const __m512 v[3] = {_mm512_sub_ps(_mm512_mul_ps(pixelSamples(luma + x), units), _mm512_set1_ps(t.inOffset[0])),
                         _mm512_sub_ps(_mm512_mul_ps(blue, units), _mm512_set1_ps(t.inOffset[1])),
                         _mm512_sub_ps(_mm512_mul_ps(red, units), _mm512_set1_ps(t.inOffset[2]))};
    __m512 o[3];
    for (int r = 0; r < 3; ++r) {
      const __m512 sum = _mm512_add_ps(_mm512_add_ps(_mm512_mul_ps(_mm512_set1_ps(t.matrix[r][0]), v[0]),
                                                     _mm512_mul_ps(_mm512_set1_ps(t.matrix[r][1]), v[1])),
                                       _mm512_mul_ps(_mm512_set1_ps(t.matrix[r][2]), v[2]));
      o[r] = _mm512_add_ps(sum, _mm512_set1_ps(t.outOffset[r]));
    }
    const __m512 a = alpha ? _mm512_mul_ps(pixelSamples(alpha + x), alphaUnits) : _mm512_set1_ps(1.0f);
    const __m512 y = _mm512_mul_ps(_mm512_sub_ps(o[0], sixteen), inverse255);
    const __m512 b = _mm512_mul_ps(o[1], inverse255);
    const __m512 c = _mm512_mul_ps(o[2], inverse255);
    // A, Y', Cb, Cr a pixel: each 128-bit lane transposed on its own.
    const __m512 ay0 = _mm512_unpacklo_ps(a, y), ay1 = _mm512_unpackhi_ps(a, y);
    const __m512 bc0 = _mm512_unpacklo_ps(b, c), bc1 = _mm512_unpackhi_ps(b, c);
    auto* out = reinterpret_cast<float*>(row + 16 * x);
    _mm512_storeu_ps(out, _mm512_shuffle_ps(ay0, bc0, 0x44));
    _mm512_storeu_ps(out + 16, _mm512_shuffle_ps(ay0, bc0, 0xEE));
    _mm512_storeu_ps(out + 32, _mm512_shuffle_ps(ay1, bc1, 0x44));
    _mm512_storeu_ps(out + 48, _mm512_shuffle_ps(ay1, bc1, 0xEE));
  }
  return x;
}

// Row k of the transform over sixteen pixels of Y' `y` and chroma `b`, `r`.
VQT_AVX512 inline __m512 mapped(const YCbCrTransform& t, int k, __m512 y, __m512 b, __m512 r) {
  const float(&m)[3][3] = t.matrix;
  return _mm512_add_ps(
      _mm512_add_ps(_mm512_add_ps(_mm512_mul_ps(_mm512_set1_ps(m[k][0]), y), _mm512_mul_ps(_mm512_set1_ps(m[k][1]), b)),
                    _mm512_mul_ps(_mm512_set1_ps(m[k][2]), r)),
      _mm512_set1_ps(t.outOffset[k]));
}

}  // namespace

int packTransformedPixelsAvx512(const std::uint8_t* luma, const std::uint8_t* cb, const std::uint8_t* cr,
                                const std::uint8_t* alpha, float alphaScale, int chromaShiftX, float unit,
                                const YCbCrTransform& t, std::uint8_t* row, int width) {
  return packPixels(luma, cb, cr, alpha, alphaScale, chromaShiftX, unit, t, row, width);
}

int packTransformedPixelsAvx512(const std::uint16_t* luma, const std::uint16_t* cb, const std::uint16_t* cr,
                                const std::uint16_t* alpha, float alphaScale, int chromaShiftX, float unit,
                                const YCbCrTransform& t, std::uint8_t* row, int width) {
  return packPixels(luma, cb, cr, alpha, alphaScale, chromaShiftX, unit, t, row, width);
}

// Every pack and unpack works within 128-bit lanes, and each lane holds four consecutive
// pairs from load to store, as in the eight-pair step.
VQT_AVX512 int packTransformedPairsAvx512(const std::uint8_t* luma, const std::uint8_t* cb, const std::uint8_t* cr,
                                          float unit, const YCbCrTransform& t, std::uint8_t* out, int pairs) {
  const __m512 units = _mm512_set1_ps(unit), half = _mm512_set1_ps(0.5f);
  const __m512 lumaOffset = _mm512_set1_ps(t.inOffset[0]);
  const __m512i lowWords = _mm512_set1_epi32(0xFFFF);
  int pair = 0;
  for (; pair + 16 <= pairs; pair += 16) {
    const __m512i lumaPairs =
        _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(luma + 2 * pair)));
    const __m512 y0 =
        _mm512_sub_ps(_mm512_mul_ps(_mm512_cvtepi32_ps(_mm512_and_si512(lumaPairs, lowWords)), units), lumaOffset);
    const __m512 y1 =
        _mm512_sub_ps(_mm512_mul_ps(_mm512_cvtepi32_ps(_mm512_srli_epi32(lumaPairs, 16)), units), lumaOffset);
    const __m512 b =
        _mm512_sub_ps(_mm512_mul_ps(_mm512_cvtepi32_ps(sixteenWords(cb + pair)), units), _mm512_set1_ps(t.inOffset[1]));
    const __m512 r =
        _mm512_sub_ps(_mm512_mul_ps(_mm512_cvtepi32_ps(sixteenWords(cr + pair)), units), _mm512_set1_ps(t.inOffset[2]));
    // Rounded to the nearest (ties to even), saturated to bytes by the packs.
    const __m512i outY0 = _mm512_cvtps_epi32(mapped(t, 0, y0, b, r));
    const __m512i outY1 = _mm512_cvtps_epi32(mapped(t, 0, y1, b, r));
    const __m512i outB =
        _mm512_cvtps_epi32(_mm512_mul_ps(_mm512_add_ps(mapped(t, 1, y0, b, r), mapped(t, 1, y1, b, r)), half));
    const __m512i outR =
        _mm512_cvtps_epi32(_mm512_mul_ps(_mm512_add_ps(mapped(t, 2, y0, b, r), mapped(t, 2, y1, b, r)), half));
    const __m512i chroma = _mm512_packs_epi32(outB, outR);
    const __m512i lumas = _mm512_packs_epi32(outY0, outY1);
    const __m512i first = _mm512_unpacklo_epi16(chroma, lumas), second = _mm512_unpackhi_epi16(chroma, lumas);
    const __m512i groups =
        _mm512_packus_epi16(_mm512_unpacklo_epi32(first, second), _mm512_unpackhi_epi32(first, second));
    _mm512_storeu_si512(out + 4 * pair, groups);
  }
  return pair;
}

}  // namespace vqt::codecs

#else

namespace vqt::codecs {

int packTransformedPixelsAvx512(const std::uint8_t*, const std::uint8_t*, const std::uint8_t*, const std::uint8_t*,
                                float, int, float, const YCbCrTransform&, std::uint8_t*, int) {
  return 0;
}
int packTransformedPixelsAvx512(const std::uint16_t*, const std::uint16_t*, const std::uint16_t*, const std::uint16_t*,
                                float, int, float, const YCbCrTransform&, std::uint8_t*, int) {
  return 0;
}
int packTransformedPairsAvx512(const std::uint8_t*, const std::uint8_t*, const std::uint8_t*, float,
                               const YCbCrTransform&, std::uint8_t*, int) {
  return 0;
}

}  // namespace vqt::codecs

#endif
