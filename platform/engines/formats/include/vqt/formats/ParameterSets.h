// The decoder configurations of H.264 ('avcC') and HEVC ('hvcC') sample
// entries: the stream's profile, depth and chroma fields and its parameter-set
// NAL units. Each parse takes the payload after the atom header and refuses a
// wrong version or bytes that stop short; each write gives those bytes back.
#pragma once

#include "vqt/formats/ByteIO.h"

#include <array>
#include <optional>
#include <vector>

namespace vqt::formats {

using NalUnit = std::vector<std::uint8_t>;

struct AvcConfig {
  std::uint8_t profile = 0, compatibility = 0, level = 0;
  std::uint8_t lengthSize = 4;  // bytes of each NAL unit's length in the samples, 1 to 4
  std::vector<NalUnit> sequenceSets, pictureSets;
  // High profiles' chroma and depth fields (and anything after), kept as they are.
  std::vector<std::uint8_t> trailing;
  bool operator==(const AvcConfig&) const = default;
};

struct HevcConfig {
  // general_profile_space/tier/profile_idc, compatibility flags, constraint flags, level.
  std::array<std::uint8_t, 12> generalProfile{};
  std::uint16_t minSpatialSegmentation = 0;               // 12 bits
  std::uint8_t parallelismType = 0;                       // 2 bits
  std::uint8_t chromaFormat = 1;                          // 2 bits
  std::uint8_t lumaDepthLess8 = 0, chromaDepthLess8 = 0;  // 3 bits each
  std::uint16_t averageFrameRate = 0;
  std::uint8_t constantFrameRate = 0;  // 2 bits
  std::uint8_t temporalLayers = 1;     // 3 bits
  bool temporalIdNested = false;
  std::uint8_t lengthSize = 4;  // 1, 2 or 4
  struct Array {
    bool complete = true;
    std::uint8_t type = 0;  // NAL unit type, 6 bits
    std::vector<NalUnit> units;
    bool operator==(const Array&) const = default;
  };
  std::vector<Array> arrays;
  bool operator==(const HevcConfig&) const = default;
};

std::optional<AvcConfig> parseAvcConfig(std::span<const std::uint8_t> payload);
std::vector<std::uint8_t> writeAvcConfig(const AvcConfig& config);
std::optional<HevcConfig> parseHevcConfig(std::span<const std::uint8_t> payload);
std::vector<std::uint8_t> writeHevcConfig(const HevcConfig& config);

// True for a stream that is 8-bit 4:2:0 throughout: the H.264 profiles that
// carry nothing else (Baseline, Main, Extended, High), or an HEVC configuration
// that says 4:2:0 at 8 bits.
bool isEightBit420(const AvcConfig& config);
bool isEightBit420(const HevcConfig& config);

}  // namespace vqt::formats
