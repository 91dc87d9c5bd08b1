// Fast queries over a media's sample tables: decode and display times to
// sample numbers and back, composition offsets, sync-sample search in both
// directions, and sample -> chunk -> file offset. Tables are turned into runs
// with prefix sums at open (linear); every query is a binary search.
#pragma once

#include "vqt/container/SampleTableAtoms.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace vqt::container {

struct SampleLocation {
  std::uint64_t offset = 0;  // in the file
  std::uint32_t size = 0;
  std::uint32_t descriptionIndex = 0;    // 1-based, as stored
  std::uint32_t samplesLeftInChunk = 0;  // this one included
};

struct SampleTableAtoms {
  const TimeToSampleAtom* timeToSample = nullptr;
  const CompositionOffsetAtom* compositionOffsets = nullptr;
  const SyncSampleAtom* syncSamples = nullptr;
  const SampleToChunkAtom* sampleToChunk = nullptr;
  const SampleSizeAtom* sampleSizes = nullptr;
  const ChunkOffsetAtom* chunkOffsets = nullptr;
  const SampleDependencyAtom* dependencies = nullptr;
};

class SampleTable {
 public:
  // Sample numbers are 1-based throughout, as in the Movie Toolbox.
  // `fileSize` bounds the sample count: a table claiming more samples than the
  // file has bytes is refused, which keeps every later allocation in proportion.
  // `bytesPerSampleOverride`, when not 0, replaces a constant sample size
  // (sound media whose 'stsz' counts frames of 1 "byte", see Movie.cpp).
  static Error build(const SampleTableAtoms& atoms, std::uint64_t fileSize, SampleTable& out,
                     std::uint32_t bytesPerSampleOverride = 0);

  std::uint32_t sampleCount() const { return sampleCount_; }
  std::int64_t decodeDuration() const { return totalDecodeDuration_; }
  bool hasCompositionOffsets() const { return !offsetRuns_.empty(); }

  Error decodeTime(std::uint32_t sample, std::int64_t& time, std::int64_t& duration) const;
  Error sampleAtDecodeTime(std::int64_t time, std::uint32_t& sample) const;
  std::int32_t compositionOffset(std::uint32_t sample) const;
  // Display duration: up to the next sample in display order; the last one
  // keeps its decode duration.
  Error displayTime(std::uint32_t sample, std::int64_t& time, std::int64_t& duration) const;
  Error sampleAtDisplayTime(std::int64_t time, std::uint32_t& sample) const;
  std::int64_t displayStart() const;
  std::int64_t displayEnd() const;
  // Display start times of samples: the first at or after `time` (strictly
  // after unless `inclusive`), or the last at or before it.
  std::optional<std::int64_t> displayBoundaryAfter(std::int64_t time, bool inclusive) const;
  std::optional<std::int64_t> displayBoundaryBefore(std::int64_t time, bool inclusive) const;

  bool isSync(std::uint32_t sample) const;
  std::optional<std::uint32_t> syncAtOrBefore(std::uint32_t sample) const;
  std::optional<std::uint32_t> syncAtOrAfter(std::uint32_t sample) const;
  std::uint8_t dependencyFlags(std::uint32_t sample) const;  // 'sdtp' byte, 0 when absent

  Error location(std::uint32_t sample, SampleLocation& out) const;

 private:
  struct TimeRun {
    std::uint32_t firstSample;
    std::uint32_t count;
    std::int64_t startTime;
    std::uint32_t delta;
  };
  struct OffsetRun {
    std::uint32_t firstSample;
    std::uint32_t count;
    std::int32_t offset;
  };
  struct ChunkRun {
    std::uint32_t firstChunk;
    std::uint32_t chunkCount;
    std::uint32_t samplesPerChunk;
    std::uint32_t descriptionIndex;
    std::uint64_t firstSample;
  };

  void buildDisplayOrder() const;
  std::uint32_t sizeOf(std::uint32_t index) const;

  std::uint32_t sampleCount_ = 0;
  std::int64_t totalDecodeDuration_ = 0;
  std::vector<TimeRun> timeRuns_;
  std::vector<OffsetRun> offsetRuns_;
  std::vector<ChunkRun> chunkRuns_;
  std::vector<std::uint64_t> chunkOffsets_;
  std::uint32_t constantSize_ = 0;
  std::vector<std::uint32_t> sizes_;
  std::vector<std::uint64_t> sizePrefix_;  // byte offset of each sample from the first, when sizes vary
  bool hasSyncTable_ = false;
  std::vector<std::uint32_t> syncSamples_;
  std::vector<std::uint8_t> dependencies_;

  // Display order, built on the first display query of a table with
  // composition offsets (so opening stays linear).
  mutable bool displayOrderBuilt_ = false;
  mutable std::vector<std::int64_t> displaySorted_;
  mutable std::vector<std::uint32_t> displayOrder_;  // position in displaySorted_ -> sample index
  mutable std::vector<std::uint32_t> displayRank_;   // sample index -> position in displaySorted_
};

}  // namespace vqt::container
