#include "YCbCrPacking.h"

#include "PackingAvx512.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

extern "C" {
#include <libavutil/pixdesc.h>
}

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#define VQT_PACKING_AVX2 1
#endif

namespace vqt::codecs {
namespace {

// One pixel in 8-bit video-range units (Y' 16..235, chroma centred on 128), alpha 0..1.
struct Yuva {
  float y, cb, cr, a;
};

struct PlaneLayout {
  int depth;
  int chromaShiftX;
  int chromaShiftY;
  bool hasAlpha;
};

PlaneLayout layoutOf(const AVFrame& frame) {
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  return {d->comp[0].depth, d->log2_chroma_w, d->log2_chroma_h, (d->flags & AV_PIX_FMT_FLAG_ALPHA) != 0};
}

template <typename Sample>
const Sample* planeRow(const AVFrame& frame, int plane, int y) {
  return reinterpret_cast<const Sample*>(frame.data[plane] + static_cast<std::ptrdiff_t>(y) * frame.linesize[plane]);
}

template <typename Sample>
Sample* planeRow(AVFrame& frame, int plane, int y) {
  return reinterpret_cast<Sample*>(frame.data[plane] + static_cast<std::ptrdiff_t>(y) * frame.linesize[plane]);
}

// Rounds a non-negative value to the nearest integer no larger than `maximum`.
inline int roundClamped(float value, float maximum) {
  return static_cast<int>(std::min(std::max(value, 0.0f), maximum) + 0.5f);
}

#if defined(__SSE2__)
// Four samples from `p` as floats (exact: they are integers below 2^16).
inline __m128 fourSamples(const std::uint16_t* p) {
  const __m128i words = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
  return _mm_cvtepi32_ps(_mm_unpacklo_epi16(words, _mm_setzero_si128()));
}
inline __m128 fourSamples(const std::uint8_t* p) {
  std::int32_t bytes;
  std::memcpy(&bytes, p, 4);
  const __m128i zero = _mm_setzero_si128();
  return _mm_cvtepi32_ps(_mm_unpacklo_epi16(_mm_unpacklo_epi8(_mm_cvtsi32_si128(bytes), zero), zero));
}
// Two samples, each repeated: the chroma of four 4:2:2 pixels.
template <typename Sample>
inline __m128 twoSamplesTwice(const Sample* p) {
  const __m128 both = _mm_cvtepi32_ps(_mm_setr_epi32(p[0], p[1], 0, 0));
  return _mm_unpacklo_ps(both, both);
}

// The float row of packRows, four pixels a step, for frames whose chroma is
// full or half width, with or without alpha (`alpha` null: opaque): the same
// single-precision operations in the same order, so the same floats. Returns
// the pixels done.
template <typename Sample>
int packFloatPixels(const Sample* luma, const Sample* cb, const Sample* cr, const Sample* alpha, float alphaScale,
                    int chromaShiftX, float unit, std::uint8_t* row, int width) {
  if (chromaShiftX > 1) return 0;
  const __m128 units = _mm_set1_ps(unit), sixteen = _mm_set1_ps(16.0f), inverse255 = _mm_set1_ps(1.0f / 255.0f);
  const __m128 alphaUnits = _mm_set1_ps(alphaScale);
  int x = 0;
  for (; x + 4 <= width; x += 4) {
    __m128 a = alpha ? _mm_mul_ps(fourSamples(alpha + x), alphaUnits) : _mm_set1_ps(1.0f);
    __m128 y = _mm_mul_ps(_mm_sub_ps(_mm_mul_ps(fourSamples(luma + x), units), sixteen), inverse255);
    __m128 blue = chromaShiftX ? twoSamplesTwice(cb + x / 2) : fourSamples(cb + x);
    __m128 red = chromaShiftX ? twoSamplesTwice(cr + x / 2) : fourSamples(cr + x);
    blue = _mm_mul_ps(_mm_mul_ps(blue, units), inverse255);
    red = _mm_mul_ps(_mm_mul_ps(red, units), inverse255);
    _MM_TRANSPOSE4_PS(a, y, blue, red);  // now one pixel (A, Y', Cb, Cr) each
    auto* out = reinterpret_cast<float*>(row + 16 * x);
    _mm_storeu_ps(out, a);
    _mm_storeu_ps(out + 4, y);
    _mm_storeu_ps(out + 8, blue);
    _mm_storeu_ps(out + 12, red);
  }
  return x;
}
#endif

// One row of planar samples (8-bit units, chroma repeated) to packed 'r4fl' or 'r408'.
template <typename Sample, bool ToFloat>
void packRows(const AVFrame& frame, const ImageView& out, const PlaneLayout& layout, int width, int height) {
  const float unit = 1.0f / static_cast<float>(1 << (layout.depth - 8));
  const float alphaScale = 1.0f / static_cast<float>((1 << layout.depth) - 1);
  constexpr float kInverse255 = 1.0f / 255.0f;
  for (int y = 0; y < height; ++y) {
    const Sample* luma = planeRow<Sample>(frame, 0, y);
    const Sample* cb = planeRow<Sample>(frame, 1, y >> layout.chromaShiftY);
    const Sample* cr = planeRow<Sample>(frame, 2, y >> layout.chromaShiftY);
    const Sample* alpha = layout.hasAlpha ? planeRow<Sample>(frame, 3, y) : nullptr;
    std::uint8_t* row = out.data + y * out.bytesPerRow;
    int x = 0;
#if defined(__SSE2__)
    if constexpr (ToFloat) {
      x = packFloatPixels(luma, cb, cr, alpha, alphaScale, layout.chromaShiftX, unit, row, width);
    }
#endif
    for (; x < width; ++x) {
      const int cx = x >> layout.chromaShiftX;
      const float a = alpha ? alpha[x] * alphaScale : 1.0f;
      if constexpr (ToFloat) {
        const float pixel[4] = {a, (luma[x] * unit - 16.0f) * kInverse255, cb[cx] * unit * kInverse255,
                                cr[cx] * unit * kInverse255};
        std::memcpy(row + 16 * x, pixel, 16);
      } else {
        row[4 * x] = static_cast<std::uint8_t>(roundClamped(a * 255.0f, 255.0f));
        row[4 * x + 1] = static_cast<std::uint8_t>(roundClamped(luma[x] * unit - 16.0f, 255.0f));
        row[4 * x + 2] = static_cast<std::uint8_t>(roundClamped(cb[cx] * unit, 255.0f));
        row[4 * x + 3] = static_cast<std::uint8_t>(roundClamped(cr[cx] * unit, 255.0f));
      }
    }
  }
}

// Packed 'r4fl' or 'r408' to planar samples; each chroma sample is the mean of the pixels it covers.
template <typename Sample, bool FromFloat>
void unpackRows(const ConstImageView& in, AVFrame& frame, const PlaneLayout& layout, int width, int height) {
  const float scale = static_cast<float>(1 << (layout.depth - 8));
  const float maximum = static_cast<float>((1 << layout.depth) - 1);
  auto read = [&](int x, int y) {
    const std::uint8_t* p = in.data + y * in.bytesPerRow;
    if constexpr (FromFloat) {
      float v[4];
      std::memcpy(v, p + 16 * x, 16);
      return Yuva{v[1] * 255.0f + 16.0f, v[2] * 255.0f, v[3] * 255.0f, v[0]};
    } else {
      p += 4 * x;
      return Yuva{p[1] + 16.0f, static_cast<float>(p[2]), static_cast<float>(p[3]), p[0] * (1.0f / 255.0f)};
    }
  };
  auto store = [&](float value8) { return static_cast<Sample>(roundClamped(value8 * scale, maximum)); };
  // Alpha spans every code of the sample (1.0 is 1023 in 10 bits, not 4 x 255).
  auto storeAlpha = [&](float a) { return static_cast<Sample>(roundClamped(a * maximum, maximum)); };
  const int blockW = 1 << layout.chromaShiftX;
  const int blockH = 1 << layout.chromaShiftY;
  if (blockH == 1) {
    // 4:2:2 and 4:4:4: one pass, each pixel read once.
    for (int y = 0; y < height; ++y) {
      Sample* luma = planeRow<Sample>(frame, 0, y);
      Sample* alpha = layout.hasAlpha ? planeRow<Sample>(frame, 3, y) : nullptr;
      Sample* cbRow = planeRow<Sample>(frame, 1, y);
      Sample* crRow = planeRow<Sample>(frame, 2, y);
      for (int cx = 0; cx * blockW < width; ++cx) {
        const int xEnd = std::min(width, (cx + 1) * blockW);
        float cb = 0, cr = 0;
        for (int x = cx * blockW; x < xEnd; ++x) {
          const Yuva v = read(x, y);
          luma[x] = store(v.y);
          if (alpha) alpha[x] = storeAlpha(v.a);
          cb += v.cb;
          cr += v.cr;
        }
        const float mean = 1.0f / static_cast<float>(xEnd - cx * blockW);
        cbRow[cx] = store(cb * mean);
        crRow[cx] = store(cr * mean);
      }
    }
    return;
  }
  for (int y = 0; y < height; ++y) {
    Sample* luma = planeRow<Sample>(frame, 0, y);
    Sample* alpha = layout.hasAlpha ? planeRow<Sample>(frame, 3, y) : nullptr;
    for (int x = 0; x < width; ++x) {
      const Yuva v = read(x, y);
      luma[x] = store(v.y);
      if (alpha) alpha[x] = storeAlpha(v.a);
    }
  }
  for (int cy = 0; cy * blockH < height; ++cy) {
    Sample* cbRow = planeRow<Sample>(frame, 1, cy);
    Sample* crRow = planeRow<Sample>(frame, 2, cy);
    const int yEnd = std::min(height, (cy + 1) * blockH);
    for (int cx = 0; cx * blockW < width; ++cx) {
      const int xEnd = std::min(width, (cx + 1) * blockW);
      float cb = 0, cr = 0;
      int count = 0;
      for (int y = cy * blockH; y < yEnd; ++y) {
        for (int x = cx * blockW; x < xEnd; ++x) {
          const Yuva v = read(x, y);
          cb += v.cb;
          cr += v.cr;
          ++count;
        }
      }
      const float mean = 1.0f / static_cast<float>(count);
      cbRow[cx] = store(cb * mean);
      crRow[cx] = store(cr * mean);
    }
  }
}

#if defined(__SSE2__)
// The row of packTransformedRows, four pixels a step, for frames whose chroma
// is full or half width, with or without alpha (`alpha` null: opaque), from
// pixel `from` (even): the same single-precision operations in the same order,
// so the same floats. Returns the pixels done.
template <typename Sample>
int packTransformedPixels(const Sample* luma, const Sample* cb, const Sample* cr, const Sample* alpha, float alphaScale,
                          int chromaShiftX, float unit, const YCbCrTransform& t, std::uint8_t* row, int width,
                          int from) {
  if (chromaShiftX > 1) return from;
  const __m128 units = _mm_set1_ps(unit), inverse255 = _mm_set1_ps(1.0f / 255.0f), sixteen = _mm_set1_ps(16.0f);
  const __m128 alphaUnits = _mm_set1_ps(alphaScale);
  int x = from;
  for (; x + 4 <= width; x += 4) {
    const __m128 blue = chromaShiftX ? twoSamplesTwice(cb + x / 2) : fourSamples(cb + x);
    const __m128 red = chromaShiftX ? twoSamplesTwice(cr + x / 2) : fourSamples(cr + x);
    const __m128 v[3] = {_mm_sub_ps(_mm_mul_ps(fourSamples(luma + x), units), _mm_set1_ps(t.inOffset[0])),
                         _mm_sub_ps(_mm_mul_ps(blue, units), _mm_set1_ps(t.inOffset[1])),
                         _mm_sub_ps(_mm_mul_ps(red, units), _mm_set1_ps(t.inOffset[2]))};
    __m128 o[3];
    for (int r = 0; r < 3; ++r) {
      const __m128 sum = _mm_add_ps(
          _mm_add_ps(_mm_mul_ps(_mm_set1_ps(t.matrix[r][0]), v[0]), _mm_mul_ps(_mm_set1_ps(t.matrix[r][1]), v[1])),
          _mm_mul_ps(_mm_set1_ps(t.matrix[r][2]), v[2]));
      o[r] = _mm_add_ps(sum, _mm_set1_ps(t.outOffset[r]));
    }
    __m128 a = alpha ? _mm_mul_ps(fourSamples(alpha + x), alphaUnits) : _mm_set1_ps(1.0f);
    __m128 y = _mm_mul_ps(_mm_sub_ps(o[0], sixteen), inverse255);
    __m128 b = _mm_mul_ps(o[1], inverse255);
    __m128 c = _mm_mul_ps(o[2], inverse255);
    _MM_TRANSPOSE4_PS(a, y, b, c);
    auto* out = reinterpret_cast<float*>(row + 16 * x);
    _mm_storeu_ps(out, a);
    _mm_storeu_ps(out + 4, y);
    _mm_storeu_ps(out + 8, b);
    _mm_storeu_ps(out + 12, c);
  }
  return x;
}
#endif

#if defined(VQT_PACKING_AVX2)
// The same row eight pixels a step where the processor has AVX2: the same
// operations on wider registers (no fused multiply-add), so the same floats.
// This matrix pass over a whole frame of floats is most of what a converted
// stream costs beyond decoding.
__attribute__((target("avx2"))) inline __m256 eightSamples(const std::uint16_t* p) {
  return _mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))));
}
__attribute__((target("avx2"))) inline __m256 eightSamples(const std::uint8_t* p) {
  return _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
}
// Four samples, each repeated: the chroma of eight 4:2:2 pixels.
__attribute__((target("avx2"))) inline __m256 twice(__m128i four) {
  const __m256i pairs = _mm256_setr_epi32(0, 0, 1, 1, 2, 2, 3, 3);
  return _mm256_cvtepi32_ps(_mm256_permutevar8x32_epi32(_mm256_castsi128_si256(four), pairs));
}
__attribute__((target("avx2"))) inline __m256 fourSamplesTwice(const std::uint16_t* p) {
  return twice(_mm_cvtepu16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
}
__attribute__((target("avx2"))) inline __m256 fourSamplesTwice(const std::uint8_t* p) {
  std::int32_t bytes;
  std::memcpy(&bytes, p, 4);
  return twice(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(bytes)));
}

