// Shared pieces of the dialog tests: the application object, finding controls by object name,
// saving screenshots, and a model with codecs of every kind.
#pragma once

#include "Application.h"
#include "vqt/dialogs/ImageSettingsModel.h"
#include "vqt/dialogs/SoundSettingsModel.h"

#include <QDir>
#include <QWidget>
#include <gtest/gtest.h>

namespace vqt::dialogs::test {

class DialogTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { ASSERT_TRUE(ensureWidgetApplication()) << "set QT_QPA_PLATFORM=offscreen"; }
};

template <typename Control>
Control* control(QWidget& dialog, const char* name) {
  auto* found = dialog.findChild<Control*>(QString::fromLatin1(name));
  EXPECT_NE(found, nullptr) << name;
  return found;
}

inline void saveShot(QWidget& dialog, const char* fileName) {
  QDir().mkpath(QStringLiteral(DIALOG_SHOTS_DIR));
  dialog.adjustSize();
  EXPECT_TRUE(dialog.grab().save(QStringLiteral(DIALOG_SHOTS_DIR "/") + QString::fromLatin1(fileName)));
}

inline constexpr FourCC kProRes = 'apcn';
inline constexpr FourCC kH264 = 'avc1';
inline constexpr FourCC kPng = 'png ';

inline RgbaImage solidPicture(int width, int height, std::uint8_t r, std::uint8_t g, std::uint8_t b) {
  RgbaImage picture{width, height, {}};
  for (int i = 0; i < width * height; ++i) picture.pixels.insert(picture.pixels.end(), {r, g, b, 255});
  return picture;
}

// ProRes: intra-only with a fixed profile; H.264: temporal with real choices; PNG: lossless,
// so no quality.
inline ImageSettingsModel threeCodecModel() {
  ImageSettingsModel model;
  model.codecs = {
      {kProRes, "Apple ProRes 422", false, true, {{"profile", "Profile", {"422"}}, {"bitDepth", "Bit depth", {"10"}}}},
      {kH264,
       "H.264",
       true,
       true,
       {{"profile", "Profile", {"Baseline", "Main", "High"}},
        {"entropy", "Entropy coding", {"CAVLC", "CABAC"}},
        {"bitDepth", "Bit depth", {"8", "10"}}}},
      {kPng, "PNG", false, false, {}},
  };
  model.settings.codecType = kH264;
  model.settings.spatialQuality = kHighQuality;
  model.settings.frameRate = 29.97f;
  model.settings.keyFrameRate = 12;
  model.settings.codecOptions = {{"profile", "Main"}, {"entropy", "CABAC"}, {"bitDepth", "10"}};
  return model;
}

inline SoundSettingsModel soundModel() {
  SoundSettingsModel model;
  model.formats = {{'lpcm', "Linear PCM"}, {'aac ', "AAC"}, {'alac', "Apple Lossless"}};
  model.sampleRates = {44100, 48000, 96000};
  model.channelCounts = {1, 2, 6};
  model.settings = {'aac ', 48000, 2};
  return model;
}

}  // namespace vqt::dialogs::test
