// Files other readers accept, and files nobody can read: a movie header
// without a time scale plays by its media's; encrypted and header-only movies
// say why once and fail every frame quietly; a movie without video and one
// whose first video track is disabled report what they are.
#include "WorldFixtures.h"

#include <gtest/gtest.h>

#include <initializer_list>
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

// Opening and three decodes of `file`: each decode fails, and the reasons are
// printed once each at open, not once a frame.
void expectRefusedOnce(const char* file, std::initializer_list<const char*> reasons) {
  QuickTimeCodecReader reader;
  std::vector<float> frame(512 * 256 * 4);
  const std::string printed = printedBy([&] {
    reader.open(fixture(file), 3);
    EXPECT_GT(reader.getFrameCount(), 0) << "the frames are there, only unreadable";
    for (int f : {1, 2, reader.getFrameCount()}) EXPECT_EQ(reader.decodeFrame(f, frame.data()), 1) << f;
  });
  for (const char* reason : reasons) EXPECT_EQ(occurrences(printed, reason), 1u) << printed;
  EXPECT_EQ(occurrences(printed, "\n"), reasons.size()) << "one line a reason:\n" << printed;
}

TEST(Refusals, EncryptedVideoAndSoundAreSaidOnce) {
  expectRefusedOnce("encrypted.mp4", {"video is encrypted", "sound is encrypted"});
  QuickTimeCodecReader reader;
  // The sound cannot be set up: the result code says so, as for any sound that cannot.
  printedBy([&] { EXPECT_EQ(reader.open(fixture("encrypted.mp4"), 3), 1); });
  EXPECT_FALSE(reader.hasAudio());
}

TEST(Refusals, HeaderOnlyMovieIsSaidOnceAndStillMeasured) {
  expectRefusedOnce("header-only.mov", {"only the header"});
  QuickTimeCodecReader reader;
  printedBy([&] { reader.open(fixture("header-only.mov"), 1); });
  const VideoInfo info = videoInfo(reader);
  EXPECT_EQ(info.width, 64);
  EXPECT_EQ(info.height, 48);
}

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
