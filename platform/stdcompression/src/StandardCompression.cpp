// The SC calls: each finds the instance's state, checks that the call fits the instance's kind,
// and reads or changes the settings. The components register themselves when the program
// starts, so OpenDefaultComponent finds them without any set-up by the caller.
#include <QuickTime/QuickTimeComponents.h>
#include <QuickTime/StandardCompressionDialog.h>

#include <cstring>

#include "ScInstance.h"
#include "ScSessionOptions.h"
#include "ScSettingsAtoms.h"

using namespace vqt::sc;

namespace {

constexpr OSType kManufacturer = 'vntr';

// Copies a record into or out of the caller's memory (which may be unaligned).
template <typename T>
ComponentResult exchange(T& field, void* info, bool set) {
  if (set)
    std::memcpy(&field, info, sizeof field);
  else
    std::memcpy(info, &field, sizeof field);
  return noErr;
}

// The sound permissions are one-byte Booleans on the caller's side.
ComponentResult exchangeFlag(bool& field, void* info, bool set) {
  Boolean flag = field;
  exchange(flag, info, set);
  field = flag != 0;
  return noErr;
}

ComponentResult imageInfo(Instance& instance, OSType infoType, void* info, bool set) {
  VqtImageCompressionSettings& s = instance.image;
  switch (infoType) {
    case scSpatialSettingsType:
      exchange(s.spatial, info, set);
      matchCodecToType(s.spatial);
      return noErr;
    case scTemporalSettingsType:
      return exchange(s.temporal, info, set);
    case scDataRateSettingsType:
      return exchange(s.dataRate, info, set);
    default:
      return scTypeNotFoundErr;
  }
}

ComponentResult soundInfo(Instance& instance, OSType infoType, void* info, bool set) {
  VqtSoundCompressionSettings& s = instance.sound;
  switch (infoType) {
    case scSoundVBRCompressionOK:
      return exchangeFlag(instance.soundVariableBitRateOK, info, set);
    case scSoundSampleRateChangeOK:
      return exchangeFlag(instance.soundSampleRateChangeOK, info, set);
    case scSoundCompressionType:
      return exchange(s.compressionType, info, set);
    case scSoundSampleRateType:
      return exchange(s.sampleRate, info, set);
    case scSoundSampleSizeType:
      return exchange(s.sampleSize, info, set);
    case scSoundChannelCountType:
      return exchange(s.channelCount, info, set);
    default:
      return scTypeNotFoundErr;
  }
}

ComponentResult accessInfo(ComponentInstance ci, OSType infoType, void* info, bool set) {
  const auto instance = findInstance(ci);
  if (instance == nullptr) return badComponentInstance;
  if (info == nullptr) return paramErr;
  if (infoType == scPreferenceFlagsType) return exchange(instance->preferenceFlags, info, set);
  return instance->kind == Kind::image ? imageInfo(*instance, infoType, info, set)
                                       : soundInfo(*instance, infoType, info, set);
}

ComponentResult requestSettings(ComponentInstance ci, bool motion) {
  const auto instance = findInstance(ci);
  if (instance == nullptr) return badComponentInstance;
  const auto hook = VqtGetStandardCompressionDialogHook();
  if (hook == nullptr) return scUserCancelled;
  // The dialog works on a copy; the instance changes only after OK.
  try {
    if (instance->kind == Kind::image) {
      VqtImageCompressionSettings chosen = instance->image;
      if (hook->requestImageSettings(chosen, motion) != VqtDialogAnswer::ok) return scUserCancelled;
      matchCodecToType(chosen.spatial);
      instance->image = chosen;
    } else {
      VqtSoundCompressionSettings chosen = instance->sound;
      if (hook->requestSoundSettings(chosen, instance->soundVariableBitRateOK, instance->soundSampleRateChangeOK) !=
          VqtDialogAnswer::ok)
        return scUserCancelled;
      instance->sound = chosen;
    }
  } catch (...) {
    // A failing dialog must not take the caller down; it counts as not chosen.
    return scUserCancelled;
  }
  return noErr;
}

// Runs when the program starts, so the components exist before anyone looks for them.
const bool registeredAtStart = (VqtRegisterStandardCompression(), true);

}  // namespace

void VqtRegisterStandardCompression() {
  static const bool registered = [] {
    const std::pair<OSType, const char*> components[] = {
        {StandardCompressionSubType, "Standard Compression"},
        {StandardCompressionSubTypeAudio, "Standard Audio Compression"},
    };
    for (const auto& [subType, name] : components) {
      VqtComponentRegistration registration;
      registration.description = {StandardCompressionType, subType, kManufacturer, 0, 0};
      registration.name = name;
      registration.information = "Compression settings, their saved form and the settings dialogs";
      registration.open = openInstance;
      registration.close = closeInstance;
      VqtRegisterComponent(registration);
    }
    return true;
  }();
  (void)registered;
  (void)registeredAtStart;
}

ComponentResult SCGetInfo(ComponentInstance ci, OSType infoType, void* info) {
  return accessInfo(ci, infoType, info, false);
}

ComponentResult SCSetInfo(ComponentInstance ci, OSType infoType, void* info) {
  return accessInfo(ci, infoType, info, true);
}

ComponentResult SCDefaultPixMapSettings(ComponentInstance ci, PixMapHandle src, short motion) {
  const auto instance = findInstance(ci);
  if (instance == nullptr) return badComponentInstance;
  if (instance->kind != Kind::image) return badComponentSelector;
  if (src == nullptr || *src == nullptr || (*src)->pixelSize <= 0) return paramErr;
  SCSpatialSettings& spatial = instance->image.spatial;
  spatial.depth = (*src)->pixelSize;
  spatial.spatialQuality = codecNormalQuality;
  if (spatial.codecType == 0)
    spatial = {defaultImageSettings().spatial.codecType, nullptr, spatial.depth, codecNormalQuality};
  if (motion) instance->image.temporal = {codecNormalQuality, 0, 0};
  return noErr;
}

ComponentResult SCRequestSequenceSettings(ComponentInstance ci) { return requestSettings(ci, true); }

ComponentResult SCRequestImageSettings(ComponentInstance ci) { return requestSettings(ci, false); }

ComponentResult SCGetSettingsAsAtomContainer(ComponentInstance ci, QTAtomContainer* settings) {
  const auto instance = findInstance(ci);
  if (instance == nullptr) return badComponentInstance;
  return saveSettings(*instance, settings);
}

ComponentResult SCSetSettingsFromAtomContainer(ComponentInstance ci, QTAtomContainer settings) {
  const auto instance = findInstance(ci);
  if (instance == nullptr) return badComponentInstance;
  return loadSettings(*instance, settings);
}

ComponentResult SCCopyCompressionSessionOptions(ComponentInstance ci, ICMCompressionSessionOptionsRef* outOptions) {
  const auto instance = findInstance(ci);
  if (instance == nullptr) return badComponentInstance;
  if (instance->kind != Kind::image) return badComponentSelector;
  return copySessionOptions(instance->image, outOptions);
}
