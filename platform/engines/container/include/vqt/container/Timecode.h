// Timecode arithmetic: frame numbers to hours, minutes, seconds and frames,
// with drop-frame counting, and the text form of a timecode.
#pragma once

#include <cstdint>
#include <string>

namespace vqt::container {

struct TimecodeFlags {
  static constexpr std::uint32_t dropFrame = 1;
  static constexpr std::uint32_t max24Hour = 2;
  static constexpr std::uint32_t negativeTimesOK = 4;
  static constexpr std::uint32_t counter = 8;
};

struct TimecodeFields {
  bool negative = false;
  std::uint8_t hours = 0, minutes = 0, seconds = 0, frames = 0;
};

// `framesPerSecond` is the nominal count (30 for 29.97). Drop-frame numbering
// skips frame labels 0 and 1 (0-3 at 60) at the start of every minute except
// each tenth one.
TimecodeFields timecodeFromFrameNumber(std::int64_t frame, std::uint32_t flags, std::uint32_t framesPerSecond);
std::int64_t frameNumberFromTimecode(const TimecodeFields& fields, std::uint32_t flags, std::uint32_t framesPerSecond);

// "HH:MM:SS:FF", with ';' before the frames for drop-frame, and a leading '-'
// for negative times.
std::string formatTimecode(const TimecodeFields& fields, std::uint32_t flags);

}  // namespace vqt::container