template <typename Sample>
__attribute__((target("avx2"))) int packTransformedPixelsAvx2(const Sample* luma, const Sample* cb, const Sample* cr,
                                                              const Sample* alpha, float alphaScale, int chromaShiftX,
                                                              float unit, const YCbCrTransform& t, std::uint8_t* row,
                                                              int width, int from) {
  if (chromaShiftX > 1) return from;
  const __m256 units = _mm256_set1_ps(unit), inverse255 = _mm256_set1_ps(1.0f / 255.0f);
  const __m256 sixteen = _mm256_set1_ps(16.0f), alphaUnits = _mm256_set1_ps(alphaScale);
  int x = from;
  for (; x + 8 <= width; x += 8) {
    const __m256 blue = chromaShiftX ? fourSamplesTwice(cb + x / 2) : eightSamples(cb + x);
    const __m256 red = chromaShiftX ? fourSamplesTwice(cr + x / 2) : eightSamples(cr + x);
    const __m256 v[3] = {_mm256_sub_ps(_mm256_mul_ps(eightSamples(luma + x), units), _mm256_set1_ps(t.inOffset[0])),
                         _mm256_sub_ps(_mm256_mul_ps(blue, units), _mm256_set1_ps(t.inOffset[1])),
                         _mm256_sub_ps(_mm256_mul_ps(red, units), _mm256_set1_ps(t.inOffset[2]))};
    __m256 o[3];
    for (int r = 0; r < 3; ++r) {
      const __m256 sum = _mm256_add_ps(_mm256_add_ps(_mm256_mul_ps(_mm256_set1_ps(t.matrix[r][0]), v[0]),
                                                     _mm256_mul_ps(_mm256_set1_ps(t.matrix[r][1]), v[1])),
                                       _mm256_mul_ps(_mm256_set1_ps(t.matrix[r][2]), v[2]));
      o[r] = _mm256_add_ps(sum, _mm256_set1_ps(t.outOffset[r]));
    }
    const __m256 a = alpha ? _mm256_mul_ps(eightSamples(alpha + x), alphaUnits) : _mm256_set1_ps(1.0f);
    const __m256 y = _mm256_mul_ps(_mm256_sub_ps(o[0], sixteen), inverse255);
    const __m256 b = _mm256_mul_ps(o[1], inverse255);
    const __m256 c = _mm256_mul_ps(o[2], inverse255);
    // Interleaved to A, Y', Cb, Cr a pixel; pixels k and k + 4 share a register until the last step.
    const __m256 ay0 = _mm256_unpacklo_ps(a, y), ay1 = _mm256_unpackhi_ps(a, y);
    const __m256 bc0 = _mm256_unpacklo_ps(b, c), bc1 = _mm256_unpackhi_ps(b, c);
    const __m256 p04 = _mm256_shuffle_ps(ay0, bc0, 0x44), p15 = _mm256_shuffle_ps(ay0, bc0, 0xEE);
    const __m256 p26 = _mm256_shuffle_ps(ay1, bc1, 0x44), p37 = _mm256_shuffle_ps(ay1, bc1, 0xEE);
    auto* out = reinterpret_cast<float*>(row + 16 * x);
    _mm256_storeu_ps(out, _mm256_permute2f128_ps(p04, p15, 0x20));
    _mm256_storeu_ps(out + 8, _mm256_permute2f128_ps(p26, p37, 0x20));
    _mm256_storeu_ps(out + 16, _mm256_permute2f128_ps(p04, p15, 0x31));
    _mm256_storeu_ps(out + 24, _mm256_permute2f128_ps(p26, p37, 0x31));
  }
  return x;
}
#endif

