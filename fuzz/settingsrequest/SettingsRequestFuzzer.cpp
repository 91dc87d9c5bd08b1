// Fuzzes the settings tool's request line. Reading must never fail, and a
// line made of the fields it read must read back to the same fields.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "SettingsRequest.h"

using Vantor::QuickTime::parseSettingsRequest;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string line(reinterpret_cast<const char*>(data), size);
  const auto request = parseSettingsRequest(line);

  const auto reread = parseSettingsRequest(std::to_string(request.width) + " " + std::to_string(request.height));
  if (reread.width != request.width || reread.height != request.height) std::abort();
  return 0;
}
