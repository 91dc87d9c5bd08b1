#include "UyvyPacking.h"

#include "PackingAvx512.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#define VQT_UYVY_AVX2 1
#endif

namespace vqt::codecs {
namespace {

constexpr int kSmallestHeight = 16;  // below it libswscale's filter edges differ
constexpr int kMostPairs = 8192;     // blended chroma rows live on the stack (16K wide)

// One output row from a luma row and the Cb and Cr rows for it (already blended).
void packRow(const std::uint8_t* y, const std::uint8_t* cb, const std::uint8_t* cr, std::uint8_t* out, int pairs) {
  int pair = 0;
#if defined(__SSE2__)
  for (; pair + 8 <= pairs; pair += 8) {
    const __m128i luma = _mm_loadu_si128(reinterpret_cast<const __m128i*>(y + 2 * pair));
    const __m128i blue = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(cb + pair));
    const __m128i red = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(cr + pair));
    const __m128i chroma = _mm_unpacklo_epi8(blue, red);  // Cb0 Cr0 Cb1 Cr1 ...
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4 * pair), _mm_unpacklo_epi8(chroma, luma));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4 * pair + 16), _mm_unpackhi_epi8(chroma, luma));
  }
#endif
  for (; pair < pairs; ++pair) {
    out[4 * pair] = cb[pair];
    out[4 * pair + 1] = y[2 * pair];
    out[4 * pair + 2] = cr[pair];
    out[4 * pair + 3] = y[2 * pair + 1];
  }
}

// (a + b + 1) >> 1 for every byte, into `mean`.
void roundedMean(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* mean, int count) {
  int i = 0;
#if defined(__SSE2__)
  for (; i + 16 <= count; i += 16) {
    const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(a + i));
    const __m128i z = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + i));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(mean + i), _mm_avg_epu8(x, z));
  }
#endif
  for (; i < count; ++i) mean[i] = static_cast<std::uint8_t>((a[i] + b[i] + 1) >> 1);
}

const std::uint8_t* planeRow(const AVFrame& frame, int index, int row) {
  return frame.data[index] + static_cast<std::ptrdiff_t>(row) * frame.linesize[index];
}

struct ChromaRows {
  const std::uint8_t* cb;
  const std::uint8_t* cr;
};

// The Cb and Cr rows 4:2:2 wants beside luma row y of a 4:2:0 picture: a row
// between two chroma rows takes their rounded mean (made in `blended`, Cb then
// Cr at kMostPairs), the first row and each chroma row's lower luma row their own.
ChromaRows chromaForLumaRow(const AVFrame& frame, int y, int pairs, std::uint8_t* blended) {
  const int chromaRow = y / 2;
  const bool own = y == 0 || (y % 2 == 1 && y != frame.height - 1);
  if (own) return {planeRow(frame, 1, chromaRow), planeRow(frame, 2, chromaRow)};
  roundedMean(planeRow(frame, 1, chromaRow - 1), planeRow(frame, 1, chromaRow), blended, pairs);
  roundedMean(planeRow(frame, 2, chromaRow - 1), planeRow(frame, 2, chromaRow), blended + kMostPairs, pairs);
  return {blended, blended + kMostPairs};
}

}  // namespace

bool canPackPlanar420To2vuy(const AVFrame& frame) {
  return frame.format == AV_PIX_FMT_YUV420P && frame.color_range != AVCOL_RANGE_JPEG && frame.width % 2 == 0 &&
         frame.height % 2 == 0 && frame.height >= kSmallestHeight && frame.width > 0 && frame.width / 2 <= kMostPairs;
}

void packPlanar420To2vuy(const AVFrame& frame, const ImageView& rows, int firstRow) {
  const int pairs = frame.width / 2;
  const int end = std::min(frame.height, firstRow + rows.height);
  alignas(16) std::uint8_t blended[2 * kMostPairs];
  for (int y = firstRow; y < end; ++y) {
    const ChromaRows chroma = chromaForLumaRow(frame, y, pairs, blended);
    packRow(planeRow(frame, 0, y), chroma.cb, chroma.cr,
            rows.data + static_cast<std::ptrdiff_t>(y - firstRow) * rows.bytesPerRow, pairs);
  }
}

