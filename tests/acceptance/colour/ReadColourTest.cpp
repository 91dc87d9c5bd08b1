// Movies the ffmpeg CLI makes with each colour matrix and range, bit depth,
// chroma layout and odd size, read through the public reader and judged
// against the CLI's own decode, which honours the same tags. A wrong matrix
// lands near 24 dB, a wrong range lower, so a 30 dB floor tells them apart.
#include <gtest/gtest.h>
#include <vantor/quicktime/QuickTimeCodecReader.h>

#include <cstdio>
#include <set>
#include <string>

#include "ColourJudge.h"

using Vantor::QuickTime::QuickTimeCodecReader;
using namespace ColourTest;

namespace {

struct ColourCase {
  const char* file;
  const char* filters;  // given to the CLI before its RGB conversion
  const char* source;   // when set, the picture every frame repeats judges instead
};

const ColourCase kCases[] = {
    {"h264-709.mov", ""},
    {"h264-709-full.mov", ""},
    {"h264-601-tall.mov", ""},
    // The CLI takes BT.601 for every untagged movie; the rule for frames
    // taller than 576 lines is BT.709, so it is told.
    {"h264-untagged-tall.mov", "scale=in_color_matrix=bt709"},
    {"h264-10bit-420.mov", ""},
    {"h264-10bit-422.mov", ""},
    {"h264-10bit-444.mov", ""},
    {"prores-709.mov", ""},
    {"prores4444-2020.mov", ""},
    {"hevc-12bit-2020.mov", ""},
    {"hevc-10bit-709-full.mp4", ""},
    {"dnxhr-lb.mov", ""},
    {"dnxhr-sq.mov", ""},
    {"dnxhr-hq.mov", ""},
    {"dnxhr-hqx.mov", ""},
    {"jpeg-odd-420.mov", "", "odd-source.png"},
    {"jpeg-odd-422.mov", "", "odd-source.png"},
    {"jpeg-odd-444.mov", "", "odd-source.png"},
    {"h264-odd-444.mov", "", "odd-source.png"},
};

constexpr double kFloor = 30.0;

struct Decoded {
  int width = 0, height = 0, count = 0;
};

Decoded openMovie(QuickTimeCodecReader& reader, const std::string& path) {
  Decoded d;
  if (reader.open(path, 1) != 0) return d;
  int channels = 0, timeScale = 0, duration = 0, timecode = 0;
  float aspect = 0;
  reader.getVideoInfo(&d.width, &d.height, &channels, &aspect, &timeScale, &duration, &timecode);
  d.count = reader.getFrameCount();
  return d;
}

class ReadColour : public testing::TestWithParam<ColourCase> {};

// First and last frame, over the whole picture and over its last column and
// last row alone (odd sizes end in a pixel without a chroma partner).
TEST_P(ReadColour, MatchesTheCliDecodeThatHonoursTheTags) {
  const ColourCase& c = GetParam();
  QuickTimeCodecReader reader;
  const Decoded d = openMovie(reader, fixture(c.file));
  ASSERT_GT(d.count, 0) << c.file;
  std::vector<float> ours(static_cast<size_t>(d.width) * d.height * 4);
  for (int frame : {1, d.count}) {
    ASSERT_EQ(reader.decodeFrame(frame, ours.data()), 0) << frame;
    const std::vector<float> theirs = c.source != nullptr
                                          ? ffmpegRgb(fixture(c.source), 0, d.width, d.height)
                                          : ffmpegRgb(fixture(c.file), frame - 1, d.width, d.height, c.filters);
    ASSERT_FALSE(theirs.empty());
    const double whole = psnr(ours, theirs, d.width, d.height);
    const double column = psnr(ours, theirs, d.width, d.width - 1, d.width, 0, d.height);
    const double row = psnr(ours, theirs, d.width, 0, d.width, d.height - 1, d.height);
    printf("PSNR %s frame %d: %.2f dB, last column %.2f dB, last row %.2f dB\n", c.file, frame, whole, column, row);
    EXPECT_GE(whole, kFloor) << "frame " << frame;
    EXPECT_GE(column, kFloor - 5) << "last column of frame " << frame;
    EXPECT_GE(row, kFloor - 5) << "last row of frame " << frame;
  }
}

INSTANTIATE_TEST_SUITE_P(Fixtures, ReadColour, testing::ValuesIn(kCases),
                         [](const testing::TestParamInfo<ColourCase>& info) {
                           std::string name = info.param.file;
                           for (char& ch : name)
                             if (!isalnum(static_cast<unsigned char>(ch))) ch = '_';
                           return name;
                         });

// Deep sources keep more than 8 bits: a grey ramp over the 1024 codes of
// 10-bit luma holds 877 levels in the video range; 8 bits would give 220.
TEST(ReadDepth, TenBitSourcesKeepMoreThanEightBits) {
  for (const char* file : {"ramp-h264-422.mov", "ramp-h264-444.mov", "ramp-dnxhr-hqx.mov"}) {
    QuickTimeCodecReader reader;
    const Decoded d = openMovie(reader, fixture(file));
    ASSERT_GT(d.count, 0) << file;
    std::vector<float> frame(static_cast<size_t>(d.width) * d.height * 4);
    ASSERT_EQ(reader.decodeFrame(1, frame.data()), 0) << file;
    std::set<float> levels;
    const size_t row = static_cast<size_t>(d.height / 2) * d.width * 4;
    for (int x = 0; x < d.width; ++x) levels.insert(frame[row + 4 * x + 1]);
    printf("%s: %zu grey levels\n", file, levels.size());
    EXPECT_GT(levels.size(), 800u) << file;
  }
}

}  // namespace
