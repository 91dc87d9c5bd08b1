// Damaged and foreign files: the specified result codes, never a crash.
#include "ReaderFixtures.h"

#include <gtest/gtest.h>

#include <map>

using Vantor::QuickTime::QuickTimeCodecReader;
using namespace ReaderTest;

namespace {

TEST(ReaderBadFiles, FilesThatAreNoMovieAreCodeThree) {
  for (const char* name : {"bad-truncated.mov", "bad-not-a-movie.mov", "bad-empty.mov", "no-such-file.mov"}) {
    QuickTimeCodecReader reader;
    EXPECT_EQ(reader.open(fixture(name), 3), 3) << name;
    EXPECT_FALSE(reader.hasVideo()) << name;
    std::vector<float> frame(512 * 256 * 4);
    EXPECT_EQ(reader.decodeFrame(1, frame.data()), 1) << name;
    std::map<std::string, std::string> description;
    reader.getStreamDescription(description);  // no movie: only the codec entries
    EXPECT_EQ(description.count("timecode"), 0u);
  }
}

TEST(ReaderBadFiles, GarbageAfterTheMovieIsIgnored) {
  QuickTimeCodecReader reader;
  ASSERT_EQ(reader.open(fixture("bad-garbage-appended.mov"), 3), 0);
  EXPECT_EQ(reader.getFrameCount(), 60);
  std::vector<float> frame(320 * 240 * 4);
  EXPECT_EQ(reader.decodeFrame(60, frame.data()), 0);
}

TEST(ReaderBadFiles, MissingSampleDataFailsThoseFramesOnly) {
  QuickTimeCodecReader reader;
  // The header is whole (it comes first) but the media data stops two thirds in.
  const int opened = reader.open(fixture("bad-truncated-data.mov"), 3);
  ASSERT_TRUE(opened == 0 || opened == 1) << opened;
  ASSERT_EQ(reader.getFrameCount(), 60);
  std::vector<float> frame(320 * 240 * 4);
  EXPECT_EQ(reader.decodeFrame(1, frame.data()), 0);
  EXPECT_EQ(reader.decodeFrame(60, frame.data()), 1);
  EXPECT_EQ(reader.decodeFrame(2, frame.data()), 0);  // the session survives the failure
  if (reader.hasAudio()) {
    std::vector<float> samples(reader.getAudioSampleCount());
    unsigned count = static_cast<unsigned>(samples.size());
    EXPECT_EQ(reader.readAudio(0, &count, samples.data()), 0);
  }
}

}  // namespace
