// Big-endian readers and writers over memory, the one place the file formats'
// integers are put together. The reader never reads past its span: an overrun
// returns zeros and marks the reader failed, so a parser can read a whole
// structure and check once at the end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace vqt::formats {

// A four-character code as files store it: big-endian, first character most significant.
using FourCC = std::uint32_t;

class ByteReader {
 public:
  ByteReader() = default;
  explicit ByteReader(std::span<const std::uint8_t> data) : data_(data) {}

  std::size_t remaining() const { return data_.size() - pos_; }
  std::size_t position() const { return pos_; }
  bool failed() const { return failed_; }
  void fail() { failed_ = true; }

  std::uint8_t u8();
  std::uint16_t u16();
  std::uint32_t u32();
  std::uint64_t u64();
  std::int16_t s16() { return static_cast<std::int16_t>(u16()); }
  std::int32_t s32() { return static_cast<std::int32_t>(u32()); }
  std::int64_t s64() { return static_cast<std::int64_t>(u64()); }
  double f64();

  // The next `count` bytes, or an empty span (and the reader failed) on overrun.
  std::span<const std::uint8_t> bytes(std::size_t count);
  std::span<const std::uint8_t> rest() { return bytes(remaining()); }
  void skip(std::size_t count) { (void)bytes(count); }
  // A reader over the next `count` bytes; this reader moves past them.
  ByteReader sub(std::size_t count) { return ByteReader(bytes(count)); }

  // True when `count` entries of `entrySize` bytes fit in what is left: the
  // check every table makes before it allocates.
  bool canHold(std::uint64_t count, std::size_t entrySize) const {
    return entrySize == 0 || count <= remaining() / entrySize;
  }

 private:
  std::span<const std::uint8_t> data_;
  std::size_t pos_ = 0;
  bool failed_ = false;
};

class ByteWriter {
 public:
  void u8(std::uint8_t v) { bytes_.push_back(v); }
  void u16(std::uint16_t v);
  void u32(std::uint32_t v);
  void u64(std::uint64_t v);
  void s16(std::int16_t v) { u16(static_cast<std::uint16_t>(v)); }
  void s32(std::int32_t v) { u32(static_cast<std::uint32_t>(v)); }
  void s64(std::int64_t v) { u64(static_cast<std::uint64_t>(v)); }
  void f64(double v);
  void bytes(std::span<const std::uint8_t> data) { bytes_.insert(bytes_.end(), data.begin(), data.end()); }
  void zeros(std::size_t count) { bytes_.insert(bytes_.end(), count, 0); }

  // Atom framing with one back-patch: beginAtom writes a 32-bit header and
  // returns its position; endAtom patches the size, widening the header to a
  // 64-bit size when the atom outgrew 32 bits.
  std::size_t beginAtom(FourCC type);
  void endAtom(std::size_t start);

  std::size_t size() const { return bytes_.size(); }
  const std::vector<std::uint8_t>& data() const { return bytes_; }
  std::vector<std::uint8_t> take() { return std::move(bytes_); }

 private:
  std::vector<std::uint8_t> bytes_;
};

// The big-endian value at `at`, or 0 when the bytes stop short of it.
std::uint16_t loadU16(std::span<const std::uint8_t> bytes, std::size_t at = 0);
std::uint32_t loadU32(std::span<const std::uint8_t> bytes, std::size_t at = 0);
// Patches the big-endian value at `at` in place; nothing is written when it does not fit.
void storeU16(std::span<std::uint8_t> bytes, std::size_t at, std::uint16_t value);
void storeU32(std::span<std::uint8_t> bytes, std::size_t at, std::uint32_t value);

}  // namespace vqt::formats
