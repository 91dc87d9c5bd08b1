// Appending samples to a media: the data goes to the end of the movie's file
// at once, the sample (its description, duration, display offset, sync and
// dependency flags) to the media's table.
#include "MovieState.h"

#include <cstring>

using namespace vqt::movies;

namespace {

// The 'stsd' entry bytes of a description handle as given, by media type. Timecode
// descriptions hold their fields in host order (as a TimeCodeDescription),
// followed by the source reference's atoms, which are already big-endian.
std::vector<std::uint8_t> storedEntry(OSType mediaType, SampleDescriptionHandle handle) {
  if (mediaType == VideoMediaType) return VqtImageDescriptionToFile(reinterpret_cast<ImageDescriptionHandle>(handle));
  if (mediaType == SoundMediaType) return VqtSoundDescriptionToFile(reinterpret_cast<SoundDescriptionHandle>(handle));
  std::vector<std::uint8_t> bytes = VqtSampleDescriptionToFile(handle);
  if (mediaType == TimeCodeMediaType && bytes.size() >= 34) {
    for (std::size_t at = 16; at < 32; at += 4) {
      std::uint32_t value;
      std::memcpy(&value, bytes.data() + at, 4);
      for (int i = 0; i < 4; ++i) bytes[at + i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
    }
    // The empty source reference of a bare description is not stored.
    if (bytes.size() == 38 && bytes[34] == 0 && bytes[35] == 0 && bytes[36] == 0 && bytes[37] == 0) bytes.resize(34);
    const auto size = static_cast<std::uint32_t>(bytes.size());
    for (int i = 0; i < 4; ++i) bytes[i] = static_cast<std::uint8_t>(size >> (24 - 8 * i));
  }
  return bytes;
}

std::vector<std::uint8_t> descriptionEntry(OSType mediaType, SampleDescriptionHandle handle) {
  std::vector<std::uint8_t> bytes = storedEntry(mediaType, handle);
  // A description built by hand may leave its data reference index 0; the
  // media's data is in this file, which is reference 1.
  if (bytes.size() >= 16 && bytes[14] == 0 && bytes[15] == 0) bytes[15] = 1;
  return bytes;
}

}  // namespace

namespace {

// 'sdtp' byte from the sample flags: two bits each for "depends on others",
// "is depended on" and "has redundant coding", 1 meaning yes and 2 no.
std::uint8_t dependencyByte(MediaSampleFlags flags) {
  struct {
    int shift;
    MediaSampleFlags yes, no;
  } constexpr kFields[] = {
      {4, mediaSampleDependsOnOthers, mediaSampleDoesNotDependOnOthers},
      {2, mediaSampleIsDependedOnByOthers, mediaSampleIsNotDependedOnByOthers},
      {0, mediaSampleHasRedundantCoding, mediaSampleHasNoRedundantCoding},
  };
  std::uint8_t byte = 0;
  for (const auto& field : kFields) {
    if (flags & field.yes)
      byte |= static_cast<std::uint8_t>(1 << field.shift);
    else if (flags & field.no)
      byte |= static_cast<std::uint8_t>(2 << field.shift);
  }
  return byte;
}

// A description goes into the file only if the reader will take it back:
// a damaged one would make the whole movie unreadable.
bool readableEntry(const std::vector<std::uint8_t>& entry, OSType handlerType) {
  engine::ByteReader in(entry);
  engine::AtomHeader header;
  if (engine::readAtomHeader(in, header) != engine::Error::none || header.size != entry.size()) return false;
  auto parsed = engine::SampleDescriptionAtom::createEntry(header.type, handlerType);
  engine::ByteReader payload = in.sub(in.remaining());
  engine::ParseContext context;
  context.handlerType = handlerType;
  return parsed && parsed->parse(payload, context) == engine::Error::none;
}

OSErr addSamples(Media theMedia, const UInt8* data, ByteCount size, TimeValue64 duration, TimeValue64 displayOffset,
                 SampleDescriptionHandle description, ItemCount count, MediaSampleFlags flags,
                 TimeValue64* decodeTime) {
  ToEdit<MediaObject> media = mediaToEdit(theMedia);
  if (!media) return invalidMedia;
  if (!media->exists) return setMoviesError(invalidMedia);
  if (!data || !description || !*description || count < 1 || size % static_cast<ByteCount>(count) != 0 ||
      duration < 0 || duration > UINT32_MAX || displayOffset < INT32_MIN || displayOffset > INT32_MAX)
    return setMoviesError(paramErr);
  MovieObject& movie = *media->track->movie;
  engine::BuiltTrack* track = editableTrack(*media->track);
  if (!track) return GetMoviesError();
  // Samples can only go into a file this movie is writing.
  if (!movie.storage) return setMoviesError(noDataHandler);
  std::vector<std::uint8_t> entry = descriptionEntry(track->media.handlerType, description);
  if (!readableEntry(entry, track->media.handlerType)) return setMoviesError(invalidSampleDescription);
  const std::uint64_t startTime = track->media.duration();
  std::uint64_t offset = 0;
  if (engine::Error error = movie.storage->appendMediaData(std::span(data, size), offset); error != engine::Error::none)
    return setMoviesError(toMoviesError(error));
  engine::SampleRun run;
  run.offset = offset;
  run.size = size / static_cast<ByteCount>(count);
  run.count = static_cast<std::uint32_t>(count);
  run.duration = static_cast<std::uint32_t>(duration);
  run.displayOffset = static_cast<std::int32_t>(displayOffset);
  run.description = track->media.addDescription(std::move(entry));
  run.sync = !(flags & mediaSampleNotSync);
  run.dependency = dependencyByte(flags);
  track->media.append(run);
  markEdited(movie);
  if (decodeTime) *decodeTime = static_cast<TimeValue64>(startTime);
  return setMoviesError(noErr);
}

}  // namespace

OSErr AddMediaSample2(Media theMedia, const UInt8* dataIn, ByteCount size, TimeValue64 decodeDurationPerSample,
                      TimeValue64 displayOffset, SampleDescriptionHandle sampleDescriptionH, ItemCount numberOfSamples,
                      MediaSampleFlags sampleFlags, TimeValue64* sampleDecodeTimeOut) {
  return addSamples(theMedia, dataIn, size, decodeDurationPerSample, displayOffset, sampleDescriptionH, numberOfSamples,
                    sampleFlags, sampleDecodeTimeOut);
}

OSErr AddMediaSample(Media theMedia, Handle dataIn, SInt32 inOffset, UInt32 size, TimeValue durationPerSample,
                     SampleDescriptionHandle sampleDescriptionH, SInt32 numberOfSamples, short sampleFlags,
                     TimeValue* sampleTime) {
  if (!dataIn || !*dataIn || inOffset < 0 || numberOfSamples < 1 ||
      std::uint64_t(inOffset) + size > std::uint64_t(GetHandleSize(dataIn)))
    return setMoviesError(paramErr);
  TimeValue64 decodeTime = 0;
  const OSErr error = addSamples(theMedia, reinterpret_cast<const UInt8*>(*dataIn) + inOffset, size, durationPerSample,
                                 0, sampleDescriptionH, static_cast<ItemCount>(numberOfSamples),
                                 static_cast<std::uint16_t>(sampleFlags), &decodeTime);
  if (sampleTime) *sampleTime = error == noErr ? clampTime(decodeTime) : -1;
  return error;
}
