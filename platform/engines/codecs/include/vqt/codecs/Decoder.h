// One decoder for one stream: keeps its codec context between samples, hands
// out pictures in display order tagged with the sample that carried them, and
// converts them into the pixel formats the sessions exchange.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "vqt/codecs/Image.h"
#include "vqt/codecs/Status.h"

namespace vqt::codecs {

struct DecoderConfig {
  FourCC codecType = 0;
  int width = 0;
  int height = 0;
  int depth = 24;                                   // image description depth (raw and RLE need it)
  FourCC configAtomType = 0;                        // 'avcC', 'hvcC', 'esds' or 0
  std::vector<std::uint8_t> configAtom;             // that extension's payload, without its header
  ColourMatrix matrix = ColourMatrix::unspecified;  // from the file's 'colr', when it says
  ColourRange range = ColourRange::unspecified;     // from an 'nclx' 'colr', when there is one
  int threads = 0;                                  // 0: one per processor
};

// A decoded picture. Copies share the same pixels.
class Picture {
 public:
  struct Data;
  Picture() = default;
  explicit Picture(std::shared_ptr<const Data> data) : data_(std::move(data)) {}

  bool valid() const { return data_ != nullptr; }
  std::int64_t sampleId() const;
  std::uint64_t outputOrder() const;  // position in the decoder's display order
  int width() const;
  int height() const;
  bool hasAlpha() const;
  std::size_t byteSize() const;  // memory its pixels hold
  const Data* data() const { return data_.get(); }

 private:
  std::shared_ptr<const Data> data_;
};

// A picture's conversion into one exchange format that runs a few rows at a
// time, on any thread, in any order: the same bytes as Decoder::convert, for
// the layouts whose rows depend on the picture alone. Holds the picture. A
// reader that converts each few rows on into its own layout at once keeps
// them in the processor's cache instead of writing a whole frame out and
// reading it back.
class RowConversion {
 public:
  struct Plan;
  explicit RowConversion(std::shared_ptr<const Plan> plan) : plan_(std::move(plan)) {}
  // Rows [firstRow, firstRow + rows.height) into `rows`, whose pixel format and
  // width are the conversion's.
  Status convert(int firstRow, const ImageView& rows) const;
  FourCC pixelFormat() const;
  int width() const;
  int height() const;

 private:
  std::shared_ptr<const Plan> plan_;
};

class Decoder {
 public:
  static Status create(const DecoderConfig& config, std::unique_ptr<Decoder>& decoder);
  ~Decoder();
  Decoder(const Decoder&) = delete;
  Decoder& operator=(const Decoder&) = delete;

  // Decodes one compressed sample; pictures that become ready are appended to `out`.
  Status send(std::span<const std::uint8_t> sample, std::int64_t sampleId, std::vector<Picture>& out);
  // Brings out every picture the decoder still holds back for reordering or
  // threading. H.264 keeps its reference pictures (decoding can go on); other
  // codecs drain, after which canContinue() is false until restart().
  Status releaseHeldPictures(std::vector<Picture>& out);
  bool canContinue() const;
  // Forgets every reference picture; the next sample should be a sync sample.
  void restart();

  // Writes `picture` into `destination` in destination.pixelFormat.
  Status convert(const Picture& picture, const ImageView& destination);
  // The same conversion into `pixelFormat` as rows on demand; null when this
  // picture and format need the whole picture at once (convert does those).
  std::unique_ptr<RowConversion> rowConversion(const Picture& picture, FourCC pixelFormat) const;

  std::uint64_t samplesDecoded() const;  // compressed samples handed to the codec
  FourCC codecType() const;
  bool producesAlpha() const;
  bool isIntraOnly() const;  // every sample a picture of its own, nothing held back for reordering

 private:
  struct Impl;
  explicit Decoder(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

}  // namespace vqt::codecs
