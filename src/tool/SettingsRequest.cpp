// Reading the settings tool's request line.
#include "SettingsRequest.h"

#include <sstream>

namespace Vantor::QuickTime {

namespace {

// Reads one field into `value` only when it can be read: a field that cannot
// be read, and every field after it, keep the value they had.
template <typename T>
void extract(std::istream& in, T& value) {
  T read{};
  if (in >> read) value = read;
}

}  // namespace

SettingsRequest parseSettingsRequest(const std::string& line) {
  SettingsRequest request;
  std::stringstream fields(line, std::ios::in | std::ios::out);
  extract(fields, request.width);
  extract(fields, request.height);
  extract(fields, request.frameRate);
  extract(fields, request.keyFrameRate);
  extract(fields, request.qualityIndex);
  extract(fields, request.codecIndex);
  extract(fields, request.settings);
  return request;
}

}  // namespace Vantor::QuickTime
