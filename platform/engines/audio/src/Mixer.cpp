#include "vqt/audio/Mixer.h"

#include <algorithm>
#include <cmath>

#include "ResampledTrack.h"

namespace vqt::audio {

class Mixer::Impl {
 public:
  Status init(std::vector<MixerInput> inputs);
  int channels() const { return channels_; }
  double sampleRate() const { return sampleRate_; }
  std::int64_t frameCount() const { return frameCount_; }
  std::int64_t position() const { return position_; }
  Status seek(std::int64_t frame);
  Status fill(std::int64_t frames, std::span<float> out, std::int64_t& delivered);

 private:
  std::vector<ResampledTrack> tracks_;
  int channels_ = 0;
  double sampleRate_ = 0.0;
  std::int64_t frameCount_ = 0;
  std::int64_t position_ = 0;
};

Status Mixer::Impl::init(std::vector<MixerInput> inputs) {
  if (inputs.empty()) return Status::badFormat;
  for (const MixerInput& input : inputs) {
    const TrackPlacement& place = input.placement;
    if (!input.decoder || place.leadingSilence < 0 || place.mediaStart < 0 || !std::isfinite(place.gain))
      return Status::badFormat;
    channels_ = std::max(channels_, input.decoder->channels());
    sampleRate_ = std::max(sampleRate_, input.decoder->sampleRate());
  }
  tracks_.reserve(inputs.size());
  const int outputRate = static_cast<int>(std::lround(sampleRate_));
  for (MixerInput& input : inputs) {
    const int rate = static_cast<int>(std::lround(input.decoder->sampleRate()));
    tracks_.emplace_back(PlacedTrack(std::move(input.decoder), input.placement), rate, outputRate);
    if (Status status = tracks_.back().init(channels_); status != Status::ok) return status;
    frameCount_ = std::max(frameCount_, tracks_.back().length());
  }
  return Status::ok;
}

Status Mixer::Impl::seek(std::int64_t frame) {
  if (frame < 0) return Status::outOfRange;
  position_ = frame;
  return Status::ok;
}

Status Mixer::Impl::fill(std::int64_t frames, std::span<float> out, std::int64_t& delivered) {
  delivered = 0;
  const std::int64_t room = static_cast<std::int64_t>(out.size()) / channels_;
  const std::int64_t count = std::clamp<std::int64_t>(std::min({frames, room, frameCount_ - position_}), 0, room);
  std::fill_n(out.begin(), count * channels_, 0.0f);
  Status result = Status::ok;
  for (ResampledTrack& track : tracks_) {
    const Status status = track.mixInto(position_, count, out.data(), channels_);
    if (status != Status::ok && result == Status::ok) result = status;
  }
  position_ += count;
  delivered = count;
  return result;
}

Mixer::Mixer(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Mixer::~Mixer() = default;

Status Mixer::create(std::vector<MixerInput> inputs, std::unique_ptr<Mixer>& mixer) {
  mixer.reset();
  auto impl = std::make_unique<Impl>();
  if (Status status = impl->init(std::move(inputs)); status != Status::ok) return status;
  mixer.reset(new Mixer(std::move(impl)));
  return Status::ok;
}

int Mixer::channels() const { return impl_->channels(); }
double Mixer::sampleRate() const { return impl_->sampleRate(); }
std::int64_t Mixer::frameCount() const { return impl_->frameCount(); }
std::int64_t Mixer::position() const { return impl_->position(); }
Status Mixer::seek(std::int64_t frame) { return impl_->seek(frame); }
Status Mixer::fill(std::int64_t frames, std::span<float> out, std::int64_t& delivered) {
  return impl_->fill(frames, out, delivered);
}

}  // namespace vqt::audio
