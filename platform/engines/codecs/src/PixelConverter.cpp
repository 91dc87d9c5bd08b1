#include "PixelConverter.h"

#include <algorithm>
#include <cstring>

#include "ColourTransform.h"
#include "ExchangeRows.h"
#include "R4flUnpacking.h"
#include "RgbWidening.h"
#include "UyvyPacking.h"
#include "YCbCrPacking.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace vqt::codecs {
namespace {

// Packed exchange formats that libswscale reads and writes as they are.
AVPixelFormat swscaleFormatOf(FourCC format) {
  switch (format) {
    case kPixelFormatArgb32:
      return AV_PIX_FMT_ARGB;
    case kPixelFormatB48r:
      return AV_PIX_FMT_RGB48BE;
    case kPixelFormatB64a:
      return AV_PIX_FMT_RGBA64BE;  // channels rotated by us
    case kPixelFormat2vuy:
      return AV_PIX_FMT_UYVY422;
    case kPixelFormatYuvs:
      return AV_PIX_FMT_YUYV422;
    default:
      return AV_PIX_FMT_NONE;
  }
}

int swsColourspace(ColourMatrix matrix) {
  switch (matrix) {
    case ColourMatrix::bt601:
      return SWS_CS_ITU601;
    case ColourMatrix::bt2020:
      return SWS_CS_BT2020;
    default:
      return SWS_CS_ITU709;
  }
}

bool isRgbFormat(int format) {
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(format));
  return d != nullptr && (d->flags & AV_PIX_FMT_FLAG_RGB) != 0;
}

// The exchange formats that carry Y'CbCr, always BT.601 video range.
bool isYCbCrExchange(FourCC format) {
  return format == kPixelFormat2vuy || format == kPixelFormatYuvs || format == kPixelFormatR408 ||
         format == kPixelFormatR4fl || format == kPixelFormatV210;
}

template <typename Planes>
void setPlanes(Planes& planes, const AVFrame& frame) {
  for (int i = 0; i < 4; ++i) {
    planes.data[i] = frame.data[i];
    planes.linesize[i] = frame.linesize[i];
  }
}

}  // namespace

bool isFullRange(const AVFrame& frame) {
  return frame.color_range == AVCOL_RANGE_JPEG || frame.format == AV_PIX_FMT_YUVJ420P ||
         frame.format == AV_PIX_FMT_YUVJ422P || frame.format == AV_PIX_FMT_YUVJ444P;
}

AVFrame* PixelConverter::scratchFrame(FramePtr& frame, int format, int width, int height) {
  if (frame && frame->format == format && frame->width == width && frame->height == height) return frame.get();
  frame.reset(av_frame_alloc());
  if (!frame) return nullptr;
  frame->format = format;
  frame->width = width;
  frame->height = height;
  if (av_frame_get_buffer(frame.get(), 0) < 0) {  // FFmpeg pads what it allocates
    frame.reset();
    return nullptr;
  }
  return frame.get();
}

void PixelConverter::inBands(const AVFrame& frame, const ImageView& destination, const BandJob& job) {
  inRowBands(std::min(frame.height, destination.height), [&](int first, int rows) {
    ImageView view = destination;
    view.data += first * view.bytesPerRow;
    view.height = rows;
    job(frameRows(frame, first, rows), view);
  });
}

void PixelConverter::inRowBands(int height, const RowJob& job) {
  const bool parallel = executor_ != nullptr && (executor_->active_thread_type & FF_THREAD_SLICE) &&
                        executor_->thread_count > 1 && height >= 64;
  if (!parallel) {
    job(0, height);
    return;
  }
  // Bands start on multiples of 4 rows, so a band of a planar frame cut at
  // its first row (inBands) finds its chroma rows whole.
  struct Work {
    const RowJob* job;
    int rowsPerBand;
    int height;
  } work{&job, ((height + executor_->thread_count - 1) / executor_->thread_count + 3) & ~3, height};
  executor_->execute2(
      executor_,
      [](AVCodecContext*, void* argument, int band, int) {
        const Work& w = *static_cast<const Work*>(argument);
        const int first = band * w.rowsPerBand;
        if (first < w.height) (*w.job)(first, std::min(w.rowsPerBand, w.height - first));
        return 0;
      },
      &work, nullptr, executor_->thread_count);
}

