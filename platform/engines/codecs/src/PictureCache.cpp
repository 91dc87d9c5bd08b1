// Least-recently-used store of decoded pictures with a byte bound.
#include "vqt/codecs/PictureCache.h"

#include <charconv>
#include <cstdlib>
#include <cstring>

namespace vqt::codecs {

void PictureCache::insert(const SampleKey& key, const Picture& picture) {
  if (!picture.valid()) return;
  if (auto found = index_.find(key); found != index_.end()) {
    bytes_ -= found->second->bytes;
    entries_.erase(found->second);
    index_.erase(found);
  }
  const std::size_t size = picture.byteSize();
  if (size > capacity_) return;
  evictTo(capacity_ - size);
  entries_.push_front({key, picture, size});
  index_.emplace(key, entries_.begin());
  bytes_ += size;
}

const Picture* PictureCache::find(const SampleKey& key) {
  const auto found = index_.find(key);
  if (found == index_.end()) return nullptr;
  entries_.splice(entries_.begin(), entries_, found->second);
  return &found->second->picture;
}

void PictureCache::clear() {
  index_.clear();
  entries_.clear();
  bytes_ = 0;
}

void PictureCache::setCapacity(std::size_t bytes) {
  capacity_ = bytes;
  evictTo(capacity_);
}

void PictureCache::evictTo(std::size_t bound) {
  while (bytes_ > bound && !entries_.empty()) {
    const Entry& last = entries_.back();
    bytes_ -= last.bytes;
    index_.erase(last.key);
    entries_.pop_back();
  }
}

std::size_t defaultPictureCacheBytes() {
  constexpr std::size_t kMB = std::size_t{1} << 20;
  // Above this a typo (or a hostile environment) would let the cache grow past any machine's memory.
  constexpr std::uint64_t kMostMB = std::uint64_t{1} << 20;
  const char* text = std::getenv("VANTOR_QUICKTIME_PICTURE_CACHE_MB");
  std::uint64_t megabytes = 0;
  if (text != nullptr) {
    const char* end = text + std::strlen(text);
    const auto [rest, error] = std::from_chars(text, end, megabytes);
    if (error == std::errc() && rest == end && rest != text && megabytes <= kMostMB)
      return static_cast<std::size_t>(megabytes) * kMB;
  }
  return kDefaultPictureCacheMB * kMB;
}

}  // namespace vqt::codecs
