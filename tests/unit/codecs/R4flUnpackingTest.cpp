// 'r4fl' rows straight into planar Y'CbCr of another matrix: every sample is
// the exact map of its pixels (chroma the mean of the block it covers) to
// within one code, in every layout the encoders take, at odd sizes too; the
// vector steps and the pixel-by-pixel rest give the same samples.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "ColourTransform.h"
#include "R4flUnpacking.h"
#include "vqt/ffmpeg/Handles.h"

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
}

namespace vqt::codecs {
namespace {

struct Picture {
  int width, height;
  std::vector<float> pixels;  // A, Y', Cb, Cr
  ConstImageView view() const {
    return {kPixelFormatR4fl, width, height, static_cast<std::ptrdiff_t>(width) * 16,
            reinterpret_cast<const std::uint8_t*>(pixels.data())};
  }
  float* at(int x, int y) { return &pixels[(static_cast<std::size_t>(y) * width + x) * 4]; }
};

// Smooth ramps with a few values out of range and a NaN, as hosts give them.
Picture makePicture(int width, int height) {
  Picture p{width, height, std::vector<float>(static_cast<std::size_t>(width) * height * 4)};
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      float* v = p.at(x, y);
      v[0] = static_cast<float>((x * 7 + y * 3) % 101) / 100.0f;
      v[1] = static_cast<float>((x * 13 + y * 29) % 97) / 96.0f * (219.0f / 255.0f);
      v[2] = static_cast<float>((x * 31 + y * 5) % 89) / 88.0f * (224.0f / 255.0f) + 16.0f / 255.0f;
      v[3] = static_cast<float>((x * 3 + y * 41) % 83) / 82.0f * (224.0f / 255.0f) + 16.0f / 255.0f;
    }
  p.at(0, 0)[1] = 1.5f;  // above white
  p.at(width - 1, height - 1)[2] = -0.5f;
  p.at(width / 2, height / 2)[1] = std::numeric_limits<float>::quiet_NaN();
  return p;
}

ffmpeg::FramePtr makeFrame(AVPixelFormat format, int width, int height) {
  ffmpeg::FramePtr frame(av_frame_alloc());
  frame->format = format;
  frame->width = width;
  frame->height = height;
  EXPECT_EQ(av_frame_get_buffer(frame.get(), 0), 0);
  return frame;
}

int sampleAt(const AVFrame& frame, int plane, int x, int y) {
  const std::uint8_t* row = frame.data[plane] + static_cast<std::ptrdiff_t>(y) * frame.linesize[plane];
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  return d->comp[0].depth > 8 ? reinterpret_cast<const std::uint16_t*>(row)[x] : row[x];
}

// The map in double precision, in 8-bit units.
std::array<double, 3> exactMap(const YCbCrTransform& t, const float* v) {
  const double in[3] = {v[1] * 255.0 + 16.0 - t.inOffset[0], v[2] * 255.0 - t.inOffset[1],
                        v[3] * 255.0 - t.inOffset[2]};
  std::array<double, 3> out{};
  for (int r = 0; r < 3; ++r)
    out[r] = t.matrix[r][0] * in[0] + t.matrix[r][1] * in[1] + t.matrix[r][2] * in[2] + t.outOffset[r];
  return out;
}

int exactCode(double value8, int depth) {
  if (std::isnan(value8)) return 0;
  const double top = (1 << depth) - 1;
  return static_cast<int>(std::lround(std::clamp(value8 * (1 << (depth - 8)), 0.0, top)));
}

TEST(R4flUnpacking, EverySampleIsTheExactMapWithinOneCode) {
  const YCbCrTransform t = transformFromExchange(ColourMatrix::bt709, false);
  for (const AVPixelFormat format : {AV_PIX_FMT_YUV422P10LE, AV_PIX_FMT_YUVA444P10LE, AV_PIX_FMT_YUV420P,
                                     AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV444P12LE}) {
    for (const auto [width, height] : {std::pair{64, 4}, std::pair{37, 9}, std::pair{3, 1}}) {
      SCOPED_TRACE(std::string(av_get_pix_fmt_name(format)) + " " + std::to_string(width) + "x" +
                   std::to_string(height));
      ASSERT_TRUE(takesR4flTransformed(*makeFrame(format, 2, 2)));
      Picture p = makePicture(width, height);
      ffmpeg::FramePtr frame = makeFrame(format, width, height);
      unpackR4flTransformed(p.view(), t, *frame);
      const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(format);
      const int depth = d->comp[0].depth, sx = d->log2_chroma_w, sy = d->log2_chroma_h;
      const bool alpha = (d->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
      int worst = 0;
      for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
          const auto m = exactMap(t, p.at(x, y));
          worst = std::max(worst, std::abs(sampleAt(*frame, 0, x, y) - exactCode(m[0], depth)));
          if (alpha)
            // Alpha spans every code: 1.0 is the top one.
            worst = std::max(worst, std::abs(sampleAt(*frame, 3, x, y) -
                                             static_cast<int>(std::lround(p.at(x, y)[0] * ((1 << depth) - 1)))));
        }
      for (int cy = 0; cy << sy < height; ++cy)
        for (int cx = 0; cx << sx < width; ++cx) {
          double cb = 0, cr = 0;
          int count = 0;
          for (int y = cy << sy; y < std::min(height, (cy + 1) << sy); ++y)
            for (int x = cx << sx; x < std::min(width, (cx + 1) << sx); ++x) {
              const auto m = exactMap(t, p.at(x, y));
              cb += m[1];
              cr += m[2];
              ++count;
            }
          worst = std::max(worst, std::abs(sampleAt(*frame, 1, cx, cy) - exactCode(cb / count, depth)));
          worst = std::max(worst, std::abs(sampleAt(*frame, 2, cx, cy) - exactCode(cr / count, depth)));
        }
      EXPECT_LE(worst, 1);
      // The NaN pixel's luma is black's lowest code, not a wild one.
      EXPECT_EQ(sampleAt(*frame, 0, width / 2, height / 2), 0);
    }
  }
}

TEST(R4flUnpacking, VectorStepsAndTheRestAgree) {
  // Each row turned left: the pixels done sixteen or eight at a time in one
  // picture are done by another step, or one by one, in the other, and every
  // sample must match. 26 pixels: one step of sixteen, one of eight, two alone.
  const YCbCrTransform t = transformFromExchange(ColourMatrix::bt2020, false);
  for (const AVPixelFormat format : {AV_PIX_FMT_YUV422P10LE, AV_PIX_FMT_YUVA444P10LE, AV_PIX_FMT_YUV420P}) {
    for (const auto [width, turn] : {std::pair{10, 8}, std::pair{26, 8}, std::pair{26, 16}}) {
      SCOPED_TRACE(testing::Message() << av_get_pix_fmt_name(format) << " width " << width << " turned " << turn);
      const int height = 4;
      Picture p = makePicture(width, height);
      Picture q = p;
      for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
          for (int c = 0; c < 4; ++c) q.at(x, y)[c] = p.at((x + turn) % width, y)[c];
      ffmpeg::FramePtr a = makeFrame(format, width, height), b = makeFrame(format, width, height);
      unpackR4flTransformed(p.view(), t, *a);
      unpackR4flTransformed(q.view(), t, *b);
      const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(format);
      for (int plane = 0; plane < d->nb_components; ++plane) {
        const int shiftX = plane == 1 || plane == 2 ? d->log2_chroma_w : 0;
        const int shiftY = plane == 1 || plane == 2 ? d->log2_chroma_h : 0;
        const int w = width >> shiftX;
        for (int y = 0; y < height >> shiftY; ++y)
          for (int x = 0; x < w; ++x)
            EXPECT_EQ(sampleAt(*b, plane, x, y), sampleAt(*a, plane, (x + (turn >> shiftX)) % w, y))
                << "plane " << plane << " at " << x << "," << y;
      }
    }
  }
}

TEST(R4flUnpacking, TakesPlanarVideoLayoutsOnly) {
  for (const AVPixelFormat format : {AV_PIX_FMT_YUV422P10LE, AV_PIX_FMT_YUVA444P10LE, AV_PIX_FMT_YUV420P,
                                     AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV420P10LE})
    EXPECT_TRUE(takesR4flTransformed(*makeFrame(format, 4, 4))) << av_get_pix_fmt_name(format);
  for (const AVPixelFormat format : {AV_PIX_FMT_NV12, AV_PIX_FMT_UYVY422, AV_PIX_FMT_YUV410P, AV_PIX_FMT_YUV422P10BE,
                                     AV_PIX_FMT_RGB24, AV_PIX_FMT_GRAY8})
    EXPECT_FALSE(takesR4flTransformed(*makeFrame(format, 4, 4))) << av_get_pix_fmt_name(format);
}

}  // namespace
}  // namespace vqt::codecs
