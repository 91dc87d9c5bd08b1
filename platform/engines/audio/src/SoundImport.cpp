#include "vqt/audio/SoundImport.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string_view>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/intreadwrite.h>
#include <libavutil/mathematics.h>
}

#include "EsDescriptor.h"
#include "FfmpegHandles.h"
#include "PcmTable.h"

namespace vqt::audio {
namespace {

struct FormatContextDeleter {
  void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
using FormatContextPtr = std::unique_ptr<AVFormatContext, FormatContextDeleter>;

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

// The demuxers whose files are sound files; a movie with a sound track is opened as a
// movie, not imported. The mov demuxer serves .m4a.
constexpr std::string_view kSoundDemuxers[] = {"wav", "aiff", "mp3", "mov,mp4,m4a,3gp,3g2,mj2", "caf", "w64"};

bool isSoundDemuxer(const char* name) {
  for (std::string_view known : kSoundDemuxers)
    if (known == name) return true;
  return false;
}

// Reads packets straight from the imported file by their offsets.
class FilePacketSource final : public PacketSource {
 public:
  FilePacketSource(FilePtr file, std::vector<ImportedPacket> packets)
      : file_(std::move(file)), packets_(std::move(packets)) {}
  std::int64_t packetCount() const override { return static_cast<std::int64_t>(packets_.size()); }
  PacketInfo packet(std::int64_t index) const override {
    if (index < 0 || index >= packetCount()) return {};
    return {packets_[index].byteSize, packets_[index].frames};
  }
  Status read(std::int64_t index, std::span<std::uint8_t> buffer) override {
    if (!file_) return Status::ioError;
    if (index < 0 || index >= packetCount() || buffer.size() != packets_[index].byteSize) return Status::badData;
    if (fseeko(file_.get(), packets_[index].fileOffset, SEEK_SET) != 0) return Status::ioError;
    return std::fread(buffer.data(), 1, buffer.size(), file_.get()) == buffer.size() ? Status::ok : Status::ioError;
  }

