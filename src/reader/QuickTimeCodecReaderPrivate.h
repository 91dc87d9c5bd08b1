// The movie reader's private state and operations: the shared QuickTime state
// plus the decompression session and the last emitted pixel buffer. Each
// operation lives in its own file (opening, frames, audio, metadata, stream
// description).
#pragma once

#include "QuickTimeCodecPrivate.h"

#include <CoreVideo/CoreVideo.h>
#include <vantor/property/Property.h>

#include <list>
#include <map>
#include <string>
#include <vector>

namespace Vantor::QuickTime {

// The sample entry type that stands for any protected video format.
constexpr OSType kEncryptedVideoType = 'encv';

class QuickTimeCodecReaderPrivate : public QuickTimeCodecPrivate {
 public:
  QuickTimeCodecReaderPrivate();
  ~QuickTimeCodecReaderPrivate() override;

  int open(const std::string& path, int mode);
  int close();

  // Creates the decompression session unless it exists: 0 when there is one, 1 otherwise.
  int createDecompressionSession();
  int decodeFrame(int frame, float* rgba);

  // Begins audio extraction on the open movie: 0, or 1 when it cannot be set up.
  int setUpAudio();
  int readAudio(unsigned int startSample, unsigned int* sampleCount, float* buffer);

  int getMetadata(std::list<Vantor::Property::Base*>& properties);
  void getStreamDescription(std::map<std::string, std::string>& description);

  ICMDecompressionSessionRef decompressionSession = nullptr;
  CVPixelBufferRef pixelBuffer = nullptr;
  // Each conversion band's few rows of the emitted buffer at a time.
  std::vector<UInt8> rowScratch;
  // The track time (movie time units) at which each frame the scan counted
  // begins, as the stepping through the track found it: frame k is entry k-1.
  std::vector<TimeValue> frameTimes;
  // Why the video track can never be decoded (encrypted, samples missing from
  // the file, no decompressor), said once; null when it can be tried.
  const char* videoRefusal = nullptr;

 private:
  void scanTracks();
  void measureVideoTrack();
  void refuseUnreadableVideo(bool samplesMissing, OSErr fetched, ImageDescriptionHandle image);
  void countFrames();
  // Whether the picture shown from `trackTime` began more than one movie time
  // unit before it: an edit that starts inside it shows only its tail.
  bool showsOnlyItsTail(TimeValue trackTime) const;
  void readTimecodeTrack();
  // Rows of the emitted pixel buffer into the host's RGBA floats: 0, 1 when
  // nothing was emitted, 2 for a pixel format without a conversion.
  int convertPixelBuffer(float* rgba);
  void releasePixelBuffer();

  static void trackingCallback(void* refCon, OSStatus result, ICMDecompressionTrackingFlags flags,
                               CVPixelBufferRef emitted, TimeValue64 displayTime, TimeValue64 displayDuration,
                               ICMValidTimeFlags validTimeFlags, void* reserved, void* sourceFrameRefCon);
};

// 16.16 frames per second of a time scale and frame duration, through FrameRate
// (which knows the 1000/1001 rates); saturates at 0x7FFFFFFF.
Fixed frameRateFixed(SInt32 timeScale, SInt32 frameDuration);

}  // namespace Vantor::QuickTime
