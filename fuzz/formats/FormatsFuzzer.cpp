// Fuzzes the shared byte layouts: the first input byte picks a parser, the rest
// is its payload. Nothing may be read past the input, and whatever a parser
// accepts must write bytes that read back to the same bytes (compared as bytes,
// so a NaN sample rate compares equal to itself).
#include <cstdint>
#include <cstdlib>

#include "vqt/formats/AtomHeader.h"
#include "vqt/formats/Esds.h"
#include "vqt/formats/ImageExtensions.h"
#include "vqt/formats/ImageFields.h"
#include "vqt/formats/ParameterSets.h"
#include "vqt/formats/SoundFields.h"

namespace {

using namespace vqt::formats;
using Bytes = std::vector<std::uint8_t>;

void require(bool condition) {
  if (!condition) std::abort();
}

// write(parse(write(v))) == write(v) for a value `parse` accepted.
template <typename Parse, typename Write>
void stable(std::span<const std::uint8_t> payload, Parse parse, Write write) {
  const auto value = parse(payload);
  if (!value) return;
  const Bytes once = write(*value);
  const auto again = parse(once);
  require(again.has_value());
  require(write(*again) == once);
}

std::optional<SoundFields> parseSound(std::span<const std::uint8_t> payload) {
  ByteReader in(payload);
  SoundFields fields;
  return parseSoundFields(in, fields) ? std::optional(fields) : std::nullopt;
}

Bytes writeSound(const SoundFields& fields) {
  ByteWriter out;
  writeSoundFields(out, fields);
  return out.take();
}

std::optional<ImageFields> parseImage(std::span<const std::uint8_t> payload) {
  ByteReader in(payload);
  ImageFields fields;
  return parseImageFields(in, fields) ? std::optional(fields) : std::nullopt;
}

Bytes writeImage(const ImageFields& fields) {
  ByteWriter out;
  writeImageFields(out, fields);
  return out.take();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::span payload(data + 1, size - 1);
  switch (data[0] % 8) {
    case 0:
      stable(payload, parseEsds, writeEsds);
      break;
    case 1:
      stable(payload, parseSound, writeSound);
      break;
    case 2:
      stable(payload, parseColr, writeColr);
      break;
    case 3:
      stable(payload, parseClap, writeClap);
      break;
    case 4:
      stable(payload, parsePasp, writePasp);
      stable(payload, parseFiel, writeFiel);
      break;
    case 5: {
      std::size_t covered = 0;
      const std::size_t end = forEachAtom(payload, [&](const AtomHeader& header, auto atom, auto body) {
        require(atom.size() == header.size && body.size() == header.size - header.headerSize);
        covered += atom.size();
      });
      require(end == covered && end <= payload.size());
      break;
    }
    case 6:
      stable(payload, parseImage, writeImage);
      break;
    case 7:
      stable(payload, parseAvcConfig, writeAvcConfig);
      stable(payload, parseHevcConfig, writeHevcConfig);
      break;
  }
  return 0;
}
