#include "PacketTimeline.h"

#include <algorithm>

namespace vqt::audio {
namespace {
constexpr std::int64_t kMaxPackets = std::int64_t{1} << 30;
constexpr std::int64_t kMaxFrames = std::int64_t{1} << 50;
}  // namespace

Status PacketTimeline::build(const PacketSource& source) {
  runs_.clear();
  packetCount_ = frameCount_ = 0;
  const std::int64_t count = source.packetCount();
  if (count < 0 || count > kMaxPackets) return Status::badData;
  std::int64_t frame = 0;
  for (std::int64_t i = 0; i < count; ++i) {
    const std::uint32_t frames = source.packet(i).frames;
    if (runs_.empty() || runs_.back().framesPerPacket != frames) runs_.push_back({i, frame, frames});
    frame += frames;
    if (frame > kMaxFrames) {
      runs_.clear();
      return Status::badData;
    }
  }
  packetCount_ = count;
  frameCount_ = frame;
  return Status::ok;
}

const PacketTimeline::Run& PacketTimeline::runOfPacket(std::int64_t packet) const {
  auto next = std::upper_bound(runs_.begin(), runs_.end(), packet,
                               [](std::int64_t value, const Run& run) { return value < run.firstPacket; });
  return *(next - 1);
}

std::int64_t PacketTimeline::packetStart(std::int64_t packet) const {
  if (packet >= packetCount_) return frameCount_;
  const Run& run = runOfPacket(packet);
  return run.firstFrame + (packet - run.firstPacket) * run.framesPerPacket;
}

std::uint32_t PacketTimeline::packetFrames(std::int64_t packet) const {
  return packet < packetCount_ ? runOfPacket(packet).framesPerPacket : 0;
}

std::int64_t PacketTimeline::packetAt(std::int64_t frame) const {
  if (frame >= frameCount_) return packetCount_;
  // The last run starting at or before the frame; a run of zero-length packets shares
  // its start with the run after it, so it is never the one found here.
  auto next = std::upper_bound(runs_.begin(), runs_.end(), frame,
                               [](std::int64_t value, const Run& run) { return value < run.firstFrame; });
  const Run& run = *(next - 1);
  return run.firstPacket + (frame - run.firstFrame) / run.framesPerPacket;
}

}  // namespace vqt::audio
