#include "CompressionDialogHook.h"

#include <cstdio>
#include <memory>

#include "ModelMapping.h"
#include "PreviewCompressor.h"
#include "SamplePicture.h"
#include "vqt/binding/CompressionDialogs.h"

namespace vqt::binding {
namespace {

VqtDialogAnswer answerFor(dialogs::DialogResult result, const char* dialogName) {
  switch (result) {
    case dialogs::DialogResult::Accepted:
      return VqtDialogAnswer::ok;
    case dialogs::DialogResult::Cancelled:
      return VqtDialogAnswer::cancel;
    case dialogs::DialogResult::Unavailable:
      break;
  }
  std::fprintf(stderr, "%s dialog unavailable: no display\n", dialogName);
  return VqtDialogAnswer::noDisplay;
}

}  // namespace

dialogs::ImageSettingsModel imageModelFor(const VqtImageCompressionSettings& settings) {
  dialogs::ImageSettingsModel model;
  model.codecs = compressorCatalogue();
  model.settings = imageChoiceFrom(settings);
  model.samplePicture = samplePicture();
  model.preview = [](const dialogs::ImageSettings& chosen) { return compressPreview(samplePicture(), chosen); };
  return model;
}

dialogs::SoundSettingsModel soundModelFor(const VqtSoundCompressionSettings& settings, bool sampleRateChangeOK) {
  dialogs::SoundSettingsModel model;
  for (const SoundFormatEntry& format : soundFormats()) model.formats.push_back({format.type, format.name});
  model.settings = soundChoiceFrom(settings);
  model.sampleRates = sampleRateChangeOK ? offeredSampleRates() : std::vector<double>{model.settings.sampleRate};
  model.channelCounts = {1, 2};
  return model;
}

CompressionDialogHook::CompressionDialogHook(DialogRunners runners) : runners_(std::move(runners)) {}

VqtDialogAnswer CompressionDialogHook::requestImageSettings(VqtImageCompressionSettings& settings, bool) {
  dialogs::ImageSettingsModel model = imageModelFor(settings);
  const VqtDialogAnswer answer = answerFor(runners_.image(model), "Compression");
  if (answer == VqtDialogAnswer::ok) applyImageChoice(model.settings, settings);
  return answer;
}

VqtDialogAnswer CompressionDialogHook::requestSoundSettings(VqtSoundCompressionSettings& settings, bool,
                                                            bool sampleRateChangeOK) {
  dialogs::SoundSettingsModel model = soundModelFor(settings, sampleRateChangeOK);
  const VqtDialogAnswer answer = answerFor(runners_.sound(model), "Sound settings");
  if (answer == VqtDialogAnswer::ok) applySoundChoice(model.settings, settings);
  return answer;
}

}  // namespace vqt::binding

void VqtInstallCompressionDialogs() {
  VqtSetStandardCompressionDialogHook(std::make_shared<vqt::binding::CompressionDialogHook>());
}
