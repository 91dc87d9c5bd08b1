// Private state behind the Movie Toolbox references: the records that Movie,
// Track, Media, UserData and media handler pointers stand for, the registry
// of live records (so a stale or foreign pointer gets an error, not a crash),
// and the error state shared by all calls.
#pragma once

#include <QuickTime/Movies.h>

#include "vqt/container/Movie.h"
#include "vqt/container/MovieBuilder.h"
#include "vqt/container/MovieFileWriter.h"

#include <memory>
#include <string>
#include <vector>

namespace vqt::movies {

namespace engine = vqt::container;

struct MovieObject;
struct TrackObject;
struct MediaObject;

struct UserDataObject {
  std::vector<engine::UserDataItem> items;
  bool ownedByCaller = true;  // false for the lists of movies, tracks and media
};

struct MediaHandlerObject {
  MediaObject* media = nullptr;
};

struct MediaObject {
  TrackObject* track = nullptr;
  const engine::Media* model = nullptr;
  bool exists = true;    // false for a new track until NewTrackMedia
  bool editing = false;  // between BeginMediaEdits and EndMediaEdits
  UserDataObject userData;
  MediaHandlerObject handler;
};

struct TrackObject {
  MovieObject* movie = nullptr;
  const engine::Track* model = nullptr;
  MediaObject media;
  UserDataObject userData;
};

// A movie's metadata store, shared by reference count between the movie and
// the references QTCopyMovieMetaData hands out. Item ids never repeat.
struct MetaDataObject {
  struct Entry {
    QTMetaDataItem id;
    engine::MetadataItem item;
  };
  int references = 1;
  QTMetaDataItem nextId = 1;
  std::vector<Entry> entries;
};

MetaDataObject* newMetaData(const std::vector<engine::MetadataItem>& items);
void releaseMetaData(MetaDataObject* metadata);

// The open file of CreateMovieStorage or OpenMovieStorage (a DataHandler).
struct StorageObject {
  std::string path;
  bool writable = false;
  std::shared_ptr<engine::MovieFileWriter> writer;  // shared with the movie it was made for
};

struct MovieObject {
  std::unique_ptr<engine::Movie> model;
  // The editable form, made on the first edit; the reading model is then
  // rebuilt from it whenever it changed (bringUpToDate).
  std::unique_ptr<engine::MovieBuilder> builder;
  bool modelStale = false;
  std::shared_ptr<engine::MovieFileWriter> storage;  // where new samples go
  std::shared_ptr<const engine::ByteSource> data;    // where the builder's samples are read
  MetaDataObject* metadata = nullptr;
  std::vector<std::unique_ptr<TrackObject>> tracks;
  UserDataObject userData;
  TimeValue currentTime = 0;
};

// Edits: the builder (made from the read model on first use) and the model
// rebuilt from it. editableMovie fails with paramErr on a movie that cannot
// be edited.
engine::MovieBuilder* editableMovie(MovieObject& movie);
void bringUpToDate(MovieObject& movie);
void markEdited(MovieObject& movie);
TrackObject* addTrackObject(MovieObject& movie);
// The builder's track for a track object (same position), null when the
// movie cannot be edited.
engine::BuiltTrack* editableTrack(TrackObject& track);
// The movie's user data and metadata copied into its builder.
void syncBuilder(MovieObject& movie);

// Result of the latest call, and the first failure since the sticky error was cleared.
OSErr setMoviesError(OSErr error);
OSErr toMoviesError(engine::Error error);

void registerLive(const void* object);
void unregisterLive(const void* object);
bool isLive(const void* object);

// Each call reaches the records behind its references for one purpose, and the
// purpose is part of the handle's type, so that a handle made for one cannot
// stand in for the other:
// - ToRead, for the reading calls: the movie's reading model is brought up to
//   date with its edits first, so the record's `model` is what was written.
// - ToEdit, for the writing calls, which work on the builder (editableMovie,
//   editableTrack): the reading model is left as it is, so that adding samples
//   one by one never rebuilds it, and the record's `model` may lag behind.
// A handle is null (and the call's error set) when the reference is null,
// disposed of or not one of ours.
enum class Purpose { read, edit };
template <class Object, Purpose purpose>
class Reached {
 public:
  explicit Reached(Object* object) : object_(object) {}
  explicit operator bool() const { return object_ != nullptr; }
  Object* operator->() const { return object_; }
  Object& operator*() const { return *object_; }
  Object* get() const { return object_; }

 private:
  Object* object_;
};
template <class Object>
using ToRead = Reached<Object, Purpose::read>;
template <class Object>
using ToEdit = Reached<Object, Purpose::edit>;

ToRead<MovieObject> movieToRead(Movie movie);
ToRead<TrackObject> trackToRead(Track track);
ToRead<MediaObject> mediaToRead(Media media);
ToRead<MediaHandlerObject> handlerToRead(MediaHandler handler);
ToEdit<MovieObject> movieToEdit(Movie movie);
ToEdit<TrackObject> trackToEdit(Track track);
ToEdit<MediaObject> mediaToEdit(Media media);
UserDataObject* userDataFrom(UserData userData);

inline Movie toRef(MovieObject* o) { return reinterpret_cast<Movie>(o); }
inline Track toRef(TrackObject* o) { return reinterpret_cast<Track>(o); }
inline Media toRef(MediaObject* o) { return reinterpret_cast<Media>(o); }
inline UserData toRef(UserDataObject* o) { return reinterpret_cast<UserData>(o); }
inline MediaHandler toRef(MediaHandlerObject* o) { return reinterpret_cast<MediaHandler>(o); }

// 64-bit times into 32-bit TimeValues: saturate rather than wrap.
TimeValue clampTime(std::int64_t value);

// The sample description of `entry` as a Movie Toolbox description in
// `handle` (image, sound or generic by media type).
OSErr fillSampleDescription(const engine::Media& media, std::uint32_t index, SampleDescriptionHandle handle);

}  // namespace vqt::movies
