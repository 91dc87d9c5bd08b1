#include "HiddenFrameCounts.h"

#include <algorithm>
#include <cstring>

extern "C" {
#include <libavutil/intreadwrite.h>
}

namespace vqt::audio {

std::optional<CafFrameCounts> readCafFrameCounts(std::FILE* file) {
  std::uint8_t header[12];
  if (fseeko(file, 0, SEEK_SET) != 0 || std::fread(header, 1, 8, file) != 8 || std::memcmp(header, "caff", 4) != 0)
    return std::nullopt;
  for (int chunk = 0; chunk < 64 && std::fread(header, 1, 12, file) == 12; ++chunk) {
    const std::int64_t size = static_cast<std::int64_t>(AV_RB64(header + 4));
    if (std::memcmp(header, "pakt", 4) == 0) {
      std::uint8_t table[24];
      if (size < 24 || std::fread(table, 1, 24, file) != 24) return std::nullopt;
      return CafFrameCounts{static_cast<std::int64_t>(AV_RB64(table + 8)), AV_RB32(table + 16), AV_RB32(table + 20)};
    }
    if (size < 0 || fseeko(file, size, SEEK_CUR) != 0) return std::nullopt;
  }
  return std::nullopt;
}

std::optional<std::uint32_t> alacPacketFrames(std::span<const std::uint8_t> packet) {
  if (packet.size() < 7) return std::nullopt;
  std::uint8_t head[8] = {};
  std::copy_n(packet.begin(), std::min<std::size_t>(8, packet.size()), head);
  const std::uint64_t bits = AV_RB64(head);
  if (!((bits >> (63 - 19)) & 1)) return std::nullopt;
  return static_cast<std::uint32_t>((bits >> (64 - 23 - 32)) & 0xFFFFFFFFu);
}

}  // namespace vqt::audio
