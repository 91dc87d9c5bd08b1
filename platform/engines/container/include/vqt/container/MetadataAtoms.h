// Metadata atoms: 'udta' user data lists, and QuickTime metadata in 'meta'
// ('hdlr' of type 'mdta', 'keys', 'ilst' items holding typed 'data' atoms).
#pragma once

#include "vqt/container/Atom.h"

namespace vqt::container {

// 'udta': a list of items kept raw (their layouts vary by type). Some writers
// end the list with a 32-bit zero, which is remembered and written back.
class UserDataAtom final : public Atom {
 public:
  UserDataAtom() : Atom('udta') {}
  std::vector<std::unique_ptr<Atom>> items;  // 'meta' parsed, the rest raw
  bool zeroTerminated = false;

  Error parse(ByteReader& in, ParseContext& context) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
  const std::vector<std::unique_ptr<Atom>>* children() const override { return &items; }
};

// 'meta' comes in two shapes: the movie-file one is a plain container, the
// MP4 one starts with version and flags; both are read and kept as found.
class MetaAtom final : public Atom {
 public:
  MetaAtom() : Atom('meta') {}
  bool hasVersionAndFlags = false;
  std::uint32_t versionAndFlags = 0;
  std::vector<std::unique_ptr<Atom>> items;

  Error parse(ByteReader& in, ParseContext& context) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
  const std::vector<std::unique_ptr<Atom>>* children() const override { return &items; }
};

class KeysAtom final : public FullAtom {
 public:
  KeysAtom() : FullAtom('keys') {}
  struct Key {
    FourCC keyNamespace = 'mdta';
    std::vector<std::uint8_t> value;
  };
  std::vector<Key> keys;  // item atoms in 'ilst' name these 1-based

  Error parse(ByteReader& in, ParseContext&) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

class DataAtom final : public Atom {
 public:
  DataAtom() : Atom('data') {}
  std::uint32_t typeIndicator = 1;  // high byte: type set (0 = well-known); low 24 bits: type
  std::uint32_t locale = 0;
  std::vector<std::uint8_t> value;

  std::uint32_t dataType() const { return typeIndicator & 0x00FFFFFF; }
  Error parse(ByteReader& in, ParseContext&) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

// An item of 'ilst': its type is the 1-based index of its key in 'keys'.
class MetadataItemAtom final : public Atom {
 public:
  explicit MetadataItemAtom(FourCC keyIndex) : Atom(keyIndex) {}
  std::vector<std::unique_ptr<Atom>> items;  // 'data' parsed; 'itif', 'name' raw

  Error parse(ByteReader& in, ParseContext& context) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
  const std::vector<std::unique_ptr<Atom>>* children() const override { return &items; }
};

class ItemListAtom final : public Atom {
 public:
  ItemListAtom() : Atom('ilst') {}
  std::vector<std::unique_ptr<MetadataItemAtom>> entries;

  Error parse(ByteReader& in, ParseContext& context) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

}  // namespace vqt::container
