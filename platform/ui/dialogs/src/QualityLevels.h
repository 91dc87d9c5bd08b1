// The named spatial quality levels and the word shown for any quality value.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace vqt::dialogs {

struct QualityLevel {
  std::uint32_t value;
  std::string_view word;
};

std::span<const QualityLevel> qualityLevels();

// The level closest to `quality` (the lower one on a tie); values above the top count as it.
const QualityLevel& nearestQualityLevel(std::uint32_t quality);

}  // namespace vqt::dialogs
