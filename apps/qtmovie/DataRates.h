// Data rates given on the command line (--bitrate): bits per second, plain or
// with a k, M or G suffix (2500k, 8M, 1.5M), as other video tools take them.
#pragma once

#include <cstdint>
#include <string>

namespace qtmovie {

// Throws UsageError naming --bitrate for anything that is not a rate from 1k to 10G.
std::int64_t parseBitRate(const std::string& text);

}  // namespace qtmovie
