// Opening and closing a movie, and the scan of its tracks for video, timecode
// and the video stream's size, aspect, rate and frame count.
#include "QuickTimeCodecReaderPrivate.h"

#include "Diagnostics.h"

#include <vantor/quicktime/FrameRate.h>

#include <cstdio>

namespace Vantor::QuickTime {

namespace {

// 155 hours at 30 frames a second: bounds the frame table (4 bytes a frame)
// that a hostile edit list could otherwise grow without end.
constexpr size_t kMaxFrames = size_t(1) << 24;

bool isVideoMediaType(OSType type) {
  return type == VideoMediaType || type == 'MPEG' || type == 'moov' || type == 'url ';
}

// The largest picture a reader describes. A host sizes its frame buffer from
// the description before anything is decoded (16 bytes a pixel), so a damaged
// size field must not ask it for gigabytes. 16384 a side covers every codec
// the library reads; 8192 x 4320 pixels (a full 8K picture) is a 566 MB host
// buffer, the most one frame may cost.
constexpr SInt64 kLargestFrameSide = 16384;
constexpr SInt64 kLargestFramePixels = SInt64{8192} * 4320;

bool isDescribableFrame(SInt64 width, SInt64 height) {
  return width > 0 && height > 0 && width <= kLargestFrameSide && height <= kLargestFrameSide &&
         width * height <= kLargestFramePixels;
}

}  // namespace

Fixed frameRateFixed(SInt32 timeScale, SInt32 frameDuration) {
  // FrameRate answers rate 0 for a zero duration rather than dividing by it.
  const float rate = FrameRate(timeScale, frameDuration).toFloat();
  const float fixed = rate * 65536.0f;
  if (fixed >= 2147483648.0f) return 0x7FFFFFFF;
  return static_cast<Fixed>(fixed);
}

QuickTimeCodecReaderPrivate::QuickTimeCodecReaderPrivate() {
  decompressionSession = nullptr;
  pixelBuffer = nullptr;
}

QuickTimeCodecReaderPrivate::~QuickTimeCodecReaderPrivate() { close(); }

int QuickTimeCodecReaderPrivate::open(const std::string& newPath, int mode) {
  path = newPath;
  // A movie still open from an earlier open is closed first: its tracks, media
  // and timecode references must not outlive it.
  if (movie) close();

  CFStringRef pathString = CFStringCreateWithCString(nullptr, path.c_str(), kCFStringEncodingUTF8);
  if (!pathString) return 3;  // not UTF-8: nothing to release, no movie
  Boolean active = true;
  QTNewMoviePropertyElement properties[2] = {
      // The value is the string reference itself.
      {kQTPropertyClass_DataLocation, kQTDataLocationPropertyID_CFStringPosixPath, sizeof(pathString), &pathString, 0},
      {kQTPropertyClass_NewMovieProperty, kQTNewMoviePropertyID_Active, sizeof(active), &active, 0},
  };
  NewMovieFromProperties(2, properties, 0, nullptr, &movie);
  CFRelease(pathString);
  if (!movie) return 3;

  if (mode & 1) scanTracks();
  if (!(mode & 2)) return 0;
  return setUpAudio();
}

int QuickTimeCodecReaderPrivate::close() {
  releasePixelBuffer();
  if (decompressionSession) {
    ICMDecompressionSessionRelease(decompressionSession);
    decompressionSession = nullptr;
  }
  if (audioExtraction) {
    MovieAudioExtractionEnd(audioExtraction);
    audioExtraction = nullptr;
  }
  if (movie) {
    DisposeMovie(movie);
    movie = nullptr;
  }
  videoTrack = nullptr;
  videoMedia = nullptr;
  audioTrack = nullptr;
  audioMedia = nullptr;
  // The timecode references belong to the disposed movie as well: cleared, so
  // that no later scan or description reads through them.
  timecodeTrack = nullptr;
  timecodeMedia = nullptr;
  return 0;
}

void QuickTimeCodecReaderPrivate::scanTracks() {
  videoRefusal = nullptr;
  const SInt32 count = GetMovieTrackCount(movie);
  Track firstVideo = nullptr;
  for (SInt32 index = 1; index <= count; ++index) {
    Track track = GetMovieIndTrack(movie, index);
    if (!track) continue;
    OSType type = 0;
    GetMediaHandlerDescription(GetTrackMedia(track), &type, nullptr, nullptr);
    if (isVideoMediaType(type)) {
      if (!firstVideo) firstVideo = track;
      // A disabled track is an alternative the movie does not show (another
      // angle, a proxy): the first enabled one is the movie's picture.
      if (!videoTrack && GetTrackEnabled(track)) videoTrack = track;
    }
    if (!timecodeTrack && type == TimeCodeMediaType) timecodeTrack = track;
  }
  if (!videoTrack) videoTrack = firstVideo;
  if (videoTrack) {
    measureVideoTrack();
    // A picture without a size, or one larger than any host should allocate,
    // has no frames to offer: its track is left unread.
    if (isDescribableFrame(width, height)) {
      countFrames();
    } else {
      diagnostic(LogLevel::kError, "Video track's frame size %dx%d is outside 1..%lld a side and %lld pixels\n",
                 static_cast<int>(width), static_cast<int>(height), static_cast<long long>(kLargestFrameSide),
                 static_cast<long long>(kLargestFramePixels));
      width = height = 0;
      videoTrack = nullptr;
      videoMedia = nullptr;
    }
  }
  if (timecodeTrack) readTimecodeTrack();
}

void QuickTimeCodecReaderPrivate::measureVideoTrack() {
  videoMedia = GetTrackMedia(videoTrack);
  if (!videoMedia || GetMediaSampleCount(videoMedia) <= 0) return;
  TimeValue64 decodeTime = 0;
  SampleNumToMediaDecodeTime(videoMedia, 1, &decodeTime, nullptr);
  if (GetMoviesError() != noErr) return;

  Handle description = NewHandle(0);
  if (!description) return;
  OSErr fetched = GetMediaSample2(videoMedia, nullptr, 0, nullptr, decodeTime, nullptr, nullptr, nullptr,
                                  reinterpret_cast<SampleDescriptionHandle>(description), nullptr, 1, nullptr, nullptr);
  // A sample whose bytes lie beyond the end of the file is refused with its
  // description; the description itself is in the header all the same.
  const bool samplesMissing = fetched == invalidSampleTable;
  if (samplesMissing) {
    GetMediaSampleDescription(videoMedia, 1, reinterpret_cast<SampleDescriptionHandle>(description));
    fetched = GetMoviesError();
  }
  auto image = reinterpret_cast<ImageDescriptionHandle>(description);
  refuseUnreadableVideo(samplesMissing, fetched, image);
  // Only a fetched description that is at least a whole image description is
  // read; otherwise the size keeps its value.
  if (fetched == noErr && static_cast<size_t>(GetHandleSize(description)) >= sizeof(ImageDescription)) {
    width = (**image).width;
    height = (**image).height;
  }

  TimeValue64 displayTime = 0, displayDuration = 0;
  SampleNumToMediaDisplayTime(videoMedia, 1, &displayTime, &displayDuration);
  const TimeScale scale = GetMediaTimeScale(videoMedia);
  const auto duration = static_cast<SInt32>(displayDuration);  // the low 32 bits
  frameRate = frameRateFixed(scale, duration);
  timeScale = scale;
  frameDuration = duration;

  if (fetched == noErr) {
    PixelAspectRatioImageDescriptionExtension pasp{};
    if (ICMImageDescriptionGetProperty(image, kQTPropertyClass_ImageDescription,
                                       kICMImageDescriptionPropertyID_PixelAspectRatio, sizeof(pasp), &pasp,
                                       nullptr) == noErr &&
        pasp.vSpacing != 0) {  // a zero spacing would divide by zero: the aspect stays
      pixelAspect = static_cast<float>(pasp.hSpacing) / static_cast<float>(pasp.vSpacing);
    }
  }
  DisposeHandle(description);
}

void QuickTimeCodecReaderPrivate::refuseUnreadableVideo(bool samplesMissing, OSErr fetched,
                                                        ImageDescriptionHandle image) {
  // Said once here rather than as a failure of every frame, which would tell
  // the user nothing about why.
  if (samplesMissing) {
    videoRefusal =
        "The movie's video samples cannot be found in the file (it holds only the header, or is cut short or damaged)";
  } else if (fetched == noErr &&
             static_cast<size_t>(GetHandleSize(reinterpret_cast<Handle>(image))) >= sizeof(ImageDescription) &&
             (**image).cType == kEncryptedVideoType) {
    videoRefusal = "The movie's video is encrypted; its frames cannot be decoded";
  }
  if (videoRefusal) diagnostic(LogLevel::kError, "%s\n", videoRefusal);
}

bool QuickTimeCodecReaderPrivate::showsOnlyItsTail(TimeValue trackTime) const {
  // An edit that starts part-way through a picture (a cut made off the frame
  // grid) shows only its tail. Other readers do not count such a picture as
  // a frame of the movie, and neither do we, so that frame numbers agree with
  // theirs. A step lands less than one movie time unit after its picture's
  // start; only an edit's own start can land further in.
  const TimeValue mediaTime = TrackTimeToMediaTime(trackTime, videoTrack);
  if (mediaTime < 0) return false;
  SInt64 sample = 0;
  TimeValue64 pictureStart = 0;
  MediaDisplayTimeToSampleNum(videoMedia, mediaTime, &sample, &pictureStart, nullptr);
  if (GetMoviesError() != noErr || pictureStart >= mediaTime) return false;
  const double movieUnits = static_cast<double>(mediaTime - pictureStart) * GetMovieTimeScale(movie);
  return movieUnits >= static_cast<double>(GetMediaTimeScale(videoMedia));
}

void QuickTimeCodecReaderPrivate::countFrames() {
  const OSErr stickyBefore = GetMoviesStickyError();
  constexpr Fixed kRateOne = 0x00010000;
  frameTimes.clear();
  TimeValue time = 0;
  short flags = nextTimeMediaSample | nextTimeEdgeOK;
  // Each step lands on the first whole movie time unit at or after the start
  // of the next sample shown (empty edits skipped, every edit's own start
  // included), so remembering the stops maps each frame to its sample later.
  while (frameTimes.size() < kMaxFrames) {
    GetTrackNextInterestingTime(videoTrack, flags, time, kRateOne, &time, nullptr);
    if (time < 0) break;
    flags = nextTimeStep;
    if (!showsOnlyItsTail(time)) frameTimes.push_back(time);
  }
  frameCount = static_cast<SInt32>(frameTimes.size());
  hasVideo = frameCount != 0;
  if (stickyBefore == noErr) ClearMoviesStickyError();
}

void QuickTimeCodecReaderPrivate::readTimecodeTrack() {
  timecodeMedia = GetTrackMedia(timecodeTrack);
  if (!timecodeMedia) return;
  TimeCodeDef definition{};
  TimeCodeRecord record{};
  if (TCGetCurrentTimeCode(GetMediaHandler(timecodeMedia), &startTimecodeFrame, &definition, &record, nullptr) !=
      noErr) {
    return;
  }
  frameRate = frameRateFixed(definition.fTimeScale, definition.frameDuration);
  timeScale = definition.fTimeScale;
  frameDuration = definition.frameDuration;
  hasTimecode = true;
}

}  // namespace Vantor::QuickTime
