// The one table of codecs the engine offers: four-character code, names, the
// FFmpeg decoder and encoder behind it, the pixel formats it exchanges, and
// every per-codec rule of the encoder, the sessions, the dialog and the tools.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "vqt/codecs/PixelFormats.h"

namespace vqt::codecs {

// Our own manufacturer code for every codec component we register.
inline constexpr FourCC kManufacturerCode = 'vntr';

// Which encoder control the quality levels drive.
enum class QualityControl {
  none,             // lossless or fixed-rate at every level
  proresQuantiser,  // prores_ks: fixed quantiser, 0 = the profile's own rate control
  x264Crf,          // libx264 constant rate factor (0 = lossless)
  x265Crf,          // libx265 constant rate factor (0 = its lossless mode)
  mpegQscale,       // fixed quantiser scale on every frame (mpeg4, mjpeg)
  dnxhrProfile,     // DNxHR profile chosen by level
};

// Encoder settings for QuickTime quality 0x000, 0x100, 0x200, 0x300, 0x3FF, 0x400.
// `levels` is how many of those, from the lowest, give distinct output: a codec
// with no lossless mode has 5, and its Lossless gives what Maximum gives.
// Where a level picks a profile, `profiles` names it and `layouts` gives the
// pixel format that profile is fed (empty: the entry's own).
struct QualityMapping {
  QualityControl control = QualityControl::none;
  std::array<int, 6> values{};
  int levels = 6;
  std::array<std::string_view, 6> profiles{};
  std::array<std::string_view, 6> layouts{};
};

// The matrix the encoder makes Y'CbCr with, and declares.
enum class MatrixRule {
  bySize,       // the caller's, else BT.709 above 576 lines and BT.601 at or below
  alwaysBt709,  // the stream always declares BT.709 (VC-3)
  alwaysBt601,  // the stream cannot say otherwise (JPEG / JFIF)
};

// What the encoder does with a size its layout cannot hold whole.
enum class OddSize {
  native,            // the encoder takes any size
  padToWholeChroma,  // coded in the next size of whole chroma samples, last column and row repeated
};

// Whose own parameters the encoder takes beyond libavcodec's options.
enum class EncoderLibrary {
  libavcodec,
  x264,  // "x264-params"; leaves out its AVX-512 routines
  x265,  // "x265-params"; logs on its own, runs its own thread pool
};

// How an average data rate, where the host asks for one, is kept.
enum class DataRateControl {
  none,           // intra codecs: each quality has its own fixed rate
  bufferedPeaks,  // x264 / x265: peaks of half as much again over a two-second buffer
  frameTimeBase,  // mpeg4: budgets by time-base ticks, so it gets one tick a frame
};

// A fixed encoder option, set by name before the encoder opens (the codec's
// private options first, then the context's).
struct EncoderOption {
  std::string_view name;
  std::string_view value;
};

struct CodecEntry {
  FourCC type;
  std::string_view name;         // type name shown in codec lists
  std::string_view information;  // one line on what the component is built on

  // FFmpeg's side.
  std::string_view decoder;  // FFmpeg decoder name, empty when none
  std::string_view encoder;  // FFmpeg encoder name, empty when none
  EncoderLibrary library = EncoderLibrary::libavcodec;
  int profile = -1;  // FFmpeg profile for the encoder (-1: default)
  std::span<const EncoderOption> options{};

  // Pixels: what the encoder is fed, what the component exchanges.
  std::string_view encodeLayout;       // FFmpeg pixel format fed to the encoder
  std::string_view encodeAlphaLayout;  // same, for depth 32 when the codec keeps alpha
  std::string_view deepLayout;         // fed to the encoder when the source has 16-bit channels
  std::string_view deepAlphaLayout;    // same, for depth 32
  std::string_view rawLayout;          // for rawvideo: the FFmpeg pixel format of the samples
  std::string_view rawAlphaLayout;     // same, at depth 32
  std::array<FourCC, 4> cpix{};        // exchanged formats, most preferred first, 0-padded
  std::int16_t depth = 24;             // image description depth written by default
  int alphaBits = 0;                   // alpha bits the encoder is told to keep at depth 32 (0: its own)

  // Colour and size.
  MatrixRule matrix = MatrixRule::bySize;
  bool fullRange = false;  // Y'CbCr over the whole code range
  OddSize oddSize = OddSize::native;

  // Coding.
  QualityMapping quality{};
  bool temporal = false;       // long-GOP: frames may depend on other frames
  int bFrames = -1;            // B-frames when reordering is allowed (-1: the encoder's default)
  double keyFrameSeconds = 0;  // key-frame spacing offered by default (0: every frame a key frame)
  DataRateControl dataRate = DataRateControl::none;
  FourCC configAtom = 0;  // image description extension holding the codec setup
};

std::span<const CodecEntry> codecTable();
const CodecEntry* findCodec(FourCC type);

// The 'cpix' list without its padding.
std::span<const FourCC> exchangeFormats(const CodecEntry& entry);

// True when this FFmpeg build has the decoder / encoder the entry names.
bool canRead(const CodecEntry& entry);
bool canWrite(const CodecEntry& entry);

// Index into QualityMapping::values for a QuickTime quality (nearest level at or below).
int qualityLevelIndex(std::uint32_t quality);

}  // namespace vqt::codecs
