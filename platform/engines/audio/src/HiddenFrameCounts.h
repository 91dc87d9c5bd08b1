// Frame counts that some containers keep where libavformat does not pass them on: the
// packet table of a CAF file, and the sample count an ALAC packet may state itself.
#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>
#include <span>

namespace vqt::audio {

struct CafFrameCounts {
  std::int64_t valid = 0, priming = 0, remainder = 0;
};

// The counts of a CAF file's 'pakt' chunk; empty if the file has none.
std::optional<CafFrameCounts> readCafFrameCounts(std::FILE* file);

// The sample count in an ALAC packet's header, if it states one: after the element type
// (3 bits), tag (4) and 12 unused bits come a has-size flag, two bits of shift and a
// compression flag, then, if flagged, the count in 32 bits.
std::optional<std::uint32_t> alacPacketFrames(std::span<const std::uint8_t> packet);

}  // namespace vqt::audio
