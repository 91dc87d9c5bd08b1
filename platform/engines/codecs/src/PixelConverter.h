// Converts between a codec's native frames and the pixel formats the sessions
// exchange: libswscale for RGB and packed 4:2:2, our own packers for 'r408'
// and 'r4fl', with the stream's colour matrix for every Y'CbCr/RGB step.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "FfmpegHandles.h"
#include "vqt/codecs/Image.h"
#include "vqt/codecs/Status.h"

namespace vqt::codecs {

class PixelConverter {
 public:
  // Our own packers then run in row bands on this codec's slice threads, when it has them.
  void setExecutor(AVCodecContext* context) { executor_ = context; }

  // Native frame to `destination` (its pixelFormat says which layout).
  Status toExchange(const AVFrame& frame, ColourMatrix matrix, const ImageView& destination);
  // `source` into `frame`, whose format and size are already set and allocated.
  Status fromExchange(const ConstImageView& source, ColourMatrix matrix, AVFrame& frame);
  // True when fromExchangeRows takes `format` into `frame` band by band.
  static bool takesRowsInBands(FourCC format, ColourMatrix matrix, const AVFrame& frame);
  // As fromExchange, for an image whose rows are produced on request
  // (takesRowsInBands): a few rows at a time go into a small buffer that
  // stays in the cache and straight on into `frame`, so the exchange-format
  // image never passes through memory. The same samples as fromExchange.
  Status fromExchangeRows(const RowSourceImage& source, ColourMatrix matrix, AVFrame& frame);

 private:
  struct Planes {
    int format;
    std::uint8_t* data[4];
    int linesize[4];
    bool fullRange;
    // Caller memory of one packed plane: libswscale may read a few bytes past
    // the end of a row, so the last row is read from a padded copy of this size.
    std::size_t callerRowBytes = 0;
  };
  // Y'CbCr of another matrix (or range) to and from the exchange formats' BT.601 video range.
  Status toExchangeConverted(const AVFrame& frame, ColourMatrix matrix, const ImageView& destination);
  Status fromExchangeConverted(const ConstImageView& source, ColourMatrix matrix, AVFrame& frame);
  Status scale(const Planes& from, const Planes& to, int width, int height, ColourMatrix matrix);
  AVFrame* scratchFrame(FramePtr& frame, int format, int width, int height);
  using BandJob = std::function<void(const AVFrame& frame, const ImageView& destination)>;
  // Runs `job` over bands of rows of a planar frame, in parallel where it can.
  void inBands(const AVFrame& frame, const ImageView& destination, const BandJob& job);
  // Runs job(firstRow, rowCount) over bands of [0, height), in parallel where it can.
  using RowJob = std::function<void(int firstRow, int rowCount)>;
  void inRowBands(int height, const RowJob& job);

  AVCodecContext* executor_ = nullptr;

  SwsContext* sws_ = nullptr;  // owned through swsOwner_
  SwsPtr swsOwner_;
  FramePtr scratch_;        // 16-bit 4:4:4 Y'CbCrA or 10-bit 4:2:2 on the way to our packers
  FramePtr packedScratch_;  // libswscale's packed output, copied to the caller's rows
  FramePtr colourScratch_;  // 16-bit 4:4:4 Y'CbCrA in the exchange formats' matrix and range
  FramePtr wideScratch_;    // 16-bit 4:4:4 Y'CbCrA in the stream's matrix and range
  std::vector<std::uint8_t> rowBuffer_;
  std::vector<std::uint8_t> band_;  // fromExchangeRows' rows in the exchange format
};

// True for formats FFmpeg stores full range (JPEG) or frames flagged so.
bool isFullRange(const AVFrame& frame);

}  // namespace vqt::codecs
