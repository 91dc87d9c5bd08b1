// Memory for the pixel buffers a decompression session emits, reused from one
// frame to the next: a fresh block of a 1080p float frame a frame would cost
// more in page faults than the conversion that fills it.
#pragma once

#include <cstddef>
#include <mutex>
#include <vector>

class FramePool {
 public:
  // The session's reference; each block handed out holds one more.
  static FramePool* create();
  void* take(std::size_t bytes);
  // CVPixelBuffer release callback: `pool` is the FramePool, `memory` a block from it.
  static void giveBack(void* pool, const void* memory);
  // The session is done: idle blocks go now, blocks in use when they come back.
  void close();

 private:
  FramePool() = default;
  ~FramePool();
  void release();  // drops one reference, deleting the pool at zero

  static constexpr std::size_t kIdleLimit = 3;
  std::mutex mutex_;
  std::vector<void*> idle_;
  std::size_t blockBytes_ = 0;
  long references_ = 1;
  bool closed_ = false;
};
