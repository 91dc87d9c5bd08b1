// Between a file's big-endian 'stsd' entry and a description handle. A fixed
// part lies in memory in the file's order and widths, only host-endian, so one
// list of its fields, walked by a FieldReader or a FieldWriter, serves both ways.
#pragma once

#include <Carbon/MacMemory.h>

#include "vqt/formats/ByteIO.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <type_traits>
#include <span>
#include <vector>

namespace vqt::description {

// Fills fields, in the order they are visited, from consecutive big-endian bytes.
class FieldReader {
 public:
  explicit FieldReader(std::span<const UInt8> bytes) : in_(bytes) {}

  template <typename T>
  void operator()(T& field) {
    if constexpr (std::is_array_v<T>) {
      const auto bytes = in_.bytes(sizeof field);  // bytes (a Pascal string) are stored as they are
      if (!bytes.empty()) std::memcpy(field, bytes.data(), sizeof field);
    } else if constexpr (sizeof(T) == 2) {
      field = std::bit_cast<T>(in_.u16());
    } else if constexpr (sizeof(T) == 4) {
      field = std::bit_cast<T>(in_.u32());
    } else {
      field = std::bit_cast<T>(in_.u64());
    }
  }

 private:
  formats::ByteReader in_;
};

// Appends fields, in the order they are visited, as big-endian bytes.
class FieldWriter {
 public:
  explicit FieldWriter(formats::ByteWriter& out) : out_(out) {}
  formats::ByteWriter& out() { return out_; }

  template <typename T>
  void operator()(const T& field) {
    if constexpr (std::is_array_v<T>) {
      out_.bytes(std::span(reinterpret_cast<const UInt8*>(field), sizeof field));
    } else if constexpr (sizeof(T) == 2) {
      out_.u16(std::bit_cast<UInt16>(field));
    } else if constexpr (sizeof(T) == 4) {
      out_.u32(std::bit_cast<UInt32>(field));
    } else {
      out_.u64(std::bit_cast<UInt64>(field));
    }
  }

 private:
  formats::ByteWriter& out_;
};

// A new handle for a file's 'stsd' entry: the fixed part converted by
// `readFields` (a FieldReader placed after the size field), the size field set
// to what the entry really holds whatever it claims, the rest copied as it is.
template <typename DescHandle, typename ReadFields>
OSErr handleFromFile(const UInt8* bytes, size_t length, size_t fixedSize, DescHandle* desc, ReadFields readFields) {
  if (!desc) return paramErr;
  *desc = nullptr;
  if (!bytes || length < fixedSize || length > 0x7FFFFFFF) return paramErr;
  auto handle = reinterpret_cast<DescHandle>(NewHandleClear(Size(length)));
  if (!handle) return memFullErr;
  readFields(**handle, FieldReader({bytes + 4, length - 4}));
  const SInt32 size = SInt32(length);
  auto* base = reinterpret_cast<UInt8*>(*handle);
  std::memcpy(base, &size, sizeof size);
  std::memcpy(base + fixedSize, bytes + fixedSize, length - fixedSize);
  *desc = handle;
  return noErr;
}

// Bytes of a description handle that belong to the description: its size
// field, never less than the fixed part nor more than the handle holds.
inline size_t usedSize(Handle h, size_t fixedSize) {
  SInt32 claimed;
  std::memcpy(&claimed, *h, sizeof claimed);
  const size_t handleSize = size_t(GetHandleSize(h));
  return claimed < SInt32(fixedSize) ? fixedSize : std::min(size_t(claimed), handleSize);
}

// The 'stsd' entry of a description handle: the size actually used, the fixed
// part after it written by `writeFields` (with a FieldWriter), then the
// extensions as they are; empty when the handle is smaller than its fixed part.
template <typename Desc, typename WriteFields>
std::vector<UInt8> entryFromHandle(Desc** desc, size_t fixedSize, WriteFields writeFields) {
  const Handle h = reinterpret_cast<Handle>(desc);
  if (!desc || !*desc || GetHandleSize(h) < Size(fixedSize)) return {};
  const size_t total = usedSize(h, fixedSize);
  formats::ByteWriter out;
  out.u32(UInt32(total));
  writeFields(static_cast<const Desc&>(**desc), FieldWriter(out));
  const auto* base = reinterpret_cast<const UInt8*>(*h);
  out.bytes({base + fixedSize, base + total});
  return out.take();
}

}  // namespace vqt::description
