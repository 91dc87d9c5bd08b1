#include "vqt/container/SampleTable.h"

#include <algorithm>
#include <numeric>

namespace vqt::container {

Error SampleTable::build(const SampleTableAtoms& atoms, std::uint64_t fileSize, SampleTable& out,
                         std::uint32_t bytesPerSampleOverride) {
  out = SampleTable{};
  if (!atoms.sampleSizes || !atoms.timeToSample || !atoms.sampleToChunk || !atoms.chunkOffsets) {
    // A media without samples (an empty track) has no tables at all.
    if (!atoms.sampleSizes && !atoms.timeToSample) return Error::none;
    return Error::badTable;
  }
  const SampleSizeAtom& sizes = *atoms.sampleSizes;
  std::uint64_t count = sizes.constantSize ? sizes.sampleCount : sizes.sizes.size();

  // Chunk runs, from the sample-to-chunk entries; an entry that does not
  // move forward ends the table.
  out.chunkOffsets_ = atoms.chunkOffsets->offsets;
  const std::uint64_t chunkTotal = out.chunkOffsets_.size();
  std::uint64_t capacity = 0;
  const auto& stsc = atoms.sampleToChunk->entries;
  std::uint64_t previousFirst = 0;
  for (std::size_t i = 0; i < stsc.size(); ++i) {
    const std::uint64_t first = stsc[i].firstChunk;
    if (first <= previousFirst || first > chunkTotal) break;
    previousFirst = first;
    std::uint64_t next = i + 1 < stsc.size() ? stsc[i + 1].firstChunk : chunkTotal + 1;
    if (next <= first || next > chunkTotal + 1) next = chunkTotal + 1;
    ChunkRun run{static_cast<std::uint32_t>(first - 1), static_cast<std::uint32_t>(next - first),
                 stsc[i].samplesPerChunk, stsc[i].descriptionIndex, capacity};
    capacity += std::uint64_t(run.chunkCount) * run.samplesPerChunk;
    // Chunks without samples hold nothing to find; leaving them out keeps
    // every run that a lookup lands on non-empty.
    if (run.samplesPerChunk > 0) out.chunkRuns_.push_back(run);
    if (next == chunkTotal + 1) break;
  }
  count = std::min(count, capacity);

  // Time runs; the sample count is what every table agrees on.
  std::uint64_t timed = 0;
  for (const auto& e : atoms.timeToSample->entries) timed += e.count;
  count = std::min(count, timed);
  if (count > fileSize) return Error::badTable;
  out.sampleCount_ = static_cast<std::uint32_t>(count);

  std::int64_t time = 0;
  std::uint64_t sample = 0;
  for (const auto& e : atoms.timeToSample->entries) {
    if (sample >= count) break;
    const std::uint32_t n = static_cast<std::uint32_t>(std::min<std::uint64_t>(e.count, count - sample));
    if (n == 0) continue;
    out.timeRuns_.push_back({static_cast<std::uint32_t>(sample), n, time, e.delta});
    // Media times stay below 2^62 so that offsets and scaling never overflow.
    const std::uint64_t span = std::uint64_t(n) * e.delta;  // < 2^64
    if (span > (std::uint64_t(1) << 62) - static_cast<std::uint64_t>(time)) return Error::badTable;
    time += static_cast<std::int64_t>(span);
    sample += n;
  }
  out.totalDecodeDuration_ = time;

  if (atoms.compositionOffsets) {
    sample = 0;
    bool anyOffset = false;
    for (const auto& e : atoms.compositionOffsets->entries) {
      if (sample >= count) break;
      const std::uint32_t n = static_cast<std::uint32_t>(std::min<std::uint64_t>(e.count, count - sample));
      if (n == 0) continue;
      out.offsetRuns_.push_back({static_cast<std::uint32_t>(sample), n, e.offset});
      anyOffset = anyOffset || e.offset != 0;
      sample += n;
    }
    if (!anyOffset) out.offsetRuns_.clear();
  }

  out.constantSize_ = sizes.constantSize && bytesPerSampleOverride ? bytesPerSampleOverride : sizes.constantSize;
  if (!out.constantSize_) {
    out.sizes_.assign(sizes.sizes.begin(), sizes.sizes.begin() + static_cast<std::ptrdiff_t>(count));
    out.sizePrefix_.resize(count + 1);
    out.sizePrefix_[0] = 0;
    for (std::size_t i = 0; i < count; ++i) out.sizePrefix_[i + 1] = out.sizePrefix_[i] + out.sizes_[i];
  }

  if (atoms.syncSamples) {
    out.hasSyncTable_ = true;
    out.syncSamples_ = atoms.syncSamples->sampleNumbers;
    if (!std::is_sorted(out.syncSamples_.begin(), out.syncSamples_.end()))
      std::sort(out.syncSamples_.begin(), out.syncSamples_.end());
    out.syncSamples_.erase(std::unique(out.syncSamples_.begin(), out.syncSamples_.end()), out.syncSamples_.end());
    std::erase_if(out.syncSamples_, [count](std::uint32_t n) { return n == 0 || n > count; });
  }
  if (atoms.dependencies) {
    const auto& flags = atoms.dependencies->flagsPerSample;
    out.dependencies_.assign(flags.begin(),
                             flags.begin() + static_cast<std::ptrdiff_t>(std::min<std::uint64_t>(flags.size(), count)));
  }
  return Error::none;
}

Error SampleTable::decodeTime(std::uint32_t sample, std::int64_t& time, std::int64_t& duration) const {
  if (sample == 0 || sample > sampleCount_) return Error::badSampleNumber;
  const std::uint32_t index = sample - 1;
  auto it = std::upper_bound(timeRuns_.begin(), timeRuns_.end(), index,
                             [](std::uint32_t i, const TimeRun& r) { return i < r.firstSample; });
  const TimeRun& run = *(it - 1);
  time = run.startTime + std::int64_t(index - run.firstSample) * run.delta;
  duration = run.delta;
  return Error::none;
}

Error SampleTable::sampleAtDecodeTime(std::int64_t time, std::uint32_t& sample) const {
  if (time < 0 || time >= totalDecodeDuration_) return Error::badTime;
  auto it = std::upper_bound(timeRuns_.begin(), timeRuns_.end(), time,
                             [](std::int64_t t, const TimeRun& r) { return t < r.startTime; });
  const TimeRun& run = *(it - 1);
  if (run.delta == 0) return Error::badTime;
  const std::int64_t step = (time - run.startTime) / run.delta;
  if (step >= run.count) return Error::badTime;
  sample = run.firstSample + static_cast<std::uint32_t>(step) + 1;
  return Error::none;
}

std::int32_t SampleTable::compositionOffset(std::uint32_t sample) const {
  if (offsetRuns_.empty() || sample == 0 || sample > sampleCount_) return 0;
  const std::uint32_t index = sample - 1;
  auto it = std::upper_bound(offsetRuns_.begin(), offsetRuns_.end(), index,
                             [](std::uint32_t i, const OffsetRun& r) { return i < r.firstSample; });
  if (it == offsetRuns_.begin()) return 0;
  const OffsetRun& run = *(it - 1);
  return index - run.firstSample < run.count ? run.offset : 0;
}

void SampleTable::buildDisplayOrder() const {
  if (displayOrderBuilt_) return;
  displayOrderBuilt_ = true;
  std::vector<std::uint32_t>& order = displayOrder_;
  order.resize(sampleCount_);
  std::iota(order.begin(), order.end(), 0u);
  std::vector<std::int64_t> times(sampleCount_);
  std::uint32_t index = 0;
  for (const auto& run : timeRuns_)
    for (std::uint32_t k = 0; k < run.count; ++k, ++index) times[index] = run.startTime + std::int64_t(k) * run.delta;
  for (const auto& run : offsetRuns_)
    for (std::uint32_t k = 0; k < run.count; ++k) times[run.firstSample + k] += run.offset;
  // Stable, so samples shown at the same time keep their decode order.
  std::stable_sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) { return times[a] < times[b]; });
  displaySorted_.resize(sampleCount_);
  displayRank_.resize(sampleCount_);
  for (std::uint32_t rank = 0; rank < sampleCount_; ++rank) {
    displaySorted_[rank] = times[order[rank]];
    displayRank_[order[rank]] = rank;
  }
}

