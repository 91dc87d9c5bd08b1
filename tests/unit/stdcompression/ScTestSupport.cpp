#include "ScTestSupport.h"

#include <cstring>

namespace vqt::sc::test {

OpenInstance::OpenInstance(OSType subType) {
  EXPECT_EQ(OpenADefaultComponent(StandardCompressionType, subType, &ci_), noErr);
}

OpenInstance::~OpenInstance() {
  if (ci_ != nullptr) CloseComponent(ci_);
}

std::string settingsText(ComponentInstance ci) {
  QTAtomContainer container = nullptr;
  EXPECT_EQ(SCGetSettingsAsAtomContainer(ci, &container), noErr);
  if (container == nullptr) return {};
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  const auto* bytes = reinterpret_cast<const unsigned char*>(*container);
  for (Size i = 0; i < GetHandleSize(container); ++i) {
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 0xF];
  }
  QTDisposeAtomContainer(container);
  return text;
}

OSErr loadText(ComponentInstance ci, const std::string& text) {
  const std::size_t size = text.size() / 2;
  Handle handle = NewHandleClear(Size(size));
  for (std::size_t i = 0; i < size; ++i) {
    auto digit = [](char c) { return c >= 'a' ? c - 87 : c - 48; };
    (*handle)[i] = char(((digit(text[2 * i]) & 0xF) << 4) | (digit(text[2 * i + 1]) & 0xFF));
  }
  const OSErr result = OSErr(SCSetSettingsFromAtomContainer(ci, handle));
  DisposeHandle(handle);
  return result;
}

SCSpatialSettings spatialOf(ComponentInstance ci) {
  SCSpatialSettings s{};
  EXPECT_EQ(SCGetInfo(ci, scSpatialSettingsType, &s), noErr);
  return s;
}

SCTemporalSettings temporalOf(ComponentInstance ci) {
  SCTemporalSettings s{};
  EXPECT_EQ(SCGetInfo(ci, scTemporalSettingsType, &s), noErr);
  return s;
}

SCDataRateSettings dataRateOf(ComponentInstance ci) {
  SCDataRateSettings s{};
  EXPECT_EQ(SCGetInfo(ci, scDataRateSettingsType, &s), noErr);
  return s;
}

VqtSoundCompressionSettings soundOf(ComponentInstance ci) {
  VqtSoundCompressionSettings s;
  EXPECT_EQ(SCGetInfo(ci, scSoundCompressionType, &s.compressionType), noErr);
  EXPECT_EQ(SCGetInfo(ci, scSoundSampleRateType, &s.sampleRate), noErr);
  EXPECT_EQ(SCGetInfo(ci, scSoundSampleSizeType, &s.sampleSize), noErr);
  EXPECT_EQ(SCGetInfo(ci, scSoundChannelCountType, &s.channelCount), noErr);
  return s;
}

Component compressorOf(CodecType type) {
  ComponentDescription looking{compressorComponentType, type, 0, 0, cmpIsMissing};
  return FindNextComponent(nullptr, &looking);
}

bool operator==(const SCSpatialSettings& a, const SCSpatialSettings& b) {
  return a.codecType == b.codecType && a.codec == b.codec && a.depth == b.depth && a.spatialQuality == b.spatialQuality;
}
bool operator==(const SCTemporalSettings& a, const SCTemporalSettings& b) {
  return a.temporalQuality == b.temporalQuality && a.frameRate == b.frameRate && a.keyFrameRate == b.keyFrameRate;
}
bool operator==(const SCDataRateSettings& a, const SCDataRateSettings& b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}
bool operator==(const VqtSoundCompressionSettings& a, const VqtSoundCompressionSettings& b) {
  return a.compressionType == b.compressionType && a.sampleRate == b.sampleRate && a.sampleSize == b.sampleSize &&
         a.channelCount == b.channelCount;
}

}  // namespace vqt::sc::test
