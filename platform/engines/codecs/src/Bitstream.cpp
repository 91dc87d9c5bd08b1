#include "Bitstream.h"

#include <algorithm>
#include <cstddef>

#include "vqt/formats/Esds.h"
#include "vqt/formats/ParameterSets.h"

namespace vqt::codecs {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Span = std::span<const std::uint8_t>;

// Calls visit(nal) for every NAL unit of an Annex B stream.
template <typename Visit>
void forEachNal(Span data, Visit visit) {
  const std::size_t size = data.size();
  auto findStart = [&](std::size_t from) {
    for (std::size_t i = from; i + 3 <= size; ++i) {
      if (data[i] == 0 && data[i + 1] == 0 && data[i + 2] == 1) return i;
    }
    return size;
  };
  std::size_t start = findStart(0);
  while (start < size) {
    const std::size_t begin = start + 3;
    std::size_t next = findStart(begin);
    std::size_t end = next;
    while (end > begin && data[end - 1] == 0) --end;  // zero byte of a 4-byte start code
    if (end > begin) visit(data.subspan(begin, end - begin));
    start = next;
  }
}

void putBigEndian(Bytes& out, std::uint32_t value, int bytes) {
  for (int i = bytes - 1; i >= 0; --i) out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

}  // namespace

bool startsWithStartCode(Span data) {
  if (data.size() >= 3 && data[0] == 0 && data[1] == 0 && data[2] == 1) return true;
  return data.size() >= 4 && data[0] == 0 && data[1] == 0 && data[2] == 0 && data[3] == 1;
}

Bytes annexBToLengthPrefixed(Span data) {
  Bytes out;
  out.reserve(data.size() + 16);
  forEachNal(data, [&](Span nal) {
    putBigEndian(out, static_cast<std::uint32_t>(nal.size()), 4);
    out.insert(out.end(), nal.begin(), nal.end());
  });
  return out;
}

Bytes avcConfigurationFromAnnexB(Span headers) {
  formats::AvcConfig config;
  forEachNal(headers, [&](Span nal) {
    const int type = nal[0] & 0x1F;
    if (type == 7 && nal.size() >= 4) config.sequenceSets.emplace_back(nal.begin(), nal.end());
    if (type == 8) config.pictureSets.emplace_back(nal.begin(), nal.end());
  });
  if (config.sequenceSets.empty()) return {};
  const formats::NalUnit& sps = config.sequenceSets.front();
  config.profile = sps[1];
  config.compatibility = sps[2];
  config.level = sps[3];
  return formats::writeAvcConfig(config);
}

Bytes hevcConfigurationFromAnnexB(Span headers, int chromaFormat, int bitDepth) {
  // Arrays in the order readers expect: VPS (32), SPS (33), PPS (34).
  formats::HevcConfig config;
  for (std::uint8_t type = 32; type <= 34; ++type) config.arrays.push_back({true, type, {}});
  forEachNal(headers, [&](Span nal) {
    if (nal.size() < 2) return;
    const int type = (nal[0] >> 1) & 0x3F;
    if (type >= 32 && type <= 34)
      config.arrays[static_cast<std::size_t>(type - 32)].units.emplace_back(nal.begin(), nal.end());
  });
  if (config.arrays[1].units.empty()) return {};
  // The SPS's general profile_tier_level: 12 bytes after the 2-byte NAL
  // header and the byte holding the VPS id and sub-layer count, taken from
  // the payload with its emulation-prevention bytes removed.
  Bytes rbsp;
  const formats::NalUnit& sps = config.arrays[1].units.front();
  for (std::size_t i = 2; i < sps.size() && rbsp.size() < 13; ++i) {
    if (i >= 4 && sps[i] == 3 && sps[i - 1] == 0 && sps[i - 2] == 0) continue;
    rbsp.push_back(sps[i]);
  }
  if (rbsp.size() < 13) return {};
  std::copy(rbsp.begin() + 1, rbsp.begin() + 13, config.generalProfile.begin());
  config.chromaFormat = static_cast<std::uint8_t>(chromaFormat & 3);
  config.lumaDepthLess8 = config.chromaDepthLess8 = static_cast<std::uint8_t>((bitDepth - 8) & 7);
  config.temporalLayers = static_cast<std::uint8_t>(((rbsp[0] >> 1) & 0x7) + 1);
  config.temporalIdNested = (rbsp[0] & 1) != 0;
  std::erase_if(config.arrays, [](const formats::HevcConfig::Array& array) { return array.units.empty(); });
  return formats::writeHevcConfig(config);
}

// MPEG-4 Visual in a visual stream (0x11), buffer size unknown.
Bytes esdsFromDecoderSpecificInfo(Span info, int averageBitRate) {
  const auto rate = static_cast<std::uint32_t>(averageBitRate);
  formats::DecoderConfig config{.objectType = 0x20, .streamByte = 0x11, .maxBitrate = rate, .averageBitrate = rate};
  config.decoderSpecificInfo.emplace(info.begin(), info.end());
  return formats::writeEsds({.decoderConfig = config, .slConfig = Bytes{0x02}});
}

Bytes decoderSpecificInfoFromEsds(Span esds) {
  const auto es = formats::parseEsds(esds);
  if (!es || !es->decoderConfig || !es->decoderConfig->decoderSpecificInfo) return {};
  return *es->decoderConfig->decoderSpecificInfo;
}

}  // namespace vqt::codecs
