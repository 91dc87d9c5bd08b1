#include "vqt/container/Fragments.h"

#include <algorithm>

namespace vqt::container {

void SampleTableAccumulator::add(const FragmentSample& s) {
  if (frameBytes_ == 0) return addRun(s, 1);
  // Uncompressed sound: a fragment's sample is a packet of frames, which a
  // movie file stores as one sample per frame.
  FragmentSample frame = s;
  frame.size = frameBytes_;
  frame.duration = 1;
  frame.compositionOffset = 0;
  if (const std::uint32_t frames = s.size / frameBytes_) addRun(frame, frames);
}

void SampleTableAccumulator::addRun(const FragmentSample& s, std::uint32_t n) {
  auto& times = times_.entries;
  if (!times.empty() && times.back().delta == s.duration)
    times.back().count += n;
  else
    times.push_back({n, s.duration});
  auto& offsets = offsets_.entries;
  if (!offsets.empty() && offsets.back().offset == s.compositionOffset)
    offsets.back().count += n;
  else
    offsets.push_back({n, s.compositionOffset});
  anyOffset_ = anyOffset_ || s.compositionOffset != 0;
  if (s.compositionOffset < 0) offsets_.version = 1;

  // The sync list and the dependency bytes are only kept from the first
  // sample that needs them on (filled in for the samples before), so a track
  // of sync samples without dependency flags costs nothing for either.
  auto& syncNumbers = sync_.sampleNumbers;
  if (!s.sync && !anyNonSync_) {
    anyNonSync_ = true;
    for (std::uint64_t k = 1; k <= count_; ++k) syncNumbers.push_back(static_cast<std::uint32_t>(k));
  }
  if (anyNonSync_ && s.sync)
    for (std::uint32_t k = 1; k <= n; ++k) syncNumbers.push_back(static_cast<std::uint32_t>(count_ + k));
  auto& dependencyBytes = dependencies_.flagsPerSample;
  if (s.dependency != 0 && !anyDependency_) {
    anyDependency_ = true;
    dependencyBytes.assign(count_, 0);
  }
  if (anyDependency_) dependencyBytes.insert(dependencyBytes.end(), n, s.dependency);
  if (frameBytes_ == 0) sizes_.sizes.insert(sizes_.sizes.end(), n, s.size);

  if (count_ == 0 || s.offset != chunkEnd_ || s.descriptionIndex != chunkDescription_) {
    closeChunk();
    chunkOffsets_.offsets.push_back(s.offset);
    chunkDescription_ = s.descriptionIndex;
  }
  chunkSamples_ += n;
  chunkEnd_ = s.offset + std::uint64_t(n) * s.size;
  decodeEnd_ += std::uint64_t(n) * s.duration;
  count_ += n;
}

void SampleTableAccumulator::closeChunk() {
  if (chunkSamples_ == 0) return;
  auto& runs = chunks_.entries;
  if (runs.empty() || runs.back().samplesPerChunk != chunkSamples_ || runs.back().descriptionIndex != chunkDescription_)
    runs.push_back({static_cast<std::uint32_t>(chunkOffsets_.offsets.size()), chunkSamples_, chunkDescription_});
  chunkSamples_ = 0;
}

void SampleTableAccumulator::lengthenLast(std::uint64_t extra) {
  // Uncompressed sound lasts as many frames as it has; a decode time that
  // says otherwise is the writer's guess.
  if (frameBytes_ != 0) return;
  auto& times = times_.entries;
  if (times.empty() || extra > UINT32_MAX - times.back().delta) return;
  const auto lengthened = static_cast<std::uint32_t>(times.back().delta + extra);
  if (times.back().count == 1) {
    times.back().delta = lengthened;
  } else {
    --times.back().count;
    times.push_back({1, lengthened});
  }
  decodeEnd_ += extra;
}

SampleTableAtoms SampleTableAccumulator::finish() {
  closeChunk();
  sizes_.constantSize = frameBytes_;
  sizes_.sampleCount = static_cast<std::uint32_t>(count_);
  SampleTableAtoms atoms;
  atoms.timeToSample = &times_;
  atoms.compositionOffsets = anyOffset_ ? &offsets_ : nullptr;
  // Without a sync table every sample is a sync sample.
  atoms.syncSamples = anyNonSync_ ? &sync_ : nullptr;
  atoms.sampleToChunk = &chunks_;
  atoms.sampleSizes = &sizes_;
  atoms.chunkOffsets = &chunkOffsets_;
  atoms.dependencies = anyDependency_ ? &dependencies_ : nullptr;
  return atoms;
}

FragmentReader::FragmentReader(const Atom& movieAtom, std::uint64_t fileSize)
    : movieAtom_(movieAtom), fileSize_(fileSize) {}

void FragmentReader::addTrack(std::uint32_t trackId, const SampleTable& fromMovieAtom, std::uint32_t pcmFrameBytes) {
  TrackState state;
  state.fromMovieAtom = &fromMovieAtom;
  state.pcmFrameBytes = pcmFrameBytes;
  if (const Atom* mvex = movieAtom_.find('mvex')) {
    for (const auto& atom : *mvex->children()) {
      const auto* defaults = dynamic_cast<const TrackExtendsAtom*>(atom.get());
      if (defaults && defaults->trackId == trackId) {
        state.defaults = defaults;
        break;
      }
    }
  }
  tracks_.emplace(trackId, std::move(state));  // the first track of an ID wins
}

SampleTableAccumulator* FragmentReader::tablesOf(std::uint32_t trackId) {
  auto it = tracks_.find(trackId);
  return it == tracks_.end() ? nullptr : it->second.tables.get();
}

Error FragmentReader::seed(TrackState& track) {
  track.tables = std::make_unique<SampleTableAccumulator>(track.pcmFrameBytes);
  const SampleTable& table = *track.fromMovieAtom;
  for (std::uint32_t n = 1; n <= table.sampleCount(); ++n) {
    SampleLocation where;
    std::int64_t time = 0, duration = 0;
    if (Error e = table.location(n, where); e != Error::none) return e;
    if (Error e = table.decodeTime(n, time, duration); e != Error::none) return e;
    track.tables->add({where.offset, where.size, static_cast<std::uint32_t>(duration), table.compositionOffset(n),
                       where.descriptionIndex, table.isSync(n), table.dependencyFlags(n)});
  }
  return Error::none;
}

Error FragmentReader::addMovieFragment(const Atom& moof, std::uint64_t offset) {
  // Without an explicit base, the first track fragment's data starts at the
  // 'moof' and each later one's where the one before it ended.
  std::uint64_t dataEnd = offset;
  for (const auto& traf : *moof.children()) {
    if (traf->type() != 'traf') continue;
    const auto* header = traf->findAs<TrackFragmentHeaderAtom>('tfhd');
    if (!header) continue;
    auto it = tracks_.find(header->trackId);
    if (it == tracks_.end() || it->second.ended) continue;
    if (Error e = addTrackFragment(*traf, *header, it->second, offset, dataEnd); e != Error::none) return e;
  }
  return Error::none;
}

Error FragmentReader::addTrackFragment(const Atom& traf, const TrackFragmentHeaderAtom& header, TrackState& track,
                                       std::uint64_t moofOffset, std::uint64_t& dataEnd) {
  using Header = TrackFragmentHeaderAtom;
  using Run = TrackRunAtom;
  if (!track.tables)
    if (Error e = seed(track); e != Error::none) return e;
  SampleTableAccumulator& tables = *track.tables;

  const TrackExtendsAtom fallback;
  const TrackExtendsAtom& defaults = track.defaults ? *track.defaults : fallback;
  const std::uint64_t base = (header.flags & Header::kBaseDataOffset)      ? header.baseDataOffset
                             : (header.flags & Header::kDefaultBaseIsMoof) ? moofOffset
                                                                           : dataEnd;
  const std::uint32_t description =
      header.flags & Header::kDescriptionIndex ? header.descriptionIndex : defaults.defaultDescriptionIndex;
  const std::uint32_t duration =
      header.flags & Header::kDefaultDuration ? header.defaultDuration : defaults.defaultDuration;
  const std::uint32_t size = header.flags & Header::kDefaultSize ? header.defaultSize : defaults.defaultSize;
  const std::uint32_t sampleFlags = header.flags & Header::kDefaultFlags ? header.defaultFlags : defaults.defaultFlags;

  if (const auto* decodeTime = traf.findAs<TrackFragmentDecodeTimeAtom>('tfdt'))
    if (tables.sampleCount() > 0 && decodeTime->baseMediaDecodeTime > tables.decodeEnd())
      tables.lengthenLast(decodeTime->baseMediaDecodeTime - tables.decodeEnd());

  // Each run without its own data offset continues where the one before ended.
  std::uint64_t cursor = base;
  for (const auto& child : *traf.children()) {
    const auto* run = dynamic_cast<const Run*>(child.get());
    if (!run) continue;
    std::uint64_t at = cursor;
    if (run->flags & Run::kDataOffset) {
      // A negative offset pointing before the file's start ends the track.
      const auto back = static_cast<std::uint64_t>(-std::int64_t(run->dataOffset));
      if (run->dataOffset < 0 && back > base) {
        track.ended = true;
        break;
      }
      at = run->dataOffset < 0 ? base - back : base + static_cast<std::uint64_t>(run->dataOffset);
    }
    // Every sample needs a place in the file, and all of them together stay
    // under the named limit: checked before the loop, so no count runs away.
    const std::uint64_t limit = std::min(kMaxFragmentSamples, fileSize_);
    if (run->sampleCount > limit - std::min(limit, samplesAdded_) ||
        tables.sampleCount() + run->sampleCount > fileSize_)
      return Error::tableTooLarge;
    for (std::uint32_t i = 0; i < run->sampleCount; ++i) {
      FragmentSample s;
      const Run::Sample* own = i < run->samples.size() ? &run->samples[i] : nullptr;
      s.duration = own && (run->flags & Run::kSampleDuration) ? own->duration : duration;
      s.size = own && (run->flags & Run::kSampleSize) ? own->size : size;
      s.compositionOffset = own && (run->flags & Run::kCompositionOffset) ? own->compositionOffset : 0;
      std::uint32_t f = sampleFlags;
      if (own && (run->flags & Run::kSampleFlags))
        f = own->flags;
      else if (i == 0 && (run->flags & Run::kFirstSampleFlags))
        f = run->firstSampleFlags;
      s.sync = (f & Run::kNonSyncSample) == 0;
      s.dependency = static_cast<std::uint8_t>(f >> 20);
      s.descriptionIndex = description;
      if (at > fileSize_ || s.size > fileSize_ - at) {
        track.ended = true;
        break;
      }
      s.offset = at;
      tables.add(s);
      ++samplesAdded_;
      at += s.size;
    }
    cursor = at;
    if (track.ended) break;
  }
  dataEnd = cursor;
  return Error::none;
}

}  // namespace vqt::container
