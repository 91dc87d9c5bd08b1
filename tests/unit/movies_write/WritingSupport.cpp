#include "WritingSupport.h"

#include <QuickTime/MovieStorage.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace vqt::writing {

TempFolder::TempFolder() {
  char pattern[] = "/tmp/vqt-write-XXXXXX";
  path_ = ::mkdtemp(pattern) ? pattern : "/tmp";
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

Handle dataRefFor(const std::string& path) {
  CFStringRef text = CFStringCreateWithCString(nullptr, path.c_str(), kCFStringEncodingUTF8);
  Handle dataRef = nullptr;
  OSType type = 0;
  QTNewDataReferenceFromFullPathCFString(text, kQTPOSIXPathStyle, 0, &dataRef, &type);
  CFRelease(text);
  return dataRef;
}

OSErr createMovie(const std::string& path, TimeScale timeScale, Movie& movie, DataHandler& storage) {
  Handle dataRef = dataRefFor(path);
  const OSErr error = CreateMovieStorage(
      dataRef, AliasDataHandlerSubType, 'TVOD', -1,
      static_cast<SInt32>(createMovieFileDeleteCurFile | createMovieFileDontCreateResFile), &storage, &movie);
  DisposeHandle(dataRef);
  if (error == noErr) SetMovieTimeScale(movie, timeScale);
  return error;
}

Movie openMovie(const std::string& path) {
  Handle dataRef = dataRefFor(path);
  Movie movie = nullptr;
  short id = 0;
  NewMovieFromDataRef(&movie, 1, &id, dataRef, AliasDataHandlerSubType);
  DisposeHandle(dataRef);
  return movie;
}

ImageDescriptionHandle rawImageDescription(OSType codec, int width, int height) {
  return VqtNewImageDescription(codec, static_cast<SInt16>(width), static_cast<SInt16>(height));
}

SoundDescriptionHandle pcmDescription(int channels, int sampleRate) {
  AudioStreamBasicDescription asbd{};
  asbd.mSampleRate = sampleRate;
  asbd.mFormatID = 'lpcm';
  asbd.mFormatFlags = 12;  // signed integer, packed
  asbd.mBytesPerPacket = asbd.mBytesPerFrame = 2 * static_cast<UInt32>(channels);
  asbd.mFramesPerPacket = 1;
  asbd.mChannelsPerFrame = static_cast<UInt32>(channels);
  asbd.mBitsPerChannel = 16;
  SoundDescriptionHandle description = nullptr;
  QTSoundDescriptionCreate(&asbd, nullptr, 0, nullptr, 0, kQTSoundDescriptionKind_Movie_Version2, &description);
  return description;
}

Handle timecodeDescription(std::int32_t flags, std::int32_t timeScale, std::int32_t frameDuration,
                           int framesPerSecond) {
  Handle handle = NewHandleClear(sizeof(TimeCodeDescription));
  auto* description = reinterpret_cast<TimeCodeDescription*>(*handle);
  description->descSize = sizeof(TimeCodeDescription);
  description->dataFormat = TimeCodeMediaType;  // data reference index left 0, as writers often do
  description->timeCodeDef.flags = flags;
  description->timeCodeDef.fTimeScale = timeScale;
  description->timeCodeDef.frameDuration = frameDuration;
  description->timeCodeDef.numFrames = static_cast<UInt8>(framesPerSecond);
  return handle;
}

NewTrack addTrack(Movie movie, OSType type, TimeScale mediaScale, Fixed width, Fixed height, short volume) {
  NewTrack made;
  made.track = NewMovieTrack(movie, width, height, volume);
  made.media = NewTrackMedia(made.track, type, mediaScale, nullptr, 0);
  BeginMediaEdits(made.media);
  return made;
}

std::vector<std::uint8_t> pcmFrames(int channels, int firstFrame, int frames) {
  std::vector<std::uint8_t> bytes;
  for (int i = firstFrame; i < firstFrame + frames; ++i)
    for (int c = 0; c < channels; ++c) {
      const int value = (i * 7 + c * 1000) & 0x7FFF;
      bytes.push_back(static_cast<std::uint8_t>(value));
      bytes.push_back(static_cast<std::uint8_t>(value >> 8));
    }
  return bytes;
}

std::vector<std::uint8_t> twoVuyFrame(int width, int height, int frame) {
  std::vector<std::uint8_t> bytes;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; x += 2) {
      const auto luma = static_cast<std::uint8_t>(16 + (x * 3 + frame) % 200);
      bytes.insert(bytes.end(), {128, luma, 128, luma});
    }
  return bytes;
}

