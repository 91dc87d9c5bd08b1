// One-pass 'r4fl' to planar Y'CbCr with a colour map (see R4flUnpacking.h).
// The vector path does the scalar path's single-precision operations in the
// same order (no fused multiply-add), so both give the same samples.
#include "R4flUnpacking.h"

#include "VectorLevel.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

extern "C" {
#include <libavutil/pixdesc.h>
}

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define VQT_R4FL_AVX2 1
#endif

namespace vqt::codecs {
namespace {

struct Layout {
  int chromaShiftX, chromaShiftY;
  bool wide;  // samples of more than 8 bits
  bool alpha;
  float scale;    // 8-bit units to the sample's
  float maximum;  // top code
};

Layout layoutOf(const AVFrame& frame) {
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  const int depth = d->comp[0].depth;
  return {d->log2_chroma_w,
          d->log2_chroma_h,
          depth > 8,
          (d->flags & AV_PIX_FMT_FLAG_ALPHA) != 0,
          static_cast<float>(1 << (depth - 8)),
          static_cast<float>((1 << depth) - 1)};
}

// Rounds to the nearest code at most `maximum`; NaN and negative values give
// 0, as the vector instructions have it.
inline int roundClamped(float value, float maximum) {
  const float positive = value > 0.0f ? value : 0.0f;
  return static_cast<int>(std::min(positive, maximum) + 0.5f);
}

inline void store(AVFrame& frame, int plane, int x, int y, bool wide, int value) {
  std::uint8_t* row = frame.data[plane] + static_cast<std::ptrdiff_t>(y) * frame.linesize[plane];
  if (wide) {
    reinterpret_cast<std::uint16_t*>(row)[x] = static_cast<std::uint16_t>(value);
  } else {
    row[x] = static_cast<std::uint8_t>(value);
  }
}

// One pixel through the map: Y', Cb, Cr in the stream's 8-bit units, and alpha.
struct Mapped {
  float y, cb, cr, a;
};

inline Mapped mapPixel(const float* p, const YCbCrTransform& t) {
  const float v[3] = {(p[1] * 255.0f + 16.0f) - t.inOffset[0], p[2] * 255.0f - t.inOffset[1],
                      p[3] * 255.0f - t.inOffset[2]};
  float o[3];
  for (int r = 0; r < 3; ++r)
    o[r] = ((t.matrix[r][0] * v[0] + t.matrix[r][1] * v[1]) + t.matrix[r][2] * v[2]) + t.outOffset[r];
  return {o[0], o[1], o[2], p[0]};
}

const float* pixelAt(const ConstImageView& source, int x, int y) {
  return reinterpret_cast<const float*>(source.data + static_cast<std::ptrdiff_t>(y) * source.bytesPerRow) + 4 * x;
}

// The chroma blocks from column block `cxBegin` on of the rows y0 .. y0 + rows - 1,
// and those rows' luma and alpha from the block's first pixel: the scalar path.
void unpackBlocks(const ConstImageView& source, const YCbCrTransform& t, const Layout& l, AVFrame& frame, int y0,
                  int rows, int cxBegin) {
  const int blockW = 1 << l.chromaShiftX;
  for (int cx = cxBegin; cx * blockW < source.width; ++cx) {
    const int x0 = cx * blockW;
    const int columns = std::min(blockW, source.width - x0);
    float cb = 0, cr = 0;
    for (int r = 0; r < rows; ++r) {
      float rowCb = 0, rowCr = 0;
      for (int c = 0; c < columns; ++c) {
        const Mapped m = mapPixel(pixelAt(source, x0 + c, y0 + r), t);
        store(frame, 0, x0 + c, y0 + r, l.wide, roundClamped(m.y * l.scale, l.maximum));
        if (l.alpha) store(frame, 3, x0 + c, y0 + r, l.wide, roundClamped(m.a * l.maximum, l.maximum));
        rowCb = c == 0 ? m.cb : rowCb + m.cb;
        rowCr = c == 0 ? m.cr : rowCr + m.cr;
      }
      cb = r == 0 ? rowCb : cb + rowCb;
      cr = r == 0 ? rowCr : cr + rowCr;
    }
    const float mean = 1.0f / static_cast<float>(rows * columns);
    store(frame, 1, cx, y0 >> l.chromaShiftY, l.wide, roundClamped(cb * mean * l.scale, l.maximum));
    store(frame, 2, cx, y0 >> l.chromaShiftY, l.wide, roundClamped(cr * mean * l.scale, l.maximum));
  }
}

#if VQT_R4FL_AVX2
// Eight pixels of one row as Y', Cb, Cr and A vectors, mapped.
struct Mapped8 {
  __m256 y, cb, cr, a;
};

__attribute__((target("avx2"))) inline Mapped8 mapEight(const float* p, const YCbCrTransform& t) {
  // Pixels 0 and 4, 1 and 5, 2 and 6, 3 and 7 share a register: the
  // transpose then leaves every channel in pixel order.
  const __m256 p04 = _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(p)), _mm_loadu_ps(p + 16), 1);
  const __m256 p15 = _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(p + 4)), _mm_loadu_ps(p + 20), 1);
  const __m256 p26 = _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(p + 8)), _mm_loadu_ps(p + 24), 1);
  const __m256 p37 = _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(p + 12)), _mm_loadu_ps(p + 28), 1);
  const __m256 t0 = _mm256_unpacklo_ps(p04, p15);  // a0 a1 y0 y1 | a4 a5 y4 y5
  const __m256 t1 = _mm256_unpacklo_ps(p26, p37);  // a2 a3 y2 y3 | ...
  const __m256 t2 = _mm256_unpackhi_ps(p04, p15);  // b0 b1 r0 r1 | ...
  const __m256 t3 = _mm256_unpackhi_ps(p26, p37);
  const __m256 a = _mm256_shuffle_ps(t0, t1, 0x44);
  const __m256 y = _mm256_shuffle_ps(t0, t1, 0xEE);
  const __m256 b = _mm256_shuffle_ps(t2, t3, 0x44);
  const __m256 r = _mm256_shuffle_ps(t2, t3, 0xEE);
  const __m256 k255 = _mm256_set1_ps(255.0f);
  const __m256 v0 =
      _mm256_sub_ps(_mm256_add_ps(_mm256_mul_ps(y, k255), _mm256_set1_ps(16.0f)), _mm256_set1_ps(t.inOffset[0]));
  const __m256 v1 = _mm256_sub_ps(_mm256_mul_ps(b, k255), _mm256_set1_ps(t.inOffset[1]));
  const __m256 v2 = _mm256_sub_ps(_mm256_mul_ps(r, k255), _mm256_set1_ps(t.inOffset[2]));
  __m256 o[3];
  for (int row = 0; row < 3; ++row) {
    const __m256 sum = _mm256_add_ps(_mm256_mul_ps(_mm256_set1_ps(t.matrix[row][0]), v0),
                                     _mm256_mul_ps(_mm256_set1_ps(t.matrix[row][1]), v1));
    o[row] = _mm256_add_ps(_mm256_add_ps(sum, _mm256_mul_ps(_mm256_set1_ps(t.matrix[row][2]), v2)),
                           _mm256_set1_ps(t.outOffset[row]));
  }
  return {o[0], o[1], o[2], a};
}

