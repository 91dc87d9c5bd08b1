#include "ModelMapping.h"

#include <algorithm>

namespace vqt::binding {
namespace {

constexpr SoundFormatEntry kSoundFormats[] = {
    {'twos', "16-bit Big Endian", 16}, {'sowt', "16-bit Little Endian", 16},  {'in24', "24-bit Integer", 24},
    {'in32', "32-bit Integer", 32},    {'fl32', "32-bit Floating Point", 32}, {'fl64', "64-bit Floating Point", 64},
};

constexpr double kSampleRates[] = {8000, 11025, 16000, 22050, 32000, 44100, 48000};

std::string pascalText(const unsigned char* pascal) {
  return std::string(reinterpret_cast<const char*>(pascal) + 1, pascal[0]);
}

}  // namespace

std::vector<dialogs::CodecInfo> compressorCatalogue() {
  std::vector<dialogs::CodecInfo> codecs;
  CodecNameSpecListPtr list = nullptr;
  if (GetCodecNameList(&list, 0) != noErr || list == nullptr) return codecs;
  for (SInt16 i = 0; i < list->count; ++i) {
    const CodecNameSpec& entry = list->list[i];
    VqtCompressorCapabilities capabilities;
    const bool known = VqtGetCompressorCapabilities(entry.cType, &capabilities);
    // A compressor the engine does not describe gets every control.
    codecs.push_back({entry.cType,
                      pascalText(entry.typeName),
                      known ? capabilities.temporal : true,
                      known ? capabilities.hasQuality : true,
                      {},
                      known ? capabilities.hasLossless : true});
  }
  DisposeCodecNameList(list);
  return codecs;
}

Fixed fixedFrameRate(float rate) {
  const float product = rate * 65536.0f;
  if (!(product > 0.0f)) return 0;
  if (product >= 2147483648.0f) return 0x7FFFFFFF;
  return Fixed(product);
}

float framesPerSecond(Fixed frameRate) { return float(frameRate) * (1.0f / 65536.0f); }

dialogs::ImageSettings imageChoiceFrom(const VqtImageCompressionSettings& settings) {
  dialogs::ImageSettings choice;
  choice.codecType = settings.spatial.codecType;
  choice.spatialQuality = settings.spatial.spatialQuality;
  choice.frameRate = std::max(0.0f, framesPerSecond(settings.temporal.frameRate));
  choice.keyFrameRate = settings.temporal.keyFrameRate;
  return choice;
}

void applyImageChoice(const dialogs::ImageSettings& chosen, VqtImageCompressionSettings& settings) {
  if (chosen.codecType != settings.spatial.codecType || settings.spatial.codec == nullptr) {
    ComponentDescription looking{compressorComponentType, chosen.codecType, 0, 0, cmpIsMissing};
    settings.spatial.codec = chosen.codecType == 0 ? nullptr : FindNextComponent(nullptr, &looking);
  }
  settings.spatial.codecType = chosen.codecType;
  settings.spatial.spatialQuality = chosen.spatialQuality;
  settings.temporal.temporalQuality = chosen.spatialQuality;
  // The dialog shows a rate that came from 16.16 as it was, so an untouched rate goes back unchanged.
  if (chosen.frameRate != framesPerSecond(settings.temporal.frameRate))
    settings.temporal.frameRate = fixedFrameRate(chosen.frameRate);
  settings.temporal.keyFrameRate = chosen.keyFrameRate;
}

std::span<const SoundFormatEntry> soundFormats() { return kSoundFormats; }

std::vector<double> offeredSampleRates() { return {std::begin(kSampleRates), std::end(kSampleRates)}; }

dialogs::SoundSettings soundChoiceFrom(const VqtSoundCompressionSettings& settings) {
  return {settings.compressionType, double(settings.sampleRate) / 65536.0, settings.channelCount};
}

void applySoundChoice(const dialogs::SoundSettings& chosen, VqtSoundCompressionSettings& settings) {
  settings.compressionType = chosen.format;
  const auto formats = soundFormats();
  const auto entry =
      std::find_if(formats.begin(), formats.end(), [&](const SoundFormatEntry& e) { return e.type == chosen.format; });
  if (entry != formats.end()) settings.sampleSize = entry->sampleSize;
  // An untouched rate goes back exactly; a new one is stored in 16.16 (below 65536 Hz).
  if (chosen.sampleRate != double(settings.sampleRate) / 65536.0)
    settings.sampleRate = UnsignedFixed(std::clamp(chosen.sampleRate, 0.0, 65535.0) * 65536.0);
  settings.channelCount = SInt16(std::clamp(chosen.channels, 0, 0x7FFF));
}

}  // namespace vqt::binding
