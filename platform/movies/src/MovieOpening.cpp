// Opening and disposing of movies, and the movie and track getters.
#include "MovieState.h"

#include <CoreFoundation/CoreFoundation.h>

#include <string>

using namespace vqt::movies;

namespace {

// The path of a data-location property: a CFString POSIX path or a CFURL.
// The value is always a CFTypeRef; a size of 4 (a pointer's size in a 32-bit
// process) is accepted from callers that state it so.
bool pathFromLocation(const QTNewMoviePropertyElement& element, std::string& path) {
  if (element.propValueSize < 4 || !element.propValueAddress) return false;
  CFTypeRef value = *static_cast<const CFTypeRef*>(element.propValueAddress);
  if (!value) return false;
  CFStringRef text = nullptr;
  bool release = false;
  if (element.propID == kQTDataLocationPropertyID_CFURL) {
    if (CFGetTypeID(value) != CFURLGetTypeID()) return false;
    text = CFURLCopyFileSystemPath(static_cast<CFURLRef>(value), kCFURLPOSIXPathStyle);
    release = true;
  } else {
    if (CFGetTypeID(value) != CFStringGetTypeID()) return false;
    text = static_cast<CFStringRef>(value);
  }
  if (!text) return false;
  const CFIndex capacity = CFStringGetMaximumSizeForEncoding(CFStringGetLength(text), kCFStringEncodingUTF8) + 1;
  std::string buffer(static_cast<std::size_t>(capacity), '\0');
  const bool converted = CFStringGetCString(text, buffer.data(), capacity, kCFStringEncodingUTF8);
  if (release) CFRelease(text);
  if (!converted) return false;
  path.assign(buffer.c_str());
  return true;
}

void buildObjects(MovieObject& movie) {
  movie.userData = UserDataObject{movie.model->userData, false};
  for (const auto& model : movie.model->tracks) {
    auto track = std::make_unique<TrackObject>();
    track->movie = &movie;
    track->model = model.get();
    track->userData = UserDataObject{model->userData, false};
    track->media.track = track.get();
    track->media.model = &model->media;
    track->media.userData = UserDataObject{model->media.userData, false};
    track->media.handler.media = &track->media;
    registerLive(track.get());
    registerLive(&track->media);
    registerLive(&track->userData);
    registerLive(&track->media.userData);
    registerLive(&track->media.handler);
    movie.tracks.push_back(std::move(track));
  }
  registerLive(&movie.userData);
  movie.metadata = newMetaData(movie.model->metadata);
}

}  // namespace

OSStatus NewMovieFromProperties(ItemCount inputPropertyCount, QTNewMoviePropertyElement* inputProperties,
                                ItemCount /*outputPropertyCount*/, QTNewMoviePropertyElement* /*outputProperties*/,
                                Movie* theMovie) {
  if (!theMovie || inputPropertyCount < 0 || (inputPropertyCount > 0 && !inputProperties))
    return setMoviesError(paramErr);
  *theMovie = nullptr;
  std::string path;
  bool havePath = false;
  for (ItemCount i = 0; i < inputPropertyCount; ++i) {
    QTNewMoviePropertyElement& element = inputProperties[i];
    element.propStatus = noErr;
    if (element.propClass == kQTPropertyClass_DataLocation) {
      if (element.propID != kQTDataLocationPropertyID_CFStringPosixPath &&
          element.propID != kQTDataLocationPropertyID_CFStringNativePath &&
          element.propID != kQTDataLocationPropertyID_CFURL) {
        element.propStatus = kQTPropertyNotSupportedErr;
        continue;
      }
      havePath = pathFromLocation(element, path);
      if (!havePath) element.propStatus = paramErr;
    } else if (element.propClass != kQTPropertyClass_NewMovieProperty) {
      // Properties this layer has no use for are acknowledged, not applied.
      element.propStatus = kQTPropertyNotSupportedErr;
    }
  }
  if (!havePath) return setMoviesError(paramErr);

  engine::Error error = engine::Error::none;
  auto source = engine::FileSource::open(path, error);
  if (!source) return setMoviesError(error == engine::Error::notFound ? fnfErr : ioErr);
  auto object = std::make_unique<MovieObject>();
  if ((error = engine::Movie::open(source, object->model)) != engine::Error::none)
    return setMoviesError(toMoviesError(error));
  buildObjects(*object);
  registerLive(object.get());
  *theMovie = toRef(object.release());
  return setMoviesError(noErr);
}

void DisposeMovie(Movie theMovie) {
  ToRead<MovieObject> movie = movieToRead(theMovie);
  if (!movie) return;
  for (const auto& track : movie->tracks) {
    unregisterLive(track.get());
    unregisterLive(&track->media);
    unregisterLive(&track->userData);
    unregisterLive(&track->media.userData);
    unregisterLive(&track->media.handler);
  }
  unregisterLive(&movie->userData);
  releaseMetaData(movie->metadata);
  unregisterLive(movie.get());
  delete movie.get();
  setMoviesError(noErr);
}

TimeScale GetMovieTimeScale(Movie theMovie) {
  ToRead<MovieObject> movie = movieToRead(theMovie);
  if (!movie) return 0;
  setMoviesError(noErr);
  return static_cast<TimeScale>(movie->model->timeScale);
}

TimeValue GetMovieDuration(Movie theMovie) {
  ToRead<MovieObject> movie = movieToRead(theMovie);
  if (!movie) return 0;
  setMoviesError(noErr);
  // The longest track decides, as the header's duration may be stale.
  std::uint64_t duration = movie->model->duration;
  for (const auto& track : movie->model->tracks) duration = std::max(duration, track->duration);
  return clampTime(static_cast<std::int64_t>(std::min<std::uint64_t>(duration, INT64_MAX)));
}

