#include "FramePool.h"

#include <cstdlib>
#include <new>

FramePool* FramePool::create() { return new (std::nothrow) FramePool; }

FramePool::~FramePool() {
  for (void* block : idle_) std::free(block);
}

void* FramePool::take(std::size_t bytes) {
  void* block = nullptr;
  {
    std::lock_guard lock(mutex_);
    if (bytes != blockBytes_) {
      for (void* old : idle_) std::free(old);
      idle_.clear();
      blockBytes_ = bytes;
    }
    if (!idle_.empty()) {
      block = idle_.back();
      idle_.pop_back();
    }
  }
  if (block == nullptr) block = std::malloc(bytes);
  if (block != nullptr) {
    std::lock_guard lock(mutex_);
    ++references_;
  }
  return block;
}

void FramePool::giveBack(void* pool, const void* memory) {
  auto* self = static_cast<FramePool*>(pool);
  {
    std::lock_guard lock(self->mutex_);
    if (!self->closed_ && self->idle_.size() < kIdleLimit) {
      self->idle_.push_back(const_cast<void*>(memory));
      memory = nullptr;
    }
  }
  std::free(const_cast<void*>(memory));
  self->release();
}

void FramePool::close() {
  {
    std::lock_guard lock(mutex_);
    closed_ = true;
    for (void* block : idle_) std::free(block);
    idle_.clear();
  }
  release();
}

void FramePool::release() {
  bool last = false;
  {
    std::lock_guard lock(mutex_);
    last = --references_ == 0;
  }
  if (last) delete this;
}