__attribute__((target("avx2"))) inline __m256i rounded(__m256 value, __m256 maximum) {
  const __m256 clamped = _mm256_min_ps(_mm256_max_ps(value, _mm256_setzero_ps()), maximum);
  return _mm256_cvttps_epi32(_mm256_add_ps(clamped, _mm256_set1_ps(0.5f)));
}

// Eight 32-bit samples (each within the sample's range) stored as 8 or 16 bits.
__attribute__((target("avx2"))) inline void storeEight(std::uint8_t* row, int x, bool wide, __m256i values) {
  const __m128i words = _mm_packus_epi32(_mm256_castsi256_si128(values), _mm256_extracti128_si256(values, 1));
  if (wide) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(row + 2 * x), words);
  } else {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(row + x), _mm_packus_epi16(words, words));
  }
}

// Four chroma samples from the lower half of each lane pair as ordered by the
// blocks' sums (cb, cb, cr, cr | cb, cb, cr, cr): Cb to one plane, Cr to the other.
__attribute__((target("avx2"))) inline void storeChromaPairs(std::uint8_t* cbRow, std::uint8_t* crRow, int cx,
                                                             bool wide, __m256i pairs) {
  const __m256i ordered = _mm256_permutevar8x32_epi32(pairs, _mm256_setr_epi32(0, 1, 4, 5, 2, 3, 6, 7));
  const __m128i words = _mm_packus_epi32(_mm256_castsi256_si128(ordered), _mm256_extracti128_si256(ordered, 1));
  if (wide) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(cbRow + 2 * cx), words);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(crRow + 2 * cx), _mm_unpackhi_epi64(words, words));
  } else {
    const __m128i bytes = _mm_packus_epi16(words, words);
    const std::int32_t cb = _mm_cvtsi128_si32(bytes), cr = _mm_extract_epi32(bytes, 1);
    std::memcpy(cbRow + cx, &cb, 4);
    std::memcpy(crRow + cx, &cr, 4);
  }
}

