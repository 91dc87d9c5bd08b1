// Core Audio stream descriptions: how sound samples are laid out in memory or
// in a file (rate, format, flags, packet and frame sizes, channel layouts).
#pragma once

#include <Carbon/MacTypes.h>

typedef UInt32 AudioFormatID;
typedef UInt32 AudioFormatFlags;
typedef UInt32 AudioChannelLayoutTag;
typedef UInt32 AudioChannelLabel;
typedef UInt32 AudioChannelBitmap;

struct AudioStreamBasicDescription {
  Float64 mSampleRate;
  AudioFormatID mFormatID;
  AudioFormatFlags mFormatFlags;
  UInt32 mBytesPerPacket;
  UInt32 mFramesPerPacket;
  UInt32 mBytesPerFrame;
  UInt32 mChannelsPerFrame;
  UInt32 mBitsPerChannel;
  UInt32 mReserved;
};

struct AudioBuffer {
  UInt32 mNumberChannels;
  UInt32 mDataByteSize;
  void* mData;
};

struct AudioBufferList {
  UInt32 mNumberBuffers;
  AudioBuffer mBuffers[1];  // mNumberBuffers of them
};

struct AudioChannelDescription {
  AudioChannelLabel mChannelLabel;
  UInt32 mChannelFlags;
  Float32 mCoordinates[3];
};

struct AudioChannelLayout {
  AudioChannelLayoutTag mChannelLayoutTag;
  AudioChannelBitmap mChannelBitmap;
  UInt32 mNumberChannelDescriptions;
  AudioChannelDescription mChannelDescriptions[1];  // mNumberChannelDescriptions of them
};

constexpr AudioFormatID kAudioFormatLinearPCM = 'lpcm';
constexpr AudioFormatID kAudioFormatMPEG4AAC = 'aac ';
constexpr AudioFormatID kAudioFormatAppleLossless = 'alac';
constexpr AudioFormatID kAudioFormatMPEGLayer3 = '.mp3';
constexpr AudioFormatID kAudioFormatULaw = 'ulaw';
constexpr AudioFormatID kAudioFormatALaw = 'alaw';

constexpr AudioFormatFlags kAudioFormatFlagIsFloat = 1u << 0;
constexpr AudioFormatFlags kAudioFormatFlagIsBigEndian = 1u << 1;
constexpr AudioFormatFlags kAudioFormatFlagIsSignedInteger = 1u << 2;
constexpr AudioFormatFlags kAudioFormatFlagIsPacked = 1u << 3;
constexpr AudioFormatFlags kAudioFormatFlagIsAlignedHigh = 1u << 4;
constexpr AudioFormatFlags kAudioFormatFlagIsNonInterleaved = 1u << 5;
constexpr AudioFormatFlags kAudioFormatFlagIsNonMixable = 1u << 6;
constexpr AudioFormatFlags kAudioFormatFlagsAreAllClear = 1u << 31;
constexpr AudioFormatFlags kLinearPCMFormatFlagIsFloat = kAudioFormatFlagIsFloat;
constexpr AudioFormatFlags kLinearPCMFormatFlagIsBigEndian = kAudioFormatFlagIsBigEndian;
constexpr AudioFormatFlags kLinearPCMFormatFlagIsSignedInteger = kAudioFormatFlagIsSignedInteger;
constexpr AudioFormatFlags kLinearPCMFormatFlagIsPacked = kAudioFormatFlagIsPacked;
constexpr AudioFormatFlags kLinearPCMFormatFlagIsNonInterleaved = kAudioFormatFlagIsNonInterleaved;
// Host byte order on this platform is little-endian.
constexpr AudioFormatFlags kAudioFormatFlagsNativeEndian = 0;
constexpr AudioFormatFlags kAudioFormatFlagsNativeFloatPacked =
    kAudioFormatFlagIsFloat | kAudioFormatFlagsNativeEndian | kAudioFormatFlagIsPacked;

constexpr AudioChannelLayoutTag kAudioChannelLayoutTag_UseChannelDescriptions = 0;
constexpr AudioChannelLayoutTag kAudioChannelLayoutTag_UseChannelBitmap = 1u << 16;
constexpr AudioChannelLayoutTag kAudioChannelLayoutTag_Mono = (100u << 16) | 1;
constexpr AudioChannelLayoutTag kAudioChannelLayoutTag_Stereo = (101u << 16) | 2;
constexpr AudioChannelLayoutTag kAudioChannelLayoutTag_DiscreteInOrder = (147u << 16) | 0;

constexpr inline UInt32 AudioChannelLayoutTag_GetNumberOfChannels(AudioChannelLayoutTag tag) { return tag & 0xFFFF; }
