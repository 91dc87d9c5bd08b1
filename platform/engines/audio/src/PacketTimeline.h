// Where each packet of a track starts on the media timeline, kept as runs of packets of
// equal duration (like a time-to-sample table), so a million one-frame PCM packets or
// thousands of 1024-frame AAC packets cost one entry each run.
#pragma once

#include <cstdint>
#include <vector>

#include "vqt/audio/PacketSource.h"

namespace vqt::audio {

class PacketTimeline {
 public:
  // badData when the source reports a negative count or more packets or frames than
  // the engine will index.
  Status build(const PacketSource& source);

  std::int64_t packetCount() const { return packetCount_; }
  std::int64_t frameCount() const { return frameCount_; }
  std::int64_t packetStart(std::int64_t packet) const;
  std::uint32_t packetFrames(std::int64_t packet) const;
  // The packet holding `frame` (0 <= frame < frameCount()); packetCount() for the end.
  std::int64_t packetAt(std::int64_t frame) const;

 private:
  struct Run {
    std::int64_t firstPacket;
    std::int64_t firstFrame;
    std::uint32_t framesPerPacket;
  };
  const Run& runOfPacket(std::int64_t packet) const;

  std::vector<Run> runs_;
  std::int64_t packetCount_ = 0;
  std::int64_t frameCount_ = 0;
};

}  // namespace vqt::audio
