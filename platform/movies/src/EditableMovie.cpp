// Edited movies: the builder that the writing calls change, and the reading
// model rebuilt from its 'moov' bytes so that every reading call sees the
// edits exactly as a reader of the written file would.
#include "MovieState.h"

namespace vqt::movies {

void syncBuilder(MovieObject& movie) {
  engine::MovieBuilder& builder = *movie.builder;
  builder.userData = movie.userData.items;
  builder.metadata.clear();
  if (movie.metadata)
    for (const auto& entry : movie.metadata->entries) builder.metadata.push_back(entry.item);
  for (std::size_t i = 0; i < movie.tracks.size() && i < builder.tracks.size(); ++i) {
    builder.tracks[i].userData = movie.tracks[i]->userData.items;
    builder.tracks[i].media.userData = movie.tracks[i]->media.userData.items;
  }
}

engine::MovieBuilder* editableMovie(MovieObject& movie) {
  if (movie.builder) return movie.builder.get();
  auto builder = std::make_unique<engine::MovieBuilder>();
  if (movie.model) {
    if (engine::Error error = engine::MovieBuilder::fromMovie(*movie.model, *builder); error != engine::Error::none) {
      setMoviesError(toMoviesError(error));
      return nullptr;
    }
    movie.data = movie.model->sharedSource();
  }
  movie.builder = std::move(builder);
  return movie.builder.get();
}

engine::BuiltTrack* editableTrack(TrackObject& track) {
  engine::MovieBuilder* builder = editableMovie(*track.movie);
  if (!builder) return nullptr;
  const auto& tracks = track.movie->tracks;
  for (std::size_t i = 0; i < tracks.size() && i < builder->tracks.size(); ++i)
    if (tracks[i].get() == &track) return &builder->tracks[i];
  setMoviesError(invalidTrack);
  return nullptr;
}

void markEdited(MovieObject& movie) { movie.modelStale = true; }

void bringUpToDate(MovieObject& movie) {
  if (!movie.modelStale || !movie.builder) return;
  movie.modelStale = false;
  syncBuilder(movie);
  const std::vector<std::uint8_t> bytes = engine::writeMovieAtom(*movie.builder);
  std::shared_ptr<const engine::ByteSource> data = movie.data;
  if (!data) data = std::make_shared<engine::MemorySource>(std::vector<std::uint8_t>{});
  std::unique_ptr<engine::Movie> model;
  // The builder only makes tables the reader accepts; should that ever fail,
  // the previous model stays rather than none.
  if (engine::Movie::fromMovieAtom(bytes, data, model) != engine::Error::none) return;
  movie.model = std::move(model);
  for (std::size_t i = 0; i < movie.tracks.size() && i < movie.model->tracks.size(); ++i) {
    TrackObject& track = *movie.tracks[i];
    track.model = movie.model->tracks[i].get();
    track.media.model = &movie.model->tracks[i]->media;
  }
}

TrackObject* addTrackObject(MovieObject& movie) {
  auto track = std::make_unique<TrackObject>();
  track->movie = &movie;
  track->media.track = track.get();
  track->media.exists = false;
  track->media.handler.media = &track->media;
  track->userData.ownedByCaller = false;
  track->media.userData.ownedByCaller = false;
  registerLive(track.get());
  registerLive(&track->media);
  registerLive(&track->userData);
  registerLive(&track->media.userData);
  registerLive(&track->media.handler);
  movie.tracks.push_back(std::move(track));
  return movie.tracks.back().get();
}

}  // namespace vqt::movies
