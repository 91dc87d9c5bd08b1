#include "vqt/formats/ByteIO.h"

#include <bit>
#include <cstring>

namespace vqt::formats {

std::span<const std::uint8_t> ByteReader::bytes(std::size_t count) {
  if (count > remaining()) {
    failed_ = true;
    pos_ = data_.size();
    return {};
  }
  auto out = data_.subspan(pos_, count);
  pos_ += count;
  return out;
}

std::uint8_t ByteReader::u8() {
  auto b = bytes(1);
  return b.empty() ? 0 : b[0];
}

std::uint16_t ByteReader::u16() {
  auto b = bytes(2);
  return b.empty() ? 0 : static_cast<std::uint16_t>(b[0] << 8 | b[1]);
}

std::uint32_t ByteReader::u32() {
  auto b = bytes(4);
  if (b.empty()) return 0;
  return std::uint32_t(b[0]) << 24 | std::uint32_t(b[1]) << 16 | std::uint32_t(b[2]) << 8 | b[3];
}

std::uint64_t ByteReader::u64() {
  const std::uint64_t high = u32();
  return high << 32 | u32();
}

std::uint16_t loadU16(std::span<const std::uint8_t> bytes, std::size_t at) {
  return at <= bytes.size() ? ByteReader(bytes.subspan(at)).u16() : 0;
}

std::uint32_t loadU32(std::span<const std::uint8_t> bytes, std::size_t at) {
  return at <= bytes.size() ? ByteReader(bytes.subspan(at)).u32() : 0;
}

void storeU16(std::span<std::uint8_t> bytes, std::size_t at, std::uint16_t value) {
  if (at > bytes.size() || bytes.size() - at < 2) return;
  bytes[at] = static_cast<std::uint8_t>(value >> 8);
  bytes[at + 1] = static_cast<std::uint8_t>(value);
}

void storeU32(std::span<std::uint8_t> bytes, std::size_t at, std::uint32_t value) {
  if (at > bytes.size() || bytes.size() - at < 4) return;
  storeU16(bytes, at, static_cast<std::uint16_t>(value >> 16));
  storeU16(bytes, at + 2, static_cast<std::uint16_t>(value));
}

double ByteReader::f64() { return std::bit_cast<double>(u64()); }

void ByteWriter::u16(std::uint16_t v) {
  u8(static_cast<std::uint8_t>(v >> 8));
  u8(static_cast<std::uint8_t>(v));
}

void ByteWriter::u32(std::uint32_t v) {
  u16(static_cast<std::uint16_t>(v >> 16));
  u16(static_cast<std::uint16_t>(v));
}

void ByteWriter::u64(std::uint64_t v) {
  u32(static_cast<std::uint32_t>(v >> 32));
  u32(static_cast<std::uint32_t>(v));
}

void ByteWriter::f64(double v) { u64(std::bit_cast<std::uint64_t>(v)); }

std::size_t ByteWriter::beginAtom(FourCC type) {
  const std::size_t start = bytes_.size();
  u32(0);
  u32(type);
  return start;
}

void ByteWriter::endAtom(std::size_t start) {
  std::uint64_t size = bytes_.size() - start;
  auto patch32 = [this](std::size_t at, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) bytes_[at + i] = static_cast<std::uint8_t>(v >> (24 - 8 * i));
  };
  if (size <= 0xFFFFFFFFu) {
    patch32(start, static_cast<std::uint32_t>(size));
    return;
  }
  // Widen: size field 1, then the 64-bit size after the type.
  size += 8;
  std::uint8_t wide[8];
  for (int i = 0; i < 8; ++i) wide[i] = static_cast<std::uint8_t>(size >> (56 - 8 * i));
  bytes_.insert(bytes_.begin() + static_cast<std::ptrdiff_t>(start + 8), wide, wide + 8);
  patch32(start, 1);
}

}  // namespace vqt::formats
