// Flattening: a new, self-contained movie file with the header first
// ('ftyp', 'moov', then one 'mdat' holding a copy of every sample), so it
// can be played while it downloads.
#pragma once

#include "vqt/container/MovieBuilder.h"

#include <string>

namespace vqt::container {

// Writes `movie`, whose samples are read from `data`, to `path`. `replace`
// truncates an existing file; without it an existing file is an error. On
// any failure after the file was made it is removed again, so `path` either
// holds the complete movie or nothing of ours.
Error flattenMovie(const MovieBuilder& movie, const ByteSource& data, const std::string& path, bool replace);

}  // namespace vqt::container
