// Compression settings of the writer: plain values or a settings text, the
// standard compression dialogs, descriptions and the codec catalogue.
#include <QuickTime/QuickTimeComponents.h>

#include <algorithm>
#include <sstream>

#include "QuickTimeCodecWriterPrivate.h"
#include "SettingsText.h"

namespace Vantor::QuickTime {
namespace {

// Loads a settings text into an instance; an empty text re-applies the
// instance's own settings so the instance ends in the same state either way.
void loadSettingsText(ComponentInstance ci, const std::string& text) {
  if (!text.empty()) {
    Handle settings = decodeSettingsText(text);
    if (settings == nullptr) return;
    SCSetSettingsFromAtomContainer(ci, settings);
    DisposeHandle(settings);
    return;
  }
  QTAtomContainer own = nullptr;
  if (SCGetSettingsAsAtomContainer(ci, &own) == noErr) {
    SCSetSettingsFromAtomContainer(ci, own);
    QTDisposeAtomContainer(own);
  }
}

SCSpatialSettings spatialFromState(const QuickTimeCodecWriterPrivate& d) {
  return SCSpatialSettings{d.codecType, nullptr, 32, d.spatialQuality};
}

SCTemporalSettings temporalFromState(const QuickTimeCodecWriterPrivate& d) {
  // The spatial quality doubles as the temporal quality.
  return SCTemporalSettings{d.spatialQuality, d.frameRate, d.keyFrameRate};
}

SCDataRateSettings dataRateFromState(const QuickTimeCodecWriterPrivate& d) {
  return SCDataRateSettings{d.dataRate, 0, 0, 0};
}

void presetFromState(ComponentInstance ci, const QuickTimeCodecWriterPrivate& d) {
  SCSpatialSettings spatial = spatialFromState(d);
  SCTemporalSettings temporal = temporalFromState(d);
  SCDataRateSettings dataRate = dataRateFromState(d);
  SInt32 flags = scAllowEncodingWithCompressionSession;
  SCSetInfo(ci, scSpatialSettingsType, &spatial);
  SCSetInfo(ci, scTemporalSettingsType, &temporal);
  SCSetInfo(ci, scDataRateSettingsType, &dataRate);
  SCSetInfo(ci, scPreferenceFlagsType, &flags);
}

std::string settingsTextOf(ComponentInstance ci) {
  QTAtomContainer container = nullptr;
  if (SCGetSettingsAsAtomContainer(ci, &container) != noErr) return {};
  std::string text = encodeSettingsText(container);
  QTDisposeAtomContainer(container);
  return text;
}

std::string componentName(Component component) {
  Handle name = NewHandle(0);
  std::string text;
  ComponentDescription description{};
  if (name != nullptr && GetComponentInfo(component, &description, name, nullptr, nullptr) == noErr) {
    const Size size = GetHandleSize(name);
    if (size > 0) {
      const auto* bytes = reinterpret_cast<const unsigned char*>(*name);
      // A Pascal string: never read past the handle whatever its length byte says.
      const Size length = std::min<Size>(bytes[0], size - 1);
      text.assign(reinterpret_cast<const char*>(bytes + 1), static_cast<std::size_t>(length));
    }
  }
  if (name != nullptr) DisposeHandle(name);
  return text;
}

}  // namespace

void QuickTimeCodecWriterPrivate::applySettingsText(const std::string& text) {
  ComponentInstance ci = OpenDefaultComponent(StandardCompressionType, StandardCompressionSubType);
  if (text.empty() || ci == nullptr) {
    if (ci != nullptr) CloseComponent(ci);
    return;
  }
  SInt32 flags = scAllowEncodingWithCompressionSession;
  SCSetInfo(ci, scPreferenceFlagsType, &flags);
  Handle settings = decodeSettingsText(text);
  const ComponentResult loaded = settings != nullptr ? SCSetSettingsFromAtomContainer(ci, settings) : memFullErr;
  if (settings != nullptr) DisposeHandle(settings);
  // A text the component refuses leaves the state alone: reading back the
  // component's bare defaults would store a frame rate of 0 and with it a
  // time scale of 0.
  if (loaded != noErr) {
    CloseComponent(ci);
    return;
  }
  // Start from the current state so that a failed read stores what we had.
  SCSpatialSettings spatial = spatialFromState(*this);
  SCTemporalSettings temporal = temporalFromState(*this);
  SCDataRateSettings averageRate = dataRateFromState(*this);
  SCGetInfo(ci, scSpatialSettingsType, &spatial);
  SCGetInfo(ci, scTemporalSettingsType, &temporal);
  SCGetInfo(ci, scDataRateSettingsType, &averageRate);
  CloseComponent(ci);

  dataRate = std::max<SInt32>(averageRate.dataRate, 0);
  keyFrameRate = temporal.keyFrameRate;
  frameRate = temporal.frameRate;
  const FrameRate rate(fixedRateToFloat(frameRate));
  timeScale = rate.timeScale();
  frameDuration = rate.frameDuration();
  spatialQuality = spatial.spatialQuality;
  codecType = spatial.codecType;
}

void QuickTimeCodecWriterPrivate::setCompressionSettings(int newWidth, int newHeight, float rate, int newKeyFrameRate,
                                                         int qualityIndex, bool hasAlpha, const std::string& settings) {
  width = newWidth;
  height = newHeight;
  frameRate = floatToFixedRate(rate);
  const FrameRate derived(fixedRateToFloat(frameRate));
  timeScale = derived.timeScale();
  frameDuration = derived.frameDuration();
  settingsText = settings;
  if (newKeyFrameRate != -1 || qualityIndex != -1) {
    keyFrameRate = newKeyFrameRate;
    spatialQuality = qualityLevelAt(qualityIndex);
  } else {
    applySettingsText(settings);
  }
  channels = hasAlpha ? 4 : 3;
}

std::string QuickTimeCodecWriterPrivate::getCompressionDescription(const std::string& settings) const {
  ComponentInstance ci = OpenDefaultComponent(StandardCompressionType, StandardCompressionSubType);
  if (ci == nullptr) return "Missing codec";
  presetFromState(ci, *this);
  loadSettingsText(ci, settings);
  SCSpatialSettings spatial = spatialFromState(*this);
  SCTemporalSettings temporal = temporalFromState(*this);
  SCGetInfo(ci, scSpatialSettingsType, &spatial);
  SCGetInfo(ci, scTemporalSettingsType, &temporal);
  CloseComponent(ci);
  if (spatial.codec == nullptr) return {};

  std::ostringstream text;
  text << componentName(spatial.codec) << ", " << fixedRateToFloat(temporal.frameRate) << " fps, "
       << qualityWord(spatial.spatialQuality);
  return text.str();
}

std::string QuickTimeCodecWriterPrivate::requestCompressionSettings(const std::string& settings) {
  ComponentInstance ci = OpenDefaultComponent(StandardCompressionType, StandardCompressionSubType);
  std::string result = settingsText;
  if (ci == nullptr) return result;

  GWorldPtr sample = nullptr;
  const Rect bounds{0, 0, 128, 128};
  if (QTNewGWorld(&sample, k32ARGBPixelFormat, &bounds, nullptr, nullptr, 0) == noErr && sample != nullptr) {
    SCDefaultPixMapSettings(ci, GetGWorldPixMap(sample), true);
    DisposeGWorld(sample);
    SCSpatialSettings spatial{};
    if (SCGetInfo(ci, scSpatialSettingsType, &spatial) == noErr) {
      spatial = spatialFromState(*this);
      SCSetInfo(ci, scSpatialSettingsType, &spatial);
    }
    SCTemporalSettings temporal{};
    if (SCGetInfo(ci, scTemporalSettingsType, &temporal) == noErr) {
      temporal = temporalFromState(*this);
      SCSetInfo(ci, scTemporalSettingsType, &temporal);
    }
    SCDataRateSettings dataRate = dataRateFromState(*this);
    SCSetInfo(ci, scDataRateSettingsType, &dataRate);
  }
  SInt32 flags = scAllowEncodingWithCompressionSession;
  SCSetInfo(ci, scPreferenceFlagsType, &flags);
  loadSettingsText(ci, settings);

  if (SCRequestSequenceSettings(ci) != noErr) {
    CloseComponent(ci);
    return result;
  }
  QTAtomContainer chosen = nullptr;
  if (SCGetSettingsAsAtomContainer(ci, &chosen) != noErr) {
    CloseComponent(ci);
    return result;
  }
  result = encodeSettingsText(chosen);
  QTDisposeAtomContainer(chosen);
  applySettingsText(result);
  CloseComponent(ci);
  return result;
}

std::string QuickTimeCodecWriterPrivate::getCompressionSettings(const std::string& settings) const {
  ComponentInstance ci = OpenDefaultComponent(StandardCompressionType, StandardCompressionSubType);
  if (ci == nullptr) return {};
  presetFromState(ci, *this);
  loadSettingsText(ci, settings);
  std::string text = settingsTextOf(ci);
  CloseComponent(ci);
  return text;
}

std::string QuickTimeCodecWriterPrivate::requestAudioSettings(const std::string& settings) {
  ComponentInstance ci = nullptr;
  if (OpenADefaultComponent(StandardCompressionType, StandardCompressionSubTypeAudio, &ci) != noErr || ci == nullptr)
    return {};
  Boolean yes = true;
  SCSetInfo(ci, scSoundVBRCompressionOK, &yes);
  SCSetInfo(ci, scSoundSampleRateChangeOK, &yes);
  loadSettingsText(ci, settings);
  if (SCRequestImageSettings(ci) != noErr) {
    CloseComponent(ci);
    return {};
  }
  std::string text = settingsTextOf(ci);
  CloseComponent(ci);
  return text;
}

const char** QuickTimeCodecWriterPrivate::getCodecNames() const {
  if (codecNames.empty()) return nullptr;
  return const_cast<const char**>(codecNames.data());
}

int QuickTimeCodecWriterPrivate::getCodecIndex() const {
  for (int i = 0; i < codecCount(); ++i)
    if (codecTypeAt(i) == codecType) return i;
  return -1;
}

void QuickTimeCodecWriterPrivate::setCodecIndex(int index) {
  if (index < 0 || index >= codecCount()) return;
  codecType = codecTypeAt(index);
  pixelFormat = 0;
}

int QuickTimeCodecWriterPrivate::getQualityIndex() const { return qualityIndexOf(spatialQuality); }

float QuickTimeCodecWriterPrivate::getFrameRate() const { return fixedRateToFloat(frameRate); }

}  // namespace Vantor::QuickTime
