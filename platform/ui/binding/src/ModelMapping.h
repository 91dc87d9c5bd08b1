// Between the standard compression component's records and the dialogs' models: the compressors
// on offer, the values shown, and the values written back after OK.
#pragma once

#include <QuickTime/StandardCompressionDialog.h>

#include <span>
#include <vector>

#include "vqt/dialogs/ImageSettingsModel.h"
#include "vqt/dialogs/SoundSettingsModel.h"

namespace vqt::binding {

// The codec catalogue (one compressor per type, as GetCodecNameList lists them) with what
// each compressor can do.
std::vector<dialogs::CodecInfo> compressorCatalogue();

dialogs::ImageSettings imageChoiceFrom(const VqtImageCompressionSettings& settings);
// The one quality slider sets both spatial and temporal quality; a new codec type also picks
// that type's compressor.
void applyImageChoice(const dialogs::ImageSettings& chosen, VqtImageCompressionSettings& settings);

struct SoundFormatEntry {
  OSType type;
  const char* name;
  SInt16 sampleSize;  // bits a sample
};
// The one table of sound formats the dialog offers.
std::span<const SoundFormatEntry> soundFormats();
// Rates an UnsignedFixed sample rate can hold (below 65536 Hz).
std::vector<double> offeredSampleRates();

dialogs::SoundSettings soundChoiceFrom(const VqtSoundCompressionSettings& settings);
// The sample size follows the format; a format outside the table keeps the current size.
void applySoundChoice(const dialogs::SoundSettings& chosen, VqtSoundCompressionSettings& settings);

// 16.16 conversions of the frame rate: truncating, saturating at the largest Fixed, never negative.
Fixed fixedFrameRate(float framesPerSecond);
float framesPerSecond(Fixed frameRate);

}  // namespace vqt::binding
