// Sound and generic sample descriptions: conversion between the big-endian
// 'stsd' entry of a file and the host-endian handle the toolbox hands out.
#include <QuickTime/SoundDescription.h>

#include <algorithm>
#include <cstring>

#include "BigEndian.h"

using namespace vqt::description;

namespace {

constexpr size_t kHeaderSize = sizeof(SampleDescription);

// The header shared by every sample description, from file order to host order.
void readHeader(const UInt8* p, SampleDescription& h, size_t length) {
  h.descSize = SInt32(length);  // what the entry really holds, whatever its size field claims
  h.dataFormat = be32(p + 4);
  h.resvd1 = SInt32(be32(p + 8));
  h.resvd2 = SInt16(be16(p + 12));
  h.dataRefIndex = SInt16(be16(p + 14));
}

void writeHeader(std::vector<UInt8>& out, const SampleDescription& h, size_t total) {
  put32(out, UInt32(total));
  put32(out, h.dataFormat);
  put32(out, UInt32(h.resvd1));
  put16(out, UInt16(h.resvd2));
  put16(out, UInt16(h.dataRefIndex));
}

template <typename HandleType>
HandleType allocate(size_t length) {
  return reinterpret_cast<HandleType>(NewHandleClear(Size(length)));
}

// Bytes of the handle that belong to the description (bounded by descSize).
size_t usedSize(Handle h, SInt32 descSize, size_t fixedSize) {
  const size_t handleSize = GetHandleSize(h);
  const size_t claimed = descSize < SInt32(fixedSize) ? fixedSize : size_t(descSize);
  return std::min(claimed, handleSize);
}

}  // namespace

size_t VqtSoundDescriptionFixedSize(SInt16 version) {
  switch (version) {
    case kSoundDescriptionVersion0: return sizeof(SoundDescription);
    case kSoundDescriptionVersion1: return sizeof(SoundDescriptionV1);
    case kSoundDescriptionVersion2: return sizeof(SoundDescriptionV2);
    default: return 0;
  }
}

OSErr VqtSoundDescriptionFromFile(const UInt8* bytes, size_t length, SoundDescriptionHandle* desc) {
  if (!desc) return paramErr;
  *desc = nullptr;
  if (!bytes || length < sizeof(SoundDescription) || length > 0x7FFFFFFF) return paramErr;
  const SInt16 version = SInt16(be16(bytes + 16));
  // An unknown version is read as version 0: its first 36 bytes mean the same.
  const size_t fixed = VqtSoundDescriptionFixedSize(version) ? VqtSoundDescriptionFixedSize(version)
                                                             : sizeof(SoundDescription);
  if (length < fixed) return paramErr;
  auto handle = allocate<SoundDescriptionHandle>(length);
  if (!handle) return memFullErr;
  const UInt8* p = bytes;
  if (version == kSoundDescriptionVersion2) {
    auto& d = *reinterpret_cast<SoundDescriptionV2*>(*handle);
    readHeader(p, reinterpret_cast<SampleDescription&>(d), length);
    d.version = version;
    d.revlevel = SInt16(be16(p + 18));
    d.vendor = SInt32(be32(p + 20));
    d.always3 = SInt16(be16(p + 24));
    d.always16 = SInt16(be16(p + 26));
    d.alwaysMinus2 = SInt16(be16(p + 28));
    d.always0 = SInt16(be16(p + 30));
    d.always65536 = be32(p + 32);
    d.sizeOfStructOnly = be32(p + 36);
    d.audioSampleRate = beDouble(p + 40);
    d.numAudioChannels = be32(p + 48);
    d.always7F000000 = SInt32(be32(p + 52));
    d.constBitsPerChannel = be32(p + 56);
    d.formatSpecificFlags = be32(p + 60);
    d.constBytesPerAudioPacket = be32(p + 64);
    d.constLPCMFramesPerAudioPacket = be32(p + 68);
  } else {
    auto& d = **handle;
    readHeader(p, reinterpret_cast<SampleDescription&>(d), length);
    d.version = version;
    d.revlevel = SInt16(be16(p + 18));
    d.vendor = SInt32(be32(p + 20));
    d.numChannels = SInt16(be16(p + 24));
    d.sampleSize = SInt16(be16(p + 26));
    d.compressionID = SInt16(be16(p + 28));
    d.packetSize = SInt16(be16(p + 30));
    d.sampleRate = be32(p + 32);
    if (version == kSoundDescriptionVersion1) {
      auto& v1 = *reinterpret_cast<SoundDescriptionV1*>(*handle);
      v1.samplesPerPacket = be32(p + 36);
      v1.bytesPerPacket = be32(p + 40);
      v1.bytesPerFrame = be32(p + 44);
      v1.bytesPerSample = be32(p + 48);
    }
  }
  std::memcpy(reinterpret_cast<UInt8*>(*handle) + fixed, bytes + fixed, length - fixed);
  *desc = handle;
  return noErr;
}