bool canPackPlanar420To2vuyTransformed(const AVFrame& frame) {
  return (frame.format == AV_PIX_FMT_YUV420P || frame.format == AV_PIX_FMT_YUVJ420P) && frame.width % 2 == 0 &&
         frame.height % 2 == 0 && frame.height >= kSmallestHeight && frame.width > 0 && frame.width / 2 <= kMostPairs;
}

namespace {

std::uint8_t nearestByte(float value) {
  return static_cast<std::uint8_t>(std::clamp(std::nearbyint(value), 0.0f, 255.0f));
}

#if defined(VQT_UYVY_AVX2)
// Eight pairs a step where the processor has AVX2: the operations of the SSE2
// step below on registers twice as wide (no fused multiply-add), so the same
// bytes. Every pack and unpack works within 128-bit halves, and each half
// holds four consecutive pairs from load to store. Returns the pairs done.
__attribute__((target("avx2"))) inline __m256 eightBytes(const std::uint8_t* p) {
  return _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
}
// Row k of the transform over eight pixels of Y' `y` and chroma `b`, `r`.
__attribute__((target("avx2"))) inline __m256 mapped(const YCbCrTransform& t, int k, __m256 y, __m256 b, __m256 r) {
  const float(&m)[3][3] = t.matrix;
  return _mm256_add_ps(
      _mm256_add_ps(_mm256_add_ps(_mm256_mul_ps(_mm256_set1_ps(m[k][0]), y), _mm256_mul_ps(_mm256_set1_ps(m[k][1]), b)),
                    _mm256_mul_ps(_mm256_set1_ps(m[k][2]), r)),
      _mm256_set1_ps(t.outOffset[k]));
}

__attribute__((target("avx2"))) int packTransformedPairsAvx2(const std::uint8_t* luma, const std::uint8_t* cb,
                                                             const std::uint8_t* cr, float unit,
                                                             const YCbCrTransform& t, std::uint8_t* out, int pairs,
                                                             int from) {
  const __m256 units = _mm256_set1_ps(unit), half = _mm256_set1_ps(0.5f);
  const __m256 lumaOffset = _mm256_set1_ps(t.inOffset[0]);
  const __m256i lowWords = _mm256_set1_epi32(0xFFFF);
  int pair = from;
  for (; pair + 8 <= pairs; pair += 8) {
    const __m256i lumaPairs = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(luma + 2 * pair)));
    const __m256 y0 =
        _mm256_sub_ps(_mm256_mul_ps(_mm256_cvtepi32_ps(_mm256_and_si256(lumaPairs, lowWords)), units), lumaOffset);
    const __m256 y1 =
        _mm256_sub_ps(_mm256_mul_ps(_mm256_cvtepi32_ps(_mm256_srli_epi32(lumaPairs, 16)), units), lumaOffset);
    const __m256 b = _mm256_sub_ps(_mm256_mul_ps(eightBytes(cb + pair), units), _mm256_set1_ps(t.inOffset[1]));
    const __m256 r = _mm256_sub_ps(_mm256_mul_ps(eightBytes(cr + pair), units), _mm256_set1_ps(t.inOffset[2]));
    const __m256i outY0 = _mm256_cvtps_epi32(mapped(t, 0, y0, b, r));
    const __m256i outY1 = _mm256_cvtps_epi32(mapped(t, 0, y1, b, r));
    const __m256i outB =
        _mm256_cvtps_epi32(_mm256_mul_ps(_mm256_add_ps(mapped(t, 1, y0, b, r), mapped(t, 1, y1, b, r)), half));
    const __m256i outR =
        _mm256_cvtps_epi32(_mm256_mul_ps(_mm256_add_ps(mapped(t, 2, y0, b, r), mapped(t, 2, y1, b, r)), half));
    const __m256i chroma = _mm256_packs_epi32(outB, outR);
    const __m256i lumas = _mm256_packs_epi32(outY0, outY1);
    const __m256i first = _mm256_unpacklo_epi16(chroma, lumas), second = _mm256_unpackhi_epi16(chroma, lumas);
    const __m256i groups =
        _mm256_packus_epi16(_mm256_unpacklo_epi32(first, second), _mm256_unpackhi_epi32(first, second));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 4 * pair), groups);
  }
  return pair;
}
#endif

