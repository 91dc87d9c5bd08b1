// Decoded pixels: first, middle and last frames against the ffmpeg CLI's own
// RGB decode of the same frames, random access against reading in order, and
// the precision a 10-bit source keeps.
#include "ReaderFixtures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <set>

using Vantor::QuickTime::QuickTimeCodecReader;
using namespace ReaderTest;

namespace {

struct PixelCase {
  const char* file;
  double minimumPsnr;  // dB; the values measured are in docs/modules/reader.md
};

// Floors under what is measured and above what a fault gives: decoding these
// frames with the BT.709 matrix instead of BT.601, or with the wrong range,
// lands at 24.4-24.9 dB against the CLI; swapped channels or an upside-down
// frame far lower.
const PixelCase kPixels[] = {
    {"h264-2997.mov", 27.0},
    {"prores-bars.mov", 35.0},
    {"mjpeg-25.mov", 27.0},
    {"rle-125.mov", 45.0},
};

class ReaderPixels : public testing::TestWithParam<PixelCase> {};

TEST_P(ReaderPixels, FirstMiddleAndLastFramesMatchTheCliDecode) {
  const PixelCase& c = GetParam();
  QuickTimeCodecReader reader;
  ASSERT_EQ(reader.open(fixture(c.file), 1), 0);
  const VideoInfo info = videoInfo(reader);
  const int count = reader.getFrameCount();
  std::vector<float> ours(static_cast<size_t>(info.width) * info.height * 4);
  for (int frame : {1, count / 2 + 1, count}) {
    ASSERT_EQ(reader.decodeFrame(frame, ours.data()), 0) << frame;
    const std::vector<float> theirs = ffmpegRgb(fixture(c.file), frame - 1, info.width, info.height);
    ASSERT_FALSE(theirs.empty());
    const double value = psnr(ours, theirs);
    printf("PSNR %s frame %d: %.2f dB\n", c.file, frame, value);
    EXPECT_GE(value, c.minimumPsnr) << "frame " << frame;
    for (size_t p = 3; p < ours.size(); p += 4) ASSERT_EQ(ours[p], 1.0f) << "alpha of an opaque movie";
  }
}

INSTANTIATE_TEST_SUITE_P(Fixtures, ReaderPixels, testing::ValuesIn(kPixels),
                         [](const testing::TestParamInfo<PixelCase>& info) {
                           std::string name = info.param.file;
                           for (char& ch : name)
                             if (!isalnum(static_cast<unsigned char>(ch))) ch = '_';
                           return name;
                         });

std::uint64_t digest(const std::vector<float>& frame) {
  std::uint64_t hash = 14695981039346656037ull;
  const auto* bytes = reinterpret_cast<const unsigned char*>(frame.data());
  for (size_t i = 0; i < frame.size() * sizeof(float); ++i) hash = (hash ^ bytes[i]) * 1099511628211ull;
  return hash;
}

TEST(ReaderRandomAccess, RandomOrderGivesTheSameFloatsAsInOrder) {
  QuickTimeCodecReader reader;
  ASSERT_EQ(reader.open(fixture("h264-2997.mov"), 1), 0);
  const VideoInfo info = videoInfo(reader);
  const int count = reader.getFrameCount();
  std::vector<float> frame(static_cast<size_t>(info.width) * info.height * 4);
  std::vector<std::uint64_t> inOrder;
  for (int f = 1; f <= count; ++f) {
    ASSERT_EQ(reader.decodeFrame(f, frame.data()), 0);
    inOrder.push_back(digest(frame));
  }
  // Neighbouring frames differ, so a frame off by one would be seen.
  EXPECT_NE(inOrder[0], inOrder[1]);
  std::vector<int> order(static_cast<size_t>(count));
  for (int f = 0; f < count; ++f) order[f] = f + 1;
  std::shuffle(order.begin(), order.end(), std::mt19937(7));
  order.insert(order.end(), {count, count, 1, 2, 1});  // repeats and backward steps
  for (int f : order) {
    std::fill(frame.begin(), frame.end(), -1.0f);
    ASSERT_EQ(reader.decodeFrame(f, frame.data()), 0);
    EXPECT_EQ(digest(frame), inOrder[f - 1]) << "frame " << f;
  }
}

TEST(ReaderPrecision, TenBitProResKeepsMoreThanEightBits) {
  QuickTimeCodecReader reader;
  ASSERT_EQ(reader.open(fixture("prores-2398.mov"), 1), 0);
  const VideoInfo info = videoInfo(reader);
  ASSERT_EQ(info.width, 1024);
  std::vector<float> frame(static_cast<size_t>(info.width) * info.height * 4);
  ASSERT_EQ(reader.decodeFrame(1, frame.data()), 0);
  // A ramp over the 1024 luma levels: the video range holds 877 of them, and
  // each should land on its own value (8 bits would give at most 256).
  const size_t row = static_cast<size_t>(info.height / 2) * info.width * 4;
  std::set<float> levels;
  for (int x = 0; x < info.width; ++x) levels.insert(frame[row + 4 * x]);
  EXPECT_GT(levels.size(), 800u);
}

TEST(ReaderFrames, FramesOutsideTheMovieFail) {
  QuickTimeCodecReader reader;
  ASSERT_EQ(reader.open(fixture("rle-125.mov"), 1), 0);
  std::vector<float> frame(160 * 120 * 4);
  EXPECT_EQ(reader.decodeFrame(reader.getFrameCount() + 5, frame.data()), 1);
  EXPECT_EQ(reader.decodeFrame(1, frame.data()), 0);
}

}  // namespace
