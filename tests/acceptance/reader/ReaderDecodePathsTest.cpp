// The floats decodeFrame returns do not depend on how they were reached: in
// order (read ahead, overlapped, split across threads), in a shuffled order,
// or by a reader that decodes nothing but that one frame. The in-order floats
// of four codecs are also pinned to the values the plain one-frame-at-a-time
// path gave, as checksums, for the bitstreams this machine's ffmpeg makes.
#include "ReaderFixtures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <random>

using Vantor::QuickTime::QuickTimeCodecReader;
using namespace ReaderTest;

namespace {

struct PinnedMovie {
  const char* file;
  std::uintmax_t fileSize;  // the bitstream the checksum was taken from
  std::uint64_t checksum;   // over every frame's floats, in order
};

const PinnedMovie kPinned[] = {
    {"pin-prores-hq.mov", 765652, 0x4d9e0e249107c8b1},
    {"pin-prores-4444.mov", 4576445, 0x984f747364d904be},
    {"pin-prores-4444-601.mov", 4576427, 0xbc2105fb3d11a724},
    {"pin-dnxhr-hq.mov", 688938, 0x493a02ac0dec74e8},
    // 8-bit 4:2:0 H.264 reads through '2vuy' (packed in one pass through the
    // matrix); through 'r4fl' it gave 0xd9ff858c54a93570.
    {"pin-h264-gop.mov", 62656, 0xe24eae5736b32bca},
};

// FNV-1a over the floats' bits: equal floats, equal sums.
std::uint64_t checksum(const std::vector<float>& frame, std::uint64_t hash) {
  for (float value : frame) {
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    hash = (hash ^ bits) * 0x100000001B3ull;
  }
  return hash;
}

std::vector<std::vector<float>> decodeAll(QuickTimeCodecReader& reader, const std::vector<int>& order) {
  const VideoInfo info = videoInfo(reader);
  std::vector<std::vector<float>> frames(order.size());
  for (size_t i = 0; i < order.size(); ++i) {
    frames[i].assign(static_cast<size_t>(info.width) * info.height * 4, -1.0f);
    EXPECT_EQ(reader.decodeFrame(order[i], frames[i].data()), 0) << "frame " << order[i];
  }
  return frames;
}

class DecodePaths : public testing::TestWithParam<PinnedMovie> {};

TEST_P(DecodePaths, InOrderShuffledAndSingleFrameReadersGiveTheSameFloats) {
  const std::string path = fixture(GetParam().file);
  QuickTimeCodecReader reader;
  ASSERT_EQ(reader.open(path, 1), 0);
  const int count = reader.getFrameCount();
  ASSERT_GE(count, 24);
  std::vector<int> inOrder(static_cast<size_t>(count));
  for (int f = 0; f < count; ++f) inOrder[static_cast<size_t>(f)] = f + 1;
  const auto ordered = decodeAll(reader, inOrder);

  std::uint64_t sum = 0xCBF29CE484222325ull;
  for (const auto& frame : ordered) sum = checksum(frame, sum);
  std::printf("%s: %d frames, checksum 0x%016llx\n", GetParam().file, count, static_cast<unsigned long long>(sum));
  if (std::filesystem::file_size(path) == GetParam().fileSize) {
    EXPECT_EQ(sum, GetParam().checksum) << "the in-order floats changed";
  }

  std::vector<int> shuffled = inOrder;
  std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(7));
  const auto jumped = decodeAll(reader, shuffled);
  for (size_t i = 0; i < shuffled.size(); ++i) {
    ASSERT_EQ(jumped[i], ordered[static_cast<size_t>(shuffled[i] - 1)]) << "frame " << shuffled[i] << " out of order";
  }

  for (int frame : {1, 2, count / 2, count - 1, count}) {
    QuickTimeCodecReader alone;
    ASSERT_EQ(alone.open(path, 1), 0);
    const auto single = decodeAll(alone, {frame});
    ASSERT_EQ(single[0], ordered[static_cast<size_t>(frame - 1)]) << "frame " << frame << " decoded alone";
  }
}

INSTANTIATE_TEST_SUITE_P(Codecs, DecodePaths, testing::ValuesIn(kPinned),
                         [](const testing::TestParamInfo<PinnedMovie>& info) {
                           std::string name = info.param.file;
                           for (char& ch : name)
                             if (!isalnum(static_cast<unsigned char>(ch))) ch = '_';
                           return name;
                         });

}  // namespace
