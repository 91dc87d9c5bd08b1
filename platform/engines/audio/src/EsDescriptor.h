// What the audio engine needs of an 'esds' atom (its layout is the formats library's):
// the decoder configuration (AudioSpecificConfig for AAC) read back, and the payload a
// movie file would carry written for an imported AAC file.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace vqt::audio {

namespace objectTypes {
constexpr std::uint8_t mpeg4Audio = 0x40;
constexpr std::uint8_t mpeg2AacMain = 0x66;
constexpr std::uint8_t mpeg2AacLowComplexity = 0x67;
constexpr std::uint8_t mpeg2AacScalableSamplingRate = 0x68;
constexpr std::uint8_t mpeg2Audio = 0x69;  // MPEG-2 layers 1 to 3
constexpr std::uint8_t mpeg1Audio = 0x6B;  // MPEG-1 layers 1 to 3
}  // namespace objectTypes

struct EsConfig {
  std::uint8_t objectType = 0;
  std::vector<std::uint8_t> decoderSpecificInfo;
};

// `payload` is the atom's payload: 4 bytes of version and flags, then the descriptor.
// A payload that starts directly with the ES_Descriptor tag is accepted too.
std::optional<EsConfig> parseEsds(std::span<const std::uint8_t> payload);

// An 'esds' payload (version and flags included) for one audio elementary stream.
std::vector<std::uint8_t> buildEsds(const EsConfig& config, std::uint32_t averageBitrate, std::uint32_t maxBitrate,
                                    std::uint32_t bufferSize);

// An AAC-LC AudioSpecificConfig for a stream that came without one.
std::vector<std::uint8_t> lowComplexityAacConfig(std::uint32_t channels, std::uint32_t sampleRate);

}  // namespace vqt::audio
