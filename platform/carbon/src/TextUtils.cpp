#include <Carbon/TextUtils.h>

#include <algorithm>
#include <cstring>

void VqtSetPascalString(unsigned char* field, size_t fieldSize, std::string_view text) {
  if (!field || fieldSize == 0) return;
  const size_t length = std::min({text.size(), fieldSize - 1, size_t(255)});
  field[0] = static_cast<unsigned char>(length);
  std::memcpy(field + 1, text.data(), length);
}

std::string VqtPascalStringToStd(const unsigned char* field, size_t fieldSize) {
  if (!field || fieldSize == 0) return {};
  const size_t length = std::min(size_t(field[0]), fieldSize - 1);
  return std::string(reinterpret_cast<const char*>(field + 1), length);
}

void CopyCStringToPascal(const char* src, Str255 dst) { VqtSetPascalString(dst, 256, src ? src : ""); }
void c2pstrcpy(Str255 dst, const char* src) { CopyCStringToPascal(src, dst); }

void CopyPascalStringToC(ConstStr255Param src, char* dst) {
  if (!dst) return;
  const std::string text = VqtPascalStringToStd(src);
  std::memcpy(dst, text.c_str(), text.size() + 1);
}
void p2cstrcpy(char* dst, ConstStr255Param src) { CopyPascalStringToC(src, dst); }
