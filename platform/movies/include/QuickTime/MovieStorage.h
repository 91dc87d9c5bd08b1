// Data references and movie storage: where a movie's file is, and the data
// handler through which it is created, written, flattened and closed.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <QuickTime/MovieToolboxTypes.h>

typedef ComponentInstance DataHandler;
typedef SInt16 ScriptCode;
typedef UInt32 QTPathStyle;
constexpr QTPathStyle kQTPOSIXPathStyle = 0;
constexpr QTPathStyle kQTNativeDefaultPathStyle = static_cast<QTPathStyle>(-1);  // POSIX here
constexpr OSType PointerDataHandlerSubType = 'ptr ';
constexpr OSType HandleDataHandlerSubType = 'hndl';
constexpr OSType AliasDataHandlerSubType = 'alis';

// Permissions and flags of OpenMovieStorage / CreateMovieStorage.
constexpr long kDataHCanRead = 1L << 0;
constexpr long kDataHCanWrite = 1L << 1;
constexpr long createMovieFileDeleteCurFile = 1L << 31;
constexpr long createMovieFileDontCreateMovie = 1L << 30;
constexpr long createMovieFileDontOpenFile = 1L << 29;
constexpr long createMovieFileDontCreateResFile = 1L << 28;

// Flags of FlattenMovieDataToDataRef. The header is always written before the
// media data, so flattenForceMovieResourceBeforeMovieData changes nothing.
constexpr long flattenAddMovieToDataFork = 1L << 0;
constexpr long flattenActiveTracksOnly = 1L << 2;
constexpr long flattenDontInterleaveFlatten = 1L << 3;
constexpr long flattenCompressMovieResource = 1L << 5;
constexpr long flattenForceMovieResourceBeforeMovieData = 1L << 6;

// A data reference to a file: the path's UTF-8 bytes, type 'alis'. POSIX and
// native path styles (the same here) are accepted.
OSErr QTNewDataReferenceFromFullPathCFString(CFStringRef filePath, UInt32 pathStyle, UInt32 flags, Handle* outDataRef,
                                             OSType* outDataRefType);
// Makes the file (createMovieFileDeleteCurFile replaces an existing one, else
// dupFNErr) and an empty movie whose samples are appended to it. The creator
// and script are accepted and not stored (there is no resource fork).
OSErr CreateMovieStorage(Handle dataRef, OSType dataRefType, OSType creator, ScriptCode scriptTag,
                         SInt32 createMovieFileFlags, DataHandler* outDataHandler, Movie* newMovie);
// Opens an existing file for reading (kDataHCanWrite is refused with permErr).
OSErr OpenMovieStorage(Handle dataRef, OSType dataRefType, SInt32 flags, DataHandler* outDataHandler);
// Write the movie's header after its data; the file holds a complete movie afterwards.
OSErr AddMovieToStorage(Movie theMovie, DataHandler dh);
OSErr UpdateMovieInStorage(Movie theMovie, DataHandler dh);
// Closes the storage; the first write error it met, if any, is returned again.
OSErr CloseMovieStorage(DataHandler dh);
// QuickTime movies, MP4-family files, and sound files (WAV, AIFF, MP3, M4A,
// CAF) as a movie with one sound track.
OSErr NewMovieFromDataRef(Movie* theMovie, short flags, short* id, Handle dataRef, OSType dataRefType);
// A new file at dataRef: 'ftyp', 'moov', then one 'mdat' with a copy of every
// sample. With flattenAddMovieToDataFork the new file's movie is returned.
// On failure nothing is left at dataRef and null is returned.
Movie FlattenMovieDataToDataRef(Movie theMovie, SInt32 movieFlattenFlags, Handle dataRef, OSType dataRefType,
                                OSType creator, ScriptCode scriptTag, SInt32 createMovieFileFlags);
