// Damaged movies that once made the reader or qtmovie ask for gigabytes, each
// rebuilt from a generated 64x48 movie by changing the same bytes: a data
// handler taken for the media handler, picture sizes no host should allocate,
// a media header claiming four billion samples, and texts that are not UTF-8.
// Each runs in a child under the address-space limit; the result code, the
// message and the child's peak memory are checked.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <list>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <vantor/property/Utf8Text.h>
#include <vantor/quicktime/QuickTimeCodecReader.h>

#include "BoundedRun.h"
#include "JsonCheck.h"

using namespace Vantor::QuickTime;
using namespace Vantor::QuickTime::Reliability;

namespace {

constexpr long kPeakKilobytes = 256 * 1024;  // for a 64x48 movie, whatever its fields claim
constexpr unsigned kSeconds = 30;
constexpr unsigned kSoundSamples = 16320;  // 0.34 s of mono 48 kHz in the fixture
constexpr unsigned kWavHeaderBytes = 58;   // float WAV: RIFF, extended fmt, fact and data headers

using Bytes = std::vector<char>;

Bytes fixture() {
  std::ifstream in(std::filesystem::path(VQT_RELIABILITY_FIXTURES) / "hostile-64x48.mov", std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::uint32_t get32(const Bytes& bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (int i = 0; i < 4; ++i) value = (value << 8) | static_cast<unsigned char>(bytes[at + i]);
  return value;
}

void put16(Bytes& bytes, std::size_t at, std::uint16_t value) {
  bytes[at] = static_cast<char>(value >> 8);
  bytes[at + 1] = static_cast<char>(value);
}

void put32(Bytes& bytes, std::size_t at, std::uint32_t value) {
  for (int i = 0; i < 4; ++i) bytes[at + i] = static_cast<char>(value >> (24 - 8 * i));
}

// Offsets of every atom at `path` (types from the top level down), in file order.
void findAtoms(const Bytes& bytes, std::size_t begin, std::size_t end, const std::vector<std::string>& path,
               std::size_t level, std::vector<std::size_t>& found) {
  for (std::size_t at = begin; at + 8 <= end;) {
    const std::uint32_t size = get32(bytes, at);
    if (size < 8 || at + size > end) return;
    if (std::string(bytes.data() + at + 4, 4) == path[level]) {
      if (level + 1 == path.size()) {
        found.push_back(at);
      } else {
        findAtoms(bytes, at + 8, at + size, path, level + 1, found);
      }
    }
    at += size;
  }
}

std::vector<std::size_t> atoms(const Bytes& bytes, const std::vector<std::string>& path) {
  std::vector<std::size_t> found;
  findAtoms(bytes, 0, bytes.size(), path, 0, found);
  return found;
}

// The track's own atoms: the first track is the picture's, the second the sound's.
std::size_t trackAtom(const Bytes& bytes, int track, std::vector<std::string> below) {
  below.insert(below.begin(), {"moov", "trak"});
  const auto found = atoms(bytes, below);
  return found.size() == 2 ? found[static_cast<std::size_t>(track)] : 0;
}

class HostileInput : public ::testing::Test {
 protected:
  void SetUp() override {
    original = fixture();
    ASSERT_GT(original.size(), 40000u);
    path = std::filesystem::temp_directory_path() / ("vqt-hostile-" + std::to_string(getpid()) + ".mov");
  }
  void TearDown() override {
    std::filesystem::remove(path);
    std::filesystem::remove(path.string() + ".png");
    std::filesystem::remove(path.string() + ".wav");
  }

  void write(const Bytes& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc)
        .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  }

  // What a host sees: open result, size, frame count, every frame's and the
  // sound's result codes, the sound's count and what was read.
  BoundedRun readAsHost() {
    const std::string file = path.string();
    return runInChild(
        [file] {
          std::ostringstream out;
          QuickTimeCodecReader reader;
          out << "open " << reader.open(file, 3);
          int width = 0, height = 0, channels = 0, timeScale = 0, duration = 0, start = 0;
          float aspect = 0;
          reader.getVideoInfo(&width, &height, &channels, &aspect, &timeScale, &duration, &start);
          out << " video " << reader.hasVideo() << " " << width << "x" << height << " frames "
              << reader.getFrameCount();
          if (reader.hasVideo()) {
            std::vector<float> rgba(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
            int failed = 0;
            for (int frame = 1; frame <= reader.getFrameCount(); ++frame)
              failed += reader.decodeFrame(frame, rgba.data()) != 0;
            out << " failed " << failed;
          }
          out << " sound " << reader.hasAudio() << " count " << reader.getAudioSampleCount();
          unsigned read = 0;
          std::vector<float> samples(8192);
          for (unsigned total = reader.getAudioSampleCount(); read < total;) {
            unsigned count = std::min<unsigned>(8192, total - read);
            if (reader.readAudio(read, &count, samples.data()) != 0 || count == 0) break;
            read += count;
          }
          out << " read " << read;
          return out.str();
        },
        kSeconds, kAddressSpaceLimit);
  }

  BoundedRun qtmovie(std::vector<std::string> words) {
    words.insert(words.begin(), VQT_QTMOVIE);
    return runProgram(words, kSeconds, kAddressSpaceLimit);
  }

  static void expectBounded(const BoundedRun& run, const std::string& what) {
    EXPECT_EQ(run.end, RunEnd::Exited) << what << " ended by signal " << run.signal << "\n" << run.errors;
    EXPECT_LT(run.peakKilobytes, kPeakKilobytes) << what;
  }

  Bytes original;
  std::filesystem::path path;
};

const std::string kIntact = "open 0 video 1 64x48 frames 10 failed 0 sound 1 count 16320 read 16320";

TEST_F(HostileInput, TheIntactMovieReadsWhole) {
  write(original);
  const BoundedRun run = readAsHost();
  expectBounded(run, "intact");
  EXPECT_EQ(run.output, kIntact);
}

// The 'hdlr' inside 'minf' names the data handler; with its component type
// damaged, it used to replace the media handler and have the picture's
// description read with another layout (16384x12288 for this movie).
TEST_F(HostileInput, OnlyTheHandlerDirectlyInsideTheMediaDecidesItsType) {
  for (int track : {0, 1}) {
    for (char damaged : {'e', '\0', 'm'}) {
      Bytes bytes = original;
      const std::size_t handler = trackAtom(bytes, track, {"mdia", "minf", "hdlr"});
      ASSERT_NE(handler, 0u);
      ASSERT_EQ(std::string(bytes.data() + handler + 12, 4), "dhlr");
      bytes[handler + 12] = damaged;  // "dhlr" becomes "ehlr", "\0hlr", "mhlr"
      write(bytes);
      const BoundedRun run = readAsHost();
      expectBounded(run, "track " + std::to_string(track));
      EXPECT_EQ(run.output, kIntact) << "track " << track << " type byte " << int(damaged);
    }
  }
}

// Sizes that no host should be asked to allocate (a 4.29 GB buffer, a
// negative width) are refused at open: the movie opens, its picture does not.
TEST_F(HostileInput, APictureSizeBeyondTheLargestFrameIsNotDescribed) {
  const struct {
    std::uint16_t width, height;
  } sizes[] = {{16384, 12288}, {16384, 16384}, {static_cast<std::uint16_t>(-24576), 48}, {0, 48}, {64, 0}};
  for (const auto size : sizes) {
    Bytes bytes = original;
    const std::size_t description = trackAtom(bytes, 0, {"mdia", "minf", "stbl", "stsd"});
    ASSERT_NE(description, 0u);
    const std::size_t entry = description + 16;  // header, version and flags, entry count
    put16(bytes, entry + 32, size.width);
    put16(bytes, entry + 34, size.height);
    write(bytes);
    const std::string what = std::to_string(static_cast<std::int16_t>(size.width)) + "x" + std::to_string(size.height);
    const BoundedRun host = readAsHost();
    expectBounded(host, what);
    EXPECT_EQ(host.output, "open 0 video 0 0x0 frames 0 sound 1 count 16320 read 16320") << what;

    const BoundedRun frame = qtmovie({"frame", path.string(), "1", "-o", path.string() + ".png"});
    expectBounded(frame, "qtmovie frame " + what);
    EXPECT_EQ(frame.exitCode, 2) << what;  // an input without a picture to give
    EXPECT_NE(frame.errors.find("has no video frames"), std::string::npos) << frame.errors;
    EXPECT_NE(host.errors.find("is outside 1..16384 a side and 35389440 pixels"), std::string::npos) << host.errors;
  }
}

// A media header's duration of 0xFFFFFFFF: the sound's count comes from its
// sample table (16,320), not from the header (4,294,967,295), and qtmovie
// writes exactly those samples without sizing anything from the header.
TEST_F(HostileInput, CountsComeFromTheSampleTableNotTheMediaHeader) {
  for (int track : {0, 1}) {
    Bytes bytes = original;
    const std::size_t header = trackAtom(bytes, track, {"mdia", "mdhd"});
    ASSERT_NE(header, 0u);
    put32(bytes, header + 24, 0xFFFFFFFF);  // version 0: the duration after the time scale
    write(bytes);
    const BoundedRun host = readAsHost();
    expectBounded(host, "track " + std::to_string(track));
    EXPECT_EQ(host.output, kIntact) << "track " << track;

    const BoundedRun audio = qtmovie({"audio", path.string(), "-o", path.string() + ".wav"});
    expectBounded(audio, "qtmovie audio");
    EXPECT_EQ(audio.exitCode, 0) << audio.errors;
    EXPECT_EQ(std::filesystem::file_size(path.string() + ".wav"), kWavHeaderBytes + kSoundSamples * 4);
  }
}

// Texts that are not UTF-8 (the title, the codec type) reach properties and
// JSON as valid UTF-8, each invalid byte a U+FFFD; the JSON always parses.
TEST_F(HostileInput, TextsThatAreNotUtf8LeaveAsValidUtf8) {
  Bytes bytes = original;
  const std::string title = "Hostile";
  const auto at = std::search(bytes.begin(), bytes.end(), title.begin(), title.end());
  ASSERT_NE(at, bytes.end());
  at[0] = '\xFF';
  at[3] = '\xC3';  // a lead byte followed by "i", not a continuation
  const std::size_t description = trackAtom(bytes, 0, {"mdia", "minf", "stbl", "stsd"});
  bytes[description + 16 + 4] = '\x9A';  // the codec type: "\x9Apeg"
  bytes[description + 16 + 5] = '"';
  write(bytes);

  QuickTimeCodecReader reader;
  ASSERT_EQ(reader.open(path.string(), 3), 0);
  std::list<Vantor::Property::Base*> metadata;
  reader.getMetadata(metadata);
  std::string titleText;
  for (auto* item : metadata) {
    if (item->name == "title") titleText = item->toString(0);
  }
  EXPECT_EQ(titleText, "\xEF\xBF\xBDos\xEF\xBF\xBDile");
  for (auto* item : metadata) delete item;
  std::map<std::string, std::string> stream;
  reader.getStreamDescription(stream);
  EXPECT_EQ(stream["codec_id"], "\xEF\xBF\xBD\"eg");
  reader.close();

  const BoundedRun info = qtmovie({"info", path.string(), "--json"});
  expectBounded(info, "qtmovie info");
  EXPECT_EQ(info.exitCode, 0) << info.errors;
  EXPECT_TRUE(isValidJson(info.output)) << info.output;
}

TEST(Utf8Text, InvalidSequencesBecomeOneReplacementEach) {
  using Vantor::Property::validUtf8;
  const std::string r = "\xEF\xBF\xBD";
  // Valid text, including every length of character, is unchanged.
  for (const char* text : {"", "plain", "caf\xC3\xA9", "\xE2\x82\xAC 5", "\xF0\x9F\x8E\xA5", "\xF4\x8F\xBF\xBF"})
    EXPECT_EQ(validUtf8(text), text);
  EXPECT_EQ(validUtf8("a\xFF"
                      "b"),
            "a" + r + "b");                                 // never a UTF-8 byte
  EXPECT_EQ(validUtf8("\x80\x80"), r + r);                  // stray continuations
  EXPECT_EQ(validUtf8("\xC0\xAF"), r + r);                  // overlong '/'
  EXPECT_EQ(validUtf8("\xE0\x80\xAF"), r + r + r);          // overlong, three bytes
  EXPECT_EQ(validUtf8("\xED\xA0\x80"), r + r + r);          // a surrogate
  EXPECT_EQ(validUtf8("\xF4\x90\x80\x80"), r + r + r + r);  // past U+10FFFF
  EXPECT_EQ(validUtf8("\xE2\x82"
                      "A"),
            r + "A");                                                    // cut short: one for the prefix
  EXPECT_EQ(validUtf8("x\xF0\x9F\x8E"), "x" + r);                        // cut short at the end
  EXPECT_EQ(validUtf8(std::string("a\0b", 3)), std::string("a\0b", 3));  // NUL is valid UTF-8
}

TEST(JsonCheck, AcceptsJsonAndRefusesWhatParsersRefuse) {
  EXPECT_TRUE(isValidJson(R"({"a":[1,-2.5e3,true,null],"b":{"c":"\u00e9\n"}})"));
  EXPECT_TRUE(isValidJson("{\"t\":\"caf\xC3\xA9\"}\n"));
  EXPECT_FALSE(isValidJson("{\"t\":\"\xFF\"}"));
  EXPECT_FALSE(isValidJson("{\"t\":\"a\tb\"}"));
  EXPECT_FALSE(isValidJson("{\"a\":1,}"));
  EXPECT_FALSE(isValidJson("{\"a\":01}"));
  EXPECT_FALSE(isValidJson("{\"a\":1} x"));
}

}  // namespace
