// FFmpeg objects owned through std::unique_ptr with their own free functions.
#pragma once

#include <vqt/ffmpeg/Handles.h>

#include <memory>
#include <mutex>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/frame.h>
#include <libavutil/log.h>
#include <libswscale/swscale.h>
}

namespace vqt::codecs {

using ffmpeg::CodecContextPtr;
using ffmpeg::FramePtr;
using ffmpeg::PacketPtr;

struct SwsDeleter {
  void operator()(SwsContext* context) const { sws_freeContext(context); }
};

using SwsPtr = std::unique_ptr<SwsContext, SwsDeleter>;

// FFmpeg logs to standard error by default (x264 prints statistics at every
// close). A library must not: results travel as Status values instead.
inline void silenceFfmpegLogging() {
  static std::once_flag once;
  std::call_once(once, [] { av_log_set_level(AV_LOG_QUIET); });
}

// FFmpeg's codec_tag: the four characters in file order, first in the low byte.
inline unsigned int codecTagFromFourCC(unsigned int fourcc) {
  return ((fourcc >> 24) & 0xFF) | ((fourcc >> 8) & 0xFF00) | ((fourcc << 8) & 0xFF0000) |
         ((fourcc << 24) & 0xFF000000u);
}

}  // namespace vqt::codecs
