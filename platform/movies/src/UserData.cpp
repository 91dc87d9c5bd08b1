// User data lists: items by type and index, and international text items.
#include "MovieState.h"

#include <algorithm>
#include <cstring>

using namespace vqt::movies;

namespace {

engine::UserDataItem* findItem(UserDataObject& list, OSType type, SInt32 index) {
  if (index < 1) return nullptr;
  for (auto& item : list.items)
    if (item.type == type && --index == 0) return &item;
  return nullptr;
}

OSErr copyToHandle(Handle handle, const std::uint8_t* bytes, std::size_t size) {
  SetHandleSize(handle, static_cast<Size>(size));
  if (MemError() != noErr) return memFullErr;
  if (size) std::memcpy(*handle, bytes, size);
  return noErr;
}

std::vector<std::uint8_t> handleBytes(Handle data) {
  const auto size = static_cast<std::size_t>(GetHandleSize(data));
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(*data);
  return std::vector<std::uint8_t>(bytes, bytes + size);
}

}  // namespace

OSErr NewUserData(UserData* theUserData) {
  if (!theUserData) return setMoviesError(paramErr);
  auto* list = new UserDataObject;
  registerLive(list);
  *theUserData = toRef(list);
  return setMoviesError(noErr);
}

OSErr DisposeUserData(UserData theUserData) {
  UserDataObject* list = userDataFrom(theUserData);
  if (!list) return paramErr;
  // Lists that belong to a movie, track or media go away with it.
  if (!list->ownedByCaller) return setMoviesError(paramErr);
  unregisterLive(list);
  delete list;
  return setMoviesError(noErr);
}

UserData GetMovieUserData(Movie theMovie) {
  ToRead<MovieObject> movie = movieToRead(theMovie);
  if (!movie) return nullptr;
  setMoviesError(noErr);
  return toRef(&movie->userData);
}

UserData GetTrackUserData(Track theTrack) {
  ToRead<TrackObject> track = trackToRead(theTrack);
  if (!track) return nullptr;
  setMoviesError(noErr);
  return toRef(&track->userData);
}

UserData GetMediaUserData(Media theMedia) {
  ToRead<MediaObject> media = mediaToRead(theMedia);
  if (!media) return nullptr;
  setMoviesError(noErr);
  return toRef(&media->userData);
}

SInt32 GetNextUserDataType(UserData theUserData, OSType udType) {
  UserDataObject* list = userDataFrom(theUserData);
  if (!list) return 0;
  setMoviesError(noErr);
  // Distinct types in order of first appearance; the one after udType.
  bool passed = udType == 0;
  std::vector<OSType> seen;
  for (const auto& item : list->items) {
    if (std::find(seen.begin(), seen.end(), item.type) != seen.end()) continue;
    seen.push_back(item.type);
    if (passed) return static_cast<SInt32>(item.type);
    if (item.type == udType) passed = true;
  }
  return 0;
}

short CountUserDataType(UserData theUserData, OSType udType) {
  UserDataObject* list = userDataFrom(theUserData);
  if (!list) return 0;
  setMoviesError(noErr);
  const auto count = std::count_if(list->items.begin(), list->items.end(),
                                   [udType](const engine::UserDataItem& item) { return item.type == udType; });
  return static_cast<short>(std::min<std::ptrdiff_t>(count, 0x7FFF));
}

OSErr GetUserData(UserData theUserData, Handle data, OSType udType, SInt32 index) {
  UserDataObject* list = userDataFrom(theUserData);
  if (!list) return paramErr;
  const engine::UserDataItem* item = findItem(*list, udType, index);
  if (!item) return setMoviesError(userDataItemNotFound);
  if (!data) return setMoviesError(nilHandleErr);
  return setMoviesError(copyToHandle(data, item->payload.data(), item->payload.size()));
}

OSErr AddUserData(UserData theUserData, Handle data, OSType udType) {
  UserDataObject* list = userDataFrom(theUserData);
  if (!list) return paramErr;
  if (!data) return setMoviesError(nilHandleErr);
  list->items.push_back({udType, handleBytes(data)});
  return setMoviesError(noErr);
}

OSErr RemoveUserData(UserData theUserData, OSType udType, SInt32 index) {
  UserDataObject* list = userDataFrom(theUserData);
  if (!list) return paramErr;
  engine::UserDataItem* item = findItem(*list, udType, index);
  if (!item) return setMoviesError(userDataItemNotFound);
  list->items.erase(list->items.begin() + (item - list->items.data()));
  return setMoviesError(noErr);
}

OSErr GetUserDataText(UserData theUserData, Handle data, OSType udType, SInt32 index, short itlRegionTag) {
  UserDataObject* list = userDataFrom(theUserData);
  if (!list) return paramErr;
  const engine::UserDataItem* item = findItem(*list, udType, index);
  if (!item) return setMoviesError(userDataItemNotFound);
  if (!data) return setMoviesError(nilHandleErr);
  const auto text = engine::userDataText(item->payload, static_cast<std::uint16_t>(itlRegionTag));
  if (!text) return setMoviesError(userDataItemNotFound);
  return setMoviesError(copyToHandle(data, text->data(), text->size()));
}

OSErr AddUserDataText(UserData theUserData, Handle data, OSType udType, SInt32 index, short itlRegionTag) {
  UserDataObject* list = userDataFrom(theUserData);
  if (!list) return paramErr;
  if (!data) return setMoviesError(nilHandleErr);
  const auto text = handleBytes(data);
  if (text.size() > 0xFFFF) return setMoviesError(paramErr);
  std::vector<std::uint8_t> entry{std::uint8_t(text.size() >> 8), std::uint8_t(text.size()),
                                  std::uint8_t(std::uint16_t(itlRegionTag) >> 8), std::uint8_t(itlRegionTag)};
  entry.insert(entry.end(), text.begin(), text.end());
  // An existing item gets the text added as another language; otherwise a new item.
  if (engine::UserDataItem* item = findItem(*list, udType, index)) {
    item->payload.insert(item->payload.end(), entry.begin(), entry.end());
  } else {
    list->items.push_back({udType, std::move(entry)});
  }
  return setMoviesError(noErr);
}
