// One encoder for one stream: takes images in the exchanged pixel formats with
// display times, and returns compressed frames in decode order with their
// decode and display timing, plus the codec setup for the image description.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "vqt/codecs/Image.h"
#include "vqt/codecs/Status.h"

namespace vqt::codecs {

struct EncoderConfig {
  FourCC codecType = 0;
  int width = 0;
  int height = 0;
  int depth = 24;                 // 32 keeps alpha where the codec can
  FourCC sourceFormat = 0;        // format of the images to come, when known (picks 16-bit PNG)
  std::uint32_t quality = 0x200;  // QuickTime quality, 0x000 to 0x400
  int keyFrameInterval = 0;       // 0: codec default; 1: every frame a key frame
  bool allowTemporal = true;      // false: every frame a key frame
  bool allowReordering = true;    // false: no B-frames
  std::int32_t timeScale = 600;   // units of the display times
  double frameRate = 0;           // expected rate, for rate control (0: unknown)
  std::int64_t bitRate = 0;       // average bits per second for long-GOP codecs (0: the quality decides)
  ColourMatrix matrix = ColourMatrix::unspecified;
  int threads = 0;  // 0: one per processor
};

// What the coded pictures' Y'CbCr means, in the code points that 'colr'
// ('nclc', 'nclx') and the bitstreams' own colour tags share.
struct ColourTags {
  int primaries = 2;  // 1 BT.709, 5 BT.470 B/G, 6 SMPTE 170M, 9 BT.2020; 2 unknown
  int transfer = 2;   // 1 BT.709
  int matrix = 2;     // 1 BT.709, 6 BT.601, 9 BT.2020
  bool fullRange = false;
};

struct EncodedFrame {
  std::vector<std::uint8_t> data;
  std::int64_t displayTime = 0;
  std::int64_t decodeTime = 0;  // may be below the first display time with reordering
  std::int64_t decodeDuration = 0;
  std::int64_t displayDuration = 0;
  bool sync = false;
  bool droppable = false;  // no other frame depends on it
};

class Encoder {
 public:
  static Status create(const EncoderConfig& config, std::unique_ptr<Encoder>& encoder);
  ~Encoder();
  Encoder(const Encoder&) = delete;
  Encoder& operator=(const Encoder&) = delete;

  Status encode(const ConstImageView& image, std::int64_t displayTime, std::int64_t duration,
                std::vector<EncodedFrame>& out);

  // encode() in two steps, for a caller that lays a picture out on one thread
  // and sends it on another: layOut puts the image into the encoder's next
  // frame, send hands that frame to the codec. One picture is laid out at a
  // time; the two never run at once.
  Status layOut(const ConstImageView& image);
  // Rows produced on request go into the frame in bands (takesRowsInBands),
  // never as a whole image; the same samples as from the image in memory.
  Status layOut(const RowSourceImage& image);
  Status send(std::int64_t displayTime, std::int64_t duration, std::vector<EncodedFrame>& out);
  // True when layOut takes images of `pixelFormat` with rows produced on request.
  bool takesRowsInBands(FourCC pixelFormat) const;
  // Hands out every frame still held (B-frame reordering, lookahead).
  Status finish(std::vector<EncodedFrame>& out);

  // Extension for the image description ('avcC', 'esds', ...; 0 when none) and its payload.
  FourCC configAtomType() const;
  const std::vector<std::uint8_t>& configAtom() const;
  const EncoderConfig& config() const;
  // The colour the pictures were made in and the stream declares; absent for
  // codecs that hold R'G'B'.
  std::optional<ColourTags> colourTags() const;

 private:
  struct Impl;
  explicit Encoder(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

}  // namespace vqt::codecs
