// FLAC files through libavcodec's encoder and libavformat's muxer, fed with
// interleaved float samples in chunks; 16 or 24 bits.
#pragma once

#include <memory>
#include <span>
#include <string>

namespace qtmovie {

class FlacWriter {
 public:
  // Throws WriteFailure when the encoder or the file cannot be set up.
  FlacWriter(const std::string& path, int channels, int sampleRate, int bits);
  ~FlacWriter();
  FlacWriter(const FlacWriter&) = delete;
  FlacWriter& operator=(const FlacWriter&) = delete;

  void write(std::span<const float> samples);
  void finish();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace qtmovie
