// Data references and movie storage: where a movie's file is, and the data
// handler through which it is created, written, flattened and closed.
#pragma once

#include <Carbon/Components.h>
#include <CoreFoundation/CoreFoundation.h>
#include <QuickTime/MovieToolboxTypes.h>

typedef ComponentInstance DataHandler;
typedef UInt32 QTPathStyle;
constexpr QTPathStyle kQTPOSIXPathStyle = 0;
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
