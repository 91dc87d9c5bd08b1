#include "vqt/container/MovieBuilder.h"

#include <algorithm>

namespace vqt::container {

namespace {

using Wide = __int128;

// Media time covered by `trackTime` movie units of an edit at `rate`.
std::int64_t mediaAdvance(std::uint64_t trackTime, std::uint32_t movieScale, std::uint32_t mediaScale,
                          std::int32_t rate) {
  if (movieScale == 0) return 0;
  return static_cast<std::int64_t>(Wide(trackTime) * mediaScale * rate / (Wide(movieScale) * 0x10000));
}

BuiltEdit tailOf(const BuiltEdit& edit, std::uint64_t cut, std::uint32_t movieScale, std::uint32_t mediaScale) {
  BuiltEdit tail = edit;
  tail.duration = edit.duration - cut;
  if (edit.mediaTime >= 0) tail.mediaTime = edit.mediaTime + mediaAdvance(cut, movieScale, mediaScale, edit.rate);
  return tail;
}

}  // namespace

std::uint64_t rescaleTime(std::uint64_t value, std::uint32_t from, std::uint32_t to) {
  if (from == 0) return 0;
  if (from == to) return value;
  const Wide scaled = (Wide(value) * to + from / 2) / from;
  return scaled > Wide(INT64_MAX) ? INT64_MAX : static_cast<std::uint64_t>(scaled);
}

std::uint32_t BuiltMedia::addDescription(std::vector<std::uint8_t> entry) {
  for (std::size_t i = 0; i < descriptions.size(); ++i)
    if (descriptions[i] == entry) return static_cast<std::uint32_t>(i + 1);
  descriptions.push_back(std::move(entry));
  return static_cast<std::uint32_t>(descriptions.size());
}

void BuiltMedia::append(const SampleRun& run) {
  if (run.count == 0) return;
  totalDuration_ += std::uint64_t(run.duration) * run.count;
  totalSamples_ += run.count;
  if (!runs.empty()) {
    SampleRun& last = runs.back();
    const bool continues = last.offset + std::uint64_t(last.size) * last.count == run.offset && last.size == run.size &&
                           last.duration == run.duration && last.displayOffset == run.displayOffset &&
                           last.description == run.description && last.sync == run.sync &&
                           last.dependency == run.dependency && std::uint64_t(last.count) + run.count <= UINT32_MAX;
    if (continues) {
      last.count += run.count;
      return;
    }
  }
  runs.push_back(run);
}

std::uint64_t BuiltTrack::duration() const {
  std::uint64_t total = 0;
  for (const auto& edit : edits) total += edit.duration;
  return total;
}

void BuiltTrack::insertEdit(std::int64_t trackStart, std::uint64_t length, std::int64_t mediaTime, std::int32_t rate,
                            std::uint32_t movieTimeScale) {
  if (length == 0) return;
  const std::uint64_t end = duration();
  const std::uint64_t at = trackStart < 0 ? end : static_cast<std::uint64_t>(trackStart);
  const BuiltEdit inserted{length, mediaTime < 0 ? -1 : mediaTime, mediaTime < 0 ? 0x10000 : rate};
  if (at >= end) {
    if (at > end) edits.push_back({at - end, -1, 0x10000});
    edits.push_back(inserted);
    return;
  }
  std::uint64_t position = 0;
  for (std::size_t i = 0; i < edits.size(); ++i) {
    if (position == at) {
      edits.insert(edits.begin() + static_cast<std::ptrdiff_t>(i), inserted);
      return;
    }
    if (at < position + edits[i].duration) {
      const std::uint64_t cut = at - position;
      const BuiltEdit tail = tailOf(edits[i], cut, movieTimeScale, media.timeScale);
      edits[i].duration = cut;
      edits.insert(edits.begin() + static_cast<std::ptrdiff_t>(i + 1), {inserted, tail});
      return;
    }
    position += edits[i].duration;
  }
}

void BuiltTrack::deleteTime(std::uint64_t start, std::uint64_t length, std::uint32_t movieTimeScale) {
  if (length == 0) return;
  const std::uint64_t stop = start + length;
  std::vector<BuiltEdit> kept;
  std::uint64_t position = 0;
  for (const auto& edit : edits) {
    const std::uint64_t editEnd = position + edit.duration;
    if (editEnd <= start || position >= stop) {
      kept.push_back(edit);
    } else {
      if (position < start) {
        BuiltEdit head = edit;
        head.duration = start - position;
        kept.push_back(head);
      }
      if (editEnd > stop) kept.push_back(tailOf(edit, stop - position, movieTimeScale, media.timeScale));
    }
    position = editEnd;
  }
  while (!kept.empty() && kept.back().mediaTime < 0) kept.pop_back();  // no trailing empty time
  edits = std::move(kept);
}

std::uint64_t MovieBuilder::duration() const {
  std::uint64_t longest = 0;
  for (const auto& track : tracks) longest = std::max(longest, track.duration());
  return longest;
}

BuiltTrack& MovieBuilder::addTrack() {
  BuiltTrack& track = tracks.emplace_back();
  track.id = nextTrackId++;
  return track;
}

Error MovieBuilder::fromMovie(const Movie& movie, MovieBuilder& out) {
  out = MovieBuilder{};
  out.timeScale = movie.timeScale;
  out.userData = movie.userData;
  out.metadata = movie.metadata;
  for (const auto& source : movie.tracks) {
    BuiltTrack& track = out.tracks.emplace_back();
    track.id = source->id;
    out.nextTrackId = std::max(out.nextTrackId, source->id + 1);
    track.enabled = source->enabled;
    track.layer = source->layer;
    track.alternateGroup = source->alternateGroup;
    track.volume = source->volume;
    track.width = source->width;
    track.height = source->height;
    track.matrix = source->matrix;
    for (const auto& edit : source->edits) track.edits.push_back({edit.duration, edit.mediaTime, edit.rate});
    track.references = source->references;
    track.userData = source->userData;
    const Media& media = source->media;
    track.media.handlerType = media.handlerType;
    track.media.timeScale = media.timeScale;
    track.media.language = media.language;
    track.media.userData = media.userData;
    for (const SampleEntry* entry : media.descriptions) {
      ByteWriter bytes;
      entry->write(bytes);
      track.media.descriptions.push_back(bytes.take());
    }
    const SampleTable& table = media.samples;
    for (std::uint32_t sample = 1; sample <= table.sampleCount(); ++sample) {
      SampleLocation location;
      std::int64_t time = 0, length = 0;
      if (Error error = table.location(sample, location); error != Error::none) return error;
      if (Error error = table.decodeTime(sample, time, length); error != Error::none) return error;
      SampleRun run;
      run.offset = location.offset;
      run.size = location.size;
      run.duration = static_cast<std::uint32_t>(std::clamp<std::int64_t>(length, 0, UINT32_MAX));
      run.displayOffset = table.compositionOffset(sample);
      run.description = location.descriptionIndex;
      run.sync = table.isSync(sample);
      run.dependency = table.dependencyFlags(sample);
      track.media.append(run);
    }
  }
  return Error::none;
}

}  // namespace vqt::container