// Rows y0 .. y0 + rows - 1 (one chroma row) eight pixels a step from column
// `from` (a multiple of eight) on; returns the pixels done, a multiple of eight.
__attribute__((target("avx2"))) int unpackEights(const ConstImageView& source, const YCbCrTransform& t, const Layout& l,
                                                 AVFrame& frame, int y0, int rows, int from) {
  const int width = source.width & ~7;
  const __m256 scale = _mm256_set1_ps(l.scale), maximum = _mm256_set1_ps(l.maximum);
  const int cy = y0 >> l.chromaShiftY;
  std::uint8_t* cbRow = frame.data[1] + static_cast<std::ptrdiff_t>(cy) * frame.linesize[1];
  std::uint8_t* crRow = frame.data[2] + static_cast<std::ptrdiff_t>(cy) * frame.linesize[2];
  for (int x = from; x < width; x += 8) {
    __m256 cbSum = _mm256_setzero_ps(), crSum = _mm256_setzero_ps(), pairs = _mm256_setzero_ps();
    for (int r = 0; r < rows; ++r) {
      const int y = y0 + r;
      const Mapped8 m = mapEight(pixelAt(source, x, y), t);
      storeEight(frame.data[0] + static_cast<std::ptrdiff_t>(y) * frame.linesize[0], x, l.wide,
                 rounded(_mm256_mul_ps(m.y, scale), maximum));
      if (l.alpha)
        storeEight(frame.data[3] + static_cast<std::ptrdiff_t>(y) * frame.linesize[3], x, l.wide,
                   rounded(_mm256_mul_ps(m.a, maximum), maximum));
      if (l.chromaShiftX == 0) {
        cbSum = r == 0 ? m.cb : _mm256_add_ps(cbSum, m.cb);
        crSum = r == 0 ? m.cr : _mm256_add_ps(crSum, m.cr);
      } else {
        // Pixel pairs: cb0+cb1, cb2+cb3, cr0+cr1, cr2+cr3 | the same for 4..7.
        const __m256 rowPairs = _mm256_hadd_ps(m.cb, m.cr);
        pairs = r == 0 ? rowPairs : _mm256_add_ps(pairs, rowPairs);
      }
    }
    const __m256 mean = _mm256_set1_ps(1.0f / static_cast<float>(rows << l.chromaShiftX));
    if (l.chromaShiftX == 0) {
      storeEight(cbRow, x, l.wide, rounded(_mm256_mul_ps(_mm256_mul_ps(cbSum, mean), scale), maximum));
      storeEight(crRow, x, l.wide, rounded(_mm256_mul_ps(_mm256_mul_ps(crSum, mean), scale), maximum));
    } else {
      storeChromaPairs(cbRow, crRow, x / 2, l.wide, rounded(_mm256_mul_ps(_mm256_mul_ps(pairs, mean), scale), maximum));
    }
  }
  return width;
}

// The same steps sixteen pixels at a time where the processor has AVX-512:
// the eight-pixel loop is bound by its shuffles, and here each one moves
// twice the pixels. Every arithmetic step is the eight-pixel loop's, in the
// same order, so the samples are the same.
#define VQT_AVX512 __attribute__((target("avx512f,avx512bw,avx512vl,avx512dq")))

struct Mapped16 {
  __m512 y, cb, cr, a;
};

