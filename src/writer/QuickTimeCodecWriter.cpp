// The public writer: every operation forwards to the private object.
#include <vantor/quicktime/QuickTimeCodecWriter.h>

#include <algorithm>
#include <cstdint>

#include "QuickTimeCodecWriterPrivate.h"

namespace Vantor::QuickTime {

QuickTimeCodecWriter::QuickTimeCodecWriter() : d(new QuickTimeCodecWriterPrivate) {}

QuickTimeCodecWriter::~QuickTimeCodecWriter() {
  delete[] d->audioBuffer;
  d->audioBuffer = nullptr;
  delete d;
}

void QuickTimeCodecWriter::initialise() {}
int QuickTimeCodecWriter::openMovie(const std::string& path, int streams) { return d->openMovie(path, streams); }
void QuickTimeCodecWriter::finishVideo() { d->finishVideo(); }
void QuickTimeCodecWriter::finishAudio() { d->finishAudio(); }
int QuickTimeCodecWriter::closeMovie(bool flatten) { return d->closeMovie(flatten); }

int QuickTimeCodecWriter::encodeFrame(int frame, const void* pixels, bool pixelsAreBytes) {
  return d->encodeFrame(frame, pixels, pixelsAreBytes);
}

bool QuickTimeCodecWriter::writeAudioSamples(int, int sampleCount, const float* samples) {
  return d->writeAudioSamples(sampleCount, samples);
}

int32_t QuickTimeCodecWriter::setAudioFormat(int channels, bool flag, int sampleRate, const std::string& text) {
  return d->setAudioFormat(channels, flag, sampleRate, text);
}

int QuickTimeCodecWriter::setMetadata(const std::list<Vantor::Property::Base*>& properties) {
  return d->setMetadata(properties);
}

bool QuickTimeCodecWriter::addTimecodeTrack(FrameRate rate, int startFrame, int, const std::string& reelName) {
  return d->addTimecodeTrack(rate, startFrame, reelName);
}

int QuickTimeCodecWriter::addAudioFromFile(const char* path, float offsetSeconds) {
  return d->addAudioFromFile(path, offsetSeconds);
}

void QuickTimeCodecWriter::setCompressionSettings(int width, int height, float frameRate, int keyFrameRate,
                                                  int qualityIndex, bool hasAlpha, const std::string& settings) {
  d->setCompressionSettings(width, height, frameRate, keyFrameRate, qualityIndex, hasAlpha, settings);
}

void QuickTimeCodecWriter::setTimeBase(std::int32_t timeScale, std::int32_t frameDuration) {
  if (timeScale <= 0 || frameDuration <= 0) return;
  d->timeScale = timeScale;
  d->frameDuration = frameDuration;
  d->frameRate = static_cast<Fixed>(std::min(65536.0 * timeScale / frameDuration, 2147483647.0));
}

void QuickTimeCodecWriter::setAverageDataRate(std::int64_t bitsPerSecond) {
  // The settings hold whole bytes per second in 32 bits.
  d->dataRate = static_cast<SInt32>(std::clamp<std::int64_t>(bitsPerSecond / 8, 0, INT32_MAX));
}

std::int64_t QuickTimeCodecWriter::getAverageDataRate() const { return std::int64_t{d->dataRate} * 8; }

std::string QuickTimeCodecWriter::getCompressionDescription(const std::string& settings) const {
  return d->getCompressionDescription(settings);
}
std::string QuickTimeCodecWriter::requestCompressionSettings(const std::string& settings) {
  return d->requestCompressionSettings(settings);
}
std::string QuickTimeCodecWriter::getCompressionSettings(const std::string& settings) const {
  return d->getCompressionSettings(settings);
}
std::string QuickTimeCodecWriter::getAudioSettings(const std::string&) const { return {}; }
std::string QuickTimeCodecWriter::requestAudioSettings(const std::string& settings) {
  return d->requestAudioSettings(settings);
}

const char** QuickTimeCodecWriter::getCodecNames() const { return d->getCodecNames(); }
int QuickTimeCodecWriter::getCodecIndex() const { return d->getCodecIndex(); }
void QuickTimeCodecWriter::setCodecIndex(int index) { d->setCodecIndex(index); }
void QuickTimeCodecWriter::setWritePixelAspect(bool enable) { d->writePixelAspect = enable; }
int QuickTimeCodecWriter::getQualityIndex() const { return d->getQualityIndex(); }
float QuickTimeCodecWriter::getFrameRate() const { return d->getFrameRate(); }
int QuickTimeCodecWriter::getKeyFrameRate() const { return d->keyFrameRate; }

void* QuickTimeCodecWriter::allocateBuffer(unsigned int count) { return new std::uint32_t[count]; }
void QuickTimeCodecWriter::freeBuffer(void* buffer) { delete[] static_cast<std::uint32_t*>(buffer); }

}  // namespace Vantor::QuickTime
