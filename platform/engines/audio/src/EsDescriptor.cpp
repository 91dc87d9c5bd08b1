#include "EsDescriptor.h"

#include <array>

#include "vqt/formats/Esds.h"

namespace vqt::audio {

std::optional<EsConfig> parseEsds(std::span<const std::uint8_t> payload) {
  const auto es = vqt::formats::parseEsds(payload);
  if (!es || !es->decoderConfig) return std::nullopt;
  return EsConfig{es->decoderConfig->objectType,
                  es->decoderConfig->decoderSpecificInfo.value_or(std::vector<std::uint8_t>{})};
}

std::vector<std::uint8_t> buildEsds(const EsConfig& config, std::uint32_t averageBitrate, std::uint32_t maxBitrate,
                                    std::uint32_t bufferSize) {
  vqt::formats::DecoderConfig decoder{.objectType = config.objectType,
                                      .bufferSize = bufferSize,
                                      .maxBitrate = maxBitrate,
                                      .averageBitrate = averageBitrate};
  if (!config.decoderSpecificInfo.empty()) decoder.decoderSpecificInfo = config.decoderSpecificInfo;
  return vqt::formats::writeEsds({.decoderConfig = decoder, .slConfig = std::vector<std::uint8_t>{0x02}});
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
