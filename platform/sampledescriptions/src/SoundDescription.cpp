// Sound and generic sample descriptions: conversion between the big-endian
// 'stsd' entry of a file and the host-endian handle the toolbox hands out.
#include <QuickTime/SoundDescription.h>

#include <type_traits>

#include "FileEntry.h"
#include "vqt/formats/SoundFields.h"

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

// The sound fields of a handle and of a file entry (the shared layout, which
// knows what each version holds), paired one to one: `move(handleField,
// fileField)` copies one way or the other. The version is paired first, so
// the file's fields say which of the rest exist; an unknown version pairs as
// version 0, whose 36 bytes every version begins with. Version 2 keeps its
// constants (always3, ...) where version 0 keeps the same-sized fields.
template <typename Desc, typename Fields, typename Move>
void pairSoundFields(Desc& d, Fields& f, Move&& move) {
  move(d.version, f.version);
  move(d.revlevel, f.revisionLevel);
  move(d.vendor, f.vendor);
  move(d.numChannels, f.channelCount);
  move(d.sampleSize, f.sampleSize);
  move(d.compressionID, f.compressionId);
  move(d.packetSize, f.packetSize);
  move(d.sampleRate, f.sampleRate);
  if (f.version == kSoundDescriptionVersion1) {
    using V1 = std::conditional_t<std::is_const_v<Desc>, const SoundDescriptionV1, SoundDescriptionV1>;
    auto& v1 = reinterpret_cast<V1&>(d);
    move(v1.samplesPerPacket, f.samplesPerPacket);
    move(v1.bytesPerPacket, f.bytesPerPacket);
    move(v1.bytesPerFrame, f.bytesPerFrame);
    move(v1.bytesPerSample, f.bytesPerSample);
  } else if (f.version == kSoundDescriptionVersion2) {
    using V2 = std::conditional_t<std::is_const_v<Desc>, const SoundDescriptionV2, SoundDescriptionV2>;
    auto& v2 = reinterpret_cast<V2&>(d);
    move(v2.sizeOfStructOnly, f.structSize);
    move(v2.audioSampleRate, f.audioSampleRate);
    move(v2.numAudioChannels, f.audioChannels);
    move(v2.always7F000000, f.always7F000000);
    move(v2.constBitsPerChannel, f.constBitsPerChannel);
    move(v2.formatSpecificFlags, f.formatSpecificFlags);
    move(v2.constBytesPerAudioPacket, f.constBytesPerAudioPacket);
    move(v2.constLPCMFramesPerAudioPacket, f.constLPCMFramesPerAudioPacket);
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
  return handleFromFile(bytes, length, fixed, desc, [&](SoundDescription& d, FieldReader read) {
    headerFields(d, read);
    vqt::formats::ByteReader in({bytes + kHeaderSize, length - kHeaderSize});
    vqt::formats::SoundFields fields;
    vqt::formats::parseSoundFields(in, fields);  // the entry holds them: its length was checked
    pairSoundFields(d, fields,
                    [](auto& handle, const auto& file) { handle = std::remove_cvref_t<decltype(handle)>(file); });
  });
}

std::vector<UInt8> VqtSoundDescriptionToFile(SoundDescriptionHandle desc) {
  if (!desc || !*desc || GetHandleSize(reinterpret_cast<Handle>(desc)) < Size(sizeof(SoundDescription))) return {};
  return entryFromHandle(desc, fixedSizeOrVersion0((*desc)->version), [](const SoundDescription& d, FieldWriter write) {
    headerFields(d, write);
    vqt::formats::SoundFields fields;
    pairSoundFields(d, fields,
                    [](const auto& handle, auto& file) { file = std::remove_cvref_t<decltype(file)>(handle); });
    vqt::formats::writeSoundFields(write.out(), fields);
  });
}

OSErr VqtSampleDescriptionFromFile(const UInt8* bytes, size_t length, SampleDescriptionHandle* desc) {
  return handleFromFile(bytes, length, kHeaderSize, desc,
                        [](SampleDescription& d, FieldReader read) { headerFields(d, read); });
}

std::vector<UInt8> VqtSampleDescriptionToFile(SampleDescriptionHandle desc) {
  return entryFromHandle(desc, kHeaderSize,
                         [](const SampleDescription& d, FieldWriter write) { headerFields(d, write); });
}
