#include "SessionResults.h"

#include <cstring>

#include "vqt/codecs/CodecTable.h"
#include "vqt/formats/ImageExtensions.h"

OSStatus vqtICMResultOf(vqt::codecs::Status status) {
  using vqt::codecs::Status;
  switch (status) {
    case Status::ok:
      return noErr;
    case Status::noCodec:
      return noCodecErr;
    case Status::unsupportedFormat:
      return codecUnimpErr;
    case Status::badData:
      return codecBadDataErr;
    case Status::outOfMemory:
      return memFullErr;
    case Status::failed:
      return codecErr;
  }
  return codecErr;
}

namespace {

// The matrix of the first 'colr' extension that is 'nclc' or 'nclx' (the
// ISO form, which also says whether the samples are full range).
void readColourDescription(ImageDescriptionHandle desc, vqt::codecs::DecoderConfig& config) {
  for (long index = 1; index <= 8; ++index) {
    Handle extension = nullptr;
    if (GetImageDescriptionExtension(desc, &extension, kColorInfoImageDescriptionExtension, index) != noErr ||
        extension == nullptr)
      return;
    const auto colour = vqt::formats::parseColr(
        {reinterpret_cast<const UInt8*>(*extension), static_cast<std::size_t>(GetHandleSize(extension))});
    DisposeHandle(extension);
    if (colour) {
      config.matrix = vqt::codecs::colourMatrixFromNclc(colour->matrix);
      if (colour->colourType == 'nclx')
        config.range = colour->fullRange() ? vqt::codecs::ColourRange::full : vqt::codecs::ColourRange::video;
      return;
    }
  }
}

}  // namespace

vqt::codecs::DecoderConfig vqtDecoderConfigFrom(ImageDescriptionHandle desc) {
  vqt::codecs::DecoderConfig config;
  const ImageDescription& d = **desc;
  config.codecType = d.cType;
  config.width = d.width;
  config.height = d.height;
  config.depth = d.depth;
  if (const vqt::codecs::CodecEntry* entry = vqt::codecs::findCodec(d.cType); entry && entry->configAtom != 0) {
    Handle extension = nullptr;
    if (GetImageDescriptionExtension(desc, &extension, static_cast<long>(entry->configAtom), 1) == noErr &&
        extension != nullptr) {
      const auto size = static_cast<std::size_t>(GetHandleSize(extension));
      config.configAtomType = entry->configAtom;
      config.configAtom.assign(reinterpret_cast<const UInt8*>(*extension),
                               reinterpret_cast<const UInt8*>(*extension) + size);
      DisposeHandle(extension);
    }
  }
  readColourDescription(desc, config);
  return config;
}
