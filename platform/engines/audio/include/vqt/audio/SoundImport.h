// Import of ordinary sound files (WAV, AIFF and AIFF-C, MP3, M4A with AAC or ALAC, CAF)
// as the one sound track of a movie: the sample description a QuickTime file would
// carry and the packets, which stay in the file where they are.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "vqt/audio/PacketSource.h"
#include "vqt/audio/SoundFormat.h"

namespace vqt::audio {

struct ImportedPacket {
  std::int64_t fileOffset = 0;
  std::uint32_t byteSize = 0;
  std::uint32_t frames = 0;
};

struct ImportedSound {
  std::string path;
  // PCM comes back as 'sowt'/'twos'/'raw '/'ulaw'/'alaw' or version 2 'lpcm' describing
  // the file's own bytes; AAC as 'mp4a' with an 'esds' payload, ALAC as 'alac' with its
  // atom, MP3 as '.mp3'. The media time scale is sampleRate (rounded to whole hertz).
  SoundFormat format;
  // PCM packets are runs of whole frames (a media sample per frame, bytesPerFrame each);
  // compressed packets are the codec's own.
  std::vector<ImportedPacket> packets;
  std::int64_t totalFrames = 0;     // sum of packet frames: the media duration
  std::int64_t primingFrames = 0;   // encoder delay at the start (AAC, MP3), to edit out
  std::int64_t playableFrames = 0;  // frames after the priming that are sound, not padding

  std::uint32_t pcmBytesPerFrame() const;  // 0 for compressed formats
  // A packet source reading this import's packets from its file.
  std::unique_ptr<PacketSource> openPackets() const;
};

Status importSoundFile(const std::string& path, ImportedSound& sound);

}  // namespace vqt::audio
