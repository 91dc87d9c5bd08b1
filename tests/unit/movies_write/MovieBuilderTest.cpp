// The editable movie of the engine: runs, edits, and the 'moov' it writes,
// read back by the engine's own reader.
#include "vqt/container/Flatten.h"
#include "vqt/container/MovieBuilder.h"

#include <gtest/gtest.h>

using namespace vqt::container;

namespace {

// A source of `size` zero bytes without the memory: offsets past 4 GiB.
class ZeroSource final : public ByteSource {
 public:
  explicit ZeroSource(std::uint64_t size) : size_(size) {}
  std::uint64_t size() const override { return size_; }
  bool read(std::uint64_t offset, std::span<std::uint8_t> out) const override {
    if (offset > size_ || out.size() > size_ - offset) return false;
    std::fill(out.begin(), out.end(), 0);
    return true;
  }

 private:
  std::uint64_t size_;
};

// Sample entries as the engine writes them; `fill` tells apart otherwise equal ones.
std::vector<std::uint8_t> entry(FourCC handler, FourCC format, std::uint8_t fill = 0) {
  std::unique_ptr<SampleEntry> made = SampleDescriptionAtom::createEntry(format, handler);
  made->trailingBytes.assign(4, fill);
  ByteWriter bytes;
  made->write(bytes);
  return bytes.take();
}

std::unique_ptr<Movie> readBack(const MovieBuilder& builder, std::uint64_t dataSize) {
  std::unique_ptr<Movie> movie;
  EXPECT_EQ(Movie::fromMovieAtom(writeMovieAtom(builder), std::make_shared<ZeroSource>(dataSize), movie), Error::none);
  return movie;
}

}  // namespace

TEST(MovieBuilder, RunsMergeOnlyWhenTheyContinueEachOther) {
  BuiltMedia media;
  media.append({100, 4, 10, 1});
  media.append({140, 4, 5, 1});  // continues: one run of 15
  media.append({200, 4, 5, 1});  // a gap in the file
  media.append({220, 4, 5, 2});  // another duration
  media.append({240, 4, 0, 2});  // nothing
  ASSERT_EQ(media.runs.size(), 3u);
  EXPECT_EQ(media.runs[0].count, 15u);
  EXPECT_EQ(media.sampleCount(), 25u);
  EXPECT_EQ(media.duration(), 30u);
  EXPECT_EQ(media.addDescription(entry('vide', 'abcd', 1)), 1u);
  EXPECT_EQ(media.addDescription(entry('vide', 'abcd', 2)), 2u);
  EXPECT_EQ(media.addDescription(entry('vide', 'abcd', 1)), 1u);
}

TEST(MovieBuilder, EditsSplitPushBackAndDelete) {
  BuiltTrack track;
  track.media.timeScale = 1200;  // twice the movie's 600
  track.insertEdit(-1, 600, 0, 0x10000, 600);
  track.insertEdit(300, 100, 5000, 0x10000, 600);  // splits the first edit
  ASSERT_EQ(track.edits.size(), 3u);
  EXPECT_EQ(track.edits[0].duration, 300u);
  EXPECT_EQ(track.edits[1].mediaTime, 5000);
  EXPECT_EQ(track.edits[2].mediaTime, 600);  // 300 movie units into the media at twice the scale
  EXPECT_EQ(track.duration(), 700u);
  track.insertEdit(1000, 50, 0, 0x10000, 600);  // empty time up to 1000
  EXPECT_EQ(track.edits[3].mediaTime, -1);
  EXPECT_EQ(track.duration(), 1050u);
  track.deleteTime(200, 200, 600);  // the inserted edit and parts of both halves
  ASSERT_EQ(track.edits.size(), 4u);
  EXPECT_EQ(track.edits[0].duration, 200u);
  EXPECT_EQ(track.edits[1].duration, 300u);  // the last part of the split edit, untouched
  EXPECT_EQ(track.edits[1].mediaTime, 600);
  track.deleteTime(300, 10000, 600);  // trailing empty time goes too
  EXPECT_EQ(track.duration(), 300u);
  EXPECT_EQ(track.edits.back().mediaTime, 600);
}

