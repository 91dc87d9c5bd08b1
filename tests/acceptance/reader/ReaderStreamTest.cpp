// What the reader reports about each fixture's video stream: frame count, size,
// pixel aspect, rate as time scale and frame duration, codec and pixel format,
// timecode and reel, and the metadata items with their types.
#include "ReaderFixtures.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>

using Vantor::QuickTime::QuickTimeCodecReader;
using namespace ReaderTest;

namespace {

struct StreamCase {
  const char* file;
  int frames, width, height;
  float pixelAspect;
  int timeScale, frameDuration;  // 0: only the rate below is checked
  double rate;
  const char* codecId;
  const char* pixelFormat;
  int startTimecodeFrame = 0;  // and the timecode and reel entries (nullptr: none)
  const char* timecode = nullptr;
  const char* reel = nullptr;
};

// Drop-frame start frame: 59 minutes of 1800 frames, less 2 at each minute not
// divisible by 10 (108), plus 59 s 28 f.
const StreamCase kStreams[] = {
    {"h264-2997.mov", 60, 320, 240, 1.0f, 30000, 1001, 30000.0 / 1001, "avc1", "2vuy", 108000, "01:00:00:00", "Reel_A"},
    {"prores-bars.mov", 12, 320, 240, 1.0f, 24000, 1001, 24000.0 / 1001, "apch", "r4fl"},
    {"mjpeg-25.mov", 25, 320, 240, 4.0f / 3.0f, 0, 0, 25.0, "jpeg", "2vuy"},
    {"rle-125.mov", 25, 160, 120, 1.0f, 0, 0, 12.5, "rle ", "32\n"},
    {"dropframe.mov", 15, 160, 120, 1.0f, 30000, 1001, 30000.0 / 1001, "jpeg", "2vuy", 107890, "00:59:59;28"},
    {"two-video.mov", 10, 160, 120, 1.0f, 0, 0, 25.0, "jpeg", "2vuy"},  // the lower-numbered of two video tracks
};

class ReaderStream : public testing::TestWithParam<StreamCase> {};

TEST_P(ReaderStream, ReportsTheVideoStream) {
  const StreamCase& c = GetParam();
  QuickTimeCodecReader reader;
  ASSERT_EQ(reader.open(fixture(c.file), 3), 0);
  EXPECT_TRUE(reader.hasVideo());
  EXPECT_EQ(reader.getFrameCount(), c.frames);
  const VideoInfo info = videoInfo(reader);
  EXPECT_EQ(info.width, c.width);
  EXPECT_EQ(info.height, c.height);
  EXPECT_EQ(info.channels, 4);
  EXPECT_FLOAT_EQ(info.pixelAspect, c.pixelAspect);
  if (c.timeScale != 0) {
    EXPECT_EQ(info.timeScale, c.timeScale);
    EXPECT_EQ(info.frameDuration, c.frameDuration);
  }
  ASSERT_GT(info.frameDuration, 0);
  EXPECT_DOUBLE_EQ(static_cast<double>(info.timeScale) / info.frameDuration, c.rate);

  std::map<std::string, std::string> description;
  reader.getStreamDescription(description);
  EXPECT_EQ(description["codec_id"], c.codecId);
  EXPECT_EQ(description["codec_pixel_format"], c.pixelFormat);
  EXPECT_EQ(description["codec_manufacturer"], "vntr");
  EXPECT_FALSE(description["codec_name"].empty());
  EXPECT_EQ(info.startTimecodeFrame, c.startTimecodeFrame);
  auto entry = [&](const char* key) { return description.count(key) ? description[key] : std::string("(none)"); };
  EXPECT_EQ(entry("timecode"), c.timecode ? c.timecode : "(none)");
  EXPECT_EQ(entry("reel"), c.reel ? c.reel : "(none)");
}

INSTANTIATE_TEST_SUITE_P(Fixtures, ReaderStream, testing::ValuesIn(kStreams),
                         [](const testing::TestParamInfo<StreamCase>& info) {
                           std::string name = info.param.file;
                           for (char& ch : name)
                             if (!isalnum(static_cast<unsigned char>(ch))) ch = '_';
                           return name;
                         });

TEST(ReaderMetadata, TextItemsBecomeStringProperties) {
  QuickTimeCodecReader reader;
  ASSERT_EQ(reader.open(fixture("h264-2997.mov"), 1), 0);
  std::list<Vantor::Property::Base*> properties{nullptr};  // existing entries are kept
  ASSERT_EQ(reader.getMetadata(properties), 0);
  std::map<std::string, std::string> texts;
  for (Vantor::Property::Base* p : properties) {
    if (!p) continue;
    auto* text = Vantor::Property::asString(p, 1);
    ASSERT_NE(text, nullptr) << p->name;
    texts[p->name] = text->values.at(0);
  }
  EXPECT_EQ(properties.front(), nullptr);
  EXPECT_EQ(texts["title"], "A title");
  EXPECT_EQ(texts["comment"], "Two words");
  EXPECT_EQ(texts.size(), 4u);  // with "timecode" and "encoder": every item the file holds, no more
  for (Vantor::Property::Base* p : properties) delete p;
}

TEST(ReaderMetadata, NoMovieIsCodeTwoAndMovieWithoutItemsAppendsNothing) {
  QuickTimeCodecReader reader;
  std::list<Vantor::Property::Base*> properties;
  EXPECT_EQ(reader.getMetadata(properties), 2);
  ASSERT_EQ(reader.open(fixture("rle-125.mov"), 1), 0);
  EXPECT_EQ(reader.getMetadata(properties), 0);
  EXPECT_TRUE(properties.empty());
}

TEST(ReaderOpening, ModeZeroOpensWithoutScanning) {
  QuickTimeCodecReader reader;
  ASSERT_EQ(reader.open(fixture("h264-2997.mov"), 0), 0);
  EXPECT_FALSE(reader.hasVideo());
  EXPECT_FALSE(reader.hasAudio());
  EXPECT_EQ(reader.getFrameCount(), 0);
  std::vector<float> frame(320 * 240 * 4);
  EXPECT_EQ(reader.decodeFrame(1, frame.data()), 1);  // no frames to step through
}

TEST(ReaderOpening, ReopeningReadsTheNewMovieOnly) {
  QuickTimeCodecReader reader;
  ASSERT_EQ(reader.open(fixture("h264-2997.mov"), 3), 0);
  ASSERT_EQ(reader.open(fixture("rle-125.mov"), 3), 0);
  EXPECT_EQ(reader.getFrameCount(), 25);
  EXPECT_EQ(videoInfo(reader).width, 160);
  std::map<std::string, std::string> description{{"codec_id", "kept"}};
  reader.getStreamDescription(description);
  EXPECT_EQ(description["codec_id"], "kept");  // inserted, never overwritten
  EXPECT_EQ(description.count("timecode"), 0u);
  std::vector<float> frame(160 * 120 * 4);
  EXPECT_EQ(reader.decodeFrame(25, frame.data()), 0);
}

}  // namespace
