// The state behind each open standard compression instance, found by its ComponentInstance.
#pragma once

#include <QuickTime/StandardCompressionDialog.h>

#include <memory>

namespace vqt::sc {

enum class Kind { image, sound };

struct Instance {
  Kind kind = Kind::image;
  SInt32 preferenceFlags = 0;
  VqtImageCompressionSettings image;
  VqtSoundCompressionSettings sound;
  bool soundVariableBitRateOK = false;
  bool soundSampleRateChangeOK = false;
};

// Settings of a freshly opened instance.
VqtImageCompressionSettings defaultImageSettings();
VqtSoundCompressionSettings defaultSoundSettings();

// The state of an open instance of ours, or null. A component instance is used by one thread
// at a time, so the state itself is not locked.
std::shared_ptr<Instance> findInstance(ComponentInstance ci);

// The installed compressor of `codecType` made by `manufacturer` (0: any), or null.
Component findCompressor(CodecType codecType, OSType manufacturer);

// Keeps the codec component consistent with the codec type: a component of another type is
// replaced by one of the chosen type (or null when none is installed).
void matchCodecToType(SCSpatialSettings& spatial);

// Component Manager hooks: the state is made when an instance opens and dropped when it closes.
OSErr openInstance(ComponentInstance ci);
void closeInstance(ComponentInstance ci);

}  // namespace vqt::sc
