// Sound files made by ffmpeg, imported and decoded by the engine, against ffmpeg's own
// decode of the same files.
#include <gtest/gtest.h>

#include "AudioTestSupport.h"
#include "vqt/audio/SoundImport.h"

namespace vqt::audio::test {
namespace {

struct ImportCase {
  std::string file;
  FourCC format;
  int version;
  std::uint32_t lpcmFlags;  // expected for version 2
  std::int64_t priming;     // encoder delay the import must report
  float maxError;           // against ffmpeg's decode
};

std::ostream& operator<<(std::ostream& out, const ImportCase& c) { return out << c.file; }

constexpr std::uint32_t kSignedPacked = lpcmFlags::isSignedInteger | lpcmFlags::isPacked;

class AudioImport : public ::testing::TestWithParam<ImportCase> {};

TEST_P(AudioImport, DescribesTheFileAsAQuickTimeSoundTrack) {
  const ImportCase& c = GetParam();
  const Fixture& tone = fixture(c.file);
  ImportedSound sound;
  ASSERT_EQ(importSoundFile(fixturePath(c.file), sound), Status::ok);
  EXPECT_EQ(sound.format.format, c.format);
  EXPECT_EQ(sound.format.version, c.version);
  if (c.version == 2) {
    EXPECT_EQ(sound.format.lpcmFormatFlags, c.lpcmFlags);
  }
  EXPECT_EQ(sound.format.channels, static_cast<std::uint32_t>(tone.channels));
  EXPECT_EQ(sound.format.sampleRate, tone.sampleRate);
  EXPECT_EQ(sound.primingFrames, c.priming);
  // PCM and the edited formats know the exact length of the tone.
  EXPECT_EQ(sound.playableFrames, tone.sampleRate * tone.seconds);
  std::int64_t sum = 0;
  for (const ImportedPacket& packet : sound.packets) sum += packet.frames;
  EXPECT_EQ(sum, sound.totalFrames);
  EXPECT_GE(sound.totalFrames, sound.primingFrames + sound.playableFrames);
  if (isPcm(sound.format)) {
    EXPECT_EQ(sound.totalFrames, tone.sampleRate * tone.seconds);
    for (const ImportedPacket& packet : sound.packets)
      ASSERT_EQ(packet.byteSize, packet.frames * sound.pcmBytesPerFrame());
  }
}

TEST_P(AudioImport, DecodesTheSameFloatsAsFfmpeg) {
  const ImportCase& c = GetParam();
  ImportedSound sound;
  auto decoder = openImported(c.file, &sound);
  ASSERT_TRUE(decoder);
  const std::vector<float> reference = referenceDecode(c.file);
  const int channels = decoder->channels();
  const std::int64_t referenceFrames = static_cast<std::int64_t>(reference.size()) / channels;
  // ffmpeg drops the priming too; it keeps AAC's last-packet padding, which the edit cuts.
  const std::int64_t frames = std::min(referenceFrames, sound.playableFrames);
  EXPECT_GE(frames, sound.playableFrames);
  const std::vector<float> ours = readFrames(*decoder, sound.primingFrames, frames);
  ASSERT_EQ(static_cast<std::int64_t>(ours.size()), frames * channels);
  const float error = maxAbsDifference(ours.data(), reference.data(), ours.size());
  EXPECT_LE(error, c.maxError);
  RecordProperty("max_abs_error", std::to_string(error));
}

INSTANTIATE_TEST_SUITE_P(
    Files, AudioImport,
    ::testing::Values(ImportCase{"s16.wav", formats::littleEndianSigned, 0, 0, 0, 0.0f},
                      ImportCase{"s24.wav", formats::linearPcm, 2, kSignedPacked, 0, 0.0f},
                      ImportCase{"f32.wav", formats::linearPcm, 2, lpcmFlags::isFloat | lpcmFlags::isPacked, 0, 0.0f},
                      ImportCase{"u8.wav", formats::unsignedBytes, 0, 0, 0, 0.0f},
                      ImportCase{"ulaw.wav", formats::muLaw, 0, 0, 0, 0.0f},
                      ImportCase{"mono.aiff", formats::bigEndianSigned, 0, 0, 0, 0.0f},
                      ImportCase{"s24.aiff", formats::linearPcm, 2, kSignedPacked | lpcmFlags::isBigEndian, 0, 0.0f},
                      ImportCase{"sowt.aiff", formats::littleEndianSigned, 0, 0, 0, 0.0f},
                      ImportCase{"tone.caf", formats::linearPcm, 2, kSignedPacked, 0, 0.0f},
                      ImportCase{"alac.caf", formats::appleLossless, 1, 0, 0, 0.0f},
                      ImportCase{"alac.m4a", formats::appleLossless, 1, 0, 0, 0.0f},
                      ImportCase{"aac.m4a", formats::aac, 1, 0, 1024, 0.0f},
                      ImportCase{"mono_aac.m4a", formats::aac, 1, 0, 1024, 0.0f},
                      ImportCase{"tone.mp3", formats::mp3, 1, 0, 1105, 0.0f},
                      // AAC's noise substitution draws from a generator that runs on from
                      // the first packet; the decoder's restarts (every 64 packets) draw anew.
                      ImportCase{"long_aac.m4a", formats::aac, 1, 0, 1024, 2e-3f},
                      ImportCase{"long.mp3", formats::mp3, 1, 0, 1105, 0.0f}),
    [](const auto& info) {
      std::string name = info.param.file;
      std::replace(name.begin(), name.end(), '.', '_');
      return name;
    });

}  // namespace
}  // namespace vqt::audio::test
