// Finishing touches on the output movie: properties as 'mdta' metadata items
// (key = name, value = text form) and a timecode track of one sample spanning
// the movie, with an optional reel name, referenced by the video track.
#include "MovieWritingConstants.h"
#include "QuickTimeCodecWriterPrivate.h"
#include "TimecodeSample.h"

namespace Vantor::QuickTime {

using namespace MovieWriting;

int QuickTimeCodecWriterPrivate::setMetadata(const std::list<Vantor::Property::Base*>& properties) {
  if (movie == nullptr) return 2;
  if (properties.empty()) return 0;
  QTMetaDataRef metadata = nullptr;
  if (QTCopyMovieMetaData(movie, &metadata) != noErr || metadata == nullptr) return 0;
  for (const Vantor::Property::Base* property : properties) {
    if (property == nullptr) continue;
    const std::string& key = property->name;
    const std::string value = property->toString();
    const auto* keyBytes = reinterpret_cast<const UInt8*>(key.data());
    QTMetaDataRemoveItemsWithKey(metadata, kQTMetaDataStorageFormatQuickTime, kQTMetaDataKeyFormatQuickTime, keyBytes,
                                 key.size());
    QTMetaDataAddItem(metadata, kQTMetaDataStorageFormatQuickTime, kQTMetaDataKeyFormatQuickTime, keyBytes, key.size(),
                      reinterpret_cast<const UInt8*>(value.data()), value.size(), kQTMetaDataTypeUTF8, nullptr);
  }
  QTMetaDataRelease(metadata);
  return 0;
}

bool QuickTimeCodecWriterPrivate::addTimecodeTrack(FrameRate rate, int startFrame, const std::string& reelName) {
  if (movie == nullptr) return true;
  Track track = NewMovieTrack(movie, width << 16, height << 16, kNoVolume);
  Media media = track != nullptr ? NewTrackMedia(track, TimeCodeMediaType, timeScale, nullptr, 0) : nullptr;
  if (GetMoviesError() != noErr || media == nullptr) return true;
  MediaHandler handler = GetMediaHandler(media);
  SetTrackEnabled(track, true);
  if (BeginMediaEdits(media) != noErr) return true;

  const auto descriptionBytes = timecodeDescriptionBytes(rate);
  Handle description = nullptr;
  if (PtrToHand(descriptionBytes.data(), &description, static_cast<long>(descriptionBytes.size())) != noErr)
    return true;
  if (!reelName.empty()) {
    UserData reel = nullptr;
    Handle name = nullptr;
    if (NewUserData(&reel) == noErr && PtrToHand(reelName.data(), &name, static_cast<long>(reelName.size())) == noErr) {
      AddUserDataText(reel, name, 'name', 1, 0);
      TCSetSourceRef(handler, description, reel);
    }
    if (name != nullptr) DisposeHandle(name);
    if (reel != nullptr) DisposeUserData(reel);
  }
  const auto sampleBytes = timecodeSampleBytes(startFrame);
  Handle sample = nullptr;
  if (PtrToHand(sampleBytes.data(), &sample, 4) != noErr) {
    DisposeHandle(description);
    return true;
  }
  const TimeValue duration = GetMovieDuration(movie);
  const OSErr added = AddMediaSample(media, sample, 0, static_cast<UInt32>(GetHandleSize(sample)), duration,
                                     reinterpret_cast<SampleDescriptionHandle>(description), 1, 0, nullptr);
  // The media keeps its own copies of the sample and its description.
  DisposeHandle(sample);
  DisposeHandle(description);
  if (added != noErr) return true;
  if (EndMediaEdits(media) != noErr) return true;
  if (InsertMediaIntoTrack(track, 0, 0, duration, fixed1) != noErr) return true;
  if (videoTrack != nullptr && AddTrackReference(videoTrack, track, TimeCodeMediaType, nullptr) != noErr) return true;
  return false;
}

}  // namespace Vantor::QuickTime
