// Malformed descriptions, lying packet sources, damaged packets and files that are not
// sound: each gives a result code and the timeline stays whole; nothing crashes. Mutated sample
// descriptions are the movie reader fuzzer's.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "AudioTestSupport.h"

namespace vqt::audio::test {
namespace {

SoundFormat sowtStereo() {
  SoundFormat format;
  format.format = formats::littleEndianSigned;
  format.channels = 2;
  format.bitsPerChannel = 16;
  format.sampleRate = 48000;
  return format;
}

Status createWith(const SoundFormat& format) {
  auto source = std::make_unique<MemoryPacketSource>();
  source->bytes = {std::vector<std::uint8_t>(4096)};
  source->info = {{4096, 1024}};
  std::unique_ptr<TrackDecoder> decoder;
  const Status status = TrackDecoder::create(format, std::move(source), decoder);
  EXPECT_EQ(decoder != nullptr, status == Status::ok);
  return status;
}

TEST(AudioHostileFormats, ImpossibleChannelsAndRatesAreBadFormats) {
  for (std::uint32_t channels : {0u, 65u, 0xFFFFFFFFu}) {
    SoundFormat format = sowtStereo();
    format.channels = channels;
    EXPECT_EQ(createWith(format), Status::badFormat) << channels;
  }
  for (double rate : {0.0, -48000.0, 1e12, std::nan(""), std::numeric_limits<double>::infinity()}) {
    SoundFormat format = sowtStereo();
    format.sampleRate = rate;
    EXPECT_EQ(createWith(format), Status::badFormat) << rate;
  }
}

TEST(AudioHostileFormats, UnknownCodecsAndMissingOrCorruptConfigurations) {
  SoundFormat format = sowtStereo();
  format.format = 'abcd';
  EXPECT_EQ(createWith(format), Status::unsupported);
  format.format = formats::linearPcm;  // flags describe 12-bit samples
  format.bitsPerChannel = 12;
  EXPECT_EQ(createWith(format), Status::unsupported);
  format.format = formats::appleLossless;
  format.bitsPerChannel = 16;
  EXPECT_EQ(createWith(format), Status::badFormat);  // ALAC without its atom
  format.magicCookie.assign(36, 0xFF);
  format.magicCookie[4] = 'a', format.magicCookie[5] = 'l', format.magicCookie[6] = 'a', format.magicCookie[7] = 'c';
  EXPECT_EQ(createWith(format), Status::badFormat);
  // AAC with a garbage 'esds' falls back to AAC-LC at the description's rate; garbage
  // packets then decode to silence with an error, not to a crash.
  format.format = formats::aac;
  format.magicCookie = {1, 2, 3};
  EXPECT_EQ(createWith(format), Status::ok);
}

TEST(AudioHostileSources, LyingSizesAndFailedReadsKeepTheTimelineAsSilence) {
  auto source = std::make_unique<MemoryPacketSource>();
  MemoryPacketSource* lies = source.get();
  for (int i = 0; i < 4; ++i) {
    lies->bytes.push_back(std::vector<std::uint8_t>(400, 0x10));
    lies->info.push_back({400, 100});
  }
  lies->info[1].byteSize = 0x7FFFFFFF;  // no such packet could exist
  lies->info[2].byteSize = 10;          // fewer bytes than its 100 frames need
  std::unique_ptr<TrackDecoder> decoder;
  ASSERT_EQ(TrackDecoder::create(sowtStereo(), std::move(source), decoder), Status::ok);
  std::vector<float> out(2 * 400, -9.0f);
  std::int64_t delivered = 0;
  EXPECT_EQ(decoder->read(out, delivered), Status::badData);
  EXPECT_EQ(delivered, 400);
  EXPECT_EQ(out[0], 0x1010 / 32768.0f);
  EXPECT_EQ(out[2 * 150], 0.0f);
  EXPECT_EQ(out[2 * 250], 0.0f);
  EXPECT_EQ(out[2 * 350], 0x1010 / 32768.0f);

  lies->failReads = true;
  ASSERT_EQ(decoder->seek(0), Status::ok);
  EXPECT_EQ(decoder->read(out, delivered), Status::ioError);
  EXPECT_EQ(delivered, 400);
  EXPECT_EQ(out[0], 0.0f);
}

// A packet claiming four billion frames is that much silence, delivered without
// allocating it; empty packets are silence too and do not stop the decoder.
TEST(AudioHostileSources, HugeAndEmptyPacketsAreSilenceWithoutAllocation) {
  ImportedSound sound;
  ASSERT_EQ(importSoundFile(fixturePath("aac.m4a"), sound), Status::ok);
  auto real = sound.openPackets();
  for (const SoundFormat& format : {sowtStereo(), sound.format}) {
    auto source = std::make_unique<MemoryPacketSource>();
    for (int i = 0; i < 8; ++i) {
      std::vector<std::uint8_t> bytes(isPcm(format) ? 4096 : real->packet(i).byteSize, 0x10);
      if (!isPcm(format)) {
        ASSERT_EQ(real->read(i, bytes), Status::ok);
      }
      source->info.push_back({static_cast<std::uint32_t>(bytes.size()), 1024});
      source->bytes.push_back(std::move(bytes));
    }
    source->info[2] = {0, 1024};
    source->info[5].frames = 0xFFFFFFFF;
    std::unique_ptr<TrackDecoder> decoder;
    ASSERT_EQ(TrackDecoder::create(format, std::move(source), decoder), Status::ok);
    EXPECT_EQ(decoder->frameCount(), 7 * 1024 + 0xFFFFFFFFll);
    std::vector<float> out(2 * 1024 * 8);
    std::int64_t delivered = 0;
    decoder->read(out, delivered);
    EXPECT_EQ(delivered, 8 * 1024);
    EXPECT_EQ(*std::max_element(out.begin() + 2 * 2048, out.begin() + 2 * 3072), 0.0f);   // the empty packet
    EXPECT_GT(*std::max_element(out.begin() + 2 * 3072, out.begin() + 2 * 4096), 0.01f);  // decoding went on
    ASSERT_EQ(decoder->seek(decoder->frameCount() - 1024), Status::ok);
    EXPECT_EQ(decoder->read(out, delivered), Status::ok);
    EXPECT_EQ(delivered, 1024);
  }
}

TEST(AudioHostileSources, NegativePacketCountIsRefused) {
  class Negative final : public PacketSource {
    std::int64_t packetCount() const override { return -5; }
    PacketInfo packet(std::int64_t) const override { return {}; }
    Status read(std::int64_t, std::span<std::uint8_t>) override { return Status::ok; }
  };
  std::unique_ptr<TrackDecoder> decoder;
  EXPECT_EQ(TrackDecoder::create(sowtStereo(), std::make_unique<Negative>(), decoder), Status::badData);
  EXPECT_EQ(TrackDecoder::create(sowtStereo(), nullptr, decoder), Status::badData);
}

// Real compressed tracks with every packet cut in half, or replaced by noise.
class AudioDamagedPackets : public ::testing::TestWithParam<std::string> {};

TEST_P(AudioDamagedPackets, DecodeToTheFullLengthWithoutCrashing) {
  ImportedSound sound;
  ASSERT_EQ(importSoundFile(fixturePath(GetParam()), sound), Status::ok);
  auto original = sound.openPackets();
  for (bool noise : {false, true}) {
    auto source = std::make_unique<MemoryPacketSource>();
    std::mt19937 random(3);
    for (std::int64_t i = 0; i < original->packetCount(); ++i) {
      const PacketInfo info = original->packet(i);
      std::vector<std::uint8_t> bytes(info.byteSize);
      ASSERT_EQ(original->read(i, bytes), Status::ok);
      if (noise) {
        for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
      } else {
        bytes.resize(bytes.size() / 2);
      }
      source->info.push_back({static_cast<std::uint32_t>(bytes.size()), info.frames});
      source->bytes.push_back(std::move(bytes));
    }
    std::unique_ptr<TrackDecoder> decoder;
    ASSERT_EQ(TrackDecoder::create(sound.format, std::move(source), decoder), Status::ok);
    std::vector<float> out(static_cast<std::size_t>(decoder->frameCount() * decoder->channels()));
    std::int64_t delivered = 0;
    const Status status = decoder->read(out, delivered);
    EXPECT_TRUE(status == Status::ok || status == Status::badData) << statusName(status);
    EXPECT_EQ(delivered, sound.totalFrames);
  }
}

INSTANTIATE_TEST_SUITE_P(Codecs, AudioDamagedPackets, ::testing::Values("aac.m4a", "alac.m4a", "tone.mp3"),
                         [](const auto& info) {
                           std::string name = info.param;
                           std::replace(name.begin(), name.end(), '.', '_');
                           return name;
                         });

std::string writeFile(const std::string& name, const std::string& bytes) {
  const std::string path = std::string(VQT_AUDIO_FIXTURE_DIR) + "/" + name;
  std::filesystem::create_directories(VQT_AUDIO_FIXTURE_DIR);
  std::ofstream(path, std::ios::binary) << bytes;
  return path;
}

std::string prefixOf(const std::string& fixtureName, double fraction) {
  std::ifstream in(fixturePath(fixtureName), std::ios::binary);
  std::string all((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  return all.substr(0, static_cast<std::size_t>(all.size() * fraction));
}

TEST(AudioHostileFiles, MissingEmptyAndForeignFilesAreRefused) {
  ImportedSound sound;
  EXPECT_EQ(importSoundFile("/nonexistent/tone.wav", sound), Status::ioError);
  EXPECT_EQ(importSoundFile(writeFile("empty.wav", ""), sound), Status::unsupported);
  EXPECT_EQ(importSoundFile(writeFile("text.wav", std::string(5000, 'x')), sound), Status::unsupported);
  // An M4A whose index (at the end) is cut off cannot be imported.
  EXPECT_NE(importSoundFile(writeFile("cut.m4a", prefixOf("aac.m4a", 0.5)), sound), Status::ok);
}

TEST(AudioHostileFiles, ATruncatedWaveImportsWhatIsThere) {
  ImportedSound sound;
  ASSERT_EQ(importSoundFile(writeFile("cut.wav", prefixOf("s16.wav", 0.5) + "x"), sound), Status::ok);
  EXPECT_GT(sound.totalFrames, 20000);
  EXPECT_LT(sound.totalFrames, 24100);
  std::unique_ptr<TrackDecoder> decoder;
  ASSERT_EQ(TrackDecoder::create(sound.format, sound.openPackets(), decoder), Status::ok);
  const std::vector<float> head = readFrames(*decoder, 0, sound.totalFrames);
  const std::vector<float> reference = referenceDecode("s16.wav");
  EXPECT_EQ(maxAbsDifference(head.data(), reference.data(), head.size()), 0.0f);
}

TEST(AudioHostileMixes, NoTracksOrBadPlacementsAreRefused) {
  std::unique_ptr<Mixer> mixer;
  EXPECT_EQ(Mixer::create({}, mixer), Status::badFormat);
  std::vector<MixerInput> nullTrack(1);
  EXPECT_EQ(Mixer::create(std::move(nullTrack), mixer), Status::badFormat);
  std::vector<MixerInput> negative;
  negative.push_back({openImported("s16.wav"), {.leadingSilence = -1}});
  EXPECT_EQ(Mixer::create(std::move(negative), mixer), Status::badFormat);
  std::vector<MixerInput> nanGain;
  nanGain.push_back({openImported("s16.wav"), {.gain = std::nanf("")}});
  EXPECT_EQ(Mixer::create(std::move(nanGain), mixer), Status::badFormat);
  EXPECT_FALSE(mixer);
}

}  // namespace
}  // namespace vqt::audio::test