std::vector<UInt8> VqtSoundDescriptionToFile(SoundDescriptionHandle desc) {
  std::vector<UInt8> out;
  const Handle h = reinterpret_cast<Handle>(desc);
  if (!desc || !*desc || GetHandleSize(h) < Size(sizeof(SoundDescription))) return out;
  const SInt16 version = (*desc)->version;
  const size_t fixed = VqtSoundDescriptionFixedSize(version) ? VqtSoundDescriptionFixedSize(version)
                                                             : sizeof(SoundDescription);
  if (GetHandleSize(h) < Size(fixed)) return out;
  const size_t total = usedSize(h, (*desc)->descSize, fixed);
  writeHeader(out, reinterpret_cast<const SampleDescription&>(**desc), total);
  if (version == kSoundDescriptionVersion2) {
    const auto& d = *reinterpret_cast<const SoundDescriptionV2*>(*desc);
    put16(out, UInt16(d.version));
    put16(out, UInt16(d.revlevel));
    put32(out, UInt32(d.vendor));
    put16(out, UInt16(d.always3));
    put16(out, UInt16(d.always16));
    put16(out, UInt16(d.alwaysMinus2));
    put16(out, UInt16(d.always0));
    put32(out, d.always65536);
    put32(out, d.sizeOfStructOnly);
    putDouble(out, d.audioSampleRate);
    put32(out, d.numAudioChannels);
    put32(out, UInt32(d.always7F000000));
    put32(out, d.constBitsPerChannel);
    put32(out, d.formatSpecificFlags);
    put32(out, d.constBytesPerAudioPacket);
    put32(out, d.constLPCMFramesPerAudioPacket);
  } else {
    const auto& d = **desc;
    put16(out, UInt16(d.version));
    put16(out, UInt16(d.revlevel));
    put32(out, UInt32(d.vendor));
    put16(out, UInt16(d.numChannels));
    put16(out, UInt16(d.sampleSize));
    put16(out, UInt16(d.compressionID));
    put16(out, UInt16(d.packetSize));
    put32(out, d.sampleRate);
    if (version == kSoundDescriptionVersion1) {
      const auto& v1 = *reinterpret_cast<const SoundDescriptionV1*>(*desc);
      put32(out, v1.samplesPerPacket);
      put32(out, v1.bytesPerPacket);
      put32(out, v1.bytesPerFrame);
      put32(out, v1.bytesPerSample);
    }
  }
  const auto* base = reinterpret_cast<const UInt8*>(*desc);
  out.insert(out.end(), base + fixed, base + total);
  return out;
}

OSErr VqtSampleDescriptionFromFile(const UInt8* bytes, size_t length, SampleDescriptionHandle* desc) {
  if (!desc) return paramErr;
  *desc = nullptr;
  if (!bytes || length < kHeaderSize || length > 0x7FFFFFFF) return paramErr;
  auto handle = allocate<SampleDescriptionHandle>(length);
  if (!handle) return memFullErr;
  readHeader(bytes, **handle, length);
  std::memcpy(reinterpret_cast<UInt8*>(*handle) + kHeaderSize, bytes + kHeaderSize, length - kHeaderSize);
  *desc = handle;
  return noErr;
}

std::vector<UInt8> VqtSampleDescriptionToFile(SampleDescriptionHandle desc) {
  std::vector<UInt8> out;
  const Handle h = reinterpret_cast<Handle>(desc);
  if (!desc || !*desc || GetHandleSize(h) < Size(kHeaderSize)) return out;
  const size_t total = usedSize(h, (*desc)->descSize, kHeaderSize);
  writeHeader(out, **desc, total);
  const auto* base = reinterpret_cast<const UInt8*>(*desc);
  out.insert(out.end(), base + kHeaderSize, base + total);
  return out;
}
