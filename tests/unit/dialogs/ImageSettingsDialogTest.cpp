// The compression settings window on its own: what it shows for a preset, what each control
// writes into its values, and the live preview.
#include "DialogTestSupport.h"
#include "ImageSettingsDialog.h"

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPixmap>
#include <QSlider>
#include <QSpinBox>
#include <QTest>

namespace vqt::dialogs::test {
namespace {

class ImageDialog : public DialogTest {};

void typeFrameRate(ImageSettingsDialog& dialog, const char* typed) {
  QLineEdit* edit = control<QComboBox>(dialog, "frameRate")->lineEdit();
  edit->selectAll();
  QTest::keyClick(edit, Qt::Key_Backspace);
  QTest::keyClicks(edit, QString::fromLatin1(typed));
}

TEST_F(ImageDialog, ShowsThePreset) {
  const ImageSettingsModel model = threeCodecModel();
  ImageSettingsDialog dialog(model);
  EXPECT_EQ(dialog.windowTitle(), "Compression Settings");
  EXPECT_EQ(control<QComboBox>(dialog, "codec")->currentText(), "H.264");
  EXPECT_EQ(control<QSlider>(dialog, "quality")->value(), 0x300);
  EXPECT_EQ(control<QLabel>(dialog, "qualityWord")->text(), "High Quality");
  EXPECT_EQ(control<QComboBox>(dialog, "frameRate")->currentText(), "29.97");
  EXPECT_EQ(control<QComboBox>(dialog, "keyFrameMode")->currentIndex(), 2);
  EXPECT_EQ(control<QSpinBox>(dialog, "keyFrameInterval")->value(), 12);
  EXPECT_EQ(control<QComboBox>(dialog, "option.profile")->currentText(), "Main");
  EXPECT_EQ(control<QComboBox>(dialog, "option.entropy")->currentText(), "CABAC");
  EXPECT_EQ(control<QComboBox>(dialog, "option.bitDepth")->currentText(), "10");
  EXPECT_EQ(dialog.settings(), model.settings) << "showing a preset changes none of its values";
  EXPECT_TRUE(dialog.acceptEnabled());
  saveShot(dialog, "image_settings.png");
}

TEST_F(ImageDialog, QualityBetweenLevelsIsKeptExactly) {
  ImageSettingsModel model = threeCodecModel();
  model.settings.spatialQuality = 0x2A0;
  ImageSettingsDialog dialog(model);
  auto* slider = control<QSlider>(dialog, "quality");
  EXPECT_EQ(slider->value(), 0x2A0);
  EXPECT_EQ(control<QLabel>(dialog, "qualityWord")->text(), "High Quality");
  EXPECT_EQ(dialog.settings().spatialQuality, 0x2A0u);

  slider->setValue(0x17F);
  EXPECT_EQ(dialog.settings().spatialQuality, 0x17Fu);
  EXPECT_EQ(control<QLabel>(dialog, "qualityWord")->text(), "Low Quality");
  slider->setValue(0x2F0);
  QTest::keyClick(slider, Qt::Key_PageUp);
  EXPECT_EQ(dialog.settings().spatialQuality, 0x300u);
  QTest::keyClick(slider, Qt::Key_PageUp);
  EXPECT_EQ(dialog.settings().spatialQuality, 0x3FFu);
  EXPECT_EQ(control<QLabel>(dialog, "qualityWord")->text(), "Maximum Quality");
  QTest::keyClick(slider, Qt::Key_PageUp);
  EXPECT_EQ(dialog.settings().spatialQuality, 0x400u);
  EXPECT_EQ(control<QLabel>(dialog, "qualityWord")->text(), "Lossless");
  QTest::keyClick(slider, Qt::Key_Up);
  QTest::keyClick(slider, Qt::Key_PageDown);
  EXPECT_EQ(dialog.settings().spatialQuality, 0x3FFu);
}

TEST_F(ImageDialog, TypedFrameRatesAreReadAndGarbageBlocksOk) {
  ImageSettingsModel model = threeCodecModel();
  model.settings.frameRate = 24.0f;
  ImageSettingsDialog dialog(model);
  dialog.show();
  ASSERT_TRUE(QTest::qWaitForWindowActive(&dialog));
  control<QComboBox>(dialog, "frameRate")->lineEdit()->setFocus();
  auto* hint = control<QLabel>(dialog, "frameRateHint");

  typeFrameRate(dialog, "29.97");
  EXPECT_EQ(dialog.settings().frameRate, 29.97f);
  EXPECT_TRUE(dialog.acceptEnabled());

  typeFrameRate(dialog, "fast");
  EXPECT_FALSE(dialog.acceptEnabled());
  EXPECT_FALSE(hint->isHidden());
  EXPECT_EQ(dialog.settings().frameRate, 29.97f) << "a rejected text leaves the last good rate";

  typeFrameRate(dialog, "2");
  EXPECT_EQ(dialog.settings().frameRate, 2.0f) << "no completion into a preset that starts alike";

  typeFrameRate(dialog, "12.5");
  EXPECT_TRUE(dialog.acceptEnabled());
  EXPECT_TRUE(hint->isHidden());
  EXPECT_EQ(dialog.settings().frameRate, 12.5f);

  control<QComboBox>(dialog, "frameRate")->setCurrentIndex(0);
  EXPECT_EQ(dialog.settings().frameRate, 0.0f) << "the first entry keeps the current rate";
}

TEST_F(ImageDialog, KeyFrameChoices) {
  ImageSettingsDialog dialog(threeCodecModel());
  auto* mode = control<QComboBox>(dialog, "keyFrameMode");
  auto* interval = control<QSpinBox>(dialog, "keyFrameInterval");
  interval->setValue(30);
  EXPECT_EQ(dialog.settings().keyFrameRate, 30);
  mode->setCurrentIndex(0);
  EXPECT_EQ(dialog.settings().keyFrameRate, kKeyFramesAutomatic);
  EXPECT_FALSE(interval->isEnabled());
  mode->setCurrentIndex(1);
  EXPECT_EQ(dialog.settings().keyFrameRate, kAllKeyFrames);
  mode->setCurrentIndex(2);
  EXPECT_EQ(dialog.settings().keyFrameRate, 30);
  EXPECT_TRUE(interval->isEnabled());
}

TEST_F(ImageDialog, CodecChoiceFollowsCapabilitiesAndOptions) {
  ImageSettingsDialog dialog(threeCodecModel());
  auto* codec = control<QComboBox>(dialog, "codec");

  codec->setCurrentIndex(0);  // ProRes: intra-only, fixed profile
  EXPECT_EQ(dialog.settings().codecType, kProRes);
  EXPECT_FALSE(control<QComboBox>(dialog, "keyFrameMode")->isEnabled());
  EXPECT_TRUE(control<QSlider>(dialog, "quality")->isEnabled());
  auto* profile = control<QComboBox>(dialog, "option.profile");
  EXPECT_FALSE(profile->isEnabled());
  const std::map<std::string, std::string> proresOptions{{"profile", "422"}, {"bitDepth", "10"}};
  EXPECT_EQ(dialog.settings().codecOptions, proresOptions);
  EXPECT_EQ(dialog.findChild<QComboBox*>(QStringLiteral("option.entropy")), nullptr);

  codec->setCurrentIndex(2);  // PNG: lossless, no options
  EXPECT_FALSE(control<QSlider>(dialog, "quality")->isEnabled());
  EXPECT_TRUE(dialog.settings().codecOptions.empty());

  codec->setCurrentIndex(1);  // back to H.264: choices offered again, first values
  EXPECT_TRUE(control<QComboBox>(dialog, "keyFrameMode")->isEnabled());
  control<QComboBox>(dialog, "option.entropy")->setCurrentText("CABAC");
  EXPECT_EQ(dialog.settings().codecOptions.at("profile"), "Baseline");
  EXPECT_EQ(dialog.settings().codecOptions.at("entropy"), "CABAC");
}

TEST_F(ImageDialog, UnknownPresetCodecIsShownAndItsOptionsKept) {
  ImageSettingsModel model = threeCodecModel();
  model.settings.codecType = 'xyz1';
  model.settings.codecOptions = {{"private", "7"}};
  ImageSettingsDialog dialog(model);
  EXPECT_EQ(control<QComboBox>(dialog, "codec")->currentText(), "xyz1 (not available)");
  EXPECT_EQ(dialog.settings(), model.settings);

  model.settings.codecType = 0;
  ImageSettingsDialog noneChosen(model);
  EXPECT_EQ(control<QComboBox>(noneChosen, "codec")->currentText(), "None");
}

TEST_F(ImageDialog, PresetOptionsOutsideTheAllowedValuesAreReplaced) {
  ImageSettingsModel model = threeCodecModel();
  model.settings.codecOptions = {{"profile", "Extreme"}, {"stale", "1"}};
  ImageSettingsDialog dialog(model);
  const std::map<std::string, std::string> shown{{"profile", "Baseline"}, {"entropy", "CAVLC"}, {"bitDepth", "8"}};
  EXPECT_EQ(dialog.settings().codecOptions, shown);
}

// Waits for the provider to have seen `wanted`; the preview is debounced, so it comes later.
bool waitForPreviewOf(const std::vector<ImageSettings>& calls, const ImageSettings& wanted) {
  return QTest::qWaitFor([&] { return !calls.empty() && calls.back() == wanted; }, 10000);
}

TEST_F(ImageDialog, PreviewIsAskedForTheCurrentValuesAndShown) {
  std::vector<ImageSettings> calls;
  ImageSettingsModel model = threeCodecModel();
  model.samplePicture = solidPicture(64, 48, 20, 120, 220);
  model.preview = [&calls](const ImageSettings& settings) {
    calls.push_back(settings);
    if (settings.spatialQuality == kMinQuality) return PreviewResult{{}, "Too few bits for this picture"};
    return PreviewResult{solidPicture(64, 48, 200, 30, 40), {}};
  };
  ImageSettingsDialog dialog(model);
  dialog.show();
  ASSERT_TRUE(waitForPreviewOf(calls, model.settings));

  control<QComboBox>(dialog, "codec")->setCurrentIndex(0);
  control<QSlider>(dialog, "quality")->setValue(0x2A0);
  typeFrameRate(dialog, "25");
  ASSERT_TRUE(waitForPreviewOf(calls, dialog.settings()));
  EXPECT_EQ(calls.back().spatialQuality, 0x2A0u);
  EXPECT_EQ(calls.back().codecType, kProRes);
  EXPECT_EQ(calls.back().frameRate, 25.0f);

  auto* previewLabel = control<QLabel>(dialog, "previewPicture");
  ASSERT_TRUE(QTest::qWaitFor([&] { return !previewLabel->pixmap().isNull(); }, 10000));
  const QImage shown = previewLabel->pixmap().toImage();
  EXPECT_EQ(shown.pixelColor(shown.width() / 2, shown.height() / 2), QColor(200, 30, 40));
  const QImage original = control<QLabel>(dialog, "originalPicture")->pixmap().toImage();
  EXPECT_EQ(original.pixelColor(original.width() / 2, original.height() / 2), QColor(20, 120, 220));
  saveShot(dialog, "image_settings_preview.png");

  control<QSlider>(dialog, "quality")->setValue(kMinQuality);
  ASSERT_TRUE(waitForPreviewOf(calls, dialog.settings()));
  ASSERT_TRUE(QTest::qWaitFor([&] { return previewLabel->text() == "Too few bits for this picture"; }, 10000));
  EXPECT_TRUE(previewLabel->pixmap().isNull());
}

TEST_F(ImageDialog, ThrowingPreviewShowsItsMessage) {
  ImageSettingsModel model = threeCodecModel();
  model.preview = [](const ImageSettings&) -> PreviewResult { throw std::runtime_error("encoder missing"); };
  ImageSettingsDialog dialog(model);
  auto* previewLabel = control<QLabel>(dialog, "previewPicture");
  EXPECT_TRUE(QTest::qWaitFor([&] { return previewLabel->text() == "encoder missing"; }, 10000));
}

TEST_F(ImageDialog, NoProviderMeansNoPreviewPane) {
  ImageSettingsDialog dialog(threeCodecModel());
  EXPECT_EQ(dialog.findChild<QLabel*>(QStringLiteral("previewPicture")), nullptr);
}

}  // namespace
}  // namespace vqt::dialogs::test
