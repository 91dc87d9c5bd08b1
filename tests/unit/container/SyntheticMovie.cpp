#include "SyntheticMovie.h"

namespace vqt::container::testing {

std::vector<std::uint8_t> be32(std::uint32_t v) {
  return {std::uint8_t(v >> 24), std::uint8_t(v >> 16), std::uint8_t(v >> 8), std::uint8_t(v)};
}

std::vector<std::uint8_t> operator+(std::vector<std::uint8_t> a, const std::vector<std::uint8_t>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

std::vector<std::uint8_t> atomBytes(FourCC type, const std::vector<std::uint8_t>& payload) {
  return be32(static_cast<std::uint32_t>(payload.size() + 8)) + be32(type) + payload;
}

namespace {

template <class T>
T& add(ContainerAtom& parent, std::unique_ptr<T> atom) {
  T& ref = *atom;
  parent.items.push_back(std::move(atom));
  return ref;
}

ContainerAtom& container(ContainerAtom& parent, FourCC type) {
  return add(parent, std::make_unique<ContainerAtom>(type));
}

std::unique_ptr<SampleEntry> makeEntry(const SyntheticTrack& t) {
  std::unique_ptr<SampleEntry> entry;
  if (t.handler == 'tmcd') {
    auto tc = std::make_unique<TimecodeSampleEntry>();
    tc->flags = t.timecodeFlags;
    tc->timeScale = t.timecodeScale;
    tc->frameDuration = t.frameDuration;
    tc->numberOfFrames = t.framesPerSecond;
    entry = std::move(tc);
  } else if (t.handler == 'soun') {
    auto sound = std::make_unique<SoundSampleEntry>(t.format);
    sound->sampleRate = t.timeScale << 16;
    entry = std::move(sound);
  } else {
    auto video = std::make_unique<VisualSampleEntry>(t.format);
    video->width = 64;
    video->height = 48;
    entry = std::move(video);
  }
  entry->extensions = t.extensions;
  return entry;
}

void addTrack(ContainerAtom& moov, const SyntheticTrack& t, std::uint32_t id, std::uint32_t movieScale,
              std::uint64_t dataOffset) {
  auto& trak = container(moov, 'trak');
  auto header = std::make_unique<TrackHeaderAtom>();
  header->trackId = id;
  std::uint64_t mediaDuration = 0;
  for (auto d : t.durations) mediaDuration += d;
  header->duration = t.timeScale ? mediaDuration * movieScale / t.timeScale : 0;
  add(trak, std::move(header));
  if (t.hasEditList) {
    auto& edts = container(trak, 'edts');
    auto list = std::make_unique<EditListAtom>();
    list->entries = t.edits;
    add(edts, std::move(list));
  }
  auto& mdia = container(trak, 'mdia');
  auto mdhd = std::make_unique<MediaHeaderAtom>();
  mdhd->timeScale = t.timeScale;
  mdhd->duration = mediaDuration;
  add(mdia, std::move(mdhd));
  auto hdlr = std::make_unique<HandlerAtom>();
  hdlr->componentType = 'mhlr';
  hdlr->componentSubtype = t.handler;
  add(mdia, std::move(hdlr));
  auto& minf = container(mdia, 'minf');
  auto& dinf = container(minf, 'dinf');
  auto dref = std::make_unique<DataReferenceAtom>();
  dref->entries.push_back({'alis', 0, t.dataReferenceFlags, {}});
  add(dinf, std::move(dref));
  auto& stbl = container(minf, 'stbl');
  auto stsd = std::make_unique<SampleDescriptionAtom>();
  stsd->entries.push_back(makeEntry(t));
  add(stbl, std::move(stsd));
  auto stts = std::make_unique<TimeToSampleAtom>();
  for (auto d : t.durations) {
    if (!stts->entries.empty() && stts->entries.back().delta == d)
      ++stts->entries.back().count;
    else
      stts->entries.push_back({1, d});
  }
  add(stbl, std::move(stts));
  if (!t.compositionOffsets.empty()) {
    auto ctts = std::make_unique<CompositionOffsetAtom>();
    for (auto o : t.compositionOffsets) ctts->entries.push_back({1, o});
    add(stbl, std::move(ctts));
  }
  if (!t.syncSamples.empty()) {
    auto stss = std::make_unique<SyncSampleAtom>();
    stss->sampleNumbers = t.syncSamples;
    add(stbl, std::move(stss));
  }
  auto stsc = std::make_unique<SampleToChunkAtom>();
  stsc->entries.push_back({1, t.samplesPerChunk, 1});
  add(stbl, std::move(stsc));
  auto stsz = std::make_unique<SampleSizeAtom>('stsz');
  if (t.constantSize)
    stsz->constantSize = t.constantSize;
  else
    stsz->sizes = t.sizes;
  stsz->sampleCount = static_cast<std::uint32_t>(t.sizes.size());
  add(stbl, std::move(stsz));
  auto stco = std::make_unique<ChunkOffsetAtom>('co64');
  std::uint64_t offset = dataOffset;
  for (std::size_t i = 0; i < t.sizes.size(); ++i) {
    if (i % t.samplesPerChunk == 0) stco->offsets.push_back(offset);
    offset += t.sizes[i];
  }
  add(stbl, std::move(stco));
}

void addMetadata(ContainerAtom& moov, const std::vector<SyntheticMetadata>& items) {
  auto meta = std::make_unique<MetaAtom>();
  auto hdlr = std::make_unique<HandlerAtom>();
  hdlr->componentSubtype = 'mdta';
  meta->items.push_back(std::move(hdlr));
  auto keys = std::make_unique<KeysAtom>();
  auto list = std::make_unique<ItemListAtom>();
  for (std::size_t i = 0; i < items.size(); ++i) {
    keys->keys.push_back({'mdta', {items[i].key.begin(), items[i].key.end()}});
    auto item = std::make_unique<MetadataItemAtom>(static_cast<FourCC>(i + 1));
    auto data = std::make_unique<DataAtom>();
    data->typeIndicator = items[i].dataType;
    data->value = items[i].value;
    item->items.push_back(std::move(data));
    list->entries.push_back(std::move(item));
  }
  meta->items.push_back(std::move(keys));
  meta->items.push_back(std::move(list));
  moov.items.push_back(std::move(meta));
}

}  // namespace

std::vector<std::uint8_t> buildMovieFile(const SyntheticMovie& movie) {
  ByteWriter file;
  auto ftyp = std::make_unique<FileTypeAtom>();
  ftyp->majorBrand = 'qt  ';
  ftyp->compatibleBrands = {'qt  '};
  ftyp->write(file);

  const std::size_t mdat = file.beginAtom('mdat');
  std::vector<std::uint64_t> trackData;
  for (const auto& t : movie.tracks) {
    trackData.push_back(file.size());
    if (!t.sampleBytes.empty()) {
      file.bytes(t.sampleBytes);
      continue;
    }
    for (std::size_t i = 0; i < t.sizes.size(); ++i)
      for (std::uint32_t k = 0; k < t.sizes[i]; ++k) file.u8(static_cast<std::uint8_t>(i));
  }
  file.endAtom(mdat);

  auto moov = std::make_unique<ContainerAtom>('moov');
  auto mvhd = std::make_unique<MovieHeaderAtom>();
  mvhd->timeScale = movie.timeScale;
  mvhd->nextTrackId = static_cast<std::uint32_t>(movie.tracks.size() + 1);
  moov->items.push_back(std::move(mvhd));
  for (std::size_t i = 0; i < movie.tracks.size(); ++i)
    addTrack(*moov, movie.tracks[i], static_cast<std::uint32_t>(i + 1), movie.timeScale, trackData[i]);
  if (!movie.metadata.empty()) addMetadata(*moov, movie.metadata);

  if (movie.compressHeader) {
    ContainerAtom outer('moov');
    auto cmov = std::make_unique<CompressedMovieAtom>();
    cmov->movie = std::move(moov);
    outer.items.push_back(std::move(cmov));
    outer.write(file);
  } else {
    moov->write(file);
  }
  return file.take();
}

}  // namespace vqt::container::testing
