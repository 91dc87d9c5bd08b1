// The MPEG-4 elementary stream descriptor of an 'esds' atom: ES_Descriptor,
// DecoderConfigDescriptor with its DecoderSpecificInfo, and the SLConfig.
// Each descriptor is a tag, a length in up to four 7-bit groups, and a body.
#pragma once

#include "vqt/formats/ByteIO.h"

#include <optional>

namespace vqt::formats {

namespace descriptorTags {
constexpr std::uint8_t es = 0x03;
constexpr std::uint8_t decoderConfig = 0x04;
constexpr std::uint8_t decoderSpecificInfo = 0x05;
constexpr std::uint8_t slConfig = 0x06;
}  // namespace descriptorTags

struct DecoderConfig {
  std::uint8_t objectType = 0;
  std::uint8_t streamByte = 0x15;  // stream type << 2, upstream << 1, reserved 1 (0x15: audio)
  std::uint32_t bufferSize = 0;    // 24 bits
  std::uint32_t maxBitrate = 0, averageBitrate = 0;
  std::optional<std::vector<std::uint8_t>> decoderSpecificInfo;

  bool operator==(const DecoderConfig&) const = default;
};

struct EsDescriptor {
  std::uint16_t esId = 0;
  std::uint8_t flags = 0;  // stream dependence 0x80, URL 0x40, OCR stream 0x20, priority (5 bits)
  std::uint16_t dependsOnEsId = 0;
  std::vector<std::uint8_t> url;
  std::uint16_t ocrEsId = 0;
  std::optional<DecoderConfig> decoderConfig;         // none when absent or shorter than its fixed part
  std::optional<std::vector<std::uint8_t>> slConfig;  // the body, e.g. {0x02}: predefined for MP4 files

  bool operator==(const EsDescriptor&) const = default;
};

// `payload` is the atom's payload: 4 bytes of version and flags, then the
// descriptors; one that starts directly with the ES_Descriptor tag is taken
// too. Descriptors of other tags are skipped, and a length that reaches past
// its parent is cut to it. None when there is no ES_Descriptor or its fixed
// fields are cut short.
std::optional<EsDescriptor> parseEsds(std::span<const std::uint8_t> payload);

// The payload (version and flags 0) with every length in the four-byte form,
// as movie files write it, so sizes never need a second pass.
std::vector<std::uint8_t> writeEsds(const EsDescriptor& es);

}  // namespace vqt::formats
