// Fragmented movies over synthetic files: every optional field of the track
// fragment header and the track run and every default they fall back on must
// give the same sample table as the one unfragmented movie it describes; hostile
// counts and offsets must be refused or cut, never followed.
#include "SyntheticMovie.h"

#include "vqt/container/FragmentAtoms.h"
#include "vqt/container/Fragments.h"
#include "vqt/container/Movie.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace vqt::container;
using namespace vqt::container::testing;

namespace {

using Bytes = std::vector<std::uint8_t>;
using Header = TrackFragmentHeaderAtom;
using Trun = TrackRunAtom;
constexpr std::uint32_t kNonSync = Trun::kNonSyncSample;

// What a track's 'trex' says.
struct Defaults {
  std::uint32_t trackId = 1, duration = 0, size = 0, flags = 0;
};

// A movie file whose 'moov' gains an 'mvex' with one 'trex' per entry of `defaults`.
Bytes fragmentedHeader(const SyntheticMovie& shape, const std::vector<Defaults>& defaults) {
  Bytes file = buildMovieFile(shape);
  ByteReader in(file);
  ParseContext context;
  std::vector<std::unique_ptr<Atom>> atoms;
  EXPECT_EQ(parseAtoms(in, context, atoms), Error::none);
  auto& moov = dynamic_cast<ContainerAtom&>(*atoms.back());
  auto mvex = std::make_unique<ContainerAtom>('mvex');
  for (const Defaults& d : defaults) {
    auto trex = std::make_unique<TrackExtendsAtom>();
    trex->trackId = d.trackId;
    trex->defaultDuration = d.duration;
    trex->defaultSize = d.size;
    trex->defaultFlags = d.flags;
    mvex->items.push_back(std::move(trex));
  }
  moov.items.push_back(std::move(mvex));
  ByteWriter out;
  for (const auto& atom : atoms) atom->write(out);
  return out.take();
}

struct Fragment {
  std::vector<std::pair<std::unique_ptr<Header>, std::vector<std::unique_ptr<Atom>>>> trafs;
  Header& traf(std::uint32_t trackId, std::uint32_t flags = 0) {
    auto header = std::make_unique<Header>();
    header->trackId = trackId;
    header->flags = flags;
    trafs.emplace_back(std::move(header), std::vector<std::unique_ptr<Atom>>{});
    return *trafs.back().first;
  }
  Trun& run(std::uint32_t flags, std::uint32_t count, std::uint8_t version = 0) {
    auto run = std::make_unique<Trun>();
    run->flags = flags;
    run->version = version;
    run->sampleCount = count;
    if (run->hasPerSampleFields()) run->samples.resize(count);
    Trun& made = *run;
    trafs.back().second.push_back(std::move(run));
    return made;
  }
  void decodeTime(std::uint64_t time) {
    auto tfdt = std::make_unique<TrackFragmentDecodeTimeAtom>();
    tfdt->version = 1;
    tfdt->baseMediaDecodeTime = time;
    trafs.back().second.insert(trafs.back().second.begin(), std::move(tfdt));
  }
  // 'moof' then an 'mdat' of `dataBytes` bytes (byte k holds k & 0xFF).
  Bytes bytes(std::size_t dataBytes) {
    ContainerAtom moof('moof');
    moof.items.push_back(std::make_unique<MovieFragmentHeaderAtom>());
    for (auto& [header, children] : trafs) {
      auto traf = std::make_unique<ContainerAtom>('traf');
      traf->items.push_back(std::move(header));
      for (auto& c : children) traf->items.push_back(std::move(c));
      moof.items.push_back(std::move(traf));
    }
    ByteWriter out;
    moof.write(out);
    const std::size_t mdat = out.beginAtom('mdat');
    for (std::size_t k = 0; k < dataBytes; ++k) out.u8(static_cast<std::uint8_t>(k));
    out.endAtom(mdat);
    return out.take();
  }
};

std::unique_ptr<Movie> openBytes(Bytes bytes, Error* error = nullptr) {
  std::unique_ptr<Movie> movie;
  const Error result = Movie::open(std::make_shared<MemorySource>(std::move(bytes)), movie);
  if (error) *error = result;
  return movie;
}

SyntheticTrack emptyTrack(std::uint32_t timeScale) {
  SyntheticTrack t;
  t.timeScale = timeScale;
  return t;
}

struct Expected {
  std::int64_t decode, duration;
  std::int32_t offset;
  bool sync;
  std::uint64_t fileOffset;
  std::uint32_t size, description;
};

void expectSamples(const SampleTable& table, const std::vector<Expected>& expected) {
  ASSERT_EQ(table.sampleCount(), expected.size());
  for (std::uint32_t n = 1; n <= expected.size(); ++n) {
    SCOPED_TRACE(n);
    const Expected& e = expected[n - 1];
    std::int64_t time = 0, duration = 0;
    ASSERT_EQ(table.decodeTime(n, time, duration), Error::none);
    EXPECT_EQ(time, e.decode);
    EXPECT_EQ(duration, e.duration);
    EXPECT_EQ(table.compositionOffset(n), e.offset);
    EXPECT_EQ(table.isSync(n), e.sync);
    SampleLocation where;
    ASSERT_EQ(table.location(n, where), Error::none);
    EXPECT_EQ(where.offset, e.fileOffset);
    EXPECT_EQ(where.size, e.size);
    EXPECT_EQ(where.descriptionIndex, e.description);
  }
}

}  // namespace

