// The sound settings window: format, sample rate and channels. It edits a copy of the model's
// values; the caller takes them with settings() after OK.
#pragma once

#include "DialogFrame.h"
#include "vqt/dialogs/SoundSettingsModel.h"

class QComboBox;

namespace vqt::dialogs {

class SoundSettingsDialog : public DialogFrame {
  Q_OBJECT

 public:
  explicit SoundSettingsDialog(const SoundSettingsModel& model, QWidget* parent = nullptr);

  const SoundSettings& settings() const { return settings_; }

 private:
  SoundSettings settings_;
  QComboBox* format_;
  QComboBox* sampleRate_;
  QComboBox* channels_;
};

}  // namespace vqt::dialogs
