// Where a track decoder takes its compressed (or PCM) packets from: the media samples
// of a sound track, or the packets of an imported sound file.
#pragma once

#include <cstdint>
#include <span>

#include "vqt/audio/Status.h"

namespace vqt::audio {

struct PacketInfo {
  std::uint32_t byteSize = 0;
  std::uint32_t frames = 0;  // the packet's duration in sample frames
};

// A packet source may be given to one decoder only; the decoder calls it from one thread.
class PacketSource {
 public:
  virtual ~PacketSource() = default;
  virtual std::int64_t packetCount() const = 0;
  virtual PacketInfo packet(std::int64_t index) const = 0;
  // Fills `buffer`, whose size is packet(index).byteSize; anything but ok is a failed read.
  virtual Status read(std::int64_t index, std::span<std::uint8_t> buffer) = 0;
};

}  // namespace vqt::audio