 private:
  FilePtr file_;
  std::vector<ImportedPacket> packets_;
};

Status describeStream(const AVCodecParameters& codec, SoundFormat& format) {
  const std::uint32_t channels = static_cast<std::uint32_t>(std::max(codec.ch_layout.nb_channels, 0));
  const double rate = codec.sample_rate;
  if (auto layout = pcmLayoutOfCodec(codec.codec_id)) {
    format = pcmSoundFormat(*layout, channels, rate);
    return validate(format);
  }
  format = SoundFormat{};
  format.channels = channels;
  format.sampleRate = rate;
  format.version = 1;
  format.bitsPerChannel = 16;
  format.bytesPerSample = 2;
  switch (codec.codec_id) {
    case AV_CODEC_ID_AAC: {
      format.format = formats::aac;
      format.framesPerPacket = 1024;
      EsConfig config{objectTypes::mpeg4Audio, {codec.extradata, codec.extradata + codec.extradata_size}};
      if (config.decoderSpecificInfo.empty())
        config.decoderSpecificInfo = lowComplexityAacConfig(channels, static_cast<std::uint32_t>(rate));
      const auto bitrate = static_cast<std::uint32_t>(std::clamp<std::int64_t>(codec.bit_rate, 0, UINT32_MAX));
      format.magicCookie = buildEsds(config, bitrate, bitrate, 0);
      break;
    }
    case AV_CODEC_ID_ALAC:
      format.format = formats::appleLossless;
      format.framesPerPacket = 4096;
      format.bitsPerChannel = codec.bits_per_raw_sample > 0 ? codec.bits_per_raw_sample : 16;
      // The demuxers hand over the 36-byte 'alac' atom (or, from some files, the bare
      // 24-byte configuration); the cookie keeps the atom form.
      if (codec.extradata_size >= 36 && std::memcmp(codec.extradata + 4, "alac", 4) == 0) {
        format.magicCookie.assign(codec.extradata, codec.extradata + 36);
      } else if (codec.extradata_size == 24) {
        format.magicCookie = {0, 0, 0, 36, 'a', 'l', 'a', 'c', 0, 0, 0, 0};
        format.magicCookie.insert(format.magicCookie.end(), codec.extradata, codec.extradata + 24);
      } else {
        return Status::badFormat;
      }
      break;
    case AV_CODEC_ID_MP3:
      format.format = formats::mp3;
      format.framesPerPacket = codec.frame_size > 0 ? codec.frame_size : 1152;
      break;
    default:
      return Status::unsupported;
  }
  return validate(format);
}

std::int64_t skipSamplesAtStart(const AVPacket& packet, std::int64_t& discardAtEnd) {
  std::size_t size = 0;
  const std::uint8_t* side = av_packet_get_side_data(&packet, AV_PKT_DATA_SKIP_SAMPLES, &size);
  if (!side || size < 8) return 0;
  discardAtEnd += AV_RL32(side + 4);
  return AV_RL32(side);
}

// Packets must lie in the file where the demuxer says, since the movie will read them
// from there.
bool packetIsInFile(std::FILE* file, const AVPacket& packet, std::vector<std::uint8_t>& scratch) {
  if (packet.pos < 0 || fseeko(file, packet.pos, SEEK_SET) != 0) return false;
  scratch.resize(static_cast<std::size_t>(packet.size));
  return std::fread(scratch.data(), 1, scratch.size(), file) == scratch.size() &&
         std::memcmp(scratch.data(), packet.data, scratch.size()) == 0;
}

struct CafFrameCounts {
  std::int64_t valid = 0, priming = 0, remainder = 0;
};

// The counts in a CAF packet table ('pakt'), which libavformat does not pass on: the
// last packet of a compressed CAF stream is only partly sound.
std::optional<CafFrameCounts> readCafFrameCounts(std::FILE* file) {
  std::uint8_t header[12];
  if (fseeko(file, 0, SEEK_SET) != 0 || std::fread(header, 1, 8, file) != 8 || std::memcmp(header, "caff", 4) != 0)
    return std::nullopt;
  for (int chunk = 0; chunk < 64 && std::fread(header, 1, 12, file) == 12; ++chunk) {
    const std::int64_t size = static_cast<std::int64_t>(AV_RB64(header + 4));
    if (std::memcmp(header, "pakt", 4) == 0) {
      std::uint8_t table[24];
      if (size < 24 || std::fread(table, 1, 24, file) != 24) return std::nullopt;
      return CafFrameCounts{static_cast<std::int64_t>(AV_RB64(table + 8)), AV_RB32(table + 16), AV_RB32(table + 20)};
    }
    if (size < 0 || fseeko(file, size, SEEK_CUR) != 0) return std::nullopt;
  }
  return std::nullopt;
}

// An ALAC packet may state its own sample count: after the element type (3 bits), tag
// (4) and 12 unused bits comes a has-size flag, two bits of shift, a compression flag,
// and then, if flagged, the count in 32 bits. Used for the short last packet of files
// whose container does not give packet durations.
std::optional<std::uint32_t> alacPacketFrames(std::span<const std::uint8_t> packet) {
  if (packet.size() < 7) return std::nullopt;
  std::uint8_t head[8] = {};
  std::copy_n(packet.begin(), std::min<std::size_t>(8, packet.size()), head);
  const std::uint64_t bits = AV_RB64(head);
  if (!((bits >> (63 - 19)) & 1)) return std::nullopt;
  return static_cast<std::uint32_t>((bits >> (64 - 23 - 32)) & 0xFFFFFFFFu);
}

}  // namespace

std::uint32_t ImportedSound::pcmBytesPerFrame() const {
  const auto layout = pcmLayoutOf(format);
  return layout ? format.channels * layout->bytesPerSample() : 0;
}

std::unique_ptr<PacketSource> ImportedSound::openPackets() const {
  return std::make_unique<FilePacketSource>(FilePtr(std::fopen(path.c_str(), "rb")), packets);
}

Status importSoundFile(const std::string& path, ImportedSound& sound) {
  sound = ImportedSound{};
  FilePtr file(std::fopen(path.c_str(), "rb"));
  if (!file) return Status::ioError;

  AVFormatContext* raw = nullptr;
  if (avformat_open_input(&raw, path.c_str(), nullptr, nullptr) < 0) return Status::unsupported;
  FormatContextPtr context(raw);
  if (!isSoundDemuxer(context->iformat->name)) return Status::unsupported;
  if (avformat_find_stream_info(context.get(), nullptr) < 0) return Status::badData;
  const int streamIndex = av_find_best_stream(context.get(), AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
  if (streamIndex < 0) return Status::unsupported;
  const AVStream& stream = *context->streams[streamIndex];
  if (Status status = describeStream(*stream.codecpar, sound.format); status != Status::ok) return status;

  const int rate = static_cast<int>(std::lround(sound.format.sampleRate));
  const AVRational frameBase{1, rate};
  const std::uint32_t pcmFrameBytes = sound.pcmBytesPerFrame();
  PacketPtr packet(av_packet_alloc());
  if (!packet) return Status::outOfMemory;
  std::vector<std::uint8_t> scratch;
  std::int64_t discardAtEnd = 0;
  bool firstPacket = true;
  bool lastPacketHasDefaultLength = false;
  std::vector<std::uint8_t> lastPacketBytes;
  int result = 0;
  while ((result = av_read_frame(context.get(), packet.get())) >= 0) {
    if (packet->stream_index == streamIndex && packet->size > 0) {
      if (!packetIsInFile(file.get(), *packet, scratch)) return Status::unsupported;
      std::int64_t frames = 0;
      if (pcmFrameBytes) {
        frames = packet->size / pcmFrameBytes;  // a torn frame at the end of a cut file is dropped
      } else {
        lastPacketHasDefaultLength = packet->duration <= 0;
        frames = packet->duration > 0 ? av_rescale_q(packet->duration, stream.time_base, frameBase)
                                      : sound.format.framesPerPacket;
        if (stream.codecpar->codec_id == AV_CODEC_ID_ALAC) lastPacketBytes.assign(packet->data, packet->data + packet->size);
      }
      if (frames > 0 && frames <= UINT32_MAX) {
        sound.packets.push_back({packet->pos, static_cast<std::uint32_t>(pcmFrameBytes ? frames * pcmFrameBytes : packet->size),
                                 static_cast<std::uint32_t>(frames)});
        sound.totalFrames += frames;
      }
      const std::int64_t skipped = skipSamplesAtStart(*packet, discardAtEnd);
      sound.primingFrames += skipped;
      // Without a skip marker, a first packet before time zero is priming too.
      if (firstPacket && skipped == 0 && packet->pts != AV_NOPTS_VALUE && packet->pts < 0)
        sound.primingFrames += av_rescale_q(-packet->pts, stream.time_base, frameBase);
      firstPacket = false;
    }
    av_packet_unref(packet.get());
  }
  if (result != AVERROR_EOF) return Status::badData;
  if (sound.packets.empty()) return Status::badData;

  if (lastPacketHasDefaultLength && stream.codecpar->codec_id == AV_CODEC_ID_ALAC) {
    const auto frames = alacPacketFrames(lastPacketBytes);
    ImportedPacket& last = sound.packets.back();
    if (frames && *frames > 0 && *frames < last.frames) {
      sound.totalFrames -= last.frames - *frames;
      last.frames = *frames;
    }
  }
  if (std::string_view(context->iformat->name) == "caf" && !sound.pcmBytesPerFrame()) {
    if (const auto counts = readCafFrameCounts(file.get())) {
      ImportedPacket& last = sound.packets.back();
      if (counts->remainder > 0 && counts->remainder < last.frames) {
        last.frames -= static_cast<std::uint32_t>(counts->remainder);
        sound.totalFrames -= counts->remainder;
      }
      sound.primingFrames = counts->priming;
      discardAtEnd = std::max<std::int64_t>(0, sound.totalFrames - counts->priming - counts->valid);
    }
  }
  sound.primingFrames = std::clamp<std::int64_t>(sound.primingFrames, 0, sound.totalFrames);
  sound.playableFrames = std::max<std::int64_t>(0, sound.totalFrames - sound.primingFrames - discardAtEnd);
  // An edit list gives the exact length (the padding of the last AAC packet is no sound).
  if (stream.duration > 0 && std::string_view(context->iformat->name).starts_with("mov"))
    sound.playableFrames = std::min(sound.playableFrames, av_rescale_q(stream.duration, stream.time_base, frameBase));
  sound.path = path;
  return Status::ok;
}

}  // namespace vqt::audio
