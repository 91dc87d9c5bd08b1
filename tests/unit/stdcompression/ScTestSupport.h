// Shared pieces of the standard compression tests: instances that close themselves, the
// settings text (hexadecimal of the container, decoded the way the system layer decodes it),
// and reading records by info type.
#pragma once

#include <QuickTime/QuickTimeComponents.h>
#include <QuickTime/StandardCompressionDialog.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace vqt::sc::test {

struct OpenInstance {
  explicit OpenInstance(OSType subType) {
    EXPECT_EQ(OpenADefaultComponent(StandardCompressionType, subType, &ci), noErr);
  }
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

// The records as tuples, so a mismatch prints every field.
inline auto fields(const SCSpatialSettings& s) { return std::tuple(s.codecType, s.codec, s.depth, s.spatialQuality); }
inline auto fields(const SCTemporalSettings& t) { return std::tuple(t.temporalQuality, t.frameRate, t.keyFrameRate); }
inline auto fields(const VqtSoundCompressionSettings& s) {
  return std::tuple(s.compressionType, s.sampleRate, s.sampleSize, s.channelCount);
}

inline void expectSpatial(ComponentInstance ci, const SCSpatialSettings& expected) {
  EXPECT_EQ(fields(info<SCSpatialSettings>(ci, scSpatialSettingsType)), fields(expected));
}
inline void expectTemporal(ComponentInstance ci, const SCTemporalSettings& expected) {
  EXPECT_EQ(fields(info<SCTemporalSettings>(ci, scTemporalSettingsType)), fields(expected));
}
inline void expectSound(ComponentInstance ci, const VqtSoundCompressionSettings& expected) {
  const VqtSoundCompressionSettings actual{
      info<OSType>(ci, scSoundCompressionType), info<UnsignedFixed>(ci, scSoundSampleRateType),
      info<SInt16>(ci, scSoundSampleSizeType), info<SInt16>(ci, scSoundChannelCountType)};
  EXPECT_EQ(fields(actual), fields(expected));
}

// 29.97 in 16.16, truncated as the writer stores it.
inline constexpr Fixed kFixed2997 = 1964113;

}  // namespace vqt::sc::test
