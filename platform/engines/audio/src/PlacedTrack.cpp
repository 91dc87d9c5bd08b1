#include "PlacedTrack.h"

#include <algorithm>
#include <cmath>

namespace vqt::audio {

// The placement is clamped to what the media holds; create() in the mixer has already
// refused negative values.
PlacedTrack::PlacedTrack(std::unique_ptr<TrackDecoder> decoder, const TrackPlacement& placement)
    : decoder_(std::move(decoder)), leadingSilence_(placement.leadingSilence), gain_(placement.gain) {
  const std::int64_t available = decoder_->frameCount();
  mediaStart_ = std::min(placement.mediaStart, available);
  mediaLength_ = available - mediaStart_;
  if (placement.mediaLength >= 0) mediaLength_ = std::min(mediaLength_, placement.mediaLength);
}

Status PlacedTrack::read(std::int64_t from, std::int64_t count, std::vector<float>& out) {
  const int channels = decoder_->channels();
  out.assign(static_cast<std::size_t>(count) * channels, 0.0f);
  const std::int64_t begin = std::max(from, leadingSilence_);
  const std::int64_t end = std::min(from + count, length());
  Status status = Status::ok;
  if (begin < end) {
    // Whatever the last read already holds is copied; the rest is decoded.
    const std::int64_t cacheEnd = cacheFrom_ + static_cast<std::int64_t>(cache_.size()) / channels;
    const std::int64_t cachedBegin = std::clamp(cacheFrom_, begin, end);
    const std::int64_t cachedEnd = std::clamp(cacheEnd, cachedBegin, end);
    if (cachedBegin < cachedEnd) {
      std::copy(cache_.begin() + (cachedBegin - cacheFrom_) * channels,
                cache_.begin() + (cachedEnd - cacheFrom_) * channels, out.begin() + (cachedBegin - from) * channels);
      status = decodeInto(begin, cachedBegin, from, out);
      const Status after = decodeInto(cachedEnd, end, from, out);
      if (status == Status::ok) status = after;
    } else {
      status = decodeInto(begin, end, from, out);
    }
  }
  cache_ = out;
  cacheFrom_ = from;
  return status;
}

Status PlacedTrack::decodeInto(std::int64_t from, std::int64_t to, std::int64_t outFrom, std::vector<float>& out) {
  if (from >= to) return Status::ok;
  const int channels = decoder_->channels();
  if (Status status = decoder_->seek(mediaStart_ + (from - leadingSilence_)); status != Status::ok) return status;
  std::int64_t delivered = 0;
  const auto first = out.begin() + (from - outFrom) * channels;
  return decoder_->read({&*first, static_cast<std::size_t>(to - from) * channels}, delivered);
}

}  // namespace vqt::audio
