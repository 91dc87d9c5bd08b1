// Sound and generic sample descriptions: conversion between the big-endian
// 'stsd' entry of a file and the host-endian handle the toolbox hands out.
#include <QuickTime/SoundDescription.h>

#include <type_traits>

#include "FileEntry.h"

using namespace vqt::description;

namespace {

constexpr size_t kHeaderSize = sizeof(SampleDescription);

// The fields after the size that every sample description starts with.
template <typename Desc, typename Visit>
void headerFields(Desc& d, Visit&& visit) {
  visit(d.dataFormat);
  visit(d.resvd1);
  visit(d.resvd2);
  visit(d.dataRefIndex);
}

// A sound description's fixed part after the size, in file order, for the
// version it holds (read before the fields that depend on it); an unknown
// version is taken as version 0: its first 36 bytes mean the same.
// Desc is SoundDescription, const or not; the handle holds the whole fixed part.
template <typename Desc, typename Visit>
void soundFields(Desc& d, Visit&& visit) {
  headerFields(d, visit);
  visit(d.version);
  visit(d.revlevel);
  visit(d.vendor);
  if (d.version == kSoundDescriptionVersion2) {
    using V2 = std::conditional_t<std::is_const_v<Desc>, const SoundDescriptionV2, SoundDescriptionV2>;
    auto& v2 = reinterpret_cast<V2&>(d);
    visit(v2.always3);
    visit(v2.always16);
    visit(v2.alwaysMinus2);
    visit(v2.always0);
    visit(v2.always65536);
    visit(v2.sizeOfStructOnly);
    visit(v2.audioSampleRate);
    visit(v2.numAudioChannels);
    visit(v2.always7F000000);
    visit(v2.constBitsPerChannel);
    visit(v2.formatSpecificFlags);
    visit(v2.constBytesPerAudioPacket);
    visit(v2.constLPCMFramesPerAudioPacket);
    return;
  }
  visit(d.numChannels);
  visit(d.sampleSize);
  visit(d.compressionID);
  visit(d.packetSize);
  visit(d.sampleRate);
  if (d.version == kSoundDescriptionVersion1) {
    using V1 = std::conditional_t<std::is_const_v<Desc>, const SoundDescriptionV1, SoundDescriptionV1>;
    auto& v1 = reinterpret_cast<V1&>(d);
    visit(v1.samplesPerPacket);
    visit(v1.bytesPerPacket);
    visit(v1.bytesPerFrame);
    visit(v1.bytesPerSample);
  }
}

size_t fixedSizeOrVersion0(SInt16 version) {
  const size_t fixed = VqtSoundDescriptionFixedSize(version);
  return fixed ? fixed : sizeof(SoundDescription);
}

}  // namespace

size_t VqtSoundDescriptionFixedSize(SInt16 version) {
  switch (version) {
    case kSoundDescriptionVersion0:
      return sizeof(SoundDescription);
    case kSoundDescriptionVersion1:
      return sizeof(SoundDescriptionV1);
    case kSoundDescriptionVersion2:
      return sizeof(SoundDescriptionV2);
    default:
      return 0;
  }
}

OSErr VqtSoundDescriptionFromFile(const UInt8* bytes, size_t length, SoundDescriptionHandle* desc) {
  const bool holdsVersion = bytes && length >= sizeof(SoundDescription);
  const size_t fixed =
      holdsVersion ? fixedSizeOrVersion0(SInt16(vqt::formats::loadU16({bytes, length}, 16))) : sizeof(SoundDescription);
  return handleFromFile(bytes, length, fixed, desc,
                        [](SoundDescription& d, FieldReader read) { soundFields(d, read); });
}

std::vector<UInt8> VqtSoundDescriptionToFile(SoundDescriptionHandle desc) {
  if (!desc || !*desc || GetHandleSize(reinterpret_cast<Handle>(desc)) < Size(sizeof(SoundDescription))) return {};
  return entryFromHandle(desc, fixedSizeOrVersion0((*desc)->version),
                         [](const SoundDescription& d, FieldWriter write) { soundFields(d, write); });
}

OSErr VqtSampleDescriptionFromFile(const UInt8* bytes, size_t length, SampleDescriptionHandle* desc) {
  return handleFromFile(bytes, length, kHeaderSize, desc,
                        [](SampleDescription& d, FieldReader read) { headerFields(d, read); });
}

std::vector<UInt8> VqtSampleDescriptionToFile(SampleDescriptionHandle desc) {
  return entryFromHandle(desc, kHeaderSize,
                         [](const SampleDescription& d, FieldWriter write) { headerFields(d, write); });
}
