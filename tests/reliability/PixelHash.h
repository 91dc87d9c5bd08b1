// A digest of a decoded picture, so that pictures decoded in different threads
// or runs can be compared without keeping them.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

namespace Vantor::QuickTime::Reliability {

inline std::uint64_t pixelHash(const std::vector<float>& pixels) {
  std::uint64_t hash = 1469598103934665603ull;  // FNV-1a over the bytes
  const auto* bytes = reinterpret_cast<const unsigned char*>(pixels.data());
  for (size_t i = 0, n = pixels.size() * sizeof(float); i < n; ++i) hash = (hash ^ bytes[i]) * 1099511628211ull;
  return hash;
}

}  // namespace Vantor::QuickTime::Reliability
