// QTSoundDescriptionCreate: the stored form is built with the container
// engine's sound entry, then read into a handle like any description from a file.
#include "MovieState.h"

#include <QuickTime/SoundDescriptionCreation.h>

#include <cstring>

using namespace vqt::movies;

namespace {

constexpr AudioFormatID kLinearPCM = 'lpcm';
constexpr UInt32 kFloatFlag = 1u << 0, kBigEndianFlag = 1u << 1, kSignedFlag = 1u << 2;

bool fitsVersion0(const AudioStreamBasicDescription& asbd) {
  return asbd.mFormatID == kLinearPCM && !(asbd.mFormatFlags & kFloatFlag) &&
         (asbd.mBitsPerChannel == 8 || asbd.mBitsPerChannel == 16) && asbd.mChannelsPerFrame >= 1 &&
         asbd.mChannelsPerFrame <= 2 && asbd.mSampleRate < 65536.0 && asbd.mFramesPerPacket == 1;
}

engine::FourCC version0Code(const AudioStreamBasicDescription& asbd) {
  if (asbd.mBitsPerChannel == 8) return (asbd.mFormatFlags & kSignedFlag) ? 'twos' : 'raw ';
  return (asbd.mFormatFlags & kBigEndianFlag) ? 'twos' : 'sowt';
}

}  // namespace

OSStatus QTSoundDescriptionCreate(AudioStreamBasicDescription* inASBD, void* inLayout, ByteCount inLayoutSize,
                                  void* inMagicCookie, ByteCount inMagicCookieSize, OSType inRequestedKind,
                                  SoundDescriptionHandle* outSndDesc) {
  if (outSndDesc) *outSndDesc = nullptr;
  if (!inASBD || !outSndDesc || (inLayoutSize && !inLayout) || (inMagicCookieSize && !inMagicCookie) ||
      inLayoutSize % 4 != 0)
    return setMoviesError(paramErr);
  const AudioStreamBasicDescription& asbd = *inASBD;
  if (!(asbd.mSampleRate > 0) || asbd.mChannelsPerFrame == 0 || asbd.mFormatID == 0) return setMoviesError(paramErr);
  bool version0 = false;
  switch (inRequestedKind) {
    case kQTSoundDescriptionKind_Movie_Version2:
    case kQTSoundDescriptionKind_Movie_AnyVersion:
      break;
    case kQTSoundDescriptionKind_Movie_Version0:
      if (!fitsVersion0(asbd)) return setMoviesError(paramErr);
      version0 = true;
      break;
    case kQTSoundDescriptionKind_Movie_LowestPossibleVersion:
      version0 = fitsVersion0(asbd);
      break;
    default:
      return setMoviesError(paramErr);
  }

  const bool pcm = asbd.mFormatID == kLinearPCM;
  engine::SoundSampleEntry entry(version0 ? version0Code(asbd) : asbd.mFormatID);
  if (version0) {
    entry.version = 0;
    entry.channelCount = static_cast<std::uint16_t>(asbd.mChannelsPerFrame);
    entry.sampleSize = static_cast<std::uint16_t>(asbd.mBitsPerChannel);
    entry.sampleRate = static_cast<std::uint32_t>(asbd.mSampleRate * 65536.0);
  } else {
    entry.version = 2;
    entry.channelCount = 3;
    entry.sampleSize = 16;
    entry.compressionId = -2;
    entry.sampleRate = 0x00010000;
    entry.audioSampleRate = asbd.mSampleRate;
    entry.audioChannels = asbd.mChannelsPerFrame;
    entry.constBitsPerChannel = pcm ? asbd.mBitsPerChannel : 0;
    entry.formatSpecificFlags = asbd.mFormatFlags;
    entry.constBytesPerAudioPacket = asbd.mBytesPerPacket;
    entry.constLPCMFramesPerAudioPacket = asbd.mFramesPerPacket;
  }
  if (inLayoutSize) {
    // The layout's fields are all 32-bit words, stored big-endian.
    engine::ByteWriter chan;
    chan.u32(0);
    const auto* words = static_cast<const std::uint8_t*>(inLayout);
    for (ByteCount at = 0; at < inLayoutSize; at += 4) {
      std::uint32_t word;
      std::memcpy(&word, words + at, 4);
      chan.u32(word);
    }
    entry.extensions.push_back({'chan', chan.take()});
  }
  if (inMagicCookieSize) {
    engine::ByteReader cookie(std::span(static_cast<const std::uint8_t*>(inMagicCookie), inMagicCookieSize));
    std::vector<std::uint8_t> trailing;
    engine::parseExtensions(cookie, entry.extensions, trailing);
    if (!trailing.empty()) return setMoviesError(paramErr);
  }
  engine::ByteWriter bytes;
  entry.write(bytes);
  const auto& stored = bytes.data();
  const OSErr error = VqtSoundDescriptionFromFile(stored.data(), stored.size(), outSndDesc);
  return setMoviesError(error);
}
