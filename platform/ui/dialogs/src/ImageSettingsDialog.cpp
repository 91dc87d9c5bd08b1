#include "ImageSettingsDialog.h"

#include "ComboChoice.h"
#include "FrameRateText.h"
#include "PreviewPane.h"
#include "QualityLevels.h"
#include "vqt/dialogs/Dialogs.h"

#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QSlider>
#include <QSpinBox>
#include <QTimer>

#include <algorithm>
#include <exception>

namespace vqt::dialogs {

namespace {

// Long enough that dragging the slider does not compress a picture at every step.
constexpr int kPreviewDelayMs = 250;

enum KeyFrameMode { kAutomaticMode = 0, kAllKeyFramesMode = 1, kEveryNFramesMode = 2 };
constexpr int kDefaultKeyFrameInterval = 24;
constexpr int kMaxKeyFrameInterval = 100000;

// The codec and quality rows come before the codec's own options in the compression form.
constexpr int kFixedCompressionRows = 2;

QString text(const std::string& s) { return QString::fromStdString(s); }

}  // namespace

ImageSettingsDialog::ImageSettingsDialog(const ImageSettingsModel& model, QWidget* parent)
    : DialogFrame(kImageSettingsTitle, parent),
      codecs_(model.codecs),
      previewProvider_(model.preview),
      settings_(model.settings) {
  auto* columns = new QHBoxLayout;
  columns->addLayout(buildControls());
  if (previewProvider_) {
    auto* previewGroup = new QGroupBox(tr("Preview"));
    auto* previewLayout = new QVBoxLayout(previewGroup);
    preview_ = new PreviewPane(model.samplePicture);
    previewLayout->addWidget(preview_);
    previewLayout->addStretch();
    columns->addWidget(previewGroup);

    previewTimer_ = new QTimer(this);
    previewTimer_->setSingleShot(true);
    previewTimer_->setInterval(kPreviewDelayMs);
    connect(previewTimer_, &QTimer::timeout, this, &ImageSettingsDialog::refreshPreview);
  }
  setContent(columns);
  presetFromSettings();
  codec_->setFocus();
  schedulePreview();
}

const CodecInfo* ImageSettingsDialog::findCodec(FourCC type) const {
  const auto found =
      std::find_if(codecs_.begin(), codecs_.end(), [type](const CodecInfo& c) { return c.type == type; });
  return found == codecs_.end() ? nullptr : &*found;
}

QLayout* ImageSettingsDialog::buildControls() {
  codec_ = new QComboBox;
  codec_->setObjectName(QStringLiteral("codec"));
  for (const CodecInfo& info : codecs_) codec_->addItem(text(info.name), QVariant::fromValue<uint>(info.type));

  quality_ = new QSlider(Qt::Horizontal);
  quality_->setObjectName(QStringLiteral("quality"));
  quality_->setRange(int(kMinQuality), int(kLosslessQuality));
  quality_->setMinimumWidth(200);
  quality_->setSingleStep(0x10);
  quality_->setPageStep(0x100);
  quality_->setTickInterval(0x100);
  quality_->setTickPosition(QSlider::TicksBelow);
  qualityWord_ = new QLabel;
  qualityWord_->setObjectName(QStringLiteral("qualityWord"));
  qualityWord_->setMinimumWidth(qualityWord_->fontMetrics().horizontalAdvance(QStringLiteral("Maximum Quality  ")));
  auto* qualityRow = new QHBoxLayout;
  qualityRow->addWidget(quality_, 1);
  qualityRow->addWidget(qualityWord_);

  auto* compressionGroup = new QGroupBox(tr("Compression"));
  compressionForm_ = new QFormLayout(compressionGroup);
  compressionForm_->addRow(tr("Codec:"), codec_);
  compressionForm_->addRow(tr("Quality:"), qualityRow);

  frameRate_ = new QComboBox;
  frameRate_->setObjectName(QStringLiteral("frameRate"));
  frameRate_->setEditable(true);
  frameRate_->setInsertPolicy(QComboBox::NoInsert);
  // Inline completion would turn a typed "2" into "23.976" and Return would accept that.
  frameRate_->setCompleter(nullptr);
  frameRate_->addItem(text(frameRateText(0.0f)), 0.0f);
  for (float rate : frameRatePresets()) frameRate_->addItem(text(frameRateText(rate)), rate);
  frameRateHint_ =
      new QLabel(tr("Type a rate from 0 to %1 frames per second, or choose one.").arg(double(kMaxTypedFrameRate)));
  frameRateHint_->setObjectName(QStringLiteral("frameRateHint"));
  frameRateHint_->setStyleSheet(QStringLiteral("color: #b00020"));
  frameRateHint_->setWordWrap(true);
  frameRateHint_->hide();
  auto* frameRateRow = new QHBoxLayout;
  frameRateRow->addWidget(frameRate_, 1);
  frameRateRow->addWidget(new QLabel(tr("frames per second")));

  keyFrameMode_ = new QComboBox;
  keyFrameMode_->setObjectName(QStringLiteral("keyFrameMode"));
  keyFrameMode_->addItem(tr("Automatic"), int(kAutomaticMode));
  keyFrameMode_->addItem(tr("All key frames"), int(kAllKeyFramesMode));
  keyFrameMode_->addItem(tr("Every N frames"), int(kEveryNFramesMode));
  keyFrameInterval_ = new QSpinBox;
  keyFrameInterval_->setObjectName(QStringLiteral("keyFrameInterval"));
  keyFrameInterval_->setRange(2, kMaxKeyFrameInterval);
  keyFrameInterval_->setValue(kDefaultKeyFrameInterval);
  keyFrameInterval_->setSuffix(tr(" frames"));
  auto* keyFrameRow = new QHBoxLayout;
  keyFrameRow->addWidget(keyFrameMode_, 1);
  keyFrameRow->addWidget(keyFrameInterval_);

  auto* motionGroup = new QGroupBox(tr("Motion"));
  auto* motion = new QFormLayout(motionGroup);
  motion->addRow(tr("Frame rate:"), frameRateRow);
  motion->addRow(frameRateHint_);
  motion->addRow(tr("Key frames:"), keyFrameRow);

  connect(codec_, &QComboBox::currentIndexChanged, this, &ImageSettingsDialog::chooseCodec);
  connect(quality_, &QSlider::valueChanged, this, &ImageSettingsDialog::setQuality);
  // Page steps (Page Up/Down, a click on the groove) go from level to level: 0x3FF and 0x400
  // lie one step apart and could not be told apart by dragging.
  connect(quality_, &QSlider::actionTriggered, this, [this](int action) {
    if (action == QAbstractSlider::SliderPageStepAdd || action == QAbstractSlider::SliderPageStepSub)
      quality_->setSliderPosition(
          int(adjacentQualityLevel(std::uint32_t(quality_->value()), action == QAbstractSlider::SliderPageStepAdd)));
  });
  connect(frameRate_, &QComboBox::editTextChanged, this, &ImageSettingsDialog::readFrameRateText);
  connect(keyFrameMode_, &QComboBox::currentIndexChanged, this, &ImageSettingsDialog::readKeyFrameControls);
  connect(keyFrameInterval_, &QSpinBox::valueChanged, this, &ImageSettingsDialog::readKeyFrameControls);

  auto* column = new QVBoxLayout;
  column->addWidget(compressionGroup);
  column->addWidget(motionGroup);
  column->addStretch();
  return column;
}

// Shows the preset without writing anything back: a value no control can show (a quality above
// lossless, a negative key frame rate) stays exactly as given until the user changes that control.
void ImageSettingsDialog::presetFromSettings() {
  const QSignalBlocker blockCodec(codec_), blockQuality(quality_), blockRate(frameRate_), blockMode(keyFrameMode_),
      blockInterval(keyFrameInterval_);

  selectOrAdd(codec_, QVariant::fromValue<uint>(settings_.codecType), unlistedCodeLabel(settings_.codecType));
  rebuildCodecOptions(settings_.codecOptions);

  quality_->setValue(int(std::min(settings_.spatialQuality, kLosslessQuality)));
  qualityWord_->setText(text(std::string(nearestQualityLevel(settings_.spatialQuality).word)));

  const int rateIndex = frameRate_->findData(settings_.frameRate);
  if (rateIndex >= 0) {
    frameRate_->setCurrentIndex(rateIndex);
  } else {
    frameRate_->setCurrentIndex(-1);
    frameRate_->setEditText(text(frameRateText(settings_.frameRate)));
  }

  const std::int32_t keyFrames = settings_.keyFrameRate;
  if (keyFrames >= 2) {
    keyFrameMode_->setCurrentIndex(kEveryNFramesMode);
    keyFrameInterval_->setValue(int(std::min<std::int32_t>(keyFrames, kMaxKeyFrameInterval)));
  } else {
    keyFrameMode_->setCurrentIndex(keyFrames == kAllKeyFrames ? kAllKeyFramesMode : kAutomaticMode);
  }
  updateCapabilities();
}

void ImageSettingsDialog::chooseCodec(int comboIndex) {
  if (comboIndex < 0) return;
  settings_.codecType = FourCC(codec_->itemData(comboIndex).toUInt());
  rebuildCodecOptions(settings_.codecOptions);
  updateCapabilities();
  schedulePreview();
}

void ImageSettingsDialog::rebuildCodecOptions(const std::map<std::string, std::string>& preferred) {
  while (compressionForm_->rowCount() > kFixedCompressionRows) compressionForm_->removeRow(kFixedCompressionRows);
  const CodecInfo* codec = findCodec(settings_.codecType);
  // Nothing is known about an unlisted codec's options, so whatever the caller gave is kept.
  if (!codec) return;
  std::map<std::string, std::string> chosen;
  for (const CodecOption& option : codec->options) {
    if (option.values.empty()) continue;
    const auto wanted = preferred.find(option.id);
    const bool allowed = wanted != preferred.end() &&
                         std::find(option.values.begin(), option.values.end(), wanted->second) != option.values.end();
    const std::string value = allowed ? wanted->second : option.values.front();
    chosen[option.id] = value;

    auto* box = new QComboBox;
    box->setObjectName(text("option." + option.id));
    for (const std::string& v : option.values) box->addItem(text(v));
    box->setCurrentText(text(value));
    box->setEnabled(option.values.size() > 1);
    connect(box, &QComboBox::currentTextChanged, this, [this, id = option.id](const QString& v) {
      settings_.codecOptions[id] = v.toStdString();
      schedulePreview();
    });
    compressionForm_->addRow(text(option.label + ":"), box);
  }
  settings_.codecOptions = std::move(chosen);
}

void ImageSettingsDialog::updateCapabilities() {
  const CodecInfo* codec = findCodec(settings_.codecType);
  // An unknown codec gets every control: nothing says which ones would be meaningless.
  const bool hasQuality = !codec || codec->hasQuality;
  const bool temporal = !codec || codec->temporal;
  quality_->setEnabled(hasQuality);
  {
    // A codec without a lossless mode stops at Maximum; the chosen value itself is left as it is.
    const QSignalBlocker quiet(quality_);
    quality_->setMaximum(int(!codec || codec->hasLossless ? kLosslessQuality : kMaxQuality));
  }
  qualityWord_->setEnabled(hasQuality);
  keyFrameMode_->setEnabled(temporal);
  keyFrameInterval_->setEnabled(temporal && keyFrameMode_->currentIndex() == kEveryNFramesMode);
}

void ImageSettingsDialog::setQuality(int value) {
  settings_.spatialQuality = std::uint32_t(value);
  qualityWord_->setText(text(std::string(nearestQualityLevel(settings_.spatialQuality).word)));
  schedulePreview();
}

void ImageSettingsDialog::readFrameRateText(const QString& typed) {
  const std::optional<float> rate = parseFrameRate(typed.toStdString());
  if (rate) settings_.frameRate = *rate;
  frameRateHint_->setVisible(!rate);
  setAcceptEnabled(rate.has_value());
  if (rate) schedulePreview();
}

void ImageSettingsDialog::readKeyFrameControls() {
  switch (keyFrameMode_->currentIndex()) {
    case kAllKeyFramesMode:
      settings_.keyFrameRate = kAllKeyFrames;
      break;
    case kEveryNFramesMode:
      settings_.keyFrameRate = keyFrameInterval_->value();
      break;
    default:
      settings_.keyFrameRate = kKeyFramesAutomatic;
      break;
  }
  updateCapabilities();
  schedulePreview();
}

void ImageSettingsDialog::schedulePreview() {
  if (!previewTimer_) return;
  preview_->showPending();
  previewTimer_->start();
}

void ImageSettingsDialog::refreshPreview() {
  // An exception must not unwind through the event loop.
  PreviewResult result;
  try {
    result = previewProvider_(settings_);
  } catch (const std::exception& error) {
    result.error = error.what();
  } catch (...) {
    result.error = "The preview failed.";
  }
  preview_->showResult(result);
}

}  // namespace vqt::dialogs
