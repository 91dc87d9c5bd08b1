#include "WavFile.h"

#include <cstdint>
#include <fstream>

#include "Errors.h"

namespace qtmovie {
namespace {

void put32(std::ofstream& out, std::uint32_t value) {
  const char bytes[4] = {static_cast<char>(value), static_cast<char>(value >> 8), static_cast<char>(value >> 16),
                         static_cast<char>(value >> 24)};
  out.write(bytes, 4);
}

void put16(std::ofstream& out, std::uint16_t value) {
  const char bytes[2] = {static_cast<char>(value), static_cast<char>(value >> 8)};
  out.write(bytes, 2);
}

}  // namespace

void writeFloatWav(const std::string& path, int channels, int sampleRate, const std::vector<float>& samples) {
  std::ofstream out(path, std::ios::binary);
  if (!out) throw Failure("cannot open " + path);
  const auto dataBytes = static_cast<std::uint32_t>(samples.size() * sizeof(float));
  out.write("RIFF", 4);
  put32(out, 4 + 26 + 12 + 8 + dataBytes);  // WAVE + fmt (18-byte body) + fact + data header
  out.write("WAVEfmt ", 8);
  put32(out, 18);
  put16(out, 3);  // IEEE float
  put16(out, static_cast<std::uint16_t>(channels));
  put32(out, static_cast<std::uint32_t>(sampleRate));
  put32(out, static_cast<std::uint32_t>(sampleRate * channels * 4));
  put16(out, static_cast<std::uint16_t>(channels * 4));
  put16(out, 32);
  put16(out, 0);
  out.write("fact", 4);  // non-PCM formats carry the frame count
  put32(out, 4);
  put32(out, static_cast<std::uint32_t>(channels > 0 ? samples.size() / channels : 0));
  out.write("data", 4);
  put32(out, dataBytes);
  out.write(reinterpret_cast<const char*>(samples.data()), dataBytes);  // little-endian host
  if (!out) throw Failure("cannot write " + path);
}

}  // namespace qtmovie
