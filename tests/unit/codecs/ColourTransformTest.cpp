// The maps between a stream's Y'CbCr and the exchange formats' BT.601 video
// range: the published codes of saturated red in each matrix and range land on
// BT.601's, each map undoes the other, and planar frames of odd size keep
// their last column and row.
#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "ColourTransform.h"
#include "YCbCrPacking.h"
#include "vqt/ffmpeg/Handles.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace vqt::codecs {
namespace {

using Ycc = std::array<float, 3>;

Ycc mapped(const YCbCrTransform& t, Ycc in) {
  Ycc out{};
  for (int r = 0; r < 3; ++r) {
    float sum = t.outOffset[r];
    for (int c = 0; c < 3; ++c) sum += t.matrix[r][c] * (in[c] - t.inOffset[c]);
    out[r] = sum;
  }
  return out;
}

void expectNear(Ycc got, Ycc want, float tolerance) {
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(got[i], want[i], tolerance) << i;
}

// 100 % red in 8-bit codes: BT.601 video (81.48, 90.20, 240), BT.709 video
// (62.56, 102.34, 240), BT.2020 video (73.53, 96.72, 240), BT.601 full
// (76.25, 84.97, 255.5), BT.709 full (54.21, 98.78, 255.5).
TEST(ColourTransform, SaturatedRedLandsOnBt601VideoRange) {
  const Ycc red601{81.481f, 90.203f, 240.0f};
  expectNear(mapped(transformToExchange(ColourMatrix::bt709, false), {62.559f, 102.336f, 240.0f}), red601, 0.01f);
  expectNear(mapped(transformToExchange(ColourMatrix::bt2020, false), {73.531f, 96.723f, 240.0f}), red601, 0.01f);
  expectNear(mapped(transformToExchange(ColourMatrix::bt601, true), {76.245f, 84.972f, 255.5f}), red601, 0.01f);
  expectNear(mapped(transformToExchange(ColourMatrix::bt709, true), {54.213f, 98.784f, 255.5f}), red601, 0.01f);
  expectNear(mapped(transformToExchange(ColourMatrix::bt601, false), red601), red601, 1e-4f);
}

TEST(ColourTransform, EachDirectionUndoesTheOtherAndKeepsGreyGrey) {
  for (ColourMatrix matrix : {ColourMatrix::bt601, ColourMatrix::bt709, ColourMatrix::bt2020}) {
    for (bool full : {false, true}) {
      const YCbCrTransform in = transformToExchange(matrix, full), out = transformFromExchange(matrix, full);
      for (Ycc value : {Ycc{16, 128, 128}, Ycc{235, 128, 128}, Ycc{81, 90, 240}, Ycc{145, 54, 34}})
        expectNear(mapped(in, mapped(out, value)), value, 1e-3f);
      const Ycc grey = mapped(out, {126, 128, 128});
      EXPECT_NEAR(grey[1], 128.0f, 1e-4f);
      EXPECT_NEAR(grey[2], 128.0f, 1e-4f);
      EXPECT_NEAR(grey[0], full ? (126 - 16) * 255.0f / 219.0f : 126.0f, 1e-3f);
    }
  }
}

// A 3x3 4:2:0 frame: the last column and row take the chroma sample that
// covers them, and a frame without alpha comes out opaque.
TEST(ColourTransform, PlanarFrameOfOddSizeKeepsItsEdges) {
  ffmpeg::FramePtr in(av_frame_alloc()), out(av_frame_alloc());
  in->format = AV_PIX_FMT_YUV420P;
  out->format = AV_PIX_FMT_YUVA444P16LE;
  in->width = out->width = 3;
  in->height = out->height = 3;
  ASSERT_GE(av_frame_get_buffer(in.get(), 0), 0);
  ASSERT_GE(av_frame_get_buffer(out.get(), 0), 0);
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 3; ++x) in->data[0][y * in->linesize[0] + x] = static_cast<std::uint8_t>(100 + 10 * x + y);
  for (int y = 0; y < 2; ++y)
    for (int x = 0; x < 2; ++x) {
      in->data[1][y * in->linesize[1] + x] = static_cast<std::uint8_t>(60 + 40 * x + 20 * y);
      in->data[2][y * in->linesize[2] + x] = static_cast<std::uint8_t>(200 - 30 * x - 10 * y);
    }
  transformPlanar(*in, false, transformToExchange(ColourMatrix::bt601, false), *out, false);
  auto sample = [&](int plane, int x, int y) {
    return reinterpret_cast<const std::uint16_t*>(out->data[plane] + y * out->linesize[plane])[x];
  };
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 3; ++x) {
      EXPECT_EQ(sample(0, x, y), (100 + 10 * x + y) * 256);
      EXPECT_EQ(sample(1, x, y), (60 + 40 * (x / 2) + 20 * (y / 2)) * 256);
      EXPECT_EQ(sample(2, x, y), (200 - 30 * (x / 2) - 10 * (y / 2)) * 256);
      EXPECT_EQ(sample(3, x, y), 0xFFFF);
    }
}

// Straight into 'r4fl': four pixels a step then one at a time, the same
// floats either way, so a row of equal pixels gives equal pixels.
TEST(ColourTransform, FloatRowsAreTheSameInTheVectorAndScalarParts) {
  for (AVPixelFormat format : {AV_PIX_FMT_YUV422P10LE, AV_PIX_FMT_YUV444P, AV_PIX_FMT_YUV420P}) {
    ffmpeg::FramePtr frame(av_frame_alloc());
    frame->format = format;
    frame->width = 6;
    frame->height = 2;
    ASSERT_GE(av_frame_get_buffer(frame.get(), 0), 0);
    const bool deep = format == AV_PIX_FMT_YUV422P10LE;
    const int values[3] = {deep ? 700 : 175, deep ? 300 : 75, deep ? 800 : 200};
    for (int plane = 0; plane < 3; ++plane)
      for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 6; ++x) {
          std::uint8_t* row = frame->data[plane] + y * frame->linesize[plane];
          if (deep)
            reinterpret_cast<std::uint16_t*>(row)[x] = static_cast<std::uint16_t>(values[plane]);
          else
            row[x] = static_cast<std::uint8_t>(values[plane]);
        }
    std::vector<float> floats(6 * 2 * 4, -1.0f);
    const ImageView view{kPixelFormatR4fl, 6, 2, 6 * 16, reinterpret_cast<std::uint8_t*>(floats.data())};
    packPlanarYuvTransformed(*frame, false, transformToExchange(ColourMatrix::bt709, false), view);
    for (int p = 1; p < 12; ++p)
      for (int c = 0; c < 4; ++c) ASSERT_EQ(floats[4 * p + c], floats[c]) << format << " pixel " << p;
    EXPECT_EQ(floats[0], 1.0f);
  }
}

}  // namespace
}  // namespace vqt::codecs
