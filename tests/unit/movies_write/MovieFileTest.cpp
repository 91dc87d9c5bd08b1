// The growing movie file and flattening: the file holds a complete movie
// after every header, old headers are freed, and a flattened file puts its
// header first with every sample copied.
#include "vqt/container/Flatten.h"
#include "vqt/container/MovieFileWriter.h"
#include "vqt/container/SampleEntries.h"

#include "WritingSupport.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace vqt::container;

namespace {

MovieBuilder soundMovie(const std::vector<std::uint64_t>& offsets) {
  MovieBuilder builder;
  builder.timeScale = 8000;
  BuiltTrack& track = builder.addTrack();
  track.media.handlerType = 'soun';
  track.media.timeScale = 8000;
  SoundSampleEntry description('raw ');
  description.channelCount = 1;
  description.sampleSize = 8;
  description.sampleRate = 8000u << 16;
  ByteWriter bytes;
  description.write(bytes);
  track.media.addDescription(bytes.take());
  for (auto offset : offsets) track.media.append({offset, 1, 100, 1});
  track.insertEdit(0, 100 * offsets.size(), 0, 0x10000, 8000);
  return builder;
}

std::unique_ptr<vqt::container::Movie> openFile(const std::string& path) {
  Error error = Error::none;
  auto source = FileSource::open(path, error);
  std::unique_ptr<vqt::container::Movie> movie;
  if (source) error = vqt::container::Movie::open(source, movie);
  EXPECT_EQ(error, Error::none);
  return movie;
}

}  // namespace

TEST(MovieFile, EveryHeaderLeavesACompleteMovieAndFreesTheLastOne) {
  vqt::writing::TempFolder folder;
  const std::string path = folder.file("grow.mov");
  std::unique_ptr<MovieFileWriter> writer;
  ASSERT_EQ(MovieFileWriter::create(path, true, writer), Error::none);
  std::vector<std::uint8_t> block(100, 0x11);
  std::uint64_t first = 0, second = 0;
  ASSERT_EQ(writer->appendMediaData(block, first), Error::none);
  ASSERT_EQ(writer->writeMovieAtom(writeMovieAtom(soundMovie({first}))), Error::none);
  block.assign(100, 0x22);
  ASSERT_EQ(writer->appendMediaData(block, second), Error::none);
  ASSERT_EQ(writer->writeMovieAtom(writeMovieAtom(soundMovie({first, second}))), Error::none);
  EXPECT_EQ(vqt::writing::topLevelAtoms(path),
            (std::vector<std::string>{"ftyp", "wide", "mdat", "free", "wide", "mdat", "moov"}));
  auto movie = openFile(path);
  ASSERT_NE(movie, nullptr);
  EXPECT_EQ(movie->tracks[0]->media.samples.sampleCount(), 200u);
  std::uint8_t byte = 0;
  ASSERT_EQ(movie->readSampleData(second + 99, std::span(&byte, 1)), Error::none);
  EXPECT_EQ(byte, 0x22);
  // The writer's own view reads what it wrote.
  auto data = writer->dataSource();
  ASSERT_TRUE(data->read(first, std::span(&byte, 1)));
  EXPECT_EQ(byte, 0x11);
}

TEST(MovieFile, MediaDataHeaderWidensPastFourGigabytes) {
  const MediaDataHeader small = mediaDataHeader(100);
  EXPECT_EQ(small.offset, 8u);
  EXPECT_EQ(small.bytes, (std::vector<std::uint8_t>{0, 0, 0, 108, 'm', 'd', 'a', 't'}));
  const MediaDataHeader edge = mediaDataHeader(UINT32_MAX - 8);
  EXPECT_EQ(edge.offset, 8u);
  const MediaDataHeader wide = mediaDataHeader(UINT32_MAX - 7);
  EXPECT_EQ(wide.offset, 0u);  // over the 'wide' atom
  EXPECT_EQ(wide.bytes, (std::vector<std::uint8_t>{0, 0, 0, 1, 'm', 'd', 'a', 't', 0, 0, 0, 1, 0, 0, 0, 8}));
}

// A missing folder and an existing file are refused by CreateMovieStorage in the toolbox tests.
TEST(MovieFile, FullDisksAndFileSizeLimitsHaveTheirOwnErrors) {
  EXPECT_EQ(errorFromErrno(ENOSPC), Error::diskFull);
  EXPECT_EQ(errorFromErrno(EFBIG), Error::fileTooLarge);
}

TEST(MovieFile, FlattenPutsTheHeaderFirstAndCopiesEverySample) {
  vqt::writing::TempFolder folder;
  std::vector<std::uint8_t> bytes(1000);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(i * 3);
  MemorySource data(bytes);
  // Out of order in the source, with a gap.
  const MovieBuilder movie = soundMovie({700, 100, 300});
  const std::string path = folder.file("flat.mov");
  ASSERT_EQ(flattenMovie(movie, data, path, false), Error::none);
  EXPECT_EQ(vqt::writing::topLevelAtoms(path), (std::vector<std::string>{"ftyp", "moov", "mdat"}));
  auto flat = openFile(path);
  ASSERT_NE(flat, nullptr);
  const SampleTable& table = flat->tracks[0]->media.samples;
  for (std::uint32_t sample : {1u, 150u, 300u}) {
    SampleLocation location;
    ASSERT_EQ(table.location(sample, location), Error::none);
    std::uint8_t byte = 0;
    ASSERT_EQ(flat->readSampleData(location.offset, std::span(&byte, 1)), Error::none);
    const std::uint64_t sourceOffset =
        std::vector<std::uint64_t>{700, 100, 300}[(sample - 1) / 100] + (sample - 1) % 100;
    EXPECT_EQ(byte, bytes[sourceOffset]) << sample;
  }
  // Without permission to replace, an existing file stays as it was.
  EXPECT_EQ(flattenMovie(movie, data, path, false), Error::alreadyExists);
  EXPECT_NE(openFile(path), nullptr);
  // A source that cannot be read removes the half-written file.
  MemorySource tooShort(std::span<const std::uint8_t>(bytes.data(), 500));
  EXPECT_EQ(flattenMovie(movie, tooShort, folder.file("broken.mov"), true), Error::ioError);
  EXPECT_FALSE(std::filesystem::exists(folder.file("broken.mov")));
}
