// User data lists of movies, tracks and media: items by type and index, and
// QuickTime's text items (16-bit length, 16-bit language, text). Lists made
// with NewUserData belong to the caller; those of a movie, track or media
// belong to it and are never disposed of by the caller.
#pragma once

#include <QuickTime/MovieToolboxTypes.h>

OSErr NewUserData(UserData* theUserData);
OSErr DisposeUserData(UserData theUserData);
UserData GetMovieUserData(Movie theMovie);
UserData GetTrackUserData(Track theTrack);
UserData GetMediaUserData(Media theMedia);
// The next type after udType (0 starts, 0 ends); types in order of first appearance.
SInt32 GetNextUserDataType(UserData theUserData, OSType udType);
short CountUserDataType(UserData theUserData, OSType udType);
OSErr GetUserData(UserData theUserData, Handle data, OSType udType, SInt32 index);
OSErr AddUserData(UserData theUserData, Handle data, OSType udType);
OSErr RemoveUserData(UserData theUserData, OSType udType, SInt32 index);
// The text of the index-th item of udType in the language itlRegionTag (the
// item's first text when it has none in that language), without terminator.
OSErr GetUserDataText(UserData theUserData, Handle data, OSType udType, SInt32 index, short itlRegionTag);
OSErr AddUserDataText(UserData theUserData, Handle data, OSType udType, SInt32 index, short itlRegionTag);