Error SampleTable::displayTime(std::uint32_t sample, std::int64_t& time, std::int64_t& duration) const {
  std::int64_t decode = 0, decodeDuration = 0;
  if (Error e = decodeTime(sample, decode, decodeDuration); e != Error::none) return e;
  if (offsetRuns_.empty()) {
    time = decode;
    duration = decodeDuration;
    return Error::none;
  }
  buildDisplayOrder();
  const std::uint32_t rank = displayRank_[sample - 1];
  time = displaySorted_[rank];
  duration = rank + 1 < sampleCount_ ? displaySorted_[rank + 1] - time : decodeDuration;
  return Error::none;
}

std::int64_t SampleTable::displayStart() const {
  if (sampleCount_ == 0) return 0;
  if (offsetRuns_.empty()) return 0;
  buildDisplayOrder();
  return displaySorted_.front();
}

std::int64_t SampleTable::displayEnd() const {
  if (sampleCount_ == 0) return 0;
  if (offsetRuns_.empty()) return totalDecodeDuration_;
  buildDisplayOrder();
  // The sample shown last ends after its own decode duration.
  std::int64_t decode = 0, duration = 0;
  decodeTime(displayOrder_.back() + 1, decode, duration);
  return displaySorted_.back() + duration;
}

Error SampleTable::sampleAtDisplayTime(std::int64_t time, std::uint32_t& sample) const {
  if (offsetRuns_.empty()) return sampleAtDecodeTime(time, sample);
  if (sampleCount_ == 0) return Error::badTime;
  buildDisplayOrder();
  if (time < displaySorted_.front() || time >= displayEnd()) return Error::badTime;
  auto it = std::upper_bound(displaySorted_.begin(), displaySorted_.end(), time);
  sample = displayOrder_[static_cast<std::size_t>(it - displaySorted_.begin() - 1)] + 1;
  return Error::none;
}

