// Shared pieces of the standard compression tests: instances that close themselves, the
// settings text form (hexadecimal of the container, as the system layer writes it), and
// comparisons of the settings records.
#pragma once

#include <QuickTime/QuickTimeComponents.h>
#include <QuickTime/StandardCompressionDialog.h>
#include <gtest/gtest.h>

#include <string>

namespace vqt::sc::test {

class OpenInstance {
 public:
  explicit OpenInstance(OSType subType);
  ~OpenInstance();
  OpenInstance(const OpenInstance&) = delete;
  OpenInstance& operator=(const OpenInstance&) = delete;
  ComponentInstance get() const { return ci_; }
  operator ComponentInstance() const { return ci_; }

 private:
  ComponentInstance ci_ = nullptr;
};

std::string settingsText(ComponentInstance ci);
// Decoded as the system layer decodes: pairs of digits, anything else taken as some value.
OSErr loadText(ComponentInstance ci, const std::string& text);

SCSpatialSettings spatialOf(ComponentInstance ci);
SCTemporalSettings temporalOf(ComponentInstance ci);
SCDataRateSettings dataRateOf(ComponentInstance ci);
VqtSoundCompressionSettings soundOf(ComponentInstance ci);

Component compressorOf(CodecType type);

bool operator==(const SCSpatialSettings& a, const SCSpatialSettings& b);
bool operator==(const SCTemporalSettings& a, const SCTemporalSettings& b);
bool operator==(const SCDataRateSettings& a, const SCDataRateSettings& b);
bool operator==(const VqtSoundCompressionSettings& a, const VqtSoundCompressionSettings& b);

// Fixed 29.97 as the writer stores it (truncated).
inline constexpr Fixed kFixed2997 = 1964113;

}  // namespace vqt::sc::test
