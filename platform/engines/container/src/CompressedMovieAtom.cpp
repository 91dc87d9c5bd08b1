#include "vqt/container/CompressedMovieAtom.h"

#include <zlib.h>

namespace vqt::container {

namespace {
constexpr std::uint64_t kZlibBestRatio = 1032;  // deflate cannot expand data more than this
}  // namespace

Error CompressedMovieAtom::parse(ByteReader& in, ParseContext& context) {
  std::vector<std::unique_ptr<Atom>> parts;
  if (Error error = parseAtoms(in, context, parts); error != Error::none) return error;
  const RawAtom* compressor = nullptr;
  const RawAtom* data = nullptr;
  for (const auto& part : parts) {
    if (part->type() == 'dcom') compressor = dynamic_cast<const RawAtom*>(part.get());
    if (part->type() == 'cmvd') data = dynamic_cast<const RawAtom*>(part.get());
  }
  if (!compressor || !data) return Error::truncated;
  ByteReader method(compressor->payload);
  if (method.u32() != 'zlib') return Error::unsupportedCompression;
  ByteReader stream(data->payload);
  const std::uint64_t declared = stream.u32();
  if (stream.failed()) return Error::truncated;
  auto compressed = stream.rest();
  if (declared > kMaxInflatedSize || declared > compressed.size() * kZlibBestRatio + 64) return Error::tableTooLarge;
  std::vector<std::uint8_t> inflated(static_cast<std::size_t>(declared));
  uLongf produced = static_cast<uLongf>(declared);
  const int status = ::uncompress(inflated.data(), &produced, compressed.data(), static_cast<uLong>(compressed.size()));
  if (status != Z_OK) return Error::decompressionFailed;
  inflated.resize(produced);
  return parseSingleAtom(inflated, context, movie);
}

void CompressedMovieAtom::writePayload(ByteWriter& out) const {
  ByteWriter plain;
  if (movie) movie->write(plain);
  uLongf bound = ::compressBound(static_cast<uLong>(plain.size()));
  std::vector<std::uint8_t> packed(bound);
  ::compress2(packed.data(), &bound, plain.data().data(), static_cast<uLong>(plain.size()), Z_BEST_COMPRESSION);
  packed.resize(bound);
  std::size_t start = out.beginAtom('dcom');
  out.u32('zlib');
  out.endAtom(start);
  start = out.beginAtom('cmvd');
  out.u32(static_cast<std::uint32_t>(plain.size()));
  out.bytes(packed);
  out.endAtom(start);
}

void CompressedMovieAtom::dumpFields(Dumper& out) const {
  out.indent();
  if (movie) movie->dump(out);
  out.outdent();
}

}  // namespace vqt::container
