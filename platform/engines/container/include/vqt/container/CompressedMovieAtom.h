// The compressed movie atom: a movie header stored deflated, as some writers
// save space in the header of long movies.
#pragma once

#include "vqt/container/Atom.h"

namespace vqt::container {

// 'cmov': a movie atom compressed with zlib ('dcom' names the compressor,
// 'cmvd' holds the uncompressed size and the stream). Parsing inflates and
// parses the inner 'moov'; writing deflates it again.
class CompressedMovieAtom final : public Atom {
 public:
  CompressedMovieAtom() : Atom('cmov') {}
  // Upper bound on the inflated header; with zlib's best ratio (about 1032:1)
  // it also keeps the output proportional to the compressed input.
  static constexpr std::uint64_t kMaxInflatedSize = 256u << 20;
  std::unique_ptr<Atom> movie;

  Error parse(ByteReader& in, ParseContext& context) override;
  void writePayload(ByteWriter& out) const override;
  void dumpFields(Dumper& out) const override;
};

}  // namespace vqt::container
