// Media queries: time scales and durations, sample numbers against decode and
// display times, interesting decode times, and reading samples with their
// descriptions.
#include "MovieState.h"
#include "vqt/movies/ReadAheadSource.h"

#include <algorithm>
#include <cstring>

using namespace vqt::movies;

namespace vqt::movies {

OSErr fillSampleDescription(const engine::Media& media, std::uint32_t index, SampleDescriptionHandle handle) {
  if (index == 0 || index > media.descriptions.size()) return invalidSampleDescIndex;
  const engine::SampleEntry* entry = media.descriptions[index - 1];
  engine::ByteWriter bytes;
  entry->write(bytes);
  const auto& data = bytes.data();
  Handle made = nullptr;
  OSErr error = noErr;
  if (dynamic_cast<const engine::VisualSampleEntry*>(entry)) {
    ImageDescriptionHandle image = nullptr;
    error = VqtImageDescriptionFromFile(data.data(), data.size(), &image);
    made = reinterpret_cast<Handle>(image);
  } else if (dynamic_cast<const engine::SoundSampleEntry*>(entry)) {
    SoundDescriptionHandle sound = nullptr;
    error = VqtSoundDescriptionFromFile(data.data(), data.size(), &sound);
    made = reinterpret_cast<Handle>(sound);
  } else {
    SampleDescriptionHandle generic = nullptr;
    error = VqtSampleDescriptionFromFile(data.data(), data.size(), &generic);
    made = reinterpret_cast<Handle>(generic);
  }
  if (error != noErr) return error == paramErr ? invalidSampleDescription : error;
  const Size size = GetHandleSize(made);
  SetHandleSize(reinterpret_cast<Handle>(handle), size);
  if (MemError() != noErr) {
    DisposeHandle(made);
    return memFullErr;
  }
  std::memcpy(*handle, *made, static_cast<std::size_t>(size));
  DisposeHandle(made);
  return noErr;
}

}  // namespace vqt::movies

namespace {

const engine::SampleTable* tableOf(Media theMedia) {
  ToRead<MediaObject> media = mediaToRead(theMedia);
  return media ? &media->model->samples : nullptr;
}

template <class T>
void put(T* out, T value) {
  if (out) *out = value;
}

bool validSample(const engine::SampleTable& table, SInt64 sample) {
  return sample >= 1 && sample <= static_cast<SInt64>(table.sampleCount());
}

MediaSampleFlags flagsOf(const engine::SampleTable& table, std::uint32_t sample) {
  MediaSampleFlags flags = table.isSync(sample) ? 0 : mediaSampleNotSync;
  // 'sdtp' bits: 2 bits each of "depends on", "is depended on", "redundancy",
  // value 1 meaning yes and 2 meaning no.
  const std::uint8_t dependency = table.dependencyFlags(sample);
  struct {
    int shift;
    MediaSampleFlags yes, no;
  } constexpr kFields[] = {
      {4, mediaSampleDependsOnOthers, mediaSampleDoesNotDependOnOthers},
      {2, mediaSampleIsDependedOnByOthers, mediaSampleIsNotDependedOnByOthers},
      {0, mediaSampleHasRedundantCoding, mediaSampleHasNoRedundantCoding},
  };
  for (const auto& field : kFields) {
    const int value = (dependency >> field.shift) & 3;
    if (value == 1) flags |= field.yes;
    if (value == 2) flags |= field.no;
  }
  return flags;
}

}  // namespace

void GetMediaHandlerDescription(Media theMedia, OSType* mediaType, Str255 creatorName, OSType* creatorManufacturer) {
  ToRead<MediaObject> media = mediaToRead(theMedia);
  if (!media) return;
  const engine::Media& model = *media->model;
  put(mediaType, static_cast<OSType>(model.handlerType));
  put(creatorManufacturer, static_cast<OSType>(model.handlerManufacturer));
  if (creatorName) {
    // Movie files store a Pascal string, MP4 files a C string.
    const auto& name = model.handlerName;
    std::size_t start = 0, length = 0;
    if (!name.empty() && name[0] == name.size() - 1) {
      start = 1;
      length = name[0];
    } else {
      length = static_cast<std::size_t>(std::find(name.begin(), name.end(), 0) - name.begin());
    }
    length = std::min<std::size_t>(length, 255);
    creatorName[0] = static_cast<unsigned char>(length);
    if (length) std::memcpy(creatorName + 1, name.data() + start, length);
  }
  setMoviesError(noErr);
}

