// Frame rates given on the command line, as the exact time base written to the
// movie: whole numbers, decimals such as 12.5, the NTSC rates (23.976, 29.97,
// 59.94, ...) and N/D fractions.
#pragma once

#include <cstdint>
#include <string>

namespace qtmovie {

struct ExactRate {
  std::int32_t timeScale = 0;
  std::int32_t frameDuration = 0;
  double perSecond() const { return static_cast<double>(timeScale) / frameDuration; }
  // The whole-number rate a timecode counts frames at (30 for 29.97).
  int nominal() const;
};

// Throws UsageError naming --fps for anything that is not a rate above 0 and up to 1000.
ExactRate parseFrameRate(const std::string& text);

}  // namespace qtmovie
