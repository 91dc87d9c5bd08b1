// The atom object model: every atom type is a small class that parses itself
// from its payload, writes the same bytes back and dumps its fields. Atoms the
// engine does not know are kept byte for byte as RawAtom.
#pragma once

#include "vqt/container/ByteIO.h"
#include "vqt/container/Dumper.h"
#include "vqt/container/Error.h"
#include "vqt/formats/AtomHeader.h"

#include <memory>
#include <vector>

namespace vqt::container {

struct ParseContext {
  static constexpr int kMaxDepth = 24;
  int depth = 0;
  FourCC handlerType = 0;  // of the enclosing 'mdia', to choose the sample entry layout
  // The types of the atoms being parsed, outermost first: path[depth] is the
  // atom whose parse is running, path[depth - 1] the one holding it.
  FourCC path[kMaxDepth + 1] = {};
  FourCC parentType() const { return depth >= 1 ? path[depth - 1] : 0; }
};

class Atom {
 public:
  explicit Atom(FourCC type) : type_(type) {}
  virtual ~Atom() = default;
  Atom(const Atom&) = delete;
  Atom& operator=(const Atom&) = delete;

  FourCC type() const { return type_; }

  // `payload` covers exactly the bytes after the header.
  virtual Error parse(ByteReader& payload, ParseContext& context) = 0;
  virtual void writePayload(ByteWriter& out) const = 0;
  virtual void dumpFields(Dumper& out) const = 0;

  void write(ByteWriter& out) const;
  void dump(Dumper& out) const;

  // Children of container atoms; empty for leaves.
  virtual const std::vector<std::unique_ptr<Atom>>* children() const { return nullptr; }
  const Atom* find(FourCC type) const;
  template <class T>
  const T* findAs(FourCC type) const {
    return dynamic_cast<const T*>(find(type));
  }

 private:
  FourCC type_;
};

// Atoms that start with a version byte and 24 bits of flags.
class FullAtom : public Atom {
 public:
  using Atom::Atom;
  std::uint8_t version = 0;
  std::uint32_t flags = 0;

 protected:
  bool readVersionAndFlags(ByteReader& in);
  void writeVersionAndFlags(ByteWriter& out) const;
  void dumpVersionAndFlags(Dumper& out) const;
};

class RawAtom final : public Atom {
 public:
  using Atom::Atom;
  std::vector<std::uint8_t> payload;

  Error parse(ByteReader& in, ParseContext&) override;
  void writePayload(ByteWriter& out) const override { out.bytes(payload); }
  void dumpFields(Dumper& out) const override { out.bytes("payload", payload); }
};

class ContainerAtom : public Atom {
 public:
  using Atom::Atom;
  std::vector<std::unique_ptr<Atom>> items;

  Error parse(ByteReader& in, ParseContext& context) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
  const std::vector<std::unique_ptr<Atom>>* children() const override { return &items; }
};

using formats::AtomHeader;

// Reads an atom header from `in` and checks its size against what is left:
// size 0 becomes "to the end", size 1 reads the 64-bit size.
Error readAtomHeader(ByteReader& in, AtomHeader& header);

// Creates the atom class registered for `type` (RawAtom when none is).
std::unique_ptr<Atom> createAtom(FourCC type);

// Parses consecutive atoms from `in` until it is used up. Each child is clamped
// to what is left of its parent; a size of 0 extends to the parent's end, a size
// of 1 is followed by a 64-bit size. Fewer than 8 trailing bytes (the zero
// terminator some writers put after user data) are ignored.
Error parseAtoms(ByteReader& in, ParseContext& context, std::vector<std::unique_ptr<Atom>>& out);

// Parses one atom that must fill `bytes` (a decompressed header, a test buffer).
Error parseSingleAtom(std::span<const std::uint8_t> bytes, ParseContext& context, std::unique_ptr<Atom>& out);

}  // namespace vqt::container
