#include "ExchangeRows.h"

#include <algorithm>

#include "PixelConverter.h"
#include "UyvyPacking.h"
#include "YCbCrPacking.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace vqt::codecs {
namespace {

bool isRgbFrame(const AVFrame& frame) {
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  return d != nullptr && (d->flags & AV_PIX_FMT_FLAG_RGB) != 0;
}

void convertAligned(const RowPlan& plan, const AVFrame& part, const ImageView& rows) {
  switch (plan.kind) {
    case RowPlan::Kind::planar:
      packPlanarYuv(part, rows);
      break;
    case RowPlan::Kind::planarTransformed:
      packPlanarYuvTransformed(part, plan.fullRange, plan.transform, rows);
      break;
    case RowPlan::Kind::v210:
      packV210(part, rows);
      break;
    case RowPlan::Kind::rgb16:
      convertPlanarYuvToRgb16(part, plan.matrix, plan.fullRange, rows);
      break;
    default:
      break;
  }
}

}  // namespace

AVFrame frameRows(const AVFrame& frame, int first, int rows) {
  AVFrame part = frame;
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(part.format));
  for (int plane = 0; plane < 4 && part.data[plane] != nullptr; ++plane) {
    const int shift = (plane == 1 || plane == 2) ? d->log2_chroma_h : 0;
    part.data[plane] += static_cast<std::ptrdiff_t>(first >> shift) * part.linesize[plane];
  }
  part.height = rows;
  return part;
}

RowPlan planRows(const AVFrame& frame, ColourMatrix matrix, FourCC format) {
  RowPlan plan;
  plan.matrix = resolveColourMatrix(matrix, frame.height);
  plan.fullRange = isFullRange(frame);
  const bool rgb = isRgbFrame(frame);
  const bool ycbcrExchange = format == kPixelFormat2vuy || format == kPixelFormatYuvs || format == kPixelFormatR408 ||
                             format == kPixelFormatR4fl || format == kPixelFormatV210;
  if (ycbcrExchange && !rgb) {
    const bool oddSize = (frame.width | frame.height) & 1;
    const bool packed422 = format == kPixelFormat2vuy || format == kPixelFormatYuvs;
    if (plan.matrix != ColourMatrix::bt601 || (oddSize && packed422 && isPlanarYuv(frame))) {
      // The stream's Y'CbCr is mapped into the exchange formats' BT.601 video range.
      plan.transform = transformToExchange(plan.matrix, plan.fullRange);
      if (format == kPixelFormat2vuy && canPackPlanar420To2vuyTransformed(frame)) {
        plan.kind = RowPlan::Kind::uyvy420Transformed;
      } else if (format == kPixelFormatR4fl && isPlanarYuv(frame)) {
        plan.kind = RowPlan::Kind::planarTransformed;
      }
      return plan;
    }
  }
  if (ycbcrExchange) plan.matrix = ColourMatrix::bt601;
  if ((format == kPixelFormatR408 || format == kPixelFormatR4fl) && isDirectPlanarYuv(frame)) {
    plan.kind = RowPlan::Kind::planar;
  } else if (format == kPixelFormatV210 && frame.format == AV_PIX_FMT_YUV422P10LE && !plan.fullRange) {
    plan.kind = RowPlan::Kind::v210;
  } else if ((format == kPixelFormatB64a || format == kPixelFormatB48r) && isPlanarYuv(frame)) {
    plan.kind = RowPlan::Kind::rgb16;
  } else if (format == kPixelFormat2vuy && canPackPlanar420To2vuy(frame)) {
    plan.kind = RowPlan::Kind::uyvy420;
  }
  return plan;
}

void convertRows(const RowPlan& plan, const AVFrame& frame, int firstRow, const ImageView& rows) {
  const int end = std::min(frame.height, firstRow + rows.height);
  if (firstRow < 0 || firstRow >= end) return;
  if (plan.kind == RowPlan::Kind::uyvy420) {
    packPlanar420To2vuy(frame, rows, firstRow);
    return;
  }
  if (plan.kind == RowPlan::Kind::uyvy420Transformed) {
    packPlanar420To2vuyTransformed(frame, plan.fullRange, plan.transform, rows, firstRow);
    return;
  }
  // The packers below see a frame cut at the first row: rows up to a chroma
  // row's start go one at a time, the rest in one piece.
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  const int block = 1 << (d != nullptr ? d->log2_chroma_h : 0);
  ImageView view = rows;
  int y = firstRow;
  for (; y < end && y % block != 0; ++y) {
    view.height = 1;
    AVFrame one = frameRows(frame, y & ~(block - 1), block);
    // The one row sits `y % block` rows into a block that starts on a chroma row.
    one.data[0] += static_cast<std::ptrdiff_t>(y % block) * one.linesize[0];
    if (one.data[3] != nullptr) one.data[3] += static_cast<std::ptrdiff_t>(y % block) * one.linesize[3];
    one.height = 1;
    convertAligned(plan, one, view);
    view.data += view.bytesPerRow;
  }
  if (y < end) {
    view.height = end - y;
    convertAligned(plan, frameRows(frame, y, end - y), view);
  }
}

}  // namespace vqt::codecs
