// A long-GOP H.264 stream with B-frames, read picture by picture in display
// order the way a movie reader does (from the sync sample to the wanted one,
// every time): the kept decoder gives the same pixels as decoding afresh, and
// decodes each sample once; the same with a source to read ahead from, even
// one whose bytes differ from the requests' own.
#include <gtest/gtest.h>

#include <map>

#include "CodecTestSupport.h"
#include "vqt/codecs/DecodeSequence.h"

namespace vqt::codecs {
namespace {

using test::AccessUnit;
using test::TestImage;

constexpr int kWidth = 320;
constexpr int kHeight = 240;
constexpr int kFrames = 110;

class LongGopSequence : public ::testing::Test {
 public:
  enum class Source { none, faithful, damaged };

 protected:
  static void SetUpTestSuite() {
    if (!units_.empty()) return;  // shared with the read-ahead suite built on this one
    const std::string path =
        test::makeFixture("gop48-bframes.h264",
                          "-f lavfi -i testsrc2=size=320x240:rate=24 -frames:v 110 -pix_fmt yuv420p -c:v libx264 -g 48 "
                          "-keyint_min 48 -sc_threshold 0 -bf 3 -x264-params aud=1 -f h264");
    units_ = test::splitAccessUnits(test::readFile(path));
    // Reference: every sample once, in order, through one decoder.
    std::unique_ptr<Decoder> decoder = newDecoder();
    std::vector<Picture> pictures;
    for (std::size_t i = 0; i < units_.size(); ++i)
      decoder->send(units_[i].bytes, static_cast<std::int64_t>(i), pictures);
    decoder->releaseHeldPictures(pictures);
    for (const Picture& picture : pictures) {
      displayOrder_.push_back(picture.sampleId());
      TestImage image(kPixelFormat2vuy, kWidth, kHeight);
      decoder->convert(picture, test::viewOf(image));
      reference_[picture.sampleId()] = std::move(image.bytes);
    }
  }

  static std::unique_ptr<Decoder> newDecoder() {
    DecoderConfig config;
    config.codecType = 'avc1';
    config.width = kWidth;
    config.height = kHeight;
    std::unique_ptr<Decoder> decoder;
    EXPECT_EQ(Decoder::create(config, decoder), Status::ok);
    return decoder;
  }

  // Hands over the samples from the sync sample before `target` up to it, shows only `target`.
  static std::vector<std::uint8_t> request(DecodeSequence& sequence, std::int64_t target) {
    std::int64_t sync = target;
    while (sync > 0 && !units_[sync].sync) --sync;
    for (std::int64_t s = sync; s <= target; ++s) EXPECT_EQ(sequence.add(s, units_[s].bytes, s == target), Status::ok);
    std::vector<Picture> pictures;
    EXPECT_EQ(sequence.finish(pictures), Status::ok);
    EXPECT_EQ(pictures.size(), 1u);
    if (pictures.size() != 1) return {};
    EXPECT_EQ(pictures[0].sampleId(), target);
    TestImage image(kPixelFormat2vuy, kWidth, kHeight);
    EXPECT_EQ(sequence.decoder().convert(pictures[0], test::viewOf(image)), Status::ok);
    return image.bytes;
  }

  static DecodeSequence makeSequence(Source source) {
    DecodeSequence sequence(newDecoder());
    if (source != Source::none) {
      sequence.setSampleSource([source](std::int64_t number, std::vector<std::uint8_t>& bytes) {
        if (number < 0 || number >= static_cast<std::int64_t>(units_.size())) return false;
        bytes = units_[number].bytes;
        if (source == Source::damaged) bytes.back() ^= 0x5A;
        return true;
      });
    }
    return sequence;
  }