TimeScale GetMediaTimeScale(Media theMedia) {
  ToRead<MediaObject> media = mediaToRead(theMedia);
  if (!media) return 0;
  setMoviesError(noErr);
  return static_cast<TimeScale>(media->model->timeScale);
}

TimeValue GetMediaDuration(Media theMedia) {
  ToRead<MediaObject> media = mediaToRead(theMedia);
  if (!media) return -1;
  setMoviesError(noErr);
  return clampTime(static_cast<std::int64_t>(std::min<std::uint64_t>(media->model->duration, INT64_MAX)));
}

TimeValue64 GetMediaDisplayDuration(Media theMedia) {
  const engine::SampleTable* table = tableOf(theMedia);
  if (!table) return 0;
  setMoviesError(noErr);
  return table->displayEnd() - table->displayStart();
}

SInt32 GetMediaSampleCount(Media theMedia) {
  const engine::SampleTable* table = tableOf(theMedia);
  if (!table) return 0;
  setMoviesError(noErr);
  return static_cast<SInt32>(std::min<std::uint32_t>(table->sampleCount(), INT32_MAX));
}

SInt32 GetMediaSampleDescriptionCount(Media theMedia) {
  ToRead<MediaObject> media = mediaToRead(theMedia);
  if (!media) return 0;
  setMoviesError(noErr);
  return static_cast<SInt32>(media->model->descriptions.size());
}

void GetMediaSampleDescription(Media theMedia, SInt32 index, SampleDescriptionHandle descH) {
  ToRead<MediaObject> media = mediaToRead(theMedia);
  if (!media) return;
  if (!descH || index < 1) {
    setMoviesError(descH ? invalidSampleDescIndex : nilHandleErr);
    return;
  }
  setMoviesError(fillSampleDescription(*media->model, static_cast<std::uint32_t>(index), descH));
}

void SampleNumToMediaDecodeTime(Media theMedia, SInt64 sampleNum, TimeValue64* sampleDecodeTime,
                                TimeValue64* sampleDecodeDuration) {
  put<TimeValue64>(sampleDecodeTime, -1);
  put<TimeValue64>(sampleDecodeDuration, 0);
  const engine::SampleTable* table = tableOf(theMedia);
  if (!table) return;
  std::int64_t time = 0, duration = 0;
  if (!validSample(*table, sampleNum) ||
      table->decodeTime(static_cast<std::uint32_t>(sampleNum), time, duration) != engine::Error::none) {
    setMoviesError(invalidSampleNum);
    return;
  }
  put<TimeValue64>(sampleDecodeTime, time);
  put<TimeValue64>(sampleDecodeDuration, duration);
  setMoviesError(noErr);
}

void SampleNumToMediaDisplayTime(Media theMedia, SInt64 sampleNum, TimeValue64* sampleDisplayTime,
                                 TimeValue64* sampleDisplayDuration) {
  put<TimeValue64>(sampleDisplayTime, -1);
  put<TimeValue64>(sampleDisplayDuration, 0);
  const engine::SampleTable* table = tableOf(theMedia);
  if (!table) return;
  std::int64_t time = 0, duration = 0;
  if (!validSample(*table, sampleNum) ||
      table->displayTime(static_cast<std::uint32_t>(sampleNum), time, duration) != engine::Error::none) {
    setMoviesError(invalidSampleNum);
    return;
  }
  put<TimeValue64>(sampleDisplayTime, time);
  put<TimeValue64>(sampleDisplayDuration, duration);
  setMoviesError(noErr);
}

void MediaDecodeTimeToSampleNum(Media theMedia, TimeValue64 decodeTime, SInt64* sampleNum,
                                TimeValue64* sampleDecodeTime, TimeValue64* sampleDecodeDuration) {
  put<SInt64>(sampleNum, -1);
  put<TimeValue64>(sampleDecodeTime, -1);
  put<TimeValue64>(sampleDecodeDuration, 0);
  const engine::SampleTable* table = tableOf(theMedia);
  if (!table) return;
  std::uint32_t sample = 0;
  if (table->sampleAtDecodeTime(decodeTime, sample) != engine::Error::none) {
    setMoviesError(invalidTime);
    return;
  }
  std::int64_t time = 0, duration = 0;
  table->decodeTime(sample, time, duration);
  put<SInt64>(sampleNum, sample);
  put<TimeValue64>(sampleDecodeTime, time);
  put<TimeValue64>(sampleDecodeDuration, duration);
  setMoviesError(noErr);
}

