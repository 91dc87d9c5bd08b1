// The settings tool's request line: the fields a host writes to the tool, read
// with the tool's forgiving rules (a field that cannot be read, and every field
// after it, keeps its default).
#pragma once

#include <string>

namespace Vantor::QuickTime {

struct SettingsRequest {
  // Defaults for a short or empty line: the writer's own frame size and rate,
  // and -1 for key frame rate, quality and codec index, which keep the
  // writer's key frame rate, quality and codec.
  int width = 512;
  int height = 256;
  float frameRate = 24.0f;
  int keyFrameRate = -1;
  int qualityIndex = -1;
  int codecIndex = -1;
  std::string settings;
};

// "width height frameRate keyFrameRate qualityIndex codecIndex [settingsText]"
SettingsRequest parseSettingsRequest(const std::string& line);

}  // namespace Vantor::QuickTime
