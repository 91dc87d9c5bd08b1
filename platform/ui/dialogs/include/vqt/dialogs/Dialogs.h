// Running the compression settings dialogs: each call shows one modal window preset from the
// model and writes the user's choice back into the model only when the user presses OK.
#pragma once

#include "vqt/dialogs/ImageSettingsModel.h"
#include "vqt/dialogs/SoundSettingsModel.h"

namespace vqt::dialogs {

// Window titles; end-to-end tests find the windows by these.
inline constexpr const char* kImageSettingsTitle = "Compression Settings";
inline constexpr const char* kSoundSettingsTitle = "Sound Settings";

enum class DialogResult {
  Accepted,     // OK: the model holds the user's choice
  Cancelled,    // Cancel, Escape or the window closed: the model is unchanged
  Unavailable,  // no display to show a window on: the model is unchanged
};

// Both create the process's application object on first use when there is none and leave it
// for later calls. They must be called from the thread that runs (or will run) the GUI.
DialogResult runImageSettingsDialog(ImageSettingsModel& model);
DialogResult runSoundSettingsDialog(SoundSettingsModel& model);

}  // namespace vqt::dialogs
