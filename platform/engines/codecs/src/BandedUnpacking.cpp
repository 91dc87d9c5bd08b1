// The encoding side's banded path: an exchange-format image whose rows are
// produced on request goes into the codec's planar frame a few rows at a
// time. Each band is produced into one small buffer that stays in the cache
// and unpacked from there at once, where a whole 1080p 'r4fl' frame (33 MB)
// was written to memory and read back. The unpackers are those of the
// whole-image path, so the samples are the same.
#include <algorithm>
#include <new>

#include "ColourTransform.h"
#include "PixelConverter.h"
#include "R4flUnpacking.h"
#include "YCbCrPacking.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace vqt::codecs {
namespace {

// Rows a band holds: 16 (a whole number of chroma rows in every layout) while
// they fit in about half a megabyte, so that a band of floats and the planar
// rows made from it stay in the core's own cache.
constexpr std::size_t kBandBytes = std::size_t{1} << 19;
constexpr int kMostRows = 16;

int bandRows(std::size_t rowBytes) {
  const auto fitting =
      static_cast<int>(std::min<std::size_t>(kMostRows, kBandBytes / std::max<std::size_t>(rowBytes, 1)));
  return std::max(2, fitting & ~1);
}

// Whether the exchange rows go through the colour map (another matrix than
// the exchange formats' BT.601) or straight into the planes; nothing else is
// banded.
enum class BandedPath { none, mapped, direct };

BandedPath bandedPath(FourCC format, ColourMatrix matrix, const AVFrame& frame) {
  if (format != kPixelFormatR4fl && format != kPixelFormatR408) return BandedPath::none;
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  if (d == nullptr || (d->flags & AV_PIX_FMT_FLAG_RGB) != 0) return BandedPath::none;
  if (resolveColourMatrix(matrix, frame.height) != ColourMatrix::bt601)
    return format == kPixelFormatR4fl && !isFullRange(frame) && takesR4flTransformed(frame) ? BandedPath::mapped
                                                                                            : BandedPath::none;
  return isDirectPlanarYuv(frame) ? BandedPath::direct : BandedPath::none;
}

// `frame` from row `first` on (a whole chroma row), `rows` high.
AVFrame bandOf(const AVFrame& frame, int first, int rows) {
  AVFrame part = frame;
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  for (int plane = 0; plane < 4 && part.data[plane] != nullptr; ++plane) {
    const int shift = (plane == 1 || plane == 2) ? d->log2_chroma_h : 0;
    part.data[plane] += static_cast<std::ptrdiff_t>(first >> shift) * part.linesize[plane];
  }
  part.height = rows;
  return part;
}

}  // namespace

bool PixelConverter::takesRowsInBands(FourCC format, ColourMatrix matrix, const AVFrame& frame) {
  return bandedPath(format, matrix, frame) != BandedPath::none;
}

Status PixelConverter::fromExchangeRows(const RowSourceImage& source, ColourMatrix matrix, AVFrame& frame) {
  const BandedPath path = bandedPath(source.pixelFormat, matrix, frame);
  const std::size_t rowBytes = minimumBytesPerRow(source.pixelFormat, source.width);
  if (path == BandedPath::none || rowBytes == 0 || !source.produce) return Status::unsupportedFormat;
  if (source.width != frame.width || source.height != frame.height) return Status::unsupportedFormat;
  const int rowsPerBand = bandRows(rowBytes);
  const std::size_t bandBytes = rowBytes * static_cast<std::size_t>(rowsPerBand);
  if (band_.size() < bandBytes) {
    try {
      band_.resize(bandBytes);
    } catch (const std::bad_alloc&) {
      return Status::outOfMemory;
    }
  }
  const YCbCrTransform transform = path == BandedPath::mapped
                                       ? transformFromExchange(resolveColourMatrix(matrix, frame.height), false)
                                       : YCbCrTransform{};
  const auto stride = static_cast<std::ptrdiff_t>(rowBytes);
  for (int first = 0; first < source.height; first += rowsPerBand) {
    const int rows = std::min(rowsPerBand, source.height - first);
    source.produce(first, rows, band_.data(), stride);
    const ConstImageView band{source.pixelFormat, source.width, rows, stride, band_.data()};
    AVFrame part = bandOf(frame, first, rows);
    if (path == BandedPath::mapped) {
      unpackR4flTransformed(band, transform, part);
    } else {
      unpackToPlanarYuv(band, part);
    }
  }
  return Status::ok;
}

}  // namespace vqt::codecs