template <typename Sample>
void packTransformedRows(const AVFrame& frame, const PlaneLayout& layout, float unit, const YCbCrTransform& t,
                         const ImageView& out, int width, int height, VectorLevel level) {
  const float alphaScale = 1.0f / static_cast<float>((1 << layout.depth) - 1);
  constexpr float kInverse255 = 1.0f / 255.0f;
  for (int y = 0; y < height; ++y) {
    const Sample* luma = planeRow<Sample>(frame, 0, y);
    const Sample* cb = planeRow<Sample>(frame, 1, y >> layout.chromaShiftY);
    const Sample* cr = planeRow<Sample>(frame, 2, y >> layout.chromaShiftY);
    const Sample* alpha = layout.hasAlpha ? planeRow<Sample>(frame, 3, y) : nullptr;
    std::uint8_t* row = out.data + y * out.bytesPerRow;
    // Each step takes what the wider one before it left, so a row ends in narrower steps.
    int x = 0;
    if (level >= VectorLevel::avx512)
      x = packTransformedPixelsAvx512(luma, cb, cr, alpha, alphaScale, layout.chromaShiftX, unit, t, row, width);
#if defined(VQT_PACKING_AVX2)
    if (level >= VectorLevel::avx2)
      x = packTransformedPixelsAvx2(luma, cb, cr, alpha, alphaScale, layout.chromaShiftX, unit, t, row, width, x);
#endif
#if defined(__SSE2__)
    if (level >= VectorLevel::sse2)
      x = packTransformedPixels(luma, cb, cr, alpha, alphaScale, layout.chromaShiftX, unit, t, row, width, x);
#endif
    for (; x < width; ++x) {
      const int cx = x >> layout.chromaShiftX;
      const float v[3] = {luma[x] * unit - t.inOffset[0], cb[cx] * unit - t.inOffset[1], cr[cx] * unit - t.inOffset[2]};
      float o[3];
      for (int r = 0; r < 3; ++r)
        o[r] = (t.matrix[r][0] * v[0] + t.matrix[r][1] * v[1] + t.matrix[r][2] * v[2]) + t.outOffset[r];
      const float pixel[4] = {alpha ? alpha[x] * alphaScale : 1.0f, (o[0] - 16.0f) * kInverse255, o[1] * kInverse255,
                              o[2] * kInverse255};
      std::memcpy(row + 16 * x, pixel, 16);
    }
  }
}

