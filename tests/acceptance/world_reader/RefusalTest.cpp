// Files other readers accept, and files nobody can read: a movie header
// without a time scale plays by its media's; encrypted and header-only movies
// say why once and fail every frame quietly; a movie without video and one
// whose first video track is disabled report what they are.
#include "WorldFixtures.h"

#include <gtest/gtest.h>

#include <string>

using Vantor::QuickTime::QuickTimeCodecReader;
using namespace ReaderTest;
using namespace WorldTest;

namespace {

size_t occurrences(const std::string& text, const std::string& word) {
  size_t count = 0;
  for (size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) ++count;
  return count;
}

TEST(OddHeaders, MovieTimeScaleZeroFallsBackToTheMedia) {
  const std::string path = fixture("zero-movie-timescale.mov");
  QuickTimeCodecReader reader;
  ASSERT_EQ(reader.open(path, 1), 0);
  const VideoInfo info = videoInfo(reader);
  ASSERT_EQ(reader.getFrameCount(), ffprobeFrameCount(path));
  EXPECT_EQ(info.timeScale, 12288);
  EXPECT_EQ(info.frameDuration, 512);
  const auto theirs = ffmpegFrames(path, info.width, info.height);
  ASSERT_EQ(static_cast<int>(theirs.size()), reader.getFrameCount());
  std::vector<float> ours(static_cast<size_t>(info.width) * info.height * 4);
  for (int frame = 1; frame <= reader.getFrameCount(); ++frame) {
    ASSERT_EQ(reader.decodeFrame(frame, ours.data()), 0);
    EXPECT_EQ(closest(ours, theirs).index, frame - 1) << "frame " << frame;
  }
}

// Opening and three decodes of `file`: each decode fails, and the reason is
// printed once, not once a frame.
void expectOneRefusal(const char* file, const char* reason) {
  QuickTimeCodecReader reader;
  std::vector<float> frame(512 * 256 * 4);
  const std::string printed = printedBy([&] {
    reader.open(fixture(file), 3);
    EXPECT_GT(reader.getFrameCount(), 0) << "the frames are there, only unreadable";
    for (int f : {1, 2, reader.getFrameCount()}) EXPECT_EQ(reader.decodeFrame(f, frame.data()), 1) << f;
  });
  EXPECT_EQ(occurrences(printed, reason), 1u) << printed;
  EXPECT_EQ(occurrences(printed, "\n"), 1u) << "one message only:\n" << printed;
}

TEST(Refusals, EncryptedVideoIsSaidOnce) { expectOneRefusal("encrypted.mp4", "encrypted"); }

TEST(Refusals, HeaderOnlyMovieIsSaidOnce) { expectOneRefusal("header-only.mov", "only the header"); }

TEST(TrackChoice, SoundOnlyMovieHasNoVideo) {
  QuickTimeCodecReader reader;
  ASSERT_EQ(reader.open(fixture("sound-only.m4a"), 3), 0);
  EXPECT_FALSE(reader.hasVideo());
  EXPECT_EQ(reader.getFrameCount(), 0);
  EXPECT_TRUE(reader.hasAudio());
  std::vector<float> frame(512 * 256 * 4);
  EXPECT_EQ(reader.decodeFrame(1, frame.data()), 1);
}

TEST(TrackChoice, TheFirstEnabledVideoTrackIsRead) {
  QuickTimeCodecReader reader;
  ASSERT_EQ(reader.open(fixture("two-video-second-enabled.mov"), 1), 0);
  const VideoInfo info = videoInfo(reader);
  EXPECT_EQ(info.width, 96);
  EXPECT_EQ(info.height, 64);
  const std::string path = fixture("two-video-second-enabled.mov");
  EXPECT_EQ(reader.getFrameCount(), ffprobeFrameCount(path, 1));
  std::vector<float> frame(static_cast<size_t>(info.width) * info.height * 4);
  EXPECT_EQ(reader.decodeFrame(reader.getFrameCount(), frame.data()), 0);
}

}  // namespace
