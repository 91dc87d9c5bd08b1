// Sample descriptions ('stsd' and its entries): the image description of video,
// the sound description (versions 0, 1 and 2), the timecode description, and a
// generic entry for every other media type. Extension atoms that follow an
// entry's fixed fields (pasp, colr, avcC, esds, wave, chan, name, ...) are kept
// whole, header included, in the order stored.
#pragma once

#include "vqt/container/Atom.h"
#include "vqt/formats/ImageFields.h"
#include "vqt/formats/SoundFields.h"

#include <optional>

namespace vqt::container {

struct ExtensionAtom {
  FourCC type = 0;
  std::vector<std::uint8_t> payload;
};

// Parses `in` as a sequence of atoms kept raw. Where the bytes stop being
// well-formed atoms (padding, a terminator), the rest goes to `trailing`.
void parseExtensions(ByteReader& in, std::vector<ExtensionAtom>& out, std::vector<std::uint8_t>& trailing);
void writeExtensions(ByteWriter& out, const std::vector<ExtensionAtom>& extensions);

class SampleEntry : public Atom {
 public:
  using Atom::Atom;
  std::uint16_t dataReferenceIndex = 1;
  std::vector<ExtensionAtom> extensions;
  std::vector<std::uint8_t> trailingBytes;  // padding or bytes that are not atoms, kept for writing back

  const ExtensionAtom* findExtension(FourCC type, std::size_t index = 0) const;
  Error parse(ByteReader& in, ParseContext& context) final;
  void writePayload(ByteWriter& out) const final;
  void dumpFields(Dumper& out) const final;

 protected:
  virtual Error parseFields(ByteReader& in) = 0;
  virtual void writeFields(ByteWriter& out) const = 0;
  virtual void dumpEntryFields(Dumper& out) const = 0;
};

// The fixed fields are the shared layout's.
class VisualSampleEntry final : public SampleEntry, public formats::ImageFields {
 public:
  using SampleEntry::SampleEntry;
  std::vector<std::uint8_t> colorTable;  // only when colorTableId is 0 and the depth is indexed

 protected:
  Error parseFields(ByteReader& in) override;
  void writeFields(ByteWriter& out) const override;
  void dumpEntryFields(Dumper& out) const override;
};

// The fixed fields (all three versions) are the shared layout's.
class SoundSampleEntry final : public SampleEntry, public formats::SoundFields {
 public:
  using SampleEntry::SampleEntry;

  double effectiveSampleRate() const;
  std::uint32_t effectiveChannels() const;

 protected:
  Error parseFields(ByteReader& in) override;
  void writeFields(ByteWriter& out) const override;
  void dumpEntryFields(Dumper& out) const override;
};

class TimecodeSampleEntry final : public SampleEntry {
 public:
  TimecodeSampleEntry() : SampleEntry('tmcd') {}
  std::uint32_t reserved = 0;
  std::uint32_t flags = 0;  // drop frame 1, 24-hour max 2, negative times 4, counter 8
  std::uint32_t timeScale = 0, frameDuration = 0;
  std::uint8_t numberOfFrames = 0, reservedByte = 0;
  // The source reference (user data items such as 'name') is in `extensions`.

 protected:
  Error parseFields(ByteReader& in) override;
  void writeFields(ByteWriter& out) const override;
  void dumpEntryFields(Dumper& out) const override;
};

class GenericSampleEntry final : public SampleEntry {
 public:
  using SampleEntry::SampleEntry;
  std::vector<std::uint8_t> fields;  // everything after the data reference index

 protected:
  Error parseFields(ByteReader& in) override;
  void writeFields(ByteWriter& out) const override;
  void dumpEntryFields(Dumper& out) const override;
};

class SampleDescriptionAtom final : public FullAtom {
 public:
  SampleDescriptionAtom() : FullAtom('stsd') {}
  std::vector<std::unique_ptr<SampleEntry>> entries;

  // The entry class follows the media's handler type; an unknown handler
  // falls back on the entry's own code.
  static std::unique_ptr<SampleEntry> createEntry(FourCC format, FourCC handlerType);
  Error parse(ByteReader& in, ParseContext& context) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

}  // namespace vqt::container
