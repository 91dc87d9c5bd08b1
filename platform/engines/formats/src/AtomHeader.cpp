#include "vqt/formats/AtomHeader.h"

namespace vqt::formats {

AtomHeaderStatus parseAtomHeader(ByteReader& in, AtomHeader& header) {
  const std::size_t available = in.remaining();
  if (available < 8) return AtomHeaderStatus::truncated;
  std::uint64_t size = in.u32();
  header.type = in.u32();
  header.headerSize = 8;
  if (size == 1) {
    if (in.remaining() < 8) return AtomHeaderStatus::truncated;
    size = in.u64();
    header.headerSize = 16;
  } else if (size == 0) {
    size = available;
  }
  if (size < header.headerSize || size > available) return AtomHeaderStatus::badSize;
  header.size = size;
  return AtomHeaderStatus::ok;
}

}  // namespace vqt::formats
