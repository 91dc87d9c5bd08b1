// Decodes one sound track into 32-bit float interleaved frames at the track's own rate
// and channel count, with sample-accurate positioning: frame n of the media timeline is
// the same floats whether it is reached by reading on or by seeking.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "vqt/audio/PacketSource.h"
#include "vqt/audio/SoundFormat.h"

namespace vqt::audio {

// The timeline is the media's: every frame of every packet in order, the encoder's
// priming included. Skipping priming is the edit list's business (see TrackPlacement).
class TrackDecoder {
 public:
  static Status create(const SoundFormat& format, std::unique_ptr<PacketSource> packets,
                       std::unique_ptr<TrackDecoder>& decoder);
  ~TrackDecoder();
  TrackDecoder(const TrackDecoder&) = delete;
  TrackDecoder& operator=(const TrackDecoder&) = delete;

  int channels() const;
  double sampleRate() const;
  std::int64_t frameCount() const;  // sum of the packets' durations
  std::int64_t position() const;    // the frame the next read starts at

  // Any frame from 0 to frameCount(); outOfRange otherwise (position unchanged).
  Status seek(std::int64_t frame);
  // Reads up to out.size() / channels() frames from position(); `delivered` is the number
  // read, short only at the end. On badData, `delivered` frames before the bad packet
  // are valid and the position is after them.
  Status read(std::span<float> out, std::int64_t& delivered);

  class Impl;

 private:
  explicit TrackDecoder(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

}  // namespace vqt::audio
