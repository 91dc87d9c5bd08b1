// InsertTrackSegment: the samples a segment of one track shows are copied
// into the destination's media and file, and edits pointing at the copies
// are inserted, so a written movie never refers to another file.
#include "MovieState.h"

#include <algorithm>

using namespace vqt::movies;

namespace {

using Wide = __int128;
constexpr std::size_t kMaxCopy = std::size_t(4) << 20;

struct CopyTarget {
  MovieObject& movie;
  engine::BuiltTrack& track;
  std::vector<std::uint32_t> descriptionMap;  // source index - 1 -> destination index
};

// Copies the samples whose decode spans meet [from, to) of the source media;
// returns the destination media time where `from` landed.
engine::Error copyMediaRange(const engine::Movie& sourceMovie, const engine::Media& source, std::int64_t from,
                             std::int64_t to, CopyTarget& target, std::int64_t& landed) {
  const engine::SampleTable& table = source.samples;
  landed = static_cast<std::int64_t>(target.track.media.duration());
  std::uint32_t sample = 0;
  if (table.sampleCount() == 0 || table.sampleAtDecodeTime(from, sample) != engine::Error::none)
    return engine::Error::none;
  std::int64_t firstTime = 0, length = 0;
  (void)table.decodeTime(sample, firstTime, length);
  // Compressed sound (packets of many frames) needs the packet before the
  // first one heard to prime its decoder; the edit skips it.
  if (source.handlerType == SoundMediaType && length > 1 && sample > 1)
    (void)table.decodeTime(--sample, firstTime, length);
  landed += from - firstTime;
  std::vector<std::uint8_t> buffer;
  const bool sound = source.handlerType == SoundMediaType && !table.hasCompositionOffsets();
  while (sample <= table.sampleCount()) {
    std::int64_t time = 0;
    if (engine::Error e = table.decodeTime(sample, time, length); e != engine::Error::none) return e;
    if (time >= to) break;
    engine::SampleLocation location;
    if (engine::Error e = table.location(sample, location); e != engine::Error::none) return e;
    // Sound samples of one chunk are equal in size and duration: copy them
    // as one run (bounded, and checked at its last sample).
    std::uint32_t count = 1;
    if (sound && location.samplesLeftInChunk > 1 && location.size > 0 && length > 0) {
      std::uint64_t wanted = std::min<std::uint64_t>(location.samplesLeftInChunk, kMaxCopy / location.size);
      wanted = std::min<std::uint64_t>(wanted, static_cast<std::uint64_t>((to - time + length - 1) / length));
      count = static_cast<std::uint32_t>(std::max<std::uint64_t>(wanted, 1));
      engine::SampleLocation last;
      std::int64_t lastTime = 0, lastLength = 0;
      if (count > 1 && (table.location(sample + count - 1, last) != engine::Error::none ||
                        table.decodeTime(sample + count - 1, lastTime, lastLength) != engine::Error::none ||
                        last.offset != location.offset + std::uint64_t(location.size) * (count - 1) ||
                        lastTime != time + length * (count - 1) || lastLength != length))
        count = 1;
    }
    const std::uint64_t bytes = std::uint64_t(location.size) * count;
    buffer.resize(static_cast<std::size_t>(bytes));
    if (engine::Error e = sourceMovie.readSampleData(location.offset, buffer); e != engine::Error::none) return e;
    std::uint64_t offset = 0;
    if (engine::Error e = target.movie.storage->appendMediaData(buffer, offset); e != engine::Error::none) return e;
    const std::uint32_t index = location.descriptionIndex;
    if (index == 0 || index > target.descriptionMap.size()) return engine::Error::badDescription;
    engine::SampleRun run;
    run.offset = offset;
    run.size = location.size;
    run.count = count;
    run.duration = static_cast<std::uint32_t>(std::clamp<std::int64_t>(length, 0, UINT32_MAX));
    run.displayOffset = table.compositionOffset(sample);
    run.description = target.descriptionMap[index - 1];
    run.sync = table.isSync(sample);
    run.dependency = table.dependencyFlags(sample);
    target.track.media.append(run);
    sample += count;
  }
  return engine::Error::none;
}

// Media time `trackTime` movie units into an edit, rounded down or up.
std::int64_t mediaOffset(std::uint64_t trackTime, std::uint32_t movieScale, std::uint32_t mediaScale, std::int32_t rate,
                         bool roundUp = false) {
  const Wide numerator = Wide(trackTime) * mediaScale * rate;
  const Wide denominator = Wide(movieScale) * 0x10000;
  return static_cast<std::int64_t>((numerator + (roundUp ? denominator - 1 : 0)) / denominator);
}

}  // namespace

