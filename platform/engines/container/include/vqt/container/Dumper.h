// Indented text dump of an atom tree: one line per atom header and per field,
// with long tables cut short so a dump of a big movie stays readable.
#pragma once

#include "vqt/container/FourCC.h"

#include <cstdint>
#include <ostream>
#include <span>
#include <string>
#include <string_view>

namespace vqt::container {

class Dumper {
 public:
  static constexpr std::size_t kMaxTableRows = 8;

  explicit Dumper(std::ostream& out) : out_(out) {}

  void atomHeader(FourCC type);
  void field(std::string_view name, std::int64_t value);
  void field(std::string_view name, std::string_view value);
  void fourcc(std::string_view name, FourCC value);
  void bytes(std::string_view name, std::span<const std::uint8_t> value);
  // "name[count]" followed by the first rows; the caller prints each row with row().
  bool beginTable(std::string_view name, std::size_t count);
  void row(std::size_t index, std::string_view text);
  void indent() { ++depth_; }
  void outdent() {
    if (depth_ > 0) --depth_;
  }

 private:
  void pad();
  std::ostream& out_;
  int depth_ = 0;
};

}  // namespace vqt::container