TEST(MovieBuilder, MovieAtomReadsBackWithEveryTable) {
  MovieBuilder builder;
  builder.timeScale = 2400;
  BuiltTrack& video = builder.addTrack();
  video.width = 320 << 16;
  video.media.handlerType = 'vide';
  video.media.timeScale = 2400;
  video.media.addDescription(entry('vide', 'avc1'));
  const std::int32_t offsets[] = {100, 300, -100, 0};
  for (std::uint32_t i = 0; i < 4; ++i) {
    SampleRun run{1000 + i * 50, 50, 1, 100, offsets[i], 1, i == 0, static_cast<std::uint8_t>(i == 0 ? 0x20 : 0x10)};
    video.media.append(run);
  }
  video.insertEdit(0, 400, 0, 0x10000, 2400);
  BuiltTrack& sound = builder.addTrack();
  sound.volume = 0x100;
  sound.media.handlerType = 'soun';
  sound.media.timeScale = 48000;
  sound.media.addDescription(entry('soun', 'raw '));
  sound.media.append({5000, 4, 4800, 1});
  sound.media.append({(std::uint64_t(5) << 32), 4, 4800, 1});  // past 4 GiB: 64-bit chunk offsets
  sound.references.push_back({'tmcd', {1}});
  builder.userData.push_back({'name', {0, 1, 0, 0, 'x'}});
  builder.metadata.push_back({'mdta', {'k'}, 1, 0, {'v'}});

  auto movie = readBack(builder, (std::uint64_t(5) << 32) + 4 * 4800);
  ASSERT_NE(movie, nullptr);
  EXPECT_EQ(movie->timeScale, 2400u);
  ASSERT_EQ(movie->tracks.size(), 2u);
  const SampleTable& table = movie->tracks[0]->media.samples;
  EXPECT_EQ(table.sampleCount(), 4u);
  EXPECT_EQ(table.compositionOffset(3), -100);
  EXPECT_TRUE(table.isSync(1));
  EXPECT_FALSE(table.isSync(2));
  EXPECT_EQ(table.dependencyFlags(1), 0x20);
  SampleLocation location;
  ASSERT_EQ(table.location(4, location), Error::none);
  EXPECT_EQ(location.offset, 1150u);
  EXPECT_EQ(movie->tracks[0]->width, 320u << 16);
  EXPECT_EQ(movie->tracks[0]->duration, 400u);
  const SampleTable& pcm = movie->tracks[1]->media.samples;
  EXPECT_EQ(pcm.sampleCount(), 9600u);
  ASSERT_EQ(pcm.location(4801, location), Error::none);
  EXPECT_EQ(location.offset, std::uint64_t(5) << 32);
  EXPECT_NE(movie->movieAtom()->find('trak'), nullptr);
  EXPECT_EQ(movie->tracks[1]->references.front().second, std::vector<std::uint32_t>{1});
  EXPECT_EQ(movie->tracks[1]->volume, 0x100);
  ASSERT_EQ(movie->metadata.size(), 1u);
  EXPECT_EQ(movie->metadata[0].value, std::vector<std::uint8_t>{'v'});
  EXPECT_EQ(movie->userData.front().type, static_cast<FourCC>('name'));

  // The editable form of what was read writes the same header again.
  MovieBuilder again;
  ASSERT_EQ(MovieBuilder::fromMovie(*movie, again), Error::none);
  EXPECT_EQ(again.tracks[1].media.runs.size(), 2u);
  auto reread = readBack(again, (std::uint64_t(5) << 32) + 4 * 4800);
  EXPECT_EQ(reread->tracks[0]->media.samples.compositionOffset(2), 300);
}

TEST(MovieBuilder, EmptyMovieAndTrackWithoutSamplesReadBack) {
  MovieBuilder builder;
  builder.addTrack();
  auto movie = readBack(builder, 0);
  ASSERT_NE(movie, nullptr);
  EXPECT_EQ(movie->tracks.size(), 1u);
  EXPECT_EQ(movie->tracks[0]->media.samples.sampleCount(), 0u);
}
