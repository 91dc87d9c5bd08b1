// The sample table atoms of 'stbl' as stored: time-to-sample, composition
// offsets, sync samples, sample-to-chunk, sample sizes and chunk offsets.
// Every table checks its entry count against the bytes left before allocating.
#pragma once

#include "vqt/container/Atom.h"

namespace vqt::container {

class TimeToSampleAtom final : public FullAtom {
 public:
  TimeToSampleAtom() : FullAtom('stts') {}
  struct Entry {
    std::uint32_t count = 0;
    std::uint32_t delta = 0;
  };
  std::vector<Entry> entries;

  Error parse(ByteReader& in, ParseContext&) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

// Version 0 offsets are read as signed too, as most writers mean them.
class CompositionOffsetAtom final : public FullAtom {
 public:
  CompositionOffsetAtom() : FullAtom('ctts') {}
  struct Entry {
    std::uint32_t count = 0;
    std::int32_t offset = 0;
  };
  std::vector<Entry> entries;

  Error parse(ByteReader& in, ParseContext&) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

class SyncSampleAtom final : public FullAtom {
 public:
  SyncSampleAtom() : FullAtom('stss') {}
  std::vector<std::uint32_t> sampleNumbers;  // 1-based

  Error parse(ByteReader& in, ParseContext&) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

class SampleToChunkAtom final : public FullAtom {
 public:
  SampleToChunkAtom() : FullAtom('stsc') {}
  struct Entry {
    std::uint32_t firstChunk = 1;
    std::uint32_t samplesPerChunk = 0;
    std::uint32_t descriptionIndex = 1;
  };
  std::vector<Entry> entries;

  Error parse(ByteReader& in, ParseContext&) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

// 'stsz' and 'stz2' share one class: a constant size, or one size per sample.
class SampleSizeAtom final : public FullAtom {
 public:
  explicit SampleSizeAtom(FourCC type) : FullAtom(type) {}
  std::uint32_t constantSize = 0;  // 'stsz' only; 0 when sizes are listed
  std::uint32_t sampleCount = 0;
  std::uint8_t fieldSize = 32;  // 'stz2': 4, 8 or 16 bits per entry
  std::vector<std::uint32_t> sizes;

  std::uint32_t sizeOf(std::uint32_t index) const { return constantSize ? constantSize : sizes[index]; }
  Error parse(ByteReader& in, ParseContext&) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

// 'stco' (32-bit) and 'co64' (64-bit) share one class.
class ChunkOffsetAtom final : public FullAtom {
 public:
  explicit ChunkOffsetAtom(FourCC type) : FullAtom(type) {}
  std::vector<std::uint64_t> offsets;

  Error parse(ByteReader& in, ParseContext&) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

// 'sdtp': one dependency byte per sample; its count comes from 'stsz', which
// is not known while parsing, so the bytes are kept as they are.
class SampleDependencyAtom final : public FullAtom {
 public:
  SampleDependencyAtom() : FullAtom('sdtp') {}
  std::vector<std::uint8_t> flagsPerSample;

  Error parse(ByteReader& in, ParseContext&) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

}  // namespace vqt::container