template <typename Sample>
void rgb16Rows(const AVFrame& frame, const PlaneLayout& layout, ColourMatrix matrix, bool fullRange,
               const ImageView& out, int width, int height) {
  double kr = 0.299, kb = 0.114;  // BT.601
  if (matrix == ColourMatrix::bt709) kr = 0.2126, kb = 0.0722;
  if (matrix == ColourMatrix::bt2020) kr = 0.2627, kb = 0.0593;
  const double kg = 1.0 - kr - kb;
  const float crToR = static_cast<float>(2.0 * (1.0 - kr));
  const float cbToB = static_cast<float>(2.0 * (1.0 - kb));
  const float cbToG = static_cast<float>(2.0 * kb * (1.0 - kb) / kg);
  const float crToG = static_cast<float>(2.0 * kr * (1.0 - kr) / kg);
  // Samples to 0..1 luma and -0.5..0.5 chroma, then to 0..65535.
  const float unit = 1.0f / static_cast<float>(1 << (layout.depth - 8));
  const float lumaScale = unit / (fullRange ? 255.0f : 219.0f);
  const float lumaOffset = fullRange ? 0.0f : 16.0f / 219.0f;
  const float chromaScale = unit / (fullRange ? 255.0f : 224.0f);
  const float chromaOffset = 128.0f / (fullRange ? 255.0f : 224.0f);
  const float alphaScale = 65535.0f / static_cast<float>((1 << layout.depth) - 1);
  const bool withAlpha = out.pixelFormat == kPixelFormatB64a;
  auto word = [](float value) { return static_cast<std::uint16_t>(roundClamped(value * 65535.0f, 65535.0f)); };
  for (int y = 0; y < height; ++y) {
    const Sample* luma = planeRow<Sample>(frame, 0, y);
    const Sample* cbRow = planeRow<Sample>(frame, 1, y >> layout.chromaShiftY);
    const Sample* crRow = planeRow<Sample>(frame, 2, y >> layout.chromaShiftY);
    const Sample* alpha = layout.hasAlpha ? planeRow<Sample>(frame, 3, y) : nullptr;
    std::uint8_t* row = out.data + y * out.bytesPerRow;
    for (int x = 0; x < width; ++x) {
      const int cx = x >> layout.chromaShiftX;
      const float l = luma[x] * lumaScale - lumaOffset;
      const float cb = cbRow[cx] * chromaScale - chromaOffset;
      const float cr = crRow[cx] * chromaScale - chromaOffset;
      std::uint16_t words[4] = {0xFFFF, word(l + crToR * cr), word(l - cbToG * cb - crToG * cr), word(l + cbToB * cb)};
      if (alpha) words[0] = static_cast<std::uint16_t>(roundClamped(alpha[x] * alphaScale, 65535.0f));
      const std::uint16_t* first = withAlpha ? words : words + 1;
      std::uint8_t* p = row + (withAlpha ? 8 : 6) * x;
      for (int c = 0; c < (withAlpha ? 4 : 3); ++c) {
        p[2 * c] = static_cast<std::uint8_t>(first[c] >> 8);
        p[2 * c + 1] = static_cast<std::uint8_t>(first[c]);
      }
    }
  }
}

}  // namespace

