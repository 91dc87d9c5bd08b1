#include "ScSessionOptions.h"

#include <algorithm>

namespace vqt::sc {
namespace {

template <typename T>
OSStatus setProperty(ICMCompressionSessionOptionsRef options, ComponentPropertyID id, const T& value) {
  return ICMCompressionSessionOptionsSetProperty(options, kQTPropertyClass_ICMCompressionSessionOptions, id,
                                                 sizeof value, &value);
}

OSStatus fill(ICMCompressionSessionOptionsRef options, const VqtImageCompressionSettings& settings,
              CodecComponent compressor) {
  const SCSpatialSettings& spatial = settings.spatial;
  const SCTemporalSettings& temporal = settings.temporal;
  VqtCompressorCapabilities capabilities;
  VqtGetCompressorCapabilities(spatial.codecType, &capabilities);
  // A key frame rate of 1 asks for key frames only; anything else lets frames depend on others.
  const bool temporalAllowed = temporal.keyFrameRate != 1;
  if (OSStatus err = ICMCompressionSessionOptionsSetAllowTemporalCompression(options, temporalAllowed); err != noErr)
    return err;
  if (OSStatus err =
          ICMCompressionSessionOptionsSetAllowFrameReordering(options, temporalAllowed && capabilities.frameReordering);
      err != noErr)
    return err;
  // 0 leaves the interval to the compressor; a negative rate means nothing better.
  if (OSStatus err =
          ICMCompressionSessionOptionsSetMaxKeyFrameInterval(options, std::max<SInt32>(temporal.keyFrameRate, 0));
      err != noErr)
    return err;
  if (OSStatus err = setProperty(options, kICMCompressionSessionOptionsPropertyID_CompressorComponent, compressor);
      err != noErr)
    return err;
  if (OSStatus err = setProperty(options, kICMCompressionSessionOptionsPropertyID_Quality, spatial.spatialQuality);
      err != noErr)
    return err;
  if (temporal.frameRate > 0) {
    if (OSStatus err =
            setProperty(options, kICMCompressionSessionOptionsPropertyID_ExpectedFrameRate, temporal.frameRate);
        err != noErr)
      return err;
  }
  // The data rate settings' bytes per second are the session's average data rate.
  if (settings.dataRate.dataRate > 0) {
    if (OSStatus err =
            setProperty(options, kICMCompressionSessionOptionsPropertyID_AverageDataRate, settings.dataRate.dataRate);
        err != noErr)
      return err;
  }
  if (spatial.depth > 0) {
    const UInt32 depth = UInt32(spatial.depth);
    if (OSStatus err = setProperty(options, kICMCompressionSessionOptionsPropertyID_Depth, depth); err != noErr)
      return err;
  }
  return noErr;
}

}  // namespace

OSErr copySessionOptions(const VqtImageCompressionSettings& settings, ICMCompressionSessionOptionsRef* options) {
  if (options == nullptr) return paramErr;
  *options = nullptr;
  SCSpatialSettings spatial = settings.spatial;
  matchCodecToType(spatial);
  const CodecComponent compressor = spatial.codec != nullptr ? spatial.codec : findCompressor(spatial.codecType, 0);
  if (compressor == nullptr) return noCodecErr;
  ICMCompressionSessionOptionsRef made = nullptr;
  if (OSStatus err = ICMCompressionSessionOptionsCreate(nullptr, &made); err != noErr) return OSErr(err);
  if (OSStatus err = fill(made, settings, compressor); err != noErr) {
    ICMCompressionSessionOptionsRelease(made);
    return OSErr(err);
  }
  *options = made;
  return noErr;
}

}  // namespace vqt::sc
