// Track time: mapping through the edit list onto media time, and the search
// for interesting times (sample changes, sync samples, edit boundaries).
#include "MovieState.h"

#include <algorithm>
#include <optional>

using namespace vqt::movies;

namespace {

// Bounds the sync-sample walk over sample changes on a damaged table.
constexpr int kMaxSyncSteps = 1 << 16;

std::optional<std::int64_t> nextEditBoundary(const engine::Track& track, std::int64_t time, bool forward,
                                             bool inclusive) {
  std::optional<std::int64_t> found;
  for (const auto& e : track.edits) {
    const auto start = static_cast<std::int64_t>(e.trackStart);
    const bool ahead = inclusive ? start >= time : start > time;
    const bool behind = inclusive ? start <= time : start < time;
    if (forward && ahead && (!found || start < *found)) found = start;
    if (!forward && behind && (!found || start > *found)) found = start;
  }
  return found;
}

bool showsSyncSample(const engine::Track& track, std::int64_t time) {
  const std::int64_t mediaTime = track.mediaTimeAt(time);
  std::uint32_t sample = 0;
  return mediaTime >= 0 && track.media.samples.sampleAtDisplayTime(mediaTime, sample) == engine::Error::none &&
         track.media.samples.isSync(sample);
}

std::optional<std::int64_t> nextSyncChange(const engine::Track& track, std::int64_t time, bool forward,
                                           bool inclusive) {
  auto at = track.nextSampleChange(time, forward, inclusive);
  for (int step = 0; at && step < kMaxSyncSteps; ++step) {
    if (showsSyncSample(track, *at)) return at;
    at = track.nextSampleChange(*at, forward, false);
  }
  return std::nullopt;
}

}  // namespace

TimeValue TrackTimeToMediaTime(TimeValue value, Track theTrack) {
  ToRead<TrackObject> track = trackToRead(theTrack);
  if (!track) return -1;
  setMoviesError(noErr);
  return clampTime(track->model->mediaTimeAt(value));
}

void GetTrackNextInterestingTime(Track theTrack, short flags, TimeValue time, Fixed rate, TimeValue* interestingTime,
                                 TimeValue* interestingDuration) {
  if (interestingTime) *interestingTime = -1;
  if (interestingDuration) *interestingDuration = 0;
  ToRead<TrackObject> track = trackToRead(theTrack);
  if (!track) return;
  const engine::Track& model = *track->model;
  const bool forward = rate >= 0;
  const bool inclusive = (flags & nextTimeEdgeOK) != 0;
  std::optional<std::int64_t> found;
  auto consider = [&](std::optional<std::int64_t> candidate) {
    if (!candidate) return;
    if (!found || (forward ? *candidate < *found : *candidate > *found)) found = candidate;
  };
  if (flags & (nextTimeMediaSample | nextTimeStep)) consider(model.nextSampleChange(time, forward, inclusive));
  if (flags & (nextTimeTrackEdit | nextTimeMediaEdit)) consider(nextEditBoundary(model, time, forward, inclusive));
  if (flags & nextTimeSyncSample) consider(nextSyncChange(model, time, forward, inclusive));
  setMoviesError(noErr);
  if (!found || *found > INT32_MAX) return;
  if (interestingTime) *interestingTime = static_cast<TimeValue>(*found);
  if (interestingDuration) {
    // How long what starts there lasts: up to the next change, or the track's end.
    const auto next = model.nextSampleChange(*found, true, false);
    const std::int64_t end =
        next ? *next : static_cast<std::int64_t>(std::min<std::uint64_t>(model.duration, INT64_MAX));
    *interestingDuration = clampTime(std::max<std::int64_t>(end - *found, 0));
  }
}