TimeValue GetMovieTime(Movie theMovie, TimeRecord* currentTime) {
  ToRead<MovieObject> movie = movieToRead(theMovie);
  if (!movie) return 0;
  if (currentTime) {
    currentTime->value.hi = movie->currentTime < 0 ? -1 : 0;
    currentTime->value.lo = static_cast<UInt32>(movie->currentTime);
    currentTime->scale = static_cast<TimeScale>(movie->model->timeScale);
    currentTime->base = nullptr;
  }
  setMoviesError(noErr);
  return movie->currentTime;
}

void SetMovieTimeValue(Movie theMovie, TimeValue newTime) {
  ToRead<MovieObject> movie = movieToRead(theMovie);
  if (!movie) return;
  movie->currentTime = newTime < 0 ? 0 : newTime;
  setMoviesError(noErr);
}

SInt32 GetMovieTrackCount(Movie theMovie) {
  ToRead<MovieObject> movie = movieToRead(theMovie);
  if (!movie) return 0;
  setMoviesError(noErr);
  return static_cast<SInt32>(movie->tracks.size());
}

Track GetMovieIndTrack(Movie theMovie, SInt32 index) {
  ToRead<MovieObject> movie = movieToRead(theMovie);
  if (!movie) return nullptr;
  if (index < 1 || static_cast<std::size_t>(index) > movie->tracks.size()) {
    setMoviesError(badTrackIndex);
    return nullptr;
  }
  setMoviesError(noErr);
  return toRef(movie->tracks[static_cast<std::size_t>(index - 1)].get());
}

Track GetMovieTrack(Movie theMovie, SInt32 trackID) {
  ToRead<MovieObject> movie = movieToRead(theMovie);
  if (!movie) return nullptr;
  for (const auto& track : movie->tracks) {
    if (track->model->id == static_cast<std::uint32_t>(trackID)) {
      setMoviesError(noErr);
      return toRef(track.get());
    }
  }
  setMoviesError(trackIDNotFound);
  return nullptr;
}

Track GetMovieIndTrackType(Movie theMovie, SInt32 index, OSType trackType, SInt32 flags) {
  ToRead<MovieObject> movie = movieToRead(theMovie);
  if (!movie) return nullptr;
  // Characteristics: 'eyes' for media that is seen, 'ears' for media that is heard.
  auto matches = [&](const engine::Track& track) {
    const OSType media = track.media.handlerType;
    if ((flags & movieTrackEnabledOnly) && !track.enabled) return false;
    if (flags & movieTrackCharacteristic) {
      if (trackType == AudioMediaCharacteristic) return media == SoundMediaType;
      if (trackType == VisualMediaCharacteristic) return media == VideoMediaType || media == MPEGMediaType;
      return false;
    }
    return media == trackType;
  };
  SInt32 seen = 0;
  for (const auto& track : movie->tracks) {
    if (matches(*track->model) && ++seen == index) {
      setMoviesError(noErr);
      return toRef(track.get());
    }
  }
  setMoviesError(badTrackIndex);
  return nullptr;
}

Movie GetTrackMovie(Track theTrack) {
  ToRead<TrackObject> track = trackToRead(theTrack);
  if (!track) return nullptr;
  setMoviesError(noErr);
  return toRef(track->movie);
}

SInt32 GetTrackID(Track theTrack) {
  ToRead<TrackObject> track = trackToRead(theTrack);
  if (!track) return 0;
  setMoviesError(noErr);
  return static_cast<SInt32>(track->model->id);
}

Boolean GetTrackEnabled(Track theTrack) {
  ToRead<TrackObject> track = trackToRead(theTrack);
  if (!track) return false;
  setMoviesError(noErr);
  return track->model->enabled;
}

Media GetTrackMedia(Track theTrack) {
  ToRead<TrackObject> track = trackToRead(theTrack);
  if (!track) return nullptr;
  setMoviesError(noErr);
  return toRef(&track->media);
}

Track GetMediaTrack(Media theMedia) {
  ToRead<MediaObject> media = mediaToRead(theMedia);
  if (!media) return nullptr;
  setMoviesError(noErr);
  return toRef(media->track);
}

TimeValue GetTrackDuration(Track theTrack) {
  ToRead<TrackObject> track = trackToRead(theTrack);
  if (!track) return 0;
  setMoviesError(noErr);
  return clampTime(static_cast<std::int64_t>(std::min<std::uint64_t>(track->model->duration, INT64_MAX)));
}

short GetTrackVolume(Track theTrack) {
  ToRead<TrackObject> track = trackToRead(theTrack);
  if (!track) return 0;
  setMoviesError(noErr);
  return track->model->volume;
}

short GetTrackLayer(Track theTrack) {
  ToRead<TrackObject> track = trackToRead(theTrack);
  if (!track) return 0;
  setMoviesError(noErr);
  return track->model->layer;
}

Track GetTrackReference(Track theTrack, OSType refType, SInt32 index) {
  ToRead<TrackObject> track = trackToRead(theTrack);
  if (!track) return nullptr;
  setMoviesError(noErr);
  for (const auto& [type, ids] : track->model->references) {
    if (type != refType || index < 1 || static_cast<std::size_t>(index) > ids.size()) continue;
    for (const auto& candidate : track->movie->tracks)
      if (candidate->model->id == ids[static_cast<std::size_t>(index - 1)]) return toRef(candidate.get());
  }
  return nullptr;
}
