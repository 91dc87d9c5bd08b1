// Decoded pictures kept for scrubbing: a long-GOP picture that was decoded
// once is handed out again without decoding its group from the sync sample.
// Keyed by the sample that carried the picture (its number and a digest of its
// bytes), evicted least recently used, never holding more than its byte bound.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <unordered_map>

#include "vqt/codecs/Decoder.h"

namespace vqt::codecs {

struct SampleKey {
  std::int64_t number = 0;
  std::uint64_t digest = 0;
  bool operator==(const SampleKey&) const = default;
};

class PictureCache {
 public:
  explicit PictureCache(std::size_t capacityBytes) : capacity_(capacityBytes) {}

  // Keeps `picture` for `key`, evicting the least recently used pictures to
  // stay within the bound. A picture larger than the whole bound is not kept.
  void insert(const SampleKey& key, const Picture& picture);
  // The picture of `key`, now the most recently used; null when not held.
  const Picture* find(const SampleKey& key);
  bool contains(const SampleKey& key) const { return index_.contains(key); }
  void clear();

  void setCapacity(std::size_t bytes);
  std::size_t capacity() const { return capacity_; }
  std::size_t bytes() const { return bytes_; }
  std::size_t size() const { return entries_.size(); }

 private:
  struct Entry {
    SampleKey key;
    Picture picture;
    std::size_t bytes;
  };
  struct KeyHash {
    std::size_t operator()(const SampleKey& key) const {
      return static_cast<std::size_t>(key.digest ^ (static_cast<std::uint64_t>(key.number) * 0x9E3779B97F4A7C15ull));
    }
  };
  void evictTo(std::size_t bound);

  std::size_t capacity_;
  std::size_t bytes_ = 0;
  std::list<Entry> entries_;  // most recently used first
  std::unordered_map<SampleKey, std::list<Entry>::iterator, KeyHash> index_;
};

// The bound a new decode sequence gets: VANTOR_QUICKTIME_PICTURE_CACHE_MB
// (whole megabytes, 0 turns the cache off) when set to a number, else the default.
std::size_t defaultPictureCacheBytes();
constexpr std::size_t kDefaultPictureCacheMB = 384;

}  // namespace vqt::codecs
