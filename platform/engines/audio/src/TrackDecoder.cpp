#include "vqt/audio/TrackDecoder.h"

#include <algorithm>
#include <cmath>
#include <cstring>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/mem.h>
}

#include "DecoderSetup.h"
#include "FfmpegHandles.h"
#include "PacketTimeline.h"

namespace vqt::audio {
namespace {

// A larger packet than this is a lying source, not audio.
constexpr std::uint32_t kMaxPacketBytes = 64u << 20;
// PCM packets are joined into decoder calls of about this many frames.
constexpr std::int64_t kPcmUnitFrames = 8192;
// Codecs that carry state from packet to packet restart their decoder every this many
// packets (after a preroll); see TrackDecoder::Impl::seek.
constexpr std::int64_t kSegmentPackets = 64;

}  // namespace

class TrackDecoder::Impl {
 public:
  Status init(const SoundFormat& format, std::unique_ptr<PacketSource> source);

  int channels() const { return channels_; }
  double sampleRate() const { return sampleRate_; }
  std::int64_t frameCount() const { return timeline_.frameCount(); }
  std::int64_t position() const { return position_; }
  Status seek(std::int64_t frame);
  Status read(std::span<float> out, std::int64_t& delivered);

 private:
  std::int64_t decodedFrames() const { return static_cast<std::int64_t>(pending_.size() - pendingOffset_) / channels_; }
  std::int64_t pendingFrames() const { return decodedFrames() + pendingSilence_; }
  void dropPending(std::int64_t frames);
  bool keepsState() const { return setup_.prerollPackets > 0; }
  Status openCodec();
  Status restartSegment(std::int64_t segment);
  Status decodeNextUnit();
  Status gatherUnit(std::int64_t first, std::int64_t& last, std::int64_t& frames);
  Status readPcmPacket(std::int64_t index);
  Status runDecoder();
  Status appendFrame(const AVFrame& frame);

  std::unique_ptr<PacketSource> source_;
  DecoderSetup setup_;
  PacketTimeline timeline_;
  int channels_ = 0;
  double sampleRate_ = 0.0;

  CodecContextPtr codec_;
  FramePtr frame_;
  PacketPtr packet_;
  SwrPtr converter_;
  int converterFormat_ = -1;
  int converterChannels_ = 0;

