// The dialog hook the binding installs: it fills a model from the component's settings, runs a
// dialog and writes the model back on OK. The dialog runners can be replaced (tests).
#pragma once

#include <QuickTime/StandardCompressionDialog.h>

#include <functional>

#include "vqt/dialogs/Dialogs.h"

namespace vqt::binding {

struct DialogRunners {
  std::function<dialogs::DialogResult(dialogs::ImageSettingsModel&)> image = dialogs::runImageSettingsDialog;
  std::function<dialogs::DialogResult(dialogs::SoundSettingsModel&)> sound = dialogs::runSoundSettingsDialog;
};

// The image dialog's model: the catalogue, the current settings, the sample picture and a
// preview compressed with the real codec.
dialogs::ImageSettingsModel imageModelFor(const VqtImageCompressionSettings& settings);
// Without permission to change the sample rate only the current rate is offered.
dialogs::SoundSettingsModel soundModelFor(const VqtSoundCompressionSettings& settings, bool sampleRateChangeOK);

class CompressionDialogHook : public VqtStandardCompressionDialogHook {
 public:
  explicit CompressionDialogHook(DialogRunners runners = {});
  VqtDialogAnswer requestImageSettings(VqtImageCompressionSettings& settings, bool motion) override;
  VqtDialogAnswer requestSoundSettings(VqtSoundCompressionSettings& settings, bool variableBitRateOK,
                                       bool sampleRateChangeOK) override;

 private:
  DialogRunners runners_;
};

}  // namespace vqt::binding
