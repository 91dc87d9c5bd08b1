// Edit lists as the ffmpeg CLI writes them (an empty edit at the head, video
// starting after the sound, an edit starting inside the media) and several
// edits in a row: the frame count is the number of frames shown, as ffprobe
// counts them, and frame k is the k-th frame shown.
#include "WorldFixtures.h"

#include <gtest/gtest.h>

#include <string>

using Vantor::QuickTime::QuickTimeCodecReader;
using namespace ReaderTest;
using namespace WorldTest;

namespace {

constexpr double kPsnrFloor = 30.0;

struct EditCase {
  const char* file;
  int framesShown;
};

const EditCase kEdits[] = {
    {"edit-none.mov", 24},   {"edit-empty-head.mov", 24},     {"edit-video-late.mov", 24},
    {"edit-inside.mov", 42}, {"edit-inside-partial.mov", 40}, {"edit-several.mov", 18},
};

class EditList : public testing::TestWithParam<EditCase> {};

TEST_P(EditList, FramesShownAreCountedAndReadInOrder) {
  const std::string path = fixture(GetParam().file);
  QuickTimeCodecReader reader;
  ASSERT_EQ(reader.open(path, 1), 0);
  const VideoInfo info = videoInfo(reader);
  const int count = reader.getFrameCount();
  EXPECT_EQ(count, GetParam().framesShown);
  ASSERT_EQ(count, ffprobeFrameCount(path));
  const auto theirs = ffmpegFrames(path, info.width, info.height);
  ASSERT_EQ(static_cast<int>(theirs.size()), count);
  std::vector<float> ours(static_cast<size_t>(info.width) * info.height * 4);
  for (int frame = 1; frame <= count; ++frame) {
    ASSERT_EQ(reader.decodeFrame(frame, ours.data()), 0) << "frame " << frame;
    const Match match = closest(ours, theirs);
    EXPECT_EQ(match.index, frame - 1) << "frame " << frame << " shows the CLI's frame " << match.index + 1;
    EXPECT_GE(psnr(ours, theirs[static_cast<size_t>(frame - 1)]), kPsnrFloor) << "frame " << frame;
  }
}

INSTANTIATE_TEST_SUITE_P(Shapes, EditList, testing::ValuesIn(kEdits), [](const testing::TestParamInfo<EditCase>& info) {
  std::string name = info.param.file;
  for (char& ch : name)
    if (!isalnum(static_cast<unsigned char>(ch))) ch = '_';
  return name;
});

// Frame `frame` of `file` through the reader, matched against the unedited
// source's pictures as the CLI decodes them: judged without the CLI's own
// edit handling.
Match againstSource(const char* file, int frame, const char* source) {
  QuickTimeCodecReader reader;
  if (reader.open(fixture(file), 1) != 0) return {};
  const VideoInfo info = videoInfo(reader);
  std::vector<float> ours(static_cast<size_t>(info.width) * info.height * 4);
  if (reader.decodeFrame(frame, ours.data()) != 0) return {};
  return closest(ours, ffmpegFrames(fixture(source), info.width, info.height));
}

TEST(EditList, EachShapeShowsTheRightPartOfTheMedia) {
  struct Shown {
    const char* file;
    int frame;
    const char* source;
    int sourceIndex;
  };
  const Shown kShown[] = {
      // The empty edit is skipped: frame 1 is the first picture.
      {"edit-empty-head.mov", 1, "edit-none.mov", 0},
      {"edit-video-late.mov", 24, "edit-none.mov", 23},
      // The trimmed head (six frames) is decoded but never shown.
      {"edit-inside.mov", 1, "edit-h264-long.mov", 6},
      {"edit-inside.mov", 42, "edit-h264-long.mov", 47},
      // Cut 7.2 frames in: the eighth picture, shown only in part, is not a frame.
      {"edit-inside-partial.mov", 1, "edit-h264-long.mov", 8},
      // Media frames 12-17, then 0-11.
      {"edit-several.mov", 1, "edit-none.mov", 12},
      {"edit-several.mov", 6, "edit-none.mov", 17},
      {"edit-several.mov", 7, "edit-none.mov", 0},
      {"edit-several.mov", 18, "edit-none.mov", 11},
  };
  for (const Shown& shown : kShown) {
    const Match match = againstSource(shown.file, shown.frame, shown.source);
    EXPECT_EQ(match.index, shown.sourceIndex) << shown.file << " frame " << shown.frame;
    EXPECT_GE(match.psnr, kPsnrFloor) << shown.file << " frame " << shown.frame;
  }
}

}  // namespace
