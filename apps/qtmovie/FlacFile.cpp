#include "FlacFile.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
}

#include <algorithm>
#include <cmath>
#include <vector>

#include "Errors.h"
#include "SoundFiles.h"

namespace qtmovie {

struct FlacWriter::State {
  std::string path;
  AVFormatContext* format = nullptr;
  AVCodecContext* codec = nullptr;
  AVStream* stream = nullptr;
  AVFrame* frame = nullptr;
  AVPacket* packet = nullptr;
  int channels = 0, bits = 16;
  std::vector<float> pending;  // samples short of a whole encoder frame
  long long nextPts = 0;
  bool headerWritten = false;

  ~State() {
    av_packet_free(&packet);
    av_frame_free(&frame);
    avcodec_free_context(&codec);
    if (format != nullptr) {
      if (format->pb != nullptr) avio_closep(&format->pb);
      avformat_free_context(format);
    }
  }

  [[noreturn]] void fail() const { throw WriteFailure("cannot write FLAC " + path); }

  void drain() {
    while (avcodec_receive_packet(codec, packet) == 0) {
      av_packet_rescale_ts(packet, codec->time_base, stream->time_base);
      packet->stream_index = stream->index;
      if (av_interleaved_write_frame(format, packet) < 0) fail();
    }
  }

  void encode(const float* samples, int count) {
    if (av_frame_make_writable(frame) < 0) fail();
    frame->nb_samples = count;
    for (int i = 0; i < count * channels; ++i) {
      const std::int32_t value = integerSample(samples[i], bits);
      if (bits == 16)
        reinterpret_cast<std::int16_t*>(frame->data[0])[i] = static_cast<std::int16_t>(value);
      else  // 24-bit samples sit in the top bits of 32-bit words
        reinterpret_cast<std::int32_t*>(frame->data[0])[i] = value * 256;
    }
    frame->pts = nextPts;
    nextPts += count;
    if (avcodec_send_frame(codec, frame) < 0) fail();
    drain();
  }
};

FlacWriter::FlacWriter(const std::string& path, int channels, int sampleRate, int bits)
    : state_(std::make_unique<State>()) {
  State& s = *state_;
  s.path = path;
  s.channels = channels;
  s.bits = bits;
  const AVCodec* encoder = avcodec_find_encoder(AV_CODEC_ID_FLAC);
  if (encoder == nullptr || avformat_alloc_output_context2(&s.format, nullptr, "flac", path.c_str()) < 0) s.fail();
  s.codec = avcodec_alloc_context3(encoder);
  s.stream = avformat_new_stream(s.format, nullptr);
  s.frame = av_frame_alloc();
  s.packet = av_packet_alloc();
  if (s.codec == nullptr || s.stream == nullptr || s.frame == nullptr || s.packet == nullptr) s.fail();
  s.codec->sample_fmt = bits == 16 ? AV_SAMPLE_FMT_S16 : AV_SAMPLE_FMT_S32;
  s.codec->bits_per_raw_sample = bits;
  s.codec->sample_rate = sampleRate;
  s.codec->time_base = AVRational{1, sampleRate};
  av_channel_layout_default(&s.codec->ch_layout, channels);
  if (avcodec_open2(s.codec, encoder, nullptr) < 0 || avcodec_parameters_from_context(s.stream->codecpar, s.codec) < 0)
    s.fail();
  s.stream->time_base = s.codec->time_base;
  s.frame->format = s.codec->sample_fmt;
  s.frame->sample_rate = sampleRate;
  s.frame->nb_samples = s.codec->frame_size;
  if (av_channel_layout_copy(&s.frame->ch_layout, &s.codec->ch_layout) < 0 || av_frame_get_buffer(s.frame, 0) < 0 ||
      avio_open(&s.format->pb, path.c_str(), AVIO_FLAG_WRITE) < 0 || avformat_write_header(s.format, nullptr) < 0)
    s.fail();
  s.headerWritten = true;
}

FlacWriter::~FlacWriter() = default;

void FlacWriter::write(std::span<const float> samples) {
  State& s = *state_;
  s.pending.insert(s.pending.end(), samples.begin(), samples.end());
  const auto block = static_cast<std::size_t>(s.codec->frame_size * s.channels);
  std::size_t used = 0;
  for (; s.pending.size() - used >= block; used += block) s.encode(s.pending.data() + used, s.codec->frame_size);
  s.pending.erase(s.pending.begin(), s.pending.begin() + static_cast<std::ptrdiff_t>(used));
}

void FlacWriter::finish() {
  State& s = *state_;
  if (!s.pending.empty()) s.encode(s.pending.data(), static_cast<int>(s.pending.size()) / s.channels);
  s.pending.clear();
  if (avcodec_send_frame(s.codec, nullptr) < 0) s.fail();
  s.drain();
  if (av_write_trailer(s.format) < 0 || avio_closep(&s.format->pb) < 0) s.fail();
}

}  // namespace qtmovie
