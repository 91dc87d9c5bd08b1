#include "vqt/codecs/CodecTable.h"

#include <algorithm>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace vqt::codecs {
namespace {

using Q = QualityControl;

// Pixel formats each kind of codec exchanges without losing what it holds.
constexpr std::array<FourCC, 4> kDeepYCbCr{kPixelFormatR4fl, kPixelFormatB64a, 0, 0};
constexpr std::array<FourCC, 4> kVideoYCbCr{kPixelFormat2vuy, 0, 0, 0};
constexpr std::array<FourCC, 4> kJpegYCbCr{kPixelFormat2vuy, kPixelFormatArgb32, 0, 0};
// Streams of 8 bits and deeper, 4:2:0 to 4:4:4 (H.264 High 10, 4:2:2 and 4:4:4,
// HEVC Main 10): floats keep whatever a stream holds, '2vuy' is there for the
// overrides that ask for it.
constexpr std::array<FourCC, 4> kAnyDepthYCbCr{kPixelFormatR4fl, kPixelFormat2vuy, 0, 0};
constexpr std::array<FourCC, 4> kDeepRgb{kPixelFormatB64a, kPixelFormatArgb32, 0, 0};
constexpr std::array<FourCC, 4> kRgb{kPixelFormatArgb32, 0, 0, 0};

// Quality levels 0x000, 0x100, 0x200, 0x300, 0x3FF, 0x400: the one place
// where a quality chosen in the dialog becomes an encoder setting.
// ProRes: the profile fixes the quantiser matrix and the data-rate family;
// the level fixes the quantiser, so that every level the dialog offers gives
// a different picture. The profile's own rate control settles on the finest
// quantiser for easy pictures, and left alone it made Minimum to High alike.
// ProRes has no lossless mode: five levels.
constexpr QualityMapping kProResQuality{Q::proresQuantiser, {10, 6, 3, 2, 1, 1}, 5};
// libx264 CRF; 0 is mathematically lossless.
constexpr QualityMapping kH264Quality{Q::x264Crf, {40, 32, 23, 18, 12, 0}};
// libx265 CRF (its scale sits about 5 above x264's for the same picture); 0 turns on x265's lossless mode.
constexpr QualityMapping kHevcQuality{Q::x265Crf, {40, 34, 28, 22, 16, 0}};
// Fixed quantiser scales, applied to every frame.
constexpr QualityMapping kMpeg4Quality{Q::mpegQscale, {31, 15, 6, 3, 2, 1}};
constexpr QualityMapping kJpegQuality{Q::mpegQscale, {31, 12, 5, 3, 2, 1}};
// DNxHR profiles: LB, SQ, HQ (8-bit 4:2:2), HQX (10-bit 4:2:2), 444 (10-bit 4:4:4);
// one profile a level and none lossless: five levels.
constexpr QualityMapping kDnxhrQuality{Q::dnxhrProfile,
                                       {1, 2, 3, 4, 5, 5},
                                       5,
                                       {"dnxhr_lb", "dnxhr_sq", "dnxhr_hq", "dnxhr_hqx", "dnxhr_444", "dnxhr_444"},
                                       {"yuv422p", "yuv422p", "yuv422p", "yuv422p10le", "yuv444p10le", "yuv444p10le"}};

// Apple's vendor code, which players look for in ProRes frame headers.
constexpr EncoderOption kProResOptions[] = {{"vendor", "apl0"}};
// MPEG-4's encoder keeps closed groups of pictures only without scene-cut key frames.
constexpr EncoderOption kMpeg4Options[] = {{"sc_threshold", "1000000000"}};
// Full-range 4:2:0 JPEG is outside what the encoder calls strictly standard.
constexpr EncoderOption kJpegOptions[] = {{"strict", "unofficial"}};

// Long-GOP codecs offer a key frame every two seconds unless told otherwise.
constexpr double kLongGop = 2.0;

constexpr CodecEntry proRes(FourCC type, std::string_view name, std::string_view information, int profile, bool alpha) {
  return {.type = type,
          .name = name,
          .information = information,
          .decoder = "prores",
          .encoder = "prores_ks",
          .profile = profile,
          .options = kProResOptions,
          .encodeLayout = alpha ? "yuv444p10le" : "yuv422p10le",
          .encodeAlphaLayout = alpha ? "yuva444p10le" : "",
          .cpix = kDeepYCbCr,
          .alphaBits = alpha ? 16 : 0,
          .quality = kProResQuality};
}

// clang-format off
constexpr CodecEntry kCodecs[] = {
  proRes('apco', "ProRes 422 Proxy", "ProRes 422 Proxy, 10-bit 4:2:2, through FFmpeg libavcodec", 0, false),
  proRes('apcs', "ProRes 422 LT", "ProRes 422 LT, 10-bit 4:2:2, through FFmpeg libavcodec", 1, false),
  proRes('apcn', "ProRes 422", "ProRes 422, 10-bit 4:2:2, through FFmpeg libavcodec", 2, false),
  proRes('apch', "ProRes 422 HQ", "ProRes 422 HQ, 10-bit 4:2:2, through FFmpeg libavcodec", 3, false),
  proRes('ap4h', "ProRes 4444", "ProRes 4444, 12-bit 4:4:4 with alpha, through FFmpeg libavcodec", 4, true),
  proRes('ap4x', "ProRes 4444 XQ", "ProRes 4444 XQ, 12-bit 4:4:4 with alpha, through FFmpeg libavcodec", 5, true),
  {.type = 'avc1', .name = "H.264", .information = "H.264 / AVC: FFmpeg libavcodec decoder, x264 encoder",
   .decoder = "h264", .encoder = "libx264", .library = EncoderLibrary::x264, .encodeLayout = "yuv420p",
   .cpix = kAnyDepthYCbCr, .oddSize = OddSize::padToWholeChroma, .quality = kH264Quality, .temporal = true,
   .keyFrameSeconds = kLongGop, .dataRate = DataRateControl::bufferedPeaks, .configAtom = 'avcC'},
  {.type = 'hvc1', .name = "HEVC",
   .information = "HEVC / H.265 (parameter sets in the description): FFmpeg libavcodec decoder, x265 encoder",
   .decoder = "hevc", .encoder = "libx265", .library = EncoderLibrary::x265, .encodeLayout = "yuv420p",
   .deepLayout = "yuv420p10le", .cpix = kAnyDepthYCbCr, .oddSize = OddSize::padToWholeChroma,
   .quality = kHevcQuality, .temporal = true, .keyFrameSeconds = kLongGop,
   .dataRate = DataRateControl::bufferedPeaks, .configAtom = 'hvcC'},
  {.type = 'hev1', .name = "HEVC (in-band parameters)",
   .information = "HEVC / H.265 (parameter sets in the stream), FFmpeg libavcodec decoder", .decoder = "hevc",
   .cpix = kAnyDepthYCbCr, .temporal = true, .keyFrameSeconds = kLongGop, .configAtom = 'hvcC'},
  {.type = 'mp4v', .name = "MPEG-4 Video", .information = "MPEG-4 Part 2 video through FFmpeg libavcodec",
   .decoder = "mpeg4", .encoder = "mpeg4", .options = kMpeg4Options, .encodeLayout = "yuv420p", .cpix = kVideoYCbCr,
   .quality = kMpeg4Quality, .temporal = true, .bFrames = 2, .keyFrameSeconds = kLongGop,
   .dataRate = DataRateControl::frameTimeBase, .configAtom = 'esds'},
  {.type = 'jpeg', .name = "Photo - JPEG", .information = "JPEG (4:2:0, full range) through FFmpeg libavcodec",
   .decoder = "mjpeg", .encoder = "mjpeg", .options = kJpegOptions, .encodeLayout = "yuvj420p", .cpix = kJpegYCbCr,
   .matrix = MatrixRule::alwaysBt601, .fullRange = true, .quality = kJpegQuality},
  {.type = 'mjpa', .name = "Motion JPEG A", .information = "Motion JPEG format A, FFmpeg libavcodec decoder",
   .decoder = "mjpeg", .cpix = kJpegYCbCr, .matrix = MatrixRule::alwaysBt601, .fullRange = true},
  {.type = 'png ', .name = "PNG", .information = "PNG, 8 or 16 bits a channel, through FFmpeg libavcodec",
   .decoder = "png", .encoder = "png", .encodeLayout = "rgb24", .encodeAlphaLayout = "rgba", .deepLayout = "rgb48be",
   .deepAlphaLayout = "rgba64be", .cpix = kDeepRgb},
  {.type = 'rle ', .name = "Animation",
   .information = "QuickTime Animation (run-length RGB) through FFmpeg libavcodec", .decoder = "qtrle",
   .encoder = "qtrle", .encodeLayout = "rgb24", .encodeAlphaLayout = "argb", .cpix = kRgb},
  {.type = 'raw ', .name = "None",
   .information = "Uncompressed RGB (24-bit) or ARGB (32-bit) through FFmpeg libavcodec", .decoder = "rawvideo",
   .encoder = "rawvideo", .encodeLayout = "rgb24", .encodeAlphaLayout = "argb", .rawLayout = "rgb24",
   .rawAlphaLayout = "argb", .cpix = kRgb},
  {.type = '2vuy', .name = "Component Video - CCIR-601 uyvy",
   .information = "Uncompressed 8-bit 4:2:2 Y'CbCr through FFmpeg libavcodec", .decoder = "rawvideo",
   .encoder = "rawvideo", .encodeLayout = "uyvy422", .rawLayout = "uyvy422", .cpix = kVideoYCbCr},
  {.type = 'v210', .name = "Component Y'CbCr 10-bit 4:2:2",
   .information = "Uncompressed 10-bit 4:2:2 Y'CbCr through FFmpeg libavcodec", .decoder = "v210", .encoder = "v210",
   .encodeLayout = "yuv422p10le", .cpix = kDeepYCbCr, .oddSize = OddSize::padToWholeChroma},
  {.type = 'AVdn', .name = "DNxHR / DNxHD",
   .information = "VC-3 (DNxHD, DNxHR) through FFmpeg libavcodec; quality picks the DNxHR profile",
   .decoder = "dnxhd", .encoder = "dnxhd", .encodeLayout = "yuv422p", .cpix = kAnyDepthYCbCr,
   .matrix = MatrixRule::alwaysBt709, .quality = kDnxhrQuality},
  // Other writers label DNxHR (the resolution-independent profiles) as 'AVdh'.
  {.type = 'AVdh', .name = "DNxHR", .information = "VC-3 DNxHR (LB, SQ, HQ, HQX, 444), FFmpeg libavcodec decoder",
   .decoder = "dnxhd", .cpix = kAnyDepthYCbCr, .matrix = MatrixRule::alwaysBt709},
  {.type = 'dvc ', .name = "DV - NTSC", .information = "DV25 NTSC (720x480, 4:1:1) through FFmpeg libavcodec",
   .decoder = "dvvideo", .encoder = "dvvideo", .encodeLayout = "yuv411p", .cpix = kVideoYCbCr},
  {.type = 'dvcp', .name = "DV - PAL", .information = "DV25 PAL (720x576, 4:2:0) through FFmpeg libavcodec",
   .decoder = "dvvideo", .encoder = "dvvideo", .encodeLayout = "yuv420p", .cpix = kVideoYCbCr},
};
// clang-format on

}  // namespace

std::span<const CodecEntry> codecTable() { return kCodecs; }

const CodecEntry* findCodec(FourCC type) {
  for (const CodecEntry& entry : kCodecs) {
    if (entry.type == type) return &entry;
  }
  return nullptr;
}

std::span<const FourCC> exchangeFormats(const CodecEntry& entry) {
  const auto end = std::find(entry.cpix.begin(), entry.cpix.end(), FourCC{0});
  return {entry.cpix.begin(), end};
}

bool canRead(const CodecEntry& entry) {
  return !entry.decoder.empty() && avcodec_find_decoder_by_name(std::string(entry.decoder).c_str()) != nullptr;
}

bool canWrite(const CodecEntry& entry) {
  return !entry.encoder.empty() && avcodec_find_encoder_by_name(std::string(entry.encoder).c_str()) != nullptr;
}

int qualityLevelIndex(std::uint32_t quality) {
  constexpr std::uint32_t kLevels[] = {0x000, 0x100, 0x200, 0x300, 0x3FF, 0x400};
  int index = 0;
  for (int i = 0; i < 6; ++i) {
    if (quality >= kLevels[i]) index = i;
  }
  return index;
}

}  // namespace vqt::codecs
