#include "SoundChoices.h"

#include <array>
#include <cstdio>

namespace vqt::dialogs {

namespace {
constexpr std::array<double, 9> kSampleRates{8000, 11025, 16000, 22050, 32000, 44100, 48000, 88200, 96000};
constexpr std::array<int, 2> kChannelCounts{1, 2};
}  // namespace

std::span<const double> defaultSampleRates() { return kSampleRates; }
std::span<const int> defaultChannelCounts() { return kChannelCounts; }

std::string sampleRateText(double rate) {
  char text[32];
  std::snprintf(text, sizeof text, "%g kHz", rate / 1000.0);
  return text;
}

std::string channelsText(int channels) {
  if (channels == 1) return "Mono";
  if (channels == 2) return "Stereo";
  return std::to_string(channels) + " channels";
}

}  // namespace vqt::dialogs
