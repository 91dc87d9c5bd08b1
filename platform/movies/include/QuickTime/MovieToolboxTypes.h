// Types and constants of the Movie Toolbox: opaque movie, track and media
// references, time records, interesting-time and sample flags, and the
// property elements that NewMovieFromProperties takes. QuickTime's "long"
// arguments are 32-bit here, as they were in a 32-bit process.
#pragma once

#include <Carbon/MacErrors.h>
#include <Carbon/MacMemory.h>
#include <Carbon/MacTypes.h>
#include <QuickTime/QTProperties.h>

struct MovieRecord;
struct TrackRecord;
struct MediaRecord;
struct UserDataRecord;
typedef MovieRecord* Movie;
typedef TrackRecord* Track;
typedef MediaRecord* Media;
typedef UserDataRecord* UserData;
typedef Movie* PtrToMovie;

// Media handlers are component instances; the Component Manager may define the
// record, so it is only declared here.
struct ComponentInstanceRecord;
typedef ComponentInstanceRecord* ComponentInstance;
typedef ComponentInstance MediaHandler;
typedef SInt32 ComponentResult;
typedef ComponentResult HandlerError;

struct TimeBaseRecord;
typedef TimeBaseRecord* TimeBase;

// A 64-bit time value as two 32-bit halves, low half first (the layout of a
// little-endian host).
struct CompTimeValue {
  UInt32 lo;
  SInt32 hi;
};

struct TimeRecord {
  CompTimeValue value;
  TimeScale scale;
  TimeBase base;
};

typedef UInt32 MediaSampleFlags;
constexpr MediaSampleFlags mediaSampleNotSync = 1u << 0;
constexpr MediaSampleFlags mediaSampleShadowSync = 1u << 1;
constexpr MediaSampleFlags mediaSamplePartialSync = 1u << 16;
constexpr MediaSampleFlags mediaSampleHasRedundantCoding = 1u << 24;
constexpr MediaSampleFlags mediaSampleHasNoRedundantCoding = 1u << 25;
constexpr MediaSampleFlags mediaSampleIsDependedOnByOthers = 1u << 26;
constexpr MediaSampleFlags mediaSampleIsNotDependedOnByOthers = 1u << 27;
constexpr MediaSampleFlags mediaSampleDroppable = mediaSampleIsNotDependedOnByOthers;
constexpr MediaSampleFlags mediaSampleDependsOnOthers = 1u << 28;
constexpr MediaSampleFlags mediaSampleDoesNotDependOnOthers = 1u << 29;
constexpr MediaSampleFlags mediaSampleEarlierDisplayTimesAllowed = 1u << 30;

// Flags of the interesting-time searches.
constexpr short nextTimeMediaSample = 1 << 0;
constexpr short nextTimeMediaEdit = 1 << 1;
constexpr short nextTimeTrackEdit = 1 << 2;
constexpr short nextTimeSyncSample = 1 << 3;
constexpr short nextTimeStep = 1 << 4;
constexpr short nextTimeEdgeOK = 1 << 14;
constexpr short nextTimeIgnoreActiveSegment = static_cast<short>(1 << 15);

// Media types and handler codes.
constexpr OSType VideoMediaType = 'vide';
constexpr OSType SoundMediaType = 'soun';
constexpr OSType TimeCodeMediaType = 'tmcd';
constexpr OSType MPEGMediaType = 'MPEG';
constexpr OSType MovieMediaType = 'moov';
constexpr OSType URLDataHandlerSubType = 'url ';
constexpr OSType TimeCodeMediaHandlerType = 'tmcd';
constexpr OSType VisualMediaCharacteristic = 'eyes';
constexpr OSType AudioMediaCharacteristic = 'ears';
constexpr long movieTrackMediaType = 1 << 0;
constexpr long movieTrackCharacteristic = 1 << 1;
constexpr long movieTrackEnabledOnly = 1 << 2;

// NewMovieFromProperties.
struct QTNewMoviePropertyElement {
  QTPropertyClass propClass;
  QTPropertyID propID;
  ByteCount propValueSize;
  QTPropertyValuePtr propValueAddress;
  OSStatus propStatus;
};
constexpr QTPropertyClass kQTPropertyClass_DataLocation = 'dloc';
constexpr QTPropertyID kQTDataLocationPropertyID_CFStringPosixPath = 'cfpp';
constexpr QTPropertyID kQTDataLocationPropertyID_CFStringNativePath = 'cfnp';
constexpr QTPropertyID kQTDataLocationPropertyID_CFURL = 'cfur';
constexpr QTPropertyClass kQTPropertyClass_NewMovieProperty = 'mprp';
constexpr QTPropertyID kQTNewMoviePropertyID_DefaultDataRef = 'ddrf';
constexpr QTPropertyID kQTNewMoviePropertyID_Active = 'actv';
constexpr QTPropertyID kQTNewMoviePropertyID_DontInteractWithUser = 'intn';
