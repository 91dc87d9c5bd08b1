#include "vqt/formats/ImageExtensions.h"

namespace vqt::formats {

std::optional<PixelAspectRatio> parsePasp(std::span<const std::uint8_t> payload) {
  ByteReader in(payload);
  PixelAspectRatio value{in.u32(), in.u32()};
  return in.failed() ? std::nullopt : std::optional(value);
}

std::vector<std::uint8_t> writePasp(const PixelAspectRatio& value) {
  ByteWriter out;
  out.u32(value.hSpacing);
  out.u32(value.vSpacing);
  return out.take();
}

std::optional<ColourInfo> parseColr(std::span<const std::uint8_t> payload) {
  ByteReader in(payload);
  ColourInfo value;
  value.colourType = in.u32();
  if (value.colourType != 'nclc' && value.colourType != 'nclx') return std::nullopt;
  value.primaries = in.u16();
  value.transfer = in.u16();
  value.matrix = in.u16();
  if (value.colourType == 'nclx') value.rangeByte = in.u8();
  return in.failed() ? std::nullopt : std::optional(value);
}

std::vector<std::uint8_t> writeColr(const ColourInfo& value) {
  ByteWriter out;
  out.u32(value.colourType);
  out.u16(value.primaries);
  out.u16(value.transfer);
  out.u16(value.matrix);
  if (value.colourType == 'nclx') out.u8(value.rangeByte);
  return out.take();
}

std::optional<FieldInfo> parseFiel(std::span<const std::uint8_t> payload) {
  ByteReader in(payload);
  FieldInfo value{in.u8(), in.u8()};
  return in.failed() ? std::nullopt : std::optional(value);
}

std::vector<std::uint8_t> writeFiel(const FieldInfo& value) { return {value.fields, value.detail}; }

std::optional<CleanAperture> parseClap(std::span<const std::uint8_t> payload) {
  ByteReader in(payload);
  CleanAperture value;
  value.widthN = in.u32();
  value.widthD = in.u32();
  value.heightN = in.u32();
  value.heightD = in.u32();
  value.horizOffN = in.s32();
  value.horizOffD = in.u32();
  value.vertOffN = in.s32();
  value.vertOffD = in.u32();
  return in.failed() ? std::nullopt : std::optional(value);
}

std::vector<std::uint8_t> writeClap(const CleanAperture& value) {
  ByteWriter out;
  for (std::uint32_t field :
       {value.widthN, value.widthD, value.heightN, value.heightD, static_cast<std::uint32_t>(value.horizOffN),
        value.horizOffD, static_cast<std::uint32_t>(value.vertOffN), value.vertOffD})
    out.u32(field);
  return out.take();
}

}  // namespace vqt::formats
