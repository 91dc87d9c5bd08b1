// The picture cache behind scrubbing: long-GOP H.264 and HEVC streams with
// B-frames, read in reverse and in a random order, give the pixels a sequence
// without the cache gives; once a group has been decoded, other orders over it
// decode nothing more; a small bound is never exceeded; a picture is only ever
// found under the number and bytes of the sample that carried it.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "CodecTestSupport.h"
#include "vqt/codecs/DecodeSequence.h"
#include "vqt/codecs/PictureCache.h"

namespace vqt::codecs {
namespace {

using test::AccessUnit;
using test::TestImage;

constexpr int kWidth = 320;
constexpr int kHeight = 240;

struct Stream {
  const char* name;
  FourCC codecType;
  bool hevc;
  const char* encode;
};

const Stream kStreams[] = {
    {"H264", 'avc1', false, "-c:v libx264 -g 48 -keyint_min 48 -sc_threshold 0 -bf 3 -x264-params aud=1 -f h264"},
    {"HEVC", 'hvc1', true,
     "-c:v libx265 -x265-params "
     "log-level=error:aud=1:keyint=48:min-keyint=48:scenecut=0:open-gop=0:bframes=3 -f hevc"},
};

void PrintTo(const Stream& stream, std::ostream* out) { *out << stream.name; }

class ScrubbingCache : public ::testing::TestWithParam<Stream> {
 protected:
  void SetUp() override {
    const Stream& stream = GetParam();
    const std::string path = test::makeFixture(
        std::string("scrub-gop48-") + stream.name + (stream.hevc ? ".hevc" : ".h264"),
        std::string("-f lavfi -i testsrc2=size=320x240:rate=24 -frames:v 100 -pix_fmt yuv420p ") + stream.encode);
    ASSERT_FALSE(path.empty());
    units_ = test::splitAccessUnits(test::readFile(path), stream.hevc);
    ASSERT_EQ(units_.size(), 100u);
    std::unique_ptr<Decoder> decoder = newDecoder();
    std::vector<Picture> pictures;
    for (std::size_t i = 0; i < units_.size(); ++i)
      decoder->send(units_[i].bytes, static_cast<std::int64_t>(i), pictures);
    decoder->releaseHeldPictures(pictures);
    ASSERT_EQ(pictures.size(), units_.size());
    for (const Picture& picture : pictures) {
      displayOrder_.push_back(picture.sampleId());
      reference_[picture.sampleId()] = pixels(*decoder, picture);
    }
    pictureBytes_ = pictures.front().byteSize();
  }

  std::unique_ptr<Decoder> newDecoder() const {
    DecoderConfig config;
    config.codecType = GetParam().codecType;
    config.width = kWidth;
    config.height = kHeight;
    std::unique_ptr<Decoder> decoder;
    EXPECT_EQ(Decoder::create(config, decoder), Status::ok);
    return decoder;
  }

  static std::vector<std::uint8_t> pixels(Decoder& decoder, const Picture& picture) {
    TestImage image(kPixelFormat2vuy, kWidth, kHeight);
    EXPECT_EQ(decoder.convert(picture, test::viewOf(image)), Status::ok);
    return image.bytes;
  }

  // A sequence reading ahead from the stream, with a picture cache of `cacheBytes`.
  std::unique_ptr<DecodeSequence> newSequence(std::size_t cacheBytes) const {
    auto sequence = std::make_unique<DecodeSequence>(newDecoder());
    sequence->setPictureCacheBytes(cacheBytes);
    sequence->setSampleSource([this](std::int64_t number, std::vector<std::uint8_t>& bytes) {
      if (number < 0 || number >= static_cast<std::int64_t>(units_.size())) return false;
      bytes = units_[number].bytes;
      return true;
    });
    return sequence;
  }

  // Asks for the picture of display position `position` as a movie reader does.
  std::vector<std::uint8_t> read(DecodeSequence& sequence, std::size_t position) const {
    const std::int64_t target = displayOrder_[position];
    std::int64_t sync = target;
    while (sync > 0 && !units_[sync].sync) --sync;
    for (std::int64_t s = sync; s <= target; ++s) sequence.add(s, units_[s].bytes, s == target);
    std::vector<Picture> pictures;
    EXPECT_EQ(sequence.finish(pictures), Status::ok);
    if (pictures.size() != 1 || pictures[0].sampleId() != target) {
      ADD_FAILURE() << "no picture for display position " << position;
      return {};
    }
    return pixels(sequence.decoder(), pictures[0]);
  }

  std::vector<std::size_t> reversed() const {
    std::vector<std::size_t> order(displayOrder_.size());
    for (std::size_t i = 0; i < order.size(); ++i) order[i] = order.size() - 1 - i;
    return order;
  }
  std::vector<std::size_t> shuffled(unsigned seed) const {
    std::vector<std::size_t> order = reversed();
    std::shuffle(order.begin(), order.end(), std::mt19937(seed));
    return order;
  }

