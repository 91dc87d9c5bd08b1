// UTF-8 validation with replacement: texts from a file become text a JSON
// parser or a host's string type accepts.
#include <vantor/property/Utf8Text.h>

namespace Vantor::Property {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD

// How many bytes at `at` form one valid character: 0 when the bytes there do
// not start one. The second byte's range rules out overlong forms, surrogates
// and values past U+10FFFF; an invalid prefix is skipped one byte at a time
// past its lead, as far as its continuation bytes were valid.
std::size_t validLength(std::string_view text, std::size_t at, std::size_t& invalidPrefix) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(at);
  invalidPrefix = 1;
  if (lead < 0x80) return 1;
  std::size_t length = 0;
  unsigned char low = 0x80, high = 0xBF;  // the range of the second byte
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    return 0;
  }
  for (std::size_t i = 1; i < length; ++i) {
    if (at + i >= text.size()) return 0;
    const unsigned char next = byte(at + i);
    const bool inRange = i == 1 ? (next >= low && next <= high) : (next >= 0x80 && next <= 0xBF);
    if (!inRange) return 0;
    invalidPrefix = i + 1;
  }
  return length;
}

}  // namespace

std::string validUtf8(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    std::size_t invalidPrefix = 1;
    if (const std::size_t length = validLength(text, at, invalidPrefix); length != 0) {
      out.append(text.substr(at, length));
      at += length;
    } else {
      out.append(kReplacement);
      at += invalidPrefix;
    }
  }
  return out;
}

}  // namespace Vantor::Property
