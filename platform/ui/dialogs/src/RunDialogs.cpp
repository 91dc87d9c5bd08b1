// The entry points: application object, modal run, write-back on OK only.
#include "vqt/dialogs/Dialogs.h"

#include "Application.h"
#include "ImageSettingsDialog.h"
#include "SoundSettingsDialog.h"

namespace vqt::dialogs {

namespace {

template <typename Dialog, typename Model>
DialogResult runModal(Model& model) {
  if (!ensureWidgetApplication()) return DialogResult::Unavailable;
  Dialog dialog(model);
  if (dialog.exec() != QDialog::Accepted) return DialogResult::Cancelled;
  model.settings = dialog.settings();
  return DialogResult::Accepted;
}

}  // namespace

DialogResult runImageSettingsDialog(ImageSettingsModel& model) { return runModal<ImageSettingsDialog>(model); }

DialogResult runSoundSettingsDialog(SoundSettingsModel& model) { return runModal<SoundSettingsDialog>(model); }

}  // namespace vqt::dialogs
