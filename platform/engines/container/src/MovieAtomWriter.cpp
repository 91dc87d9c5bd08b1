// Turns the editable movie into its 'moov' atom, built from the same atom
// classes the reader parses, so every table is written by its own class.
#include "vqt/container/MetadataAtoms.h"
#include "vqt/container/MovieBuilder.h"
#include "vqt/container/SampleTableAtoms.h"

#include <algorithm>
#include <ctime>
#include <string_view>

namespace vqt::container {

namespace {

constexpr std::uint64_t kMacEpochOffset = 2082844800;  // seconds from 1904 to 1970

std::unique_ptr<ContainerAtom> container(FourCC type) { return std::make_unique<ContainerAtom>(type); }

std::unique_ptr<RawAtom> raw(FourCC type, std::vector<std::uint8_t> payload) {
  auto atom = std::make_unique<RawAtom>(type);
  atom->payload = std::move(payload);
  return atom;
}

std::uint8_t versionFor(std::uint64_t value) { return value > UINT32_MAX ? 1 : 0; }

std::vector<std::uint8_t> pascalName(const char* text) {
  const std::string_view view(text);
  std::vector<std::uint8_t> name;
  name.reserve(view.size() + 1);
  name.push_back(static_cast<std::uint8_t>(view.size()));
  for (char c : view) name.push_back(static_cast<std::uint8_t>(c));
  return name;
}

std::unique_ptr<UserDataAtom> userDataAtom(const std::vector<UserDataItem>& items) {
  if (items.empty()) return nullptr;
  auto udta = std::make_unique<UserDataAtom>();
  for (const auto& item : items) udta->items.push_back(raw(item.type, item.payload));
  return udta;
}

std::unique_ptr<MetaAtom> metadataAtom(const std::vector<MetadataItem>& items) {
  if (items.empty()) return nullptr;
  auto meta = std::make_unique<MetaAtom>();
  auto handler = std::make_unique<HandlerAtom>();
  handler->componentSubtype = 'mdta';
  handler->name = {0};
  auto keys = std::make_unique<KeysAtom>();
  auto list = std::make_unique<ItemListAtom>();
  for (const auto& item : items) {
    auto same = std::find_if(keys->keys.begin(), keys->keys.end(), [&](const KeysAtom::Key& key) {
      return key.keyNamespace == item.keyNamespace && key.value == item.key;
    });
    if (same == keys->keys.end()) {
      keys->keys.push_back({item.keyNamespace, item.key});
      same = keys->keys.end() - 1;
    }
    auto entry = std::make_unique<MetadataItemAtom>(static_cast<FourCC>(same - keys->keys.begin() + 1));
    auto data = std::make_unique<DataAtom>();
    data->typeIndicator = item.dataType & 0x00FFFFFF;
    data->locale = item.locale;
    data->value = item.value;
    entry->items.push_back(std::move(data));
    list->entries.push_back(std::move(entry));
  }
  meta->items.push_back(std::move(handler));
  meta->items.push_back(std::move(keys));
  meta->items.push_back(std::move(list));
  return meta;
}

std::unique_ptr<Atom> mediaInformationHeader(FourCC handlerType) {
  if (handlerType == 'vide') return std::make_unique<VideoMediaHeaderAtom>();
  if (handlerType == 'soun') return std::make_unique<SoundMediaHeaderAtom>();
  auto gmhd = container('gmhd');
  gmhd->items.push_back(std::make_unique<BaseMediaInfoAtom>());
  if (handlerType == 'tmcd') {
    auto tmcd = container('tmcd');
    tmcd->items.push_back(std::make_unique<TimecodeMediaInfoAtom>());
    gmhd->items.push_back(std::move(tmcd));
  }
  return gmhd;
}

std::unique_ptr<ContainerAtom> sampleTableAtom(const BuiltMedia& media) {
  auto stbl = container('stbl');
  ByteWriter descriptions;
  descriptions.u32(0);
  descriptions.u32(static_cast<std::uint32_t>(media.descriptions.size()));
  for (const auto& entry : media.descriptions) descriptions.bytes(entry);
  stbl->items.push_back(raw('stsd', descriptions.take()));

  auto stts = std::make_unique<TimeToSampleAtom>();
  auto ctts = std::make_unique<CompositionOffsetAtom>();
  auto stss = std::make_unique<SyncSampleAtom>();
  auto stsc = std::make_unique<SampleToChunkAtom>();
  auto stsz = std::make_unique<SampleSizeAtom>('stsz');
  std::vector<std::uint64_t> chunkOffsets;
  auto sdtp = std::make_unique<SampleDependencyAtom>();
  bool anyOffset = false, anyNegative = false, anyNotSync = false, anyDependency = false;
  bool sameSize = true;
  for (const auto& run : media.runs) {
    anyOffset |= run.displayOffset != 0;
    anyNegative |= run.displayOffset < 0;
    anyNotSync |= !run.sync;
    anyDependency |= run.dependency != 0;
    sameSize &= run.size == media.runs.front().size;
  }
  std::uint32_t sample = 1;
  std::uint64_t chunkEnd = UINT64_MAX;
  std::uint32_t chunkSamples = 0, chunkDescription = 0;
  auto closeChunk = [&] {
    if (chunkSamples == 0) return;
    if (stsc->entries.empty() || stsc->entries.back().samplesPerChunk != chunkSamples ||
        stsc->entries.back().descriptionIndex != chunkDescription)
      stsc->entries.push_back({static_cast<std::uint32_t>(chunkOffsets.size()), chunkSamples, chunkDescription});
    chunkSamples = 0;
  };
  for (const auto& run : media.runs) {
    if (!stts->entries.empty() && stts->entries.back().delta == run.duration)
      stts->entries.back().count += run.count;
    else
      stts->entries.push_back({run.count, run.duration});
    if (anyOffset) {
      if (!ctts->entries.empty() && ctts->entries.back().offset == run.displayOffset)
        ctts->entries.back().count += run.count;
      else
        ctts->entries.push_back({run.count, run.displayOffset});
    }
    if (anyNotSync && run.sync)
      for (std::uint32_t i = 0; i < run.count; ++i) stss->sampleNumbers.push_back(sample + i);
    if (anyDependency) sdtp->flagsPerSample.insert(sdtp->flagsPerSample.end(), run.count, run.dependency);
    if (!sameSize) stsz->sizes.insert(stsz->sizes.end(), run.count, run.size);
    // Runs that continue each other in the file with one description share a chunk.
    if (run.offset != chunkEnd || run.description != chunkDescription ||
        std::uint64_t(chunkSamples) + run.count > UINT32_MAX) {
      closeChunk();
      chunkOffsets.push_back(run.offset);
      chunkDescription = run.description;
    }
    chunkSamples += run.count;
    chunkEnd = run.offset + std::uint64_t(run.size) * run.count;
    sample += run.count;
  }
  closeChunk();
  const std::uint64_t count = media.sampleCount();
  stsz->sampleCount = static_cast<std::uint32_t>(count);
  stsz->constantSize = sameSize && !media.runs.empty() ? media.runs.front().size : 0;
  if (stsz->constantSize == 0 && sameSize) stsz->sizes.clear();
  if (sameSize && stsz->constantSize == 0 && count) stsz->sizes.assign(count, 0);  // all-empty samples
  const bool wide = !chunkOffsets.empty() && *std::max_element(chunkOffsets.begin(), chunkOffsets.end()) > UINT32_MAX;
  auto offsets = std::make_unique<ChunkOffsetAtom>(wide ? 'co64' : 'stco');
  offsets->offsets = std::move(chunkOffsets);

  stbl->items.push_back(std::move(stts));
  if (anyOffset) {
    ctts->version = anyNegative ? 1 : 0;
    stbl->items.push_back(std::move(ctts));
  }
  if (anyNotSync) stbl->items.push_back(std::move(stss));
  if (anyDependency) stbl->items.push_back(std::move(sdtp));
  stbl->items.push_back(std::move(stsc));
  stbl->items.push_back(std::move(stsz));
  stbl->items.push_back(std::move(offsets));
  return stbl;
}

std::unique_ptr<ContainerAtom> mediaAtom(const BuiltMedia& media, std::uint64_t now) {
  auto mdia = container('mdia');
  auto mdhd = std::make_unique<MediaHeaderAtom>();
  mdhd->creationTime = mdhd->modificationTime = now;
  mdhd->timeScale = media.timeScale;
  mdhd->duration = media.duration();
  mdhd->version = versionFor(mdhd->duration);
  mdhd->language = media.language;
  mdia->items.push_back(std::move(mdhd));
  auto hdlr = std::make_unique<HandlerAtom>();
  hdlr->componentType = 'mhlr';
  hdlr->componentSubtype = media.handlerType;
  hdlr->name = pascalName("Media Handler");
  mdia->items.push_back(std::move(hdlr));

  auto minf = container('minf');
  minf->items.push_back(mediaInformationHeader(media.handlerType));
  auto dataHandler = std::make_unique<HandlerAtom>();
  dataHandler->componentType = 'dhlr';
  dataHandler->componentSubtype = 'alis';
  dataHandler->name = pascalName("Data Handler");
  minf->items.push_back(std::move(dataHandler));
  auto dinf = container('dinf');
  auto dref = std::make_unique<DataReferenceAtom>();
  dref->entries.push_back({});
  dinf->items.push_back(std::move(dref));
  minf->items.push_back(std::move(dinf));
  minf->items.push_back(sampleTableAtom(media));
  mdia->items.push_back(std::move(minf));
  if (auto udta = userDataAtom(media.userData)) mdia->items.push_back(std::move(udta));
  return mdia;
}

std::unique_ptr<ContainerAtom> trackAtom(const BuiltTrack& track, std::uint64_t now) {
  auto trak = container('trak');
  auto tkhd = std::make_unique<TrackHeaderAtom>();
  tkhd->flags = track.enabled ? 0xF : 0xE;
  tkhd->creationTime = tkhd->modificationTime = now;
  tkhd->trackId = track.id;
  tkhd->duration = track.duration();
  tkhd->version = versionFor(tkhd->duration);
  tkhd->layer = track.layer;
  tkhd->alternateGroup = track.alternateGroup;
  tkhd->volume = track.volume;
  tkhd->matrix = track.matrix;
  tkhd->width = track.width;
  tkhd->height = track.height;
  trak->items.push_back(std::move(tkhd));
  if (!track.edits.empty()) {
    auto elst = std::make_unique<EditListAtom>();
    for (const auto& edit : track.edits) {
      elst->entries.push_back({edit.duration, edit.mediaTime, edit.rate});
      if (edit.duration > UINT32_MAX || edit.mediaTime > INT32_MAX) elst->version = 1;
    }
    auto edts = container('edts');
    edts->items.push_back(std::move(elst));
    trak->items.push_back(std::move(edts));
  }
  if (!track.references.empty()) {
    auto tref = std::make_unique<TrackReferenceAtom>();
    for (const auto& [type, ids] : track.references) {
      auto typed = std::make_unique<TrackReferenceTypeAtom>(type);
      typed->trackIds = ids;
      tref->references.push_back(std::move(typed));
    }
    trak->items.push_back(std::move(tref));
  }
  trak->items.push_back(mediaAtom(track.media, now));
  if (auto udta = userDataAtom(track.userData)) trak->items.push_back(std::move(udta));
  return trak;
}

}  // namespace

std::vector<std::uint8_t> writeMovieAtom(const MovieBuilder& movie) {
  const std::uint64_t now = static_cast<std::uint64_t>(std::time(nullptr)) + kMacEpochOffset;
  ContainerAtom moov('moov');
  auto mvhd = std::make_unique<MovieHeaderAtom>();
  mvhd->creationTime = mvhd->modificationTime = now;
  mvhd->timeScale = movie.timeScale;
  mvhd->duration = movie.duration();
  mvhd->version = versionFor(mvhd->duration);
  mvhd->nextTrackId = movie.nextTrackId;
  moov.items.push_back(std::move(mvhd));
  for (const auto& track : movie.tracks) moov.items.push_back(trackAtom(track, now));
  if (auto udta = userDataAtom(movie.userData)) moov.items.push_back(std::move(udta));
  if (auto meta = metadataAtom(movie.metadata)) moov.items.push_back(std::move(meta));
  ByteWriter out;
  moov.write(out);
  return out.take();
}

}  // namespace vqt::container
