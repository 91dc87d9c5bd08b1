// The fixed fields of a sound sample entry after its data reference index, in
// the three versions: 0 (20 bytes), 1 (version 0 and four packet fields, 36)
// and 2 (the version 0 fields as constants, then the real values, 56).
#pragma once

#include "vqt/formats/ByteIO.h"

namespace vqt::formats {

struct SoundFields {
  std::uint16_t version = 0, revisionLevel = 0;
  FourCC vendor = 0;
  std::uint16_t channelCount = 2, sampleSize = 16;
  std::int16_t compressionId = 0;
  std::uint16_t packetSize = 0;
  std::uint32_t sampleRate = 0;  // 16.16 fixed (versions 0 and 1)
  // Version 1
  std::uint32_t samplesPerPacket = 0, bytesPerPacket = 0, bytesPerFrame = 0, bytesPerSample = 0;
  // Version 2
  std::uint32_t structSize = 72;
  double audioSampleRate = 0;
  std::uint32_t audioChannels = 0, always7F000000 = 0x7F000000, constBitsPerChannel = 0;
  std::uint32_t formatSpecificFlags = 0, constBytesPerAudioPacket = 0, constLPCMFramesPerAudioPacket = 0;

  bool operator==(const SoundFields&) const = default;
};

// Reads the fields of the version the entry states; an unknown version is read
// as version 0, whose fields every version begins with. False when `in` ran out.
bool parseSoundFields(ByteReader& in, SoundFields& fields);
void writeSoundFields(ByteWriter& out, const SoundFields& fields);

}  // namespace vqt::formats
