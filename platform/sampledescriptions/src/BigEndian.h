// Reading and writing big-endian fields of sample descriptions.
#pragma once

#include <Carbon/MacTypes.h>

#include <cstring>
#include <vector>

namespace vqt::description {

inline UInt16 be16(const UInt8* p) { return UInt16((p[0] << 8) | p[1]); }
inline UInt32 be32(const UInt8* p) { return (UInt32(p[0]) << 24) | (UInt32(p[1]) << 16) | (UInt32(p[2]) << 8) | p[3]; }
inline UInt64 be64(const UInt8* p) { return (UInt64(be32(p)) << 32) | be32(p + 4); }
inline double beDouble(const UInt8* p) {
  const UInt64 bits = be64(p);
  double value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

inline void put16(std::vector<UInt8>& out, UInt16 v) {
  out.push_back(UInt8(v >> 8));
  out.push_back(UInt8(v));
}
inline void put32(std::vector<UInt8>& out, UInt32 v) {
  put16(out, UInt16(v >> 16));
  put16(out, UInt16(v));
}
inline void putDouble(std::vector<UInt8>& out, double v) {
  UInt64 bits;
  std::memcpy(&bits, &v, sizeof bits);
  put32(out, UInt32(bits >> 32));
  put32(out, UInt32(bits));
}

}  // namespace vqt::description