Status PixelConverter::scale(const Planes& from, const Planes& to, int width, int height, ColourMatrix matrix) {
  sws_ = sws_getCachedContext(sws_, width, height, static_cast<AVPixelFormat>(from.format), width, height,
                              static_cast<AVPixelFormat>(to.format),
                              SWS_BILINEAR | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT | SWS_FULL_CHR_H_INP, nullptr,
                              nullptr, nullptr);
  swsOwner_.release();
  swsOwner_.reset(sws_);
  if (sws_ == nullptr) return Status::unsupportedFormat;
  const int* coefficients = sws_getCoefficients(swsColourspace(matrix));
  // RGB sides are always full range; Y'CbCr sides say what they are.
  const int fromRange = isRgbFormat(from.format) ? 1 : from.fullRange;
  const int toRange = isRgbFormat(to.format) ? 1 : to.fullRange;
  sws_setColorspaceDetails(sws_, coefficients, fromRange, coefficients, toRange, 0, 1 << 16, 1 << 16);
  if (from.callerRowBytes == 0) {
    const int rows = sws_scale(sws_, from.data, from.linesize, 0, height, to.data, to.linesize);
    return rows == height ? Status::ok : Status::failed;
  }
  // Slices in order: the rows before the last from the caller, the last rows
  // from a padded copy. The cut falls on a whole chroma row of both sides:
  // libswscale leaves the bottom of a 4:2:0 picture unwritten (and says it
  // wrote it) when a slice ends between the two rows of one chroma row.
  const int chromaRows = 1 << std::max(av_pix_fmt_desc_get(static_cast<AVPixelFormat>(from.format))->log2_chroma_h,
                                       av_pix_fmt_desc_get(static_cast<AVPixelFormat>(to.format))->log2_chroma_h);
  const int cut = (height - 1) / chromaRows * chromaRows;
  const int tail = height - cut;
  int rows = 0;
  if (cut > 0) rows += sws_scale(sws_, from.data, from.linesize, 0, cut, to.data, to.linesize);
  constexpr std::size_t kSlack = 64;
  const auto stride = static_cast<std::size_t>(from.linesize[0]);
  rowBuffer_.assign(stride * static_cast<std::size_t>(tail - 1) + from.callerRowBytes + kSlack, 0);
  for (int y = 0; y < tail; ++y)
    std::memcpy(rowBuffer_.data() + stride * static_cast<std::size_t>(y),
                from.data[0] + static_cast<std::ptrdiff_t>(cut + y) * from.linesize[0], from.callerRowBytes);
  const std::uint8_t* lastRows[4] = {rowBuffer_.data(), nullptr, nullptr, nullptr};
  rows += sws_scale(sws_, lastRows, from.linesize, cut, tail, to.data, to.linesize);
  return rows == height ? Status::ok : Status::failed;
}

