#include "vqt/dialogs/ImageSettingsModel.h"

namespace vqt::dialogs {

std::string fourCCText(FourCC code) {
  std::string text(4, ' ');
  for (int i = 0; i < 4; ++i) {
    const char c = char((code >> (24 - 8 * i)) & 0xFF);
    text[std::size_t(i)] = (c >= 0x20 && c < 0x7F) ? c : '?';
  }
  return text;
}

}  // namespace vqt::dialogs