bool isPlanarYuv(const AVFrame& frame) {
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  if (d == nullptr || d->nb_components < 3) return false;
  if (d->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BE | AV_PIX_FMT_FLAG_BITSTREAM |
                  AV_PIX_FMT_FLAG_FLOAT))
    return false;
  if (!(d->flags & AV_PIX_FMT_FLAG_PLANAR)) return false;
  for (int c = 0; c < d->nb_components; ++c) {
    if (d->comp[c].plane != c || d->comp[c].shift != 0 || d->comp[c].depth != d->comp[0].depth) return false;
  }
  return d->comp[0].depth >= 8 && d->comp[0].depth <= 16;
}

void convertPlanarYuvToRgb16(const AVFrame& frame, ColourMatrix matrix, bool fullRange, const ImageView& destination) {
  const PlaneLayout layout = layoutOf(frame);
  const int width = std::min(destination.width, frame.width);
  const int height = std::min(destination.height, frame.height);
  if (layout.depth > 8) {
    rgb16Rows<std::uint16_t>(frame, layout, matrix, fullRange, destination, width, height);
  } else {
    rgb16Rows<std::uint8_t>(frame, layout, matrix, fullRange, destination, width, height);
  }
}

bool isDirectPlanarYuv(const AVFrame& frame) {
  const bool fullRange = frame.color_range == AVCOL_RANGE_JPEG || frame.format == AV_PIX_FMT_YUVJ420P ||
                         frame.format == AV_PIX_FMT_YUVJ422P || frame.format == AV_PIX_FMT_YUVJ444P;
  return isPlanarYuv(frame) && !fullRange;
}

