#include "ResampledTrack.h"

#include <algorithm>
#include <numeric>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/mathematics.h>
#include <libavutil/opt.h>
}

namespace vqt::audio {
namespace {

constexpr std::int64_t kBlockFrames = 4096;
// Above this many floats in one block (weird rate pairs times many channels) the
// mix is refused rather than allocated.
constexpr std::int64_t kMaxBlockFloats = std::int64_t{1} << 24;

std::int64_t roundUpTo(std::int64_t value, std::int64_t step) { return (value + step - 1) / step * step; }

}  // namespace

ResampledTrack::ResampledTrack(PlacedTrack track, int inputRate, int outputRate)
    : track_(std::move(track)), inputRate_(inputRate), outputRate_(outputRate) {}

Status ResampledTrack::init(int outputChannels) {
  const std::int64_t common = std::gcd(inputRate_, outputRate_);
  inputPeriod_ = inputRate_ / common;
  outputPeriod_ = outputRate_ / common;
  blockOutput_ = roundUpTo(kBlockFrames, outputPeriod_);
  blockInput_ = blockOutput_ / outputPeriod_ * inputPeriod_;
  length_ = av_rescale_rnd(track_.length(), outputRate_, inputRate_, AV_ROUND_UP);
  if (inputRate_ == outputRate_) return Status::ok;

  // libswresample's default filter spans 32 taps at the lower of the two rates; the
  // margin covers half of it on each side with room to spare.
  const std::int64_t ratio = (inputRate_ + outputRate_ - 1) / outputRate_;
  marginInput_ = roundUpTo(32 * ratio + 32, inputPeriod_);
  marginOutput_ = marginInput_ / inputPeriod_ * outputPeriod_;
  const std::int64_t channels = std::max(track_.channels(), outputChannels);
  if ((blockInput_ + 2 * marginInput_) * channels > kMaxBlockFloats ||
      (blockOutput_ + 2 * marginOutput_) * channels > kMaxBlockFloats)
    return Status::unsupported;

  AVChannelLayout layout;
  av_channel_layout_default(&layout, track_.channels());
  SwrContext* raw = nullptr;
  const int result = swr_alloc_set_opts2(&raw, &layout, AV_SAMPLE_FMT_FLT, outputRate_, &layout, AV_SAMPLE_FMT_FLT,
                                         inputRate_, 0, nullptr);
  av_channel_layout_uninit(&layout);
  if (result < 0) return Status::failed;
  resampler_.reset(raw);
  // Phases from the exact ratio, so a block boundary falls on the same filter phase
  // as continuous resampling would.
  av_opt_set_int(resampler_.get(), "exact_rational", 1, 0);
  return swr_init(resampler_.get()) < 0 ? Status::failed : Status::ok;
}

Status ResampledTrack::computeBlock(std::int64_t index) {
  const int channels = track_.channels();
  const std::int64_t blockStart = index * blockOutput_;
  if (!resampler_) {
    blockStatus_ = track_.read(blockStart, blockOutput_, block_);
    blockIndex_ = index;
    return blockStatus_;
  }
  const std::int64_t inputFrom = index * blockInput_ - marginInput_;
  const std::int64_t inputCount = blockInput_ + 2 * marginInput_;
  blockStatus_ = track_.read(inputFrom, inputCount, input_);

  if (swr_init(resampler_.get()) < 0) return Status::failed;  // a fresh start for every block
  const int capacity = static_cast<int>(blockOutput_ + 2 * marginOutput_ + 64);
  resampled_.assign(static_cast<std::size_t>(capacity) * channels, 0.0f);
  const std::uint8_t* in[] = {reinterpret_cast<const std::uint8_t*>(input_.data())};
  int produced = swr_convert(resampler_.get(), nullptr, 0, in, static_cast<int>(inputCount));
  if (produced < 0) return Status::failed;
  // Everything comes out on the drain, which also brings the filter's tail.
  for (int got = 1; got > 0 && produced < capacity;) {
    std::uint8_t* out[] = {reinterpret_cast<std::uint8_t*>(resampled_.data() + std::size_t(produced) * channels)};
    got = swr_convert(resampler_.get(), out, capacity - produced, nullptr, 0);
    if (got < 0) return Status::failed;
    produced += got;
  }
  block_.assign(resampled_.begin() + marginOutput_ * channels,
                resampled_.begin() + (marginOutput_ + blockOutput_) * channels);
  blockIndex_ = index;
  return blockStatus_;
}

Status ResampledTrack::mixInto(std::int64_t from, std::int64_t count, float* mix, int mixChannels) {
  const int channels = track_.channels();
  const float gain = track_.gain();
  const std::int64_t end = std::min(from + count, length_);
  Status result = Status::ok;
  for (std::int64_t frame = from; frame < end;) {
    const std::int64_t index = frame / blockOutput_;
    if (index != blockIndex_) {
      const Status status = computeBlock(index);
      if (status == Status::failed || status == Status::outOfMemory || status == Status::unsupported) return status;
    }
    if (blockStatus_ != Status::ok && result == Status::ok) result = blockStatus_;
    const std::int64_t offset = frame - index * blockOutput_;
    const std::int64_t frames = std::min(blockOutput_ - offset, end - frame);
    const float* source = block_.data() + offset * channels;
    float* target = mix + (frame - from) * mixChannels;
    for (std::int64_t i = 0; i < frames; ++i, source += channels, target += mixChannels) {
      if (channels == 1 && mixChannels >= 2) {
        target[0] += gain * source[0];
        target[1] += gain * source[0];
      } else {
        for (int c = 0; c < channels; ++c) target[c] += gain * source[c];
      }
    }
    frame += frames;
  }
  return result;
}

}  // namespace vqt::audio
