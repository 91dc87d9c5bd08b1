// Damaged movies through the public reader: every truncation at 64 evenly
// spaced offsets and a number of random single-byte corruptions per movie
// (VQT_BAD_INPUT_CORRUPTIONS, 100 unless set), each opened and read through as
// a host would in a child with a 10 s bound and a 1 GB address space; every
// VQT_BAD_INPUT_CLI_EVERY-th input (10 unless set) also through
// `qtmovie info --json`, whose output must parse. No damage may crash the
// reader, exceed either bound or make invalid JSON; the counts of each result
// code and the peak memory are printed for docs/RELIABILITY.md.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <random>
#include <sstream>
#include <vector>

#include "BoundedRun.h"
#include "JsonCheck.h"
#include "ReadThrough.h"

using namespace Vantor::QuickTime::Reliability;

namespace {

// A sanitizer build is several times slower (and has no address-space limit).
const unsigned kSecondsPerInput = addressSpaceLimitApplies() ? 10 : 60;

std::vector<char> contentsOf(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

int corruptionCount() {
  const char* text = std::getenv("VQT_BAD_INPUT_CORRUPTIONS");
  return text ? std::atoi(text) : 100;
}

int cliEvery() {
  const char* text = std::getenv("VQT_BAD_INPUT_CLI_EVERY");
  return text ? std::max(1, std::atoi(text)) : 10;
}

// Tallies of the outcomes of one kind of damage to one movie.
struct Tally {
  int inputs = 0;
  int crashes = 0;
  int timeouts = 0;
  std::map<int, int> openResults;
  std::map<int, int> decodeResults;
  std::map<int, int> audioResults;
  std::map<int, int> infoResults;  // qtmovie's exit code
  int infoRuns = 0;
  long peakKilobytes = 0;
  std::vector<std::string> failures;

  void addInfo(const BoundedRun& run, const std::string& what) {
    ++infoRuns;
    peakKilobytes = std::max(peakKilobytes, run.peakKilobytes);
    if (run.end != RunEnd::Exited) {
      failures.push_back(what + ": qtmovie info " +
                         (run.end == RunEnd::TimedOut ? "did not finish in time" : "crashed"));
      return;
    }
    ++infoResults[run.exitCode];
    if (run.exitCode == 0 && !isValidJson(run.output)) failures.push_back(what + ": qtmovie info --json is not JSON");
  }

  void add(const ChildRead& read, const std::string& what) {
    ++inputs;
    peakKilobytes = std::max(peakKilobytes, read.peakKilobytes);
    if (read.end == ChildEnd::Crashed) {
      ++crashes;
      failures.push_back(what + " crashed (signal " + std::to_string(read.signal) + ")");
      return;
    }
    if (read.end == ChildEnd::TimedOut) {
      ++timeouts;
      failures.push_back(what + " did not finish in time");
      return;
    }
    ++openResults[read.outcome.openResult];
    for (auto [code, count] : read.outcome.decodeResults) decodeResults[code] += count;
    for (auto [code, count] : read.outcome.audioResults) audioResults[code] += count;
  }

  std::string row(const std::string& movie, const std::string& damage) const {
    auto list = [](const std::map<int, int>& counts) {
      std::ostringstream out;
      for (auto [code, count] : counts) out << code << ":" << count << " ";
      return out.str().empty() ? std::string("-") : out.str();
    };
    std::ostringstream out;
    out << "| " << movie << " | " << damage << " | " << inputs << " | " << list(openResults) << "| "
        << list(decodeResults) << "| " << list(audioResults) << "| " << infoRuns << ": " << list(infoResults) << "| "
        << (peakKilobytes + 1023) / 1024 << " MB | " << crashes << " | " << timeouts << " |";
    return out.str();
  }
};

class BadInput : public ::testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    source = std::filesystem::path(VQT_RELIABILITY_FIXTURES) / GetParam();
    original = contentsOf(source);
    ASSERT_FALSE(original.empty()) << source;
    damaged = std::filesystem::temp_directory_path() /
              ("vqt-bad-input-" + std::to_string(getpid()) + source.extension().string());
  }
  void TearDown() override { std::filesystem::remove(damaged); }

  void writeDamaged(const char* data, size_t size) {
    std::ofstream(damaged, std::ios::binary | std::ios::trunc).write(data, static_cast<std::streamsize>(size));
  }

  // One damaged input: read through as a host, and every cliEvery()-th also
  // described by qtmovie as JSON.
  void check(Tally& tally, const std::string& what) {
    tally.add(readThroughInChild(damaged.string(), kSecondsPerInput, kAddressSpaceLimit), what);
    if (++inputCount % cliEvery() == 0)
      tally.addInfo(runProgram({VQT_QTMOVIE, "info", damaged.string(), "--json"}, kSecondsPerInput, kAddressSpaceLimit),
                    what);
  }
  int inputCount = 0;

  std::filesystem::path source;
  std::filesystem::path damaged;
  std::vector<char> original;
};

TEST_P(BadInput, EveryTruncationAndRandomByteCorruptionIsReadWithoutCrashOrHang) {
  Tally truncations;
  for (size_t i = 0; i < 64; ++i) {
    const size_t length = original.size() * i / 64;
    writeDamaged(original.data(), length);
    check(truncations, "cut at " + std::to_string(length));
  }

  Tally corruptions;
  std::mt19937 random(std::hash<std::string>{}(GetParam()));  // the same damage in every run
  std::uniform_int_distribution<size_t> position(0, original.size() - 1);
  std::uniform_int_distribution<int> flip(1, 255);
  for (int i = 0, count = corruptionCount(); i < count; ++i) {
    std::vector<char> bytes = original;
    const size_t at = position(random);
    const int mask = flip(random);
    bytes[at] = static_cast<char>(bytes[at] ^ mask);
    writeDamaged(bytes.data(), bytes.size());
    check(corruptions, "byte " + std::to_string(at) + " xor " + std::to_string(mask));
  }

  std::cout << truncations.row(GetParam(), "truncation") << "\n"
            << corruptions.row(GetParam(), "corruption") << std::endl;
  for (const auto& failure : truncations.failures) ADD_FAILURE() << failure;
  for (const auto& failure : corruptions.failures) ADD_FAILURE() << failure;
  // The undamaged movie must read: the damage, not the set-up, is what fails.
  const ChildRead intact = readThroughInChild(source.string(), kSecondsPerInput, kAddressSpaceLimit);
  ASSERT_EQ(intact.end, ChildEnd::Finished);
  EXPECT_EQ(intact.outcome.openResult, 0);
}

INSTANTIATE_TEST_SUITE_P(Movies, BadInput,
                         ::testing::Values("h264-aac-timecode.mov", "mjpeg-pcm.mov", "prores-pcm24.mov", "rle.mov",
                                           "mpeg4-faststart.mp4", "hostile-64x48.mov"),
                         [](const auto& info) {
                           std::string name = info.param;
                           for (char& c : name) {
                             if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
                           }
                           return name;
                         });

}  // namespace
