#include "vqt/audio/SoundImport.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string_view>

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/intreadwrite.h>
#include <libavutil/mathematics.h>
}

#include "FfmpegHandles.h"
#include "FilePacketSource.h"
#include "HiddenFrameCounts.h"
#include "ImportedFormat.h"

namespace vqt::audio {
namespace {

struct FormatContextDeleter {
  void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
using FormatContextPtr = std::unique_ptr<AVFormatContext, FormatContextDeleter>;

// The demuxers whose files are sound files; a movie with a sound track is opened as a
// movie, not imported. The mov demuxer serves .m4a.
constexpr std::string_view kSoundDemuxers[] = {"wav", "aiff", "mp3", "mov,mp4,m4a,3gp,3g2,mj2", "caf", "w64"};

bool isSoundDemuxer(const char* name) {
  for (std::string_view known : kSoundDemuxers)
    if (known == name) return true;
  return false;
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

// What the packet loop learns besides the packets themselves.
struct PacketScan {
  std::int64_t discardAtEnd = 0;
  bool lastPacketHasDefaultLength = false;
  std::vector<std::uint8_t> lastAlacPacket;
};

Status readPackets(AVFormatContext& context, const AVStream& stream, std::FILE* file, ImportedSound& sound,
                   PacketScan& scan) {
  const AVRational frameBase{1, static_cast<int>(std::lround(sound.format.sampleRate))};
  const std::uint32_t pcmFrameBytes = sound.pcmBytesPerFrame();
  const bool alac = stream.codecpar->codec_id == AV_CODEC_ID_ALAC;
  PacketPtr packet(av_packet_alloc());
  if (!packet) return Status::outOfMemory;
  std::vector<std::uint8_t> scratch;
  bool firstPacket = true;
  int result = 0;
  while ((result = av_read_frame(&context, packet.get())) >= 0) {
    if (packet->stream_index == stream.index && packet->size > 0) {
      if (!packetIsInFile(file, *packet, scratch)) return Status::unsupported;
      std::int64_t frames = 0;
      if (pcmFrameBytes) {
        frames = packet->size / pcmFrameBytes;  // a torn frame at the end of a cut file is dropped
      } else {
        scan.lastPacketHasDefaultLength = packet->duration <= 0;
        frames = packet->duration > 0 ? av_rescale_q(packet->duration, stream.time_base, frameBase)
                                      : sound.format.framesPerPacket;
        if (alac) scan.lastAlacPacket.assign(packet->data, packet->data + packet->size);
      }
      if (frames > 0 && frames <= UINT32_MAX) {
        const auto bytes = static_cast<std::uint32_t>(pcmFrameBytes ? frames * pcmFrameBytes : packet->size);
        sound.packets.push_back({packet->pos, bytes, static_cast<std::uint32_t>(frames)});
        sound.totalFrames += frames;
      }
      const std::int64_t skipped = skipSamplesAtStart(*packet, scan.discardAtEnd);
      sound.primingFrames += skipped;
      // Without a skip marker, a first packet before time zero is priming too.
      if (firstPacket && skipped == 0 && packet->pts != AV_NOPTS_VALUE && packet->pts < 0)
        sound.primingFrames += av_rescale_q(-packet->pts, stream.time_base, frameBase);
      firstPacket = false;
    }
    av_packet_unref(packet.get());
  }
  if (result != AVERROR_EOF || sound.packets.empty()) return Status::badData;
  return Status::ok;
}

// Priming and playable length from what the container says, in order of trust: a CAF
// packet table, an MP4 edit (the stream duration), skip markers, the ALAC last packet.
void settleLengths(const AVFormatContext& context, const AVStream& stream, std::FILE* file, ImportedSound& sound,
                   PacketScan& scan) {
  const std::string_view demuxer = context.iformat->name;
  if (scan.lastPacketHasDefaultLength && !scan.lastAlacPacket.empty()) {
    const auto frames = alacPacketFrames(scan.lastAlacPacket);
    ImportedPacket& last = sound.packets.back();
    if (frames && *frames > 0 && *frames < last.frames) {
      sound.totalFrames -= last.frames - *frames;
      last.frames = *frames;
    }
  }
  if (demuxer == "caf" && !sound.pcmBytesPerFrame()) {
    if (const auto counts = readCafFrameCounts(file)) {
      ImportedPacket& last = sound.packets.back();
      if (counts->remainder > 0 && counts->remainder < last.frames) {
        last.frames -= static_cast<std::uint32_t>(counts->remainder);
        sound.totalFrames -= counts->remainder;
      }
      sound.primingFrames = counts->priming;
      scan.discardAtEnd = std::max<std::int64_t>(0, sound.totalFrames - counts->priming - counts->valid);
    }
  }
  sound.primingFrames = std::clamp<std::int64_t>(sound.primingFrames, 0, sound.totalFrames);
  sound.playableFrames = std::max<std::int64_t>(0, sound.totalFrames - sound.primingFrames - scan.discardAtEnd);
  // An edit list gives the exact length (the padding of the last AAC packet is no sound).
  if (stream.duration > 0 && demuxer.starts_with("mov")) {
    const AVRational frameBase{1, static_cast<int>(std::lround(sound.format.sampleRate))};
    sound.playableFrames = std::min(sound.playableFrames, av_rescale_q(stream.duration, stream.time_base, frameBase));
  }
}

}  // namespace

Status importSoundFile(const std::string& path, ImportedSound& sound) {
  sound = ImportedSound{};
  FilePtr file(std::fopen(path.c_str(), "rbe"));
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

  PacketScan scan;
  if (Status status = readPackets(*context, stream, file.get(), sound, scan); status != Status::ok) return status;
  settleLengths(*context, stream, file.get(), sound, scan);
  sound.path = path;
  return Status::ok;
}

}  // namespace vqt::audio