VQT_AVX512 inline Mapped16 mapSixteen(const float* p, const YCbCrTransform& t) {
  // Pixels 0-3, 4-7, 8-11, 12-15; each pair of registers gives two channels
  // of eight pixels, and the halves are then joined in pixel order.
  const __m512 q0 = _mm512_loadu_ps(p), q1 = _mm512_loadu_ps(p + 16);
  const __m512 q2 = _mm512_loadu_ps(p + 32), q3 = _mm512_loadu_ps(p + 48);
  const __m512i firstPair = _mm512_setr_epi32(0, 4, 8, 12, 16, 20, 24, 28, 1, 5, 9, 13, 17, 21, 25, 29);
  const __m512i secondPair = _mm512_setr_epi32(2, 6, 10, 14, 18, 22, 26, 30, 3, 7, 11, 15, 19, 23, 27, 31);
  const __m512 ay01 = _mm512_permutex2var_ps(q0, firstPair, q1);  // a0..a7, y0..y7
  const __m512 ay23 = _mm512_permutex2var_ps(q2, firstPair, q3);
  const __m512 br01 = _mm512_permutex2var_ps(q0, secondPair, q1);  // cb0..cb7, cr0..cr7
  const __m512 br23 = _mm512_permutex2var_ps(q2, secondPair, q3);
  const __m512 a = _mm512_shuffle_f32x4(ay01, ay23, 0x44);
  const __m512 y = _mm512_shuffle_f32x4(ay01, ay23, 0xEE);
  const __m512 b = _mm512_shuffle_f32x4(br01, br23, 0x44);
  const __m512 r = _mm512_shuffle_f32x4(br01, br23, 0xEE);
  const __m512 k255 = _mm512_set1_ps(255.0f);
  const __m512 v0 =
      _mm512_sub_ps(_mm512_add_ps(_mm512_mul_ps(y, k255), _mm512_set1_ps(16.0f)), _mm512_set1_ps(t.inOffset[0]));
  const __m512 v1 = _mm512_sub_ps(_mm512_mul_ps(b, k255), _mm512_set1_ps(t.inOffset[1]));
  const __m512 v2 = _mm512_sub_ps(_mm512_mul_ps(r, k255), _mm512_set1_ps(t.inOffset[2]));
  __m512 o[3];
  for (int row = 0; row < 3; ++row) {
    const __m512 sum = _mm512_add_ps(_mm512_mul_ps(_mm512_set1_ps(t.matrix[row][0]), v0),
                                     _mm512_mul_ps(_mm512_set1_ps(t.matrix[row][1]), v1));
    o[row] = _mm512_add_ps(_mm512_add_ps(sum, _mm512_mul_ps(_mm512_set1_ps(t.matrix[row][2]), v2)),
                           _mm512_set1_ps(t.outOffset[row]));
  }
  return {o[0], o[1], o[2], a};
}

VQT_AVX512 inline __m512i roundedSixteen(__m512 value, __m512 maximum) {
  const __m512 clamped = _mm512_min_ps(_mm512_max_ps(value, _mm512_setzero_ps()), maximum);
  return _mm512_cvttps_epi32(_mm512_add_ps(clamped, _mm512_set1_ps(0.5f)));
}

// Sixteen 32-bit samples (each within the sample's range) stored as 8 or 16 bits.
VQT_AVX512 inline void storeSixteen(std::uint8_t* row, int x, bool wide, __m512i values) {
  if (wide) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(row + 2 * x), _mm512_cvtusepi32_epi16(values));
  } else {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(row + x), _mm512_cvtusepi32_epi8(values));
  }
}

// Eight Cb then eight Cr samples to their planes.
VQT_AVX512 inline void storeChromaHalves(std::uint8_t* cbRow, std::uint8_t* crRow, int cx, bool wide, __m512i values) {
  if (wide) {
    const __m256i words = _mm512_cvtusepi32_epi16(values);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(cbRow + 2 * cx), _mm256_castsi256_si128(words));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(crRow + 2 * cx), _mm256_extracti128_si256(words, 1));
  } else {
    const __m128i bytes = _mm512_cvtusepi32_epi8(values);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(cbRow + cx), bytes);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(crRow + cx), _mm_unpackhi_epi64(bytes, bytes));
  }
}

