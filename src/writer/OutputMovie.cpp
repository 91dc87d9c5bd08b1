// The output movie's life: storage at the destination with video and sound
// tracks, finishing the tracks, and closing, optionally flattened header first
// through a ".tmp" file beside the destination that then replaces it.
#include <cstdio>
#include <iostream>

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
  path = destination;
  std::remove(path.c_str());
  OSType dataRefType = 0;
  if (dataReferenceFor(path, kQTNativeDefaultPathStyle, &dataRef, &dataRefType) != noErr) {
    diagnostic(LogLevel::kError, "Couldn't create data reference for destination\n");
    return 1;
  }
  OSErr error =
      CreateMovieStorage(dataRef, dataRefType, kCreatorTVOD, kSystemScript, kCreateFlags, &dataHandler, &movie);
  if (error != noErr) {
    diagnostic(LogLevel::kError, "Couldn't create output movie storage %d\n", static_cast<int>(error));
    return 1;
  }
  error = AddMovieToStorage(movie, dataHandler);
  if (error != noErr) {
    diagnostic(LogLevel::kError, "Failed to write movie to output file: %d\n", static_cast<int>(error));
    return 1;
  }
  SetMovieTimeScale(movie, timeScale);
  int result = 0;
  if (streams & 1) result = createVideoTrack();
  if (streams & 2) createAudioTrack();
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
  if (compressionSession != nullptr) ICMCompressionSessionCompleteFrames(compressionSession, true, 0, 0);
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

int QuickTimeCodecWriterPrivate::closeMovie(bool flatten) {
  int result = 0;
  if (movie != nullptr && dataHandler != nullptr && UpdateMovieInStorage(movie, dataHandler) != noErr) {
    diagnostic(LogLevel::kError, "Failed to update movie file\n");
    result = 1;
  }
  if (compressionSession != nullptr) ICMCompressionSessionRelease(compressionSession);
  compressionSession = nullptr;
  if (dataHandler != nullptr) CloseMovieStorage(dataHandler);
  dataHandler = nullptr;
  if (dataRef != nullptr) DisposeHandle(dataRef);
  dataRef = nullptr;
  if (soundDescription != nullptr) DisposeHandle(reinterpret_cast<Handle>(soundDescription));
  soundDescription = nullptr;
  if (movie != nullptr) {
    if (flatten) result = flattenInto(path);
    DisposeMovie(movie);
  }
  movie = nullptr;
  videoTrack = nullptr;
  videoMedia = nullptr;
  audioTrack = nullptr;
  audioMedia = nullptr;
  return result;
}

// Writes the movie header first into destination + ".tmp", then renames it
// over the destination, so the destination only ever holds a complete file:
// the updated movie until the rename, the flattened one after.
int QuickTimeCodecWriterPrivate::flattenInto(const std::string& destination) {
  const std::string temporary = destination + ".tmp";
  Handle tmpDataRef = nullptr;
  OSType tmpDataRefType = 0;
  if (dataReferenceFor(temporary, kQTPOSIXPath, &tmpDataRef, &tmpDataRefType) != noErr) {
    diagnostic(LogLevel::kError, "Illegal file name: %s\n", destination.c_str());
    return 1;
  }
  Movie flattened = FlattenMovieDataToDataRef(movie, kFlattenHeaderFirst, tmpDataRef, tmpDataRefType, kCreatorTVOD,
                                              kSystemScript, kCreateFlags);
  DisposeHandle(tmpDataRef);
  if (flattened == nullptr) {
    std::remove(temporary.c_str());
    const OSErr error = GetMoviesError();
    if (error == kFileBusy)
      diagnostic(LogLevel::kError, "Failed to flatten movie data: the movie is open in another application\n");
    diagnostic(LogLevel::kError, "Failed to flatten movie data: %d\n", static_cast<int>(error));
    return 1;
  }
  if (std::rename(temporary.c_str(), destination.c_str()) != 0)
    diagnosticError(LogLevel::kError, "DEBUG::: RENAMED FAILED\n");
  DisposeMovie(flattened);
  return 0;
}

}  // namespace Vantor::QuickTime
