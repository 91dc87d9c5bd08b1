#include "SoundTrackInputs.h"

#include "MediaPacketSource.h"

#include <vqt/audio/SampleEntry.h>

#include <algorithm>
#include <cmath>

namespace vqt::movies::audio {

namespace {

using vqt::audio::Status;

constexpr Fixed kRateOne = 0x00010000;

// The track's sound format, from the description of its first sample.
Status soundFormatOf(Media media, vqt::audio::SoundFormat& format) {
  TimeValue64 decodeTime = 0;
  SampleNumToMediaDecodeTime(media, 1, &decodeTime, nullptr);
  if (GetMoviesError() != noErr) return Status::badFormat;
  Handle description = NewHandle(0);
  if (!description) return Status::outOfMemory;
  OSErr error = GetMediaSample2(media, nullptr, 0, nullptr, decodeTime, nullptr, nullptr, nullptr,
                                reinterpret_cast<SampleDescriptionHandle>(description), nullptr, 1, nullptr, nullptr);
  Status status = Status::badFormat;
  if (error == noErr) {
    const std::vector<UInt8> entry = VqtSoundDescriptionToFile(reinterpret_cast<SoundDescriptionHandle>(description));
    status = vqt::audio::parseSoundSampleEntry(entry, format);
  }
  DisposeHandle(description);
  if (status != Status::ok) return status;
  // A version 0 description holds rates below 65536 Hz only; the media's time
  // scale is the rate it could not hold (and the rate of a description that has none).
  const TimeScale mediaScale = GetMediaTimeScale(media);
  if ((format.sampleRate <= 0.0 || (format.version == 0 && mediaScale > 65535)) && mediaScale > 0) {
    format.sampleRate = mediaScale;
  }
  return Status::ok;
}

std::int64_t toFrames(std::int64_t time, std::int64_t scale, double rate) {
  if (scale <= 0) return 0;
  return static_cast<std::int64_t>(std::llround(static_cast<double>(time) * rate / static_cast<double>(scale)));
}

struct EditSpan {
  TimeValue trackStart;  // movie time scale
  TimeValue duration;    // movie time scale; -1 to the end of the media
  TimeValue mediaStart;  // media time scale
};

// The track's edits through the track-time calls: each edit boundary, where it
// maps into the media, and how long it lasts. Empty edits (mapped to -1) only
// shift what follows. No boundary at all means the media plays from time 0.
std::vector<EditSpan> editsOf(Track track) {
  std::vector<TimeValue> starts;
  TimeValue time = 0;
  short flags = nextTimeTrackEdit | nextTimeEdgeOK;
  for (int guard = 0; guard < 100000; ++guard) {
    TimeValue next = -1;
    GetTrackNextInterestingTime(track, flags, time, kRateOne, &next, nullptr);
    if (next < 0 || (!starts.empty() && next <= starts.back())) break;
    starts.push_back(next);
    time = next;
    flags = nextTimeTrackEdit;
  }
  if (starts.empty()) return {{0, -1, 0}};
  const TimeValue end = GetTrackDuration(track);
  std::vector<EditSpan> edits;
  for (std::size_t i = 0; i < starts.size(); ++i) {
    const TimeValue stop = i + 1 < starts.size() ? starts[i + 1] : end;
    const TimeValue mediaStart = TrackTimeToMediaTime(starts[i], track);
    if (mediaStart < 0 || stop <= starts[i]) continue;
    edits.push_back({starts[i], stop - starts[i], mediaStart});
  }
  return edits;
}

}  // namespace

SoundTrackScan scanSoundTracks(Movie movie) {
  SoundTrackScan scan;
  const SInt32 trackCount = GetMovieTrackCount(movie);
  const TimeScale movieScale = GetMovieTimeScale(movie);
  for (SInt32 index = 1; index <= trackCount; ++index) {
    Track track = GetMovieIndTrack(movie, index);
    if (!track || !GetTrackEnabled(track)) continue;
    Media media = GetTrackMedia(track);
    if (!media) continue;
    OSType type = 0;
    GetMediaHandlerDescription(media, &type, nullptr, nullptr);
    if (type != SoundMediaType) continue;
    if (GetMediaSampleCount(media) <= 0) continue;
    ++scan.soundTracks;

    vqt::audio::SoundFormat format;
    Status status = soundFormatOf(media, format);
    const TimeScale mediaScale = GetMediaTimeScale(media);
    const float gain = static_cast<float>(GetTrackVolume(track)) / 256.0f;  // 8.8 fixed
    for (const EditSpan& edit : status == Status::ok ? editsOf(track) : std::vector<EditSpan>{}) {
      std::unique_ptr<vqt::audio::TrackDecoder> decoder;
      status = vqt::audio::TrackDecoder::create(
          format, std::make_unique<MediaPacketSource>(media, format.sampleRate, vqt::audio::isPcm(format)), decoder);
      if (status != Status::ok) break;
      vqt::audio::TrackPlacement placement;
      placement.leadingSilence = toFrames(edit.trackStart, movieScale, format.sampleRate);
      placement.mediaStart = toFrames(edit.mediaStart, mediaScale, format.sampleRate);
      placement.mediaLength = edit.duration < 0 ? -1 : toFrames(edit.duration, movieScale, format.sampleRate);
      placement.gain = gain;
      scan.inputs.push_back({std::move(decoder), placement});
    }
    if (status != Status::ok && scan.firstFailure == Status::ok) scan.firstFailure = status;
  }
  return scan;
}

}  // namespace vqt::movies::audio
