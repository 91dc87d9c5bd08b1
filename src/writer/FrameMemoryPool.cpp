#include "FrameMemoryPool.h"

#include <cstdlib>

namespace Vantor::QuickTime {

namespace {
// A codec holding a few frames (reordering) plus the one being filled.
constexpr std::size_t kMaxSpareBlocks = 4;
// Each block starts with its size, so a block of an older frame size that
// comes back late is freed instead of being handed out again. 64 bytes keep
// the frame itself as aligned as malloc's result.
constexpr std::size_t kHeader = 64;

void* allocateBlock(std::size_t size) {
  auto* raw = static_cast<unsigned char*>(std::malloc(size + kHeader));
  if (raw == nullptr) return nullptr;
  *reinterpret_cast<std::size_t*>(raw) = size;
  return raw + kHeader;
}

unsigned char* rawOf(const void* block) { return static_cast<unsigned char*>(const_cast<void*>(block)) - kHeader; }
std::size_t sizeOf(const void* block) { return *reinterpret_cast<const std::size_t*>(rawOf(block)); }
void freeBlock(const void* block) { std::free(rawOf(block)); }
}  // namespace

FrameMemoryPool* FrameMemoryPool::create() { return new FrameMemoryPool; }

FrameMemoryPool::~FrameMemoryPool() {
  for (void* block : spare_) freeBlock(block);
}

void* FrameMemoryPool::take(std::size_t size) {
  void* block = nullptr;
  {
    std::lock_guard lock(mutex_);
    if (size != blockSize_) {  // a new frame size: older blocks no longer fit
      for (void* old : spare_) freeBlock(old);
      spare_.clear();
      blockSize_ = size;
    }
    if (!spare_.empty()) {
      block = spare_.back();
      spare_.pop_back();
    }
  }
  if (block == nullptr) block = allocateBlock(size);
  if (block != nullptr) {
    std::lock_guard lock(mutex_);
    ++references_;
  }
  return block;
}

void FrameMemoryPool::giveBack(void* refCon, const void* block) {
  auto* pool = static_cast<FrameMemoryPool*>(refCon);
  if (block != nullptr) {
    std::lock_guard lock(pool->mutex_);
    if (pool->spare_.size() < kMaxSpareBlocks && pool->references_ > 1 && sizeOf(block) == pool->blockSize_)
      pool->spare_.push_back(const_cast<void*>(block));
    else
      freeBlock(block);
  }
  pool->dropReference();
}

void FrameMemoryPool::release() { dropReference(); }

void FrameMemoryPool::dropReference() {
  bool last = false;
  {
    std::lock_guard lock(mutex_);
    last = --references_ == 0;
  }
  if (last) delete this;
}

}  // namespace Vantor::QuickTime
