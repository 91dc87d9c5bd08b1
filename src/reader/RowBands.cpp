#include "RowBands.h"

#include <algorithm>
#include <system_error>
#include <thread>
#include <vector>

namespace Vantor::QuickTime {

unsigned rowBandCount(std::int64_t rows, unsigned processors) {
  if (processors == 0) processors = std::max(1u, std::thread::hardware_concurrency());
  return static_cast<unsigned>(std::clamp<std::int64_t>(rows / kLeastRowsPerBand, 1, processors));
}

void forRowBands(std::int64_t rows, const std::function<void(unsigned, std::int64_t, std::int64_t)>& job,
                 unsigned processors) {
  const std::int64_t bands = rowBandCount(rows, processors);
  if (bands <= 1) {
    if (rows > 0) job(0, 0, rows);
    return;
  }
  const std::int64_t perBand = (rows + bands - 1) / bands;
  std::vector<std::thread> helpers;
  helpers.reserve(static_cast<size_t>(bands - 1));
  unsigned band = 1;
  for (std::int64_t first = perBand; first < rows; first += perBand, ++band) {
    const std::int64_t end = std::min(rows, first + perBand);
    try {
      helpers.emplace_back([&job, band, first, end] { job(band, first, end); });
    } catch (const std::system_error&) {
      job(band, first, end);  // no thread to be had: this band on this thread
    }
  }
  job(0, 0, std::min(rows, perBand));
  for (std::thread& helper : helpers) helper.join();
}

}  // namespace Vantor::QuickTime
