// The packers from decoded planar Y'CbCr into exchange rows through the colour transform
// give the same floats ('r4fl') and bytes ('2vuy') at every vector level this processor
// runs as the one-pixel loop: random pictures of every layout they take (8 and 10 bits,
// 4:2:0, 4:2:2, 4:4:4, with and without alpha, samples past the nominal range), in widths
// that end in every narrower step. Levels the processor lacks are left out.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "ColourTransform.h"
#include "UyvyPacking.h"
#include "VectorLevel.h"
#include "YCbCrPacking.h"
#include "vqt/ffmpeg/Handles.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace vqt::codecs {
namespace {

using ffmpeg::FramePtr;

const VectorLevel kLevels[] = {VectorLevel::sse2, VectorLevel::avx2, VectorLevel::avx512};

// Every sample of every plane random over the format's whole depth.
FramePtr randomFrame(AVPixelFormat format, int width, int height, unsigned seed) {
  FramePtr frame(av_frame_alloc());
  frame->format = format;
  frame->width = width;
  frame->height = height;
  EXPECT_GE(av_frame_get_buffer(frame.get(), 0), 0);
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(format);
  const int depth = d->comp[0].depth;
  std::mt19937 random(seed);
  for (int plane = 0; plane < 4 && frame->data[plane] != nullptr; ++plane) {
    const int rows = (plane == 1 || plane == 2) ? AV_CEIL_RSHIFT(height, d->log2_chroma_h) : height;
    for (int y = 0; y < rows; ++y) {
      std::uint8_t* row = frame->data[plane] + static_cast<std::ptrdiff_t>(y) * frame->linesize[plane];
      if (depth > 8) {
        for (int x = 0; x + 1 < frame->linesize[plane]; x += 2) {
          const auto word = static_cast<std::uint16_t>(random() & ((1u << depth) - 1));
          std::memcpy(row + x, &word, 2);
        }
      } else {
        for (int x = 0; x < frame->linesize[plane]; ++x) row[x] = static_cast<std::uint8_t>(random());
      }
    }
  }
  return frame;
}

std::string levelName(VectorLevel level) {
  const char* names[] = {"scalar", "SSE2", "AVX2", "AVX-512"};
  return names[static_cast<int>(level)];
}

TEST(PackingLevels, R4flRowsAreTheSameFloatsAtEveryLevel) {
  const AVPixelFormat formats[] = {AV_PIX_FMT_YUV420P,      AV_PIX_FMT_YUV422P,      AV_PIX_FMT_YUV444P,
                                   AV_PIX_FMT_YUVA420P,     AV_PIX_FMT_YUVA422P,     AV_PIX_FMT_YUVA444P,
                                   AV_PIX_FMT_YUV420P10LE,  AV_PIX_FMT_YUV422P10LE,  AV_PIX_FMT_YUV444P10LE,
                                   AV_PIX_FMT_YUVA422P10LE, AV_PIX_FMT_YUVA444P10LE, AV_PIX_FMT_YUV422P12LE};
  for (AVPixelFormat format : formats)
    for (int width : {61, 64, 93})  // 16 + 16 + 16 + 8 + 4 + 1 pixels, whole steps, all but 16
      for (bool fullRange : {false, true}) {
        SCOPED_TRACE(std::string(av_get_pix_fmt_name(format)) + " width " + std::to_string(width) +
                     (fullRange ? " full range" : " video range"));
        const int height = 5;
        const FramePtr frame = randomFrame(format, width, height, static_cast<unsigned>(width + format));
        const YCbCrTransform transform = transformToExchange(ColourMatrix::bt709, fullRange);
        const std::size_t bytesPerRow = 16 * static_cast<std::size_t>(width) + 16;
        auto pack = [&](VectorLevel level) {
          std::vector<std::uint8_t> rows(bytesPerRow * height, 0xA5);
          packPlanarYuvTransformed(
              *frame, fullRange, transform,
              {kPixelFormatR4fl, width, height, static_cast<std::ptrdiff_t>(bytesPerRow), rows.data()}, level);
          return rows;
        };
        const std::vector<std::uint8_t> expected = pack(VectorLevel::scalar);
        for (VectorLevel level : kLevels) {
          if (level <= bestVectorLevel()) {
            EXPECT_TRUE(pack(level) == expected) << levelName(level);
          }
        }
      }
}

TEST(PackingLevels, TwoVuyRowsAreTheSameBytesAtEveryLevel) {
  for (AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVJ420P})
    for (int pairs : {61, 64, 93})
      for (ColourMatrix matrix : {ColourMatrix::bt709, ColourMatrix::bt2020}) {
        const bool fullRange = format == AV_PIX_FMT_YUVJ420P;
        SCOPED_TRACE(std::string(av_get_pix_fmt_name(format)) + " pairs " + std::to_string(pairs));
        const int width = 2 * pairs, height = 18;
        const FramePtr frame = randomFrame(format, width, height, static_cast<unsigned>(pairs));
        ASSERT_TRUE(canPackPlanar420To2vuyTransformed(*frame));
        const YCbCrTransform transform = transformToExchange(matrix, fullRange);
        const std::size_t bytesPerRow = 2 * static_cast<std::size_t>(width) + 16;
        auto pack = [&](VectorLevel level) {
          std::vector<std::uint8_t> rows(bytesPerRow * height, 0xA5);
          packPlanar420To2vuyTransformed(
              *frame, fullRange, transform,
              {kPixelFormat2vuy, width, height, static_cast<std::ptrdiff_t>(bytesPerRow), rows.data()}, 0, level);
          return rows;
        };
        const std::vector<std::uint8_t> expected = pack(VectorLevel::scalar);
        for (VectorLevel level : kLevels) {
          if (level <= bestVectorLevel()) {
            EXPECT_TRUE(pack(level) == expected) << levelName(level);
          }
        }
      }
}

}  // namespace
}  // namespace vqt::codecs
