#include "TimecodeSample.h"

#include <cstring>

namespace Vantor::QuickTime {

namespace {

template <typename T>
void put(std::array<std::uint8_t, kTimecodeDescriptionSize>& bytes, std::size_t offset, T value) {
  std::memcpy(bytes.data() + offset, &value, sizeof(value));
}

}  // namespace

std::array<std::uint8_t, kTimecodeDescriptionSize> timecodeDescriptionBytes(FrameRate rate) {
  std::array<std::uint8_t, kTimecodeDescriptionSize> bytes{};
  put<std::int32_t>(bytes, 0, static_cast<std::int32_t>(kTimecodeDescriptionSize));
  put<std::uint32_t>(bytes, 4, 'tmcd');
  put<std::int32_t>(bytes, 20, 2);  // tc24HourMax
  put<std::int32_t>(bytes, 24, rate.timeScale());
  put<std::int32_t>(bytes, 28, rate.frameDuration());
  bytes[32] = static_cast<std::uint8_t>(rate.nominal() & 0xFF);
  return bytes;
}

std::array<std::uint8_t, 4> timecodeSampleBytes(std::int32_t startFrame) {
  const auto value = static_cast<std::uint32_t>(startFrame);
  return {static_cast<std::uint8_t>(value >> 24), static_cast<std::uint8_t>(value >> 16),
          static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
}

}  // namespace Vantor::QuickTime