void MediaDisplayTimeToSampleNum(Media theMedia, TimeValue64 displayTime, SInt64* sampleNum,
                                 TimeValue64* sampleDisplayTime, TimeValue64* sampleDisplayDuration) {
  put<SInt64>(sampleNum, -1);
  put<TimeValue64>(sampleDisplayTime, -1);
  put<TimeValue64>(sampleDisplayDuration, 0);
  const engine::SampleTable* table = tableOf(theMedia);
  if (!table) return;
  std::uint32_t sample = 0;
  if (table->sampleAtDisplayTime(displayTime, sample) != engine::Error::none) {
    setMoviesError(invalidTime);
    return;
  }
  std::int64_t time = 0, duration = 0;
  table->displayTime(sample, time, duration);
  put<SInt64>(sampleNum, sample);
  put<TimeValue64>(sampleDisplayTime, time);
  put<TimeValue64>(sampleDisplayDuration, duration);
  setMoviesError(noErr);
}

namespace {

// The sample of `time` in decode order, or the nearest one in the search
// direction when the time lies outside the media.
std::optional<std::uint32_t> nextInterestingSample(const engine::SampleTable& table, short flags, std::int64_t time,
                                                   bool forward) {
  const std::uint32_t count = table.sampleCount();
  if (count == 0) return std::nullopt;
  const bool edgeOK = (flags & nextTimeEdgeOK) != 0;
  const bool wantSync = (flags & nextTimeSyncSample) != 0;
  auto forwardFrom = [&](std::uint32_t first) -> std::optional<std::uint32_t> {
    if (first > count) return std::nullopt;
    return wantSync ? table.syncAtOrAfter(first) : std::optional<std::uint32_t>(first);
  };
  auto backwardFrom = [&](std::uint32_t last) -> std::optional<std::uint32_t> {
    if (last == 0) return std::nullopt;
    return wantSync ? table.syncAtOrBefore(last) : std::optional<std::uint32_t>(last);
  };
  std::uint32_t sample = 0;
  if (table.sampleAtDecodeTime(time, sample) != engine::Error::none) {
    // Before the media everything lies ahead; past its end everything behind.
    if (time < 0) return forward ? forwardFrom(1) : std::nullopt;
    return forward ? std::nullopt : backwardFrom(count);
  }
  std::int64_t start = 0, duration = 0;
  table.decodeTime(sample, start, duration);
  const bool atStart = start == time;
  if (forward) return forwardFrom(atStart && edgeOK ? sample : sample + 1);
  // Backward: a sample that starts before `time` counts; one that starts at it only with EdgeOK.
  return backwardFrom(atStart && !edgeOK ? sample - 1 : sample);
}

}  // namespace

void GetMediaNextInterestingDecodeTime(Media theMedia, short flags, TimeValue64 decodeTime, Fixed rate,
                                       TimeValue64* interestingDecodeTime, TimeValue64* interestingDecodeDuration) {
  put<TimeValue64>(interestingDecodeTime, -1);
  put<TimeValue64>(interestingDecodeDuration, 0);
  const engine::SampleTable* table = tableOf(theMedia);
  if (!table) return;
  if ((flags & (nextTimeMediaSample | nextTimeSyncSample | nextTimeStep)) == 0) {
    setMoviesError(paramErr);
    return;
  }
  const auto sample = nextInterestingSample(*table, flags, decodeTime, rate >= 0);
  setMoviesError(noErr);
  if (!sample) return;
  std::int64_t time = 0, duration = 0;
  table->decodeTime(*sample, time, duration);
  put<TimeValue64>(interestingDecodeTime, time);
  put<TimeValue64>(interestingDecodeDuration, duration);
}

