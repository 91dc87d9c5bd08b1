// A placed track at the mix rate. The output is cut into blocks that start where an
// input frame and an output frame coincide; each block is resampled on its own with a
// fresh libswresample context from input that overlaps its neighbours by a margin
// wider than the filter. A block is then a function of its index only, so any
// output frame is the same floats however it is reached.
#pragma once

#include <cstdint>
#include <vector>

#include "FfmpegHandles.h"
#include "PlacedTrack.h"

namespace vqt::audio {

class ResampledTrack {
 public:
  ResampledTrack(PlacedTrack track, int inputRate, int outputRate);
  Status init(int outputChannels);

  std::int64_t length() const { return length_; }
  // Adds frames [from, from + count) of this track, with its gain, into `mix`, which has
  // `mixChannels` channels. A mono track goes to the first two channels of a wider mix;
  // otherwise channel n goes to channel n.
  Status mixInto(std::int64_t from, std::int64_t count, float* mix, int mixChannels);

 private:
  Status computeBlock(std::int64_t index);

  PlacedTrack track_;
  int inputRate_;
  int outputRate_;
  std::int64_t inputPeriod_ = 1;  // input frames between coinciding frames
  std::int64_t outputPeriod_ = 1;
  std::int64_t blockOutput_ = 0;  // output frames a block
  std::int64_t blockInput_ = 0;   // the input frames they cover
  std::int64_t marginInput_ = 0;
  std::int64_t marginOutput_ = 0;
  std::int64_t length_ = 0;  // output frames up to the end of the track's media
  SwrPtr resampler_;
  std::vector<float> input_;
  std::vector<float> resampled_;
  std::vector<float> block_;
  std::int64_t blockIndex_ = -1;
  Status blockStatus_ = Status::ok;
};

}  // namespace vqt::audio
