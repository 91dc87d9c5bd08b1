// Tracks, media and edits of movies being written: new tracks and media,
// media inserted into tracks, time deleted, track settings and references.
#include "MovieState.h"

#include <algorithm>

using namespace vqt::movies;

namespace {

constexpr std::int32_t kNormalRate = 0x10000;

}  // namespace

void SetMovieTimeScale(Movie theMovie, TimeScale timeScale) {
  ToEdit<MovieObject> movie = movieToEdit(theMovie);
  if (!movie) return;
  if (timeScale <= 0) {
    setMoviesError(paramErr);
    return;
  }
  engine::MovieBuilder* builder = editableMovie(*movie);
  if (!builder) return;
  // Edits keep their length in seconds.
  const auto scale = static_cast<std::uint32_t>(timeScale);
  for (auto& track : builder->tracks)
    for (auto& edit : track.edits) edit.duration = engine::rescaleTime(edit.duration, builder->timeScale, scale);
  builder->timeScale = scale;
  markEdited(*movie);
  setMoviesError(noErr);
}

Track NewMovieTrack(Movie theMovie, Fixed width, Fixed height, short trackVolume) {
  ToEdit<MovieObject> movie = movieToEdit(theMovie);
  if (!movie) return nullptr;
  if (width < 0 || height < 0) {
    setMoviesError(paramErr);
    return nullptr;
  }
  engine::MovieBuilder* builder = editableMovie(*movie);
  if (!builder) return nullptr;
  engine::BuiltTrack& built = builder->addTrack();
  built.width = static_cast<std::uint32_t>(width);
  built.height = static_cast<std::uint32_t>(height);
  built.volume = trackVolume;
  TrackObject* track = addTrackObject(*movie);
  markEdited(*movie);
  setMoviesError(noErr);
  return toRef(track);
}

Media NewTrackMedia(Track theTrack, OSType mediaType, TimeScale timeScale, Handle /*dataRef*/, OSType /*dataRefType*/) {
  ToEdit<TrackObject> track = trackToEdit(theTrack);
  if (!track) return nullptr;
  if (timeScale <= 0 || mediaType == 0) {
    setMoviesError(paramErr);
    return nullptr;
  }
  engine::BuiltTrack* built = editableTrack(*track);
  if (!built) return nullptr;
  if (track->media.exists) {
    // A track has one media; QuickTime refuses a second.
    setMoviesError(paramErr);
    return nullptr;
  }
  built->media.handlerType = mediaType;
  built->media.timeScale = static_cast<std::uint32_t>(timeScale);
  track->media.exists = true;
  markEdited(*track->movie);
  setMoviesError(noErr);
  return toRef(&track->media);
}

OSErr BeginMediaEdits(Media theMedia) {
  ToEdit<MediaObject> media = mediaToEdit(theMedia);
  if (!media) return invalidMedia;
  if (!media->exists || !editableMovie(*media->track->movie)) return setMoviesError(invalidMedia);
  media->editing = true;
  return setMoviesError(noErr);
}

OSErr EndMediaEdits(Media theMedia) {
  ToEdit<MediaObject> media = mediaToEdit(theMedia);
  if (!media) return invalidMedia;
  media->editing = false;
  return setMoviesError(noErr);
}

OSErr InsertMediaIntoTrack(Track theTrack, TimeValue trackStart, TimeValue mediaTime, TimeValue mediaDuration,
                           Fixed mediaRate) {
  ToEdit<TrackObject> track = trackToEdit(theTrack);
  if (!track) return invalidTrack;
  if (!track->media.exists) return setMoviesError(invalidMedia);
  if (mediaDuration < 0 || trackStart < -1 || mediaTime < -1) return setMoviesError(paramErr);
  if (mediaTime >= 0 && mediaRate <= 0) return setMoviesError(badEditList);
  engine::BuiltTrack* built = editableTrack(*track);
  if (!built) return GetMoviesError();
  // With display offsets, edits address display time, which may run past the decode end.
  std::uint64_t mediaLength = 0, decodeTime = 0;
  for (const auto& run : built->media.runs) {
    decodeTime += std::uint64_t(run.duration) * run.count;
    const std::int64_t displayEnd = static_cast<std::int64_t>(decodeTime) + run.displayOffset;
    mediaLength = std::max<std::uint64_t>(
        {mediaLength, decodeTime, static_cast<std::uint64_t>(std::max<std::int64_t>(displayEnd, 0))});
  }
  if (mediaTime >= 0 && std::uint64_t(mediaTime) + std::uint64_t(mediaDuration) > mediaLength)
    return setMoviesError(invalidDuration);
  const std::uint32_t movieScale = track->movie->builder->timeScale;
  const std::int32_t rate = mediaTime < 0 ? kNormalRate : mediaRate;
  // Track length: the media span in movie units, stretched by the rate.
  const std::uint64_t inMovieScale =
      engine::rescaleTime(std::uint64_t(mediaDuration), built->media.timeScale, movieScale);
  const std::uint64_t length = static_cast<std::uint64_t>((__int128(inMovieScale) * kNormalRate) / rate);
  built->insertEdit(trackStart, length, mediaTime, rate, movieScale);
  markEdited(*track->movie);
  return setMoviesError(noErr);
}

