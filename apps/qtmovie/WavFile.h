// Writes interleaved float samples as a 32-bit float WAV (format tag 3).
#pragma once

#include <string>
#include <vector>

namespace qtmovie {

// Throws Failure when the file cannot be written.
void writeFloatWav(const std::string& path, int channels, int sampleRate, const std::vector<float>& samples);

}  // namespace qtmovie
