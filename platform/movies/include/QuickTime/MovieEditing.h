// The Movie Toolbox, writing side: tracks and media of a new movie, samples
// appended to its file, edits (media into tracks, segments copied between
// movies, time deleted) and track settings. Edits change the movie in memory;
// the file's header follows at UpdateMovieInStorage.
#pragma once

#include <QuickTime/MovieToolboxTypes.h>
#include <QuickTime/SoundDescription.h>

void SetMovieTimeScale(Movie theMovie, TimeScale timeScale);
Track NewMovieTrack(Movie theMovie, Fixed width, Fixed height, short trackVolume);
// The media's samples go to the movie's own file; dataRef is not used.
Media NewTrackMedia(Track theTrack, OSType mediaType, TimeScale timeScale, Handle dataRef, OSType dataRefType);
OSErr BeginMediaEdits(Media theMedia);
OSErr EndMediaEdits(Media theMedia);
// numberOfSamples samples of size / numberOfSamples bytes each, every one
// lasting durationPerSample; the description is an image, sound or generic
// description handle by media type ('tmcd' media take a TimeCodeDescription).
OSErr AddMediaSample(Media theMedia, Handle dataIn, SInt32 inOffset, UInt32 size, TimeValue durationPerSample,
                     SampleDescriptionHandle sampleDescriptionH, SInt32 numberOfSamples, short sampleFlags,
                     TimeValue* sampleTime);
OSErr AddMediaSample2(Media theMedia, const UInt8* dataIn, ByteCount size, TimeValue64 decodeDurationPerSample,
                      TimeValue64 displayOffset, SampleDescriptionHandle sampleDescriptionH, ItemCount numberOfSamples,
                      MediaSampleFlags sampleFlags, TimeValue64* sampleDecodeTimeOut);
// mediaTime -1 inserts empty time; trackStart -1 appends at the track's end.
OSErr InsertMediaIntoTrack(Track theTrack, TimeValue trackStart, TimeValue mediaTime, TimeValue mediaDuration,
                           Fixed mediaRate);
// Copies the samples the segment shows into the destination's media and file
// (so the destination never points into another file) and inserts them at dstIn.
OSErr InsertTrackSegment(Track srcTrack, Track dstTrack, TimeValue srcIn, TimeValue srcDuration, TimeValue dstIn);
// Copies the matrix, volume and media language.
OSErr CopyTrackSettings(Track srcTrack, Track dstTrack);
void SetTrackLayer(Track theTrack, short layer);
void SetTrackVolume(Track theTrack, short volume);
void SetTrackEnabled(Track theTrack, Boolean isEnabled);
OSErr DeleteMovieSegment(Movie theMovie, TimeValue startTime, TimeValue duration);
OSErr AddTrackReference(Track theTrack, Track refTrack, OSType refType, SInt32* addedIndex);
