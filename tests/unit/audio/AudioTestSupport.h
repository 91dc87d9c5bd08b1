// Fixtures made by the ffmpeg CLI into the build tree, ffmpeg's own decode of them as
// the reference, and in-memory packet sources for hand-made streams.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "vqt/audio/Mixer.h"
#include "vqt/audio/SoundImport.h"
#include "vqt/audio/TrackDecoder.h"

namespace vqt::audio::test {

// A test tone: channel 0 a 1 kHz sine at 0.5, channel 1 (when stereo) 1.5 kHz at 0.25.
struct Fixture {
  std::string name;    // file name in the fixture folder
  std::string encode;  // ffmpeg output options
  int channels;
  int sampleRate;
  int seconds = 1;
};

const Fixture& fixture(const std::string& name);
// The fixture's path, made on first use; fails the test (and returns "") if ffmpeg fails.
std::string fixturePath(const std::string& name);
// ffmpeg's decode of the fixture to interleaved 32-bit floats.
std::vector<float> referenceDecode(const std::string& name);

std::unique_ptr<TrackDecoder> openImported(const std::string& name, ImportedSound* sound = nullptr);
std::unique_ptr<TrackDecoder> decoderFor(const SoundFormat& format, std::vector<std::vector<std::uint8_t>> packets,
                                         std::vector<std::uint32_t> frames);
// Reads `frames` frames from `frame` in one call (after a seek).
std::vector<float> readFrames(TrackDecoder& decoder, std::int64_t frame, std::int64_t frames);
std::vector<float> fillFrames(Mixer& mixer, std::int64_t frame, std::int64_t frames);

float maxAbsDifference(const float* a, const float* b, std::size_t count);

// Packets held in memory. Tests reach in to make it lie.
class MemoryPacketSource final : public PacketSource {
 public:
  std::vector<std::vector<std::uint8_t>> bytes;
  std::vector<PacketInfo> info;
  bool failReads = false;

  std::int64_t packetCount() const override { return static_cast<std::int64_t>(info.size()); }
  PacketInfo packet(std::int64_t index) const override { return info.at(static_cast<std::size_t>(index)); }
  Status read(std::int64_t index, std::span<std::uint8_t> buffer) override;
};

}  // namespace vqt::audio::test
