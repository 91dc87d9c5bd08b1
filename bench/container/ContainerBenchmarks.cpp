// Container engine and Movie Toolbox speed on a synthetic movie whose video
// track holds 1,000,000 samples (B-frame composition offsets, a sync sample
// every 24, ten samples a chunk): opening, and random display-time-to-sample
// and sync-sample queries. ffprobe opening the same file is measured beside
// it for scale.
#include <QuickTime/Movies.h>

#include <CoreFoundation/CoreFoundation.h>

#include "vqt/container/EditAtoms.h"
#include "vqt/container/FileAtoms.h"
#include "vqt/container/Movie.h"
#include "vqt/container/SampleEntries.h"
#include "vqt/container/SampleTableAtoms.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <unistd.h>

namespace ct = vqt::container;

namespace {

constexpr std::uint32_t kSamples = 1'000'000;
constexpr std::uint32_t kQueries = 100'000;
constexpr std::uint32_t kFrameDuration = 1001;
constexpr std::uint32_t kTimeScale = 24000;

template <class T>
T& add(ct::ContainerAtom& parent, std::unique_ptr<T> atom) {
  T& ref = *atom;
  parent.items.push_back(std::move(atom));
  return ref;
}

std::vector<std::uint8_t> buildLongMovie() {
  std::mt19937 random(7);
  auto moov = std::make_unique<ct::ContainerAtom>('moov');
  auto& mvhd = add(*moov, std::make_unique<ct::MovieHeaderAtom>());
  mvhd.timeScale = 600;
  mvhd.duration = std::uint64_t(kSamples) * kFrameDuration * 600 / kTimeScale;
  auto& trak = add(*moov, std::make_unique<ct::ContainerAtom>('trak'));
  auto& tkhd = add(trak, std::make_unique<ct::TrackHeaderAtom>());
  tkhd.trackId = 1;
  tkhd.duration = mvhd.duration;
  auto& mdia = add(trak, std::make_unique<ct::ContainerAtom>('mdia'));
  auto& mdhd = add(mdia, std::make_unique<ct::MediaHeaderAtom>());
  mdhd.timeScale = kTimeScale;
  mdhd.duration = std::uint64_t(kSamples) * kFrameDuration;
  add(mdia, std::make_unique<ct::HandlerAtom>()).componentSubtype = 'vide';
  auto& minf = add(mdia, std::make_unique<ct::ContainerAtom>('minf'));
  auto& stbl = add(minf, std::make_unique<ct::ContainerAtom>('stbl'));
  auto& stsd = add(stbl, std::make_unique<ct::SampleDescriptionAtom>());
  auto entry = std::make_unique<ct::VisualSampleEntry>('avc1');
  entry->width = 1920;
  entry->height = 1080;
  stsd.entries.push_back(std::move(entry));
  add(stbl, std::make_unique<ct::TimeToSampleAtom>()).entries = {{kSamples, kFrameDuration}};
  // Decode order I P B B P B B ...: each P shows three frames later, each B one earlier.
  auto& ctts = add(stbl, std::make_unique<ct::CompositionOffsetAtom>());
  for (std::uint32_t i = 0; i < kSamples; ++i) {
    const std::int32_t offset =
        i == 0 ? std::int32_t(kFrameDuration) : (i % 3 == 1 ? 3 : 0) * std::int32_t(kFrameDuration);
    ctts.entries.push_back({1, offset});
  }
  auto& stss = add(stbl, std::make_unique<ct::SyncSampleAtom>());
  for (std::uint32_t s = 1; s <= kSamples; s += 24) stss.sampleNumbers.push_back(s);
  add(stbl, std::make_unique<ct::SampleToChunkAtom>()).entries = {{1, 10, 1}};
  auto& stsz = add(stbl, std::make_unique<ct::SampleSizeAtom>('stsz'));
  stsz.sizes.resize(kSamples);
  for (auto& size : stsz.sizes) size = 100 + random() % 2000;
  stsz.sampleCount = kSamples;
  auto& co64 = add(stbl, std::make_unique<ct::ChunkOffsetAtom>('co64'));
  std::uint64_t offset = 48;
  for (std::uint32_t i = 0; i < kSamples; ++i) {
    if (i % 10 == 0) co64.offsets.push_back(offset);
    offset += stsz.sizes[i];
  }
  ct::ByteWriter file;
  ct::FileTypeAtom ftyp;
  ftyp.majorBrand = 'qt  ';
  ftyp.write(file);
  file.u32(8);  // an empty 'mdat': the queries never read sample data
  file.u32('mdat');
  moov->write(file);
  return file.take();
}

const std::vector<std::uint8_t>& longMovie() {
  static const std::vector<std::uint8_t> bytes = buildLongMovie();
  return bytes;
}

const std::string& longMoviePath() {
  static const std::string path = [] {
    std::string name = "/tmp/vqt-bench-container-" + std::to_string(::getpid()) + ".mov";
    std::ofstream(name, std::ios::binary)
        .write(reinterpret_cast<const char*>(longMovie().data()), static_cast<std::streamsize>(longMovie().size()));
    std::atexit([] { std::remove(longMoviePath().c_str()); });
    return name;
  }();
  return path;
}

Movie openWithToolbox() {
  CFStringRef path = CFStringCreateWithCString(nullptr, longMoviePath().c_str(), kCFStringEncodingUTF8);
  QTNewMoviePropertyElement location{kQTPropertyClass_DataLocation, kQTDataLocationPropertyID_CFStringPosixPath,
                                     sizeof path, &path, 0};
  Movie movie = nullptr;
  NewMovieFromProperties(1, &location, 0, nullptr, &movie);
  CFRelease(path);
  return movie;
}

void BM_EngineOpenFromMemory(benchmark::State& state) {
  auto source = std::make_shared<ct::MemorySource>(std::span<const std::uint8_t>(longMovie()));
  for (auto _ : state) {
    std::unique_ptr<ct::Movie> movie;
    if (ct::Movie::open(source, movie) != ct::Error::none) state.SkipWithError("open failed");
    benchmark::DoNotOptimize(movie);
  }
  state.counters["samples"] = kSamples;
  state.counters["headerBytes"] = static_cast<double>(longMovie().size());
}

void BM_NewMovieFromProperties(benchmark::State& state) {
  longMoviePath();
  for (auto _ : state) {
    Movie movie = openWithToolbox();
    if (!movie) state.SkipWithError("open failed");
    DisposeMovie(movie);
  }
}

void BM_FfprobeOpen(benchmark::State& state) {
  const std::string command =
      "ffprobe -v quiet -show_entries format=duration -of csv=p=0 '" + longMoviePath() + "' > /dev/null";
  for (auto _ : state)
    if (std::system(command.c_str()) != 0) state.SkipWithError("ffprobe failed");
}

void BM_DisplayTimeToSample(benchmark::State& state) {
  Movie movie = openWithToolbox();
  Media media = GetTrackMedia(GetMovieIndTrack(movie, 1));
  std::mt19937_64 random(11);
  std::vector<TimeValue64> times(kQueries);
  for (auto& t : times) t = kFrameDuration + random() % (std::uint64_t(kSamples - 2) * kFrameDuration);
  SInt64 sample = 0;
  MediaDisplayTimeToSampleNum(media, times[0], &sample, nullptr, nullptr);  // builds the display order once
  for (auto _ : state) {
    for (TimeValue64 t : times) {
      MediaDisplayTimeToSampleNum(media, t, &sample, nullptr, nullptr);
      benchmark::DoNotOptimize(sample);
    }
  }
  state.SetItemsProcessed(state.iterations() * kQueries);
  DisposeMovie(movie);
}

void BM_SyncSampleSearch(benchmark::State& state) {
  Movie movie = openWithToolbox();
  Media media = GetTrackMedia(GetMovieIndTrack(movie, 1));
  std::mt19937_64 random(13);
  std::vector<TimeValue64> times(kQueries);
  for (auto& t : times) t = random() % (std::uint64_t(kSamples) * kFrameDuration);
  for (auto _ : state) {
    for (TimeValue64 t : times) {
      TimeValue64 sync = 0;
      GetMediaNextInterestingDecodeTime(media, nextTimeSyncSample | nextTimeEdgeOK, t, -fixed1, &sync, nullptr);
      SInt64 sample = 0;
      MediaDecodeTimeToSampleNum(media, sync, &sample, nullptr, nullptr);
      benchmark::DoNotOptimize(sample);
    }
  }
  state.SetItemsProcessed(state.iterations() * kQueries);
  DisposeMovie(movie);
}

// Writing: 100,000 small samples appended through AddMediaSample2 (B-frame
// offsets, a sync sample every 12), the media put in its track, the header
// written, then the movie flattened into a second file.
constexpr int kWrittenSamples = 100'000;

Handle dataRefFor(const std::string& path) {
  CFStringRef text = CFStringCreateWithCString(nullptr, path.c_str(), kCFStringEncodingUTF8);
  Handle dataRef = nullptr;
  OSType type = 0;
  QTNewDataReferenceFromFullPathCFString(text, kQTPOSIXPathStyle, 0, &dataRef, &type);
  CFRelease(text);
  return dataRef;
}

void BM_WriteAndFlatten(benchmark::State& state) {
  const std::string folder = "/tmp/vqt-bench-write-" + std::to_string(::getpid());
  const std::string path = folder + ".mov", flatPath = folder + "-flat.mov";
  std::vector<std::uint8_t> bytes(200, 1);
  for (auto _ : state) {
    Handle dataRef = dataRefFor(path);
    DataHandler storage = nullptr;
    Movie movie = nullptr;
    CreateMovieStorage(dataRef, 'alis', 'TVOD', -1, static_cast<SInt32>(createMovieFileDeleteCurFile), &storage,
                       &movie);
    DisposeHandle(dataRef);
    SetMovieTimeScale(movie, kTimeScale);
    Track track = NewMovieTrack(movie, 1920 << 16, 1080 << 16, 0);
    Media media = NewTrackMedia(track, VideoMediaType, kTimeScale, nullptr, 0);
    ImageDescriptionHandle image = VqtNewImageDescription('avc1', 1920, 1080);
    BeginMediaEdits(media);
    for (int i = 0; i < kWrittenSamples; ++i)
      AddMediaSample2(media, bytes.data(), static_cast<ByteCount>(bytes.size()), kFrameDuration,
                      (i % 3 - 1) * TimeValue64(kFrameDuration), reinterpret_cast<SampleDescriptionHandle>(image), 1,
                      i % 12 ? mediaSampleNotSync : 0, nullptr);
    EndMediaEdits(media);
    InsertMediaIntoTrack(track, 0, 0, GetMediaDuration(media), fixed1);
    if (UpdateMovieInStorage(movie, storage) != noErr) state.SkipWithError("update failed");
    CloseMovieStorage(storage);
    Handle flatRef = dataRefFor(flatPath);
    Movie flat = FlattenMovieDataToDataRef(movie, flattenAddMovieToDataFork, flatRef, 'alis', 'TVOD', -1,
                                           static_cast<SInt32>(createMovieFileDeleteCurFile));
    if (!flat) state.SkipWithError("flatten failed");
    DisposeHandle(flatRef);
    DisposeMovie(flat);
    DisposeMovie(movie);
    DisposeHandle(reinterpret_cast<Handle>(image));
  }
  state.SetItemsProcessed(state.iterations() * kWrittenSamples);
  std::remove(path.c_str());
  std::remove(flatPath.c_str());
}

}  // namespace

BENCHMARK(BM_EngineOpenFromMemory)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_NewMovieFromProperties)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FfprobeOpen)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DisplayTimeToSample)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SyncSampleSearch)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WriteAndFlatten)->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
