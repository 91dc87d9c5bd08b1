#include "DecoderSetup.h"

#include <cmath>
#include <cstring>

#include "EsDescriptor.h"
#include "PcmTable.h"

namespace vqt::audio {
namespace {

// AAC: each frame overlaps the previous one by half a window, so one packet of preroll
// rebuilds the state exactly; a second covers the window-shape history.
constexpr int kAacPreroll = 2;
// MP3: the bit reservoir reaches back up to 511 bytes, several frames at low bitrates,
// and the synthesis filter and overlap need one more.
constexpr int kMp3Preroll = 10;

constexpr std::size_t kAlacConfigSize = 24;
constexpr std::size_t kAlacAtomSize = 36;

Status alacSetup(const SoundFormat& format, DecoderSetup& setup) {
  const auto& cookie = format.magicCookie;
  setup.codec = AV_CODEC_ID_ALAC;
  if (cookie.size() >= kAlacAtomSize && std::memcmp(cookie.data() + 4, "alac", 4) == 0) {
    setup.extradata.assign(cookie.begin(), cookie.begin() + kAlacAtomSize);
  } else if (cookie.size() == kAlacConfigSize) {
    setup.extradata = {0, 0, 0, 36, 'a', 'l', 'a', 'c', 0, 0, 0, 0};
    setup.extradata.insert(setup.extradata.end(), cookie.begin(), cookie.end());
  } else {
    return Status::badFormat;  // ALAC cannot be decoded without its configuration
  }
  return Status::ok;
}

Status mp4aSetup(const SoundFormat& format, DecoderSetup& setup) {
  const auto config = parseEsds(format.magicCookie);
  const std::uint8_t objectType = config ? config->objectType : objectTypes::mpeg4Audio;
  switch (objectType) {
    case objectTypes::mpeg1Audio:
    case objectTypes::mpeg2Audio:
      setup.codec = AV_CODEC_ID_MP3;
      setup.prerollPackets = kMp3Preroll;
      return Status::ok;
    case objectTypes::mpeg4Audio:
    case objectTypes::mpeg2AacMain:
    case objectTypes::mpeg2AacLowComplexity:
    case objectTypes::mpeg2AacScalableSamplingRate:
      break;
    default:
      return Status::unsupported;
  }
  setup.codec = AV_CODEC_ID_AAC;
  setup.prerollPackets = kAacPreroll;
  if (config && !config->decoderSpecificInfo.empty()) {
    setup.extradata = config->decoderSpecificInfo;
  } else {
    // A missing or unreadable 'esds': assume AAC-LC with the description's own layout.
    setup.extradata =
        lowComplexityAacConfig(format.channels, static_cast<std::uint32_t>(std::lround(format.sampleRate)));
  }
  return Status::ok;
}

}  // namespace

Status makeDecoderSetup(const SoundFormat& format, DecoderSetup& setup) {
  setup = DecoderSetup{};
  if (Status status = validate(format); status != Status::ok) return status;
  if (auto layout = pcmLayoutOf(format)) {
    setup.codec = pcmDecoderFor(*layout);
    setup.pcmBytesPerFrame = format.channels * layout->bytesPerSample();
    return setup.codec == AV_CODEC_ID_NONE ? Status::unsupported : Status::ok;
  }
  switch (format.format) {
    case formats::aac:
      return mp4aSetup(format, setup);
    case formats::appleLossless:
      return alacSetup(format, setup);
    case formats::mp3:
    case 'ms\0\x55':  // the Windows wave format tag for MP3, as some files name it
      setup.codec = AV_CODEC_ID_MP3;
      setup.prerollPackets = kMp3Preroll;
      return Status::ok;
    case formats::linearPcm:
      return Status::unsupported;  // 'lpcm' whose flags describe no decodable layout
    default:
      return Status::unsupported;
  }
}

}  // namespace vqt::audio
