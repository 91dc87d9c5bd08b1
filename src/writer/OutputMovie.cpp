// The output movie's life: storage in a temporary file beside the destination
// with video and sound tracks, finishing the tracks, and closing (optionally
// flattened header first), after which one rename puts the movie in place.
#include <cstdio>

#include "MovieWritingConstants.h"
#include "QuickTimeCodecWriterPrivate.h"
#include "Diagnostics.h"

namespace Vantor::QuickTime {

using namespace MovieWriting;

namespace {

// Data reference for a path; the path string is released on every branch.
OSErr dataReferenceFor(const std::string& path, SInt32 style, Handle* dataRefOut, OSType* typeOut) {
  CFStringRef text = CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(path.data()),
                                             static_cast<CFIndex>(path.size()), kCFStringEncodingUTF8, false);
  if (text == nullptr) return paramErr;
  OSErr error = QTNewDataReferenceFromFullPathCFString(text, static_cast<UInt32>(style), 0, dataRefOut, typeOut);
  CFRelease(text);
  if (error == noErr && *dataRefOut == nullptr) error = paramErr;
  return error;
}

}  // namespace

int QuickTimeCodecWriterPrivate::openMovie(const std::string& destination, int streams) {
  // Whatever the destination holds stays there until the new movie is whole.
  if (const auto staging = staged.begin(destination); staging != StagedDestination::Result::ok) {
    diagnostic(LogLevel::kError, "Couldn't write to %s: %s\n", destination.c_str(), describe(staging));
    return 1;
  }
  path = destination;
  OSType dataRefType = 0;
  if (dataReferenceFor(staged.temporaryPath(), kQTNativeDefaultPathStyle, &dataRef, &dataRefType) != noErr) {
    diagnostic(LogLevel::kError, "Couldn't create data reference for destination\n");
    staged.abandon();
    return 1;
  }
  OSErr error =
      CreateMovieStorage(dataRef, dataRefType, kCreatorTVOD, kSystemScript, kCreateFlags, &dataHandler, &movie);
  if (error != noErr) {
    diagnostic(LogLevel::kError, "Couldn't create output movie storage %d\n", static_cast<int>(error));
    releaseMovie();
    return 1;
  }
  error = AddMovieToStorage(movie, dataHandler);
  if (error != noErr) {
    diagnostic(LogLevel::kError, "Failed to write movie to output file: %d\n", static_cast<int>(error));
    releaseMovie();
    return 1;
  }
  SetMovieTimeScale(movie, timeScale);
  int result = 0;
  if (streams & 1) result = createVideoTrack();
  audioWanted = (streams & 2) != 0;
  return result;
}

int QuickTimeCodecWriterPrivate::createVideoTrack() {
  videoTrack = NewMovieTrack(movie, width << 16, height << 16, kNoVolume);
  videoMedia = videoTrack != nullptr ? NewTrackMedia(videoTrack, VideoMediaType, timeScale, nullptr, 0) : nullptr;
  if (videoMedia != nullptr) BeginMediaEdits(videoMedia);
  return (videoTrack == nullptr || videoMedia == nullptr || movie == nullptr) ? 4 : 0;
}

int QuickTimeCodecWriterPrivate::createAudioTrack() {
  audioTrack = NewMovieTrack(movie, 0, 0, kFullVolume);
  audioMedia = audioTrack != nullptr ? NewTrackMedia(audioTrack, SoundMediaType, audioSampleRate, nullptr, 0) : nullptr;
  if (audioMedia != nullptr) BeginMediaEdits(audioMedia);
  return 0;
}

void QuickTimeCodecWriterPrivate::finishVideo() {
  // The session encodes a frame behind the calls that give it, so the last
  // frame's error (or its sample's) can first come back here.
  if (compressionSession != nullptr) {
    if (const OSStatus error = ICMCompressionSessionCompleteFrames(compressionSession, true, 0, 0); error != noErr) {
      diagnostic(LogLevel::kError, "Couldn't encode frame, %ld\n", static_cast<long>(error));
      incomplete = true;
    }
  }
  if (videoTrack == nullptr || videoMedia == nullptr) return;
  EndMediaEdits(videoMedia);
  const OSErr error = InsertMediaIntoTrack(videoTrack, 0, 0, GetMediaDuration(videoMedia), fixed1);
  if (error != noErr) diagnostic(LogLevel::kError, "Failed to insert media into track %d\n", static_cast<int>(error));
}

