// Frame numbers on movies made at every common rate, under a movie time scale
// of 600, of 1000 (the ffmpeg CLI's default) and equal to the media's, in five
// codecs: the frame count is ffprobe's, every frame is the CLI's frame of the
// same index, and random access gives what reading in order gives.
#include "WorldFixtures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <string>
#include <tuple>

using Vantor::QuickTime::QuickTimeCodecReader;
using namespace ReaderTest;
using namespace WorldTest;

namespace {

// Over the codecs' own losses and the conversion kernels' rounding, under
// what the neighbouring frame of these moving patterns gives.
constexpr double kPsnrFloor = 30.0;
constexpr int kFramesMade = 12;

using RateCase = std::tuple<const char*, const char*, const char*>;  // codec, rate, movie time scale

std::string fileOf(const RateCase& c) {
  return std::string("rate-") + std::get<0>(c) + "-" + std::get<1>(c) + "-" + std::get<2>(c) + ".mov";
}

class FrameMapping : public testing::TestWithParam<RateCase> {};

TEST_P(FrameMapping, EveryFrameIsTheCliFrameOfTheSameIndex) {
  const std::string path = fixture(fileOf(GetParam()));
  QuickTimeCodecReader reader;
  ASSERT_EQ(reader.open(path, 1), 0);
  const VideoInfo info = videoInfo(reader);
  const int count = reader.getFrameCount();
  EXPECT_EQ(count, kFramesMade);
  ASSERT_EQ(count, ffprobeFrameCount(path));
  const auto theirs = ffmpegFrames(path, info.width, info.height);
  ASSERT_EQ(static_cast<int>(theirs.size()), count);

  std::vector<float> ours(static_cast<size_t>(info.width) * info.height * 4);
  std::vector<std::uint64_t> inOrder;
  std::string values;
  for (int frame = 1; frame <= count; ++frame) {
    ASSERT_EQ(reader.decodeFrame(frame, ours.data()), 0) << "frame " << frame;
    inOrder.push_back(digest(ours));
    const Match match = closest(ours, theirs);
    EXPECT_EQ(match.index, frame - 1) << "frame " << frame << " shows the CLI's frame " << match.index + 1;
    const double same = psnr(ours, theirs[static_cast<size_t>(frame - 1)]);
    if (frame == 1 || frame == count / 2 + 1 || frame == count) {
      EXPECT_GE(same, kPsnrFloor) << "frame " << frame;
      char text[32];
      snprintf(text, sizeof(text), " %.2f", same);
      values += text;
    }
  }
  printf("PSNR %s first/middle/last:%s dB\n", fileOf(GetParam()).c_str(), values.c_str());

  std::vector<int> order(static_cast<size_t>(count));
  for (int f = 0; f < count; ++f) order[static_cast<size_t>(f)] = f + 1;
  std::shuffle(order.begin(), order.end(), std::mt19937(11));
  for (int frame : order) {
    ASSERT_EQ(reader.decodeFrame(frame, ours.data()), 0);
    EXPECT_EQ(digest(ours), inOrder[static_cast<size_t>(frame - 1)]) << "frame " << frame << " out of order";
  }
}

INSTANTIATE_TEST_SUITE_P(Rates, FrameMapping,
                         testing::Combine(testing::Values("h264", "hevc", "prores", "mjpeg", "png"),
                                          testing::Values("2398", "24", "25", "2997", "30", "50", "5994", "60"),
                                          testing::Values("600", "1000", "media")),
                         [](const testing::TestParamInfo<RateCase>& info) {
                           return std::string(std::get<0>(info.param)) + "_" + std::get<1>(info.param) + "_" +
                                  std::get<2>(info.param);
                         });

TEST(FrameMapping, TimecodeStartFrameAndRateComeFromTheTimecodeTrack) {
  QuickTimeCodecReader reader;
  ASSERT_EQ(reader.open(fixture("timecode-2398.mov"), 1), 0);
  const VideoInfo info = videoInfo(reader);
  EXPECT_EQ(info.startTimecodeFrame, 24 * 3600);  // 01:00:00:00 counted at 24 frames a second
  EXPECT_EQ(info.timeScale, 24000);
  EXPECT_EQ(info.frameDuration, 1001);
  EXPECT_EQ(reader.getFrameCount(), ffprobeFrameCount(fixture("timecode-2398.mov")));
}

}  // namespace