// One '2vuy' row through the matrix. `unit` scales a sample to 8-bit units.
void packTransformedRow(const std::uint8_t* luma, const std::uint8_t* cb, const std::uint8_t* cr, float unit,
                        const YCbCrTransform& t, std::uint8_t* out, int pairs, VectorLevel level) {
  const float(&m)[3][3] = t.matrix;
  // Each step takes what the wider one before it left, so a row ends in narrower steps.
  int pair = 0;
  if (level >= VectorLevel::avx512) pair = packTransformedPairsAvx512(luma, cb, cr, unit, t, out, pairs);
#if defined(VQT_UYVY_AVX2)
  if (level >= VectorLevel::avx2) pair = packTransformedPairsAvx2(luma, cb, cr, unit, t, out, pairs, pair);
#endif
#if defined(__SSE2__)
  // Four pairs a step, the same operations as the loop below.
  const __m128 units = _mm_set1_ps(unit), half = _mm_set1_ps(0.5f);
  const __m128i zero = _mm_setzero_si128();
  auto splat = [](float v) { return _mm_set1_ps(v); };
  auto four = [&](const std::uint8_t* p) {
    std::int32_t bytes;
    std::memcpy(&bytes, p, 4);
    return _mm_cvtepi32_ps(_mm_unpacklo_epi16(_mm_unpacklo_epi8(_mm_cvtsi32_si128(bytes), zero), zero));
  };
  const __m128i lowWords = _mm_set1_epi32(0xFFFF);
  for (; level >= VectorLevel::sse2 && pair + 4 <= pairs; pair += 4) {
    // Eight luma bytes as four (even | odd << 16) words.
    const __m128i lumaPairs =
        _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(luma + 2 * pair)), zero);
    const __m128 y0 =
        _mm_sub_ps(_mm_mul_ps(_mm_cvtepi32_ps(_mm_and_si128(lumaPairs, lowWords)), units), splat(t.inOffset[0]));
    const __m128 y1 =
        _mm_sub_ps(_mm_mul_ps(_mm_cvtepi32_ps(_mm_srli_epi32(lumaPairs, 16)), units), splat(t.inOffset[0]));
    const __m128 b = _mm_sub_ps(_mm_mul_ps(four(cb + pair), units), splat(t.inOffset[1]));
    const __m128 r = _mm_sub_ps(_mm_mul_ps(four(cr + pair), units), splat(t.inOffset[2]));
    auto row = [&](int k, __m128 y) {
      return _mm_add_ps(_mm_add_ps(_mm_add_ps(_mm_mul_ps(splat(m[k][0]), y), _mm_mul_ps(splat(m[k][1]), b)),
                                   _mm_mul_ps(splat(m[k][2]), r)),
                        splat(t.outOffset[k]));
    };
    // Rounded to the nearest (ties to even, as nearbyint), saturated to bytes.
    const __m128i outY0 = _mm_cvtps_epi32(row(0, y0)), outY1 = _mm_cvtps_epi32(row(0, y1));
    const __m128i outB = _mm_cvtps_epi32(_mm_mul_ps(_mm_add_ps(row(1, y0), row(1, y1)), half));
    const __m128i outR = _mm_cvtps_epi32(_mm_mul_ps(_mm_add_ps(row(2, y0), row(2, y1)), half));
    const __m128i chroma = _mm_packs_epi32(outB, outR);   // Cb 0-3, Cr 0-3
    const __m128i lumas = _mm_packs_epi32(outY0, outY1);  // Y' even 0-3, odd 0-3
    const __m128i first = _mm_unpacklo_epi16(chroma, lumas), second = _mm_unpackhi_epi16(chroma, lumas);
    const __m128i groups = _mm_packus_epi16(_mm_unpacklo_epi32(first, second), _mm_unpackhi_epi32(first, second));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4 * pair), groups);
  }
