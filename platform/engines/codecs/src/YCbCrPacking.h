// Our own conversions between planar Y'CbCr frames and the packed 'r408' and
// 'r4fl' layouts (bytes or floats A, Y', Cb, Cr), which libswscale lacks; the
// planar Y'CbCr to 16-bit RGB step ('b64a', 'b48r'), which libswscale only has
// as slow generic code; and the 16-bit ARGB channel rotation for 'b64a'.
#pragma once

#include <cstdint>
#include <span>

extern "C" {
#include <libavutil/frame.h>
}

#include "ColourTransform.h"
#include "VectorLevel.h"
#include "vqt/codecs/Image.h"

namespace vqt::codecs {

// True when `frame` is planar, video-range Y'CbCr in host-order samples of 8 to 16 bits,
// which the packers below read and write directly.
bool isDirectPlanarYuv(const AVFrame& frame);

// Planar Y'CbCr frame to 'r408' / 'r4fl' rows (chroma repeated over its pixels).
void packPlanarYuv(const AVFrame& frame, const ImageView& destination);
// Any planar Y'CbCr frame (isPlanarYuv) of either range to 'r4fl' rows through
// `transform`, in single precision: nothing of a deep source is rounded away.
// `level` caps the vector steps (every level gives the same floats; the processor's caps it too).
void packPlanarYuvTransformed(const AVFrame& frame, bool fullRange, const YCbCrTransform& transform,
                              const ImageView& destination, VectorLevel level = bestVectorLevel());
// 'r408' / 'r4fl' image to a planar Y'CbCr frame (chroma averaged over its pixels).
void unpackToPlanarYuv(const ConstImageView& source, AVFrame& frame);

// True for planar Y'CbCr of 8 to 16 bits in host order, of either range.
bool isPlanarYuv(const AVFrame& frame);
// Planar Y'CbCr frame to 'b64a' or 'b48r' rows with `matrix` (resolved) and
// the frame's range; chroma repeated over its pixels, as the codecs site it.
void convertPlanarYuvToRgb16(const AVFrame& frame, ColourMatrix matrix, bool fullRange, const ImageView& destination);

// A 10-bit 4:2:2 planar frame (yuv422p10le) to 'v210' rows: six pixels in four
// little-endian 32-bit words; a last partial group repeats its last pixel.
void packV210(const AVFrame& frame, const ImageView& destination);
// 'v210' rows to a 10-bit 4:2:2 planar frame (yuv422p10le).
void unpackV210(const ConstImageView& source, AVFrame& frame);

// 16-bit big-endian R, G, B, A pixels rotated in place to A, R, G, B, and back.
void rotateRgbaToArgb64(std::span<std::uint8_t> row);
void rotateArgbToRgba64(std::span<std::uint8_t> row);

}  // namespace vqt::codecs
