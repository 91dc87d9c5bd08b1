// The Movie Toolbox writing calls the writer makes, and the values it passes
// to them: path styles, storage and flatten flags, volumes, the creator code
// and the sound description kind.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <QuickTime/MovieEditing.h>
#include <QuickTime/MovieStorage.h>
#include <QuickTime/Movies.h>
#include <QuickTime/SoundDescriptionCreation.h>

namespace Vantor::QuickTime::MovieWriting {

constexpr SInt32 kQTNativeDefaultPathStyle = -1;
constexpr SInt32 kQTPOSIXPath = 0;
constexpr ScriptCode kSystemScript = -1;
constexpr SInt32 kCreateFlags = static_cast<SInt32>(0x90000000u);  // delete current file, no resource fork
constexpr SInt32 kFlattenHeaderFirst = 65;  // add movie to data fork | movie resource before data
constexpr short kNewMovieActive = 1;
constexpr short kNoVolume = 0;
constexpr short kFullVolume = 0x100;
constexpr OSType kCreatorTVOD = 'TVOD';
constexpr OSErr kFileBusy = -47;

}  // namespace Vantor::QuickTime::MovieWriting
