// Splits the rows of one frame's conversion into bands run side by side on
// every processor: a 1080p frame of float RGBA is 33 MB to write, and one
// thread leaves the other cores idle while the next frame waits for it.
#pragma once

#include <cstdint>
#include <functional>

namespace Vantor::QuickTime {

// Calls job(first, end) over [0, rows) in bands, one per processor, on this
// thread and on helpers started for the call; returns when every band is done.
// Small frames (under kLeastRowsPerBand rows a band) stay on this thread.
constexpr std::int64_t kLeastRowsPerBand = 64;
void forRowBands(std::int64_t rows, const std::function<void(std::int64_t first, std::int64_t end)>& job,
                 unsigned processors = 0);

}  // namespace Vantor::QuickTime
