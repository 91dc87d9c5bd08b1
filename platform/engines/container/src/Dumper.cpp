#include "vqt/container/Dumper.h"

#include <cstdio>

namespace vqt::container {

void Dumper::pad() {
  for (int i = 0; i < depth_; ++i) out_ << "  ";
}

void Dumper::atomHeader(FourCC type) {
  pad();
  out_ << '[' << fourccToString(type) << "]\n";
}

void Dumper::field(std::string_view name, std::int64_t value) {
  pad();
  out_ << "  " << name << " = " << value << '\n';
}

void Dumper::field(std::string_view name, std::string_view value) {
  pad();
  out_ << "  " << name << " = \"" << value << "\"\n";
}

void Dumper::fourcc(std::string_view name, FourCC value) {
  pad();
  out_ << "  " << name << " = '" << fourccToString(value) << "'\n";
}

void Dumper::bytes(std::string_view name, std::span<const std::uint8_t> value) {
  pad();
  out_ << "  " << name << " = " << value.size() << " bytes";
  const std::size_t shown = value.size() < 16 ? value.size() : 16;
  for (std::size_t i = 0; i < shown; ++i) {
    char hex[4];
    std::snprintf(hex, sizeof hex, " %02x", value[i]);
    out_ << hex;
  }
  if (shown < value.size()) out_ << " ...";
  out_ << '\n';
}

bool Dumper::beginTable(std::string_view name, std::size_t count) {
  pad();
  out_ << "  " << name << '[' << count << ']' << (count > kMaxTableRows ? " (first rows)" : "") << '\n';
  return count > 0;
}

void Dumper::row(std::size_t index, std::string_view text) {
  if (index >= kMaxTableRows) return;
  pad();
  out_ << "    " << index << ": " << text << '\n';
}

}  // namespace vqt::container
