#include "vqt/formats/ImageFields.h"

#include <algorithm>

namespace vqt::formats {

bool parseImageFields(ByteReader& in, ImageFields& f) {
  f.version = in.u16();
  f.revisionLevel = in.u16();
  f.vendor = in.u32();
  f.temporalQuality = in.u32();
  f.spatialQuality = in.u32();
  f.width = in.u16();
  f.height = in.u16();
  f.horizontalResolution = in.u32();
  f.verticalResolution = in.u32();
  f.dataSize = in.u32();
  f.frameCount = in.u16();
  const auto name = in.bytes(f.compressorName.size());
  if (!name.empty()) std::copy(name.begin(), name.end(), f.compressorName.begin());
  f.depth = in.s16();
  f.colorTableId = in.s16();
  return !in.failed();
}

void writeImageFields(ByteWriter& out, const ImageFields& f) {
  out.u16(f.version);
  out.u16(f.revisionLevel);
  out.u32(f.vendor);
  out.u32(f.temporalQuality);
  out.u32(f.spatialQuality);
  out.u16(f.width);
  out.u16(f.height);
  out.u32(f.horizontalResolution);
  out.u32(f.verticalResolution);
  out.u32(f.dataSize);
  out.u16(f.frameCount);
  out.bytes(f.compressorName);
  out.s16(f.depth);
  out.s16(f.colorTableId);
}

}  // namespace vqt::formats