// As unpackEights, sixteen pixels a step from column 0; returns the pixels
// done, a multiple of sixteen.
VQT_AVX512 int unpackSixteens(const ConstImageView& source, const YCbCrTransform& t, const Layout& l, AVFrame& frame,
                              int y0, int rows) {
  const int width = source.width & ~15;
  const __m512 scale = _mm512_set1_ps(l.scale), maximum = _mm512_set1_ps(l.maximum);
  const __m512 mean = _mm512_set1_ps(1.0f / static_cast<float>(rows << l.chromaShiftX));
  const int cy = y0 >> l.chromaShiftY;
  std::uint8_t* cbRow = frame.data[1] + static_cast<std::ptrdiff_t>(cy) * frame.linesize[1];
  std::uint8_t* crRow = frame.data[2] + static_cast<std::ptrdiff_t>(cy) * frame.linesize[2];
  // The two pixels of each pair: Cb of the even pixels then Cr of the even
  // pixels, and the same of the odd ones.
  const __m512i evens = _mm512_setr_epi32(0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30);
  const __m512i odds = _mm512_setr_epi32(1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31);
  for (int x = 0; x < width; x += 16) {
    __m512 cbSum = _mm512_setzero_ps(), crSum = _mm512_setzero_ps(), pairs = _mm512_setzero_ps();
    for (int r = 0; r < rows; ++r) {
      const int y = y0 + r;
      const Mapped16 m = mapSixteen(pixelAt(source, x, y), t);
      storeSixteen(frame.data[0] + static_cast<std::ptrdiff_t>(y) * frame.linesize[0], x, l.wide,
                   roundedSixteen(_mm512_mul_ps(m.y, scale), maximum));
      if (l.alpha)
        storeSixteen(frame.data[3] + static_cast<std::ptrdiff_t>(y) * frame.linesize[3], x, l.wide,
                     roundedSixteen(_mm512_mul_ps(m.a, maximum), maximum));
      if (l.chromaShiftX == 0) {
        cbSum = r == 0 ? m.cb : _mm512_add_ps(cbSum, m.cb);
        crSum = r == 0 ? m.cr : _mm512_add_ps(crSum, m.cr);
      } else {
        // cb0+cb1 .. cb14+cb15, cr0+cr1 .. cr14+cr15: the first pixel of a
        // pair plus the second, as the horizontal add of the eight-pixel loop.
        const __m512 rowPairs =
            _mm512_add_ps(_mm512_permutex2var_ps(m.cb, evens, m.cr), _mm512_permutex2var_ps(m.cb, odds, m.cr));
        pairs = r == 0 ? rowPairs : _mm512_add_ps(pairs, rowPairs);
      }
    }
    if (l.chromaShiftX == 0) {
      storeSixteen(cbRow, x, l.wide, roundedSixteen(_mm512_mul_ps(_mm512_mul_ps(cbSum, mean), scale), maximum));
      storeSixteen(crRow, x, l.wide, roundedSixteen(_mm512_mul_ps(_mm512_mul_ps(crSum, mean), scale), maximum));
    } else {
      storeChromaHalves(cbRow, crRow, x / 2, l.wide,
                        roundedSixteen(_mm512_mul_ps(_mm512_mul_ps(pairs, mean), scale), maximum));
    }
  }
  return width;
}

#endif

}  // namespace

bool takesR4flTransformed(const AVFrame& frame) {
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  if (d == nullptr || (d->flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_BE | AV_PIX_FMT_FLAG_PAL)) != 0) return false;
  if (!(d->flags & AV_PIX_FMT_FLAG_PLANAR) || d->nb_components < 3) return false;
  if (d->log2_chroma_w > 1 || d->log2_chroma_h > 1) return false;
  const int depth = d->comp[0].depth;
  if (depth < 8 || depth > 16) return false;
  for (int c = 0; c < d->nb_components; ++c) {
    const AVComponentDescriptor& component = d->comp[c];
    if (component.plane != c || component.shift != 0 || component.offset != 0 || component.depth != depth ||
        component.step != (depth > 8 ? 2 : 1))
      return false;
  }
  return true;
}

void unpackR4flTransformed(const ConstImageView& source, const YCbCrTransform& transform, AVFrame& frame) {
  const Layout l = layoutOf(frame);
  const int blockH = 1 << l.chromaShiftY;
  for (int y0 = 0; y0 < source.height; y0 += blockH) {
    const int rows = std::min(blockH, source.height - y0);
    int done = 0;
#if VQT_R4FL_AVX2
    if (bestVectorLevel() >= VectorLevel::avx512) done = unpackSixteens(source, transform, l, frame, y0, rows);
    if (bestVectorLevel() >= VectorLevel::avx2) done = unpackEights(source, transform, l, frame, y0, rows, done);
#endif
    unpackBlocks(source, transform, l, frame, y0, rows, done >> l.chromaShiftX);
  }
}

}  // namespace vqt::codecs
