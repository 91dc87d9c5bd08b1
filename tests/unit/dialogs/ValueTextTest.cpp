// The value tables and texts behind the controls: quality words, frame-rate text and parsing,
// sound labels.
#include "FrameRateText.h"
#include "QualityLevels.h"
#include "SoundChoices.h"

#include <gtest/gtest.h>

namespace vqt::dialogs {
namespace {

TEST(DialogQualityWords, NamedLevelsAndValuesBetweenThem) {
  EXPECT_EQ(nearestQualityLevel(0x000).word, "Minimum Quality");
  EXPECT_EQ(nearestQualityLevel(0x100).word, "Low Quality");
  EXPECT_EQ(nearestQualityLevel(0x200).word, "Normal Quality");
  EXPECT_EQ(nearestQualityLevel(0x300).word, "High Quality");
  EXPECT_EQ(nearestQualityLevel(0x3FF).word, "Maximum Quality");
  EXPECT_EQ(nearestQualityLevel(0x400).word, "Lossless");
  EXPECT_EQ(nearestQualityLevel(0x2A0).word, "High Quality");
  EXPECT_EQ(nearestQualityLevel(0x27F).word, "Normal Quality");
  EXPECT_EQ(nearestQualityLevel(0x180).word, "Low Quality") << "a tie goes to the lower level";
  EXPECT_EQ(nearestQualityLevel(0x3FE).word, "Maximum Quality");
  EXPECT_EQ(nearestQualityLevel(0xFFFFFFFF).word, "Lossless");
}

TEST(DialogQualityWords, PageStepsVisitEveryLevel) {
  EXPECT_EQ(adjacentQualityLevel(0x2A0, true), 0x300u);
  EXPECT_EQ(adjacentQualityLevel(0x300, true), 0x3FFu);
  EXPECT_EQ(adjacentQualityLevel(0x3FF, true), 0x400u);
  EXPECT_EQ(adjacentQualityLevel(0x400, true), 0x400u);
  EXPECT_EQ(adjacentQualityLevel(0x400, false), 0x3FFu);
  EXPECT_EQ(adjacentQualityLevel(0x2A0, false), 0x200u);
  EXPECT_EQ(adjacentQualityLevel(0x000, false), 0x000u);
}

TEST(DialogFrameRateText, ShownWithSixSignificantDigitsAndReadBack) {
  EXPECT_EQ(frameRateText(29.97f), "29.97");
  EXPECT_EQ(frameRateText(23.976f), "23.976");
  EXPECT_EQ(frameRateText(24.0f), "24");
  EXPECT_EQ(frameRateText(0.0f), "Current");
  for (float preset : frameRatePresets()) EXPECT_EQ(parseFrameRate(frameRateText(preset)), preset) << preset;
  EXPECT_EQ(parseFrameRate(" 12.5 "), 12.5f);
  EXPECT_EQ(parseFrameRate("1000"), 1000.0f);
  EXPECT_EQ(parseFrameRate(".5"), 0.5f);
  EXPECT_EQ(parseFrameRate("current"), 0.0f);
  EXPECT_EQ(parseFrameRate("0"), 0.0f);
}

TEST(DialogFrameRateText, RejectsGarbage) {
  for (const char* bad :
       {"", "  ", "abc", "29,97", "29.97fps", "-5", "+5", "1e2", "inf", "nan", ".", "1.2.3", "1000.5", "24 25"})
    EXPECT_FALSE(parseFrameRate(bad)) << bad;
}

TEST(DialogSoundLabels, RatesAndChannels) {
  EXPECT_EQ(sampleRateText(44100), "44.1 kHz");
  EXPECT_EQ(sampleRateText(48000), "48 kHz");
  EXPECT_EQ(sampleRateText(11025), "11.025 kHz");
  EXPECT_EQ(channelsText(1), "Mono");
  EXPECT_EQ(channelsText(2), "Stereo");
  EXPECT_EQ(channelsText(6), "6 channels");
}

}  // namespace
}  // namespace vqt::dialogs