  static std::vector<AccessUnit> units_;
  static std::vector<std::int64_t> displayOrder_;
  static std::map<std::int64_t, std::vector<std::uint8_t>> reference_;
};

std::vector<AccessUnit> LongGopSequence::units_;
std::vector<std::int64_t> LongGopSequence::displayOrder_;
std::map<std::int64_t, std::vector<std::uint8_t>> LongGopSequence::reference_;

TEST_F(LongGopSequence, FixtureHasLongGopsWithReordering) {
  ASSERT_EQ(units_.size(), static_cast<std::size_t>(kFrames));
  ASSERT_EQ(displayOrder_.size(), units_.size());
  int syncs = 0;
  for (const AccessUnit& unit : units_) syncs += unit.sync;
  EXPECT_EQ(syncs, 3);
  int reordered = 0;
  for (std::size_t i = 0; i < displayOrder_.size(); ++i) reordered += displayOrder_[i] != static_cast<std::int64_t>(i);
  EXPECT_GT(reordered, kFrames / 2);
}

TEST_F(LongGopSequence, AFreshSequencePerPictureGivesTheSamePixels) {
  for (std::size_t k = 3; k < displayOrder_.size(); k += 17) {
    DecodeSequence fresh(newDecoder());
    const std::int64_t target = displayOrder_[k];
    EXPECT_EQ(request(fresh, target), reference_[target]) << "display position " << k;
  }
}

class ReadAheadSequence : public LongGopSequence, public ::testing::WithParamInterface<LongGopSequence::Source> {};

TEST_P(ReadAheadSequence, ReadingInDisplayOrderDecodesEachSampleOnceAndMatchesAFreshDecode) {
  DecodeSequence sequence = makeSequence(GetParam());
  for (std::size_t k = 0; k < displayOrder_.size(); ++k) {
    const std::int64_t target = displayOrder_[k];
    ASSERT_EQ(request(sequence, target), reference_[target]) << "display position " << k;
    // Reading ahead: the first request already went past the wanted sample.
    if (k == 0 && GetParam() == Source::faithful) {
      EXPECT_GT(sequence.samplesDecoded(), 1u);
    }
  }
  // Bytes read ahead that differ from the requests' are decoded again, never shown.
  if (GetParam() != Source::damaged) {
    EXPECT_EQ(sequence.samplesDecoded(), units_.size());
  }
}

TEST_P(ReadAheadSequence, JumpsBackwardAndAcrossGopsStayCorrect) {
  DecodeSequence sequence = makeSequence(GetParam());
  const std::size_t positions[] = {60, 61, 5, 100, 99, 47, 48, 2, 2, 108, 109, 0};
  for (std::size_t k : positions) {
    const std::int64_t target = displayOrder_[k];
    ASSERT_EQ(request(sequence, target), reference_[target]) << "display position " << k;
  }
}

std::string sourceName(const ::testing::TestParamInfo<LongGopSequence::Source>& info) {
  static const char* const kNames[] = {"None", "Faithful", "Damaged"};
  return kNames[static_cast<int>(info.param)];
}

INSTANTIATE_TEST_SUITE_P(Sources, ReadAheadSequence,
                         ::testing::Values(LongGopSequence::Source::none, LongGopSequence::Source::faithful,
                                           LongGopSequence::Source::damaged),
                         sourceName);

TEST_F(LongGopSequence, ChangedSampleDataIsDecodedAgainNotTakenFromTheCache) {
  DecodeSequence sequence(newDecoder());
  request(sequence, displayOrder_[10]);
  const std::uint64_t before = sequence.samplesDecoded();
  // Same sample numbers, but the sync sample's bytes differ: everything is decoded again.
  std::vector<std::uint8_t> damaged = units_[0].bytes;
  damaged.back() ^= 0x5A;
  sequence.add(0, damaged, false);
  sequence.add(1, units_[1].bytes, true);
  std::vector<Picture> pictures;
  sequence.finish(pictures);
  EXPECT_EQ(sequence.samplesDecoded(), before + 2);
}

TEST(DecodeSequenceIntra, ConsecutiveIntraSamplesAreDecodedOnceEach) {
  EncoderConfig config;
  config.codecType = 'apcn';
  config.width = 128;
  config.height = 96;
  std::unique_ptr<Encoder> encoder;
  ASSERT_EQ(Encoder::create(config, encoder), Status::ok);
  std::vector<EncodedFrame> frames;
  for (int i = 0; i < 6; ++i)
    ASSERT_EQ(encoder->encode(test::constViewOf(test::makeArgbPattern(128, 96, i)), i, 1, frames), Status::ok);
  ASSERT_EQ(encoder->finish(frames), Status::ok);
  ASSERT_EQ(frames.size(), 6u);

  DecoderConfig decoderConfig;
  decoderConfig.codecType = 'apcn';
  decoderConfig.width = 128;
  decoderConfig.height = 96;
  std::unique_ptr<Decoder> decoder;
  ASSERT_EQ(Decoder::create(decoderConfig, decoder), Status::ok);
  DecodeSequence sequence(std::move(decoder));
  for (int i = 0; i < 6; ++i) {
    ASSERT_EQ(sequence.add(i, frames[i].data, true), Status::ok);
    std::vector<Picture> pictures;
    ASSERT_EQ(sequence.finish(pictures), Status::ok);
    ASSERT_EQ(pictures.size(), 1u);
    EXPECT_EQ(pictures[0].sampleId(), i);
  }
  EXPECT_EQ(sequence.samplesDecoded(), 6u);
}

}  // namespace
}  // namespace vqt::codecs