TEST(ContainerFragments, EveryHeaderAndRunFieldAndEveryDefaultBuildsTheSampleTable) {
  SyntheticMovie shape;
  shape.tracks = {emptyTrack(1000)};
  Bytes file = fragmentedHeader(shape, {{1, 40, 3, kNonSync}});

  // Each fragment is built twice: once to learn its size, then with the offsets that size gives.
  auto moofSize = [](auto build) { return build(std::uint64_t(0)).bytes(0).size() - 8; };

  // 1: nothing but the movie's defaults; the first sample is made sync by the run.
  auto fragmentA = [](std::uint64_t moofBytes) {
    Fragment f;
    f.traf(1);
    Trun& run = f.run(Trun::kDataOffset | Trun::kFirstSampleFlags, 3);
    run.dataOffset = static_cast<std::int32_t>(moofBytes + 8);
    return f;
  };
  const std::uint64_t dataA = file.size() + moofSize(fragmentA) + 8;
  file = file + fragmentA(moofSize(fragmentA)).bytes(9);

  // 2: the fragment header's defaults, data relative to its 'moof', per-sample
  // fields in a version 1 run with a negative composition offset, a decode
  // time that leaves a gap after fragment 1 (its last sample lasts longer).
  auto fragmentB = [](std::uint64_t moofBytes) {
    Fragment f;
    Header& h = f.traf(1, Header::kDefaultBaseIsMoof | Header::kDescriptionIndex | Header::kDefaultDuration |
                              Header::kDefaultSize | Header::kDefaultFlags);
    h.descriptionIndex = 2;
    h.defaultDuration = 50;
    h.defaultSize = 5;
    f.decodeTime(200);
    Trun& run = f.run(
        Trun::kDataOffset | Trun::kSampleDuration | Trun::kSampleSize | Trun::kSampleFlags | Trun::kCompositionOffset,
        2, 1);
    run.samples = {{30, 7, 0, 60}, {20, 2, kNonSync, -10}};
    run.dataOffset = static_cast<std::int32_t>(moofBytes + 8);
    return f;
  };
  const std::uint64_t dataB = file.size() + moofSize(fragmentB) + 8;
  file = file + fragmentB(moofSize(fragmentB)).bytes(9);

  // 3: an explicit base offset; the second run has no offset and continues the first.
  auto fragmentC = [](std::uint64_t base) {
    Fragment f;
    Header& h = f.traf(1, Header::kBaseDataOffset | Header::kDefaultDuration);
    h.defaultDuration = 10;
    h.baseDataOffset = base;
    f.run(Trun::kSampleSize, 1).samples[0].size = 4;
    f.run(Trun::kSampleSize, 2).samples = {{0, 1, 0, 0}, {0, 2, 0, 0}};
    return f;
  };
  const std::uint64_t dataC = file.size() + moofSize(fragmentC) + 8;
  file = file + fragmentC(dataC).bytes(7);

  auto movie = openBytes(file);
  ASSERT_NE(movie, nullptr);
  const Track& track = *movie->tracks[0];
  expectSamples(track.media.samples, {{0, 40, 0, true, dataA, 3, 1},
                                      {40, 40, 0, false, dataA + 3, 3, 1},
                                      {80, 120, 0, false, dataA + 6, 3, 1},  // lengthened to the next decode time
                                      {200, 30, 60, true, dataB, 7, 2},
                                      {230, 20, -10, false, dataB + 7, 2, 2},
                                      {250, 10, 0, false, dataC, 4, 1},  // the movie's default flags
                                      {260, 10, 0, false, dataC + 4, 1, 1},
                                      {270, 10, 0, false, dataC + 5, 2, 1}});
  EXPECT_EQ(track.media.duration, 280u);
  EXPECT_EQ(track.duration, 168u);  // 280 at 1000 in the movie's 600
  EXPECT_EQ(movie->duration, 168u);
  SampleLocation where;
  ASSERT_EQ(track.media.samples.location(7, where), Error::none);
  EXPECT_EQ(where.samplesLeftInChunk, 2u);  // the two runs of fragment 3 lie back to back: one chunk
}

