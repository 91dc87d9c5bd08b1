// The bytes of a timecode track: its 38-byte sample description (host byte
// order, 24-hour wrap, never drop-frame) and its one 4-byte sample holding the
// first frame number big-endian.
#pragma once

#include <vantor/quicktime/FrameRate.h>

#include <array>
#include <cstdint>

namespace Vantor::QuickTime {

inline constexpr std::size_t kTimecodeDescriptionSize = 38;

std::array<std::uint8_t, kTimecodeDescriptionSize> timecodeDescriptionBytes(FrameRate rate);
std::array<std::uint8_t, 4> timecodeSampleBytes(std::int32_t startFrame);

}  // namespace Vantor::QuickTime
