#include "SettingsText.h"

#include <cstdint>

namespace Vantor::QuickTime {

int qualityIndexOf(CodecQ quality) {
  for (std::size_t i = 0; i < kQualityLevels.size(); ++i)
    if (kQualityLevels[i] == quality) return static_cast<int>(i);
  return -1;
}

CodecQ qualityLevelAt(int index) {
  // The table has six entries; any other index (including -1 with a key frame
  // rate given) keeps the normal level rather than reading past the table.
  if (index < 0 || index >= static_cast<int>(kQualityLevels.size())) return codecNormalQuality;
  return kQualityLevels[static_cast<std::size_t>(index)];
}

const char* qualityWord(CodecQ quality) {
  if (quality >= 0x400) return "Lossless";
  if (quality >= 0x3FF) return "Maximum Quality";
  if (quality >= 0x300) return "High Quality";
  if (quality >= 0x200) return "Normal Quality";
  return "Minimum Quality";
}

Handle decodeSettingsText(const std::string& text) {
  if (text.empty()) return nullptr;
  const std::size_t byteCount = text.size() / 2;
  Handle handle = NewHandle(static_cast<Size>(byteCount));
  if (handle == nullptr) return nullptr;
  auto* bytes = reinterpret_cast<unsigned char*>(*handle);
  for (std::size_t i = 0; i < byteCount; ++i) {
    auto digit = [](char c) -> int {
      const int code = static_cast<unsigned char>(c);
      return code >= 'a' ? code - 87 : code - 48;
    };
    unsigned char byte = static_cast<unsigned char>((digit(text[2 * i]) & 0xF) << 4);
    byte |= static_cast<unsigned char>(digit(text[2 * i + 1]) & 0xFF);
    bytes[i] = byte;
  }
  return handle;
}

std::string encodeSettingsText(Handle handle) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  if (handle == nullptr || *handle == nullptr) return text;
  const Size size = GetHandleSize(handle);
  text.reserve(static_cast<std::size_t>(size) * 2);
  const auto* bytes = reinterpret_cast<const unsigned char*>(*handle);
  for (Size i = 0; i < size; ++i) {
    text.push_back(kDigits[bytes[i] >> 4]);
    text.push_back(kDigits[bytes[i] & 0xF]);
  }
  return text;
}

Fixed floatToFixedRate(float rate) {
  const float product = rate * 65536.0f;
  if (product >= 2147483648.0f) return 0x7FFFFFFF;
  // Negative products below the 32-bit range would be undefined to convert.
  if (product < -2147483648.0f) return INT32_MIN;
  return static_cast<Fixed>(product);
}

float fixedRateToFloat(Fixed rate) { return static_cast<float>(rate) * (1.0f / 65536.0f); }

}  // namespace Vantor::QuickTime
