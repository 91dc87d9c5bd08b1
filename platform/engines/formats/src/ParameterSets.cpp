#include "vqt/formats/ParameterSets.h"

#include <algorithm>

namespace vqt::formats {
namespace {

constexpr std::uint8_t kVersion = 1;

bool readUnits(ByteReader& in, std::size_t count, std::vector<NalUnit>& units) {
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint16_t size = in.u16();
    const auto bytes = in.bytes(size);
    if (in.failed()) return false;
    units.emplace_back(bytes.begin(), bytes.end());
  }
  return true;
}

void writeUnits(ByteWriter& out, const std::vector<NalUnit>& units) {
  for (const NalUnit& unit : units) {
    out.u16(static_cast<std::uint16_t>(unit.size()));
    out.bytes(unit);
  }
}

}  // namespace

std::optional<AvcConfig> parseAvcConfig(std::span<const std::uint8_t> payload) {
  ByteReader in(payload);
  if (in.u8() != kVersion) return std::nullopt;
  AvcConfig config;
  config.profile = in.u8();
  config.compatibility = in.u8();
  config.level = in.u8();
  config.lengthSize = static_cast<std::uint8_t>((in.u8() & 0x03) + 1);
  const std::size_t sequenceSets = in.u8() & 0x1F;
  if (in.failed() || !readUnits(in, sequenceSets, config.sequenceSets)) return std::nullopt;
  const std::size_t pictureSets = in.u8();
  if (in.failed() || !readUnits(in, pictureSets, config.pictureSets)) return std::nullopt;
  const auto rest = in.rest();
  config.trailing.assign(rest.begin(), rest.end());
  return config;
}

std::vector<std::uint8_t> writeAvcConfig(const AvcConfig& config) {
  ByteWriter out;
  out.u8(kVersion);
  out.u8(config.profile);
  out.u8(config.compatibility);
  out.u8(config.level);
  out.u8(static_cast<std::uint8_t>(0xFC | ((config.lengthSize - 1) & 0x03)));
  out.u8(static_cast<std::uint8_t>(0xE0 | (config.sequenceSets.size() & 0x1F)));
  writeUnits(out, config.sequenceSets);
  out.u8(static_cast<std::uint8_t>(config.pictureSets.size()));
  writeUnits(out, config.pictureSets);
  out.bytes(config.trailing);
  return out.take();
}

std::optional<HevcConfig> parseHevcConfig(std::span<const std::uint8_t> payload) {
  ByteReader in(payload);
  if (in.u8() != kVersion) return std::nullopt;
  HevcConfig config;
  const auto profile = in.bytes(config.generalProfile.size());
  if (in.failed()) return std::nullopt;
  std::copy(profile.begin(), profile.end(), config.generalProfile.begin());
  config.minSpatialSegmentation = in.u16() & 0x0FFF;
  config.parallelismType = in.u8() & 0x03;
  config.chromaFormat = in.u8() & 0x03;
  config.lumaDepthLess8 = in.u8() & 0x07;
  config.chromaDepthLess8 = in.u8() & 0x07;
  config.averageFrameRate = in.u16();
  const std::uint8_t timing = in.u8();
  config.constantFrameRate = timing >> 6;
  config.temporalLayers = (timing >> 3) & 0x07;
  config.temporalIdNested = (timing & 0x04) != 0;
  config.lengthSize = static_cast<std::uint8_t>((timing & 0x03) + 1);
  const std::size_t arrays = in.u8();
  for (std::size_t i = 0; i < arrays && !in.failed(); ++i) {
    HevcConfig::Array array;
    const std::uint8_t head = in.u8();
    array.complete = (head & 0x80) != 0;
    array.type = head & 0x3F;
    const std::size_t units = in.u16();
    if (in.failed() || !readUnits(in, units, array.units)) return std::nullopt;
    config.arrays.push_back(std::move(array));
  }
  if (in.failed()) return std::nullopt;
  return config;
}

std::vector<std::uint8_t> writeHevcConfig(const HevcConfig& config) {
  ByteWriter out;
  out.u8(kVersion);
  out.bytes(config.generalProfile);
  out.u16(static_cast<std::uint16_t>(0xF000 | (config.minSpatialSegmentation & 0x0FFF)));
  out.u8(static_cast<std::uint8_t>(0xFC | (config.parallelismType & 0x03)));
  out.u8(static_cast<std::uint8_t>(0xFC | (config.chromaFormat & 0x03)));
  out.u8(static_cast<std::uint8_t>(0xF8 | (config.lumaDepthLess8 & 0x07)));
  out.u8(static_cast<std::uint8_t>(0xF8 | (config.chromaDepthLess8 & 0x07)));
  out.u16(config.averageFrameRate);
  out.u8(static_cast<std::uint8_t>((config.constantFrameRate << 6) | ((config.temporalLayers & 0x07) << 3) |
                                   (config.temporalIdNested ? 0x04 : 0) | ((config.lengthSize - 1) & 0x03)));
  out.u8(static_cast<std::uint8_t>(config.arrays.size()));
  for (const HevcConfig::Array& array : config.arrays) {
    out.u8(static_cast<std::uint8_t>((array.complete ? 0x80 : 0) | (array.type & 0x3F)));
    out.u16(static_cast<std::uint16_t>(array.units.size()));
    writeUnits(out, array.units);
  }
  return out.take();
}

bool isEightBit420(const AvcConfig& config) {
  constexpr std::uint8_t kBaseline = 66, kMain = 77, kExtended = 88, kHigh = 100;
  return config.profile == kBaseline || config.profile == kMain || config.profile == kExtended ||
         config.profile == kHigh;
}

bool isEightBit420(const HevcConfig& config) {
  return config.chromaFormat == 1 && config.lumaDepthLess8 == 0 && config.chromaDepthLess8 == 0;
}

}  // namespace vqt::formats
