// GetMediaSample2's side of the sample origins (see vqt/movies/SampleOrigins.h).
#pragma once

#include "MovieState.h"

namespace vqt::movies {

// `size` bytes at `data` now hold sample `sample` of `media`.
void recordSampleOrigin(const void* data, ByteCount size, MediaObject* media, std::uint32_t sample,
                        std::uint32_t descriptionIndex);

}  // namespace vqt::movies
