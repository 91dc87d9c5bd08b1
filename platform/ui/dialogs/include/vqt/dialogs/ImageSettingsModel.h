// What the image compression dialog edits: the codecs on offer with their capabilities, the
// chosen values, the sample picture and the preview callback. Plain C++, no toolkit types, so
// a caller fills it from its own settings and reads it back after the dialog.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace vqt::dialogs {

// A four-character code, first character in the most significant byte ('apcn').
using FourCC = std::uint32_t;

// The four characters of a code; bytes outside printable ASCII appear as '?'.
std::string fourCCText(FourCC code);

// A codec-specific setting offered as a list of choices (H.264 profile, entropy coder, bit
// depth). A single allowed value is shown but cannot be changed (ProRes profile: the codec
// type fixes it).
struct CodecOption {
  std::string id;
  std::string label;
  std::vector<std::string> values;
};

struct CodecInfo {
  FourCC type = 0;
  std::string name;
  bool temporal = false;   // compresses across frames, so key frames mean something
  bool hasQuality = true;  // the spatial quality changes its output
  std::vector<CodecOption> options;
  bool hasLossless = true;  // the quality slider goes past Maximum to Lossless
};

// 8-bit RGBA pixels, R first, rows top to bottom with no padding: width * height * 4 bytes.
struct RgbaImage {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> pixels;

  bool valid() const {
    return width > 0 && height > 0 && pixels.size() == std::size_t(width) * std::size_t(height) * 4;
  }
};

// Spatial quality levels of the compression interfaces (the slider may stop anywhere between).
inline constexpr std::uint32_t kMinQuality = 0x000;
inline constexpr std::uint32_t kLowQuality = 0x100;
inline constexpr std::uint32_t kNormalQuality = 0x200;
inline constexpr std::uint32_t kHighQuality = 0x300;
inline constexpr std::uint32_t kMaxQuality = 0x3FF;
inline constexpr std::uint32_t kLosslessQuality = 0x400;

// Key frame rates with a meaning of their own; any N >= 2 means "a key frame every N frames".
inline constexpr std::int32_t kKeyFramesAutomatic = 0;
inline constexpr std::int32_t kAllKeyFrames = 1;

// The values the dialog edits.
struct ImageSettings {
  FourCC codecType = 0;
  std::uint32_t spatialQuality = kNormalQuality;  // 0 .. kLosslessQuality
  float frameRate = 0.0f;                         // frames per second; 0 keeps the current rate
  std::int32_t keyFrameRate = kKeyFramesAutomatic;
  // Option id -> chosen value. After OK it holds one allowed value for each option of the
  // chosen codec and nothing else (for a codec missing from the list it is left as preset).
  std::map<std::string, std::string> codecOptions;

  bool operator==(const ImageSettings&) const = default;
};

// A preview is the sample picture compressed with the given settings and decompressed again,
// or a short text saying why there is none.
struct PreviewResult {
  RgbaImage image;
  std::string error;
};

// Called on the dialog's thread, a moment after the user stops changing values, so it should
// work on a small picture.
using PreviewProvider = std::function<PreviewResult(const ImageSettings&)>;

struct ImageSettingsModel {
  std::vector<CodecInfo> codecs;  // in the order to offer them
  ImageSettings settings;         // preset on entry, the user's choice after OK
  RgbaImage samplePicture;        // shown beside the preview; may be empty
  PreviewProvider preview;        // may be empty: no preview pane then
};

}  // namespace vqt::dialogs
