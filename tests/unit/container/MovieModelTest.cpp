// The movie model over synthetic files: tracks, edits, metadata, and the
// refusals (no movie; external data is refused in the toolbox tests).
#include "SyntheticMovie.h"

#include "vqt/container/Movie.h"
#include "vqt/container/Timecode.h"

#include <gtest/gtest.h>

using namespace vqt::container;
using namespace vqt::container::testing;

namespace {

std::unique_ptr<Movie> openBytes(std::vector<std::uint8_t> bytes, Error* error = nullptr) {
  std::unique_ptr<Movie> movie;
  const Error result = Movie::open(std::make_shared<MemorySource>(std::move(bytes)), movie);
  if (error) *error = result;
  return movie;
}

SyntheticTrack tenFrames() {
  SyntheticTrack t;
  t.timeScale = 2400;
  t.durations.assign(10, 100);
  t.sizes = {8, 1, 1, 1, 1, 1, 1, 8, 1, 1};
  t.syncSamples = {1, 8};
  t.samplesPerChunk = 3;
  return t;
}

}  // namespace

TEST(ContainerMovieModel, EmptyEditShiftsTheStartAndSampleChangesFollowEdits) {
  SyntheticMovie shape;
  SyntheticTrack t = tenFrames();
  t.hasEditList = true;
  t.edits = {{60, -1, 0x10000}, {250, 0, 0x10000}};
  shape.tracks = {t};
  auto movie = openBytes(buildMovieFile(shape));
  ASSERT_NE(movie, nullptr);
  const Track& track = *movie->tracks[0];
  EXPECT_EQ(track.duration, 310u);
  EXPECT_EQ(track.mediaTimeAt(30), -1);
  EXPECT_EQ(track.mediaTimeAt(60), 0);
  EXPECT_EQ(track.mediaTimeAt(85), 100);
  EXPECT_EQ(track.mediaTimeAt(310), -1);
  // Frames every 25 movie units from 60 (stepping forwards is compared with
  // ffprobe in the acceptance tests); stepping backwards.
  EXPECT_EQ(track.nextSampleChange(100, false, true), 85);
  EXPECT_EQ(track.nextSampleChange(85, false, false), 60);
  EXPECT_EQ(track.nextSampleChange(60, false, false), std::nullopt);
}

TEST(ContainerMovieModel, UncompressedSoundCountedInFramesGetsItsFrameSize) {
  SyntheticMovie shape;
  SyntheticTrack sound;
  sound.handler = 'soun';
  sound.format = 'twos';
  sound.timeScale = 8000;
  sound.durations.assign(100, 1);
  sound.sizes.assign(100, 4);  // stereo 16-bit frames in the file...
  sound.constantSize = 1;      // ...counted as 1-byte samples, as older writers did
  sound.samplesPerChunk = 50;
  shape.tracks = {sound};
  auto movie = openBytes(buildMovieFile(shape));
  ASSERT_NE(movie, nullptr);
  const SampleTable& table = movie->tracks[0]->media.samples;
  SampleLocation first, later;
  ASSERT_EQ(table.location(2, first), Error::none);
  ASSERT_EQ(table.location(52, later), Error::none);
  EXPECT_EQ(first.size, 4u);
  EXPECT_EQ(later.offset - first.offset, 50u * 4);
}

TEST(ContainerMovieModel, SteppingSkipsTheGapBeforeTheFirstShownSample) {
  // Composition offsets start the display 100 units late and no edit list
  // hides the gap: nothing shows at time 0, so stepping starts later. The
  // implicit edit spans the media's 1000 units, which cuts off the frame
  // shown at 1000.
  SyntheticMovie shape;
  SyntheticTrack t = tenFrames();
  t.timeScale = 600;
  t.compositionOffsets = {100, 300, 0, 0, 300, 0, 0, 100, 100, 100};
  shape.tracks = {t};
  auto movie = openBytes(buildMovieFile(shape));
  ASSERT_NE(movie, nullptr);
  const Track& track = *movie->tracks[0];
  EXPECT_EQ(track.nextSampleChange(0, true, true), 100);
  int changes = 0;
  for (auto at = track.nextSampleChange(0, true, true); at; at = track.nextSampleChange(*at, true, false)) ++changes;
  EXPECT_EQ(changes, 9);
  EXPECT_EQ(track.nextSampleChange(50, false, true), std::nullopt);
  EXPECT_EQ(track.nextSampleChange(150, false, true), 100);
}

TEST(ContainerMovieModel, RefusesFilesWithoutAMovie) {
  Error error = Error::none;
  EXPECT_EQ(openBytes(atomBytes('ftyp', be32('qt  ') + be32(0)) + atomBytes('mdat', {1, 2}), &error), nullptr);
  EXPECT_EQ(error, Error::noMovieAtom);
  EXPECT_EQ(openBytes(be32(64) + be32('moov'), &error), nullptr);
  EXPECT_EQ(error, Error::badAtomSize);
}

TEST(ContainerTimecode, DropFrameLabelsSkipTheFirstFramesOfMostMinutes) {
  const std::uint32_t drop = TimecodeFlags::dropFrame;
  EXPECT_EQ(formatTimecode(timecodeFromFrameNumber(1800, drop, 30), drop), "00:01:00;02");
  EXPECT_EQ(formatTimecode(timecodeFromFrameNumber(17982, drop, 30), drop), "00:10:00;00");
  EXPECT_EQ(formatTimecode(timecodeFromFrameNumber(107892, drop, 30), drop), "01:00:00;00");
  EXPECT_EQ(formatTimecode(timecodeFromFrameNumber(86400, 0, 24), 0), "01:00:00:00");
  EXPECT_EQ(formatTimecode(timecodeFromFrameNumber(-25, 0, 24), 0), "-00:00:01:01");
  EXPECT_EQ(timecodeFromFrameNumber(24 * 3600 * 25, TimecodeFlags::max24Hour, 24).hours, 1);
  for (std::int64_t frame : {0, 1799, 1800, 17981, 17982, 107891, 215784})
    EXPECT_EQ(frameNumberFromTimecode(timecodeFromFrameNumber(frame, drop, 30), drop, 30), frame);
}
