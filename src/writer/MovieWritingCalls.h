// Movie Toolbox writing calls the writer uses (movie storage, tracks, media
// samples, flattening, segment copies, metadata and timecode writing, sound
// descriptions), with QuickTime's documented signatures.
//
// The platform layer adds these calls one by one. The declarations here are
// weak (a redeclaration of one the platform already has only marks it weak),
// so the library links while a call is still missing, and callsPresent()
// lets each operation refuse its work instead of calling a null address.
#pragma once

#include <CoreAudio/CoreAudioTypes.h>
#include <CoreFoundation/CoreFoundation.h>
#include <QuickTime/MovieStorage.h>
#include <QuickTime/Movies.h>
#include <QuickTime/SoundDescription.h>

namespace Vantor::QuickTime::MovieWriting {

constexpr SInt32 kQTNativeDefaultPathStyle = -1;
constexpr SInt32 kQTPOSIXPath = 0;
constexpr SInt16 kSystemScript = -1;
constexpr SInt32 kCreateFlags = static_cast<SInt32>(0x90000000u);  // delete current file, no resource fork
constexpr SInt32 kFlattenHeaderFirst = 65;  // add movie to data fork | movie resource before data
constexpr short kNewMovieActive = 1;
constexpr short kNoVolume = 0;
constexpr short kFullVolume = 0x100;
constexpr OSType kCreatorTVOD = 'TVOD';
constexpr OSType kSoundDescriptionMovieV2 = 'mvv2';
constexpr OSErr kFileBusy = -47;


}  // namespace Vantor::QuickTime::MovieWriting

#define VQT_WEAK __attribute__((weak))
VQT_WEAK OSErr QTNewDataReferenceFromFullPathCFString(CFStringRef filePath, UInt32 pathStyle, UInt32 flags,
                                                      Handle* outDataRef, OSType* outDataRefType);
VQT_WEAK OSErr CreateMovieStorage(Handle dataRef, OSType dataRefType, OSType creator, SInt16 scriptTag,
                                  SInt32 createMovieFileFlags, DataHandler* outDataHandler, Movie* newMovie);
VQT_WEAK OSErr OpenMovieStorage(Handle dataRef, OSType dataRefType, SInt32 flags, DataHandler* outDataHandler);
VQT_WEAK OSErr AddMovieToStorage(Movie theMovie, DataHandler dh);
VQT_WEAK OSErr UpdateMovieInStorage(Movie theMovie, DataHandler dh);
VQT_WEAK OSErr CloseMovieStorage(DataHandler dh);
VQT_WEAK void SetMovieTimeScale(Movie theMovie, TimeScale timeScale);
VQT_WEAK Track NewMovieTrack(Movie theMovie, Fixed width, Fixed height, short trackVolume);
VQT_WEAK Media NewTrackMedia(Track theTrack, OSType mediaType, TimeScale timeScale, Handle dataRef,
                             OSType dataRefType);
VQT_WEAK OSErr BeginMediaEdits(Media theMedia);
VQT_WEAK OSErr EndMediaEdits(Media theMedia);
VQT_WEAK OSErr AddMediaSample(Media theMedia, Handle dataIn, SInt32 inOffset, UInt32 size,
                              TimeValue durationPerSample, SampleDescriptionHandle sampleDescriptionH,
                              SInt32 numberOfSamples, short sampleFlags, TimeValue* sampleTime);
VQT_WEAK OSErr AddMediaSample2(Media theMedia, const UInt8* dataIn, ByteCount size,
                               TimeValue64 decodeDurationPerSample, TimeValue64 displayOffset,
                               SampleDescriptionHandle sampleDescriptionH, ItemCount numberOfSamples,
                               MediaSampleFlags sampleFlags, TimeValue64* sampleDecodeTimeOut);
VQT_WEAK OSErr InsertMediaIntoTrack(Track theTrack, TimeValue trackStart, TimeValue mediaTime,
                                    TimeValue mediaDuration, Fixed mediaRate);
VQT_WEAK Movie FlattenMovieDataToDataRef(Movie theMovie, SInt32 movieFlattenFlags, Handle dataRef,
                                         OSType dataRefType, OSType creator, SInt16 scriptTag,
                                         SInt32 createMovieFileFlags);
VQT_WEAK OSErr NewMovieFromDataRef(Movie* theMovie, short flags, short* id, Handle dataRef, OSType dataRefType);
VQT_WEAK OSErr InsertTrackSegment(Track srcTrack, Track dstTrack, TimeValue srcIn, TimeValue srcDuration,
                                  TimeValue dstIn);
VQT_WEAK OSErr CopyTrackSettings(Track srcTrack, Track dstTrack);
VQT_WEAK void SetTrackLayer(Track theTrack, short layer);
VQT_WEAK OSErr DeleteMovieSegment(Movie theMovie, TimeValue startTime, TimeValue duration);
VQT_WEAK void SetTrackEnabled(Track theTrack, Boolean isEnabled);
VQT_WEAK OSErr AddTrackReference(Track theTrack, Track refTrack, OSType refType, SInt32* addedIndex);
VQT_WEAK OSStatus QTMetaDataRemoveItemsWithKey(QTMetaDataRef inMetaData, QTMetaDataStorageFormat inMetaDataFormat,
                                               QTMetaDataKeyFormat inKeyFormat, const UInt8* inKeyPtr,
                                               ByteCount inKeySize);
VQT_WEAK OSStatus QTMetaDataAddItem(QTMetaDataRef inMetaData, QTMetaDataStorageFormat inMetaDataFormat,
                                    QTMetaDataKeyFormat inKeyFormat, const UInt8* inKeyPtr, ByteCount inKeySize,
                                    const UInt8* inValuePtr, ByteCount inValueSize, UInt32 inDataType,
                                    QTMetaDataItem* outItem);
VQT_WEAK HandlerError TCSetSourceRef(MediaHandler mh, Handle tcdH, UserData srefH);
VQT_WEAK OSStatus QTSoundDescriptionCreate(AudioStreamBasicDescription* inASBD, void* inLayout, ByteCount inLayoutSize,
                                           void* inMagicCookie, ByteCount inMagicCookieSize, OSType inRequestedKind,
                                           SoundDescriptionHandle* outSndDesc);
#undef VQT_WEAK

namespace Vantor::QuickTime::MovieWriting {

// True when every listed call is linked in.
template <typename... Calls>
bool callsPresent(Calls*... calls) {
  return ((calls != nullptr) && ...);
}

}  // namespace Vantor::QuickTime::MovieWriting