void packPlanarYuv(const AVFrame& frame, const ImageView& destination) {
  const PlaneLayout layout = layoutOf(frame);
  const int width = std::min(destination.width, frame.width);
  const int height = std::min(destination.height, frame.height);
  const bool toFloat = destination.pixelFormat == kPixelFormatR4fl;
  if (layout.depth > 8) {
    toFloat ? packRows<std::uint16_t, true>(frame, destination, layout, width, height)
            : packRows<std::uint16_t, false>(frame, destination, layout, width, height);
  } else {
    toFloat ? packRows<std::uint8_t, true>(frame, destination, layout, width, height)
            : packRows<std::uint8_t, false>(frame, destination, layout, width, height);
  }
}

void packPlanarYuvTransformed(const AVFrame& frame, bool fullRange, const YCbCrTransform& transform,
                              const ImageView& destination, VectorLevel level) {
  level = std::min(level, bestVectorLevel());  // never a step this processor lacks
  const PlaneLayout layout = layoutOf(frame);
  const int width = std::min(destination.width, frame.width);
  const int height = std::min(destination.height, frame.height);
  const float unit = sampleUnit(layout.depth, fullRange);
  if (layout.depth > 8) {
    packTransformedRows<std::uint16_t>(frame, layout, unit, transform, destination, width, height, level);
  } else {
    packTransformedRows<std::uint8_t>(frame, layout, unit, transform, destination, width, height, level);
  }
}

