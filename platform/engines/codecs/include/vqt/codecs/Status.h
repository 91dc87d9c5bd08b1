// Results of the codec engine. The platform layer maps them to QuickTime result codes.
#pragma once

namespace vqt::codecs {

enum class Status {
  ok,
  noCodec,            // no decoder or encoder for this codec type
  unsupportedFormat,  // the pixel format or frame size cannot be handled
  badData,            // the compressed data could not be decoded
  outOfMemory,
  failed,  // any other failure inside the codec
};

}  // namespace vqt::codecs
