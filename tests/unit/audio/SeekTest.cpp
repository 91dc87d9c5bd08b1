// Sample-accurate positioning: any range read after any seek, in one call or many,
// is the same floats as reading the whole track from the start.
#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "AudioTestSupport.h"

namespace vqt::audio::test {
namespace {

class AudioSeek : public ::testing::TestWithParam<std::string> {};

// Random seeks, many small reads after one seek, and the two ends, all against one read of
// the whole track.
TEST_P(AudioSeek, AnyRangeHoweverReachedMatchesOneSequentialRead) {
  auto decoder = openImported(GetParam());
  ASSERT_TRUE(decoder);
  const int channels = decoder->channels();
  const std::int64_t total = decoder->frameCount();
  const std::vector<float> whole = readFrames(*decoder, 0, total);
  ASSERT_EQ(static_cast<std::int64_t>(whole.size()), total * channels);

  std::mt19937 random(7);
  for (int i = 0; i < 60; ++i) {
    const std::int64_t start = std::uniform_int_distribution<std::int64_t>(0, total - 1)(random);
    const std::int64_t length = std::uniform_int_distribution<std::int64_t>(1, 5000)(random);
    const std::vector<float> part = readFrames(*decoder, start, length);
    ASSERT_EQ(static_cast<std::int64_t>(part.size()), std::min(length, total - start) * channels) << "at " << start;
    ASSERT_EQ(0, std::memcmp(part.data(), whole.data() + start * channels, part.size() * sizeof(float)))
        << "frames " << start << " + " << length;
  }

  const std::int64_t start = 3001, frames = 20000;
  ASSERT_EQ(decoder->seek(start), Status::ok);
  std::vector<float> pieces;
  for (std::int64_t step = 1; static_cast<std::int64_t>(pieces.size()) < frames * channels; step = step * 3 + 1) {
    const std::int64_t want = std::min<std::int64_t>(step % 1500 + 1, frames - pieces.size() / channels);
    std::vector<float> piece(want * channels);
    std::int64_t delivered = 0;
    ASSERT_EQ(decoder->read(piece, delivered), Status::ok);
    ASSERT_EQ(delivered, want);
    pieces.insert(pieces.end(), piece.begin(), piece.end());
  }
  EXPECT_EQ(decoder->position(), start + frames);
  EXPECT_EQ(0, std::memcmp(pieces.data(), whole.data() + start * channels, pieces.size() * sizeof(float)));

  EXPECT_EQ(readFrames(*decoder, total - 10, 100).size(), 10u * channels);
  EXPECT_TRUE(readFrames(*decoder, total, 100).empty());
  EXPECT_EQ(decoder->seek(total + 1), Status::outOfRange);
  EXPECT_EQ(decoder->seek(-1), Status::outOfRange);
  EXPECT_EQ(decoder->position(), total);
}

INSTANTIATE_TEST_SUITE_P(Codecs, AudioSeek,
                         ::testing::Values("s16.wav", "ulaw.wav", "s24.aiff", "alac.m4a", "aac.m4a", "tone.mp3",
                                           "long_aac.m4a", "long.mp3"),
                         [](const auto& info) {
                           std::string name = info.param;
                           std::replace(name.begin(), name.end(), '.', '_');
                           return name;
                         });

}  // namespace
}  // namespace vqt::audio::test
