// One track on the movie timeline in its own frames: leading silence, then the chosen
// range of its media, then silence. Keeps the last range it read, since the resampler's
// overlapping blocks ask for the same frames twice.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "vqt/audio/Mixer.h"

namespace vqt::audio {

class PlacedTrack {
 public:
  PlacedTrack(std::unique_ptr<TrackDecoder> decoder, const TrackPlacement& placement);

  int channels() const { return decoder_->channels(); }
  float gain() const { return gain_; }
  std::int64_t length() const { return leadingSilence_ + mediaLength_; }
  // Frames [from, from + count) as interleaved floats into `out` (resized); any frame
  // outside the media range, negative ones included, is silence.
  Status read(std::int64_t from, std::int64_t count, std::vector<float>& out);

 private:
  Status decodeInto(std::int64_t from, std::int64_t to, std::int64_t outFrom, std::vector<float>& out);

  std::unique_ptr<TrackDecoder> decoder_;
  std::int64_t leadingSilence_ = 0;
  std::int64_t mediaStart_ = 0;
  std::int64_t mediaLength_ = 0;
  float gain_ = 1.0f;
  std::vector<float> cache_;
  std::int64_t cacheFrom_ = 0;
};

}  // namespace vqt::audio
