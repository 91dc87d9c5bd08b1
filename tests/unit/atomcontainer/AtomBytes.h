// Containers written byte by byte, to check the layout and to build broken ones.
#pragma once

#include <QuickTime/QTAtomContainer.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace vqt::atoms::test {

using Bytes = std::vector<std::uint8_t>;

inline void put32(Bytes& out, std::uint32_t v) {
  for (int shift = 24; shift >= 0; shift -= 8) out.push_back(std::uint8_t(v >> shift));
}

// A QT atom: size, type, ID, reserved, child count, reserved, then its data or children.
inline Bytes atom(std::uint32_t type, std::uint32_t id, const Bytes& payload, std::uint16_t childCount = 0) {
  Bytes out;
  put32(out, std::uint32_t(20 + payload.size()));
  put32(out, type);
  put32(out, id);
  put32(out, childCount);  // 16 reserved bits, then the count
  put32(out, 0);
  out.insert(out.end(), payload.begin(), payload.end());
  return out;
}

inline Bytes parent(std::uint32_t type, std::uint32_t id, const std::vector<Bytes>& children) {
  Bytes payload;
  for (const Bytes& child : children) payload.insert(payload.end(), child.begin(), child.end());
  return atom(type, id, payload, std::uint16_t(children.size()));
}

// The 12-byte header and the root 'sean' atom around `children`.
inline Bytes container(const std::vector<Bytes>& children) {
  Bytes out(12, 0);
  const Bytes root = parent('sean', 1, children);
  out.insert(out.end(), root.begin(), root.end());
  return out;
}

inline Bytes bytesOf(QTAtomContainer c) {
  const auto* data = reinterpret_cast<const std::uint8_t*>(*c);
  return Bytes(data, data + GetHandleSize(c));
}

inline QTAtomContainer handleWith(const Bytes& bytes) {
  Handle handle = NewHandle(Size(bytes.size()));
  if (!bytes.empty()) std::memcpy(*handle, bytes.data(), bytes.size());
  return handle;
}

}  // namespace vqt::atoms::test
