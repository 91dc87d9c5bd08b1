#include "MovieState.h"

#include <climits>
#include <mutex>
#include <unordered_set>

namespace vqt::movies {

namespace {

struct ErrorState {
  OSErr last = noErr;
  OSErr sticky = noErr;
};

// Each thread has its own error state, as each QuickTime client thread did.
ErrorState& errorState() {
  thread_local ErrorState state;
  return state;
}

// Movies may be used on several threads (one movie per thread at a time), so
// the registry they all share is locked.
struct LiveObjects {
  std::mutex lock;
  std::unordered_set<const void*> objects;
};

LiveObjects& liveObjects() {
  static LiveObjects live;
  return live;
}

struct ErrorMapping {
  engine::Error from;
  OSErr to;
};

// The one table from engine results to Movie Toolbox result codes. Damaged or
// unsupported files are invalidMovie; a compression method other than zlib
// has no handler; media in another file cannot be resolved.
constexpr ErrorMapping kErrorMap[] = {
    {engine::Error::none, noErr},
    {engine::Error::ioError, ioErr},
    {engine::Error::truncated, invalidMovie},
    {engine::Error::badAtomSize, invalidMovie},
    {engine::Error::nestingTooDeep, invalidMovie},
    {engine::Error::tableTooLarge, invalidMovie},
    {engine::Error::badTable, invalidSampleTable},
    {engine::Error::noMovieAtom, invalidMovie},
    {engine::Error::fragmentedMovie, invalidMovie},
    {engine::Error::externalDataReference, couldNotResolveDataRef},
    {engine::Error::unsupportedCompression, cantFindHandler},
    {engine::Error::decompressionFailed, invalidMovie},
    {engine::Error::badSampleNumber, invalidSampleNum},
    {engine::Error::badTime, invalidTime},
    {engine::Error::notFound, fnfErr},
    {engine::Error::bufferTooSmall, paramErr},
    {engine::Error::badDescription, invalidSampleDescIndex},
    {engine::Error::writeFailed, ioErr},
    {engine::Error::diskFull, dskFulErr},
    {engine::Error::fileTooLarge, dskFulErr},
    {engine::Error::cannotCreate, dirNFErr},
    {engine::Error::accessDenied, permErr},
    {engine::Error::alreadyExists, dupFNErr},
};

template <class Object, class Ref>
Object* resolve(Ref ref, OSErr failure) {
  auto* object = reinterpret_cast<Object*>(ref);
  if (!object || !isLive(object)) {
    setMoviesError(failure);
    return nullptr;
  }
  return object;
}

}  // namespace

OSErr setMoviesError(OSErr error) {
  ErrorState& state = errorState();
  state.last = error;
  if (error != noErr && state.sticky == noErr) state.sticky = error;
  return error;
}

OSErr toMoviesError(engine::Error error) {
  for (const auto& m : kErrorMap)
    if (m.from == error) return m.to;
  return invalidMovie;
}

void registerLive(const void* object) {
  LiveObjects& live = liveObjects();
  std::lock_guard guard(live.lock);
  live.objects.insert(object);
}

void unregisterLive(const void* object) {
  LiveObjects& live = liveObjects();
  std::lock_guard guard(live.lock);
  live.objects.erase(object);
}

bool isLive(const void* object) {
  LiveObjects& live = liveObjects();
  std::lock_guard guard(live.lock);
  return live.objects.count(object) != 0;
}

// Every reference is resolved here, so this is where an edited movie's
// reading model is brought up to date before any call looks at it.
// A track or media whose model could not be made is refused rather than read.
ToRead<MovieObject> movieToRead(Movie movie) {
  MovieObject* object = resolve<MovieObject>(movie, invalidMovie);
  if (object) bringUpToDate(*object);
  return ToRead<MovieObject>(object);
}
ToRead<TrackObject> trackToRead(Track track) {
  TrackObject* object = resolve<TrackObject>(track, invalidTrack);
  if (object) bringUpToDate(*object->movie);
  if (object && !object->model) {
    setMoviesError(invalidTrack);
    return ToRead<TrackObject>(nullptr);
  }
  return ToRead<TrackObject>(object);
}
ToRead<MediaObject> mediaToRead(Media media) {
  MediaObject* object = resolve<MediaObject>(media, invalidMedia);
  if (object) bringUpToDate(*object->track->movie);
  if (object && !object->model) {
    setMoviesError(invalidMedia);
    return ToRead<MediaObject>(nullptr);
  }
  return ToRead<MediaObject>(object);
}
ToRead<MediaHandlerObject> handlerToRead(MediaHandler handler) {
  MediaHandlerObject* object = resolve<MediaHandlerObject>(handler, static_cast<OSErr>(invalidHandler));
  if (object) bringUpToDate(*object->media->track->movie);
  if (object && !object->media->model) {
    setMoviesError(invalidHandler);
    return ToRead<MediaHandlerObject>(nullptr);
  }
  return ToRead<MediaHandlerObject>(object);
}
ToEdit<MovieObject> movieToEdit(Movie movie) { return ToEdit<MovieObject>(resolve<MovieObject>(movie, invalidMovie)); }
ToEdit<TrackObject> trackToEdit(Track track) { return ToEdit<TrackObject>(resolve<TrackObject>(track, invalidTrack)); }
ToEdit<MediaObject> mediaToEdit(Media media) { return ToEdit<MediaObject>(resolve<MediaObject>(media, invalidMedia)); }
UserDataObject* userDataFrom(UserData userData) { return resolve<UserDataObject>(userData, paramErr); }

TimeValue clampTime(std::int64_t value) {
  if (value > INT32_MAX) return INT32_MAX;
  if (value < INT32_MIN) return INT32_MIN;
  return static_cast<TimeValue>(value);
}

}  // namespace vqt::movies

using namespace vqt::movies;

OSErr GetMoviesError() { return errorState().last; }
OSErr GetMoviesStickyError() { return errorState().sticky; }
void ClearMoviesStickyError() { errorState().sticky = noErr; }

// Nothing needs setting up; the calls only reset the error state, so a session
// starts clean.
OSErr EnterMovies() { return setMoviesError(noErr); }
void ExitMovies() { setMoviesError(noErr); }
