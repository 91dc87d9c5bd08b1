#include "EsDescriptor.h"

#include <array>

namespace vqt::audio {
namespace {

constexpr std::uint8_t kEsDescriptorTag = 0x03;
constexpr std::uint8_t kDecoderConfigTag = 0x04;
constexpr std::uint8_t kDecoderSpecificInfoTag = 0x05;
constexpr std::uint8_t kSyncLayerConfigTag = 0x06;

class Reader {
 public:
  explicit Reader(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}
  bool has(std::size_t count) const { return bytes_.size() - position_ >= count; }
  std::size_t remaining() const { return bytes_.size() - position_; }
  std::uint8_t byte() { return bytes_[position_++]; }
  void skip(std::size_t count) { position_ += count; }
  std::span<const std::uint8_t> take(std::size_t count) {
    auto part = bytes_.subspan(position_, count);
    position_ += count;
    return part;
  }
  // A descriptor header: its tag and a length of up to four 7-bit groups, clamped to
  // what remains so a lying length cannot reach past the atom.
  std::optional<std::pair<std::uint8_t, std::size_t>> descriptor() {
    if (!has(2)) return std::nullopt;
    const std::uint8_t tag = byte();
    std::size_t length = 0;
    for (int i = 0; i < 4; ++i) {
      if (!has(1)) return std::nullopt;
      const std::uint8_t part = byte();
      length = (length << 7) | (part & 0x7F);
      if (!(part & 0x80)) break;
    }
    if (length > remaining()) length = remaining();
    return std::pair{tag, length};
  }

 private:
  std::span<const std::uint8_t> bytes_;
  std::size_t position_ = 0;
};

// Descriptors inside `body` are searched for the one with `tag`; others are skipped.
std::optional<std::span<const std::uint8_t>> findDescriptor(std::span<const std::uint8_t> body, std::uint8_t tag) {
  Reader reader(body);
  while (auto header = reader.descriptor()) {
    auto content = reader.take(header->second);
    if (header->first == tag) return content;
  }
  return std::nullopt;
}

void appendDescriptor(std::vector<std::uint8_t>& out, std::uint8_t tag, const std::vector<std::uint8_t>& content) {
  out.push_back(tag);
  // Four length bytes, as QuickTime writes them, so sizes never need a second pass.
  const std::size_t length = content.size();
  out.push_back(static_cast<std::uint8_t>(0x80 | ((length >> 21) & 0x7F)));
  out.push_back(static_cast<std::uint8_t>(0x80 | ((length >> 14) & 0x7F)));
  out.push_back(static_cast<std::uint8_t>(0x80 | ((length >> 7) & 0x7F)));
  out.push_back(static_cast<std::uint8_t>(length & 0x7F));
  out.insert(out.end(), content.begin(), content.end());
}

void appendBigEndian(std::vector<std::uint8_t>& out, std::uint32_t value, int bytes) {
  for (int i = bytes - 1; i >= 0; --i) out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

}  // namespace

std::optional<EsConfig> parseEsds(std::span<const std::uint8_t> payload) {
  if (payload.empty()) return std::nullopt;
  if (payload[0] != kEsDescriptorTag) {
    if (payload.size() < 4) return std::nullopt;
    payload = payload.subspan(4);  // version and flags
  }
  auto es = findDescriptor(payload, kEsDescriptorTag);
  if (!es) return std::nullopt;
  Reader reader(*es);
  if (!reader.has(3)) return std::nullopt;
  reader.skip(2);  // ES_ID
  const std::uint8_t flags = reader.byte();
  if (flags & 0x80) {  // streamDependenceFlag
    if (!reader.has(2)) return std::nullopt;
    reader.skip(2);
  }
  if (flags & 0x40) {  // URL_Flag
    if (!reader.has(1)) return std::nullopt;
    const std::size_t urlLength = reader.byte();
    if (!reader.has(urlLength)) return std::nullopt;
    reader.skip(urlLength);
  }
  if (flags & 0x20) {  // OCRstreamFlag
    if (!reader.has(2)) return std::nullopt;
    reader.skip(2);
  }
  auto decoderConfig = findDescriptor(reader.take(reader.remaining()), kDecoderConfigTag);
  if (!decoderConfig || decoderConfig->size() < 13) return std::nullopt;
  EsConfig config;
  config.objectType = (*decoderConfig)[0];
  if (auto specific = findDescriptor(decoderConfig->subspan(13), kDecoderSpecificInfoTag))
    config.decoderSpecificInfo.assign(specific->begin(), specific->end());
  return config;
}

std::vector<std::uint8_t> buildEsds(const EsConfig& config, std::uint32_t averageBitrate, std::uint32_t maxBitrate,
                                    std::uint32_t bufferSize) {
  std::vector<std::uint8_t> decoderConfig;
  decoderConfig.push_back(config.objectType);
  decoderConfig.push_back(0x15);  // audio stream (5 << 2), upstream 0, reserved 1
  appendBigEndian(decoderConfig, bufferSize, 3);
  appendBigEndian(decoderConfig, maxBitrate, 4);
  appendBigEndian(decoderConfig, averageBitrate, 4);
  if (!config.decoderSpecificInfo.empty())
    appendDescriptor(decoderConfig, kDecoderSpecificInfoTag, config.decoderSpecificInfo);

  std::vector<std::uint8_t> es = {0, 0, 0};  // ES_ID 0, no optional fields
  appendDescriptor(es, kDecoderConfigTag, decoderConfig);
  appendDescriptor(es, kSyncLayerConfigTag, {0x02});  // predefined: MP4 file

  std::vector<std::uint8_t> payload = {0, 0, 0, 0};  // version and flags
  appendDescriptor(payload, kEsDescriptorTag, es);
  return payload;
}

std::vector<std::uint8_t> lowComplexityAacConfig(std::uint32_t channels, std::uint32_t sampleRate) {
  static constexpr std::array<std::uint32_t, 13> kRates = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                                           22050, 16000, 12000, 11025, 8000,  7350};
  constexpr std::uint32_t kLowComplexity = 2;
  const std::uint32_t channelConfig = channels <= 7 ? channels : 0;
  std::uint32_t rateIndex = 15;
  for (std::size_t i = 0; i < kRates.size(); ++i)
    if (kRates[i] == sampleRate) rateIndex = static_cast<std::uint32_t>(i);
  // Object type (5 bits), rate index (4), [explicit rate (24)], channels (4), then
  // three zero bits of GASpecificConfig; packed most significant bit first.
  std::uint64_t bits = 0;
  int count = 0;
  auto put = [&](std::uint64_t value, int width) {
    bits = (bits << width) | (value & ((1ull << width) - 1));
    count += width;
  };
  put(kLowComplexity, 5);
  put(rateIndex, 4);
  if (rateIndex == 15) put(sampleRate, 24);
  put(channelConfig, 4);
  put(0, 3);
  const int padded = (count + 7) / 8 * 8;
  bits <<= (padded - count);
  std::vector<std::uint8_t> out;
  for (int shift = padded - 8; shift >= 0; shift -= 8) out.push_back(static_cast<std::uint8_t>(bits >> shift));
  return out;
}

}  // namespace vqt::audio
