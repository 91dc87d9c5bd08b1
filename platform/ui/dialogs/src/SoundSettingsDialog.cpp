#include "SoundSettingsDialog.h"

#include "ComboChoice.h"
#include "SoundChoices.h"
#include "vqt/dialogs/Dialogs.h"

#include <QComboBox>
#include <QFormLayout>
#include <QSignalBlocker>

namespace vqt::dialogs {

namespace {

QComboBox* makeCombo(const char* objectName) {
  auto* box = new QComboBox;
  box->setObjectName(QString::fromLatin1(objectName));
  box->setMinimumContentsLength(16);
  return box;
}

}  // namespace

SoundSettingsDialog::SoundSettingsDialog(const SoundSettingsModel& model, QWidget* parent)
    : DialogFrame(kSoundSettingsTitle, parent),
      settings_(model.settings),
      format_(makeCombo("format")),
      sampleRate_(makeCombo("sampleRate")),
      channels_(makeCombo("channels")) {
  for (const SoundFormat& format : model.formats)
    format_->addItem(QString::fromStdString(format.name), QVariant::fromValue<uint>(format.type));
  const std::span<const double> rates = model.sampleRates.empty() ? defaultSampleRates() : std::span(model.sampleRates);
  for (double rate : rates) sampleRate_->addItem(QString::fromStdString(sampleRateText(rate)), rate);
  const std::span<const int> counts =
      model.channelCounts.empty() ? defaultChannelCounts() : std::span(model.channelCounts);
  for (int count : counts) channels_->addItem(QString::fromStdString(channelsText(count)), count);

  selectOrAdd(format_, QVariant::fromValue<uint>(settings_.format), unlistedCodeLabel(settings_.format));
  selectOrAdd(sampleRate_, settings_.sampleRate, QString::fromStdString(sampleRateText(settings_.sampleRate)));
  selectOrAdd(channels_, settings_.channels, QString::fromStdString(channelsText(settings_.channels)));

  connect(format_, &QComboBox::currentIndexChanged, this,
          [this](int i) { settings_.format = FourCC(format_->itemData(i).toUInt()); });
  connect(sampleRate_, &QComboBox::currentIndexChanged, this,
          [this](int i) { settings_.sampleRate = sampleRate_->itemData(i).toDouble(); });
  connect(channels_, &QComboBox::currentIndexChanged, this,
          [this](int i) { settings_.channels = channels_->itemData(i).toInt(); });

  auto* form = new QFormLayout;
  form->addRow(tr("Format:"), format_);
  form->addRow(tr("Sample rate:"), sampleRate_);
  form->addRow(tr("Channels:"), channels_);
  setContent(form);
  format_->setFocus();
}

}  // namespace vqt::dialogs
