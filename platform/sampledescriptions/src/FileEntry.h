// Between a file's big-endian 'stsd' entry and a description handle. A fixed
// part lies in memory in the file's order and widths, only host-endian, so one
// list of its fields, walked by a FieldReader or a FieldWriter, serves both ways.
#pragma once

#include <Carbon/MacMemory.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <iterator>
#include <type_traits>
#include <vector>

namespace vqt::description {

// The unsigned integer as wide as a field, to move its bits through.
template <typename T>
using FieldBits = std::conditional_t<sizeof(T) == 2, UInt16, std::conditional_t<sizeof(T) == 4, UInt32, UInt64>>;

// Fills fields, in the order they are visited, from consecutive big-endian bytes.
class FieldReader {
 public:
  explicit FieldReader(const UInt8* at) : at_(at) {}

  template <typename T>
  void operator()(T& field) {
    if constexpr (std::is_array_v<T>) {
      std::memcpy(field, at_, sizeof field);  // bytes (a Pascal string) are stored as they are
    } else {
      FieldBits<T> bits = 0;
      for (size_t i = 0; i < sizeof(T); ++i) bits = FieldBits<T>((bits << 8) | at_[i]);
      field = std::bit_cast<T>(bits);
    }
    at_ += sizeof field;
  }

 private:
  const UInt8* at_;
};

// Appends fields, in the order they are visited, as big-endian bytes.
class FieldWriter {
 public:
  explicit FieldWriter(std::vector<UInt8>& out) : out_(out) {}

  template <typename T>
  void operator()(const T& field) {
    if constexpr (std::is_array_v<T>) {
      out_.insert(out_.end(), std::begin(field), std::end(field));
    } else {
      const auto bits = std::bit_cast<FieldBits<T>>(field);
      for (size_t i = sizeof(T); i-- > 0;) out_.push_back(UInt8(bits >> (8 * i)));
    }
  }

 private:
  std::vector<UInt8>& out_;
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
  readFields(**handle, FieldReader(bytes + 4));
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
  std::vector<UInt8> out;
  const Handle h = reinterpret_cast<Handle>(desc);
  if (!desc || !*desc || GetHandleSize(h) < Size(fixedSize)) return out;
  const size_t total = usedSize(h, fixedSize);
  out.reserve(total);
  FieldWriter write(out);
  write(UInt32(total));
  writeFields(static_cast<const Desc&>(**desc), FieldWriter(out));
  const auto* base = reinterpret_cast<const UInt8*>(*h);
  out.insert(out.end(), base + fixedSize, base + total);
  return out;
}

}  // namespace vqt::description
