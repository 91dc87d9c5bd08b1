// The samples of a sound media as the audio engine's packets: sizes and
// durations from the Movie Toolbox's sample calls, kept as runs of equal
// samples (a PCM chunk of one-frame samples is one run), bytes read a chunk at
// a time with GetMediaSample2, so one-frame samples do not cost a call each.
#pragma once

#include <QuickTime/Movies.h>

#include <vqt/audio/PacketSource.h>

#include <cstdint>
#include <vector>

namespace vqt::movies::audio {

class MediaPacketSource final : public vqt::audio::PacketSource {
 public:
  // `sampleRate` is the rate the decoder runs at; durations in the media's time
  // scale are converted to frames of that rate. `uniformChunks`: every sample
  // of a chunk has the same size (PCM), so a chunk whose first and last
  // samples agree on duration and timing is taken as one run without asking
  // for each sample.
  MediaPacketSource(Media media, double sampleRate, bool uniformChunks);

  std::int64_t packetCount() const override { return packetCount_; }
  vqt::audio::PacketInfo packet(std::int64_t index) const override;
  vqt::audio::Status read(std::int64_t index, std::span<std::uint8_t> buffer) override;

 private:
  struct Run {
    std::int64_t firstPacket;
    std::int64_t count;
    TimeValue64 firstDecodeTime;
    TimeValue64 decodeStep;  // media time from one sample of the run to the next
    vqt::audio::PacketInfo info;
  };
  const Run& runOf(std::int64_t index) const;
  TimeValue64 decodeTimeOf(std::int64_t index) const;

  Media media_;
  std::vector<Run> runs_;
  std::int64_t packetCount_ = 0;
  // The bytes of packets [cachedFirst_, cachedFirst_ + cachedCount_), back to back.
  std::vector<std::uint8_t> cache_;
  std::vector<std::size_t> cacheOffsets_;
  std::int64_t cachedFirst_ = -1;
  std::int64_t cachedCount_ = 0;
};

}  // namespace vqt::movies::audio
