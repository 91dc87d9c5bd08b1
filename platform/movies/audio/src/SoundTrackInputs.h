// The mixer's inputs for a movie: one decoder per edit of every enabled sound
// track, with the edit's place on the movie timeline in the track's own frames.
#pragma once

#include <QuickTime/Movies.h>

#include <vqt/audio/Mixer.h>

#include <vector>

namespace vqt::movies::audio {

struct SoundTrackScan {
  int soundTracks = 0;  // enabled sound tracks seen, usable or not
  vqt::audio::Status firstFailure = vqt::audio::Status::ok;
  std::vector<vqt::audio::MixerInput> inputs;
};

SoundTrackScan scanSoundTracks(Movie movie);

}  // namespace vqt::movies::audio
