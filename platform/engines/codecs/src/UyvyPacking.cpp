#include "UyvyPacking.h"

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

}  // namespace vqt::codecs
