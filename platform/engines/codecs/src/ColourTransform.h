// The affine maps between a stream's Y'CbCr (its matrix and range) and the
// Y'CbCr the exchange formats carry ('2vuy', 'yuvs', 'r408', 'r4fl', 'v210'):
// BT.601 video range, the meaning those formats have and the one the host-side
// kernels assume. Y'CbCr to Y'CbCr is linear, so one 3x3 map does it exactly.
#pragma once

extern "C" {
#include <libavutil/frame.h>
}

#include "vqt/codecs/Image.h"

namespace vqt::codecs {

// out = matrix * (in - inOffset) + outOffset, values in 8-bit units
// (Y' 16..235 and chroma centred on 128 for video range, 0..255 for full).
struct YCbCrTransform {
  float matrix[3][3];
  float inOffset[3];
  float outOffset[3];
};

// True when a stream with `matrix` (resolved) and this range holds exchange Y'CbCr as it is.
inline bool isExchangeYCbCr(ColourMatrix matrix, bool fullRange) { return matrix == ColourMatrix::bt601 && !fullRange; }

// Stream Y'CbCr to exchange Y'CbCr, and exchange Y'CbCr to stream Y'CbCr.
YCbCrTransform transformToExchange(ColourMatrix matrix, bool fullRange);
YCbCrTransform transformFromExchange(ColourMatrix matrix, bool fullRange);

// Scale from a sample of `depth` bits to 8-bit units in that range
// (full range spans 2^depth - 1 codes, video range is 2^(depth - 8) times the 8-bit one).
float sampleUnit(int depth, bool fullRange);

// Any planar Y'CbCr(A) frame of 8 to 16 bits (isPlanarYuv) through `transform`
// into `out`, a YUVA444P16LE frame of the same size: chroma repeated over the
// pixels it covers, alpha kept (opaque when `in` has none). `outFullRange`
// says how `out` is scaled.
void transformPlanar(const AVFrame& in, bool inFullRange, const YCbCrTransform& transform, AVFrame& out,
                     bool outFullRange);

}  // namespace vqt::codecs
