// Writing a short test movie through the public writer, shared by the
// acceptance tests.
#pragma once

#include <gtest/gtest.h>
#include <vantor/quicktime/QuickTimeCodecWriter.h>

#include <cstring>
#include <string>

#include "MovieProbe.h"

namespace WriterAcceptance {

// Selects a codec by its four-character type; false when the catalogue lacks it.
inline bool selectCodec(Vantor::QuickTime::QuickTimeCodecWriter& writer, const char* type) {
  const char** names = writer.getCodecNames();
  for (int i = 0; names != nullptr && names[i] != nullptr; ++i)
    if (std::strncmp(names[i], type, 4) == 0) {
      writer.setCodecIndex(i);
      return true;
    }
  return false;
}

// Encodes `frames` test frames into an open movie; the first failing result, or 0.
inline int encodeTestFrames(Vantor::QuickTime::QuickTimeCodecWriter& writer, int width, int height, int frames) {
  for (int f = 0; f < frames; ++f) {
    const auto pixels = testFrame(width, height, f);
    if (const int result = writer.encodeFrame(f, pixels.data(), false); result != 0) return result;
  }
  return 0;
}

}  // namespace WriterAcceptance