void unpackToPlanarYuv(const ConstImageView& source, AVFrame& frame) {
  const PlaneLayout layout = layoutOf(frame);
  const int width = std::min(source.width, frame.width);
  const int height = std::min(source.height, frame.height);
  const bool fromFloat = source.pixelFormat == kPixelFormatR4fl;
  if (layout.depth > 8) {
    fromFloat ? unpackRows<std::uint16_t, true>(source, frame, layout, width, height)
              : unpackRows<std::uint16_t, false>(source, frame, layout, width, height);
  } else {
    fromFloat ? unpackRows<std::uint8_t, true>(source, frame, layout, width, height)
              : unpackRows<std::uint8_t, false>(source, frame, layout, width, height);
  }
}

void packV210(const AVFrame& frame, const ImageView& destination) {
  const int width = std::min(destination.width, frame.width);
  const int height = std::min(destination.height, frame.height);
  for (int y = 0; y < height; ++y) {
    const auto* luma = planeRow<std::uint16_t>(frame, 0, y);
    const auto* cb = planeRow<std::uint16_t>(frame, 1, y);
    const auto* cr = planeRow<std::uint16_t>(frame, 2, y);
    std::uint8_t* row = destination.data + y * destination.bytesPerRow;
    auto Y = [&](int x) -> std::uint32_t { return luma[std::min(x, width - 1)] & 0x3FF; };
    auto B = [&](int x) -> std::uint32_t { return cb[std::min(x, (width - 1) / 2)] & 0x3FF; };
    auto R = [&](int x) -> std::uint32_t { return cr[std::min(x, (width - 1) / 2)] & 0x3FF; };
    for (int group = 0; group * 6 < width; ++group) {
      const int x = group * 6;
      const int c = group * 3;
      const std::uint32_t words[4] = {B(c) | Y(x) << 10 | R(c) << 20, Y(x + 1) | B(c + 1) << 10 | Y(x + 2) << 20,
                                      R(c + 1) | Y(x + 3) << 10 | B(c + 2) << 20,
                                      Y(x + 4) | R(c + 2) << 10 | Y(x + 5) << 20};
      std::uint8_t* out = row + 16 * group;
      for (int w = 0; w < 4; ++w) {
        for (int b = 0; b < 4; ++b) out[4 * w + b] = static_cast<std::uint8_t>(words[w] >> (8 * b));
      }
    }
    const std::size_t used = static_cast<std::size_t>((width + 5) / 6) * 16;
    std::memset(row + used, 0, minimumBytesPerRow(kPixelFormatV210, width) - used);
  }
}