TEST(ContainerFragments, TrackFragmentsWithoutBaseFollowEachOtherAndJoinTheMovieAtomsSamples) {
  SyntheticMovie shape;
  SyntheticTrack video = emptyTrack(600);
  video.durations = {20, 20};
  video.sizes = {4, 4};
  SyntheticTrack sound = emptyTrack(8000);
  shape.tracks = {video, sound};
  Bytes file = fragmentedHeader(shape, {{1, 20, 6}, {2, 1024, 2}});

  // No base offsets anywhere: track 1's data starts at the 'moof' plus its
  // run's offset, track 2's where track 1's ended. An unknown track is skipped.
  const std::uint64_t moof = file.size();
  auto build = [](std::uint64_t dataOffset) {
    Fragment f;
    f.traf(1);
    f.run(Trun::kDataOffset, 2).dataOffset = static_cast<std::int32_t>(dataOffset);
    f.traf(7);
    f.run(0, 5);
    f.traf(2);
    f.run(0, 3);
    return f;
  };
  const std::size_t moofSize = build(0).bytes(0).size() - 8;
  file = file + build(moofSize + 8).bytes(18);

  auto movie = openBytes(file);
  ASSERT_NE(movie, nullptr);
  const std::uint64_t data = moof + moofSize + 8;
  const Track& v = *movie->tracks[0];
  ASSERT_EQ(v.media.samples.sampleCount(), 4u);
  SampleLocation where;
  ASSERT_EQ(v.media.samples.location(1, where), Error::none);
  EXPECT_EQ(where.size, 4u);  // from the movie atom's own tables
  std::int64_t time = 0, duration = 0;
  ASSERT_EQ(v.media.samples.decodeTime(3, time, duration), Error::none);
  EXPECT_EQ(time, 40);
  ASSERT_EQ(v.media.samples.location(4, where), Error::none);
  EXPECT_EQ(where.offset, data + 6);
  EXPECT_EQ(v.duration, 80u);
  const Track& a = *movie->tracks[1];
  ASSERT_EQ(a.media.samples.sampleCount(), 3u);
  ASSERT_EQ(a.media.samples.location(1, where), Error::none);
  EXPECT_EQ(where.offset, data + 12);
  EXPECT_EQ(a.media.samples.decodeDuration(), 3072);
}