void GetMediaNextInterestingDisplayTime(Media theMedia, short flags, TimeValue64 displayTime, Fixed rate,
                                        TimeValue64* interestingDisplayTime, TimeValue64* interestingDisplayDuration) {
  put<TimeValue64>(interestingDisplayTime, -1);
  put<TimeValue64>(interestingDisplayDuration, 0);
  const engine::SampleTable* table = tableOf(theMedia);
  if (!table) return;
  setMoviesError(noErr);
  const bool forward = rate >= 0;
  const bool inclusive = (flags & nextTimeEdgeOK) != 0;
  std::optional<std::int64_t> found;
  if (flags & nextTimeSyncSample) {
    // Walk display boundaries until one belongs to a sync sample; the walk
    // is as long as the distance between sync samples, and bounded for
    // tables that have (almost) none.
    constexpr std::uint32_t kMaxSteps = 1u << 16;
    std::optional<std::int64_t> at = forward ? table->displayBoundaryAfter(displayTime, inclusive)
                                             : table->displayBoundaryBefore(displayTime, inclusive);
    for (std::uint32_t guard = 0; at && guard < kMaxSteps; ++guard) {
      std::uint32_t sample = 0;
      if (table->sampleAtDisplayTime(*at, sample) == engine::Error::none && table->isSync(sample)) {
        found = at;
        break;
      }
      at = forward ? table->displayBoundaryAfter(*at, false) : table->displayBoundaryBefore(*at, false);
    }
  } else {
    found = forward ? table->displayBoundaryAfter(displayTime, inclusive)
                    : table->displayBoundaryBefore(displayTime, inclusive);
  }
  if (!found) return;
  std::uint32_t sample = 0;
  std::int64_t time = 0, duration = 0;
  if (table->sampleAtDisplayTime(*found, sample) == engine::Error::none) table->displayTime(sample, time, duration);
  put<TimeValue64>(interestingDisplayTime, *found);
  put<TimeValue64>(interestingDisplayDuration, duration);
}

OSErr GetMediaSample2(Media theMedia, UInt8* dataOut, ByteCount dataOutBufferSize, ByteCount* sampleDataSizeOut,
                      TimeValue64 decodeTime, TimeValue64* sampleDecodeTimeOut, TimeValue64* decodeDurationPerSampleOut,
                      TimeValue64* displayOffsetOut, SampleDescriptionHandle sampleDescriptionH,
                      ItemCount* sampleDescriptionIndexOut, ItemCount maxNumberOfSamples, ItemCount* numberOfSamplesOut,
                      MediaSampleFlags* sampleFlagsOut) {
  ToRead<MediaObject> media = mediaToRead(theMedia);
  if (!media) return invalidMedia;
  const engine::Media& model = *media->model;
  const engine::SampleTable& table = model.samples;
  std::uint32_t first = 0;
  if (table.sampleAtDecodeTime(decodeTime, first) != engine::Error::none) return setMoviesError(invalidTime);
  engine::SampleLocation where;
  if (table.location(first, where) != engine::Error::none) return setMoviesError(invalidSampleTable);

  // Following samples of the same chunk are contiguous in the file.
  const std::uint32_t wanted = maxNumberOfSamples > 1 ? static_cast<std::uint32_t>(maxNumberOfSamples) : 1;
  std::uint32_t count = 1;
  std::uint64_t total = where.size;
  for (std::uint32_t next = first + 1; count < std::min(wanted, where.samplesLeftInChunk); ++next, ++count) {
    engine::SampleLocation more;
    if (table.location(next, more) != engine::Error::none) break;
    if (dataOut && total + more.size > dataOutBufferSize) break;
    total += more.size;
  }
  if (total > UINT32_MAX) return setMoviesError(invalidSampleTable);
  // Bytes that would reach past the end of the data are a damaged table: refuse them at the
  // size query already, so that no caller allocates for data the file does not hold.
  const std::uint64_t available = media->track->movie->model->source().size();
  if (where.offset > available || total > available - where.offset) return setMoviesError(invalidSampleTable);
  put<ByteCount>(sampleDataSizeOut, static_cast<ByteCount>(total));
  if (dataOut) {
    if (total > dataOutBufferSize) return setMoviesError(paramErr);
    const engine::Error read = media->track->movie->model->readSampleData(where.offset, std::span(dataOut, total));
    if (read != engine::Error::none) return setMoviesError(read == engine::Error::ioError ? ioErr : invalidSampleTable);
    // A session given this sample next may read the following ones itself.
    if (count == 1) VqtOfferReadAhead(toRef(media.get()), where.descriptionIndex, first, static_cast<ByteCount>(total));
  }
  std::int64_t start = 0, duration = 0;
  table.decodeTime(first, start, duration);
  put<TimeValue64>(sampleDecodeTimeOut, start);
  put<TimeValue64>(decodeDurationPerSampleOut, duration);
  put<TimeValue64>(displayOffsetOut, table.compositionOffset(first));
  put<ItemCount>(sampleDescriptionIndexOut, static_cast<ItemCount>(where.descriptionIndex));
  put<ItemCount>(numberOfSamplesOut, static_cast<ItemCount>(count));
  put<MediaSampleFlags>(sampleFlagsOut, flagsOf(table, first));
  if (sampleDescriptionH) {
    if (OSErr error = fillSampleDescription(model, where.descriptionIndex, sampleDescriptionH); error != noErr)
      return setMoviesError(error);
  }
  return setMoviesError(noErr);
}
