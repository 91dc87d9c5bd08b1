#include "vqt/container/Movie.h"

#include "vqt/container/Fragments.h"

#include <algorithm>

namespace vqt::container {

namespace {

using Wide = __int128;

const Atom* child(const Atom* parent, FourCC type) { return parent ? parent->find(type) : nullptr; }
template <class T>
const T* childAs(const Atom* parent, FourCC type) {
  return dynamic_cast<const T*>(child(parent, type));
}

std::vector<UserDataItem> userDataItems(const UserDataAtom* udta) {
  std::vector<UserDataItem> items;
  if (!udta) return items;
  for (const auto& atom : udta->items) {
    if (atom->type() == 'meta') continue;  // metadata is read on its own
    ByteWriter payload;
    atom->writePayload(payload);
    items.push_back({atom->type(), payload.take()});
  }
  return items;
}

const MetaAtom* mdtaMeta(const Atom* parent) {
  const auto* meta = childAs<MetaAtom>(parent, 'meta');
  const auto* handler = childAs<HandlerAtom>(meta, 'hdlr');
  return handler && handler->componentSubtype == 'mdta' ? meta : nullptr;
}

std::vector<MetadataItem> metadataItems(const MetaAtom* meta) {
  std::vector<MetadataItem> items;
  const auto* keys = childAs<KeysAtom>(meta, 'keys');
  const auto* list = dynamic_cast<const ItemListAtom*>(child(meta, 'ilst'));
  if (!keys || !list) return items;
  for (const auto& entry : list->entries) {
    const std::uint32_t keyIndex = entry->type();
    if (keyIndex == 0 || keyIndex > keys->keys.size()) continue;
    const auto& key = keys->keys[keyIndex - 1];
    for (const auto& part : entry->items) {
      const auto* data = dynamic_cast<const DataAtom*>(part.get());
      if (!data) continue;
      items.push_back({key.keyNamespace, key.value, data->dataType(), data->locale, data->value});
    }
  }
  return items;
}

std::uint64_t scaleTime(std::uint64_t value, std::uint32_t from, std::uint32_t to) {
  if (from == 0) return 0;
  const Wide scaled = Wide(value) * to / from;
  return scaled > Wide(INT64_MAX) ? INT64_MAX : static_cast<std::uint64_t>(scaled);
}

// Bytes of one sample frame of uncompressed sound, from its description; 0
// when the format is compressed or unknown.
std::uint32_t pcmFrameBytes(const SoundSampleEntry& sound) {
  const std::uint32_t channels = sound.effectiveChannels();
  if (sound.version == 1 && sound.compressionId == 0 && sound.bytesPerFrame) return sound.bytesPerFrame;
  if (sound.version == 2 && sound.constLPCMFramesPerAudioPacket == 1) return sound.constBytesPerAudioPacket;
  struct Format {
    FourCC code;
    std::uint32_t bytesPerChannel;
  };
  constexpr Format kFormats[] = {{'raw ', 1}, {'twos', 0}, {'sowt', 0}, {'in24', 3}, {'in32', 4},
                                 {'fl32', 4}, {'fl64', 8}, {'ulaw', 1}, {'alaw', 1}, {'NONE', 0}};
  for (const auto& format : kFormats) {
    if (format.code != sound.type()) continue;
    const std::uint32_t perChannel = format.bytesPerChannel ? format.bytesPerChannel : (sound.sampleSize + 7u) / 8u;
    return perChannel * channels;
  }
  return 0;
}

// The time scale that stands in for a movie header's unusable one (0): the
// first video media's, else the first media's that has one. Edit durations
// were counted in the unusable scale, so with it they mean nothing.
std::uint32_t fallbackTimeScale(const Atom& moov) {
  std::uint32_t first = 0;
  for (const auto& atom : *moov.children()) {
    if (atom->type() != 'trak') continue;
    const Atom* mdia = child(atom.get(), 'mdia');
    const auto* mediaHeader = childAs<MediaHeaderAtom>(mdia, 'mdhd');
    const auto* handler = childAs<HandlerAtom>(mdia, 'hdlr');
    if (!mediaHeader || mediaHeader->timeScale == 0) continue;
    if (handler && handler->componentSubtype == 'vide') return mediaHeader->timeScale;
    if (!first) first = mediaHeader->timeScale;
  }
  return first;
}

// Edits from 'elst', or one edit over the whole media when there is none.
// A fragmented movie's header is written before its length is known, so there
// a last edit of length 0 runs to the end of the media.
void buildEdits(const Atom& trak, std::uint64_t headerDuration, bool fragmented, bool editDurationsKnown,
                Track& track) {
  const Media& media = track.media;
  const std::uint32_t movieTimeScale = track.movieTimeScale;
  track.edits.clear();
  // Edit times are kept below 2^61 so that a start plus a duration, and the
  // scaled products of the time searches, always fit their 64- and 128-bit sums.
  constexpr std::uint64_t kMaxTrackTime = std::uint64_t(1) << 61;
  std::uint64_t start = 0;
  const auto* list = childAs<EditListAtom>(child(&trak, 'edts'), 'elst');
  if (list && !editDurationsKnown) {
    // Durations in an unknown unit: the one edit that shows media keeps its
    // media start and plays to the media's end; anything else plays it all.
    const EditListEntry* shown = nullptr;
    int shownCount = 0;
    for (const auto& e : list->entries)
      if (e.mediaTime >= 0) shown = &e, ++shownCount;
    const std::int64_t from =
        shownCount == 1 && shown->mediaRate == 0x10000 ? std::min<std::int64_t>(shown->mediaTime, kMaxTrackTime) : 0;
    const std::uint64_t mediaLeft = media.duration > std::uint64_t(from) ? media.duration - std::uint64_t(from) : 0;
    const std::uint64_t length = std::min(scaleTime(mediaLeft, media.timeScale, movieTimeScale), kMaxTrackTime);
    if (length) track.edits.push_back({0, length, from, 0x10000});
    start = length;
  } else if (list) {
    for (const auto& e : list->entries) {
      std::uint64_t length = e.segmentDuration;
      if (fragmented && length == 0 && &e == &list->entries.back() && e.mediaTime >= 0 &&
          media.duration > std::uint64_t(e.mediaTime))
        length = scaleTime(media.duration - std::uint64_t(e.mediaTime), media.timeScale, movieTimeScale);
      const std::uint64_t duration = std::min(length, kMaxTrackTime - start);
      const std::int64_t mediaTime = e.mediaTime < 0 ? -1 : std::min<std::int64_t>(e.mediaTime, kMaxTrackTime);
      track.edits.push_back({start, duration, mediaTime, e.mediaRate});
      start += duration;
    }
  } else if (const SampleTable& table = media.samples;
             fragmented && table.displayEnd() > std::max<std::int64_t>(table.displayStart(), 0)) {
    // A fragmented movie's header is written before its samples, so it cannot
    // hold the edit that hides the delay composition offsets put before the
    // first picture; the unfragmented copy of the same movie has that edit.
    // Playing from the first sample shown to the end of the last one gives
    // the same frames at the same times as that copy.
    const std::int64_t first = std::max<std::int64_t>(table.displayStart(), 0);
    const std::uint64_t length =
        scaleTime(static_cast<std::uint64_t>(table.displayEnd() - first), media.timeScale, movieTimeScale);
    if (length) track.edits.push_back({0, length, first, 0x10000});
    start = length;
  } else {
    // Without an edit list the whole media plays once from the start.
    std::uint64_t length = scaleTime(media.duration, media.timeScale, movieTimeScale);
    if (length == 0) length = headerDuration;
    if (length) track.edits.push_back({0, length, 0, 0x10000});
    start = length;
  }
  track.duration = start;
}

Error buildTrack(const Atom& trak, std::uint32_t movieTimeScale, bool editDurationsKnown, std::uint64_t fileSize,
                 Track& track) {
  const auto* header = childAs<TrackHeaderAtom>(&trak, 'tkhd');
  const Atom* mdia = child(&trak, 'mdia');
  const auto* mediaHeader = childAs<MediaHeaderAtom>(mdia, 'mdhd');
  if (!header || !mediaHeader) return Error::truncated;
  track.id = header->trackId;
  track.enabled = (header->flags & TrackHeaderAtom::kEnabled) != 0;
  track.layer = header->layer;
  track.volume = header->volume;
  track.alternateGroup = header->alternateGroup;
  track.width = header->width;
  track.height = header->height;
  track.matrix = header->matrix;
  track.movieTimeScale = movieTimeScale;

  Media& media = track.media;
  const auto* handler = childAs<HandlerAtom>(mdia, 'hdlr');
  media.handlerType = handler ? handler->componentSubtype : 0;
  if (handler) {
    media.handlerManufacturer = handler->manufacturer;
    media.handlerName = handler->name;
  }
  media.timeScale = mediaHeader->timeScale;
  media.duration = mediaHeader->duration;
  media.language = mediaHeader->language;
  media.userData = userDataItems(childAs<UserDataAtom>(mdia, 'udta'));

  const Atom* minf = child(mdia, 'minf');
  const Atom* stbl = child(minf, 'stbl');
  SampleTableAtoms tables;
  tables.timeToSample = childAs<TimeToSampleAtom>(stbl, 'stts');
  tables.compositionOffsets = childAs<CompositionOffsetAtom>(stbl, 'ctts');
  tables.syncSamples = childAs<SyncSampleAtom>(stbl, 'stss');
  tables.sampleToChunk = childAs<SampleToChunkAtom>(stbl, 'stsc');
  tables.sampleSizes = childAs<SampleSizeAtom>(stbl, 'stsz');
  if (!tables.sampleSizes) tables.sampleSizes = childAs<SampleSizeAtom>(stbl, 'stz2');
  tables.chunkOffsets = childAs<ChunkOffsetAtom>(stbl, 'stco');
  if (!tables.chunkOffsets) tables.chunkOffsets = childAs<ChunkOffsetAtom>(stbl, 'co64');
  tables.dependencies = childAs<SampleDependencyAtom>(stbl, 'sdtp');
  const auto* descriptions = childAs<SampleDescriptionAtom>(stbl, 'stsd');
  // Movie files of uncompressed sound may count sample frames with a
  // constant 'stsz' size of 1; the real size comes from the description.
  std::uint32_t frameBytes = 0;
  if (tables.sampleSizes && tables.sampleSizes->constantSize == 1 && descriptions && !descriptions->entries.empty())
    if (const auto* sound = dynamic_cast<const SoundSampleEntry*>(descriptions->entries.front().get()))
      frameBytes = pcmFrameBytes(*sound);
  if (Error error = SampleTable::build(tables, fileSize, media.samples, frameBytes); error != Error::none) return error;
  // The media lasts as long as its samples do. The header's duration is a
  // field nothing else checks: one damaged byte there would otherwise make
  // every count derived from it (a sound track's samples) claim billions.
  // The sample table wins; a header that disagrees with it is not used.
  media.duration = static_cast<std::uint64_t>(media.samples.decodeDuration());

  const auto* references = childAs<DataReferenceAtom>(child(minf, 'dinf'), 'dref');
  if (descriptions) {
    for (const auto& entry : descriptions->entries) {
      // Only data in this file can be read; a reference elsewhere is refused
      // at open so that no later call meets it by surprise.
      if (references && references->isExternal(entry->dataReferenceIndex)) return Error::externalDataReference;
      media.descriptions.push_back(entry.get());
    }
  }

  if (const auto* refs = dynamic_cast<const TrackReferenceAtom*>(child(&trak, 'tref'))) {
    for (const auto& r : refs->references)
      if (const auto* typed = dynamic_cast<const TrackReferenceTypeAtom*>(r.get()))
        track.references.emplace_back(typed->type(), typed->trackIds);
  }
  track.userData = userDataItems(childAs<UserDataAtom>(&trak, 'udta'));

  buildEdits(trak, header->duration, false, editDurationsKnown, track);
  return Error::none;
}

}  // namespace

std::int64_t Track::mediaTimeAt(std::int64_t trackTime) const {
  if (trackTime < 0 || movieTimeScale == 0) return -1;
  const auto t = static_cast<std::uint64_t>(trackTime);
  for (const auto& e : edits) {
    if (t < e.trackStart || t - e.trackStart >= e.duration) continue;
    if (e.mediaTime < 0) return -1;
    const Wide offset = Wide(t - e.trackStart) * media.timeScale * e.rate / (Wide(movieTimeScale) * 0x10000);
    const Wide result = Wide(e.mediaTime) + offset;
    return result > Wide(INT64_MAX) || result < 0 ? -1 : static_cast<std::int64_t>(result);
  }
  return -1;
}

std::optional<std::int64_t> Track::nextSampleChange(std::int64_t time, bool forward, bool inclusive) const {
  if (movieTimeScale == 0 || media.timeScale == 0) return std::nullopt;
  const SampleTable& table = media.samples;
  // The track time at which media time `mediaStart` of edit `e` appears
  // (rounded up), and the media time at a track offset into it (rounded down).
  auto trackTimeOf = [&](const Edit& e, std::int64_t mediaStart) {
    const Wide num = Wide(mediaStart - e.mediaTime) * movieTimeScale * 0x10000;
    const Wide den = Wide(media.timeScale) * e.rate;
    return static_cast<std::int64_t>(e.trackStart) + static_cast<std::int64_t>((num + den - 1) / den);
  };
  auto mediaFloor = [&](const Edit& e, std::int64_t trackOffset) {
    return e.mediaTime +
           static_cast<std::int64_t>(Wide(trackOffset) * media.timeScale * e.rate / (Wide(movieTimeScale) * 0x10000));
  };
  auto showsSample = [&](const Edit& e) {
    std::uint32_t sample = 0;
    return table.sampleAtDisplayTime(e.mediaTime, sample) == Error::none;
  };
  if (forward) {
    for (const auto& e : edits) {
      const auto s = static_cast<std::int64_t>(e.trackStart);
      const auto end = static_cast<std::int64_t>(e.trackStart + e.duration);
      if (e.mediaTime < 0 || e.duration == 0 || end <= time) continue;
      if (s > time || (s == time && inclusive)) {
        if (showsSample(e)) return s;
        // Nothing shows at the edit's start (composition offsets without
        // an edit list): the first sample start inside the edit.
        auto b = e.rate > 0 ? table.displayBoundaryAfter(e.mediaTime, true) : std::nullopt;
        if (b && trackTimeOf(e, *b) < end) return trackTimeOf(e, *b);
        continue;
      }
      if (e.rate <= 0) continue;
      // First sample start b whose track time is after `time` (or equal when inclusive).
      const std::int64_t reference = inclusive ? time - s - 1 : time - s;
      auto b = table.displayBoundaryAfter(mediaFloor(e, reference), false);
      if (!b || *b < e.mediaTime) continue;
      const std::int64_t at = trackTimeOf(e, *b);
      if (at < end) return at;
    }
    return std::nullopt;
  }
  for (auto it = edits.rbegin(); it != edits.rend(); ++it) {
    const Edit& e = *it;
    const auto s = static_cast<std::int64_t>(e.trackStart);
    const auto end = static_cast<std::int64_t>(e.trackStart + e.duration);
    const std::int64_t limit = std::min(inclusive ? time : time - 1, end - 1);
    if (e.mediaTime < 0 || e.duration == 0 || limit < s) continue;
    if (e.rate > 0) {
      auto b = table.displayBoundaryBefore(mediaFloor(e, limit - s), true);
      if (b && *b >= e.mediaTime) return trackTimeOf(e, *b);
    }
    if (showsSample(e)) return s;
  }
  return std::nullopt;
}

Error Movie::readSampleData(std::uint64_t offset, std::span<std::uint8_t> out) const {
  if (offset > source_->size() || out.size() > source_->size() - offset) return Error::truncated;
  return source_->read(offset, out) ? Error::none : Error::ioError;
}

Error Movie::open(std::shared_ptr<const ByteSource> source, std::unique_ptr<Movie>& out) {
  auto movie = std::make_unique<Movie>();
  movie->source_ = source;

  // Top level: only the movie atom and the file type are read into memory;
  // media data and everything else are skipped by size. Fragments are read
  // once the movie atom is known (it may come after them).
  const Error walked = walkTopLevel(*source, [&](FourCC type, std::uint64_t offset, std::uint64_t size) {
    if (type == 'moof') movie->fragmented_ = true;
    if ((type != 'moov' || movie->movieAtom_) && type != 'ftyp') return Error::none;
    std::vector<std::uint8_t> bytes;
    if (Error error = source->readVector(offset, size, bytes); error != Error::none) return error;
    std::unique_ptr<Atom> atom;
    ParseContext context;
    if (Error error = parseSingleAtom(bytes, context, atom); error != Error::none) return error;
    movie->atoms_.push_back(std::move(atom));
    if (type == 'moov') movie->movieAtom_ = movie->atoms_.back().get();
    return Error::none;
  });
  // Damage after a complete movie atom is trailing damage, not a broken movie.
  if (walked != Error::none && !(walked == Error::badAtomSize && movie->movieAtom_)) return walked;
  return finishOpening(std::move(movie), out);
}

Error Movie::walkTopLevel(const ByteSource& source,
                          const std::function<Error(FourCC, std::uint64_t, std::uint64_t)>& visit) {
  const std::uint64_t fileSize = source.size();
  std::uint64_t offset = 0;
  while (fileSize - offset >= 8) {
    std::uint8_t headerBytes[16];
    const std::size_t headerRead = fileSize - offset >= 16 ? 16 : 8;
    if (!source.read(offset, std::span(headerBytes, headerRead))) return Error::ioError;
    ByteReader headerReader(std::span<const std::uint8_t>(headerBytes, headerRead));
    std::uint64_t size = headerReader.u32();
    const FourCC type = headerReader.u32();
    std::uint32_t headerSize = 8;
    if (size == 1) {
      if (headerRead < 16) return Error::truncated;
      size = headerReader.u64();
      headerSize = 16;
    } else if (size == 0) {
      size = fileSize - offset;
    }
    if (size < headerSize || size > fileSize - offset) return Error::badAtomSize;
    if (Error error = visit(type, offset, size); error != Error::none) return error;
    offset += size;
  }
  return Error::none;
}

Error Movie::readFragments(const Atom& moov, const std::vector<const Atom*>& traks) {
  FragmentReader reader(moov, source_->size());
  for (const auto& track : tracks) {
    std::uint32_t frameBytes = 0;
    const Media& media = track->media;
    if (!media.descriptions.empty())
      if (const auto* sound = dynamic_cast<const SoundSampleEntry*>(media.descriptions.front()))
        frameBytes = pcmFrameBytes(*sound);
    reader.addTrack(track->id, media.samples, frameBytes);
  }
  const Error walked = walkTopLevel(*source_, [&](FourCC type, std::uint64_t offset, std::uint64_t size) {
    if (type != 'moof') return Error::none;
    std::vector<std::uint8_t> bytes;
    if (Error error = source_->readVector(offset, size, bytes); error != Error::none) return error;
    std::unique_ptr<Atom> atom;
    ParseContext context;
    if (Error error = parseSingleAtom(bytes, context, atom); error != Error::none) return error;
    return reader.addMovieFragment(*atom, offset);
  });
  // As when opening, a damaged atom ends the file; the fragments before it stay.
  if (walked != Error::none && walked != Error::badAtomSize) return walked;

  const auto* movieHeader = childAs<MovieHeaderAtom>(&moov, 'mvhd');
  const bool editDurationsKnown = movieHeader && movieHeader->timeScale != 0;
  for (std::size_t i = 0; i < tracks.size(); ++i) {
    Track& track = *tracks[i];
    SampleTableAccumulator* merged = reader.tablesOf(track.id);
    if (!merged) continue;
    if (Error error = SampleTable::build(merged->finish(), source_->size(), track.media.samples); error != Error::none)
      return error;
    const auto* header = childAs<TrackHeaderAtom>(traks[i], 'tkhd');
    // The headers of a fragmented movie are written before its samples, so
    // the durations they state are at most those of the first samples.
    const auto decoded = static_cast<std::uint64_t>(track.media.samples.decodeDuration());
    track.media.duration = std::max(track.media.duration, decoded);
    buildEdits(*traks[i], header ? header->duration : 0, true, editDurationsKnown, track);
    duration = std::max(duration, track.duration);
  }
  if (const auto* extends = childAs<MovieExtendsHeaderAtom>(child(&moov, 'mvex'), 'mehd'))
    duration = std::max(duration, extends->fragmentDuration);
  return Error::none;
}

Error Movie::fromMovieAtom(std::span<const std::uint8_t> movieAtomBytes, std::shared_ptr<const ByteSource> data,
                           std::unique_ptr<Movie>& out) {
  auto movie = std::make_unique<Movie>();
  movie->source_ = std::move(data);
  std::unique_ptr<Atom> atom;
  ParseContext context;
  if (Error error = parseSingleAtom(movieAtomBytes, context, atom); error != Error::none) return error;
  if (atom->type() != 'moov') return Error::noMovieAtom;
  movie->atoms_.push_back(std::move(atom));
  movie->movieAtom_ = movie->atoms_.back().get();
  return finishOpening(std::move(movie), out);
}

Error Movie::finishOpening(std::unique_ptr<Movie> movie, std::unique_ptr<Movie>& out) {
  const std::uint64_t fileSize = movie->source_->size();
  const Atom* moov = movie->movieAtom_;
  if (!moov) return Error::noMovieAtom;
  if (const auto* compressed = childAs<CompressedMovieAtom>(moov, 'cmov')) {
    if (!compressed->movie || compressed->movie->type() != 'moov') return Error::noMovieAtom;
    moov = movie->movieAtom_ = compressed->movie.get();
  }
  const auto* header = childAs<MovieHeaderAtom>(moov, 'mvhd');
  if (!header) return Error::noMovieAtom;
  movie->timeScale = header->timeScale;
  movie->duration = header->duration;
  // Other readers play a movie whose header has no time scale by its media's
  // clocks; its durations in movie units are then unknown and come from the
  // tracks instead.
  const bool timeScaleKnown = header->timeScale != 0;
  if (!timeScaleKnown) {
    movie->timeScale = fallbackTimeScale(*moov);
    movie->duration = 0;
  }

  // Each track keeps its sample table in memory, and a track atom is only a few
  // hundred bytes: without a bound, a movie header of tracks could cost far
  // more memory than its file has bytes. No real movie comes near this many.
  constexpr std::size_t kMostTracks = 1024;
  std::vector<const Atom*> traks;
  for (const auto& atom : *moov->children()) {
    if (atom->type() != 'trak') continue;
    if (movie->tracks.size() == kMostTracks) return Error::tableTooLarge;
    auto track = std::make_unique<Track>();
    if (Error error = buildTrack(*atom, movie->timeScale, timeScaleKnown, fileSize, *track); error != Error::none)
      return error;
    movie->tracks.push_back(std::move(track));
    traks.push_back(atom.get());
  }
  if (movie->fragmented_)
    if (Error error = movie->readFragments(*moov, traks); error != Error::none) return error;
  const auto* udta = childAs<UserDataAtom>(moov, 'udta');
  movie->userData = userDataItems(udta);
  const MetaAtom* meta = mdtaMeta(moov);
  if (!meta) meta = mdtaMeta(udta);
  movie->metadata = metadataItems(meta);
  out = std::move(movie);
  return Error::none;
}

std::optional<std::vector<std::uint8_t>> userDataText(std::span<const std::uint8_t> payload,
                                                      std::optional<std::uint16_t> language) {
  ByteReader in(payload);
  std::optional<std::vector<std::uint8_t>> first;
  while (in.remaining() >= 4) {
    const std::uint16_t length = in.u16();
    const std::uint16_t code = in.u16();
    if (length > in.remaining()) break;
    auto text = in.bytes(length);
    std::vector<std::uint8_t> value(text.begin(), text.end());
    if (!language || *language == code) return value;
    if (!first) first = std::move(value);
  }
  if (!first && !payload.empty()) {
    // Not in the length-prefixed form: the whole payload is the text.
    return std::vector<std::uint8_t>(payload.begin(), payload.end());
  }
  return first;
}

}  // namespace vqt::container
