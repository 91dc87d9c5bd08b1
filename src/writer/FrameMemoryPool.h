// Frame memory for pixel buffers, recycled: a 1920x1080 float frame is
// larger than what malloc keeps for reuse, so a fresh block each frame would
// cost the kernel a page fault and a page clear per 4 kB. Blocks the codec
// releases go back to the pool; the pool outlives its owner until the last
// block handed out has come back.
#pragma once

#include <cstddef>
#include <mutex>
#include <vector>

namespace Vantor::QuickTime {

class FrameMemoryPool {
 public:
  static FrameMemoryPool* create();
  // A block of `size` bytes, or null when memory is exhausted.
  void* take(std::size_t size);
  // The pixel buffer's release callback: refCon is the pool.
  static void giveBack(void* pool, const void* block);
  // The owner lets go; the pool goes once every block is back.
  void release();

 private:
  FrameMemoryPool() = default;
  ~FrameMemoryPool();
  void dropReference();

  std::mutex mutex_;
  std::vector<void*> spare_;
  std::size_t blockSize_ = 0;
  std::size_t references_ = 1;  // the owner, plus one per block out
};

}  // namespace Vantor::QuickTime
