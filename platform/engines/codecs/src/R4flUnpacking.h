// 'r4fl' rows (floats A, Y', Cb, Cr in BT.601 video range) straight into a
// planar video-range Y'CbCr frame of another matrix, in one pass: each pixel
// goes through the 3x3 map in single precision, chroma is averaged over the
// pixels it covers and every sample is rounded once. The general path spread
// the rows to 16 bits, mapped them and resampled them with libswscale: three
// passes over the frame where the encoders wanted one.
#pragma once

extern "C" {
#include <libavutil/frame.h>
}

#include "ColourTransform.h"
#include "vqt/codecs/Image.h"

namespace vqt::codecs {

// True when `frame` is a layout this path fills: planar Y'CbCr(A), 8 to 16
// bits in host order, chroma one or two pixels wide and high.
bool takesR4flTransformed(const AVFrame& frame);

// Fills `frame` (takesR4flTransformed, video range) from the 'r4fl' image
// `source` of the same size through `transform` (transformFromExchange).
// Alpha comes from the rows when the frame has an alpha plane.
void unpackR4flTransformed(const ConstImageView& source, const YCbCrTransform& transform, AVFrame& frame);

}  // namespace vqt::codecs
