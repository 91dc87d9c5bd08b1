#include "vqt/formats/Esds.h"

#include <algorithm>
#include <utility>

namespace vqt::formats {
namespace {

constexpr std::size_t kDecoderConfigFixedSize = 13;

// A descriptor's tag and body, the body cut to what `in` holds; none when the
// header itself is cut short.
std::optional<std::pair<std::uint8_t, std::span<const std::uint8_t>>> readDescriptor(ByteReader& in) {
  if (in.remaining() < 2) return std::nullopt;
  const std::uint8_t tag = in.u8();
  std::size_t length = 0;
  for (int i = 0; i < 4; ++i) {
    if (in.remaining() < 1) return std::nullopt;
    const std::uint8_t part = in.u8();
    length = (length << 7) | (part & 0x7F);
    if (!(part & 0x80)) break;
  }
  return std::pair{tag, in.bytes(std::min(length, in.remaining()))};
}

// The body of the first descriptor with `tag` among those in `bytes`.
std::optional<std::span<const std::uint8_t>> findDescriptor(std::span<const std::uint8_t> bytes, std::uint8_t tag) {
  ByteReader in(bytes);
  while (auto descriptor = readDescriptor(in))
    if (descriptor->first == tag) return descriptor->second;
  return std::nullopt;
}

std::optional<DecoderConfig> parseDecoderConfig(std::span<const std::uint8_t> body) {
  if (body.size() < kDecoderConfigFixedSize) return std::nullopt;
  ByteReader in(body);
  DecoderConfig config;
  config.objectType = in.u8();
  config.streamByte = in.u8();
  config.bufferSize = std::uint32_t{in.u8()} << 16 | in.u16();
  config.maxBitrate = in.u32();
  config.averageBitrate = in.u32();
  if (auto specific = findDescriptor(in.rest(), descriptorTags::decoderSpecificInfo))
    config.decoderSpecificInfo.emplace(specific->begin(), specific->end());
  return config;
}

void writeDescriptor(ByteWriter& out, std::uint8_t tag, std::span<const std::uint8_t> body) {
  out.u8(tag);
  const std::size_t length = body.size();
  for (int shift = 21; shift > 0; shift -= 7) out.u8(static_cast<std::uint8_t>(0x80 | ((length >> shift) & 0x7F)));
  out.u8(static_cast<std::uint8_t>(length & 0x7F));
  out.bytes(body);
}

}  // namespace

std::optional<EsDescriptor> parseEsds(std::span<const std::uint8_t> payload) {
  if (payload.empty()) return std::nullopt;
  if (payload[0] != descriptorTags::es) {
    if (payload.size() < 4) return std::nullopt;
    payload = payload.subspan(4);  // version and flags
  }
  auto body = findDescriptor(payload, descriptorTags::es);
  if (!body) return std::nullopt;
  ByteReader in(*body);
  EsDescriptor es;
  es.esId = in.u16();
  es.flags = in.u8();
  if (es.flags & 0x80) es.dependsOnEsId = in.u16();
  if (es.flags & 0x40) {
    const auto url = in.bytes(in.u8());
    es.url.assign(url.begin(), url.end());
  }
  if (es.flags & 0x20) es.ocrEsId = in.u16();
  if (in.failed()) return std::nullopt;
  const auto rest = in.rest();
  if (auto config = findDescriptor(rest, descriptorTags::decoderConfig)) es.decoderConfig = parseDecoderConfig(*config);
  if (auto sl = findDescriptor(rest, descriptorTags::slConfig)) es.slConfig.emplace(sl->begin(), sl->end());
  return es;
}

std::vector<std::uint8_t> writeEsds(const EsDescriptor& es) {
  ByteWriter body;
  body.u16(es.esId);
  body.u8(es.flags);
  if (es.flags & 0x80) body.u16(es.dependsOnEsId);
  if (es.flags & 0x40) {
    body.u8(static_cast<std::uint8_t>(es.url.size()));
    body.bytes(std::span(es.url).first(std::min<std::size_t>(es.url.size(), 255)));
  }
  if (es.flags & 0x20) body.u16(es.ocrEsId);
  if (const auto& config = es.decoderConfig) {
    ByteWriter fields;
    fields.u8(config->objectType);
    fields.u8(config->streamByte);
    fields.u8(static_cast<std::uint8_t>(config->bufferSize >> 16));
    fields.u16(static_cast<std::uint16_t>(config->bufferSize));
    fields.u32(config->maxBitrate);
    fields.u32(config->averageBitrate);
    if (config->decoderSpecificInfo)
      writeDescriptor(fields, descriptorTags::decoderSpecificInfo, *config->decoderSpecificInfo);
    writeDescriptor(body, descriptorTags::decoderConfig, fields.data());
  }
  if (es.slConfig) writeDescriptor(body, descriptorTags::slConfig, *es.slConfig);
  ByteWriter out;
  out.u32(0);  // version and flags
  writeDescriptor(out, descriptorTags::es, body.data());
  return out.take();
}

}  // namespace vqt::formats
