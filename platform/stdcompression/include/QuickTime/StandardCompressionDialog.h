// The hook through which the standard compression component shows its settings dialogs. The
// component knows no toolkit: a dialog library registers a hook, and without one every request
// is cancelled. Settings travel as the component's own records.
#pragma once

#include <QuickTime/QuickTimeComponents.h>

#include <memory>

struct VqtImageCompressionSettings {
  SCSpatialSettings spatial{};
  SCTemporalSettings temporal{};
  SCDataRateSettings dataRate{};
};

struct VqtSoundCompressionSettings {
  OSType compressionType = 0;
  UnsignedFixed sampleRate = 0;
  SInt16 sampleSize = 0;
  SInt16 channelCount = 0;
};

enum class VqtDialogAnswer {
  ok,         // the settings hold the user's choice
  cancel,     // the user cancelled
  noDisplay,  // no window could be shown
};

class VqtStandardCompressionDialogHook {
 public:
  virtual ~VqtStandardCompressionDialogHook() = default;
  // `settings` holds the instance's settings on entry; only an ok answer is applied. `motion` is
  // true for a sequence of frames (SCRequestSequenceSettings), false for one picture.
  virtual VqtDialogAnswer requestImageSettings(VqtImageCompressionSettings& settings, bool motion) = 0;
  // The caller's permissions (variable bit rate, sample rate change) are passed for reading.
  virtual VqtDialogAnswer requestSoundSettings(VqtSoundCompressionSettings& settings, bool variableBitRateOK,
                                               bool sampleRateChangeOK) = 0;
};

// Installs the hook for every instance (null removes it). Exceptions thrown by a hook are
// caught: the request is then cancelled.
void VqtSetStandardCompressionDialogHook(std::shared_ptr<VqtStandardCompressionDialogHook> hook);
std::shared_ptr<VqtStandardCompressionDialogHook> VqtGetStandardCompressionDialogHook();

// What a compressor can do, for dialogs and session options; false when the type is unknown.
struct VqtCompressorCapabilities {
  bool temporal = false;         // frames may depend on others: key frame rates mean something
  bool frameReordering = false;  // may emit frames out of display order (B-frames)
  bool hasQuality = false;       // the quality setting changes its output
  bool hasLossless = false;      // its top quality level differs from Maximum
};
bool VqtGetCompressorCapabilities(CodecType codecType, VqtCompressorCapabilities* capabilities);
