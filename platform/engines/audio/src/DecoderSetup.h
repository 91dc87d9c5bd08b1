// What a track decoder needs to know about a sound format: the FFmpeg decoder, its
// configuration bytes, and how many packets before a seek point it must decode again.
#pragma once

#include <cstdint>
#include <vector>

extern "C" {
#include <libavcodec/codec_id.h>
}

#include "vqt/audio/SoundFormat.h"

namespace vqt::audio {

struct DecoderSetup {
  AVCodecID codec = AV_CODEC_ID_NONE;
  std::vector<std::uint8_t> extradata;
  std::uint32_t pcmBytesPerFrame = 0;  // non-zero for PCM: packets split on whole frames
  // Packets decoded and thrown away before the first wanted one after a seek, so the
  // decoder's state (overlap, bit reservoir) is what reading on would have left.
  int prerollPackets = 0;
};

Status makeDecoderSetup(const SoundFormat& format, DecoderSetup& setup);

}  // namespace vqt::audio
