// Inputs the fuzzers found crashing or exhausting memory, kept as ordinary
// tests once fixed.
#include <gtest/gtest.h>
#include <vantor/property/PropertyText.h>
#include <vantor/quicktime/QuickTimeCodecReader.h>
#include <vantor/quicktime/QuickTimeCodecWriter.h>

#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <list>
#include <string>
#include <vector>

using namespace Vantor::Property;
using namespace Vantor::QuickTime;

// More fields than one node of the deque holds, the text ending with a
// separator: splitting wrote past the fields it had allocated.
TEST(FuzzRegression, SplitOfManyFieldsEndingWithASeparator) {
  for (const char* separator : {":", ","}) {
    std::string text;
    for (int i = 0; i < 40; ++i) text += separator;
    EXPECT_EQ(splitEscaped(text, separator).size(), 41u) << separator;
    std::string named;
    for (int i = 0; i < 16; ++i) named += std::string("a") + separator;
    const auto fields = splitEscaped(named, separator);
    ASSERT_EQ(fields.size(), 17u);
    EXPECT_EQ(fields.front(), "a");
    EXPECT_EQ(fields.back(), "");
  }
  std::list<Base*> properties;
  propertiesFromText("::::::::::::::::", properties);
  EXPECT_EQ(properties.size(), 5u);
  for (Base* property : properties) delete property;
}

namespace {

constexpr int kSide = 64;

// A three-frame Photo-JPEG movie, header first, so the first "stsz" in the
// file is the video track's sample size table.
std::vector<char> smallJpegMovie(const std::string& path) {
  QuickTimeCodecWriter writer;
  const char** names = writer.getCodecNames();
  for (int i = 0; names != nullptr && names[i] != nullptr; ++i) {
    if (std::strncmp(names[i], "jpeg", 4) == 0) writer.setCodecIndex(i);
  }
  writer.setCompressionSettings(kSide, kSide, 25.0f, 1, 3, false, "");
  if (writer.openMovie(path, 1) != 0) return {};
  for (int f = 0; f < 3; ++f) {
    std::vector<float> rgba(static_cast<size_t>(kSide) * kSide * 4);
    for (size_t i = 0; i < rgba.size(); ++i) rgba[i] = static_cast<float>((i * 5 + f * 31) % 256) / 255.0f;
    if (writer.encodeFrame(f, rgba.data(), false) != 0) return {};
  }
  writer.finishVideo();
  if (writer.closeMovie(true) != 0) return {};
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void putBigEndian32(char* at, std::uint32_t value) {
  for (int i = 0; i < 4; ++i) at[i] = static_cast<char>(value >> (24 - 8 * i));
}

std::uint32_t bigEndian32(const char* at) {
  std::uint32_t value = 0;
  for (int i = 0; i < 4; ++i) value = (value << 8) | static_cast<unsigned char>(at[i]);
  return value;
}

}  // namespace

// One sample size entry of about 4 GB (the fuzzer's input was a Photo-JPEG
// movie with one entry's top byte set): the reader allocated that size for the
// frame and only then failed to read it. The size query itself must refuse the
// frame, so decoding fails with "Couldn't find frame" before any allocation,
// never with the later "Couldn't get media", and the frames before it still decode.
TEST(FuzzRegression, SampleSizeReachingPastTheDataIsRefusedBeforeAnyAllocation) {
  const auto folder = std::filesystem::temp_directory_path() / ("vqt-fuzz-regression-" + std::to_string(getpid()));
  std::filesystem::create_directories(folder);
  const std::string path = (folder / "huge-sample.mov").string();
  std::vector<char> movie = smallJpegMovie(path);
  ASSERT_FALSE(movie.empty());

  const std::string tag = "stsz";
  const auto table = std::search(movie.begin(), movie.end(), tag.begin(), tag.end()) - movie.begin();
  ASSERT_LT(static_cast<size_t>(table) + 24, movie.size());
  ASSERT_EQ(bigEndian32(&movie[table + 8]), 0u) << "the sizes differ, so the table holds one entry per frame";
  ASSERT_EQ(bigEndian32(&movie[table + 12]), 3u);
  putBigEndian32(&movie[table + 20], 0xFFFFFFF0u);  // the second frame's entry
  std::ofstream(path, std::ios::binary | std::ios::trunc)
      .write(movie.data(), static_cast<std::streamsize>(movie.size()));

  QuickTimeCodecReader reader;
  ASSERT_EQ(reader.open(path, 1), 0);
  std::vector<float> rgba(static_cast<size_t>(kSide) * kSide * 4);
  EXPECT_EQ(reader.decodeFrame(1, rgba.data()), 0);
  testing::internal::CaptureStdout();
  const int result = reader.decodeFrame(2, rgba.data());
  const std::string printed = testing::internal::GetCapturedStdout();
  EXPECT_EQ(result, 1);
  EXPECT_NE(printed.find("Couldn't find frame 2 in movie"), std::string::npos) << printed;
  EXPECT_EQ(printed.find("Couldn't get media"), std::string::npos) << printed;
  reader.close();
  std::filesystem::remove_all(folder);
}
