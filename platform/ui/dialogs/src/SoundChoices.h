// The sample rates and channel counts offered when the caller gives none, and their labels.
#pragma once

#include <span>
#include <string>

namespace vqt::dialogs {

std::span<const double> defaultSampleRates();
std::span<const int> defaultChannelCounts();

// "44.1 kHz", "48 kHz".
std::string sampleRateText(double rate);
// "Mono", "Stereo", "6 channels".
std::string channelsText(int channels);

}  // namespace vqt::dialogs
