// Sound descriptions made from an AudioStreamBasicDescription, as the Movie
// Toolbox stores them in a movie's sound track.
#pragma once

#include <CoreAudio/CoreAudioTypes.h>
#include <QuickTime/SoundDescription.h>

typedef OSType QTSoundDescriptionKind;
constexpr QTSoundDescriptionKind kQTSoundDescriptionKind_Movie_Version0 = 'mvv0';
constexpr QTSoundDescriptionKind kQTSoundDescriptionKind_Movie_Version2 = 'mvv2';
constexpr QTSoundDescriptionKind kQTSoundDescriptionKind_Movie_LowestPossibleVersion = 'mvlo';
constexpr QTSoundDescriptionKind kQTSoundDescriptionKind_Movie_AnyVersion = 'mvav';

// Version 2 for 'mvv2' and 'mvav' (format code 'lpcm' for linear PCM, else the
// format ID; a channel layout becomes a 'chan' extension). 'mvv0' and 'mvlo'
// give version 0 ('twos', 'sowt' or 'raw ') for integer PCM of 8 or 16 bits,
// one or two channels and a rate below 65536 Hz; 'mvv0' fails with paramErr
// for anything else and 'mvlo' falls back on version 2. A magic cookie is
// stored as the extension atoms it holds.
OSStatus QTSoundDescriptionCreate(AudioStreamBasicDescription* inASBD, void* inLayout, ByteCount inLayoutSize,
                                  void* inMagicCookie, ByteCount inMagicCookieSize, OSType inRequestedKind,
                                  SoundDescriptionHandle* outSndDesc);
