// The samples of a sound media as the audio engine's packets: sizes and
// durations from the Movie Toolbox's sample calls, bytes read a chunk at a time
// with GetMediaSample2 so that one-frame PCM samples do not cost a call each.
#pragma once

#include <QuickTime/Movies.h>

#include <vqt/audio/PacketSource.h>

#include <cstdint>
#include <vector>

namespace vqt::movies::audio {

class MediaPacketSource final : public vqt::audio::PacketSource {
 public:
  // `sampleRate` is the rate the decoder runs at; durations in the media's time
  // scale are converted to frames of that rate.
  MediaPacketSource(Media media, double sampleRate);

  std::int64_t packetCount() const override { return static_cast<std::int64_t>(packets_.size()); }
  vqt::audio::PacketInfo packet(std::int64_t index) const override;
  vqt::audio::Status read(std::int64_t index, std::span<std::uint8_t> buffer) override;

 private:
  struct Packet {
    TimeValue64 decodeTime;
    vqt::audio::PacketInfo info;
  };
  Media media_;
  std::vector<Packet> packets_;
  // The bytes of packets [cachedFirst_, cachedFirst_ + cachedCount_), back to back.
  std::vector<std::uint8_t> cache_;
  std::vector<std::size_t> cacheOffsets_;
  std::int64_t cachedFirst_ = -1;
  std::int64_t cachedCount_ = 0;
};

}  // namespace vqt::movies::audio
