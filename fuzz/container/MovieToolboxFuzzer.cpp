// Fuzzes the Movie Toolbox reading calls: the input becomes an in-memory file
// that NewMovieFromProperties opens by path; every track's samples, sample
// descriptions, interesting times, timecode, user data and metadata are then
// asked for, as a reader would.
#include <QuickTime/Movies.h>

#include <CoreFoundation/CoreFoundation.h>

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

constexpr SInt64 kMaxSamplesWalked = 2048;
constexpr int kMaxSteps = 2048;
constexpr ByteCount kMaxSampleBytes = 1 << 20;

Movie openFromBytes(const std::uint8_t* data, std::size_t size) {
  const int fd = memfd_create("movie", MFD_CLOEXEC);
  if (fd < 0) return nullptr;
  std::size_t written = 0;
  while (written < size) {
    const ssize_t n = write(fd, data + written, size - written);
    if (n <= 0) break;
    written += static_cast<std::size_t>(n);
  }
  const std::string path = "/proc/self/fd/" + std::to_string(fd);
  CFStringRef text = CFStringCreateWithCString(nullptr, path.c_str(), kCFStringEncodingUTF8);
  QTNewMoviePropertyElement location{kQTPropertyClass_DataLocation, kQTDataLocationPropertyID_CFStringPosixPath,
                                     sizeof text, &text, 0};
  Movie movie = nullptr;
  NewMovieFromProperties(1, &location, 0, nullptr, &movie);
  CFRelease(text);
  close(fd);  // the movie keeps its own descriptor
  return movie;
}

void walkUserData(UserData list) {
  Handle item = NewHandle(0);
  for (OSType type = GetNextUserDataType(list, 0); type != 0; type = GetNextUserDataType(list, type)) {
    for (short i = 1; i <= CountUserDataType(list, type) && i < 64; ++i) {
      GetUserData(list, item, type, i);
      GetUserDataText(list, item, type, i, 0);
    }
  }
  DisposeHandle(item);
}

void walkMedia(Media media) {
  OSType type = 0;
  Str255 name{};
  GetMediaHandlerDescription(media, &type, name, nullptr);
  GetMediaDuration(media);
  GetMediaTimeScale(media);
  std::vector<UInt8> buffer;
  Handle description = NewHandle(0);
  const SInt64 count = std::min<SInt64>(GetMediaSampleCount(media), kMaxSamplesWalked);
  for (SInt64 sample = 1; sample <= count + 1; ++sample) {
    TimeValue64 decodeTime = 0, duration = 0, displayTime = 0, found = 0;
    SampleNumToMediaDecodeTime(media, sample, &decodeTime, &duration);
    SampleNumToMediaDisplayTime(media, sample, &displayTime, &duration);
    SInt64 back = 0;
    MediaDisplayTimeToSampleNum(media, displayTime, &back, nullptr, nullptr);
    MediaDecodeTimeToSampleNum(media, decodeTime, &back, nullptr, nullptr);
    GetMediaNextInterestingDecodeTime(media, nextTimeSyncSample | nextTimeEdgeOK, decodeTime, -fixed1, &found, nullptr);
    GetMediaNextInterestingDecodeTime(media, nextTimeSyncSample, decodeTime, fixed1, &found, nullptr);
    ByteCount size = 0;
    MediaSampleFlags flags = 0;
    if (GetMediaSample2(media, nullptr, 0, &size, decodeTime, nullptr, nullptr, nullptr,
                        reinterpret_cast<SampleDescriptionHandle>(description), nullptr, 4, nullptr, &flags) != noErr)
      continue;
    if (size <= kMaxSampleBytes) {
      buffer.resize(size);
      GetMediaSample2(media, buffer.data(), size, &size, decodeTime, nullptr, nullptr, nullptr, nullptr, nullptr, 4,
                      nullptr, nullptr);
    }
    if (type == VideoMediaType && sample == 1) {
      auto image = reinterpret_cast<ImageDescriptionHandle>(description);
      PixelAspectRatioImageDescriptionExtension pasp{};
      ICMImageDescriptionGetProperty(image, kQTPropertyClass_ImageDescription,
                                     kICMImageDescriptionPropertyID_PixelAspectRatio, sizeof pasp, &pasp, nullptr);
    }
  }
  DisposeHandle(description);
  walkUserData(GetMediaUserData(media));

  MediaHandler handler = GetMediaHandler(media);
  SInt32 frame = 0;
  TimeCodeDef definition{};
  TimeCodeRecord record{};
  UserData source = nullptr;
  NewUserData(&source);
  if (TCGetCurrentTimeCode(handler, &frame, &definition, &record, &source) == noErr) {
    Str255 text{};
    TCTimeCodeToString(handler, &definition, &record, text);
    TCTimeCodeToFrameNumber(handler, &definition, &record, &frame);
  }
  walkUserData(source);
  DisposeUserData(source);
}

void walkTrack(Track track) {
  TimeValue time = 0;
  short flags = nextTimeMediaSample | nextTimeEdgeOK;
  for (int step = 0; step < kMaxSteps; ++step) {
    TimeValue next = -1, duration = 0;
    GetTrackNextInterestingTime(track, flags, time, fixed1, &next, &duration);
    if (next < 0) break;
    if (step > 0 && next <= time) __builtin_trap();  // stepping must move forward
    TrackTimeToMediaTime(next, track);
    time = next;
    flags = nextTimeStep;
  }
  TimeValue previous = -1;
  GetTrackNextInterestingTime(track, nextTimeSyncSample | nextTimeEdgeOK, GetTrackDuration(track), -fixed1, &previous,
                              nullptr);
  walkUserData(GetTrackUserData(track));
  walkMedia(GetTrackMedia(track));
}

void walkMetadata(Movie movie) {
  QTMetaDataRef metadata = nullptr;
  if (QTCopyMovieMetaData(movie, &metadata) != noErr) return;
  QTMetaDataItem item = kQTMetaDataItemUninitialized;
  UInt8 value[1024];
  while (QTMetaDataGetNextItem(metadata, kQTMetaDataStorageFormatQuickTime, item, kQTMetaDataKeyFormatQuickTime,
                               nullptr, 0, &item) == noErr) {
    ByteCount keySize = 0, used = 0;
    QTMetaDataGetItemPropertyInfo(metadata, item, kPropertyClass_MetaDataItem, kQTMetaDataItemPropertyID_Key, nullptr,
                                  &keySize, nullptr);
    std::vector<UInt8> key(keySize + 4);
    QTMetaDataGetItemProperty(metadata, item, kPropertyClass_MetaDataItem, kQTMetaDataItemPropertyID_Key, keySize,
                              key.data(), &used);
    UInt32 type = 0;
    QTMetaDataGetItemProperty(metadata, item, kPropertyClass_MetaDataItem, kQTMetaDataItemPropertyID_DataType, 4, &type,
                              &used);
    QTMetaDataGetItemProperty(metadata, item, kPropertyClass_MetaDataItem, kQTMetaDataItemPropertyID_Value,
                              sizeof value, value, &used);
  }
  QTMetaDataRelease(metadata);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Movie movie = openFromBytes(data, size);
  if (!movie) return 0;
  GetMovieDuration(movie);
  for (SInt32 i = 1; i <= GetMovieTrackCount(movie); ++i) walkTrack(GetMovieIndTrack(movie, i));
  walkUserData(GetMovieUserData(movie));
  walkMetadata(movie);
  DisposeMovie(movie);
  return 0;
}
