// The timecode media handler over 'tmcd' tracks: each sample holds the frame
// number (big-endian 32 bits) at its start; the description gives the rate,
// the flags and the source reference.
#include "MovieState.h"

#include "vqt/container/Timecode.h"
#include "vqt/formats/ByteIO.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>

using namespace vqt::movies;

namespace {

// The handler's media, when it is a timecode media.
MediaObject* timecodeMedia(MediaHandler mh, HandlerError& error) {
  ToRead<MediaHandlerObject> handler = handlerToRead(mh);
  if (!handler) {
    error = badComponentInstance;
    return nullptr;
  }
  if (handler->media->model->handlerType != TimeCodeMediaType) {
    error = badComponentSelector;
    return nullptr;
  }
  error = noErr;
  return handler->media;
}

void fillRecord(std::int64_t frame, const TimeCodeDef& definition, TimeCodeRecord* record) {
  if (!record) return;
  if (definition.flags & tcCounter) {
    record->c.counter = static_cast<SInt32>(frame);
    return;
  }
  const auto fields =
      engine::timecodeFromFrameNumber(frame, static_cast<std::uint32_t>(definition.flags), definition.numFrames);
  record->t.hours = fields.hours;
  record->t.minutes = static_cast<UInt8>(fields.minutes | (fields.negative ? tctNegFlag : 0));
  record->t.seconds = fields.seconds;
  record->t.frames = fields.frames;
}

engine::TimecodeFields fieldsOf(const TimeCodeRecord& record) {
  engine::TimecodeFields fields;
  fields.negative = (record.t.minutes & tctNegFlag) != 0;
  fields.hours = record.t.hours;
  fields.minutes = static_cast<std::uint8_t>(record.t.minutes & ~tctNegFlag);
  fields.seconds = record.t.seconds;
  fields.frames = record.t.frames;
  return fields;
}

// Hands the source reference to the caller: a live list is filled in place,
// otherwise a new one is made for the caller to dispose of.
void giveSourceReference(const engine::TimecodeSampleEntry& entry, UserData* srcRefH) {
  if (!srcRefH) return;
  std::vector<engine::UserDataItem> items;
  for (const auto& extension : entry.extensions) items.push_back({extension.type, extension.payload});
  auto* existing = reinterpret_cast<UserDataObject*>(*srcRefH);
  if (existing && isLive(existing) && existing->ownedByCaller) {
    existing->items = std::move(items);
    return;
  }
  auto* list = new UserDataObject{std::move(items), true};
  registerLive(list);
  *srcRefH = toRef(list);
}

HandlerError timecodeAt(MediaObject& media, std::int64_t mediaTime, SInt32* frameNum, TimeCodeDef* tcdef,
                        TimeCodeRecord* tcrec, UserData* srcRefH) {
  const engine::Media& model = *media.model;
  std::uint32_t sample = 0;
  engine::SampleLocation where;
  if (model.samples.sampleAtDecodeTime(mediaTime, sample) != engine::Error::none) return invalidTime;
  if (model.samples.location(sample, where) != engine::Error::none || where.size < 4) return invalidSampleTable;
  if (where.descriptionIndex == 0 || where.descriptionIndex > model.descriptions.size()) return invalidSampleDescIndex;
  const auto* entry = dynamic_cast<const engine::TimecodeSampleEntry*>(model.descriptions[where.descriptionIndex - 1]);
  if (!entry) return invalidSampleDescription;
  std::uint8_t counter[4];
  if (media.track->movie->model->readSampleData(where.offset, counter) != engine::Error::none) return ioErr;

  TimeCodeDef definition{static_cast<SInt32>(entry->flags), static_cast<TimeScale>(entry->timeScale),
                         static_cast<TimeValue>(entry->frameDuration), entry->numberOfFrames, 0};
  std::int64_t start = 0, duration = 0;
  model.samples.decodeTime(sample, start, duration);
  // Frames elapsed since the sample's start, in the definition's own rate.
  // 128-bit: a sample may last 2^32 units and the rate has 32 bits too.
  std::int64_t elapsed = 0;
  const __int128 denominator = __int128(model.timeScale) * entry->frameDuration;
  if (denominator > 0)
    elapsed = static_cast<std::int64_t>(
        std::min<__int128>(__int128(mediaTime - start) * entry->timeScale / denominator, INT32_MAX));
  const std::int64_t frame = std::int64_t(std::int32_t(vqt::formats::loadU32(counter))) + elapsed;
  if (frameNum) *frameNum = clampTime(frame);
  if (tcdef) *tcdef = definition;
  fillRecord(frame, definition, tcrec);
  giveSourceReference(*entry, srcRefH);
  return noErr;
}

}  // namespace

