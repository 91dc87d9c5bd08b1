#include "UyvyPacking.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
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

}  // namespace

bool canPackPlanar420To2vuy(const AVFrame& frame) {
  return frame.format == AV_PIX_FMT_YUV420P && frame.color_range != AVCOL_RANGE_JPEG && frame.width % 2 == 0 &&
         frame.height % 2 == 0 && frame.height >= kSmallestHeight && frame.width > 0 && frame.width / 2 <= kMostPairs;
}

void packPlanar420To2vuy(const AVFrame& frame, const ImageView& rows) {
  const int pairs = frame.width / 2;
  const int height = frame.height;
  alignas(16) std::uint8_t blended[2 * kMostPairs];  // Cb, then Cr
  auto plane = [&](int index, int row) {
    return frame.data[index] + static_cast<std::ptrdiff_t>(row) * frame.linesize[index];
  };
  for (int y = 0; y < height; ++y) {
    const int chromaRow = y / 2;
    const bool own = y == 0 || (y % 2 == 1 && y != height - 1);
    const std::uint8_t* cb = plane(1, chromaRow);
    const std::uint8_t* cr = plane(2, chromaRow);
    if (!own) {
      roundedMean(plane(1, chromaRow - 1), cb, blended, pairs);
      roundedMean(plane(2, chromaRow - 1), cr, blended + kMostPairs, pairs);
      cb = blended;
      cr = blended + kMostPairs;
    }
    packRow(plane(0, y), cb, cr, rows.data + static_cast<std::ptrdiff_t>(y) * rows.bytesPerRow, pairs);
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
