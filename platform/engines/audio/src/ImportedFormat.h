// The sound description an imported file gets: what a QuickTime movie would carry for
// the stream libavformat found (PCM as 'sowt'/'twos'/'lpcm', AAC with its 'esds', ALAC
// with its atom, MP3).
#pragma once

extern "C" {
#include <libavcodec/codec_par.h>
}

#include "vqt/audio/SoundFormat.h"

namespace vqt::audio {

Status describeStream(const AVCodecParameters& codec, SoundFormat& format);

}  // namespace vqt::audio
