// FFmpeg objects owned through std::unique_ptr with their own free functions.
#pragma once

#include <memory>
#include <mutex>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/frame.h>
#include <libavutil/log.h>
#include <libswscale/swscale.h>
}

namespace vqt::codecs {

struct CodecContextDeleter {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct FrameDeleter {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct PacketDeleter {
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct SwsDeleter {
  void operator()(SwsContext* context) const { sws_freeContext(context); }
};

using CodecContextPtr = std::unique_ptr<AVCodecContext, CodecContextDeleter>;
using FramePtr = std::unique_ptr<AVFrame, FrameDeleter>;
using PacketPtr = std::unique_ptr<AVPacket, PacketDeleter>;
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
