// Data references and movie storage: making a movie file, writing its header,
// opening files as movies (sound files through the audio engine's import)
// and flattening a movie into a new self-contained file.
#include "MovieState.h"

#include <QuickTime/MovieStorage.h>

#include "vqt/audio/SampleEntry.h"
#include "vqt/audio/SoundImport.h"
#include "vqt/container/Flatten.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

using namespace vqt::movies;

namespace {

constexpr OSType kFileDataRefType = AliasDataHandlerSubType;

bool pathFromDataRef(Handle dataRef, OSType dataRefType, std::string& path) {
  if (!dataRef || !*dataRef || dataRefType != kFileDataRefType) return false;
  const Size size = GetHandleSize(dataRef);
  if (size <= 0) return false;
  path.assign(*dataRef, static_cast<std::size_t>(size));
  return path.find('\0') == std::string::npos;
}

StorageObject* storageFrom(DataHandler handler) {
  auto* storage = reinterpret_cast<StorageObject*>(handler);
  if (!storage || !isLive(storage)) {
    setMoviesError(invalidDataRef);
    return nullptr;
  }
  return storage;
}

DataHandler toHandler(StorageObject* storage) { return reinterpret_cast<DataHandler>(storage); }

MovieObject* newMovieObject(std::unique_ptr<engine::Movie> model, std::unique_ptr<engine::MovieBuilder> builder) {
  auto object = std::make_unique<MovieObject>();
  object->model = std::move(model);
  object->builder = std::move(builder);
  object->userData =
      UserDataObject{object->model ? object->model->userData : std::vector<engine::UserDataItem>{}, false};
  registerLive(&object->userData);
  if (object->model) {
    for (const auto& trackModel : object->model->tracks) {
      TrackObject* track = addTrackObject(*object);
      track->model = trackModel.get();
      track->media.model = &trackModel->media;
      track->media.exists = true;
      track->userData.items = trackModel->userData;
      track->media.userData.items = trackModel->media.userData;
    }
  }
  object->metadata = newMetaData(object->model ? object->model->metadata : std::vector<engine::MetadataItem>{});
  registerLive(object.get());
  return object.release();
}

// A sound file presented as a movie: one sound track whose media time scale
// is the sample rate, its samples read in place from the file, its edit
// leaving out the encoder's priming and padding.
OSErr importSound(const std::string& path, MovieObject*& out) {
  vqt::audio::ImportedSound sound;
  if (vqt::audio::importSoundFile(path, sound) != vqt::audio::Status::ok) return invalidMovie;
  const double rate = std::round(sound.format.sampleRate);
  if (!(rate >= 1 && rate <= 0x7FFFFFFF)) return invalidMovie;
  auto builder = std::make_unique<engine::MovieBuilder>();
  builder->timeScale = static_cast<std::uint32_t>(rate);
  engine::BuiltTrack& track = builder->addTrack();
  track.volume = 0x100;
  track.media.handlerType = SoundMediaType;
  track.media.timeScale = builder->timeScale;
  track.media.addDescription(vqt::audio::writeSoundSampleEntry(sound.format));
  const std::uint32_t frameBytes = sound.pcmBytesPerFrame();
  for (const auto& packet : sound.packets) {
    engine::SampleRun run;
    run.offset = static_cast<std::uint64_t>(packet.fileOffset);
    if (frameBytes) {
      run.size = frameBytes;
      run.count = packet.frames;
      run.duration = 1;
    } else {
      run.size = packet.byteSize;
      run.duration = packet.frames;
    }
    track.media.append(run);
  }
  const std::int64_t total = static_cast<std::int64_t>(track.media.duration());
  const std::int64_t start = std::clamp<std::int64_t>(sound.primingFrames, 0, total);
  std::int64_t length = sound.playableFrames > 0 ? sound.playableFrames : total - start;
  length = std::min(length, total - start);
  if (length > 0) track.edits.push_back({static_cast<std::uint64_t>(length), start, 0x10000});

  engine::Error error = engine::Error::none;
  auto source = engine::FileSource::open(path, error);
  if (!source) return ioErr;
  std::unique_ptr<engine::Movie> model;
  if ((error = engine::Movie::fromMovieAtom(engine::writeMovieAtom(*builder), source, model)) != engine::Error::none)
    return toMoviesError(error);
  out = newMovieObject(std::move(model), nullptr);
  return noErr;
}

OSErr writeHeader(MovieObject& movie, StorageObject& storage) {
  if (!storage.writable || !storage.writer) return permErr;
  engine::MovieBuilder* builder = editableMovie(movie);
  if (!builder) return GetMoviesError();
  if (!movie.storage) {
    // A movie written into storage it did not come from keeps its samples
    // where they are; only a movie made there adds samples to it.
    movie.storage = storage.writer;
    if (!movie.data) movie.data = storage.writer->dataSource();
  }
  syncBuilder(movie);
  return toMoviesError(storage.writer->writeMovieAtom(engine::writeMovieAtom(*builder)));
}

}  // namespace

