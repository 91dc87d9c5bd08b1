// The Movie Toolbox, reading side: opening a movie file, its tracks and media,
// sample numbers and times in decode and display order, edits, media samples
// and their descriptions. Every call records its result for GetMoviesError;
// a failed query answers with -1 (or null) where QuickTime does.
#pragma once

#include <QuickTime/ImageDescription.h>
#include <QuickTime/MovieEditing.h>
#include <QuickTime/MovieMetaData.h>
#include <QuickTime/MovieStorage.h>
#include <QuickTime/MovieToolboxTypes.h>
#include <QuickTime/MovieUserData.h>
#include <QuickTime/SoundDescription.h>
#include <QuickTime/TimeCodeMediaHandler.h>

// Session and errors.
OSErr EnterMovies();
void ExitMovies();
OSErr GetMoviesError();
OSErr GetMoviesStickyError();
void ClearMoviesStickyError();

// Movies. The data location of NewMovieFromProperties is a POSIX path
// (CFString) or a file URL (CFURL); the movie's media data must be in the file
// itself. Fragmented movies are refused with invalidMovie.
OSStatus NewMovieFromProperties(ItemCount inputPropertyCount, QTNewMoviePropertyElement* inputProperties,
                                ItemCount outputPropertyCount, QTNewMoviePropertyElement* outputProperties,
                                Movie* theMovie);
void DisposeMovie(Movie theMovie);
TimeScale GetMovieTimeScale(Movie theMovie);
TimeValue GetMovieDuration(Movie theMovie);
TimeValue GetMovieTime(Movie theMovie, TimeRecord* currentTime);
void SetMovieTimeValue(Movie theMovie, TimeValue newTime);
SInt32 GetMovieTrackCount(Movie theMovie);
Track GetMovieIndTrack(Movie theMovie, SInt32 index);
Track GetMovieTrack(Movie theMovie, SInt32 trackID);
Track GetMovieIndTrackType(Movie theMovie, SInt32 index, OSType trackType, SInt32 flags);

// Tracks; track times are in the movie's time scale.
Movie GetTrackMovie(Track theTrack);
SInt32 GetTrackID(Track theTrack);
Boolean GetTrackEnabled(Track theTrack);
Media GetTrackMedia(Track theTrack);
TimeValue GetTrackDuration(Track theTrack);
short GetTrackVolume(Track theTrack);
short GetTrackLayer(Track theTrack);
TimeValue TrackTimeToMediaTime(TimeValue value, Track theTrack);
void GetTrackNextInterestingTime(Track theTrack, short interestingTimeFlags, TimeValue time, Fixed rate,
                                 TimeValue* interestingTime, TimeValue* interestingDuration);
Track GetTrackReference(Track theTrack, OSType refType, SInt32 index);

// Media; media times are in the media's time scale, samples count from 1.
Track GetMediaTrack(Media theMedia);
void GetMediaHandlerDescription(Media theMedia, OSType* mediaType, Str255 creatorName, OSType* creatorManufacturer);
TimeScale GetMediaTimeScale(Media theMedia);
TimeValue GetMediaDuration(Media theMedia);
TimeValue64 GetMediaDisplayDuration(Media theMedia);
SInt32 GetMediaSampleCount(Media theMedia);
SInt32 GetMediaSampleDescriptionCount(Media theMedia);
void GetMediaSampleDescription(Media theMedia, SInt32 index, SampleDescriptionHandle descH);
void SampleNumToMediaDecodeTime(Media theMedia, SInt64 logicalSampleNum, TimeValue64* sampleDecodeTime,
                                TimeValue64* sampleDecodeDuration);
void SampleNumToMediaDisplayTime(Media theMedia, SInt64 logicalSampleNum, TimeValue64* sampleDisplayTime,
                                 TimeValue64* sampleDisplayDuration);
void MediaDecodeTimeToSampleNum(Media theMedia, TimeValue64 decodeTime, SInt64* sampleNum,
                                TimeValue64* sampleDecodeTime, TimeValue64* sampleDecodeDuration);
void MediaDisplayTimeToSampleNum(Media theMedia, TimeValue64 displayTime, SInt64* sampleNum,
                                 TimeValue64* sampleDisplayTime, TimeValue64* sampleDisplayDuration);
void GetMediaNextInterestingDecodeTime(Media theMedia, short interestingTimeFlags, TimeValue64 decodeTime, Fixed rate,
                                       TimeValue64* interestingDecodeTime, TimeValue64* interestingDecodeDuration);
void GetMediaNextInterestingDisplayTime(Media theMedia, short interestingTimeFlags, TimeValue64 displayTime, Fixed rate,
                                        TimeValue64* interestingDisplayTime, TimeValue64* interestingDisplayDuration);

// Reads the sample whose decode time span holds `decodeTime` (with
// maxNumberOfSamples > 1, also the following samples of the same chunk).
// With a null dataOut only the size is answered; a buffer too small for the
// first sample fails with paramErr and the size needed in sampleDataSizeOut.
// The description handle, when given, is resized and filled with the
// sample's image, sound or generic description.
OSErr GetMediaSample2(Media theMedia, UInt8* dataOut, ByteCount dataOutBufferSize, ByteCount* sampleDataSizeOut,
                      TimeValue64 decodeTime, TimeValue64* sampleDecodeTimeOut, TimeValue64* decodeDurationPerSampleOut,
                      TimeValue64* displayOffsetOut, SampleDescriptionHandle sampleDescriptionH,
                      ItemCount* sampleDescriptionIndexOut, ItemCount maxNumberOfSamples, ItemCount* numberOfSamplesOut,
                      MediaSampleFlags* sampleFlagsOut);
