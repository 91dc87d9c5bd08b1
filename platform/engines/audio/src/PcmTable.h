// The one table of PCM layouts: how each stored layout is named in a movie file and
// which FFmpeg PCM decoder reads it.
#pragma once

#include <cstdint>
#include <optional>

extern "C" {
#include <libavcodec/codec_id.h>
}

#include "vqt/audio/SoundFormat.h"

namespace vqt::audio {

// The decoder for a layout; AV_CODEC_ID_NONE if the table has no row for it.
AVCodecID pcmDecoderFor(const PcmLayout& layout);
// The layout an FFmpeg PCM codec stores, for describing imported files.
std::optional<PcmLayout> pcmLayoutOfCodec(AVCodecID codec);

}  // namespace vqt::audio
