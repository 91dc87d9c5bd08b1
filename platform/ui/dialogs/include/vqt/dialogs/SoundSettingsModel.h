// What the sound settings dialog edits: the formats on offer, the sample rates and channel
// counts to choose from, and the chosen values. Plain C++, no toolkit types.
#pragma once

#include "vqt/dialogs/ImageSettingsModel.h"

#include <string>
#include <vector>

namespace vqt::dialogs {

struct SoundFormat {
  FourCC type = 0;
  std::string name;
};

struct SoundSettings {
  FourCC format = 0;
  double sampleRate = 48000.0;  // samples per second
  int channels = 2;

  bool operator==(const SoundSettings&) const = default;
};

struct SoundSettingsModel {
  std::vector<SoundFormat> formats;
  std::vector<double> sampleRates;  // empty: the common rates from 8 kHz to 96 kHz
  std::vector<int> channelCounts;   // empty: mono and stereo
  SoundSettings settings;           // preset on entry, the user's choice after OK
};

}  // namespace vqt::dialogs
