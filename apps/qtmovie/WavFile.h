// Writes interleaved float samples as a 32-bit float WAV (format tag 3).
#pragma once

#include <cstdint>
#include <fstream>
#include <span>
#include <string>
#include <vector>

namespace qtmovie {

// A float WAV written a block at a time, so that a long sound never has to be
// held whole; the sizes in its header are filled in by finish().
class FloatWavStream {
 public:
  // Throws Failure when the file cannot be opened.
  FloatWavStream(const std::string& path, int channels, int sampleRate);
  void append(std::span<const float> samples);
  // Throws Failure when the file could not be written or grew past the 4 GB a WAV can state.
  void finish();

 private:
  std::string path_;
  std::ofstream out_;
  int channels_;
  std::uint64_t samples_ = 0;
};

// Throws Failure when the file cannot be written.
void writeFloatWav(const std::string& path, int channels, int sampleRate, const std::vector<float>& samples);

}  // namespace qtmovie
