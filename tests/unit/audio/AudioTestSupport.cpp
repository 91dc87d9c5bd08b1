#include "AudioTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>

namespace vqt::audio::test {
namespace {

const std::string kStereo48 = "-f lavfi -i \"aevalsrc=0.5*sin(2*PI*1000*t)|0.25*sin(2*PI*1500*t):s=48000:d=1\"";
const std::string kMono44 = "-f lavfi -i \"aevalsrc=0.5*sin(2*PI*1000*t):s=44100:d=1\"";
// Long enough for the decoders' restarts every 64 packets to happen several times.
const std::string kLongStereo48 =
    "-f lavfi -i \"aevalsrc=0.5*sin(2*PI*1000*t)*sin(2*PI*0.5*t)|0.25*sin(2*PI*1500*t):s=48000:d=5\"";
const std::string kLongMono44 = "-f lavfi -i \"aevalsrc=0.5*sin(2*PI*1000*t)*sin(2*PI*0.5*t):s=44100:d=5\"";

const std::vector<std::pair<Fixture, std::string>>& fixtures() {
  static const std::vector<std::pair<Fixture, std::string>> all = {
      {{"s16.wav", "-c:a pcm_s16le", 2, 48000}, kStereo48},
      {{"s24.wav", "-c:a pcm_s24le", 2, 48000}, kStereo48},
      {{"f32.wav", "-c:a pcm_f32le", 2, 48000}, kStereo48},
      {{"u8.wav", "-c:a pcm_u8", 1, 44100}, kMono44},
      {{"ulaw.wav", "-c:a pcm_mulaw", 1, 44100}, kMono44},
      {{"mono.aiff", "-c:a pcm_s16be", 1, 44100}, kMono44},
      {{"s24.aiff", "-c:a pcm_s24be", 2, 48000}, kStereo48},
      {{"sowt.aiff", "-c:a pcm_s16le", 1, 44100}, kMono44},  // AIFF-C with 'sowt' samples
      {{"tone.mp3", "-c:a libmp3lame -b:a 128k", 1, 44100}, kMono44},
      {{"aac.m4a", "-c:a aac -b:a 128k", 2, 48000}, kStereo48},
      {{"mono_aac.m4a", "-c:a aac -b:a 64k", 1, 44100}, kMono44},
      {{"alac.m4a", "-c:a alac", 2, 48000}, kStereo48},
      {{"long_aac.m4a", "-c:a aac -b:a 96k", 2, 48000, 5}, kLongStereo48},
      {{"long.mp3", "-c:a libmp3lame -b:a 64k", 1, 44100, 5}, kLongMono44},
      {{"tone.caf", "-c:a pcm_s24le", 2, 48000}, kStereo48},
      {{"alac.caf", "-c:a alac", 1, 44100}, kMono44},
  };
  return all;
}

std::string fixtureDir() {
  std::filesystem::create_directories(VQT_AUDIO_FIXTURE_DIR);
  return VQT_AUDIO_FIXTURE_DIR;
}

}  // namespace

const Fixture& fixture(const std::string& name) {
  for (const auto& [fixture, source] : fixtures())
    if (fixture.name == name) return fixture;
  throw std::invalid_argument("no fixture " + name);
}

std::string fixturePath(const std::string& name) {
  const std::string path = fixtureDir() + "/" + name;
  if (std::filesystem::exists(path)) return path;
  for (const auto& [fixture, source] : fixtures()) {
    if (fixture.name != name) continue;
    // Made under a temporary name and renamed, so a test run in parallel never sees half a file.
    const std::string partial = path + ".part." + std::to_string(::getpid());
    const std::string extension = std::filesystem::path(name).extension().string().substr(1);
    const std::string format = extension == "m4a" ? "ipod" : extension;
    const std::string command = std::string(VQT_FFMPEG) + " -hide_banner -loglevel error -y " + source + " " +
                                fixture.encode + " -f " + format + " \"" + partial + "\"";
    if (std::system(command.c_str()) != 0) {
      ADD_FAILURE() << "ffmpeg failed: " << command;
      return "";
    }
    std::filesystem::rename(partial, path);
    return path;
  }
  ADD_FAILURE() << "no fixture " << name;
  return "";
}

std::vector<float> referenceDecode(const std::string& name) {
  const std::string source = fixturePath(name);
  const std::string path = source + ".ref.f32";
  if (!std::filesystem::exists(path)) {
    const std::string partial = path + ".part." + std::to_string(::getpid());
    const std::string command = std::string(VQT_FFMPEG) + " -hide_banner -loglevel error -y -i \"" + source +
                                "\" -f f32le -c:a pcm_f32le \"" + partial + "\"";
    if (std::system(command.c_str()) != 0) {
      ADD_FAILURE() << "ffmpeg failed: " << command;
      return {};
    }
    std::filesystem::rename(partial, path);
  }
  std::ifstream in(path, std::ios::binary);
  std::vector<float> samples(std::filesystem::file_size(path) / sizeof(float));
  in.read(reinterpret_cast<char*>(samples.data()), static_cast<std::streamsize>(samples.size() * sizeof(float)));
  return samples;
}

std::unique_ptr<TrackDecoder> openImported(const std::string& name, ImportedSound* sound) {
  ImportedSound imported;
  const Status status = importSoundFile(fixturePath(name), imported);
  EXPECT_EQ(status, Status::ok) << name << ": " << statusName(status);
  if (status != Status::ok) return nullptr;
  std::unique_ptr<TrackDecoder> decoder;
  const Status created = TrackDecoder::create(imported.format, imported.openPackets(), decoder);
  EXPECT_EQ(created, Status::ok) << name << ": " << statusName(created);
  if (sound) *sound = imported;
  return decoder;
}

std::unique_ptr<TrackDecoder> decoderFor(const SoundFormat& format, std::vector<std::vector<std::uint8_t>> packets,
                                         std::vector<std::uint32_t> frames) {
  auto source = std::make_unique<MemoryPacketSource>();
  for (std::size_t i = 0; i < packets.size(); ++i)
    source->info.push_back({static_cast<std::uint32_t>(packets[i].size()), frames[i]});
  source->bytes = std::move(packets);
  std::unique_ptr<TrackDecoder> decoder;
  const Status status = TrackDecoder::create(format, std::move(source), decoder);
  EXPECT_EQ(status, Status::ok) << statusName(status);
  return decoder;
}

std::vector<float> readFrames(TrackDecoder& decoder, std::int64_t frame, std::int64_t frames) {
  std::vector<float> out(static_cast<std::size_t>(frames * decoder.channels()), -9.0f);
  EXPECT_EQ(decoder.seek(frame), Status::ok);
  std::int64_t delivered = 0;
  EXPECT_EQ(decoder.read(out, delivered), Status::ok);
  out.resize(static_cast<std::size_t>(delivered * decoder.channels()));
  return out;
}

std::vector<float> fillFrames(Mixer& mixer, std::int64_t frame, std::int64_t frames) {
  std::vector<float> out(static_cast<std::size_t>(frames * mixer.channels()), -9.0f);
  EXPECT_EQ(mixer.seek(frame), Status::ok);
  std::int64_t delivered = 0;
  EXPECT_EQ(mixer.fill(frames, out, delivered), Status::ok);
  out.resize(static_cast<std::size_t>(delivered * mixer.channels()));
  return out;
}

float maxAbsDifference(const float* a, const float* b, std::size_t count) {
  float worst = 0.0f;
  for (std::size_t i = 0; i < count; ++i) worst = std::max(worst, std::fabs(a[i] - b[i]));
  return worst;
}

Status MemoryPacketSource::read(std::int64_t index, std::span<std::uint8_t> buffer) {
  if (failReads) return Status::ioError;
  const auto& packet = bytes.at(static_cast<std::size_t>(index));
  // A source whose sizes lie hands over what it really has and zeros after it.
  std::fill(buffer.begin(), buffer.end(), 0);
  std::copy_n(packet.begin(), std::min(packet.size(), buffer.size()), buffer.begin());
  return Status::ok;
}

}  // namespace vqt::audio::test
