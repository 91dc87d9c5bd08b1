#include "CompressionOptions.h"

#include <cstring>
#include <new>

namespace {

template <typename T>
T read(ConstComponentValuePtr address) {
  T value;
  std::memcpy(&value, address, sizeof value);
  return value;
}

}  // namespace

OSStatus ICMCompressionSessionOptionsCreate(CFAllocatorRef, ICMCompressionSessionOptionsRef* options) {
  if (options == nullptr) return paramErr;
  *options = new (std::nothrow) OpaqueICMCompressionSessionOptions;
  return *options ? noErr : memFullErr;
}

OSStatus ICMCompressionSessionOptionsCreateCopy(CFAllocatorRef, ICMCompressionSessionOptionsRef original,
                                                ICMCompressionSessionOptionsRef* copiedOptions) {
  if (original == nullptr || copiedOptions == nullptr) return paramErr;
  auto* copy = new (std::nothrow) OpaqueICMCompressionSessionOptions;
  if (copy == nullptr) return memFullErr;
  copy->allowTemporalCompression = original->allowTemporalCompression;
  copy->allowFrameReordering = original->allowFrameReordering;
  copy->maxKeyFrameInterval = original->maxKeyFrameInterval;
  copy->compressor = original->compressor;
  copy->expectedFrameRate = original->expectedFrameRate;
  copy->quality = original->quality;
  copy->depth = original->depth;
  copy->threads = original->threads;
  copy->averageDataRate = original->averageDataRate;
  copy->encodeAhead = original->encodeAhead;
  *copiedOptions = copy;
  return noErr;
}

ICMCompressionSessionOptionsRef ICMCompressionSessionOptionsRetain(ICMCompressionSessionOptionsRef options) {
  if (options != nullptr) ++options->references;
  return options;
}

void ICMCompressionSessionOptionsRelease(ICMCompressionSessionOptionsRef options) {
  if (options != nullptr && --options->references == 0) delete options;
}

OSStatus ICMCompressionSessionOptionsSetAllowTemporalCompression(ICMCompressionSessionOptionsRef options,
                                                                 Boolean allow) {
  if (options == nullptr) return paramErr;
  options->allowTemporalCompression = allow;
  return noErr;
}

Boolean ICMCompressionSessionOptionsGetAllowTemporalCompression(ICMCompressionSessionOptionsRef options) {
  return options ? options->allowTemporalCompression : false;
}

OSStatus ICMCompressionSessionOptionsSetAllowFrameReordering(ICMCompressionSessionOptionsRef options, Boolean allow) {
  if (options == nullptr) return paramErr;
  options->allowFrameReordering = allow;
  return noErr;
}

Boolean ICMCompressionSessionOptionsGetAllowFrameReordering(ICMCompressionSessionOptionsRef options) {
  return options ? options->allowFrameReordering : false;
}

OSStatus ICMCompressionSessionOptionsSetMaxKeyFrameInterval(ICMCompressionSessionOptionsRef options, SInt32 interval) {
  if (options == nullptr) return paramErr;
  options->maxKeyFrameInterval = interval;
  return noErr;
}

SInt32 ICMCompressionSessionOptionsGetMaxKeyFrameInterval(ICMCompressionSessionOptionsRef options) {
  return options ? options->maxKeyFrameInterval : 0;
}

