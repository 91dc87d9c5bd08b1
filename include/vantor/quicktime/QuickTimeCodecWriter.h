// The movie writer: keeps compression settings (with the standard compression
// dialogs), writes a movie file with video, sound, metadata and a timecode
// track, and lists the codec catalogue. All state lives in its private object.
#pragma once

#include <vantor/quicktime/QuickTimeCodecWriterInterface.h>

namespace Vantor::QuickTime {

class QuickTimeCodecWriterPrivate;

class VANTOR_EXPORT QuickTimeCodecWriter : public QuickTimeCodecWriterInterface {
 public:
  // Throws std::runtime_error("QuickTime could not be initialised") when QuickTime cannot be entered.
  QuickTimeCodecWriter();
  // Frees the audio conversion buffer; an open movie is not finished.
  ~QuickTimeCodecWriter() override;
  QuickTimeCodecWriter(const QuickTimeCodecWriter&) = delete;
  QuickTimeCodecWriter& operator=(const QuickTimeCodecWriter&) = delete;

  void initialise() override;
  int openMovie(const std::string& path, int streams) override;
  void finishVideo() override;
  void finishAudio() override;
  int closeMovie(bool flatten) override;
  int encodeFrame(int frame, const void* pixels, bool pixelsAreBytes) override;
  bool writeAudioSamples(int reserved, int sampleCount, const float* samples) override;
  int32_t setAudioFormat(int channels, bool flag, int sampleRate, const std::string& text) override;
  int setMetadata(const std::list<Vantor::Property::Base*>& properties) override;
  bool addTimecodeTrack(FrameRate rate, int startFrame, int reserved, const std::string& reelName) override;
  int addAudioFromFile(const char* path, float offsetSeconds) override;
  void setCompressionSettings(int width, int height, float frameRate, int keyFrameRate, int qualityIndex, bool hasAlpha,
                              const std::string& settings) override;
  // An exact rate as time scale over frame duration (25/2, 24000/1001), for callers that
  // know it: the float rate above keeps only whole numbers and three NTSC rates. Call after
  // setCompressionSettings and before openMovie; non-positive values are ignored.
  void setTimeBase(std::int32_t timeScale, std::int32_t frameDuration);
  // The average data rate, in bits per second, that long-GOP codecs (H.264, HEVC,
  // MPEG-4 Video) aim at instead of their quality; 0 or less gives the rate back to
  // the quality. Intra codecs keep the rate of their quality. Kept in the settings
  // text; call after setCompressionSettings, which takes a text's own rate.
  void setAverageDataRate(std::int64_t bitsPerSecond);
  std::int64_t getAverageDataRate() const;
  std::string getCompressionDescription(const std::string& settings) const override;
  std::string requestCompressionSettings(const std::string& settings) override;
  std::string getCompressionSettings(const std::string& settings) const override;
  std::string getAudioSettings(const std::string& settings) const override;
  std::string requestAudioSettings(const std::string& settings) override;
  const char** getCodecNames() const override;
  int getCodecIndex() const override;
  void setCodecIndex(int index) override;
  void setWritePixelAspect(bool enable) override;
  int getQualityIndex() const override;
  float getFrameRate() const override;
  int getKeyFrameRate() const override;
  // An array of `count` 4-byte elements; release it with freeBuffer.
  void* allocateBuffer(unsigned int count) override;
  void freeBuffer(void* buffer) override;

 private:
  QuickTimeCodecWriterPrivate* d;
};

}  // namespace Vantor::QuickTime
