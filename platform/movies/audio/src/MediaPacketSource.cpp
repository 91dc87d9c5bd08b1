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

MediaPacketSource::MediaPacketSource(Media media, double sampleRate, bool uniformChunks) : media_(media) {
  const SInt32 count = GetMediaSampleCount(media);
  const TimeScale scale = GetMediaTimeScale(media);
  for (SInt64 sample = 1; sample <= count;) {
    TimeValue64 decodeTime = 0, duration = 0;
    SampleNumToMediaDecodeTime(media, sample, &decodeTime, &duration);
    if (GetMoviesError() != noErr) break;
    const std::uint32_t frames = framesOf(duration, scale, sampleRate);
    if (uniformChunks) {
      ByteCount bytes = 0;
      ItemCount inChunk = 0;
      const auto left = static_cast<ItemCount>(count - sample + 1);
      if (GetMediaSample2(media, nullptr, 0, &bytes, decodeTime, nullptr, nullptr, nullptr, nullptr, nullptr, left,
                          &inChunk, nullptr) == noErr &&
          inChunk > 1 && bytes % inChunk == 0) {
        const SInt64 last = sample + static_cast<SInt64>(inChunk) - 1;
        TimeValue64 lastTime = 0, lastDuration = 0;
        SampleNumToMediaDecodeTime(media, last, &lastTime, &lastDuration);
        if (GetMoviesError() == noErr && lastDuration == duration &&
            lastTime == decodeTime + static_cast<TimeValue64>(inChunk - 1) * duration) {
          runs_.push_back({sample - 1,
                           static_cast<std::int64_t>(inChunk),
                           decodeTime,
                           duration,
                           {static_cast<std::uint32_t>(bytes / inChunk), frames}});
          sample = last + 1;
          continue;
        }
      }
    }
    ByteCount size = 0;
    if (GetMediaSample2(media, nullptr, 0, &size, decodeTime, nullptr, nullptr, nullptr, nullptr, nullptr, 1, nullptr,
                        nullptr) != noErr) {
      size = 0;  // plays as silence
    }
    runs_.push_back({sample - 1, 1, decodeTime, duration, {static_cast<std::uint32_t>(size), frames}});
    ++sample;
  }
  packetCount_ = runs_.empty() ? 0 : runs_.back().firstPacket + runs_.back().count;
}

const MediaPacketSource::Run& MediaPacketSource::runOf(std::int64_t index) const {
  auto after = std::upper_bound(runs_.begin(), runs_.end(), index,
                                [](std::int64_t i, const Run& run) { return i < run.firstPacket; });
  return *(after - 1);
}

TimeValue64 MediaPacketSource::decodeTimeOf(std::int64_t index) const {
  const Run& run = runOf(index);
  return run.firstDecodeTime + (index - run.firstPacket) * run.decodeStep;
}

vqt::audio::PacketInfo MediaPacketSource::packet(std::int64_t index) const {
  if (index < 0 || index >= packetCount()) return {};
  return runOf(index).info;
}

vqt::audio::Status MediaPacketSource::read(std::int64_t index, std::span<std::uint8_t> buffer) {
  using vqt::audio::Status;
  if (index < 0 || index >= packetCount()) return Status::outOfRange;
  const vqt::audio::PacketInfo wanted = packet(index);
  if (buffer.size() != wanted.byteSize) return Status::badData;

  if (index < cachedFirst_ || index >= cachedFirst_ + cachedCount_) {
    cachedFirst_ = -1;
    cachedCount_ = 0;
    cache_.resize(std::max<std::size_t>(kReadBytes, wanted.byteSize));
    ByteCount size = 0;
    ItemCount samples = 0;
    if (GetMediaSample2(media_, cache_.data(), cache_.size(), &size, decodeTimeOf(index), nullptr, nullptr, nullptr,
                        nullptr, nullptr, kMaxSamplesPerRead, &samples, nullptr) != noErr) {
      return Status::ioError;
    }
    // The samples that came are those of the table, back to back; trust the
    // read only when their stated sizes add up to what it delivered.
    cacheOffsets_.clear();
    std::size_t offset = 0;
    for (ItemCount i = 0; i < samples && index + static_cast<std::int64_t>(i) < packetCount(); ++i) {
      cacheOffsets_.push_back(offset);
      offset += packet(index + static_cast<std::int64_t>(i)).byteSize;
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
