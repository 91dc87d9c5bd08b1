#include "SoundFiles.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "Errors.h"
#include "FlacFile.h"

namespace qtmovie {
namespace {

bool endsWith(const std::string& text, const std::string& ending) {
  return text.size() >= ending.size() && text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

void putLE(std::vector<std::uint8_t>& out, std::uint64_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}
void putBE(std::vector<std::uint8_t>& out, std::uint64_t value, int bytes) {
  for (int i = bytes - 1; i >= 0; --i) out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

// AIFF stores its rate as an 80-bit extended float.
void putExtended(std::vector<std::uint8_t>& out, double value) {
  int exponent = 0;
  const double mantissa = std::frexp(value, &exponent);  // value = mantissa * 2^exponent, mantissa in [0.5, 1)
  putBE(out, static_cast<std::uint64_t>(16383 + exponent - 1), 2);
  putBE(out, static_cast<std::uint64_t>(std::ldexp(mantissa, 64)), 8);
}

}  // namespace

std::int32_t integerSample(float sample, int bits) {
  const double full = std::ldexp(1.0, bits - 1);
  const double value = std::nearbyint(static_cast<double>(sample) * full);
  return static_cast<std::int32_t>(std::clamp(value, -full, full - 1.0));
}

void SoundFileWriter::checkType(const std::string& path) {
  if (!endsWith(path, ".wav") && !endsWith(path, ".aif") && !endsWith(path, ".aiff") && !endsWith(path, ".flac"))
    throw UsageError("cannot write sound as " + path + "; supported: " + kSupported);
}

SoundFileWriter::SoundFileWriter(const std::string& path, int channels, int sampleRate, int bits)
    : path_(path), channels_(channels), rate_(sampleRate), bits_(bits) {
  if (endsWith(path, ".wav")) {
    if (bits_ == 0) bits_ = 32;
    float_ = bits_ == 32;
  } else if (endsWith(path, ".aif") || endsWith(path, ".aiff")) {
    aiff_ = true;
    if (bits_ == 0) bits_ = 16;
    if (bits_ == 32) throw UsageError("AIFF is written as 16 or 24-bit, not 32");
  } else if (endsWith(path, ".flac")) {
    if (bits_ == 0) bits_ = 16;
    if (bits_ == 32) throw UsageError("FLAC is written as 16 or 24-bit, not 32");
    flac_ = std::make_unique<FlacWriter>(path, channels, sampleRate, bits_);
    return;
  } else {
    throw UsageError("cannot write sound as " + path + "; supported: " + kSupported);
  }
  if (bits_ != 16 && bits_ != 24 && bits_ != 32) throw UsageError("--bits must be 16, 24 or 32");
  file_ = std::fopen(path.c_str(), "wb");
  if (file_ == nullptr) throw WriteFailure("cannot create " + path);
  header();
}

SoundFileWriter::~SoundFileWriter() {
  if (file_ != nullptr) std::fclose(file_);
}

void SoundFileWriter::header() {
  const int bytesPerFrame = channels_ * bits_ / 8;
  const std::uint64_t dataBytes = frames_ * static_cast<std::uint64_t>(bytesPerFrame);
  std::vector<std::uint8_t> h;
  if (aiff_) {
    const std::uint64_t padded = dataBytes + (dataBytes & 1);
    h.insert(h.end(), {'F', 'O', 'R', 'M'});
    putBE(h, 4 + 26 + 16 + padded, 4);
    h.insert(h.end(), {'A', 'I', 'F', 'F', 'C', 'O', 'M', 'M'});
    putBE(h, 18, 4);
    putBE(h, static_cast<std::uint64_t>(channels_), 2);
    putBE(h, frames_, 4);
    putBE(h, static_cast<std::uint64_t>(bits_), 2);
    putExtended(h, rate_);
    h.insert(h.end(), {'S', 'S', 'N', 'D'});
    putBE(h, 8 + dataBytes, 4);
    putBE(h, 0, 8);  // offset and block size
  } else {
    // Float WAV has the extended fmt body and a fact chunk; integer WAV the plain 16-byte body.
    const std::uint64_t fmtBytes = float_ ? 18 : 16;
    const std::uint64_t factBytes = float_ ? 12 : 0;
    h.insert(h.end(), {'R', 'I', 'F', 'F'});
    putLE(h, std::min<std::uint64_t>(4 + 8 + fmtBytes + factBytes + 8 + dataBytes, 0xFFFFFFFF), 4);
    h.insert(h.end(), {'W', 'A', 'V', 'E', 'f', 'm', 't', ' '});
    putLE(h, fmtBytes, 4);
    putLE(h, float_ ? 3 : 1, 2);
    putLE(h, static_cast<std::uint64_t>(channels_), 2);
    putLE(h, static_cast<std::uint64_t>(rate_), 4);
    putLE(h, static_cast<std::uint64_t>(rate_) * bytesPerFrame, 4);
    putLE(h, static_cast<std::uint64_t>(bytesPerFrame), 2);
    putLE(h, static_cast<std::uint64_t>(bits_), 2);
    if (float_) {
      putLE(h, 0, 2);
      h.insert(h.end(), {'f', 'a', 'c', 't'});
      putLE(h, 4, 4);
      putLE(h, std::min<std::uint64_t>(frames_, 0xFFFFFFFF), 4);
    }
    h.insert(h.end(), {'d', 'a', 't', 'a'});
    putLE(h, std::min<std::uint64_t>(dataBytes, 0xFFFFFFFF), 4);
  }
  if (std::fseek(file_, 0, SEEK_SET) != 0 || std::fwrite(h.data(), 1, h.size(), file_) != h.size())
    throw WriteFailure("cannot write " + path_);
}

void SoundFileWriter::write(std::span<const float> samples) {
  if (flac_) return flac_->write(samples);
  std::vector<std::uint8_t> bytes;
  bytes.reserve(samples.size() * static_cast<std::size_t>(bits_ / 8));
  for (const float sample : samples) {
    if (float_) {
      std::uint32_t word = 0;
      std::memcpy(&word, &sample, 4);
      putLE(bytes, word, 4);
      continue;
    }
    const auto word = static_cast<std::uint64_t>(static_cast<std::int64_t>(integerSample(sample, bits_)));
    if (aiff_)
      putBE(bytes, word, bits_ / 8);
    else
      putLE(bytes, word, bits_ / 8);
  }
  if (std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size()) throw WriteFailure("cannot write " + path_);
  frames_ += samples.size() / static_cast<std::size_t>(std::max(channels_, 1));
}

void SoundFileWriter::finish() {
  if (flac_) return flac_->finish();
  if (aiff_ && (frames_ * static_cast<unsigned>(channels_ * bits_ / 8)) % 2 == 1) std::fputc(0, file_);
  header();
  if (std::fclose(file_) != 0) {
    file_ = nullptr;
    throw WriteFailure("cannot write " + path_);
  }
  file_ = nullptr;
}

}  // namespace qtmovie