Status PixelConverter::toExchange(const AVFrame& frame, ColourMatrix matrix, const ImageView& destination) {
  const std::size_t needed = minimumBytesPerRow(destination.pixelFormat, destination.width);
  if (needed == 0 || destination.bytesPerRow < static_cast<std::ptrdiff_t>(needed) || destination.data == nullptr)
    return Status::unsupportedFormat;
  if (destination.width != frame.width || destination.height != frame.height) return Status::unsupportedFormat;
  if (const RowPlan plan = planRows(frame, matrix, destination.pixelFormat); plan.kind != RowPlan::Kind::none) {
    inRowBands(frame.height, [&](int first, int rows) {
      ImageView band = destination;
      band.data += static_cast<std::ptrdiff_t>(first) * destination.bytesPerRow;
      band.height = rows;
      convertRows(plan, frame, first, band);
    });
    return Status::ok;
  }
  const int width = frame.width;
  const int height = frame.height;
  matrix = resolveColourMatrix(matrix, height);
  if (isYCbCrExchange(destination.pixelFormat)) {
    const bool oddSize = (width | height) & 1;
    const bool packed422 = destination.pixelFormat == kPixelFormat2vuy || destination.pixelFormat == kPixelFormatYuvs;
    if (!isRgbFormat(frame.format) && (matrix != ColourMatrix::bt601 || (oddSize && packed422 && isPlanarYuv(frame))))
      return toExchangeConverted(frame, matrix, destination);
    // R'G'B' sources are made into the exchange formats' Y'CbCr.
    matrix = ColourMatrix::bt601;
  }

  Planes source{frame.format, {}, {}, isFullRange(frame)};
  setPlanes(source, frame);

  if (destination.pixelFormat == kPixelFormatR408 || destination.pixelFormat == kPixelFormatR4fl) {
    AVFrame* scratch = scratchFrame(scratch_, AV_PIX_FMT_YUVA444P16LE, width, height);
    if (scratch == nullptr) return Status::outOfMemory;
    Planes to{scratch->format, {}, {}, false};
    setPlanes(to, *scratch);
    if (Status s = scale(source, to, width, height, matrix); s != Status::ok) return s;
    if (!(av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format))->flags & AV_PIX_FMT_FLAG_ALPHA)) {
      for (int y = 0; y < height; ++y) {
        auto* row = reinterpret_cast<std::uint16_t*>(scratch->data[3] + y * scratch->linesize[3]);
        std::fill(row, row + width, std::uint16_t{0xFFFF});
      }
    }
    inBands(*scratch, destination, packPlanarYuv);
    return Status::ok;
  }

  if (destination.pixelFormat == kPixelFormatV210) {
    AVFrame* scratch = scratchFrame(scratch_, AV_PIX_FMT_YUV422P10LE, width, height);
    if (scratch == nullptr) return Status::outOfMemory;
    Planes to{scratch->format, {}, {}, false};
    setPlanes(to, *scratch);
    if (Status s = scale(source, to, width, height, matrix); s != Status::ok) return s;
    inBands(*scratch, destination, packV210);
    return Status::ok;
  }

  if ((destination.pixelFormat == kPixelFormatB64a || destination.pixelFormat == kPixelFormatB48r) &&
      isNarrowRgb(frame)) {
    widenRgbTo16(frame, destination);
    return Status::ok;
  }

  const AVPixelFormat packed = swscaleFormatOf(destination.pixelFormat);
  if (packed == AV_PIX_FMT_NONE) return Status::unsupportedFormat;
  // libswscale may write a few bytes past a row's end: it writes into padded
  // memory of ours, and the rows are copied to the caller's.
  AVFrame* out = scratchFrame(packedScratch_, packed, width, height);
  if (out == nullptr) return Status::outOfMemory;
  Planes to{packed, {out->data[0]}, {out->linesize[0]}, false};
  if (Status s = scale(source, to, width, height, matrix); s != Status::ok) return s;
  for (int y = 0; y < height; ++y)
    std::memcpy(destination.data + y * destination.bytesPerRow, out->data[0] + y * out->linesize[0], needed);
  if (destination.pixelFormat == kPixelFormatB64a) {
    for (int y = 0; y < height; ++y)
      rotateRgbaToArgb64({destination.data + y * destination.bytesPerRow, static_cast<std::size_t>(width) * 8});
  }
  return Status::ok;
}

