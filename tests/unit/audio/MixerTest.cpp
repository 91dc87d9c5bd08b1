// The extraction mix: the highest rate and the most channels among the tracks, mono
// into both sides, tracks summed with their gain and placed on the movie timeline,
// and the same floats for a range however it is reached.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <cstring>
#include <random>

#include "AudioTestSupport.h"

namespace vqt::audio::test {
namespace {

std::unique_ptr<Mixer> mix(std::vector<std::pair<std::string, TrackPlacement>> tracks) {
  std::vector<MixerInput> inputs;
  for (auto& [file, placement] : tracks) inputs.push_back({openImported(file), placement});
  std::unique_ptr<Mixer> mixer;
  EXPECT_EQ(Mixer::create(std::move(inputs), mixer), Status::ok);
  return mixer;
}

// Stereo 48 kHz with mono 44.1 kHz: the mix is stereo 48 kHz; the mono track, resampled,
// is in both channels at full level and lines up in time with its source.
TEST(AudioMixer, HighestRateAndMostChannelsWithMonoInBothSides) {
  auto mixer = mix({{"s16.wav", {}}, {"mono.aiff", {}}});
  ASSERT_TRUE(mixer);
  EXPECT_EQ(mixer->channels(), 2);
  EXPECT_EQ(mixer->sampleRate(), 48000);
  EXPECT_EQ(mixer->frameCount(), 48000);  // 44100 frames at 44.1 kHz last 48000 at 48 kHz
  const std::vector<float> mixed = fillFrames(*mixer, 0, 48000);
  const std::vector<float> stereo = referenceDecode("s16.wav");
  ASSERT_EQ(mixed.size(), stereo.size());
  float worstSine = 0.0f, worstSides = 0.0f;
  for (std::int64_t n = 256; n < 48000 - 256; ++n) {
    const float left = mixed[2 * n] - stereo[2 * n];
    const float right = mixed[2 * n + 1] - stereo[2 * n + 1];
    const double expected = 0.5 * std::sin(2 * std::numbers::pi * 1000.0 * n / 48000.0);
    worstSine = std::max(worstSine, static_cast<float>(std::fabs(left - expected)));
    worstSides = std::max(worstSides, std::fabs(left - right));
  }
  EXPECT_LT(worstSides, 1e-6f);
  // A hundredth of a frame's misalignment would cost 6.5e-4 at 1 kHz; what is left
  // (2.1e-5 measured) is 16-bit rounding and the filter's ripple.
  EXPECT_LT(worstSine, 2e-4f);
  RecordProperty("resampled_sine_error", std::to_string(worstSine));
}

TEST(AudioMixer, RandomRangesMatchOneSequentialFill) {
  auto mixer = mix({{"aac.m4a", {}}, {"tone.mp3", {}}, {"u8.wav", {0, 0, -1, 0.5f}}});
  ASSERT_TRUE(mixer);
  const std::int64_t total = mixer->frameCount();
  const int channels = mixer->channels();
  const std::vector<float> whole = fillFrames(*mixer, 0, total);
  ASSERT_EQ(static_cast<std::int64_t>(whole.size()), total * channels);
  std::mt19937 random(11);
  for (int i = 0; i < 40; ++i) {
    const std::int64_t start = std::uniform_int_distribution<std::int64_t>(0, total - 1)(random);
    const std::int64_t length = std::uniform_int_distribution<std::int64_t>(1, 9000)(random);
    const std::vector<float> part = fillFrames(*mixer, start, length);
    ASSERT_EQ(static_cast<std::int64_t>(part.size()), std::min(length, total - start) * channels);
    ASSERT_EQ(0, std::memcmp(part.data(), whole.data() + start * channels, part.size() * sizeof(float)))
        << "frames " << start << " + " << length;
  }
}

TEST(AudioMixer, LengthIsTheLongestTrackAndFillsEndShort) {
  auto mixer = mix({{"s16.wav", {}}, {"mono.aiff", {.leadingSilence = 4410}}});
  ASSERT_TRUE(mixer);
  // 4410 + 44100 frames at 44.1 kHz end at 52800 frames at 48 kHz.
  EXPECT_EQ(mixer->frameCount(), 52800);
  std::vector<float> buffer(2 * 100);
  std::int64_t delivered = -1;
  ASSERT_EQ(mixer->seek(52800 - 30), Status::ok);
  EXPECT_EQ(mixer->fill(100, buffer, delivered), Status::ok);
  EXPECT_EQ(delivered, 30);
  EXPECT_EQ(mixer->fill(100, buffer, delivered), Status::ok);
  EXPECT_EQ(delivered, 0);
  ASSERT_EQ(mixer->seek(1'000'000), Status::ok);
  EXPECT_EQ(mixer->fill(100, buffer, delivered), Status::ok);
  EXPECT_EQ(delivered, 0);
  EXPECT_EQ(mixer->seek(-1), Status::outOfRange);
  // A buffer smaller than the request bounds it.
  ASSERT_EQ(mixer->seek(0), Status::ok);
  EXPECT_EQ(mixer->fill(1000, buffer, delivered), Status::ok);
  EXPECT_EQ(delivered, 100);
}

TEST(AudioMixer, PlacementAndGainFollowTheEdit) {
  auto plain = openImported("s16.wav");
  const std::vector<float> source = readFrames(*plain, 0, 48000);
  auto mixer = mix({{"s16.wav", {.leadingSilence = 1000, .mediaStart = 500, .mediaLength = 2000, .gain = 0.5f}}});
  ASSERT_TRUE(mixer);
  EXPECT_EQ(mixer->frameCount(), 3000);
  const std::vector<float> mixed = fillFrames(*mixer, 0, 3000);
  ASSERT_EQ(mixed.size(), 6000u);
  for (int i = 0; i < 2000; ++i) ASSERT_EQ(mixed[i], 0.0f);
  for (int i = 0; i < 4000; ++i) ASSERT_EQ(mixed[2000 + i], 0.5f * source[1000 + i]) << i;
}

// The classic 22254.545 Hz rate is reported as it is, and a track at the mix rate is
// not resampled.
TEST(AudioMixer, FractionalRateIsReportedExactlyAndPassesThrough) {
  SoundFormat format;
  format.format = formats::bigEndianSigned;
  format.channels = 1;
  format.bitsPerChannel = 8;
  format.sampleRate = 22254.545;
  std::vector<std::uint8_t> bytes(5000);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(i * 7);
  std::vector<MixerInput> inputs;
  inputs.push_back({decoderFor(format, {bytes}, {5000}), {}});
  std::unique_ptr<Mixer> mixer;
  ASSERT_EQ(Mixer::create(std::move(inputs), mixer), Status::ok);
  EXPECT_EQ(mixer->sampleRate(), 22254.545);
  EXPECT_EQ(mixer->channels(), 1);
  const std::vector<float> mixed = fillFrames(*mixer, 0, 5000);
  ASSERT_EQ(mixed.size(), 5000u);
  for (std::size_t i = 0; i < bytes.size(); ++i) ASSERT_EQ(mixed[i], static_cast<std::int8_t>(bytes[i]) / 128.0f);
}

// AAC keeps its priming on the media timeline; an edit that starts after it lines the
// sound up with ffmpeg's decode, which skips it.
TEST(AudioMixer, AnEditSkipsAacPriming) {
  auto mixer = mix({{"aac.m4a", {.mediaStart = 1024, .mediaLength = 48000}}});
  ASSERT_TRUE(mixer);
  EXPECT_EQ(mixer->frameCount(), 48000);
  const std::vector<float> mixed = fillFrames(*mixer, 0, 48000);
  const std::vector<float> reference = referenceDecode("aac.m4a");
  ASSERT_GE(reference.size(), mixed.size());
  EXPECT_EQ(maxAbsDifference(mixed.data(), reference.data(), mixed.size()), 0.0f);
}

}  // namespace
}  // namespace vqt::audio::test
