// Real files written by ffmpeg (the fuzzer's seeds) are parsed atom by atom
// and written back: the bytes must come out identical.
#include "vqt/container/Atom.h"
#include "vqt/container/ByteSource.h"
#include "vqt/container/Movie.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

using namespace vqt::container;

TEST(ContainerRoundTrip, FfmpegMoviesWriteBackByteForByte) {
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(VQT_CONTAINER_SEEDS)) {
    SCOPED_TRACE(entry.path().string());
    Error error = Error::none;
    auto source = FileSource::open(entry.path().string(), error);
    ASSERT_NE(source, nullptr);
    std::vector<std::uint8_t> bytes;
    ASSERT_EQ(source->readVector(0, source->size(), bytes), Error::none);

    ByteReader reader(bytes);
    ParseContext context;
    std::vector<std::unique_ptr<Atom>> atoms;
    ASSERT_EQ(parseAtoms(reader, context, atoms), Error::none);
    ByteWriter written;
    for (const auto& atom : atoms) atom->write(written);
    EXPECT_EQ(written.data(), bytes);

    std::unique_ptr<Movie> movie;
    ASSERT_EQ(Movie::open(source, movie), Error::none);
    EXPECT_FALSE(movie->tracks.empty());
    std::ostringstream text;
    Dumper dumper(text);
    movie->movieAtom()->dump(dumper);
    EXPECT_NE(text.str().find("[stsd]"), std::string::npos);
    ++files;
  }
  EXPECT_GE(files, 5);
}
