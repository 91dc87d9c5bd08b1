// Compressed-stream plumbing between FFmpeg and QuickTime sample descriptions:
// H.264 Annex B to length-prefixed samples and 'avcC', MPEG-4 'esds'.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace vqt::codecs {

// True when the data starts with an Annex B start code (00 00 01 or 00 00 00 01).
bool startsWithStartCode(std::span<const std::uint8_t> data);

// Annex B NAL units rewritten with 4-byte big-endian lengths.
std::vector<std::uint8_t> annexBToLengthPrefixed(std::span<const std::uint8_t> data);

// 'avcC' payload (AVCDecoderConfigurationRecord) built from Annex B SPS and PPS.
// Empty when no SPS is found.
std::vector<std::uint8_t> avcConfigurationFromAnnexB(std::span<const std::uint8_t> headers);

// 'esds' payload (version/flags and ES descriptor) carrying MPEG-4 decoder setup.
std::vector<std::uint8_t> esdsFromDecoderSpecificInfo(std::span<const std::uint8_t> info, int averageBitRate);
// The DecoderSpecificInfo inside an 'esds' payload; empty when there is none.
std::vector<std::uint8_t> decoderSpecificInfoFromEsds(std::span<const std::uint8_t> esds);

}  // namespace vqt::codecs