TEST(ContainerFragments, HostileCountsAndOffsetsAreRefusedOrCut) {
  SyntheticMovie shape;
  shape.tracks = {emptyTrack(600)};
  const Bytes header = fragmentedHeader(shape, {{1, 1}});
  Error error = Error::none;

  // Four billion zero-size samples in a run of 16 bytes: refused before any loop or allocation.
  Fragment huge;
  huge.traf(1, Header::kDefaultBaseIsMoof);
  huge.run(0, 0xFFFFFFFF);
  EXPECT_EQ(openBytes(header + huge.bytes(4), &error), nullptr);
  EXPECT_EQ(error, Error::tableTooLarge);

  // A run whose per-sample entries the atom cannot hold.
  Fragment lying;
  lying.traf(1);
  lying.run(Trun::kSampleSize, 2);
  Bytes lie = lying.bytes(0);
  lie[lie.size() - 8 - 8 - 4] = 0x40;  // the run's count, high byte: 2^30 entries in 8 bytes
  EXPECT_EQ(openBytes(header + lie, &error), nullptr);
  EXPECT_EQ(error, Error::tableTooLarge);

  // Samples past the end of the file: the ones inside it are kept, later fragments are not read.
  Fragment cut;
  cut.traf(1, Header::kBaseDataOffset);
  cut.trafs.back().first->baseDataOffset = header.size();
  cut.run(Trun::kSampleSize, 3).samples = {{0, 8, 0, 0}, {0, 8, 0, 0}, {0, 1u << 30, 0, 0}};
  Fragment later;
  later.traf(1, Header::kDefaultBaseIsMoof);
  later.run(0, 2);
  auto movie = openBytes(header + cut.bytes(0) + later.bytes(0));
  ASSERT_NE(movie, nullptr);
  EXPECT_EQ(movie->tracks[0]->media.samples.sampleCount(), 2u);

  // A negative data offset that points before the file's start ends the track.
  Fragment before;
  before.traf(1, Header::kDefaultBaseIsMoof);
  before.run(Trun::kDataOffset, 1).dataOffset = -0x7FFFFFFF;
  movie = openBytes(header + before.bytes(0));
  ASSERT_NE(movie, nullptr);
  EXPECT_EQ(movie->tracks[0]->media.samples.sampleCount(), 0u);
}

TEST(ContainerFragments, FragmentAtomsWriteBackByteForByteAndDumpTheirFields) {
  Fragment f;
  Header& h = f.traf(3, Header::kBaseDataOffset | Header::kDescriptionIndex | Header::kDefaultDuration |
                            Header::kDefaultSize | Header::kDefaultFlags | Header::kDurationIsEmpty);
  h.baseDataOffset = 0x123456789;
  h.descriptionIndex = 2;
  h.defaultDuration = 3;
  h.defaultSize = 4;
  h.defaultFlags = kNonSync;
  f.decodeTime(std::uint64_t(1) << 40);
  Trun& r = f.run(Trun::kDataOffset | Trun::kFirstSampleFlags | Trun::kSampleDuration | Trun::kSampleSize |
                      Trun::kSampleFlags | Trun::kCompositionOffset,
                  2, 1);
  r.dataOffset = -8;
  r.samples = {{1, 2, 3, -4}, {5, 6, 7, 8}};
  f.traf(4, 0);
  f.run(Trun::kFirstSampleFlags, 9).firstSampleFlags = 5;
  Bytes bytes = f.bytes(0);
  bytes.resize(bytes.size() - 8);  // the moof alone

  ByteWriter header;
  auto mehd = std::make_unique<MovieExtendsHeaderAtom>();
  mehd->version = 1;
  mehd->fragmentDuration = std::uint64_t(1) << 33;
  auto trex = std::make_unique<TrackExtendsAtom>();
  trex->trackId = 3;
  trex->defaultFlags = kNonSync;
  ContainerAtom mvex('mvex');
  mvex.items.push_back(std::move(mehd));
  mvex.items.push_back(std::move(trex));
  mvex.write(header);
  bytes = bytes + header.take();

  ByteReader in(bytes);
  ParseContext context;
  std::vector<std::unique_ptr<Atom>> atoms;
  ASSERT_EQ(parseAtoms(in, context, atoms), Error::none);
  ByteWriter again;
  for (const auto& atom : atoms) atom->write(again);
  EXPECT_EQ(again.data(), bytes);

  std::ostringstream text;
  Dumper dumper(text);
  for (const auto& atom : atoms) atom->dump(dumper);
  for (const char* expected :
       {"[tfhd]", "baseDataOffset = 4886718345", "[tfdt]", "baseMediaDecodeTime = 1099511627776", "dataOffset = -8",
        "samples[2]", "duration 1 size 2 flags 3 offset -4", "sampleCount = 9", "fragmentDuration = 8589934592",
        "[trex]", "defaultFlags = 65536", "[mfhd]"})
    EXPECT_NE(text.str().find(expected), std::string::npos) << expected;
}

