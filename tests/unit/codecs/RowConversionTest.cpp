// Converting a decoded picture a few rows at a time, from any first row and in
// any order, gives the bytes of converting it whole, for every layout that
// goes row by row; the layouts a reader asks of the common codecs are among
// them; and a row conversion refuses rows outside its picture.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "ExchangeRows.h"
#include "PixelConverter.h"
#include "vqt/ffmpeg/Handles.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace vqt::codecs {
namespace {

struct Case {
  const char* name;
  AVPixelFormat format;
  int width, height;
  ColourMatrix matrix;
  AVColorRange range;
  FourCC exchange;
  RowPlan::Kind kind;
};

// Every plane filled with samples of the format's depth (any value, so chroma
// and ranges are exercised beyond their nominal limits too).
FramePtr randomFrame(const Case& c, unsigned seed) {
  FramePtr frame(av_frame_alloc());
  frame->format = c.format;
  frame->width = c.width;
  frame->height = c.height;
  frame->color_range = c.range;
  EXPECT_GE(av_frame_get_buffer(frame.get(), 0), 0);
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(c.format);
  std::mt19937 random(seed);
  const int depth = d->comp[0].depth;
  for (int plane = 0; plane < 4 && frame->data[plane] != nullptr; ++plane) {
    const int rows = (plane == 1 || plane == 2) ? AV_CEIL_RSHIFT(c.height, d->log2_chroma_h) : c.height;
    for (int y = 0; y < rows; ++y) {
      std::uint8_t* row = frame->data[plane] + static_cast<std::ptrdiff_t>(y) * frame->linesize[plane];
      for (int x = 0; x<frame->linesize[plane]; x += depth> 8 ? 2 : 1) {
        const unsigned value = random() & ((1u << depth) - 1);
        if (depth > 8) {
          const auto word = static_cast<std::uint16_t>(value);
          std::memcpy(row + x, &word, 2);
        } else {
          row[x] = static_cast<std::uint8_t>(value);
        }
      }
    }
  }
  return frame;
}

std::vector<std::uint8_t> whole(const AVFrame& frame, ColourMatrix matrix, FourCC exchange, std::size_t bytesPerRow) {
  std::vector<std::uint8_t> bytes(bytesPerRow * static_cast<std::size_t>(frame.height), 0xA5);
  PixelConverter converter;
  EXPECT_EQ(
      converter.toExchange(
          frame, matrix, {exchange, frame.width, frame.height, static_cast<std::ptrdiff_t>(bytesPerRow), bytes.data()}),
      Status::ok);
  return bytes;
}

const Case kCases[] = {
    {"ProRes 422 HQ, BT.709", AV_PIX_FMT_YUV422P10LE, 64, 40, ColourMatrix::bt709, AVCOL_RANGE_MPEG, kPixelFormatR4fl,
     RowPlan::Kind::planarTransformed},
    {"ProRes 4444 with alpha", AV_PIX_FMT_YUVA444P10LE, 50, 33, ColourMatrix::bt709, AVCOL_RANGE_MPEG, kPixelFormatR4fl,
     RowPlan::Kind::planarTransformed},
    {"10-bit 4:2:2, BT.601", AV_PIX_FMT_YUV422P10LE, 64, 40, ColourMatrix::bt601, AVCOL_RANGE_MPEG, kPixelFormatR4fl,
     RowPlan::Kind::planar},
    {"8-bit 4:2:0 to floats, odd size", AV_PIX_FMT_YUV420P, 37, 23, ColourMatrix::bt601, AVCOL_RANGE_MPEG,
     kPixelFormatR4fl, RowPlan::Kind::planar},
    {"10-bit 4:2:0, BT.2020", AV_PIX_FMT_YUV420P10LE, 48, 30, ColourMatrix::bt2020, AVCOL_RANGE_MPEG, kPixelFormatR4fl,
     RowPlan::Kind::planarTransformed},
    {"8-bit 4:2:0 to bytes", AV_PIX_FMT_YUV420P, 48, 30, ColourMatrix::bt601, AVCOL_RANGE_MPEG, kPixelFormatR408,
     RowPlan::Kind::planar},
    {"H.264, BT.709", AV_PIX_FMT_YUV420P, 64, 36, ColourMatrix::bt709, AVCOL_RANGE_MPEG, kPixelFormat2vuy,
     RowPlan::Kind::uyvy420Transformed},
    {"H.264, BT.709 full range", AV_PIX_FMT_YUV420P, 64, 36, ColourMatrix::bt709, AVCOL_RANGE_JPEG, kPixelFormat2vuy,
     RowPlan::Kind::uyvy420Transformed},
    {"MPEG-4, BT.601", AV_PIX_FMT_YUV420P, 64, 36, ColourMatrix::bt601, AVCOL_RANGE_MPEG, kPixelFormat2vuy,
     RowPlan::Kind::uyvy420},
    {"10-bit 4:2:2 to v210", AV_PIX_FMT_YUV422P10LE, 70, 20, ColourMatrix::bt601, AVCOL_RANGE_MPEG, kPixelFormatV210,
     RowPlan::Kind::v210},
    {"4:2:0 to 16-bit RGB", AV_PIX_FMT_YUV420P, 33, 21, ColourMatrix::bt709, AVCOL_RANGE_MPEG, kPixelFormatB64a,
     RowPlan::Kind::rgb16},
};

TEST(RowConversion, AnyRowsInAnyOrderGiveTheWholePicturesBytes) {
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.name);
    const FramePtr frame = randomFrame(c, 7);
    const RowPlan plan = planRows(*frame, c.matrix, c.exchange);
    ASSERT_EQ(plan.kind, c.kind);
    const std::size_t used = minimumBytesPerRow(c.exchange, c.width);
    const std::size_t bytesPerRow = (used + 15) / 16 * 16;
    const std::vector<std::uint8_t> expected = whole(*frame, c.matrix, c.exchange, bytesPerRow);
    std::mt19937 random(11);
    for (int trial = 0; trial < 6; ++trial) {
      // Rows cut into pieces of 1 to 7 rows (odd starts included), converted
      // last piece first, each into its own small buffer.
      std::vector<std::pair<int, int>> pieces;
      for (int first = 0; first < c.height;) {
        const int rows = std::min(c.height - first, trial == 0 ? 1 : 1 + static_cast<int>(random() % 7));
        pieces.emplace_back(first, rows);
        first += rows;
      }
      std::vector<std::uint8_t> got(expected.size(), 0xA5);
      for (auto piece = pieces.rbegin(); piece != pieces.rend(); ++piece) {
        std::vector<std::uint8_t> rows(bytesPerRow * static_cast<std::size_t>(piece->second), 0x5A);
        convertRows(plan, *frame, piece->first,
                    {c.exchange, c.width, piece->second, static_cast<std::ptrdiff_t>(bytesPerRow), rows.data()});
        for (int y = 0; y < piece->second; ++y)
          std::memcpy(got.data() + static_cast<std::size_t>(piece->first + y) * bytesPerRow,
                      rows.data() + static_cast<std::size_t>(y) * bytesPerRow, used);
      }
      for (int y = 0; y < c.height; ++y) {
        ASSERT_EQ(std::memcmp(got.data() + static_cast<std::size_t>(y) * bytesPerRow,
                              expected.data() + static_cast<std::size_t>(y) * bytesPerRow, used),
                  0)
            << "row " << y << ", trial " << trial;
      }
    }
  }
}

