#include "WavFile.h"

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

constexpr std::streamoff kRiffSizeAt = 4, kFactFramesAt = 46, kDataSizeAt = 54;

}  // namespace

FloatWavStream::FloatWavStream(const std::string& path, int channels, int sampleRate)
    : path_(path), out_(path, std::ios::binary), channels_(channels) {
  if (!out_) throw Failure("cannot open " + path);
  out_.write("RIFF", 4);
  put32(out_, 0);  // WAVE + fmt (18-byte body) + fact + data header + data, set by finish()
  out_.write("WAVEfmt ", 8);
  put32(out_, 18);
  put16(out_, 3);  // IEEE float
  put16(out_, static_cast<std::uint16_t>(channels));
  put32(out_, static_cast<std::uint32_t>(sampleRate));
  put32(out_, static_cast<std::uint32_t>(sampleRate * channels * 4));
  put16(out_, static_cast<std::uint16_t>(channels * 4));
  put16(out_, 32);
  put16(out_, 0);
  out_.write("fact", 4);  // non-PCM formats carry the frame count
  put32(out_, 4);
  put32(out_, 0);
  out_.write("data", 4);
  put32(out_, 0);
}

void FloatWavStream::append(std::span<const float> samples) {
  out_.write(reinterpret_cast<const char*>(samples.data()),
             static_cast<std::streamsize>(samples.size_bytes()));  // little-endian host
  samples_ += samples.size();
}

void FloatWavStream::finish() {
  const std::uint64_t dataBytes = samples_ * sizeof(float);
  if (dataBytes > 0xFFFFFFFFu - (4 + 26 + 12 + 8)) throw Failure(path_ + ": the sound is too long for a WAV file");
  out_.seekp(kRiffSizeAt);
  put32(out_, static_cast<std::uint32_t>(4 + 26 + 12 + 8 + dataBytes));
  out_.seekp(kFactFramesAt);
  put32(out_, static_cast<std::uint32_t>(channels_ > 0 ? samples_ / static_cast<unsigned>(channels_) : 0));
  out_.seekp(kDataSizeAt);
  put32(out_, static_cast<std::uint32_t>(dataBytes));
  out_.flush();
  if (!out_) throw Failure("cannot write " + path_);
}

void writeFloatWav(const std::string& path, int channels, int sampleRate, const std::vector<float>& samples) {
  FloatWavStream wav(path, channels, sampleRate);
  wav.append(samples);
  wav.finish();
}

}  // namespace qtmovie
