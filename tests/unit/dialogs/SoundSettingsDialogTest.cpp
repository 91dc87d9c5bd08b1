// The sound settings window on its own: presets shown (also ones outside the offered lists)
// and each control's value.
#include "DialogTestSupport.h"
#include "SoundSettingsDialog.h"

#include <QComboBox>

namespace vqt::dialogs::test {
namespace {

class SoundDialog : public DialogTest {};

TEST_F(SoundDialog, ShowsThePresetAndReadsTheControls) {
  const SoundSettingsModel model = soundModel();
  SoundSettingsDialog dialog(model);
  EXPECT_EQ(dialog.windowTitle(), "Sound Settings");
  auto* format = control<QComboBox>(dialog, "format");
  auto* rate = control<QComboBox>(dialog, "sampleRate");
  auto* channels = control<QComboBox>(dialog, "channels");
  EXPECT_EQ(format->currentText(), "AAC");
  EXPECT_EQ(rate->currentText(), "48 kHz");
  EXPECT_EQ(channels->currentText(), "Stereo");
  EXPECT_EQ(dialog.settings(), model.settings);
  saveShot(dialog, "sound_settings.png");

  format->setCurrentIndex(2);
  rate->setCurrentIndex(0);
  channels->setCurrentIndex(2);
  const SoundSettings chosen{'alac', 44100, 6};
  EXPECT_EQ(dialog.settings(), chosen);
}

TEST_F(SoundDialog, PresetValuesOutsideTheListsAreOfferedAsTheyAre) {
  SoundSettingsModel model = soundModel();
  model.settings = {'twos', 22050, 4};
  SoundSettingsDialog dialog(model);
  EXPECT_EQ(control<QComboBox>(dialog, "format")->currentText(), "twos (not available)");
  EXPECT_EQ(control<QComboBox>(dialog, "sampleRate")->currentText(), "22.05 kHz");
  EXPECT_EQ(control<QComboBox>(dialog, "channels")->currentText(), "4 channels");
  EXPECT_EQ(dialog.settings(), model.settings);
}

}  // namespace
}  // namespace vqt::dialogs::test
