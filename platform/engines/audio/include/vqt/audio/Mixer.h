// Movie audio extraction: every sound track decoded, placed on the movie timeline,
// resampled to one rate with libswresample and summed into one 32-bit float
// interleaved stream at the highest rate and largest channel count among the tracks.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "vqt/audio/TrackDecoder.h"

namespace vqt::audio {

// Where a track's media plays in the movie, in the track's own frames: `leadingSilence`
// frames of nothing, then media frames [mediaStart, mediaStart + mediaLength). A negative
// mediaLength means to the end of the media. `gain` is the track volume (1 = unity).
struct TrackPlacement {
  std::int64_t leadingSilence = 0;
  std::int64_t mediaStart = 0;
  std::int64_t mediaLength = -1;
  float gain = 1.0f;
};

struct MixerInput {
  std::unique_ptr<TrackDecoder> decoder;
  TrackPlacement placement;
};

class Mixer {
 public:
  // At least one input; the inputs' rates are rounded to whole hertz for resampling.
  static Status create(std::vector<MixerInput> inputs, std::unique_ptr<Mixer>& mixer);
  ~Mixer();
  Mixer(const Mixer&) = delete;
  Mixer& operator=(const Mixer&) = delete;

  int channels() const;
  // The highest track rate as the tracks state it (22254.545 stays fractional); tracks
  // are resampled between rates rounded to whole hertz, so a track at this rate passes
  // through unchanged.
  double sampleRate() const;
  std::int64_t frameCount() const;  // the longest track, in output frames
  std::int64_t position() const;

  // Any frame; positions at or past frameCount() make fill deliver nothing.
  Status seek(std::int64_t frame);
  // Fills min(frames, out.size() / channels()) frames from position(); `delivered` is
  // short at the end and 0 past it.
  Status fill(std::int64_t frames, std::span<float> out, std::int64_t& delivered);

  class Impl;

 private:
  explicit Mixer(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

}  // namespace vqt::audio
