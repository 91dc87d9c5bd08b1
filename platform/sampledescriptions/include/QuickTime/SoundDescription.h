// Sample descriptions of sound tracks in their three versions, and the generic
// sample description header that every media type's description starts with.
// Fixed parts are host-endian in memory; extension atoms (wave, esds, chan, ...)
// follow in the same handle, big-endian, as in the file.
#pragma once

#include <Carbon/MacMemory.h>
#include <QuickTime/QTProperties.h>

#include <vector>

typedef UInt32 UnsignedFixed;

#pragma pack(push, 2)
struct SampleDescription {
  SInt32 descSize;
  OSType dataFormat;
  SInt32 resvd1;
  SInt16 resvd2;
  SInt16 dataRefIndex;
};

struct SoundDescription {
  SInt32 descSize;
  OSType dataFormat;
  SInt32 resvd1;
  SInt16 resvd2;
  SInt16 dataRefIndex;
  SInt16 version;
  SInt16 revlevel;
  SInt32 vendor;
  SInt16 numChannels;
  SInt16 sampleSize;
  SInt16 compressionID;
  SInt16 packetSize;
  UnsignedFixed sampleRate;  // 16.16
};

struct SoundDescriptionV1 {
  SoundDescription desc;
  UInt32 samplesPerPacket;
  UInt32 bytesPerPacket;
  UInt32 bytesPerFrame;
  UInt32 bytesPerSample;
};

struct SoundDescriptionV2 {
  SInt32 descSize;
  OSType dataFormat;
  SInt32 resvd1;
  SInt16 resvd2;
  SInt16 dataRefIndex;
  SInt16 version;  // 2
  SInt16 revlevel;
  SInt32 vendor;
  SInt16 always3;
  SInt16 always16;
  SInt16 alwaysMinus2;
  SInt16 always0;
  UInt32 always65536;
  UInt32 sizeOfStructOnly;
  Float64 audioSampleRate;
  UInt32 numAudioChannels;
  SInt32 always7F000000;
  UInt32 constBitsPerChannel;
  UInt32 formatSpecificFlags;
  UInt32 constBytesPerAudioPacket;
  UInt32 constLPCMFramesPerAudioPacket;
};
#pragma pack(pop)
static_assert(sizeof(SampleDescription) == 16);
static_assert(sizeof(SoundDescription) == 36);
static_assert(sizeof(SoundDescriptionV1) == 52);
static_assert(sizeof(SoundDescriptionV2) == 72);

typedef SampleDescription* SampleDescriptionPtr;
typedef SampleDescriptionPtr* SampleDescriptionHandle;
typedef SoundDescription* SoundDescriptionPtr;
typedef SoundDescriptionPtr* SoundDescriptionHandle;
typedef SoundDescriptionV1* SoundDescriptionV1Ptr;
typedef SoundDescriptionV1Ptr* SoundDescriptionV1Handle;
typedef SoundDescriptionV2* SoundDescriptionV2Ptr;
typedef SoundDescriptionV2Ptr* SoundDescriptionV2Handle;

constexpr SInt16 kSoundDescriptionVersion0 = 0;
constexpr SInt16 kSoundDescriptionVersion1 = 1;
constexpr SInt16 kSoundDescriptionVersion2 = 2;

// Builds a sound description handle from an 'stsd' entry as stored in a file
// (version 0, 1 or 2 by its version field); paramErr when too short.
OSErr VqtSoundDescriptionFromFile(const UInt8* bytes, size_t length, SoundDescriptionHandle* desc);
std::vector<UInt8> VqtSoundDescriptionToFile(SoundDescriptionHandle desc);
// Any other media's description: the 16-byte header is host-endian, the rest
// is kept as the file has it.
OSErr VqtSampleDescriptionFromFile(const UInt8* bytes, size_t length, SampleDescriptionHandle* desc);
std::vector<UInt8> VqtSampleDescriptionToFile(SampleDescriptionHandle desc);

// Size of the fixed part for a sound description's version (36, 52 or 72); 0 for an unknown version.
size_t VqtSoundDescriptionFixedSize(SInt16 version);
