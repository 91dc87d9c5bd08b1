// Fuzzes compression settings text through the public writer. An input whose
// first byte is even is hex-encoded after that byte (well-formed hex of
// arbitrary bytes: the settings container's parser sees them); an odd first
// byte hands the rest over as raw text (the hex reader sees it).
#include <vantor/quicktime/QuickTimeCodecWriter.h>

#include <cstdint>
#include <string>

using namespace Vantor::QuickTime;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static QuickTimeCodecWriter writer;
  if (size == 0) return 0;
  std::string text;
  if (data[0] % 2 == 0) {
    static const char digits[] = "0123456789abcdef";
    for (std::size_t i = 1; i < size; ++i) {
      text += digits[data[i] >> 4];
      text += digits[data[i] & 15];
    }
  } else {
    text.assign(reinterpret_cast<const char*>(data) + 1, size - 1);
  }
  writer.setCompressionSettings(64, 48, 24.0f, -1, -1, false, text);
  writer.getCompressionDescription(text);
  writer.getCompressionSettings(text);
  return 0;
}