OSErr QTNewDataReferenceFromFullPathCFString(CFStringRef filePath, UInt32 pathStyle, UInt32 /*flags*/,
                                             Handle* outDataRef, OSType* outDataRefType) {
  if (outDataRef) *outDataRef = nullptr;
  if (!filePath || !outDataRef || !outDataRefType) return setMoviesError(paramErr);
  // POSIX paths; the native style is the same on this system.
  if (pathStyle != kQTPOSIXPathStyle && pathStyle != static_cast<UInt32>(kQTNativeDefaultPathStyle))
    return setMoviesError(paramErr);
  if (CFGetTypeID(filePath) != CFStringGetTypeID()) return setMoviesError(paramErr);
  const CFIndex capacity = CFStringGetMaximumSizeForEncoding(CFStringGetLength(filePath), kCFStringEncodingUTF8) + 1;
  std::string buffer(static_cast<std::size_t>(capacity), '\0');
  if (!CFStringGetCString(filePath, buffer.data(), capacity, kCFStringEncodingUTF8)) return setMoviesError(paramErr);
  const std::size_t length = std::strlen(buffer.c_str());
  if (length == 0) return setMoviesError(paramErr);
  Handle handle = nullptr;
  if (PtrToHand(buffer.data(), &handle, static_cast<long>(length)) != noErr || !handle)
    return setMoviesError(memFullErr);
  *outDataRef = handle;
  *outDataRefType = kFileDataRefType;
  return setMoviesError(noErr);
}

OSErr CreateMovieStorage(Handle dataRef, OSType dataRefType, OSType /*creator*/, ScriptCode /*scriptTag*/,
                         SInt32 createMovieFileFlags, DataHandler* outDataHandler, Movie* newMovie) {
  if (outDataHandler) *outDataHandler = nullptr;
  if (newMovie) *newMovie = nullptr;
  std::string path;
  if (!pathFromDataRef(dataRef, dataRefType, path)) return setMoviesError(paramErr);
  const bool replace = (createMovieFileFlags & createMovieFileDeleteCurFile) != 0;
  std::unique_ptr<engine::MovieFileWriter> writer;
  if (engine::Error error = engine::MovieFileWriter::create(path, replace, writer); error != engine::Error::none)
    return setMoviesError(toMoviesError(error));
  auto storage = std::make_unique<StorageObject>();
  storage->path = path;
  storage->writable = true;
  storage->writer = std::move(writer);
  if (newMovie && !(createMovieFileFlags & createMovieFileDontCreateMovie)) {
    MovieObject* movie = newMovieObject(nullptr, std::make_unique<engine::MovieBuilder>());
    movie->storage = storage->writer;
    movie->data = storage->writer->dataSource();
    markEdited(*movie);
    bringUpToDate(*movie);
    *newMovie = toRef(movie);
  }
  // Without a handler to return, the movie alone keeps the file open.
  if (outDataHandler) {
    registerLive(storage.get());
    *outDataHandler = toHandler(storage.release());  // owned through the handler until CloseMovieStorage
  }
  return setMoviesError(noErr);
}

