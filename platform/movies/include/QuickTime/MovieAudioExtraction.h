// Movie audio extraction: a movie's enabled sound tracks mixed into one stream
// of PCM, read from any position. The reference is opaque; the properties are
// reached by class ('xaud', 'xmov') and ID as in QuickTime.
#pragma once

#include <CoreAudio/CoreAudioTypes.h>
#include <QuickTime/MovieToolboxTypes.h>

typedef struct MovieAudioExtractionRefRecord* MovieAudioExtractionRef;

constexpr QTPropertyClass kQTPropertyClass_MovieAudioExtraction_Audio = 'xaud';
constexpr QTPropertyClass kQTPropertyClass_MovieAudioExtraction_Movie = 'xmov';
constexpr QTPropertyID kQTMovieAudioExtractionAudioPropertyID_AudioStreamBasicDescription = 'asbd';
constexpr QTPropertyID kQTMovieAudioExtractionAudioPropertyID_AudioChannelLayout = 'clay';
constexpr QTPropertyID kQTMovieAudioExtractionAudioPropertyID_RemainingAudioDuration = 'radu';
constexpr QTPropertyID kQTMovieAudioExtractionMoviePropertyID_CurrentTime = 'time';
constexpr QTPropertyID kQTMovieAudioExtractionMoviePropertyID_AllChannelsDiscrete = 'disc';

constexpr UInt32 kQTMovieAudioExtractionComplete = 1u << 0;

OSStatus MovieAudioExtractionBegin(Movie m, UInt32 flags, MovieAudioExtractionRef* outSession);
OSStatus MovieAudioExtractionEnd(MovieAudioExtractionRef session);
OSStatus MovieAudioExtractionGetPropertyInfo(MovieAudioExtractionRef session, QTPropertyClass inPropClass,
                                             QTPropertyID inPropID, QTPropertyValueType* outPropType,
                                             ByteCount* outPropValueSize, UInt32* outPropertyFlags);
OSStatus MovieAudioExtractionGetProperty(MovieAudioExtractionRef session, QTPropertyClass inPropClass,
                                         QTPropertyID inPropID, ByteCount inPropValueSize,
                                         QTPropertyValuePtr outPropValueAddress, ByteCount* outPropValueSizeUsed);
OSStatus MovieAudioExtractionSetProperty(MovieAudioExtractionRef session, QTPropertyClass inPropClass,
                                         QTPropertyID inPropID, ByteCount inPropValueSize,
                                         ConstQTPropertyValuePtr inPropValueAddress);
OSStatus MovieAudioExtractionFillBuffer(MovieAudioExtractionRef session, UInt32* ioNumFrames, AudioBufferList* ioData,
                                        UInt32* outFlags);
