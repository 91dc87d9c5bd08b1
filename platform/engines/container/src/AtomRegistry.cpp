// The one table that maps atom codes to their classes.
#include "vqt/container/CompressedMovieAtom.h"
#include "vqt/container/EditAtoms.h"
#include "vqt/container/FileAtoms.h"
#include "vqt/container/FragmentAtoms.h"
#include "vqt/container/MetadataAtoms.h"
#include "vqt/container/SampleEntries.h"
#include "vqt/container/SampleTableAtoms.h"

#include <algorithm>
#include <array>

namespace vqt::container {

namespace {

template <class T>
std::unique_ptr<Atom> make(FourCC) {
  return std::make_unique<T>();
}
template <class T>
std::unique_ptr<Atom> makeTyped(FourCC type) {
  return std::make_unique<T>(type);
}

struct Registration {
  FourCC type;
  std::unique_ptr<Atom> (*create)(FourCC);
};

// Containers whose payload is nothing but child atoms.
constexpr std::array<FourCC, 12> kContainers{'moov', 'trak', 'edts', 'mdia', 'minf', 'dinf',
                                             'stbl', 'gmhd', 'tmcd', 'mvex', 'moof', 'traf'};

constexpr std::array kRegistry{
    Registration{'ftyp', make<FileTypeAtom>},
    Registration{'mvhd', make<MovieHeaderAtom>},
    Registration{'tkhd', make<TrackHeaderAtom>},
    Registration{'mdhd', make<MediaHeaderAtom>},
    Registration{'hdlr', make<HandlerAtom>},
    Registration{'vmhd', make<VideoMediaHeaderAtom>},
    Registration{'smhd', make<SoundMediaHeaderAtom>},
    Registration{'gmin', make<BaseMediaInfoAtom>},
    Registration{'tcmi', make<TimecodeMediaInfoAtom>},
    Registration{'elst', make<EditListAtom>},
    Registration{'tref', make<TrackReferenceAtom>},
    Registration{'dref', make<DataReferenceAtom>},
    Registration{'stsd', make<SampleDescriptionAtom>},
    Registration{'stts', make<TimeToSampleAtom>},
    Registration{'ctts', make<CompositionOffsetAtom>},
    Registration{'stss', make<SyncSampleAtom>},
    Registration{'stsc', make<SampleToChunkAtom>},
    Registration{'stsz', makeTyped<SampleSizeAtom>},
    Registration{'stz2', makeTyped<SampleSizeAtom>},
    Registration{'stco', makeTyped<ChunkOffsetAtom>},
    Registration{'co64', makeTyped<ChunkOffsetAtom>},
    Registration{'sdtp', make<SampleDependencyAtom>},
    Registration{'udta', make<UserDataAtom>},
    Registration{'meta', make<MetaAtom>},
    Registration{'keys', make<KeysAtom>},
    Registration{'ilst', make<ItemListAtom>},
    Registration{'data', make<DataAtom>},
    Registration{'cmov', make<CompressedMovieAtom>},
    Registration{'mehd', make<MovieExtendsHeaderAtom>},
    Registration{'trex', make<TrackExtendsAtom>},
    Registration{'mfhd', make<MovieFragmentHeaderAtom>},
    Registration{'tfhd', make<TrackFragmentHeaderAtom>},
    Registration{'tfdt', make<TrackFragmentDecodeTimeAtom>},
    Registration{'trun', make<TrackRunAtom>},
};

}  // namespace

std::unique_ptr<Atom> createAtom(FourCC type) {
  if (std::find(kContainers.begin(), kContainers.end(), type) != kContainers.end())
    return std::make_unique<ContainerAtom>(type);
  for (const auto& entry : kRegistry)
    if (entry.type == type) return entry.create(type);
  return std::make_unique<RawAtom>(type);
}

}  // namespace vqt::container