OSStatus ICMCompressionSessionOptionsSetProperty(ICMCompressionSessionOptionsRef options,
                                                 ComponentPropertyClass inPropClass, ComponentPropertyID inPropID,
                                                 ByteCount inPropValueSize, ConstComponentValuePtr inPropValueAddress) {
  if (options == nullptr || inPropValueAddress == nullptr) return paramErr;
  if (inPropClass != kQTPropertyClass_ICMCompressionSessionOptions) return kQTPropertyNotSupportedErr;
  const ByteCount expected = inPropID == kICMCompressionSessionOptionsPropertyID_CompressorComponent
                                 ? sizeof(CodecComponent)
                             : (inPropID == kICMCompressionSessionOptionsPropertyID_AllowTemporalCompression ||
                                inPropID == kICMCompressionSessionOptionsPropertyID_AllowFrameReordering ||
                                inPropID == kICMCompressionSessionOptionsPropertyID_EncodeAhead)
                                 ? sizeof(Boolean)
                                 : 4;
  if (inPropValueSize != expected) return kQTPropertyBadValueSizeErr;
  switch (inPropID) {
    case kICMCompressionSessionOptionsPropertyID_CompressorComponent:
      options->compressor = read<CodecComponent>(inPropValueAddress);
      return noErr;
    case kICMCompressionSessionOptionsPropertyID_ExpectedFrameRate:
      options->expectedFrameRate = read<Fixed>(inPropValueAddress);
      return noErr;
    case kICMCompressionSessionOptionsPropertyID_MaxKeyFrameInterval:
      options->maxKeyFrameInterval = read<SInt32>(inPropValueAddress);
      return noErr;
    case kICMCompressionSessionOptionsPropertyID_Quality:
      options->quality = read<CodecQ>(inPropValueAddress);
      return noErr;
    case kICMCompressionSessionOptionsPropertyID_Depth:
      options->depth = read<UInt32>(inPropValueAddress);
      return noErr;
    case kICMCompressionSessionOptionsPropertyID_AllowTemporalCompression:
      options->allowTemporalCompression = read<Boolean>(inPropValueAddress);
      return noErr;
    case kICMCompressionSessionOptionsPropertyID_AllowFrameReordering:
      options->allowFrameReordering = read<Boolean>(inPropValueAddress);
      return noErr;
    case kICMCompressionSessionOptionsPropertyID_NumberOfThreads:
      options->threads = read<SInt32>(inPropValueAddress);
      return noErr;
    case kICMCompressionSessionOptionsPropertyID_AverageDataRate: {
      const SInt32 rate = read<SInt32>(inPropValueAddress);
      if (rate < 0) return paramErr;
      options->averageDataRate = rate;
      return noErr;
    }
    case kICMCompressionSessionOptionsPropertyID_EncodeAhead:
      options->encodeAhead = read<Boolean>(inPropValueAddress);
      return noErr;
    default:
      return kQTPropertyNotSupportedErr;
  }
}

OSStatus ICMCompressionSessionOptionsGetProperty(ICMCompressionSessionOptionsRef options,
                                                 ComponentPropertyClass inPropClass, ComponentPropertyID inPropID,
                                                 ByteCount inPropValueSize, ComponentValuePtr outPropValueAddress,
                                                 ByteCount* outPropValueSizeUsed) {
  if (options == nullptr || outPropValueAddress == nullptr) return paramErr;
  if (inPropClass != kQTPropertyClass_ICMCompressionSessionOptions) return kQTPropertyNotSupportedErr;
  auto write = [&](const auto& value) -> OSStatus {
    if (inPropValueSize < sizeof value) return kQTPropertyBadValueSizeErr;
    std::memcpy(outPropValueAddress, &value, sizeof value);
    if (outPropValueSizeUsed != nullptr) *outPropValueSizeUsed = sizeof value;
    return noErr;
  };
  switch (inPropID) {
    case kICMCompressionSessionOptionsPropertyID_CompressorComponent:
      return write(options->compressor);
    case kICMCompressionSessionOptionsPropertyID_ExpectedFrameRate:
      return write(options->expectedFrameRate);
    case kICMCompressionSessionOptionsPropertyID_MaxKeyFrameInterval:
      return write(options->maxKeyFrameInterval);
    case kICMCompressionSessionOptionsPropertyID_Quality:
      return write(options->quality);
    case kICMCompressionSessionOptionsPropertyID_Depth:
      return write(options->depth);
    case kICMCompressionSessionOptionsPropertyID_AllowTemporalCompression:
      return write(options->allowTemporalCompression);
    case kICMCompressionSessionOptionsPropertyID_AllowFrameReordering:
      return write(options->allowFrameReordering);
    case kICMCompressionSessionOptionsPropertyID_NumberOfThreads:
      return write(options->threads);
    case kICMCompressionSessionOptionsPropertyID_AverageDataRate:
      return write(options->averageDataRate);
    case kICMCompressionSessionOptionsPropertyID_EncodeAhead:
      return write(options->encodeAhead);
    default:
      return kQTPropertyNotSupportedErr;
  }
}