void QuickTimeCodecWriterPrivate::finishAudio() {
  if (audioTrack == nullptr || audioMedia == nullptr) return;
  EndMediaEdits(audioMedia);
  const TimeValue duration = GetMediaDuration(audioMedia);
  diagnostic(LogLevel::kInfo, "Have duration %d\n", static_cast<int>(duration));
  const OSErr error = InsertMediaIntoTrack(audioTrack, 0, 0, duration, fixed1);
  if (error != noErr) diagnostic(LogLevel::kError, "Failed to insert media into track %d\n", static_cast<int>(error));
}

// Lets go of the movie, its storage and session; the staged files stay for
// the caller to move into place or abandon.
void QuickTimeCodecWriterPrivate::releaseMovie() {
  if (compressionSession != nullptr) ICMCompressionSessionRelease(compressionSession);
  compressionSession = nullptr;
  if (dataHandler != nullptr) CloseMovieStorage(dataHandler);
  dataHandler = nullptr;
  if (dataRef != nullptr) DisposeHandle(dataRef);
  dataRef = nullptr;
  if (soundDescription != nullptr) DisposeHandle(reinterpret_cast<Handle>(soundDescription));
  soundDescription = nullptr;
  if (movie != nullptr) DisposeMovie(movie);
  movie = nullptr;
  videoTrack = nullptr;
  videoMedia = nullptr;
  audioTrack = nullptr;
  audioMedia = nullptr;
  audioWanted = false;
  incomplete = false;
}

int QuickTimeCodecWriterPrivate::closeMovie(bool flatten) {
  int result = 0;
  if (incomplete && staged.active()) {
    diagnostic(LogLevel::kError, "Not writing %s: frames or sound could not be written\n",
               staged.destination().c_str());
    result = 1;
  }
  if (result == 0 && movie != nullptr && dataHandler != nullptr && UpdateMovieInStorage(movie, dataHandler) != noErr) {
    diagnostic(LogLevel::kError, "Failed to update movie file\n");
    result = 1;
  }
  if (compressionSession != nullptr) ICMCompressionSessionRelease(compressionSession);
  compressionSession = nullptr;
  if (dataHandler != nullptr) CloseMovieStorage(dataHandler);
  dataHandler = nullptr;
  std::string finished = staged.temporaryPath();
  if (result == 0 && movie != nullptr && flatten) result = flattenInto(finished);
  releaseMovie();
  if (!staged.active()) return result;  // nothing was opened
  if (result == 0) {
    if (const auto moved = staged.commit(finished); moved != StagedDestination::Result::ok) {
      // The long-standing line on standard error for a failed rename, then what went wrong.
      if (moved == StagedDestination::Result::cannotRename)
        diagnosticError(LogLevel::kError, "DEBUG::: RENAMED FAILED\n");
      diagnostic(LogLevel::kError, "Couldn't move the movie to %s: %s\n", staged.destination().c_str(),
                 describe(moved));
      result = 1;
    }
  }
  // On failure the destination keeps what it held.
  staged.abandon();
  return result;
}

// Writes the movie header first into a second temporary file beside the
// destination; `flattenedPath` becomes that file, the one to move into place.
int QuickTimeCodecWriterPrivate::flattenInto(std::string& flattenedPath) {
  std::string temporary;
  if (staged.addTemporary(temporary) != StagedDestination::Result::ok) {
    diagnostic(LogLevel::kError, "Illegal file name: %s\n", staged.destination().c_str());
    return 1;
  }
  Handle tmpDataRef = nullptr;
  OSType tmpDataRefType = 0;
  if (dataReferenceFor(temporary, kQTPOSIXPath, &tmpDataRef, &tmpDataRefType) != noErr) {
    diagnostic(LogLevel::kError, "Illegal file name: %s\n", staged.destination().c_str());
    return 1;
  }
  Movie flattened = FlattenMovieDataToDataRef(movie, kFlattenHeaderFirst, tmpDataRef, tmpDataRefType, kCreatorTVOD,
                                              kSystemScript, kCreateFlags);
  DisposeHandle(tmpDataRef);
  if (flattened == nullptr) {
    const OSErr error = GetMoviesError();
    if (error == kFileBusy)
      diagnostic(LogLevel::kError, "Failed to flatten movie data: the movie is open in another application\n");
    diagnostic(LogLevel::kError, "Failed to flatten movie data: %d\n", static_cast<int>(error));
    return 1;
  }
  DisposeMovie(flattened);
  flattenedPath = temporary;
  return 0;
}

}  // namespace Vantor::QuickTime
