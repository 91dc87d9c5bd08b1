// Compressed-stream plumbing between FFmpeg and QuickTime sample descriptions:
// H.264/HEVC Annex B to length-prefixed samples, 'avcC', 'hvcC', MPEG-4 'esds'.
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

// 'hvcC' payload (HEVCDecoderConfigurationRecord) built from Annex B VPS, SPS
// and PPS. The profile, tier and level are copied from the SPS; the chroma
// format (1 = 4:2:0, 2 = 4:2:2, 3 = 4:4:4) and bit depth are the encoder's
// own, known to the caller. Empty when no SPS is found.
std::vector<std::uint8_t> hevcConfigurationFromAnnexB(std::span<const std::uint8_t> headers, int chromaFormat,
                                                      int bitDepth);

// 'esds' payload (version/flags and ES descriptor) carrying MPEG-4 decoder setup.
std::vector<std::uint8_t> esdsFromDecoderSpecificInfo(std::span<const std::uint8_t> info, int averageBitRate);
// The DecoderSpecificInfo inside an 'esds' payload; empty when there is none.
std::vector<std::uint8_t> decoderSpecificInfoFromEsds(std::span<const std::uint8_t> esds);

}  // namespace vqt::codecs
