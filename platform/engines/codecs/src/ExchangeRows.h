// Which native frames go into which exchange format row by row: the layouts
// whose every output row depends on the frame alone (and on no scratch frame
// made from all of it), so that any rows can be converted on any thread.
// The pixel converter takes these paths for whole frames too, so a frame
// converted in pieces and one converted whole have the same bytes.
#pragma once

extern "C" {
#include <libavutil/frame.h>
}

#include "ColourTransform.h"
#include "vqt/codecs/Image.h"

namespace vqt::codecs {

struct RowPlan {
  enum class Kind {
    none,                // needs the whole frame at once (libswscale or a scratch frame)
    planar,              // video-range BT.601 planar Y'CbCr to 'r408' / 'r4fl'
    planarTransformed,   // any planar Y'CbCr to 'r4fl' through the colour transform
    v210,                // 10-bit 4:2:2 video range to 'v210'
    rgb16,               // planar Y'CbCr to 'b64a' / 'b48r' with `matrix`
    uyvy420,             // 8-bit 4:2:0 video-range BT.601 to '2vuy'
    uyvy420Transformed,  // 8-bit 4:2:0 of another matrix or range to '2vuy' through the transform
  };
  Kind kind = Kind::none;
  ColourMatrix matrix = ColourMatrix::unspecified;  // resolved
  bool fullRange = false;
  YCbCrTransform transform{};
};

// How `frame` goes into `format` with `matrix` (the stream's, maybe unspecified).
RowPlan planRows(const AVFrame& frame, ColourMatrix matrix, FourCC format);

// A shallow copy of `frame` that starts at luma row `first` (a multiple of the
// chroma block height, so chroma rows line up) and is `rows` rows tall.
AVFrame frameRows(const AVFrame& frame, int first, int rows);

// Rows [firstRow, firstRow + rows.height) of `frame` into `rows` by `plan`
// (kind not none). Any first row: a chroma row shared with the row above is
// found in the whole frame.
void convertRows(const RowPlan& plan, const AVFrame& frame, int firstRow, const ImageView& rows);

}  // namespace vqt::codecs
