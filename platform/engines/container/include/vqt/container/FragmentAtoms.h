// The atoms of fragmented movies: the defaults a movie declares for its
// fragments ('mehd', 'trex' inside 'mvex') and the fragment headers and sample
// runs ('mfhd', 'tfhd', 'tfdt', 'trun' inside 'moof'/'traf').
#pragma once

#include "vqt/container/Atom.h"

namespace vqt::container {

// 'mehd': the whole duration of a fragmented movie, in the movie time scale.
class MovieExtendsHeaderAtom final : public FullAtom {
 public:
  MovieExtendsHeaderAtom() : FullAtom('mehd') {}
  std::uint64_t fragmentDuration = 0;

  Error parse(ByteReader& in, ParseContext&) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

// 'trex': what a track's fragments use when their own headers say nothing.
class TrackExtendsAtom final : public FullAtom {
 public:
  TrackExtendsAtom() : FullAtom('trex') {}
  std::uint32_t trackId = 0;
  std::uint32_t defaultDescriptionIndex = 1;
  std::uint32_t defaultDuration = 0;
  std::uint32_t defaultSize = 0;
  std::uint32_t defaultFlags = 0;

  Error parse(ByteReader& in, ParseContext&) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

class MovieFragmentHeaderAtom final : public FullAtom {
 public:
  MovieFragmentHeaderAtom() : FullAtom('mfhd') {}
  std::uint32_t sequenceNumber = 0;

  Error parse(ByteReader& in, ParseContext&) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

// 'tfhd': each optional field is present when its flag is set; the values of
// absent fields are kept at 0 and not written back.
class TrackFragmentHeaderAtom final : public FullAtom {
 public:
  static constexpr std::uint32_t kBaseDataOffset = 0x000001;
  static constexpr std::uint32_t kDescriptionIndex = 0x000002;
  static constexpr std::uint32_t kDefaultDuration = 0x000008;
  static constexpr std::uint32_t kDefaultSize = 0x000010;
  static constexpr std::uint32_t kDefaultFlags = 0x000020;
  static constexpr std::uint32_t kDurationIsEmpty = 0x010000;
  static constexpr std::uint32_t kDefaultBaseIsMoof = 0x020000;

  TrackFragmentHeaderAtom() : FullAtom('tfhd') {}
  std::uint32_t trackId = 0;
  std::uint64_t baseDataOffset = 0;
  std::uint32_t descriptionIndex = 0;
  std::uint32_t defaultDuration = 0;
  std::uint32_t defaultSize = 0;
  std::uint32_t defaultFlags = 0;

  Error parse(ByteReader& in, ParseContext&) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

// 'tfdt': the decode time of the fragment's first sample, in the media time scale.
class TrackFragmentDecodeTimeAtom final : public FullAtom {
 public:
  TrackFragmentDecodeTimeAtom() : FullAtom('tfdt') {}
  std::uint64_t baseMediaDecodeTime = 0;

  Error parse(ByteReader& in, ParseContext&) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

// 'trun': a run of samples stored back to back. Only the per-sample fields
// its flags name are stored; a run that stores none keeps just its count, so
// a count of billions in a few bytes allocates nothing.
class TrackRunAtom final : public FullAtom {
 public:
  static constexpr std::uint32_t kDataOffset = 0x000001;
  static constexpr std::uint32_t kFirstSampleFlags = 0x000004;
  static constexpr std::uint32_t kSampleDuration = 0x000100;
  static constexpr std::uint32_t kSampleSize = 0x000200;
  static constexpr std::uint32_t kSampleFlags = 0x000400;
  static constexpr std::uint32_t kCompositionOffset = 0x000800;

  // The sample flags' bit that marks a sample other samples depend on the
  // decoding of: everything but a sync sample.
  static constexpr std::uint32_t kNonSyncSample = 0x00010000;

  struct Sample {
    std::uint32_t duration = 0;
    std::uint32_t size = 0;
    std::uint32_t flags = 0;
    std::int32_t compositionOffset = 0;  // version 0 offsets read as signed, as for 'ctts'
  };

  TrackRunAtom() : FullAtom('trun') {}
  std::uint32_t sampleCount = 0;
  std::int32_t dataOffset = 0;
  std::uint32_t firstSampleFlags = 0;
  std::vector<Sample> samples;  // empty unless the flags name a per-sample field

  bool hasPerSampleFields() const {
    return (flags & (kSampleDuration | kSampleSize | kSampleFlags | kCompositionOffset)) != 0;
  }
  Error parse(ByteReader& in, ParseContext&) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

}  // namespace vqt::container
