#include "ImportedFormat.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "EsDescriptor.h"
#include "PcmTable.h"

namespace vqt::audio {

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

}  // namespace vqt::audio
