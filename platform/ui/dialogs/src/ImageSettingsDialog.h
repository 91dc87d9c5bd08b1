// The compression settings window: codec, quality, codec-specific choices, frame rate, key
// frames and a live preview. It edits a copy of the model's values; the caller takes them
// with settings() after OK.
#pragma once

#include "DialogFrame.h"
#include "vqt/dialogs/ImageSettingsModel.h"

class QComboBox;
class QFormLayout;
class QLabel;
class QSlider;
class QSpinBox;
class QTimer;

namespace vqt::dialogs {

class PreviewPane;

class ImageSettingsDialog : public DialogFrame {
  Q_OBJECT

 public:
  explicit ImageSettingsDialog(const ImageSettingsModel& model, QWidget* parent = nullptr);

  const ImageSettings& settings() const { return settings_; }

 private:
  const CodecInfo* findCodec(FourCC type) const;
  QLayout* buildControls();
  void presetFromSettings();
  void chooseCodec(int comboIndex);
  // Keeps the preferred value of each option of the chosen codec where it is allowed.
  void rebuildCodecOptions(const std::map<std::string, std::string>& preferred);
  void updateCapabilities();
  void setQuality(int value);
  void readFrameRateText(const QString& text);
  void readKeyFrameControls();
  void schedulePreview();
  void refreshPreview();

  std::vector<CodecInfo> codecs_;
  PreviewProvider previewProvider_;
  ImageSettings settings_;

  QComboBox* codec_ = nullptr;
  QSlider* quality_ = nullptr;
  QLabel* qualityWord_ = nullptr;
  QFormLayout* compressionForm_ = nullptr;  // codec and quality rows, then one row per codec option
  QComboBox* frameRate_ = nullptr;
  QLabel* frameRateHint_ = nullptr;
  QComboBox* keyFrameMode_ = nullptr;
  QSpinBox* keyFrameInterval_ = nullptr;
  PreviewPane* preview_ = nullptr;
  QTimer* previewTimer_ = nullptr;
};

}  // namespace vqt::dialogs
