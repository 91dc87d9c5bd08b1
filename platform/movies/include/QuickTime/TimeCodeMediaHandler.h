// The timecode media handler: the timecode definition of a 'tmcd' track, the
// timecode at the movie's current time or at a media time, conversions
// between frame numbers and timecodes (drop-frame aware), the text form, and
// the source reference (user data with the reel 'name').
#pragma once

#include <QuickTime/MovieToolboxTypes.h>

// QuickTime's 68k alignment: the definition is 14 bytes, the description 38.
#pragma pack(push, 2)
struct TimeCodeDef {
  SInt32 flags;
  TimeScale fTimeScale;
  TimeValue frameDuration;
  UInt8 numFrames;
  UInt8 padding;
};

// The sample description of a 'tmcd' media in memory (host byte order). A
// source reference set with TCSetSourceRef follows the fixed part as atoms.
struct TimeCodeDescription {
  SInt32 descSize;
  OSType dataFormat;
  SInt32 resvd1;
  SInt16 resvd2;
  SInt16 dataRefIndex;
  SInt32 flags;
  TimeCodeDef timeCodeDef;
  SInt32 srcRef[1];
};
#pragma pack(pop)
typedef TimeCodeDescription* TimeCodeDescriptionPtr;
typedef TimeCodeDescriptionPtr* TimeCodeDescriptionHandle;

struct TimeCodeTime {
  UInt8 hours;
  UInt8 minutes;  // bit 7 (tctNegFlag) marks a negative timecode
  UInt8 seconds;
  UInt8 frames;
};

struct TimeCodeCounter {
  SInt32 counter;
};

union TimeCodeRecord {
  TimeCodeTime t;
  TimeCodeCounter c;
};

constexpr SInt32 tcDropFrame = 1 << 0;
constexpr SInt32 tc24HourMax = 1 << 1;
constexpr SInt32 tcNegTimesOK = 1 << 2;
constexpr SInt32 tcCounter = 1 << 3;
constexpr UInt8 tctNegFlag = 0x80;

// The media handler of a media; the same instance for every call on that
// media. It stays valid as long as the movie.
MediaHandler GetMediaHandler(Media theMedia);

// The timecode shown at the movie's current time (GetMovieTime). srcRefH,
// when given, receives the source reference: an existing user data list
// (from NewUserData) is filled in place, anything else gets a new list that
// the caller disposes of.
HandlerError TCGetCurrentTimeCode(MediaHandler mh, SInt32* frameNum, TimeCodeDef* tcdef, TimeCodeRecord* tcrec,
                                  UserData* srcRefH);
HandlerError TCGetTimeCodeAtTime(MediaHandler mh, TimeValue mediaTime, SInt32* frameNum, TimeCodeDef* tcdef,
                                 TimeCodeRecord* tcrec, UserData* srcRefH);
HandlerError TCFrameNumberToTimeCode(MediaHandler mh, SInt32 frameNumber, TimeCodeDef* tcdef, TimeCodeRecord* tcrec);
HandlerError TCTimeCodeToFrameNumber(MediaHandler mh, TimeCodeDef* tcdef, TimeCodeRecord* tcrec, SInt32* frameNumber);
// "HH:MM:SS:FF" (';' before the frames when drop-frame, '-' first when
// negative), or the counter in decimal, as a Pascal string.
HandlerError TCTimeCodeToString(MediaHandler mh, TimeCodeDef* tcdef, TimeCodeRecord* tcrec, StringPtr tcStr);

// Stores the user data list (the reel 'name' item) as the source reference of
// a timecode description handle: its items follow the fixed part as atoms and
// descSize grows to match. A null list removes the reference.
HandlerError TCSetSourceRef(MediaHandler mh, Handle tcdH, UserData srefH);
