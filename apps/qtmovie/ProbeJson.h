// `qtmovie info --json`: the layout ffprobe prints for -show_format
// -show_streams (a "format" object and a "streams" array, numbers that ffprobe
// quotes quoted too) so scripts written for it read ours, built from the
// container engine's view of the file, with the reader's own fields under
// "qtmovie" in each stream and the whole reader summary under a top-level
// "qtmovie" key.
#pragma once

#include <vqt/container/Movie.h>

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "MovieSummary.h"

namespace qtmovie {

// Text from a file as valid UTF-8: valid sequences kept, any other byte taken as Latin-1.
std::string asUtf8(std::span<const std::uint8_t> bytes);
// User data items with text ('\xa9nam', '\xa9day', 'name', ...), as (key, text) pairs.
std::vector<std::pair<std::string, std::string>> userDataTexts(const std::vector<vqt::container::UserDataItem>& items);

std::string probeJson(const std::string& path, std::uint64_t fileSize, const vqt::container::Movie& movie,
                      const MovieSummary& summary);

}  // namespace qtmovie
