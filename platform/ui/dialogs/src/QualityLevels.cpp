#include "QualityLevels.h"

#include "vqt/dialogs/ImageSettingsModel.h"

#include <array>

namespace vqt::dialogs {

namespace {
constexpr std::array<QualityLevel, 6> kLevels{{
    {kMinQuality, "Minimum Quality"},
    {kLowQuality, "Low Quality"},
    {kNormalQuality, "Normal Quality"},
    {kHighQuality, "High Quality"},
    {kMaxQuality, "Maximum Quality"},
    {kLosslessQuality, "Lossless"},
}};
}  // namespace

std::span<const QualityLevel> qualityLevels() { return kLevels; }

const QualityLevel& nearestQualityLevel(std::uint32_t quality) {
  const QualityLevel* best = &kLevels.front();
  for (const QualityLevel& level : kLevels) {
    const auto distance = [quality](std::uint32_t v) { return quality > v ? quality - v : v - quality; };
    if (distance(level.value) < distance(best->value)) best = &level;
  }
  return *best;
}

std::uint32_t adjacentQualityLevel(std::uint32_t quality, bool upwards) {
  if (upwards) {
    for (const QualityLevel& level : kLevels)
      if (level.value > quality) return level.value;
    return kLevels.back().value;
  }
  for (auto level = kLevels.rbegin(); level != kLevels.rend(); ++level)
    if (level->value < quality) return level->value;
  return kLevels.front().value;
}

}  // namespace vqt::dialogs