namespace vqt::codecs {
namespace {

// MPEG-4 with B-frames has no way to hand out a held picture and keep going:
// the decoder drains, and the next request decodes again from its sync sample.
// Reading ahead spares the drains: each sample is then decoded once.
TEST(DecodeSequenceDrained, ReorderingCodecsStillGiveTheSamePictures) {
  EncoderConfig config;
  config.codecType = 'mp4v';
  config.width = 128;
  config.height = 96;
  config.keyFrameInterval = 12;
  std::unique_ptr<Encoder> encoder;
  ASSERT_EQ(Encoder::create(config, encoder), Status::ok);
  std::vector<EncodedFrame> frames;
  for (int i = 0; i < 24; ++i)
    ASSERT_EQ(encoder->encode(test::constViewOf(test::makeArgbPattern(128, 96, i)), i * 100, 100, frames), Status::ok);
  ASSERT_EQ(encoder->finish(frames), Status::ok);
  ASSERT_EQ(frames.size(), 24u);

  DecoderConfig decoderConfig;
  decoderConfig.codecType = 'mp4v';
  decoderConfig.width = 128;
  decoderConfig.height = 96;
  decoderConfig.configAtomType = encoder->configAtomType();
  decoderConfig.configAtom = encoder->configAtom();
  auto read = [&](DecodeSequence& sequence, std::size_t target) {
    std::size_t sync = target;
    while (sync > 0 && !frames[sync].sync) --sync;
    for (std::size_t s = sync; s <= target; ++s)
      sequence.add(static_cast<std::int64_t>(s), frames[s].data, s == target);
    std::vector<Picture> pictures;
    sequence.finish(pictures);
    TestImage image(kPixelFormat2vuy, 128, 96);
    if (pictures.size() == 1) sequence.decoder().convert(pictures[0], test::viewOf(image));
    return std::make_pair(pictures.size(), image.bytes);
  };
  std::unique_ptr<Decoder> kept;
  ASSERT_EQ(Decoder::create(decoderConfig, kept), Status::ok);
  DecodeSequence sequence(std::move(kept));
  std::unique_ptr<Decoder> ahead;
  ASSERT_EQ(Decoder::create(decoderConfig, ahead), Status::ok);
  DecodeSequence readingAhead(std::move(ahead));
  readingAhead.setSampleSource([&](std::int64_t number, std::vector<std::uint8_t>& bytes) {
    if (number < 0 || number >= static_cast<std::int64_t>(frames.size())) return false;
    bytes = frames[number].data;
    return true;
  });
  int reordered = 0;
  for (std::size_t position = 0; position < frames.size(); ++position) {
    std::size_t target = 0;
    while (frames[target].displayTime != static_cast<std::int64_t>(position) * 100) ++target;
    reordered += target != position;
    const auto [count, pixels] = read(sequence, target);
    ASSERT_EQ(count, 1u) << "display position " << position;
    std::unique_ptr<Decoder> freshDecoder;
    ASSERT_EQ(Decoder::create(decoderConfig, freshDecoder), Status::ok);
    DecodeSequence fresh(std::move(freshDecoder));
    EXPECT_EQ(read(fresh, target).second, pixels) << "display position " << position;
    EXPECT_EQ(read(readingAhead, target).second, pixels) << "display position " << position;
  }
  EXPECT_GT(reordered, 0);
  EXPECT_EQ(readingAhead.samplesDecoded(), frames.size());
}

}  // namespace
}  // namespace vqt::codecs
