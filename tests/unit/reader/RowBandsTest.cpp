// Row bands: every row of a frame is converted exactly once, whatever the
// frame's height and the number of processors, and small frames stay on the
// calling thread; each band has its own index below rowBandCount.
#include "RowBands.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

using Vantor::QuickTime::forRowBands;
using Vantor::QuickTime::kLeastRowsPerBand;
using Vantor::QuickTime::rowBandCount;

TEST(RowBands, CoverEveryRowOnceForAnyHeightAndProcessorCount) {
  for (unsigned processors : {1u, 2u, 3u, 8u, 64u}) {
    for (std::int64_t rows : {0, 1, 63, 64, 127, 128, 129, 1080, 1081, 4321}) {
      std::vector<std::atomic<int>> visits(static_cast<size_t>(rows));
      std::mutex mutex;
      std::set<std::thread::id> threads;
      std::set<unsigned> bands;
      forRowBands(
          rows,
          [&](unsigned band, std::int64_t first, std::int64_t end) {
            ASSERT_LT(band, rowBandCount(rows, processors));
            ASSERT_LE(0, first);
            ASSERT_LT(first, end);
            ASSERT_LE(end, rows);
            for (std::int64_t y = first; y < end; ++y) ++visits[static_cast<size_t>(y)];
            std::lock_guard lock(mutex);
            threads.insert(std::this_thread::get_id());
            EXPECT_TRUE(bands.insert(band).second) << "band " << band << " twice";
          },
          processors);
      for (std::int64_t y = 0; y < rows; ++y)
        ASSERT_EQ(visits[static_cast<size_t>(y)], 1) << rows << " rows, row " << y;
      EXPECT_LE(threads.size(), processors);
      if (rows < 2 * kLeastRowsPerBand) {
        EXPECT_LE(threads.size(), 1u) << rows << " rows";
        if (rows > 0) {
          EXPECT_TRUE(threads.count(std::this_thread::get_id()));
        }
      }
    }
  }
}