TEST(ContainerFragments, HeaderWrittenBeforeTheSamplesIsCompletedByThem) {
  // An edit of length 0 (the writer did not know the length yet) covers the
  // media to its end; a missing edit list starts at the first picture shown.
  for (bool hasEditList : {true, false}) {
    SCOPED_TRACE(hasEditList);
    SyntheticMovie shape;
    SyntheticTrack t = emptyTrack(1200);
    t.hasEditList = hasEditList;
    t.edits = {{0, 0, 0x10000}};
    shape.tracks = {t};
    Fragment f;
    f.traf(1, Header::kDefaultBaseIsMoof);
    f.run(Trun::kCompositionOffset, 4).samples = {{0, 0, 0, 200}, {0, 0, 0, 400}, {0, 0, 0, 100}, {0, 0, 0, 200}};
    auto movie = openBytes(fragmentedHeader(shape, {{1, 100}}) + f.bytes(0));
    ASSERT_NE(movie, nullptr);
    const Track& track = *movie->tracks[0];
    ASSERT_EQ(track.edits.size(), 1u);
    // Display times 200, 500, 300, 500: shown from 200 to 600 without an edit
    // list; media 0 to 400 with it. Either is 400 at 1200, 200 in the movie's 600.
    EXPECT_EQ(track.edits[0].mediaTime, hasEditList ? 0 : 200);
    EXPECT_EQ(track.edits[0].duration, 200u);
    EXPECT_EQ(movie->duration, 200u);
  }
}

TEST(ContainerFragments, UncompressedSoundKeepsOneSampleAFrame) {
  SampleTableAccumulator tables(4);
  tables.add({1000, 4096, 1024, 0, 1, true, 0});
  tables.lengthenLast(500);                       // a decode time after the packet's end changes nothing
  tables.add({5096, 4098, 1024, 0, 1, true, 0});  // a partial frame at the end is left out
  tables.add({9999, 8, 2, 0, 1, true, 0});
  SampleTable table;
  ASSERT_EQ(SampleTable::build(tables.finish(), 1 << 20, table), Error::none);
  EXPECT_EQ(table.sampleCount(), 2050u);
  EXPECT_EQ(table.decodeDuration(), 2050);
  SampleLocation where;
  ASSERT_EQ(table.location(1025, where), Error::none);
  EXPECT_EQ(where.offset, 5096u);
  EXPECT_EQ(where.size, 4u);
  EXPECT_EQ(where.samplesLeftInChunk, 1024u);
  ASSERT_EQ(table.location(2050, where), Error::none);
  EXPECT_EQ(where.offset, 10003u);
}