RawMovie writeRawMovie(const std::string& path, int width, int height, int frames,
                       const std::vector<TimeValue64>& offsets, int notSync) {
  RawMovie out;
  EXPECT_EQ(createMovie(path, 2400, out.movie, out.storage), noErr);
  out.video = addTrack(out.movie, VideoMediaType, 2400, width << 16, height << 16);
  out.sound = addTrack(out.movie, SoundMediaType, 48000, 0, 0, 0x100);
  auto image = reinterpret_cast<SampleDescriptionHandle>(rawImageDescription('2vuy', width, height));
  auto pcm = reinterpret_cast<SampleDescriptionHandle>(pcmDescription(2, 48000));
  for (int f = 0; f < frames; ++f) {
    const auto frame = twoVuyFrame(width, height, f);
    const TimeValue64 offset = f < static_cast<int>(offsets.size()) ? offsets[f] : 0;
    TimeValue64 decodeTime = -1;
    EXPECT_EQ(AddMediaSample2(out.video.media, frame.data(), static_cast<ByteCount>(frame.size()), 100, offset, image,
                              1, f == notSync ? mediaSampleNotSync : 0, &decodeTime),
              noErr);
    EXPECT_EQ(decodeTime, f * 100);
    const auto block = pcmFrames(2, f * 2000, 2000);
    EXPECT_EQ(AddMediaSample2(out.sound.media, block.data(), static_cast<ByteCount>(block.size()), 1, 0, pcm, 2000, 0,
                              nullptr),
              noErr);
  }
  DisposeHandle(reinterpret_cast<Handle>(image));
  DisposeHandle(reinterpret_cast<Handle>(pcm));
  for (const NewTrack& t : {out.video, out.sound}) {
    EXPECT_EQ(EndMediaEdits(t.media), noErr);
    EXPECT_EQ(InsertMediaIntoTrack(t.track, 0, 0, GetMediaDuration(t.media), 0x10000), noErr);
  }
  return out;
}

std::vector<std::uint8_t> sampleAt(Media media, TimeValue64 time) {
  ByteCount size = 0;
  if (GetMediaSample2(media, nullptr, 0, &size, time, nullptr, nullptr, nullptr, nullptr, nullptr, 1, nullptr,
                      nullptr) != noErr)
    return {};
  std::vector<std::uint8_t> bytes(size);
  GetMediaSample2(media, bytes.data(), size, &size, time, nullptr, nullptr, nullptr, nullptr, nullptr, 1, nullptr,
                  nullptr);
  return bytes;
}

std::vector<std::string> topLevelAtoms(const std::string& path) {
  std::vector<std::string> types;
  std::ifstream in(path, std::ios::binary);
  std::uint64_t offset = 0;
  const auto fileSize = std::filesystem::file_size(path);
  while (offset + 8 <= fileSize) {
    unsigned char header[16] = {};
    in.seekg(static_cast<std::streamoff>(offset));
    in.read(reinterpret_cast<char*>(header), 16);
    std::uint64_t size = (std::uint64_t(header[0]) << 24) | (header[1] << 16) | (header[2] << 8) | header[3];
    if (size == 1) {
      size = 0;
      for (int i = 8; i < 16; ++i) size = size << 8 | header[i];
    }
    if (size < 8) break;
    types.emplace_back(reinterpret_cast<char*>(header + 4), 4);
    offset += size;
  }
  return types;
}

}  // namespace vqt::writing
