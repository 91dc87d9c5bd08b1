#include "ColourTransform.h"

#include <algorithm>
#include <cstdint>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace vqt::codecs {
namespace {

struct Weights {
  double kr, kb;
};

Weights weightsOf(ColourMatrix matrix) {
  switch (matrix) {
    case ColourMatrix::bt709:
      return {0.2126, 0.0722};
    case ColourMatrix::bt2020:
      return {0.2627, 0.0593};
    default:
      return {0.299, 0.114};
  }
}

using Matrix3 = double[3][3];

// Normalised Y'CbCr (Y' 0..1, chroma -0.5..0.5) from R'G'B', and back.
void rgbToYcc(Weights w, Matrix3 m) {
  const double kg = 1.0 - w.kr - w.kb;
  const double rows[3][3] = {{w.kr, kg, w.kb},
                             {-w.kr / (2 * (1 - w.kb)), -kg / (2 * (1 - w.kb)), 0.5},
                             {0.5, -kg / (2 * (1 - w.kr)), -w.kb / (2 * (1 - w.kr))}};
  std::copy(&rows[0][0], &rows[0][0] + 9, &m[0][0]);
}
void yccToRgb(Weights w, Matrix3 m) {
  const double kg = 1.0 - w.kr - w.kb;
  const double rows[3][3] = {
      {1, 0, 2 * (1 - w.kr)}, {1, -2 * (1 - w.kb) * w.kb / kg, -2 * (1 - w.kr) * w.kr / kg}, {1, 2 * (1 - w.kb), 0}};
  std::copy(&rows[0][0], &rows[0][0] + 9, &m[0][0]);
}

// 8-bit units per normalised unit: luma and chroma excursions of the range.
struct Excursion {
  double luma, chroma, black;
};
Excursion excursionOf(bool fullRange) { return fullRange ? Excursion{255, 255, 0} : Excursion{219, 224, 16}; }

YCbCrTransform compose(Weights from, bool fromFull, Weights to, bool toFull) {
  Matrix3 toRgb, fromRgb;
  yccToRgb(from, toRgb);
  rgbToYcc(to, fromRgb);
  const Excursion in = excursionOf(fromFull), out = excursionOf(toFull);
  const double inScale[3] = {1 / in.luma, 1 / in.chroma, 1 / in.chroma};
  const double outScale[3] = {out.luma, out.chroma, out.chroma};
  YCbCrTransform t{};
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) {
      double sum = 0;
      for (int k = 0; k < 3; ++k) sum += fromRgb[r][k] * toRgb[k][c];
      t.matrix[r][c] = static_cast<float>(outScale[r] * sum * inScale[c]);
    }
  }
  t.inOffset[0] = static_cast<float>(in.black);
  t.inOffset[1] = t.inOffset[2] = 128.0f;
  t.outOffset[0] = static_cast<float>(out.black);
  t.outOffset[1] = t.outOffset[2] = 128.0f;
  return t;
}

template <typename Sample>
const Sample* row(const AVFrame& frame, int plane, int y) {
  return reinterpret_cast<const Sample*>(frame.data[plane] + static_cast<std::ptrdiff_t>(y) * frame.linesize[plane]);
}

template <typename Sample>
void transformRows(const AVFrame& in, bool inFull, const YCbCrTransform& t, AVFrame& out, bool outFull) {
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(in.format));
  const int depth = d->comp[0].depth;
  const bool alpha = (d->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
  const float unit = sampleUnit(depth, inFull);
  const float toWord = 1.0f / sampleUnit(16, outFull);
  const float alphaToWord = 65535.0f / static_cast<float>((1 << depth) - 1);
  const int width = std::min(in.width, out.width);
  const int height = std::min(in.height, out.height);
  auto word = [](float v) { return static_cast<std::uint16_t>(std::clamp(v, 0.0f, 65535.0f) + 0.5f); };
  for (int y = 0; y < height; ++y) {
    const Sample* luma = row<Sample>(in, 0, y);
    const Sample* cb = row<Sample>(in, 1, y >> d->log2_chroma_h);
    const Sample* cr = row<Sample>(in, 2, y >> d->log2_chroma_h);
    auto* outY = reinterpret_cast<std::uint16_t*>(out.data[0] + static_cast<std::ptrdiff_t>(y) * out.linesize[0]);
    auto* outCb = reinterpret_cast<std::uint16_t*>(out.data[1] + static_cast<std::ptrdiff_t>(y) * out.linesize[1]);
    auto* outCr = reinterpret_cast<std::uint16_t*>(out.data[2] + static_cast<std::ptrdiff_t>(y) * out.linesize[2]);
    auto* outA = reinterpret_cast<std::uint16_t*>(out.data[3] + static_cast<std::ptrdiff_t>(y) * out.linesize[3]);
    const Sample* a = alpha ? row<Sample>(in, 3, y) : nullptr;
    for (int x = 0; x < width; ++x) {
      const int cx = x >> d->log2_chroma_w;
      const float v[3] = {luma[x] * unit - t.inOffset[0], cb[cx] * unit - t.inOffset[1], cr[cx] * unit - t.inOffset[2]};
      float o[3];
      for (int r = 0; r < 3; ++r)
        o[r] = (t.matrix[r][0] * v[0] + t.matrix[r][1] * v[1] + t.matrix[r][2] * v[2]) + t.outOffset[r];
      outY[x] = word(o[0] * toWord);
      outCb[x] = word(o[1] * toWord);
      outCr[x] = word(o[2] * toWord);
      outA[x] = a ? word(a[x] * alphaToWord) : std::uint16_t{0xFFFF};
    }
  }
}

}  // namespace

float sampleUnit(int depth, bool fullRange) {
  if (fullRange) return 255.0f / static_cast<float>((1 << depth) - 1);
  return 1.0f / static_cast<float>(1 << (depth - 8));
}

YCbCrTransform transformToExchange(ColourMatrix matrix, bool fullRange) {
  return compose(weightsOf(matrix), fullRange, weightsOf(ColourMatrix::bt601), false);
}

YCbCrTransform transformFromExchange(ColourMatrix matrix, bool fullRange) {
  return compose(weightsOf(ColourMatrix::bt601), false, weightsOf(matrix), fullRange);
}

void transformPlanar(const AVFrame& in, bool inFullRange, const YCbCrTransform& transform, AVFrame& out,
                     bool outFullRange) {
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(in.format));
  if (d->comp[0].depth > 8) {
    transformRows<std::uint16_t>(in, inFullRange, transform, out, outFullRange);
  } else {
    transformRows<std::uint8_t>(in, inFullRange, transform, out, outFullRange);
  }
}

}  // namespace vqt::codecs