void unpackV210(const ConstImageView& source, AVFrame& frame) {
  const int width = std::min(source.width, frame.width);
  const int height = std::min(source.height, frame.height);
  const int chromaWidth = (width + 1) / 2;
  for (int y = 0; y < height; ++y) {
    auto* luma = planeRow<std::uint16_t>(frame, 0, y);
    auto* cb = planeRow<std::uint16_t>(frame, 1, y);
    auto* cr = planeRow<std::uint16_t>(frame, 2, y);
    const std::uint8_t* row = source.data + y * source.bytesPerRow;
    for (int group = 0; group * 6 < width; ++group) {
      std::uint32_t words[4];
      for (int w = 0; w < 4; ++w) {
        const std::uint8_t* p = row + 16 * group + 4 * w;
        words[w] =
            std::uint32_t{p[0]} | std::uint32_t{p[1]} << 8 | std::uint32_t{p[2]} << 16 | std::uint32_t{p[3]} << 24;
      }
      auto field = [&](int word, int index) {
        return static_cast<std::uint16_t>((words[word] >> (10 * index)) & 0x3FF);
      };
      const std::uint16_t lumas[6] = {field(0, 1), field(1, 0), field(1, 2), field(2, 1), field(3, 0), field(3, 2)};
      const std::uint16_t cbs[3] = {field(0, 0), field(1, 1), field(2, 2)};
      const std::uint16_t crs[3] = {field(0, 2), field(2, 0), field(3, 1)};
      for (int i = 0; i < 6 && group * 6 + i < width; ++i) luma[group * 6 + i] = lumas[i];
      for (int i = 0; i < 3 && group * 3 + i < chromaWidth; ++i) {
        cb[group * 3 + i] = cbs[i];
        cr[group * 3 + i] = crs[i];
      }
    }
  }
}

void rotateRgbaToArgb64(std::span<std::uint8_t> row) {
  for (std::size_t i = 0; i + 8 <= row.size(); i += 8) {
    std::uint8_t* p = row.data() + i;
    std::rotate(p, p + 6, p + 8);
  }
}

void rotateArgbToRgba64(std::span<std::uint8_t> row) {
  for (std::size_t i = 0; i + 8 <= row.size(); i += 8) {
    std::uint8_t* p = row.data() + i;
    std::rotate(p, p + 2, p + 8);
  }
}

}  // namespace vqt::codecs
