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

// Copies a record in or out of the caller's memory (which may be unaligned).
template <typename T>
void copyOut(void* info, const T& value) {
  std::memcpy(info, &value, sizeof value);
}
template <typename T>
void copyIn(T& value, const void* info) {
  std::memcpy(&value, info, sizeof value);
}

Boolean readFlag(const void* info) {
  Boolean flag = 0;
  copyIn(flag, info);
  return flag;
}

ComponentResult imageInfo(Instance& instance, OSType infoType, void* info, bool set) {
  VqtImageCompressionSettings& s = instance.image;
  switch (infoType) {
    case scSpatialSettingsType:
      if (!set) return copyOut(info, s.spatial), noErr;
      copyIn(s.spatial, info);
      matchCodecToType(s.spatial);
      return noErr;
    case scTemporalSettingsType:
      return set ? copyIn(s.temporal, info) : copyOut(info, s.temporal), noErr;
    case scDataRateSettingsType:
      return set ? copyIn(s.dataRate, info) : copyOut(info, s.dataRate), noErr;
    default:
      return scTypeNotFoundErr;
  }
}

ComponentResult soundInfo(Instance& instance, OSType infoType, void* info, bool set) {
  VqtSoundCompressionSettings& s = instance.sound;
  switch (infoType) {
    case scSoundVBRCompressionOK:
      if (set) instance.soundVariableBitRateOK = readFlag(info) != 0;
      else copyOut(info, Boolean(instance.soundVariableBitRateOK));
      return noErr;
    case scSoundSampleRateChangeOK:
      if (set) instance.soundSampleRateChangeOK = readFlag(info) != 0;
      else copyOut(info, Boolean(instance.soundSampleRateChangeOK));
      return noErr;
    case scSoundCompressionType:
      return set ? copyIn(s.compressionType, info) : copyOut(info, s.compressionType), noErr;
    case scSoundSampleRateType:
      return set ? copyIn(s.sampleRate, info) : copyOut(info, s.sampleRate), noErr;
    case scSoundSampleSizeType:
      return set ? copyIn(s.sampleSize, info) : copyOut(info, s.sampleSize), noErr;
    case scSoundChannelCountType:
      return set ? copyIn(s.channelCount, info) : copyOut(info, s.channelCount), noErr;
    default:
      return scTypeNotFoundErr;
  }
}

ComponentResult accessInfo(ComponentInstance ci, OSType infoType, void* info, bool set) {
  const auto instance = findInstance(ci);
  if (instance == nullptr) return badComponentInstance;
  if (info == nullptr) return paramErr;
  if (infoType == scPreferenceFlagsType) {
    if (set) copyIn(instance->preferenceFlags, info);
    else copyOut(info, instance->preferenceFlags);
    return noErr;
  }
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
  if (spatial.codecType == 0) spatial = {defaultImageSettings().spatial.codecType, nullptr, spatial.depth, codecNormalQuality};
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
