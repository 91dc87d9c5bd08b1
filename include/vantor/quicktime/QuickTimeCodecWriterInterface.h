// The movie writer as callers see it: compression settings (with the standard
// compression dialogs), a movie file with video, sound, metadata and timecode,
// and the codec catalogue.
#pragma once

#include <vantor/Export.h>

#include <vantor/property/Property.h>
#include <vantor/quicktime/FrameRate.h>

#include <cstdint>
#include <list>
#include <string>

namespace Vantor::QuickTime {

class VANTOR_EXPORT QuickTimeCodecWriterInterface {
 public:
  virtual ~QuickTimeCodecWriterInterface() = default;

  virtual void initialise() = 0;
  // streams bit 0 (1): video, bit 1 (2): audio. 0 success, 1 file not created, 4 no video track or media.
  virtual int openMovie(const std::string& path, int streams) = 0;
  virtual void finishVideo() = 0;
  virtual void finishAudio() = 0;
  // 0 success, 1 failure. With `flatten` the movie is rewritten header first.
  virtual int closeMovie(bool flatten) = 0;
  // Pixels are B, G, R, A floats (or bytes with pixelsAreBytes). 0 success, 7 no compression
  // session, 8 unsupported pixel format, 5 no memory, 1 pixel buffer or encoding failure.
  virtual int encodeFrame(int frame, const void* pixels, bool pixelsAreBytes) = 0;
  // false on success.
  virtual bool writeAudioSamples(int reserved, int sampleCount, const float* samples) = 0;
  // The sound description's creation result (0 success).
  virtual int32_t setAudioFormat(int channels, bool flag, int sampleRate, const std::string& text) = 0;
  // 0, or 2 when no movie is open.
  virtual int setMetadata(const std::list<Vantor::Property::Base*>& properties) = 0;
  // false on success; called after finishVideo.
  virtual bool addTimecodeTrack(FrameRate rate, int startFrame, int reserved, const std::string& reelName) = 0;
  // 0 success, 1 failure.
  virtual int addAudioFromFile(const char* path, float offsetSeconds) = 0;
  virtual void setCompressionSettings(int width, int height, float frameRate, int keyFrameRate, int qualityIndex,
                                      bool hasAlpha, const std::string& settings) = 0;
  virtual std::string getCompressionDescription(const std::string& settings) const = 0;
  virtual std::string requestCompressionSettings(const std::string& settings) = 0;
  virtual std::string getCompressionSettings(const std::string& settings) const = 0;
  virtual std::string getAudioSettings(const std::string& settings) const = 0;
  virtual std::string requestAudioSettings(const std::string& settings) = 0;
  // Null-terminated "four-char-code<TAB>type name" texts, or null without a catalogue.
  virtual const char** getCodecNames() const = 0;
  virtual int getCodecIndex() const = 0;
  virtual void setCodecIndex(int index) = 0;
  virtual void setWritePixelAspect(bool enable) = 0;
  virtual int getQualityIndex() const = 0;
  virtual float getFrameRate() const = 0;
  virtual int getKeyFrameRate() const = 0;
  virtual void* allocateBuffer(unsigned int count) = 0;
  virtual void freeBuffer(void* buffer) = 0;
};

}  // namespace Vantor::QuickTime
