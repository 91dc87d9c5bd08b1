// The movie's sound through the reader: format, sample count, the samples
// against the tone the fixture was made from, and positioning.
#include "ReaderFixtures.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

using Vantor::QuickTime::QuickTimeCodecReader;
using namespace ReaderTest;

namespace {

struct AudioFormat {
  int channels = 0, sampleRate = 0, bytesPerSample = 0, sampleBytes = 0;
};

AudioFormat formatOf(const QuickTimeCodecReader& reader) {
  AudioFormat f;
  reader.getAudioFormat(&f.channels, &f.sampleRate, &f.bytesPerSample, &f.sampleBytes);
  return f;
}

// ffmpeg's sine source has amplitude 1/8; made stereo (-ac 2), each side gets
// it at -3 dB.
double stereoTone(double frequency, double rate, unsigned frame) {
  return std::sin(2.0 * std::numbers::pi * frequency * frame / rate) / 8.0 / std::numbers::sqrt2;
}

TEST(ReaderAudio, StereoPcmToneIsDeliveredInterleavedAndExact) {
  QuickTimeCodecReader reader;
  ASSERT_EQ(reader.open(fixture("h264-2997.mov"), 3), 0);
  ASSERT_TRUE(reader.hasAudio());
  const AudioFormat f = formatOf(reader);
  EXPECT_EQ(f.channels, 2);
  EXPECT_EQ(f.sampleRate, 48000);
  EXPECT_EQ(f.bytesPerSample, 4);
  EXPECT_EQ(f.sampleBytes, 4);
  EXPECT_EQ(reader.getAudioSampleCount(), 2u * 96000u);

  std::vector<float> samples(reader.getAudioSampleCount());
  unsigned count = static_cast<unsigned>(samples.size());
  ASSERT_EQ(reader.readAudio(0, &count, samples.data()), 0);
  ASSERT_EQ(count, samples.size());
  double worst = 0.0;
  for (unsigned frame = 0; frame < count / 2; ++frame) {
    const double expected = stereoTone(1000.0, 48000.0, frame);
    worst = std::max({worst, std::fabs(samples[2 * frame] - expected), std::fabs(samples[2 * frame + 1] - expected)});
  }
  EXPECT_LT(worst, 1e-4);  // 16-bit quantisation after the CLI's own rounding

  // Any position reads the same floats; an odd start counts from its frame.
  std::vector<float> part(1001);
  count = 1001;
  ASSERT_EQ(reader.readAudio(24001, &count, part.data()), 0);
  EXPECT_EQ(count, 1000u);
  for (unsigned i = 0; i < count; ++i) ASSERT_EQ(part[i], samples[24000 + i]) << i;

  // At the end the count comes back short, then 0.
  count = 1000;
  ASSERT_EQ(reader.readAudio(reader.getAudioSampleCount() - 200, &count, part.data()), 0);
  EXPECT_EQ(count, 200u);
  count = 1000;
  ASSERT_EQ(reader.readAudio(reader.getAudioSampleCount(), &count, part.data()), 0);
  EXPECT_EQ(count, 0u);
}

TEST(ReaderAudio, MonoAacToneFollowsTheSource) {
  QuickTimeCodecReader reader;
  ASSERT_EQ(reader.open(fixture("mjpeg-25.mov"), 3), 0);
  ASSERT_TRUE(reader.hasAudio());
  const AudioFormat f = formatOf(reader);
  EXPECT_EQ(f.channels, 1);
  EXPECT_EQ(f.sampleRate, 44100);
  // One second of sound; the AAC media also holds the encoder's priming and padding.
  EXPECT_GE(reader.getAudioSampleCount(), 44100u);
  EXPECT_LE(reader.getAudioSampleCount(), 44100u + 2048u + 1024u);

  // The tone's level, away from the ends: an RMS of 1/(8 sqrt 2).
  std::vector<float> samples(8820);
  unsigned count = static_cast<unsigned>(samples.size());
  ASSERT_EQ(reader.readAudio(22050, &count, samples.data()), 0);
  ASSERT_EQ(count, samples.size());
  double energy = 0.0;
  for (float s : samples) energy += static_cast<double>(s) * s;
  EXPECT_NEAR(std::sqrt(energy / count), 1.0 / (8.0 * std::sqrt(2.0)), 0.005);
}

TEST(ReaderAudio, SoundOnlyMovie) {
  QuickTimeCodecReader reader;
  ASSERT_EQ(reader.open(fixture("sound-only.mov"), 3), 0);
  EXPECT_FALSE(reader.hasVideo());
  EXPECT_EQ(reader.getFrameCount(), 0);
  EXPECT_TRUE(reader.hasAudio());
  EXPECT_EQ(reader.getAudioSampleCount(), 2u * 48000u);
  const VideoInfo info = videoInfo(reader);  // the defaults: no scan result to report
  EXPECT_EQ(info.width, 512);
  EXPECT_EQ(info.height, 256);
  EXPECT_EQ(info.timeScale, 2400);
  EXPECT_EQ(info.frameDuration, 100);
}

TEST(ReaderAudio, VideoOnlyMovieKeepsTheDefaultsAndReadsNothing) {
  QuickTimeCodecReader reader;
  ASSERT_EQ(reader.open(fixture("rle-125.mov"), 3), 0);
  EXPECT_FALSE(reader.hasAudio());
  const AudioFormat f = formatOf(reader);
  EXPECT_EQ(f.channels, 1);
  EXPECT_EQ(f.sampleRate, 48000);
  EXPECT_EQ(f.bytesPerSample, 2);
  EXPECT_EQ(f.sampleBytes, 16);
  float untouched = 42.0f;
  unsigned count = 1;
  EXPECT_EQ(reader.readAudio(0, &count, &untouched), 0);
  EXPECT_EQ(count, 1u);
  EXPECT_EQ(untouched, 42.0f);
}

}  // namespace
