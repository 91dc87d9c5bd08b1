// Scrubbing a long-GOP movie: decodeFrame over every frame of 1920x1080 H.264
// and HEVC movies (GOP 48, B-frames) in reverse order, and in a random order
// once each group has been read, each against reading in order through the
// same reader. Three runs of each, interleaved; medians. Prints ROW lines for
// bench/compare.sh, and the same orders with the picture cache turned off.
// Usage: bench_scrub [RUNS]
#include <vantor/quicktime/QuickTimeCodecReader.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

struct Movie {
  const char* label;
  const char* name;
  const char* encode;  // ffmpeg output options
};

const Movie kMovies[] = {
    {"H.264", "h264-gop48-bf3-1080.mov",
     "-c:v libx264 -preset veryfast -g 48 -keyint_min 48 -sc_threshold 0 -bf 3 -pix_fmt yuv420p"},
    {"HEVC", "hevc-gop48-bf3-1080.mov",
     "-c:v libx265 -preset veryfast -tag:v hvc1 -pix_fmt yuv420p -x265-params "
     "log-level=error:keyint=48:min-keyint=48:scenecut=0:open-gop=0:bframes=3"},
};
// Two groups of 48; their decoded pictures (about 3 MB each) fit the default cache.
constexpr int kFrames = 96;

std::string fixture(const Movie& movie) {
  std::filesystem::create_directories(VQT_BENCH_FIXTURES);
  const std::string path = std::string(VQT_BENCH_FIXTURES) + "/" + movie.name;
  if (!std::filesystem::exists(path)) {
    const std::string command = std::string(VQT_FFMPEG) +
                                " -nostdin -hide_banner -loglevel error -y -f lavfi -i "
                                "testsrc2=size=1920x1080:rate=24 -frames:v " +
                                std::to_string(kFrames) + " " + movie.encode + " " + path + ".tmp.mov && mv " + path +
                                ".tmp.mov " + path;
    if (std::system(command.c_str()) != 0) {
      std::fprintf(stderr, "could not make %s\n", path.c_str());
      std::exit(1);
    }
  }
  return path;
}

// Resident memory of this process now, in MB (0 when unknown).
double residentMB() {
  std::FILE* file = std::fopen("/proc/self/status", "r");
  if (file == nullptr) return 0;
  char line[256];
  double kilobytes = 0;
  while (std::fgets(line, sizeof line, file) != nullptr) {
    if (std::sscanf(line, "VmRSS: %lf kB", &kilobytes) == 1) break;
  }
  std::fclose(file);
  return kilobytes / 1024;
}
double mostResidentOn = 0, mostResidentOff = 0;  // with a reader open, after its timed frames
bool cacheOn = true;

double seconds(Clock::time_point since) { return std::chrono::duration<double>(Clock::now() - since).count(); }

// Frames a second of decodeFrame over `timed`, in a reader that first read `warmUp` (not timed).
double rate(const std::string& path, const std::vector<int>& warmUp, const std::vector<int>& timed) {
  Vantor::QuickTime::QuickTimeCodecReader reader;
  if (reader.open(path, 1) != 0) std::exit(1);
  int width = 0, height = 0, channels = 0, timeScale = 0, duration = 0, timecode = 0;
  float aspect = 0;
  reader.getVideoInfo(&width, &height, &channels, &aspect, &timeScale, &duration, &timecode);
  if (reader.getFrameCount() != kFrames) {
    std::fprintf(stderr, "%s has %d frames, not %d\n", path.c_str(), reader.getFrameCount(), kFrames);
    std::exit(1);
  }
  std::vector<float> frame(static_cast<std::size_t>(width) * height * 4);
  auto decode = [&](int f) {
    if (reader.decodeFrame(f, frame.data()) != 0) {
      std::fprintf(stderr, "decodeFrame(%d) failed on %s\n", f, path.c_str());
      std::exit(1);
    }
  };
  for (int f : warmUp) decode(f);
  const auto start = Clock::now();
  for (int f : timed) decode(f);
  const double result = static_cast<double>(timed.size()) / seconds(start);
  double& most = cacheOn ? mostResidentOn : mostResidentOff;
  most = std::max(most, residentMB());
  return result;
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

void row(const std::string& work, double ours, double reference, double goal) {
  const double ratio = ours / reference;
  std::printf("ROW\t%s\t%.1f fps\t%.1f fps\t%.2f\t>= %.2f\t%s\n", work.c_str(), ours, reference, ratio, goal,
              ratio >= goal ? "PASS" : "FAIL");
}

void setCache(const char* megabytes) {
  cacheOn = megabytes == nullptr || std::string(megabytes) != "0";
  if (megabytes != nullptr) {
    setenv("VANTOR_QUICKTIME_PICTURE_CACHE_MB", megabytes, 1);
  } else {
    unsetenv("VANTOR_QUICKTIME_PICTURE_CACHE_MB");
  }
}

}  // namespace

int main(int argc, char** argv) {
  const int runs = argc > 1 ? std::max(1, std::atoi(argv[1])) : 3;
  const char* configured = std::getenv("VANTOR_QUICKTIME_PICTURE_CACHE_MB");
  const std::string cacheSetting = configured != nullptr ? configured : "default";
  std::printf("scrubbing: decodeFrame, 1920x1080, %d frames, GOP 48, 3 B-frames; median of %d interleaved runs\n",
              kFrames, runs);
  std::printf("picture cache: %s MB (VANTOR_QUICKTIME_PICTURE_CACHE_MB); reference: in order, same reader\n",
              cacheSetting.c_str());
  std::vector<int> inOrder(kFrames);
  for (int f = 0; f < kFrames; ++f) inOrder[f] = f + 1;
  const std::vector<int> reverse(inOrder.rbegin(), inOrder.rend());
  std::vector<int> shuffled = inOrder;
  std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(1));
  const std::string kept = configured != nullptr ? configured : "";

  for (const Movie& movie : kMovies) {
    const std::string path = fixture(movie);
    std::vector<double> ordered, backwards, random, backwardsOff, randomOff;
    for (int r = 0; r < runs; ++r) {
      setCache(configured != nullptr ? kept.c_str() : nullptr);
      ordered.push_back(rate(path, {}, inOrder));
      backwards.push_back(rate(path, {}, reverse));
      random.push_back(rate(path, inOrder, shuffled));
      setCache("0");
      backwardsOff.push_back(rate(path, {}, reverse));
      randomOff.push_back(rate(path, inOrder, shuffled));
    }
    setCache(configured != nullptr ? kept.c_str() : nullptr);
    const double reference = median(ordered);
    std::printf("%s: in order %.1f fps; cache off: reverse %.1f fps (%.2f), random %.1f fps (%.2f)\n", movie.label,
                reference, median(backwardsOff), median(backwardsOff) / reference, median(randomOff),
                median(randomOff) / reference);
    row("decode " + std::string(movie.label) + " GOP 48 1080p, reverse order vs in order", median(backwards), reference,
        0.5);
    row("decode " + std::string(movie.label) + " GOP 48 1080p, random order after one visit vs in order",
        median(random), reference, 0.5);
  }
  std::printf("resident memory with a reader open: at most %.0f MB with the cache, %.0f MB without\n", mostResidentOn,
              mostResidentOff);
  return 0;
}
