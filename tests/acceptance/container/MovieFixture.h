// Opens a fixture movie through the Movie Toolbox and finds its tracks.
#pragma once

#include <QuickTime/Movies.h>

#include <string>

namespace vqt::acceptance {

std::string fixturePath(const std::string& name);

class OpenMovie {
public:
    explicit OpenMovie(const std::string& name);
    ~OpenMovie();
    OpenMovie(const OpenMovie&) = delete;
    OpenMovie& operator=(const OpenMovie&) = delete;

    Movie movie() const { return movie_; }
    OSStatus status() const { return status_; }
    // The first track whose media type is `type`, or null.
    Track track(OSType type) const;

private:
    Movie movie_ = nullptr;
    OSStatus status_ = noErr;
};

// Frames of a track counted by stepping through its interesting times, as a
// reader counts them.
int countFrames(Track track);

} // namespace vqt::acceptance
