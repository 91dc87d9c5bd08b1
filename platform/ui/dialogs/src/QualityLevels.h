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

// The next level strictly above (or below) `quality`, or the top (bottom) level when there is
// none; page steps of the slider move by these, so every level is reachable by keyboard.
std::uint32_t adjacentQualityLevel(std::uint32_t quality, bool upwards);

}  // namespace vqt::dialogs