MediaHandler GetMediaHandler(Media theMedia) {
  ToRead<MediaObject> media = mediaToRead(theMedia);
  if (!media) return nullptr;
  setMoviesError(noErr);
  return toRef(&media->handler);
}

HandlerError TCGetTimeCodeAtTime(MediaHandler mh, TimeValue mediaTime, SInt32* frameNum, TimeCodeDef* tcdef,
                                 TimeCodeRecord* tcrec, UserData* srcRefH) {
  HandlerError error = noErr;
  MediaObject* media = timecodeMedia(mh, error);
  return media ? timecodeAt(*media, mediaTime, frameNum, tcdef, tcrec, srcRefH) : error;
}

HandlerError TCGetCurrentTimeCode(MediaHandler mh, SInt32* frameNum, TimeCodeDef* tcdef, TimeCodeRecord* tcrec,
                                  UserData* srcRefH) {
  HandlerError error = noErr;
  MediaObject* media = timecodeMedia(mh, error);
  if (!media) return error;
  const std::int64_t mediaTime = media->track->model->mediaTimeAt(media->track->movie->currentTime);
  if (mediaTime < 0) return invalidTime;
  return timecodeAt(*media, mediaTime, frameNum, tcdef, tcrec, srcRefH);
}

HandlerError TCFrameNumberToTimeCode(MediaHandler mh, SInt32 frameNumber, TimeCodeDef* tcdef, TimeCodeRecord* tcrec) {
  HandlerError error = noErr;
  if (!timecodeMedia(mh, error)) return error;
  if (!tcdef || !tcrec) return paramErr;
  fillRecord(frameNumber, *tcdef, tcrec);
  return noErr;
}

HandlerError TCTimeCodeToFrameNumber(MediaHandler mh, TimeCodeDef* tcdef, TimeCodeRecord* tcrec, SInt32* frameNumber) {
  HandlerError error = noErr;
  if (!timecodeMedia(mh, error)) return error;
  if (!tcdef || !tcrec || !frameNumber) return paramErr;
  if (tcdef->flags & tcCounter) {
    *frameNumber = tcrec->c.counter;
    return noErr;
  }
  *frameNumber = clampTime(
      engine::frameNumberFromTimecode(fieldsOf(*tcrec), static_cast<std::uint32_t>(tcdef->flags), tcdef->numFrames));
  return noErr;
}

HandlerError TCTimeCodeToString(MediaHandler mh, TimeCodeDef* tcdef, TimeCodeRecord* tcrec, StringPtr tcStr) {
  HandlerError error = noErr;
  if (!timecodeMedia(mh, error)) return error;
  if (!tcdef || !tcrec || !tcStr) return paramErr;
  std::string text;
  if (tcdef->flags & tcCounter)
    text = std::to_string(tcrec->c.counter);
  else
    text = engine::formatTimecode(fieldsOf(*tcrec), static_cast<std::uint32_t>(tcdef->flags));
  const std::size_t length = std::min<std::size_t>(text.size(), 255);
  tcStr[0] = static_cast<unsigned char>(length);
  std::memcpy(tcStr + 1, text.data(), length);
  return noErr;
}