#endif
  for (; pair < pairs; ++pair) {
    const float y0 = luma[2 * pair] * unit - t.inOffset[0];
    const float y1 = luma[2 * pair + 1] * unit - t.inOffset[0];
    const float b = cb[pair] * unit - t.inOffset[1];
    const float r = cr[pair] * unit - t.inOffset[2];
    auto row = [&](int k, float y) { return ((m[k][0] * y + m[k][1] * b) + m[k][2] * r) + t.outOffset[k]; };
    out[4 * pair] = nearestByte((row(1, y0) + row(1, y1)) * 0.5f);
    out[4 * pair + 1] = nearestByte(row(0, y0));
    out[4 * pair + 2] = nearestByte((row(2, y0) + row(2, y1)) * 0.5f);
    out[4 * pair + 3] = nearestByte(row(0, y1));
  }
}

}  // namespace

void packPlanar420To2vuyTransformed(const AVFrame& frame, bool fullRange, const YCbCrTransform& transform,
                                    const ImageView& rows, int firstRow, VectorLevel level) {
  level = std::min(level, bestVectorLevel());  // never a step this processor lacks
  const int pairs = frame.width / 2;
  const int end = std::min(frame.height, firstRow + rows.height);
  const float unit = sampleUnit(8, fullRange);
  alignas(16) std::uint8_t blended[2 * kMostPairs];
  for (int y = firstRow; y < end; ++y) {
    const ChromaRows chroma = chromaForLumaRow(frame, y, pairs, blended);
    packTransformedRow(planeRow(frame, 0, y), chroma.cb, chroma.cr, unit, transform,
                       rows.data + static_cast<std::ptrdiff_t>(y - firstRow) * rows.bytesPerRow, pairs, level);
  }
}

void pack444To422(const AVFrame& frame, const ImageView& rows) {
  const bool yuvs = rows.pixelFormat == kPixelFormatYuvs;
  const int width = std::min(frame.width, rows.width);
  const int height = std::min(frame.height, rows.height);
  auto byteOf = [](unsigned word) { return static_cast<std::uint8_t>(std::min(255u, (word + 128) >> 8)); };
  auto plane = [&](int index, int y) {
    return reinterpret_cast<const std::uint16_t*>(frame.data[index] +
                                                  static_cast<std::ptrdiff_t>(y) * frame.linesize[index]);
  };
  for (int y = 0; y < height; ++y) {
    const std::uint16_t* luma = plane(0, y);
    const std::uint16_t* cb = plane(1, y);
    const std::uint16_t* cr = plane(2, y);
    std::uint8_t* out = rows.data + static_cast<std::ptrdiff_t>(y) * rows.bytesPerRow;
    for (int x = 0; x < width; x += 2) {
      const int partner = std::min(x + 1, width - 1);
      const std::uint8_t group[4] = {byteOf((cb[x] + cb[partner] + 1u) / 2), byteOf(luma[x]),
                                     byteOf((cr[x] + cr[partner] + 1u) / 2), byteOf(luma[partner])};
      std::uint8_t* p = out + 2 * x;
      if (yuvs) {
        p[0] = group[1], p[1] = group[0], p[2] = group[3], p[3] = group[2];
      } else {
        std::memcpy(p, group, 4);
      }
    }
  }
}

void unpack422ToPlanar(const ConstImageView& source, AVFrame& frame) {
  const bool yuvs = source.pixelFormat == kPixelFormatYuvs;
  const int width = std::min(frame.width, source.width);
  const int height = std::min(frame.height, source.height);
  for (int y = 0; y < height; ++y) {
    const std::uint8_t* in = source.data + static_cast<std::ptrdiff_t>(y) * source.bytesPerRow;
    std::uint8_t* luma = frame.data[0] + static_cast<std::ptrdiff_t>(y) * frame.linesize[0];
    std::uint8_t* cb = frame.data[1] + static_cast<std::ptrdiff_t>(y) * frame.linesize[1];
    std::uint8_t* cr = frame.data[2] + static_cast<std::ptrdiff_t>(y) * frame.linesize[2];
    for (int x = 0; x < width; x += 2) {
      const std::uint8_t* group = in + 2 * x;
      cb[x / 2] = yuvs ? group[1] : group[0];
      cr[x / 2] = yuvs ? group[3] : group[2];
      luma[x] = yuvs ? group[0] : group[1];
      if (x + 1 < width) luma[x + 1] = yuvs ? group[2] : group[3];
    }
  }
}

}  // namespace vqt::codecs
