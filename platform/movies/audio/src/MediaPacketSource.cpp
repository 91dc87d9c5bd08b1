#include "MediaPacketSource.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vqt::movies::audio {

namespace {

// A chunk read brings in at most this many samples or bytes (a larger single
// sample is read whole).
constexpr ItemCount kMaxSamplesPerRead = 8192;
constexpr std::size_t kReadBytes = 256 * 1024;

std::uint32_t framesOf(TimeValue64 duration, TimeScale mediaScale, double sampleRate) {
  if (duration <= 0 || mediaScale <= 0) return 0;
  // The usual sound media counts in its own sample rate: the duration is the frame count.
  if (static_cast<double>(mediaScale) == std::round(sampleRate)) {
    return static_cast<std::uint32_t>(std::min<TimeValue64>(duration, UINT32_MAX));
  }
  const double frames = std::round(static_cast<double>(duration) * sampleRate / mediaScale);
  return frames >= UINT32_MAX ? UINT32_MAX : static_cast<std::uint32_t>(frames);
}

}  // namespace

MediaPacketSource::MediaPacketSource(Media media, double sampleRate) : media_(media) {
  const SInt32 count = GetMediaSampleCount(media);
  const TimeScale scale = GetMediaTimeScale(media);
  if (count <= 0) return;
  packets_.reserve(static_cast<std::size_t>(count));
  for (SInt64 sample = 1; sample <= count; ++sample) {
    TimeValue64 decodeTime = 0, duration = 0;
    SampleNumToMediaDecodeTime(media, sample, &decodeTime, &duration);
    if (GetMoviesError() != noErr) break;
    ByteCount size = 0;
    if (GetMediaSample2(media, nullptr, 0, &size, decodeTime, nullptr, nullptr, nullptr, nullptr, nullptr, 1,
                        nullptr, nullptr) != noErr) {
      size = 0;  // plays as silence
    }
    packets_.push_back({decodeTime, {static_cast<std::uint32_t>(size), framesOf(duration, scale, sampleRate)}});
  }
}

vqt::audio::PacketInfo MediaPacketSource::packet(std::int64_t index) const {
  if (index < 0 || index >= packetCount()) return {};
  return packets_[static_cast<std::size_t>(index)].info;
}

vqt::audio::Status MediaPacketSource::read(std::int64_t index, std::span<std::uint8_t> buffer) {
  using vqt::audio::Status;
  if (index < 0 || index >= packetCount()) return Status::outOfRange;
  const Packet& wanted = packets_[static_cast<std::size_t>(index)];
  if (buffer.size() != wanted.info.byteSize) return Status::badData;

  if (index < cachedFirst_ || index >= cachedFirst_ + cachedCount_) {
    cachedFirst_ = -1;
    cachedCount_ = 0;
    cache_.resize(std::max<std::size_t>(kReadBytes, wanted.info.byteSize));
    ByteCount size = 0;
    ItemCount samples = 0;
    if (GetMediaSample2(media_, cache_.data(), cache_.size(), &size, wanted.decodeTime, nullptr, nullptr, nullptr,
                        nullptr, nullptr, kMaxSamplesPerRead, &samples, nullptr) != noErr) {
      return Status::ioError;
    }
    // The samples that came are those of the table, back to back; trust the
    // read only when their stated sizes add up to what it delivered.
    cacheOffsets_.clear();
    std::size_t offset = 0;
    for (ItemCount i = 0; i < samples && index + static_cast<std::int64_t>(i) < packetCount(); ++i) {
      cacheOffsets_.push_back(offset);
      offset += packets_[static_cast<std::size_t>(index) + i].info.byteSize;
    }
    if (offset != size || cacheOffsets_.empty()) return Status::badData;
    cachedFirst_ = index;
    cachedCount_ = static_cast<std::int64_t>(cacheOffsets_.size());
  }
  const std::size_t at = cacheOffsets_[static_cast<std::size_t>(index - cachedFirst_)];
  std::memcpy(buffer.data(), cache_.data() + at, buffer.size());
  return Status::ok;
}

}  // namespace vqt::movies::audio
