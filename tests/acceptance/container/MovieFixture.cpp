#include "MovieFixture.h"

#include <CoreFoundation/CoreFoundation.h>

namespace vqt::acceptance {

std::string fixturePath(const std::string& name) { return std::string(VQT_CONTAINER_FIXTURES) + "/" + name; }

OpenMovie::OpenMovie(const std::string& name) {
    EnterMovies();
    CFStringRef path = CFStringCreateWithCString(nullptr, fixturePath(name).c_str(), kCFStringEncodingUTF8);
    Boolean active = true;
    QTNewMoviePropertyElement properties[] = {
        {kQTPropertyClass_DataLocation, kQTDataLocationPropertyID_CFStringPosixPath, sizeof path, &path, 0},
        {kQTPropertyClass_NewMovieProperty, kQTNewMoviePropertyID_Active, sizeof active, &active, 0},
    };
    status_ = NewMovieFromProperties(2, properties, 0, nullptr, &movie_);
    CFRelease(path);
}

OpenMovie::~OpenMovie() {
    if (movie_) DisposeMovie(movie_);
}

Track OpenMovie::track(OSType type) const {
    for (SInt32 i = 1; i <= GetMovieTrackCount(movie_); ++i) {
        Track track = GetMovieIndTrack(movie_, i);
        OSType mediaType = 0;
        GetMediaHandlerDescription(GetTrackMedia(track), &mediaType, nullptr, nullptr);
        if (mediaType == type) return track;
    }
    return nullptr;
}

int countFrames(Track track) {
    int frames = 0;
    TimeValue time = 0;
    short flags = nextTimeMediaSample | nextTimeEdgeOK;
    for (;;) {
        GetTrackNextInterestingTime(track, flags, time, fixed1, &time, nullptr);
        if (time < 0) return frames;
        ++frames;
        flags = nextTimeStep;
    }
}

} // namespace vqt::acceptance