OSErr OpenMovieStorage(Handle dataRef, OSType dataRefType, SInt32 flags, DataHandler* outDataHandler) {
  if (outDataHandler) *outDataHandler = nullptr;
  std::string path;
  if (!outDataHandler || !pathFromDataRef(dataRef, dataRefType, path)) return setMoviesError(paramErr);
  // Existing files are opened for reading; movies are written through new storage.
  if (flags & kDataHCanWrite) return setMoviesError(permErr);
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return setMoviesError(errno == ENOENT ? fnfErr : permErr);
  ::close(fd);
  auto* storage = new StorageObject{path, false, nullptr};
  registerLive(storage);
  *outDataHandler = toHandler(storage);
  return setMoviesError(noErr);
}

OSErr CloseMovieStorage(DataHandler dh) {
  StorageObject* storage = storageFrom(dh);
  if (!storage) return invalidDataRef;
  const engine::Error first = storage->writer ? storage->writer->firstError() : engine::Error::none;
  unregisterLive(storage);
  delete storage;
  // A write that failed earlier is reported again when the file is closed.
  return setMoviesError(toMoviesError(first));
}

OSErr AddMovieToStorage(Movie theMovie, DataHandler dh) {
  ToEdit<MovieObject> movie = movieToEdit(theMovie);
  if (!movie) return invalidMovie;
  StorageObject* storage = storageFrom(dh);
  if (!storage) return invalidDataRef;
  return setMoviesError(writeHeader(*movie, *storage));
}

OSErr UpdateMovieInStorage(Movie theMovie, DataHandler dh) { return AddMovieToStorage(theMovie, dh); }

OSErr NewMovieFromDataRef(Movie* theMovie, short /*flags*/, short* id, Handle dataRef, OSType dataRefType) {
  if (id) *id = 0;
  if (!theMovie) return setMoviesError(paramErr);
  *theMovie = nullptr;
  std::string path;
  if (!pathFromDataRef(dataRef, dataRefType, path)) return setMoviesError(paramErr);
  engine::Error error = engine::Error::none;
  auto source = engine::FileSource::open(path, error);
  if (!source) return setMoviesError(error == engine::Error::notFound ? fnfErr : ioErr);
  std::unique_ptr<engine::Movie> model;
  error = engine::Movie::open(source, model);
  if (error == engine::Error::none) {
    *theMovie = toRef(newMovieObject(std::move(model), nullptr));
    return setMoviesError(noErr);
  }
  // Not a movie: perhaps a sound file, which is presented as one.
  MovieObject* sound = nullptr;
  if (error != engine::Error::ioError && importSound(path, sound) == noErr) {
    *theMovie = toRef(sound);
    return setMoviesError(noErr);
  }
  return setMoviesError(toMoviesError(error));
}

Movie FlattenMovieDataToDataRef(Movie theMovie, SInt32 movieFlattenFlags, Handle dataRef, OSType dataRefType,
                                OSType /*creator*/, ScriptCode /*scriptTag*/, SInt32 createMovieFileFlags) {
  ToEdit<MovieObject> movie = movieToEdit(theMovie);
  if (!movie) return nullptr;
  std::string path;
  if (!pathFromDataRef(dataRef, dataRefType, path)) {
    setMoviesError(paramErr);
    return nullptr;
  }
  engine::MovieBuilder* builder = editableMovie(*movie);
  if (!builder) return nullptr;
  syncBuilder(*movie);
  std::shared_ptr<const engine::ByteSource> data = movie->data;
  if (!data) data = std::make_shared<engine::MemorySource>(std::vector<std::uint8_t>{});
  const bool replace = (createMovieFileFlags & createMovieFileDeleteCurFile) != 0;
  // The header always goes first, whatever the flags ask.
  if (engine::Error error = engine::flattenMovie(*builder, *data, path, replace); error != engine::Error::none) {
    setMoviesError(toMoviesError(error));
    return nullptr;
  }
  if (!(movieFlattenFlags & flattenAddMovieToDataFork) || (createMovieFileFlags & createMovieFileDontCreateMovie)) {
    setMoviesError(noErr);
    return nullptr;
  }
  engine::Error error = engine::Error::none;
  auto source = engine::FileSource::open(path, error);
  std::unique_ptr<engine::Movie> model;
  if (!source || (error = engine::Movie::open(source, model)) != engine::Error::none) {
    setMoviesError(source ? toMoviesError(error) : ioErr);
    return nullptr;
  }
  setMoviesError(noErr);
  return toRef(newMovieObject(std::move(model), nullptr));
}
