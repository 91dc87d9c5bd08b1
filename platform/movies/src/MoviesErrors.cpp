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
};

template <class Object, class Ref> Object* resolve(Ref ref, OSErr failure) {
    auto* object = reinterpret_cast<Object*>(ref);
    if (!object || !isLive(object)) {
        setMoviesError(failure);
        return nullptr;
    }
    return object;
}

} // namespace

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

MovieObject* movieFrom(Movie movie) { return resolve<MovieObject>(movie, invalidMovie); }
TrackObject* trackFrom(Track track) { return resolve<TrackObject>(track, invalidTrack); }
MediaObject* mediaFrom(Media media) { return resolve<MediaObject>(media, invalidMedia); }
UserDataObject* userDataFrom(UserData userData) { return resolve<UserDataObject>(userData, paramErr); }
MediaHandlerObject* handlerFrom(MediaHandler handler) {
    return resolve<MediaHandlerObject>(handler, static_cast<OSErr>(invalidHandler));
}

TimeValue clampTime(std::int64_t value) {
    if (value > INT32_MAX) return INT32_MAX;
    if (value < INT32_MIN) return INT32_MIN;
    return static_cast<TimeValue>(value);
}

} // namespace vqt::movies

using namespace vqt::movies;

OSErr GetMoviesError() { return errorState().last; }
OSErr GetMoviesStickyError() { return errorState().sticky; }
void ClearMoviesStickyError() { errorState().sticky = noErr; }

// Nothing needs setting up; the calls only reset the error state, so a session
// starts clean.
OSErr EnterMovies() { return setMoviesError(noErr); }
void ExitMovies() { setMoviesError(noErr); }
