// 8-bit video-range 4:2:0 planar frames (what H.264 and MPEG-4 decode to) packed
// straight into '2vuy' rows: libswscale takes its slow general path for this
// step (a vertical chroma filter rules out its packing shortcut).
#pragma once

extern "C" {
#include <libavutil/frame.h>
}

#include "ColourTransform.h"
#include "VectorLevel.h"
#include "vqt/codecs/Image.h"

namespace vqt::codecs {

// True when packPlanar420To2vuy gives `frame` the bytes libswscale's bilinear
// conversion would: 8-bit 4:2:0 video range, even width, even height of 16 or more.
bool canPackPlanar420To2vuy(const AVFrame& frame);

// Rows firstRow.. of `frame` into 'rows' (a '2vuy' view, its first row
// firstRow's, as tall as the rows wanted). Chroma is
// filtered vertically as libswscale's bilinear scaler does for this layout: odd
// rows take their chroma row, even rows the rounded mean of it and the one
// above, except the first row (its own) and the last (the mean as well).
void packPlanar420To2vuy(const AVFrame& frame, const ImageView& rows, int firstRow = 0);

// The same rows through `transform` (a stream's matrix and range into BT.601
// video range), in one pass: chroma blended as above, then every pixel's Y' and
// each pair's Cb and Cr (the mean of its two pixels') mapped in single
// precision and rounded to the nearest byte. `fullRange` says how `frame` is
// scaled; it may be full range (canPackPlanar420To2vuy's other conditions hold).
// `level` caps the vector steps (every level gives the same bytes; the processor's caps it too).
bool canPackPlanar420To2vuyTransformed(const AVFrame& frame);
void packPlanar420To2vuyTransformed(const AVFrame& frame, bool fullRange, const YCbCrTransform& transform,
                                    const ImageView& rows, int firstRow = 0, VectorLevel level = bestVectorLevel());

// A 16-bit 4:4:4 video-range frame (YUVA444P16LE) into '2vuy' or 'yuvs' rows
// (`rows.pixelFormat` says which): each pair's chroma is the mean of its two
// pixels, and an odd width's last pixel makes a group of its own (its Y' twice),
// so no chroma drifts across the row as resampling 2n+1 pixels to n+1 would.
void pack444To422(const AVFrame& frame, const ImageView& rows);

// '2vuy' or 'yuvs' rows (`source.pixelFormat` says which) into an 8-bit planar
// 4:2:2 frame (yuv422p) of the same size, every sample as it is.
void unpack422ToPlanar(const ConstImageView& source, AVFrame& frame);

}  // namespace vqt::codecs
