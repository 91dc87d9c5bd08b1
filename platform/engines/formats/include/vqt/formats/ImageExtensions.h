// The payloads of the image sample-entry extensions that describe pictures:
// 'pasp' (pixel aspect ratio), 'colr' ('nclc' and 'nclx' code points), 'fiel'
// (field count and order) and 'clap' (clean aperture). Each parse takes the
// payload after the atom header and refuses one shorter than its fields.
#pragma once

#include "vqt/formats/ByteIO.h"

#include <optional>

namespace vqt::formats {

struct PixelAspectRatio {
  std::uint32_t hSpacing = 1, vSpacing = 1;
  bool operator==(const PixelAspectRatio&) const = default;
};

// 'nclc' (QuickTime: three code points) or 'nclx' (ISO: the same and a
// full-range flag in the top bit of one more byte).
struct ColourInfo {
  FourCC colourType = 'nclc';
  std::uint16_t primaries = 0, transfer = 0, matrix = 0;
  std::uint8_t rangeByte = 0;  // 'nclx' only
  bool fullRange() const { return colourType == 'nclx' && (rangeByte & 0x80) != 0; }
  bool operator==(const ColourInfo&) const = default;
};

struct FieldInfo {
  std::uint8_t fields = 1, detail = 0;
  bool operator==(const FieldInfo&) const = default;
};

struct CleanAperture {
  std::uint32_t widthN = 0, widthD = 1, heightN = 0, heightD = 1;
  std::int32_t horizOffN = 0;
  std::uint32_t horizOffD = 1;
  std::int32_t vertOffN = 0;
  std::uint32_t vertOffD = 1;
  bool operator==(const CleanAperture&) const = default;
};

std::optional<PixelAspectRatio> parsePasp(std::span<const std::uint8_t> payload);
std::vector<std::uint8_t> writePasp(const PixelAspectRatio& value);

// None for other colour types (ICC profiles), which carry no code points.
std::optional<ColourInfo> parseColr(std::span<const std::uint8_t> payload);
std::vector<std::uint8_t> writeColr(const ColourInfo& value);

std::optional<FieldInfo> parseFiel(std::span<const std::uint8_t> payload);
std::vector<std::uint8_t> writeFiel(const FieldInfo& value);

std::optional<CleanAperture> parseClap(std::span<const std::uint8_t> payload);
std::vector<std::uint8_t> writeClap(const CleanAperture& value);

}  // namespace vqt::formats
