// Sound files written in chunks as the samples arrive: WAV (32-bit float,
// 16- or 24-bit integer), AIFF (16- or 24-bit) and FLAC (16- or 24-bit,
// through libavcodec), the format chosen by the extension. Sizes in the WAV
// and AIFF headers are filled in by finish().
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>

namespace qtmovie {

// A float sample as a `bits`-bit integer: scaled by 2^(bits-1), so the integers
// a 16-bit source held come back exactly, rounded and clamped to the range.
std::int32_t integerSample(float sample, int bits);

class SoundFileWriter {
 public:
  // bits: 0 for the format's default (32-bit float WAV, 16-bit AIFF), else 16, 24 or 32.
  // Throws UsageError for an unknown extension or depth, WriteFailure when the file cannot be made.
  SoundFileWriter(const std::string& path, int channels, int sampleRate, int bits);
  ~SoundFileWriter();
  SoundFileWriter(const SoundFileWriter&) = delete;
  SoundFileWriter& operator=(const SoundFileWriter&) = delete;

  // Interleaved samples, a whole number of frames.
  void write(std::span<const float> samples);
  void finish();

  // Throws UsageError unless `path` names a format this writer knows.
  static void checkType(const std::string& path);
  static constexpr const char* kSupported =
      ".wav (32-bit float, 16 or 24-bit), .aif/.aiff (16 or 24-bit), .flac (16 or 24-bit)";

 private:
  void header();
  std::unique_ptr<class FlacWriter> flac_;
  std::string path_;
  std::FILE* file_ = nullptr;
  bool aiff_ = false, float_ = false;
  int channels_, rate_, bits_;
  unsigned long long frames_ = 0;
};

}  // namespace qtmovie
