// Helpers for tests that write movies through the Movie Toolbox: a scratch
// folder, data references, descriptions of raw video, PCM and timecode, PCM
// bytes and the top-level atoms of a file.
#pragma once

#include <QuickTime/Movies.h>
#include <QuickTime/SoundDescriptionCreation.h>

#include <cstdint>
#include <string>
#include <vector>

namespace vqt::writing {

class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  std::string file(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

// A data reference to `path`; the caller disposes of it.
Handle dataRefFor(const std::string& path);

// CreateMovieStorage (replacing any file) with the movie time scale set.
OSErr createMovie(const std::string& path, TimeScale timeScale, Movie& movie, DataHandler& storage);
// NewMovieFromDataRef on `path`; null on failure.
Movie openMovie(const std::string& path);

ImageDescriptionHandle rawImageDescription(OSType codec, int width, int height);
SoundDescriptionHandle pcmDescription(int channels, int sampleRate);
// 38 bytes in host order as a writer fills it: flags, time scale, frame
// duration, frames per second.
Handle timecodeDescription(std::int32_t flags, std::int32_t timeScale, std::int32_t frameDuration, int framesPerSecond);

// A new track with media of `type`, in media edits.
struct NewTrack {
  Track track = nullptr;
  Media media = nullptr;
};
NewTrack addTrack(Movie movie, OSType type, TimeScale mediaScale, Fixed width = 0, Fixed height = 0, short volume = 0);

// 16-bit little-endian PCM: sample i of channel c is (i * 7 + c * 1000) & 0x7FFF.
std::vector<std::uint8_t> pcmFrames(int channels, int firstFrame, int frames);

// One '2vuy' frame: luma rising along the row, a different level per frame.
std::vector<std::uint8_t> twoVuyFrame(int width, int height, int frame);

// A movie in time scale 2400 being written: `frames` '2vuy' frames of 100
// units (display offsets from `offsets`, 0 past its end; `notSync` not a sync
// sample) and 2000 frames of 48 kHz stereo PCM for each; both tracks whole.
struct RawMovie {
  Movie movie = nullptr;
  DataHandler storage = nullptr;
  NewTrack video, sound;
};
RawMovie writeRawMovie(const std::string& path, int width, int height, int frames,
                       const std::vector<TimeValue64>& offsets = {}, int notSync = -1);

// Bytes of the sample at media decode time `time`.
std::vector<std::uint8_t> sampleAt(Media media, TimeValue64 time);

// Top-level atom types of a file, in order.
std::vector<std::string> topLevelAtoms(const std::string& path);

}  // namespace vqt::writing
