// Four-character codes as the file stores them: 32-bit big-endian values whose
// first character is the most significant byte, like multi-character literals.
#pragma once

#include <cstdint>
#include <string>

namespace vqt::container {

using FourCC = std::uint32_t;

// Printable form for dumps: the four characters, or the number in hex when
// any byte is not printable ASCII.
std::string fourccToString(FourCC code);

}  // namespace vqt::container