std::optional<std::int64_t> SampleTable::displayBoundaryAfter(std::int64_t time, bool inclusive) const {
  if (sampleCount_ == 0) return std::nullopt;
  if (offsetRuns_.empty()) {
    // Sample starts are the decode times.
    if (time < 0) return 0;
    if (time >= totalDecodeDuration_) return std::nullopt;
    std::uint32_t s = 0;
    if (sampleAtDecodeTime(time, s) != Error::none) return std::nullopt;
    std::int64_t start = 0, duration = 0;
    decodeTime(s, start, duration);
    if (start == time && inclusive) return start;
    // `s` holds `time` and lasts at least one unit, so the next one starts later.
    if (s == sampleCount_) return std::nullopt;
    decodeTime(s + 1, start, duration);
    return start;
  }
  buildDisplayOrder();
  auto it = inclusive ? std::lower_bound(displaySorted_.begin(), displaySorted_.end(), time)
                      : std::upper_bound(displaySorted_.begin(), displaySorted_.end(), time);
  if (it == displaySorted_.end()) return std::nullopt;
  return *it;
}

std::optional<std::int64_t> SampleTable::displayBoundaryBefore(std::int64_t time, bool inclusive) const {
  if (sampleCount_ == 0) return std::nullopt;
  if (offsetRuns_.empty()) {
    if (time <= 0) {
      if (time == 0 && inclusive) return 0;
      return std::nullopt;
    }
    std::uint32_t s = 0;
    const std::int64_t probe = std::min<std::int64_t>(time, totalDecodeDuration_) - (inclusive ? 0 : 1);
    if (probe >= totalDecodeDuration_) {
      if (sampleCount_ == 0) return std::nullopt;
      s = sampleCount_;
    } else if (probe < 0 || sampleAtDecodeTime(probe, s) != Error::none) {
      return std::nullopt;
    }
    std::int64_t start = 0, duration = 0;
    decodeTime(s, start, duration);
    return start;
  }
  buildDisplayOrder();
  auto it = inclusive ? std::upper_bound(displaySorted_.begin(), displaySorted_.end(), time)
                      : std::lower_bound(displaySorted_.begin(), displaySorted_.end(), time);
  if (it == displaySorted_.begin()) return std::nullopt;
  return *(it - 1);
}

bool SampleTable::isSync(std::uint32_t sample) const {
  if (sample == 0 || sample > sampleCount_) return false;
  if (!hasSyncTable_) return true;
  return std::binary_search(syncSamples_.begin(), syncSamples_.end(), sample);
}

std::optional<std::uint32_t> SampleTable::syncAtOrBefore(std::uint32_t sample) const {
  if (sample == 0 || sampleCount_ == 0) return std::nullopt;
  sample = std::min(sample, sampleCount_);
  if (!hasSyncTable_) return sample;
  auto it = std::upper_bound(syncSamples_.begin(), syncSamples_.end(), sample);
  if (it == syncSamples_.begin()) return std::nullopt;
  return *(it - 1);
}

std::optional<std::uint32_t> SampleTable::syncAtOrAfter(std::uint32_t sample) const {
  if (sample > sampleCount_) return std::nullopt;
  sample = std::max(sample, 1u);
  if (!hasSyncTable_) return sample;
  auto it = std::lower_bound(syncSamples_.begin(), syncSamples_.end(), sample);
  if (it == syncSamples_.end()) return std::nullopt;
  return *it;
}

std::uint8_t SampleTable::dependencyFlags(std::uint32_t sample) const {
  return sample >= 1 && sample <= dependencies_.size() ? dependencies_[sample - 1] : 0;
}

std::uint32_t SampleTable::sizeOf(std::uint32_t index) const { return constantSize_ ? constantSize_ : sizes_[index]; }

Error SampleTable::location(std::uint32_t sample, SampleLocation& out) const {
  if (sample == 0 || sample > sampleCount_) return Error::badSampleNumber;
  const std::uint64_t index = sample - 1;
  auto it = std::upper_bound(chunkRuns_.begin(), chunkRuns_.end(), index,
                             [](std::uint64_t i, const ChunkRun& r) { return i < r.firstSample; });
  const ChunkRun& run = *(it - 1);
  const std::uint64_t chunkInRun = (index - run.firstSample) / run.samplesPerChunk;
  const std::uint64_t firstInChunk = run.firstSample + chunkInRun * run.samplesPerChunk;
  const std::uint64_t chunk = run.firstChunk + chunkInRun;
  const std::uint64_t before =
      constantSize_ ? (index - firstInChunk) * constantSize_ : sizePrefix_[index] - sizePrefix_[firstInChunk];
  const std::uint64_t base = chunkOffsets_[chunk];
  if (base > UINT64_MAX - before) return Error::badTable;
  out.offset = base + before;
  out.size = sizeOf(static_cast<std::uint32_t>(index));
  out.descriptionIndex = run.descriptionIndex;
  out.samplesLeftInChunk =
      static_cast<std::uint32_t>(std::min<std::uint64_t>(firstInChunk + run.samplesPerChunk, sampleCount_) - index);
  return Error::none;
}

}  // namespace vqt::container