Status PixelConverter::fromExchange(const ConstImageView& source, ColourMatrix matrix, AVFrame& frame) {
  const std::size_t needed = minimumBytesPerRow(source.pixelFormat, source.width);
  if (needed == 0 || source.bytesPerRow < static_cast<std::ptrdiff_t>(needed) || source.data == nullptr)
    return Status::unsupportedFormat;
  if (source.width != frame.width || source.height != frame.height) return Status::unsupportedFormat;
  const int width = frame.width;
  const int height = frame.height;
  matrix = resolveColourMatrix(matrix, height);
  if (isYCbCrExchange(source.pixelFormat)) {
    if (!isRgbFormat(frame.format) && matrix != ColourMatrix::bt601)
      return fromExchangeConverted(source, matrix, frame);
    matrix = ColourMatrix::bt601;
  }

  Planes to{frame.format, {}, {}, isFullRange(frame)};
  for (int i = 0; i < 4; ++i) {
    to.data[i] = frame.data[i];
    to.linesize[i] = frame.linesize[i];
  }

  if (source.pixelFormat == kPixelFormatR408 || source.pixelFormat == kPixelFormatR4fl) {
    if (isDirectPlanarYuv(frame)) {
      const ImageView rows{source.pixelFormat, source.width, source.height, source.bytesPerRow,
                           const_cast<std::uint8_t*>(source.data)};
      inBands(frame, rows, [](const AVFrame& part, const ImageView& band) {
        unpackToPlanarYuv({band.pixelFormat, band.width, band.height, band.bytesPerRow, band.data},
                          const_cast<AVFrame&>(part));
      });
      return Status::ok;
    }
    AVFrame* scratch = scratchFrame(scratch_, AV_PIX_FMT_YUVA444P16LE, width, height);
    if (scratch == nullptr) return Status::outOfMemory;
    unpackToPlanarYuv(source, *scratch);
    Planes from{scratch->format, {}, {}, false};
    for (int i = 0; i < 4; ++i) {
      from.data[i] = scratch->data[i];
      from.linesize[i] = scratch->linesize[i];
    }
    return scale(from, to, width, height, matrix);
  }

  if (source.pixelFormat == kPixelFormatV210) {
    if (frame.format == AV_PIX_FMT_YUV422P10LE && !isFullRange(frame)) {
      unpackV210(source, frame);
      return Status::ok;
    }
    AVFrame* scratch = scratchFrame(scratch_, AV_PIX_FMT_YUV422P10LE, width, height);
    if (scratch == nullptr) return Status::outOfMemory;
    unpackV210(source, *scratch);
    Planes from{scratch->format, {}, {}, false};
    for (int i = 0; i < 4; ++i) {
      from.data[i] = scratch->data[i];
      from.linesize[i] = scratch->linesize[i];
    }
    return scale(from, to, width, height, matrix);
  }

  const AVPixelFormat packed = swscaleFormatOf(source.pixelFormat);
  if (packed == AV_PIX_FMT_NONE) return Status::unsupportedFormat;
  const bool packed422 = source.pixelFormat == kPixelFormat2vuy || source.pixelFormat == kPixelFormatYuvs;
  if (packed422 && (height & 1) && av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format))->log2_chroma_h > 0) {
    // libswscale leaves the last chroma row of an odd-height 4:2:0 frame
    // unwritten when it reads packed 4:2:2; from planar 4:2:2 it writes it.
    AVFrame* planar = scratchFrame(scratch_, AV_PIX_FMT_YUV422P, width, height);
    if (planar == nullptr) return Status::outOfMemory;
    unpack422ToPlanar(source, *planar);
    Planes from{planar->format, {}, {}, false};
    setPlanes(from, *planar);
    return scale(from, to, width, height, matrix);
  }
  Planes from{packed, {const_cast<std::uint8_t*>(source.data)}, {static_cast<int>(source.bytesPerRow)}, false, needed};
  if (source.pixelFormat == kPixelFormatB64a) {
    // libswscale has no 16-bit ARGB: rotate a copy to R, G, B, A first.
    AVFrame* rotated = scratchFrame(packedScratch_, AV_PIX_FMT_RGBA64BE, width, height);
    if (rotated == nullptr) return Status::outOfMemory;
    for (int y = 0; y < height; ++y) {
      std::uint8_t* row = rotated->data[0] + y * rotated->linesize[0];
      std::memcpy(row, source.data + y * source.bytesPerRow, needed);
      rotateArgbToRgba64({row, needed});
    }
    from = Planes{AV_PIX_FMT_RGBA64BE, {rotated->data[0]}, {rotated->linesize[0]}, false};
  }
  return scale(from, to, width, height, matrix);
}

// The stream's Y'CbCr becomes BT.601 video range in a 16-bit 4:4:4 frame (in
// floats straight into 'r4fl' rows), which then takes the plain paths above.
Status PixelConverter::toExchangeConverted(const AVFrame& frame, ColourMatrix matrix, const ImageView& destination) {
  const int width = frame.width;
  const int height = frame.height;
  const bool fullRange = isFullRange(frame);
  const YCbCrTransform transform = transformToExchange(matrix, fullRange);
  const AVFrame* planar = &frame;
  if (!isPlanarYuv(frame)) {
    // Packed and semi-planar layouts are spread out first, their range kept.
    AVFrame* wide = scratchFrame(wideScratch_, AV_PIX_FMT_YUVA444P16LE, width, height);
    if (wide == nullptr) return Status::outOfMemory;
    Planes from{frame.format, {}, {}, fullRange};
    Planes to{wide->format, {}, {}, fullRange};
    setPlanes(from, frame);
    setPlanes(to, *wide);
    if (Status s = scale(from, to, width, height, matrix); s != Status::ok) return s;
    planar = wide;
  }
  if (destination.pixelFormat == kPixelFormatR4fl) {
    inBands(*planar, destination, [&](const AVFrame& part, const ImageView& rows) {
      packPlanarYuvTransformed(part, fullRange, transform, rows);
    });
    return Status::ok;
  }
  AVFrame* corrected = scratchFrame(colourScratch_, AV_PIX_FMT_YUVA444P16LE, width, height);
  if (corrected == nullptr) return Status::outOfMemory;
  corrected->color_range = AVCOL_RANGE_MPEG;
  transformPlanar(*planar, fullRange, transform, *corrected, false);
  // libswscale resamples the chroma of an odd size by (n + 1) / (2n + 1), not
  // a half, which shifts it across the picture: odd sizes are packed by us.
  if ((destination.pixelFormat == kPixelFormat2vuy || destination.pixelFormat == kPixelFormatYuvs) &&
      ((width | height) & 1)) {
    pack444To422(*corrected, destination);
    return Status::ok;
  }
  return toExchange(*corrected, ColourMatrix::bt601, destination);
}

