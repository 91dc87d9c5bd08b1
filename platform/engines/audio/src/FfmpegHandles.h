// FFmpeg objects of the audio engine, owned through std::unique_ptr with their own
// free functions.
#pragma once

#include <vqt/ffmpeg/Handles.h>

#include <memory>

extern "C" {
#include <libswresample/swresample.h>
}

namespace vqt::audio {

using ffmpeg::CodecContextPtr;
using ffmpeg::FramePtr;
using ffmpeg::PacketPtr;

struct SwrDeleter {
  void operator()(SwrContext* context) const { swr_free(&context); }
};
using SwrPtr = std::unique_ptr<SwrContext, SwrDeleter>;

}  // namespace vqt::audio
