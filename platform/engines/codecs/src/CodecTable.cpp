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
// DNxHR profiles: 1 LB, 2 SQ, 3 HQ (8-bit 4:2:2), 4 HQX (10-bit 4:2:2), 5 444 (10-bit 4:4:4);
// one profile a level and none lossless: five levels.
constexpr QualityMapping kDnxhrQuality{Q::dnxhrProfile, {1, 2, 3, 4, 5, 5}, 5};
constexpr QualityMapping kLossless{Q::none, {0, 0, 0, 0, 0, 0}};

// clang-format off
constexpr CodecEntry kCodecs[] = {
  {'apco', "ProRes 422 Proxy", "ProRes 422 Proxy, 10-bit 4:2:2, through FFmpeg libavcodec",
   "prores", "prores_ks", 0, "yuv422p10le", "", kDeepYCbCr, kProResQuality, 24, false, 0, ""},
  {'apcs', "ProRes 422 LT", "ProRes 422 LT, 10-bit 4:2:2, through FFmpeg libavcodec",
   "prores", "prores_ks", 1, "yuv422p10le", "", kDeepYCbCr, kProResQuality, 24, false, 0, ""},
  {'apcn', "ProRes 422", "ProRes 422, 10-bit 4:2:2, through FFmpeg libavcodec",
   "prores", "prores_ks", 2, "yuv422p10le", "", kDeepYCbCr, kProResQuality, 24, false, 0, ""},
  {'apch', "ProRes 422 HQ", "ProRes 422 HQ, 10-bit 4:2:2, through FFmpeg libavcodec",
   "prores", "prores_ks", 3, "yuv422p10le", "", kDeepYCbCr, kProResQuality, 24, false, 0, ""},
  {'ap4h', "ProRes 4444", "ProRes 4444, 12-bit 4:4:4 with alpha, through FFmpeg libavcodec",
   "prores", "prores_ks", 4, "yuv444p10le", "yuva444p10le", kDeepYCbCr, kProResQuality, 24, false, 0, ""},
  {'ap4x', "ProRes 4444 XQ", "ProRes 4444 XQ, 12-bit 4:4:4 with alpha, through FFmpeg libavcodec",
   "prores", "prores_ks", 5, "yuv444p10le", "yuva444p10le", kDeepYCbCr, kProResQuality, 24, false, 0, ""},
  {'avc1', "H.264", "H.264 / AVC: FFmpeg libavcodec decoder, x264 encoder",
   "h264", "libx264", -1, "yuv420p", "", kAnyDepthYCbCr, kH264Quality, 24, true, 'avcC', ""},
  {'hvc1', "HEVC", "HEVC / H.265 (parameter sets in the description): FFmpeg libavcodec decoder, x265 encoder",
   "hevc", "libx265", -1, "yuv420p", "", kAnyDepthYCbCr, kHevcQuality, 24, true, 'hvcC', "", "yuv420p10le"},
  {'hev1', "HEVC (in-band parameters)", "HEVC / H.265 (parameter sets in the stream), FFmpeg libavcodec decoder",
   "hevc", "", -1, "", "", kAnyDepthYCbCr, kLossless, 24, true, 'hvcC', ""},
  {'mp4v', "MPEG-4 Video", "MPEG-4 Part 2 video through FFmpeg libavcodec",
   "mpeg4", "mpeg4", -1, "yuv420p", "", kVideoYCbCr, kMpeg4Quality, 24, true, 'esds', ""},
  {'jpeg', "Photo - JPEG", "JPEG (4:2:0, full range) through FFmpeg libavcodec",
   "mjpeg", "mjpeg", -1, "yuvj420p", "", kJpegYCbCr, kJpegQuality, 24, false, 0, ""},
  {'mjpa', "Motion JPEG A", "Motion JPEG format A, FFmpeg libavcodec decoder",
   "mjpeg", "", -1, "", "", kJpegYCbCr, kLossless, 24, false, 0, ""},
  {'png ', "PNG", "PNG, 8 or 16 bits a channel, through FFmpeg libavcodec",
   "png", "png", -1, "rgb24", "rgba", kDeepRgb, kLossless, 24, false, 0, "", "rgb48be", "rgba64be"},
  {'rle ', "Animation", "QuickTime Animation (run-length RGB) through FFmpeg libavcodec",
   "qtrle", "qtrle", -1, "rgb24", "argb", kRgb, kLossless, 24, false, 0, ""},
  {'raw ', "None", "Uncompressed RGB (24-bit) or ARGB (32-bit) through FFmpeg libavcodec",
   "rawvideo", "rawvideo", -1, "rgb24", "argb", kRgb, kLossless, 24, false, 0, "rgb24"},
  {'2vuy', "Component Video - CCIR-601 uyvy", "Uncompressed 8-bit 4:2:2 Y'CbCr through FFmpeg libavcodec",
   "rawvideo", "rawvideo", -1, "uyvy422", "", kVideoYCbCr, kLossless, 24, false, 0, "uyvy422"},
  {'v210', "Component Y'CbCr 10-bit 4:2:2", "Uncompressed 10-bit 4:2:2 Y'CbCr through FFmpeg libavcodec",
   "v210", "v210", -1, "yuv422p10le", "", kDeepYCbCr, kLossless, 24, false, 0, ""},
  {'AVdn', "DNxHR / DNxHD", "VC-3 (DNxHD, DNxHR) through FFmpeg libavcodec; quality picks the DNxHR profile",
   "dnxhd", "dnxhd", -1, "yuv422p", "", kAnyDepthYCbCr, kDnxhrQuality, 24, false, 0, ""},
  // Other writers label DNxHR (the resolution-independent profiles) as 'AVdh'.
  {'AVdh', "DNxHR", "VC-3 DNxHR (LB, SQ, HQ, HQX, 444), FFmpeg libavcodec decoder",
   "dnxhd", "", -1, "", "", kAnyDepthYCbCr, kLossless, 24, false, 0, ""},
  {'dvc ', "DV - NTSC", "DV25 NTSC (720x480, 4:1:1) through FFmpeg libavcodec",
   "dvvideo", "dvvideo", -1, "yuv411p", "", kVideoYCbCr, kLossless, 24, false, 0, ""},
  {'dvcp', "DV - PAL", "DV25 PAL (720x576, 4:2:0) through FFmpeg libavcodec",
   "dvvideo", "dvvideo", -1, "yuv420p", "", kVideoYCbCr, kLossless, 24, false, 0, ""},
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