OSErr DeleteMovieSegment(Movie theMovie, TimeValue startTime, TimeValue duration) {
  ToEdit<MovieObject> movie = movieToEdit(theMovie);
  if (!movie) return invalidMovie;
  if (startTime < 0 || duration < 0) return setMoviesError(paramErr);
  engine::MovieBuilder* builder = editableMovie(*movie);
  if (!builder) return GetMoviesError();
  for (auto& track : builder->tracks)
    track.deleteTime(std::uint64_t(startTime), std::uint64_t(duration), builder->timeScale);
  markEdited(*movie);
  return setMoviesError(noErr);
}

OSErr CopyTrackSettings(Track srcTrack, Track dstTrack) {
  ToRead<TrackObject> source = trackToRead(srcTrack);
  ToEdit<TrackObject> destination = trackToEdit(dstTrack);
  if (!source || !destination) return invalidTrack;
  engine::BuiltTrack* built = editableTrack(*destination);
  if (!built) return GetMoviesError();
  built->matrix = source->model->matrix;
  built->volume = source->model->volume;
  built->media.language = source->model->media.language;
  markEdited(*destination->movie);
  return setMoviesError(noErr);
}

namespace {

template <class Change>
void changeTrack(Track theTrack, Change change) {
  ToEdit<TrackObject> track = trackToEdit(theTrack);
  if (!track) return;
  engine::BuiltTrack* built = editableTrack(*track);
  if (!built) return;
  change(*built);
  markEdited(*track->movie);
  setMoviesError(noErr);
}

}  // namespace

void SetTrackLayer(Track theTrack, short layer) {
  changeTrack(theTrack, [layer](engine::BuiltTrack& t) { t.layer = layer; });
}

void SetTrackVolume(Track theTrack, short volume) {
  changeTrack(theTrack, [volume](engine::BuiltTrack& t) { t.volume = volume; });
}

void SetTrackEnabled(Track theTrack, Boolean isEnabled) {
  changeTrack(theTrack, [isEnabled](engine::BuiltTrack& t) { t.enabled = isEnabled != 0; });
}

OSErr AddTrackReference(Track theTrack, Track refTrack, OSType refType, SInt32* addedIndex) {
  if (addedIndex) *addedIndex = 0;
  ToEdit<TrackObject> track = trackToEdit(theTrack);
  ToEdit<TrackObject> target = trackToEdit(refTrack);
  if (!track || !target) return invalidTrack;
  if (track->movie != target->movie || track.get() == target.get() || refType == 0) return setMoviesError(paramErr);
  engine::BuiltTrack* built = editableTrack(*track);
  engine::BuiltTrack* referenced = editableTrack(*target);
  if (!built || !referenced) return GetMoviesError();
  auto list = std::find_if(built->references.begin(), built->references.end(),
                           [refType](const auto& entry) { return entry.first == refType; });
  if (list == built->references.end()) {
    built->references.push_back({refType, {}});
    list = built->references.end() - 1;
  }
  auto& ids = list->second;
  auto existing = std::find(ids.begin(), ids.end(), referenced->id);
  if (existing == ids.end()) existing = ids.insert(ids.end(), referenced->id);
  if (addedIndex) *addedIndex = static_cast<SInt32>(existing - ids.begin() + 1);
  markEdited(*track->movie);
  return setMoviesError(noErr);
}