TEST(RowConversion, LayoutsThatNeedTheWholePictureAreNotPlannedRowByRow) {
  // Packed 4:2:2 from 4:2:2 and semi-planar sources go through libswscale or
  // a scratch frame of the whole picture.
  const Case yuvs{
      "", AV_PIX_FMT_YUV422P, 32, 16, ColourMatrix::bt601, AVCOL_RANGE_MPEG, kPixelFormatYuvs, RowPlan::Kind::none};
  EXPECT_EQ(planRows(*randomFrame(yuvs, 1), ColourMatrix::unspecified, kPixelFormatYuvs).kind, RowPlan::Kind::none);
  const Case nv12{
      "", AV_PIX_FMT_NV12, 32, 16, ColourMatrix::bt709, AVCOL_RANGE_MPEG, kPixelFormatR4fl, RowPlan::Kind::none};
  EXPECT_EQ(planRows(*randomFrame(nv12, 1), ColourMatrix::unspecified, kPixelFormatR4fl).kind, RowPlan::Kind::none);
  const Case rgb{"",
                 AV_PIX_FMT_RGB24,
                 32,
                 16,
                 ColourMatrix::unspecified,
                 AVCOL_RANGE_JPEG,
                 kPixelFormatArgb32,
                 RowPlan::Kind::none};
  EXPECT_EQ(planRows(*randomFrame(rgb, 1), ColourMatrix::unspecified, kPixelFormatArgb32).kind, RowPlan::Kind::none);
}

}  // namespace
}  // namespace vqt::codecs