OSErr InsertTrackSegment(Track srcTrack, Track dstTrack, TimeValue srcIn, TimeValue srcDuration, TimeValue dstIn) {
  ToRead<TrackObject> source = trackToRead(srcTrack);
  ToEdit<TrackObject> destination = trackToEdit(dstTrack);
  if (!source || !destination) return invalidTrack;
  if (srcIn < 0 || srcDuration < 0 || dstIn < -1) return setMoviesError(paramErr);
  if (!destination->media.exists) return setMoviesError(invalidMedia);
  engine::BuiltTrack* built = editableTrack(*destination);
  if (!built) return GetMoviesError();
  MovieObject& target = *destination->movie;
  if (!target.storage) return setMoviesError(noDataHandler);
  const engine::Track& from = *source->model;
  const engine::Movie& sourceMovie = *source->movie->model;
  if (from.media.handlerType != built->media.handlerType) return setMoviesError(mediaTypesDontMatch);
  // Sample durations are copied as they are, so the media must count time alike.
  if (from.media.timeScale != built->media.timeScale) return setMoviesError(paramErr);

  CopyTarget copy{target, *built, {}};
  for (const engine::SampleEntry* entry : from.media.descriptions) {
    engine::ByteWriter bytes;
    entry->write(bytes);
    copy.descriptionMap.push_back(built->media.addDescription(bytes.take()));
  }
  const std::uint32_t sourceScale = sourceMovie.timeScale;
  const std::uint32_t targetScale = target.builder->timeScale;
  const std::uint64_t segmentStart = std::uint64_t(srcIn);
  const std::uint64_t segmentEnd = segmentStart + std::uint64_t(srcDuration);
  const std::uint64_t insertAt = dstIn < 0 ? built->duration() : std::uint64_t(dstIn);
  for (const engine::Edit& edit : from.edits) {
    const std::uint64_t a = std::max(edit.trackStart, segmentStart);
    const std::uint64_t b = std::min(edit.trackStart + edit.duration, segmentEnd);
    if (a >= b) continue;
    // Positions are scaled from the segment's start so that pieces meet exactly.
    const std::uint64_t at = insertAt + engine::rescaleTime(a - segmentStart, sourceScale, targetScale);
    const std::uint64_t end = insertAt + engine::rescaleTime(b - segmentStart, sourceScale, targetScale);
    if (end <= at) continue;
    std::int64_t mediaTime = -1;
    if (edit.mediaTime >= 0) {
      const std::int64_t mediaFrom =
          edit.mediaTime + mediaOffset(a - edit.trackStart, sourceScale, from.media.timeScale, edit.rate);
      const std::int64_t mediaTo =
          edit.mediaTime + mediaOffset(b - edit.trackStart, sourceScale, from.media.timeScale, edit.rate, true);
      if (engine::Error e = copyMediaRange(sourceMovie, from.media, mediaFrom, mediaTo, copy, mediaTime);
          e != engine::Error::none) {
        markEdited(target);
        return setMoviesError(toMoviesError(e));
      }
    }
    built->insertEdit(static_cast<std::int64_t>(at), end - at, mediaTime, mediaTime < 0 ? 0x10000 : edit.rate,
                      targetScale);
  }
  markEdited(target);
  return setMoviesError(noErr);
}
