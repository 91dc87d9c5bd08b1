// File-level and header atoms: 'ftyp', and the movie, track and media headers
// with their handler and media-information headers.
#pragma once

#include "vqt/container/Atom.h"

#include <array>

namespace vqt::container {

class FileTypeAtom final : public Atom {
 public:
  FileTypeAtom() : Atom('ftyp') {}
  FourCC majorBrand = 0;
  std::uint32_t minorVersion = 0;
  std::vector<FourCC> compatibleBrands;

  Error parse(ByteReader& in, ParseContext&) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

using Matrix = std::array<std::int32_t, 9>;
inline constexpr Matrix kIdentityMatrix{0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x40000000};

class MovieHeaderAtom final : public FullAtom {
 public:
  MovieHeaderAtom() : FullAtom('mvhd') {}
  std::uint64_t creationTime = 0, modificationTime = 0;
  std::uint32_t timeScale = 600;
  std::uint64_t duration = 0;
  std::int32_t preferredRate = 0x10000;
  std::int16_t preferredVolume = 0x100;
  Matrix matrix = kIdentityMatrix;
  std::uint32_t previewTime = 0, previewDuration = 0, posterTime = 0;
  std::uint32_t selectionTime = 0, selectionDuration = 0, currentTime = 0;
  std::uint32_t nextTrackId = 1;

  Error parse(ByteReader& in, ParseContext&) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

class TrackHeaderAtom final : public FullAtom {
 public:
  TrackHeaderAtom() : FullAtom('tkhd') { flags = 0xF; }
  static constexpr std::uint32_t kEnabled = 1;
  std::uint64_t creationTime = 0, modificationTime = 0;
  std::uint32_t trackId = 0;
  std::uint64_t duration = 0;
  std::int16_t layer = 0, alternateGroup = 0, volume = 0;
  Matrix matrix = kIdentityMatrix;
  std::uint32_t width = 0, height = 0;  // 16.16 fixed

  Error parse(ByteReader& in, ParseContext&) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

class MediaHeaderAtom final : public FullAtom {
 public:
  MediaHeaderAtom() : FullAtom('mdhd') {}
  std::uint64_t creationTime = 0, modificationTime = 0;
  std::uint32_t timeScale = 600;
  std::uint64_t duration = 0;
  std::uint16_t language = 0, quality = 0;

  Error parse(ByteReader& in, ParseContext&) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

class HandlerAtom final : public FullAtom {
 public:
  HandlerAtom() : FullAtom('hdlr') {}
  FourCC componentType = 0;     // 'mhlr' in movie files, 0 in MP4
  FourCC componentSubtype = 0;  // the media type: 'vide', 'soun', 'tmcd', 'mdta', ...
  FourCC manufacturer = 0;
  std::uint32_t componentFlags = 0, componentFlagsMask = 0;
  std::vector<std::uint8_t> name;  // Pascal or C string, kept as stored

  Error parse(ByteReader& in, ParseContext& context) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

class VideoMediaHeaderAtom final : public FullAtom {
 public:
  VideoMediaHeaderAtom() : FullAtom('vmhd') { flags = 1; }
  std::uint16_t graphicsMode = 0x40;
  std::array<std::uint16_t, 3> opColor{0x8000, 0x8000, 0x8000};

  Error parse(ByteReader& in, ParseContext&) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

class SoundMediaHeaderAtom final : public FullAtom {
 public:
  SoundMediaHeaderAtom() : FullAtom('smhd') {}
  std::int16_t balance = 0;

  Error parse(ByteReader& in, ParseContext&) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

// 'gmin' in the base media header of 'gmhd' (timecode and other non-video,
// non-sound media).
class BaseMediaInfoAtom final : public FullAtom {
 public:
  BaseMediaInfoAtom() : FullAtom('gmin') {}
  std::uint16_t graphicsMode = 0x40;
  std::array<std::uint16_t, 3> opColor{0x8000, 0x8000, 0x8000};
  std::int16_t balance = 0;

  Error parse(ByteReader& in, ParseContext&) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

// 'tcmi' inside the 'tmcd' atom of 'gmhd': how a timecode track's text is shown.
class TimecodeMediaInfoAtom final : public FullAtom {
 public:
  TimecodeMediaInfoAtom() : FullAtom('tcmi') {}
  std::uint16_t textFont = 0, textFace = 0, textSize = 12;
  std::array<std::uint16_t, 3> textColor{0, 0, 0};
  std::array<std::uint16_t, 3> backgroundColor{0xFFFF, 0xFFFF, 0xFFFF};
  std::vector<std::uint8_t> fontName;  // Pascal string as stored

  Error parse(ByteReader& in, ParseContext&) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

}  // namespace vqt::container
