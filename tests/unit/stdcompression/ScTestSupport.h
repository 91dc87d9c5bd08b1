// Shared pieces of the standard compression tests: instances that close themselves, the
// settings text (hexadecimal of the container, decoded the way the system layer decodes it),
// and reading records by info type.
#pragma once

#include <QuickTime/QuickTimeComponents.h>
#include <QuickTime/StandardCompressionDialog.h>
#include <gtest/gtest.h>

#include <string>

namespace vqt::sc::test {

struct OpenInstance {
  explicit OpenInstance(OSType subType) { EXPECT_EQ(OpenADefaultComponent(StandardCompressionType, subType, &ci), noErr); }
  ~OpenInstance() { CloseComponent(ci); }
  operator ComponentInstance() const { return ci; }
  ComponentInstance ci = nullptr;
};

template <typename T>
T info(ComponentInstance ci, OSType type) {
  T value{};
  EXPECT_EQ(SCGetInfo(ci, type, &value), noErr);
  return value;
}

template <typename T>
void setInfo(ComponentInstance ci, OSType type, T value) {
  ASSERT_EQ(SCSetInfo(ci, type, &value), noErr);
}

inline std::string settingsText(ComponentInstance ci) {
  QTAtomContainer container = nullptr;
  EXPECT_EQ(SCGetSettingsAsAtomContainer(ci, &container), noErr);
  std::string text;
  for (Size i = 0; container != nullptr && i < GetHandleSize(container); ++i) {
    const auto byte = static_cast<unsigned char>((*container)[i]);
    text += "0123456789abcdef"[byte >> 4];
    text += "0123456789abcdef"[byte & 0xF];
  }
  QTDisposeAtomContainer(container);
  return text;
}

inline OSErr loadText(ComponentInstance ci, const std::string& text) {
  Handle handle = NewHandleClear(Size(text.size() / 2));
  auto digit = [](char c) { return c >= 'a' ? c - 87 : c - 48; };
  for (std::size_t i = 0; i < text.size() / 2; ++i)
    (*handle)[i] = char(((digit(text[2 * i]) & 0xF) << 4) | (digit(text[2 * i + 1]) & 0xFF));
  const auto result = OSErr(SCSetSettingsFromAtomContainer(ci, handle));
  DisposeHandle(handle);
  return result;
}

inline Component compressorOf(CodecType type) {
  ComponentDescription looking{compressorComponentType, type, 0, 0, cmpIsMissing};
  return FindNextComponent(nullptr, &looking);
}

inline void expectSpatial(ComponentInstance ci, const SCSpatialSettings& expected) {
  const auto s = info<SCSpatialSettings>(ci, scSpatialSettingsType);
  EXPECT_EQ(s.codecType, expected.codecType);
  EXPECT_EQ(s.codec, expected.codec);
  EXPECT_EQ(s.depth, expected.depth);
  EXPECT_EQ(s.spatialQuality, expected.spatialQuality);
}

inline void expectTemporal(ComponentInstance ci, const SCTemporalSettings& expected) {
  const auto t = info<SCTemporalSettings>(ci, scTemporalSettingsType);
  EXPECT_EQ(t.temporalQuality, expected.temporalQuality);
  EXPECT_EQ(t.frameRate, expected.frameRate);
  EXPECT_EQ(t.keyFrameRate, expected.keyFrameRate);
}

inline void expectSound(ComponentInstance ci, const VqtSoundCompressionSettings& expected) {
  EXPECT_EQ(info<OSType>(ci, scSoundCompressionType), expected.compressionType);
  EXPECT_EQ(info<UnsignedFixed>(ci, scSoundSampleRateType), expected.sampleRate);
  EXPECT_EQ(info<SInt16>(ci, scSoundSampleSizeType), expected.sampleSize);
  EXPECT_EQ(info<SInt16>(ci, scSoundChannelCountType), expected.channelCount);
}

// 29.97 in 16.16, truncated as the writer stores it.
inline constexpr Fixed kFixed2997 = 1964113;

}  // namespace vqt::sc::test