  std::int64_t position_ = 0;       // next frame handed to the caller
  std::int64_t nextPacket_ = 0;     // next packet to decode
  std::int64_t segment_ = 0;        // the segment whose restart the decoder's state comes from
  std::int64_t discardBefore_ = 0;  // packets before it are preroll: decoded, not delivered
  std::int64_t skipFrames_ = 0;     // frames of the first wanted packet before the position
  // Decoded but not yet delivered: floats, then frames of silence (a failed packet, or
  // one whose decoder gave less than its duration), counted rather than stored so a
  // packet claiming billions of frames costs nothing.
  std::vector<float> pending_;
  std::size_t pendingOffset_ = 0;
  std::int64_t pendingSilence_ = 0;
  std::vector<float> unit_;       // one decoder call's output, in the track's channels
  std::vector<float> converted_;  // one decoded frame as interleaved floats
  std::vector<std::uint8_t> scratch_;
  std::vector<std::uint8_t> pcmBytes_;
};

Status TrackDecoder::Impl::init(const SoundFormat& format, std::unique_ptr<PacketSource> source) {
  if (!source) return Status::badData;
  if (Status status = makeDecoderSetup(format, setup_); status != Status::ok) return status;
  if (Status status = timeline_.build(*source); status != Status::ok) return status;
  source_ = std::move(source);
  channels_ = static_cast<int>(format.channels);
  sampleRate_ = format.sampleRate;

  frame_.reset(av_frame_alloc());
  packet_.reset(av_packet_alloc());
  if (!frame_ || !packet_) return Status::outOfMemory;
  return openCodec();
}

// A new decoder context: a restart that leaves nothing of the previous packets behind
// (a flush keeps some state, such as the AAC noise generator's).
Status TrackDecoder::Impl::openCodec() {
  const AVCodec* codec = avcodec_find_decoder(setup_.codec);
  if (!codec) return Status::unsupported;
  codec_.reset(avcodec_alloc_context3(codec));
  if (!codec_) return Status::outOfMemory;
  codec_->sample_rate = static_cast<int>(std::lround(sampleRate_));
  av_channel_layout_default(&codec_->ch_layout, channels_);
  codec_->thread_count = 1;  // audio decoders gain nothing from threads, and add no delay this way
  if (setup_.pcmBytesPerFrame) {
    codec_->block_align = static_cast<int>(setup_.pcmBytesPerFrame);
    codec_->bits_per_coded_sample = static_cast<int>(setup_.pcmBytesPerFrame / channels_ * 8);
  }
  if (!setup_.extradata.empty()) {
    codec_->extradata = static_cast<std::uint8_t*>(av_mallocz(setup_.extradata.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (!codec_->extradata) return Status::outOfMemory;
    std::memcpy(codec_->extradata, setup_.extradata.data(), setup_.extradata.size());
    codec_->extradata_size = static_cast<int>(setup_.extradata.size());
  }
  // A configuration the decoder refuses (a corrupt ALAC or AAC cookie) is a bad description.
  if (avcodec_open2(codec_.get(), codec, nullptr) < 0) return Status::badFormat;
  return Status::ok;
}

Status TrackDecoder::Impl::restartSegment(std::int64_t segment) {
  segment_ = segment;
  nextPacket_ = std::max<std::int64_t>(0, segment * kSegmentPackets - setup_.prerollPackets);
  return openCodec();
}

Status TrackDecoder::Impl::seek(std::int64_t frame) {
  if (frame < 0 || frame > frameCount()) return Status::outOfRange;
  if (frame == position_) return Status::ok;
  // Forward within what is already decoded.
  if (frame > position_ && frame - position_ <= pendingFrames()) {
    dropPending(frame - position_);
    position_ = frame;
    return Status::ok;
  }
  const std::int64_t packet = timeline_.packetAt(frame);
  pending_.clear();
  pendingOffset_ = 0;
  pendingSilence_ = 0;
  discardBefore_ = packet;
  skipFrames_ = frame - timeline_.packetStart(packet);
  position_ = frame;
  if (!keepsState()) {
    // Packets decode on their own: start at the packet itself.
    if (nextPacket_ != packet && codec_) avcodec_flush_buffers(codec_.get());
    nextPacket_ = packet;
    return Status::ok;
  }
  // Codecs with state (AAC, MP3) restart at fixed segment boundaries, whether reached by
  // reading on or by seeking, after decoding a few packets before the boundary. A frame's
  // floats then depend only on its segment, never on the path that led to it. Within
  // the segment the decoder reads on when it has not yet passed the packet.
  const std::int64_t segment = packet / kSegmentPackets;
  if (segment == segment_ && nextPacket_ <= packet) return Status::ok;
  return restartSegment(segment);
}

Status TrackDecoder::Impl::read(std::span<float> out, std::int64_t& delivered) {
  delivered = 0;
  const std::int64_t wanted = static_cast<std::int64_t>(out.size()) / channels_;
  Status result = Status::ok;
  while (delivered < wanted) {
    if (const std::int64_t available = decodedFrames(); available > 0) {
      const std::int64_t count = std::min(available, wanted - delivered);
      const std::size_t floats = static_cast<std::size_t>(count) * channels_;
      std::copy_n(pending_.begin() + pendingOffset_, floats, out.begin() + delivered * channels_);
      pendingOffset_ += floats;
      delivered += count;
      position_ += count;
      continue;
    }
    if (pendingSilence_ > 0) {
      const std::int64_t count = std::min(pendingSilence_, wanted - delivered);
      std::fill_n(out.begin() + delivered * channels_, count * channels_, 0.0f);
      pendingSilence_ -= count;
      delivered += count;
      position_ += count;
      continue;
    }
    if (nextPacket_ >= timeline_.packetCount()) break;
    const Status status = decodeNextUnit();
    if (status != Status::ok && result == Status::ok) result = status;
  }
  return result;
}

// Chooses the packets of one decoder call and reads them into packet_. A packet that
// cannot be read leaves the unit to be played as silence.
Status TrackDecoder::Impl::gatherUnit(std::int64_t first, std::int64_t& last, std::int64_t& frames) {
  last = first + 1;
  frames = timeline_.packetFrames(first);
  av_packet_unref(packet_.get());

  if (!setup_.pcmBytesPerFrame) {
    const PacketInfo info = source_->packet(first);
    if (info.byteSize == 0) return Status::ok;  // an empty packet: its frames are silence
    if (info.byteSize > kMaxPacketBytes) return Status::badData;
    if (av_new_packet(packet_.get(), static_cast<int>(info.byteSize)) < 0) return Status::outOfMemory;
    return source_->read(first, {packet_->data, info.byteSize});
  }

  // PCM: whole packets up to the unit size; a bad packet ends the unit before it, or is
  // a unit of its own when it comes first.
  pcmBytes_.clear();
  for (std::int64_t i = first; i < timeline_.packetCount() && (i == first || frames < kPcmUnitFrames); ++i) {
    if (Status status = readPcmPacket(i); status != Status::ok) {
      if (i == first) return status;
      break;
    }
    if (i > first) frames += timeline_.packetFrames(i);
    last = i + 1;
  }
  if (av_new_packet(packet_.get(), static_cast<int>(pcmBytes_.size())) < 0) return Status::outOfMemory;
  std::copy(pcmBytes_.begin(), pcmBytes_.end(), packet_->data);
  return Status::ok;
}

// Appends a PCM packet's frames to pcmBytes_; bytes beyond its frames are ignored.
Status TrackDecoder::Impl::readPcmPacket(std::int64_t index) {
  const PacketInfo info = source_->packet(index);
  const std::uint64_t needed = std::uint64_t{timeline_.packetFrames(index)} * setup_.pcmBytesPerFrame;
  if (info.byteSize < needed || info.byteSize > kMaxPacketBytes) return Status::badData;
  scratch_.resize(info.byteSize);
  if (Status status = source_->read(index, scratch_); status != Status::ok) return status;
  pcmBytes_.insert(pcmBytes_.end(), scratch_.begin(), scratch_.begin() + static_cast<std::ptrdiff_t>(needed));
  return Status::ok;
}

Status TrackDecoder::Impl::decodeNextUnit() {
  // Reading on into the next segment restarts the decoder as a seek there would.
  if (keepsState() && nextPacket_ % kSegmentPackets == 0 && nextPacket_ / kSegmentPackets != segment_) {
    discardBefore_ = std::max(discardBefore_, nextPacket_);
    if (Status status = restartSegment(nextPacket_ / kSegmentPackets); status != Status::ok) return status;
  }
  const std::int64_t first = nextPacket_;
  std::int64_t last = first + 1;
  std::int64_t frames = 0;
  unit_.clear();
  Status status = gatherUnit(first, last, frames);
  if (status == Status::ok && packet_->size > 0) status = runDecoder();  // an empty packet would drain
  nextPacket_ = last;

  // The timeline is the packets' durations, whatever the decoder made of them: long
  // output is cut, short output is followed by silence, a failed unit is all silence.
  if (status != Status::ok) unit_.clear();
  const std::int64_t decoded = std::min<std::int64_t>(frames, static_cast<std::int64_t>(unit_.size()) / channels_);
  if (first < discardBefore_) return Status::ok;  // preroll: its faults do not reach the caller

  pending_.clear();
  pendingOffset_ = 0;
  pending_.insert(pending_.end(), unit_.begin(), unit_.begin() + decoded * channels_);
  pendingSilence_ = frames - decoded;
  dropPending(std::min(skipFrames_, frames));
  skipFrames_ = 0;
  return status;
}

void TrackDecoder::Impl::dropPending(std::int64_t frames) {
  const std::int64_t fromDecoded = std::min(frames, decodedFrames());
  pendingOffset_ += static_cast<std::size_t>(fromDecoded) * channels_;
  pendingSilence_ -= frames - fromDecoded;
}

Status TrackDecoder::Impl::runDecoder() {
  if (!codec_) return Status::outOfMemory;  // a restart that could not allocate
  int result = avcodec_send_packet(codec_.get(), packet_.get());
  av_packet_unref(packet_.get());
  if (result < 0 && result != AVERROR(EAGAIN)) return Status::badData;
  Status status = Status::ok;
  while ((result = avcodec_receive_frame(codec_.get(), frame_.get())) >= 0) {
    if (status == Status::ok) status = appendFrame(*frame_);
    av_frame_unref(frame_.get());
  }
  if (result != AVERROR(EAGAIN) && result != AVERROR_EOF) return Status::badData;
  return status;
}

// Converts one decoded frame to interleaved floats (libswresample at the same rate, so
// only the sample format changes) and appends it in the track's channel count: extra
// decoded channels are dropped, missing ones are silent.
Status TrackDecoder::Impl::appendFrame(const AVFrame& frame) {
  const int decodedChannels = frame.ch_layout.nb_channels;
  if (decodedChannels <= 0 || frame.nb_samples <= 0) return Status::ok;
  const std::size_t samples = static_cast<std::size_t>(frame.nb_samples);
  converted_.resize(samples * decodedChannels);
  if (frame.format == AV_SAMPLE_FMT_FLT) {
    std::memcpy(converted_.data(), frame.data[0], converted_.size() * sizeof(float));
  } else {
    if (!converter_ || converterFormat_ != frame.format || converterChannels_ != decodedChannels) {
      SwrContext* raw = nullptr;
      const int rate = frame.sample_rate > 0 ? frame.sample_rate : 48000;
      // The layout is only read (FFmpeg 5.1 declares it non-const).
      auto* layout = const_cast<AVChannelLayout*>(&frame.ch_layout);
      if (swr_alloc_set_opts2(&raw, layout, AV_SAMPLE_FMT_FLT, rate, layout, static_cast<AVSampleFormat>(frame.format),
                              rate, 0, nullptr) < 0)
        return Status::failed;
      converter_.reset(raw);
      if (swr_init(converter_.get()) < 0) {
        converter_.reset();
        return Status::failed;
      }
      converterFormat_ = frame.format;
      converterChannels_ = decodedChannels;
    }
    std::uint8_t* outPlanes[] = {reinterpret_cast<std::uint8_t*>(converted_.data())};
    const int got = swr_convert(converter_.get(), outPlanes, frame.nb_samples,
                                const_cast<const std::uint8_t**>(frame.extended_data), frame.nb_samples);
    if (got < 0) return Status::failed;
    converted_.resize(static_cast<std::size_t>(got) * decodedChannels);
  }
  const std::size_t frames = converted_.size() / decodedChannels;
  if (decodedChannels == channels_) {
    unit_.insert(unit_.end(), converted_.begin(), converted_.end());
    return Status::ok;
  }
  const std::size_t base = unit_.size();
  unit_.resize(base + frames * channels_, 0.0f);
  const int common = std::min(decodedChannels, channels_);
  for (std::size_t i = 0; i < frames; ++i)
    for (int c = 0; c < common; ++c) unit_[base + i * channels_ + c] = converted_[i * decodedChannels + c];
  return Status::ok;
}

TrackDecoder::TrackDecoder(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
TrackDecoder::~TrackDecoder() = default;

Status TrackDecoder::create(const SoundFormat& format, std::unique_ptr<PacketSource> packets,
                            std::unique_ptr<TrackDecoder>& decoder) {
  decoder.reset();
  auto impl = std::make_unique<Impl>();
  if (Status status = impl->init(format, std::move(packets)); status != Status::ok) return status;
  decoder.reset(new TrackDecoder(std::move(impl)));
  return Status::ok;
}

int TrackDecoder::channels() const { return impl_->channels(); }
double TrackDecoder::sampleRate() const { return impl_->sampleRate(); }
std::int64_t TrackDecoder::frameCount() const { return impl_->frameCount(); }
std::int64_t TrackDecoder::position() const { return impl_->position(); }
Status TrackDecoder::seek(std::int64_t frame) { return impl_->seek(frame); }
Status TrackDecoder::read(std::span<float> out, std::int64_t& delivered) { return impl_->read(out, delivered); }

}  // namespace vqt::audio