  std::vector<AccessUnit> units_;
  std::vector<std::int64_t> displayOrder_;
  std::map<std::int64_t, std::vector<std::uint8_t>> reference_;
  std::size_t pictureBytes_ = 0;
};

TEST_P(ScrubbingCache, ReverseAndRandomOrdersGiveTheUncachedPixelsAndDecodeEachGroupOnce) {
  auto cached = newSequence(kDefaultPictureCacheMB << 20);
  auto uncached = newSequence(0);
  // Backwards from the end: each group is decoded once, when its last picture is asked for.
  for (const std::size_t position : reversed()) {
    const std::vector<std::uint8_t> picture = read(*cached, position);
    ASSERT_EQ(picture, read(*uncached, position)) << "display position " << position;
    ASSERT_EQ(picture, reference_[displayOrder_[position]]) << "display position " << position;
  }
  EXPECT_LE(cached->samplesDecoded(), units_.size() + 3) << "a few samples past a group's end at most";
  EXPECT_GT(uncached->samplesDecoded(), 2 * units_.size()) << "without the cache, every group again and again";
  EXPECT_LE(cached->pictureCache().bytes(), kDefaultPictureCacheMB << 20);

  // Every picture has come out once: in any order, nothing more is decoded.
  const std::uint64_t decoded = cached->samplesDecoded();
  for (const unsigned seed : {1u, 2u}) {
    for (const std::size_t position : shuffled(seed)) {
      ASSERT_EQ(read(*cached, position), reference_[displayOrder_[position]]) << "display position " << position;
    }
  }
  EXPECT_EQ(cached->samplesDecoded(), decoded);
}

TEST_P(ScrubbingCache, ASmallBoundIsNeverExceededAndPicturesStayRight) {
  const std::size_t bound = 5 * pictureBytes_ + pictureBytes_ / 2;
  auto sequence = newSequence(bound);
  std::vector<std::size_t> order = shuffled(3);
  const std::vector<std::size_t> backwards = reversed();
  order.insert(order.end(), backwards.begin(), backwards.begin() + 30);
  for (const std::size_t position : order) {
    ASSERT_EQ(read(*sequence, position), reference_[displayOrder_[position]]) << "display position " << position;
    ASSERT_LE(sequence->pictureCache().bytes(), bound);
    ASSERT_LE(sequence->pictureCache().size(), 5u);
  }
  // Reading on in display order is still one decode a sample with the cache this small.
  auto inOrder = newSequence(bound);
  for (std::size_t position = 0; position < displayOrder_.size(); ++position)
    ASSERT_EQ(read(*inOrder, position), reference_[displayOrder_[position]]) << "display position " << position;
  EXPECT_EQ(inOrder->samplesDecoded(), units_.size());
}

TEST_P(ScrubbingCache, ChangedEarlierSamplesAreNotAnsweredFromTheCache) {
  auto sequence = newSequence(kDefaultPictureCacheMB << 20);
  read(*sequence, 20);
  const std::int64_t target = displayOrder_[10];
  ASSERT_GT(target, 0);
  // Same numbers and the same bytes for the wanted sample, but its sync sample differs.
  std::vector<std::uint8_t> damaged = units_[0].bytes;
  damaged.back() ^= 0x5A;
  const std::uint64_t before = sequence->samplesDecoded();
  sequence->add(0, damaged, false);
  for (std::int64_t s = 1; s <= target; ++s) sequence->add(s, units_[s].bytes, s == target);
  std::vector<Picture> pictures;
  sequence->finish(pictures);
  EXPECT_GE(sequence->samplesDecoded(), before + static_cast<std::uint64_t>(target) + 1);
}

INSTANTIATE_TEST_SUITE_P(Codecs, ScrubbingCache, ::testing::ValuesIn(kStreams),
                         [](const ::testing::TestParamInfo<Stream>& info) { return info.param.name; });

// The cache on its own, with pictures of a real decoder.
TEST(PictureCache, EvictsLeastRecentlyUsedWithinItsBoundAndMatchesWholeKeysOnly) {
  std::unique_ptr<Decoder> decoder;
  DecoderConfig config;
  config.codecType = 'avc1';
  config.width = kWidth;
  config.height = kHeight;
  ASSERT_EQ(Decoder::create(config, decoder), Status::ok);
  const std::string path = test::makeFixture(
      "scrub-gop48-H264.h264",
      std::string("-f lavfi -i testsrc2=size=320x240:rate=24 -frames:v 100 -pix_fmt yuv420p ") + kStreams[0].encode);
  const std::vector<AccessUnit> units = test::splitAccessUnits(test::readFile(path));
  std::vector<Picture> pictures;
  for (std::size_t i = 0; i < 8 && i < units.size(); ++i)
    decoder->send(units[i].bytes, static_cast<std::int64_t>(i), pictures);
  decoder->releaseHeldPictures(pictures);
  ASSERT_GE(pictures.size(), 4u);
  const std::size_t size = pictures[0].byteSize();
  ASSERT_GE(size, static_cast<std::size_t>(kWidth * kHeight * 3 / 2));

  PictureCache cache(3 * size);
  cache.insert({1, 11}, pictures[0]);
  cache.insert({2, 22}, pictures[1]);
  cache.insert({3, 33}, pictures[2]);
  EXPECT_EQ(cache.bytes(), 3 * size);
  EXPECT_EQ(cache.find({1, 12}), nullptr) << "same number, other bytes";
  EXPECT_EQ(cache.find({4, 11}), nullptr) << "same bytes, other number";
  ASSERT_NE(cache.find({1, 11}), nullptr);  // now 2 is the least recently used
  cache.insert({4, 44}, pictures[3]);
  EXPECT_FALSE(cache.contains({2, 22}));
  EXPECT_TRUE(cache.contains({1, 11}) && cache.contains({3, 33}) && cache.contains({4, 44}));
  EXPECT_EQ(cache.find({4, 44})->sampleId(), pictures[3].sampleId());
  cache.insert({4, 44}, pictures[3]);  // again: replaces, never counts twice
  EXPECT_EQ(cache.bytes(), 3 * size);

  cache.setCapacity(size + size / 2);
  EXPECT_EQ(cache.size(), 1u);
  EXPECT_TRUE(cache.contains({4, 44}));
  cache.setCapacity(size - 1);
  cache.insert({5, 55}, pictures[0]);
  EXPECT_EQ(cache.size(), 0u) << "a picture larger than the bound is not kept";
  EXPECT_EQ(cache.bytes(), 0u);
}

}  // namespace
}  // namespace vqt::codecs
