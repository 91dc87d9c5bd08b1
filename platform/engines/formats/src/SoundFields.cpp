#include "vqt/formats/SoundFields.h"

namespace vqt::formats {

bool parseSoundFields(ByteReader& in, SoundFields& f) {
  f.version = in.u16();
  f.revisionLevel = in.u16();
  f.vendor = in.u32();
  f.channelCount = in.u16();
  f.sampleSize = in.u16();
  f.compressionId = in.s16();
  f.packetSize = in.u16();
  f.sampleRate = in.u32();
  if (f.version == 1) {
    f.samplesPerPacket = in.u32();
    f.bytesPerPacket = in.u32();
    f.bytesPerFrame = in.u32();
    f.bytesPerSample = in.u32();
  } else if (f.version == 2) {
    f.structSize = in.u32();
    f.audioSampleRate = in.f64();
    f.audioChannels = in.u32();
    f.always7F000000 = in.u32();
    f.constBitsPerChannel = in.u32();
    f.formatSpecificFlags = in.u32();
    f.constBytesPerAudioPacket = in.u32();
    f.constLPCMFramesPerAudioPacket = in.u32();
  }
  return !in.failed();
}

void writeSoundFields(ByteWriter& out, const SoundFields& f) {
  out.u16(f.version);
  out.u16(f.revisionLevel);
  out.u32(f.vendor);
  out.u16(f.channelCount);
  out.u16(f.sampleSize);
  out.s16(f.compressionId);
  out.u16(f.packetSize);
  out.u32(f.sampleRate);
  if (f.version == 1) {
    for (auto v : {f.samplesPerPacket, f.bytesPerPacket, f.bytesPerFrame, f.bytesPerSample}) out.u32(v);
  } else if (f.version == 2) {
    out.u32(f.structSize);
    out.f64(f.audioSampleRate);
    for (auto v : {f.audioChannels, f.always7F000000, f.constBitsPerChannel, f.formatSpecificFlags,
                   f.constBytesPerAudioPacket, f.constLPCMFramesPerAudioPacket})
      out.u32(v);
  }
}

}  // namespace vqt::formats
