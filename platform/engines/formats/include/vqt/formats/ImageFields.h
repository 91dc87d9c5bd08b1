// The fixed fields of a video sample entry after its data reference index:
// 70 bytes from the version to the colour table ID, the compressor name a
// Pascal string in 32 bytes.
#pragma once

#include "vqt/formats/ByteIO.h"

#include <array>

namespace vqt::formats {

struct ImageFields {
  std::uint16_t version = 0, revisionLevel = 0;
  FourCC vendor = 0;
  std::uint32_t temporalQuality = 0, spatialQuality = 0;
  std::uint16_t width = 0, height = 0;
  std::uint32_t horizontalResolution = 0x00480000, verticalResolution = 0x00480000;  // 72 dpi, 16.16
  std::uint32_t dataSize = 0;
  std::uint16_t frameCount = 1;
  std::array<std::uint8_t, 32> compressorName{};
  std::int16_t depth = 24, colorTableId = -1;

  bool operator==(const ImageFields&) const = default;
};

// False when `in` ran out.
bool parseImageFields(ByteReader& in, ImageFields& fields);
void writeImageFields(ByteWriter& out, const ImageFields& fields);

}  // namespace vqt::formats