// The exchange formats' BT.601 video range is spread into a 16-bit 4:4:4
// frame, turned into the stream's matrix and range, and resampled into `frame`.
Status PixelConverter::fromExchangeConverted(const ConstImageView& source, ColourMatrix matrix, AVFrame& frame) {
  const int width = frame.width;
  const int height = frame.height;
  const bool fullRange = isFullRange(frame);
  if (source.pixelFormat == kPixelFormatR4fl && !fullRange && takesR4flTransformed(frame)) {
    unpackR4flTransformed(source, transformFromExchange(matrix, false), frame);
    return Status::ok;
  }
  AVFrame* plain = scratchFrame(colourScratch_, AV_PIX_FMT_YUVA444P16LE, width, height);
  if (plain == nullptr) return Status::outOfMemory;
  if (source.pixelFormat == kPixelFormatR408 || source.pixelFormat == kPixelFormatR4fl) {
    unpackToPlanarYuv(source, *plain);
  } else if (source.pixelFormat == kPixelFormatV210) {
    AVFrame* narrow = scratchFrame(scratch_, AV_PIX_FMT_YUV422P10LE, width, height);
    if (narrow == nullptr) return Status::outOfMemory;
    unpackV210(source, *narrow);
    plain = narrow;
  } else {
    const AVPixelFormat packed = swscaleFormatOf(source.pixelFormat);
    if (packed == AV_PIX_FMT_NONE) return Status::unsupportedFormat;
    Planes from{packed,
                {const_cast<std::uint8_t*>(source.data)},
                {static_cast<int>(source.bytesPerRow)},
                false,
                minimumBytesPerRow(source.pixelFormat, source.width)};
    Planes to{plain->format, {}, {}, false};
    setPlanes(to, *plain);
    if (Status s = scale(from, to, width, height, ColourMatrix::bt601); s != Status::ok) return s;
  }
  AVFrame* converted = scratchFrame(wideScratch_, AV_PIX_FMT_YUVA444P16LE, width, height);
  if (converted == nullptr) return Status::outOfMemory;
  transformPlanar(*plain, false, transformFromExchange(matrix, fullRange), *converted, fullRange);
  Planes from{converted->format, {}, {}, fullRange};
  Planes to{frame.format, {}, {}, fullRange};
  setPlanes(from, *converted);
  setPlanes(to, frame);
  return scale(from, to, width, height, matrix);
}

std::size_t minimumBytesPerRow(FourCC format, int width) {
  if (width <= 0) return 0;
  const auto w = static_cast<std::size_t>(width);
  switch (format) {
    case kPixelFormatArgb32:
      return w * 4;
    case kPixelFormatR408:
      return w * 4;
    case kPixelFormatR4fl:
      return w * 16;
    case kPixelFormatB64a:
      return w * 8;
    case kPixelFormatB48r:
      return w * 6;
    case kPixelFormat2vuy:
    case kPixelFormatYuvs:
      return ((w + 1) / 2) * 4;
    case kPixelFormatV210:
      return ((w + 47) / 48) * 128;
    default:
      return 0;
  }
}

bool isExchangeFormat(FourCC format) { return minimumBytesPerRow(format, 2) != 0; }

ColourMatrix colourMatrixFromNclc(int matrixIndex) {
  switch (matrixIndex) {
    case 1:
      return ColourMatrix::bt709;
    case 6:
      return ColourMatrix::bt601;
    case 9:
      return ColourMatrix::bt2020;
    default:
      return ColourMatrix::unspecified;
  }
}

ColourMatrix resolveColourMatrix(ColourMatrix matrix, int height) {
  if (matrix != ColourMatrix::unspecified) return matrix;
  return height > 576 ? ColourMatrix::bt709 : ColourMatrix::bt601;
}

}  // namespace vqt::codecs
