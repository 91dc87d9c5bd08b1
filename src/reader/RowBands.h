// Splits the rows of one frame's conversion into bands run side by side on
// every processor: a 1080p frame of float RGBA is 33 MB to write, and one
// thread leaves the other cores idle while the next frame waits for it.
#pragma once

#include <cstdint>
#include <functional>

namespace Vantor::QuickTime {

// How many bands forRowBands makes of `rows`: one per processor, but small
// frames (under kLeastRowsPerBand rows a band) make one.
constexpr std::int64_t kLeastRowsPerBand = 64;
unsigned rowBandCount(std::int64_t rows, unsigned processors = 0);

// Calls job(band, first, end) over [0, rows) in rowBandCount(rows) bands, on
// this thread and on helpers started for the call; returns when every band is
// done. `band` counts from 0, so a job can keep memory of its own per band.
void forRowBands(std::int64_t rows, const std::function<void(unsigned band, std::int64_t first, std::int64_t end)>& job,
                 unsigned processors = 0);

}  // namespace Vantor::QuickTime
