#include "vqt/container/FourCC.h"

#include <cstdio>

namespace vqt::container {

std::string fourccToString(FourCC code) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) {
    const char c = static_cast<char>((code >> shift) & 0xFF);
    if (c < 0x20 || c > 0x7E) {
      char hex[16];
      std::snprintf(hex, sizeof hex, "0x%08X", code);
      return hex;
    }
    text.push_back(c);
  }
  return text;
}

}  // namespace vqt::container
