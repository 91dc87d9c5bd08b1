// Edit lists and track references: how a track's time maps onto its media,
// and which tracks a track points at (a video track's 'tmcd' reference).
#pragma once

#include "vqt/container/Atom.h"

namespace vqt::container {

struct EditListEntry {
  std::uint64_t segmentDuration = 0;  // movie time scale
  std::int64_t mediaTime = 0;         // media time scale; -1 for an empty edit
  std::int32_t mediaRate = 0x10000;   // 16.16 fixed
};

class EditListAtom final : public FullAtom {
 public:
  EditListAtom() : FullAtom('elst') {}
  std::vector<EditListEntry> entries;

  Error parse(ByteReader& in, ParseContext&) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

// One reference type inside 'tref' ('tmcd', 'chap', ...): a list of track IDs.
class TrackReferenceTypeAtom final : public Atom {
 public:
  explicit TrackReferenceTypeAtom(FourCC type) : Atom(type) {}
  std::vector<std::uint32_t> trackIds;

  Error parse(ByteReader& in, ParseContext&) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

// 'tref': its children are reference types, whatever their codes.
class TrackReferenceAtom final : public Atom {
 public:
  TrackReferenceAtom() : Atom('tref') {}
  std::vector<std::unique_ptr<Atom>> references;

  Error parse(ByteReader& in, ParseContext& context) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
  const std::vector<std::unique_ptr<Atom>>* children() const override { return &references; }
};

// 'dref': data references. An entry whose flags have bit 0 set means "the
// data is in this file"; anything else points at another file.
class DataReferenceAtom final : public FullAtom {
 public:
  DataReferenceAtom() : FullAtom('dref') {}
  static constexpr std::uint32_t kSelfContained = 1;
  struct Entry {
    FourCC type = 'alis';
    std::uint8_t version = 0;
    std::uint32_t flags = kSelfContained;
    std::vector<std::uint8_t> data;
  };
  std::vector<Entry> entries;

  // True for an existing entry (1-based, as sample descriptions count) that
  // points at another file. An index without an entry is taken as this file.
  bool isExternal(std::uint32_t index) const;
  Error parse(ByteReader& in, ParseContext&) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

}  // namespace vqt::container
