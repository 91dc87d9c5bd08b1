// decodeFrame over every frame of 1920x1080 ProRes 422 HQ, ProRes 4444 with
// alpha, DNxHR HQ and H.264 (GOP 48, B-frames) movies, beside the ffmpeg CLI
// decoding the same file to its native pixel format with the same number of
// threads (the codec's own limit) and to planar float RGBA; and peak memory
// over one long movie read end to end. Prints a table and ROW lines for
// bench/compare.sh.
// Usage: bench_reader [REPETITIONS]      decode rates (medians of REPETITIONS, default 3)
//        bench_reader --memory [FRAMES]   peak RSS at the start and end of a FRAMES-long read
//        bench_reader --only MOVIE        in-order decode of one movie, for a profiler
#include <vantor/quicktime/QuickTimeCodecReader.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

struct Movie {
  const char* name;
  const char* work;    // how the table names it
  const char* encode;  // ffmpeg output options
};

const Movie kMovies[] = {
    {"prores-hq-1080.mov", "ProRes 422 HQ", "-c:v prores_ks -profile:v 3 -pix_fmt yuv422p10le"},
    {"prores-4444-1080.mov", "ProRes 4444 with alpha",
     "-vf format=yuva444p10le -c:v prores_ks -profile:v 4 -pix_fmt yuva444p10le"},
    {"dnxhr-hq-1080.mov", "DNxHR HQ", "-c:v dnxhd -profile:v dnxhr_hq -pix_fmt yuv422p"},
    {"h264-gop48-1080.mov", "H.264 GOP 48 B-frames", "-c:v libx264 -preset veryfast -g 48 -bf 3 -pix_fmt yuv420p"},
};
constexpr int kFrames = 96;
constexpr double kDecodeGoal = 0.85;
constexpr double kMemoryGoal = 1.10;  // peak RSS at the end over peak RSS after the first frames

std::string run(const std::string& command) {
  if (std::system(command.c_str()) != 0) {
    std::fprintf(stderr, "failed: %s\n", command.c_str());
    std::exit(1);
  }
  return command;
}

// A source in the shared cache, made by the ffmpeg CLI when missing.
std::string source(const std::string& name, const std::string& input, const std::string& options) {
  std::filesystem::create_directories(VQT_BENCH_SOURCES);
  const std::string path = std::string(VQT_BENCH_SOURCES) + "/" + name;
  if (!std::filesystem::exists(path)) {
    run(std::string(VQT_FFMPEG) + " -hide_banner -loglevel error -y " + input + " " + options + " " + path +
        ".tmp.mov && mv " + path + ".tmp.mov " + path);
  }
  return path;
}

std::string source(const Movie& movie) {
  return source(movie.name,
                "-f lavfi -i testsrc2=size=1920x1080:rate=24:alpha=160 -frames:v " + std::to_string(kFrames),
                movie.encode);
}

// The machine's load average (1, 5 and 15 minutes), which moves absolute rates a lot on a
// shared machine.
std::string loadAverage() {
  std::FILE* file = std::fopen("/proc/loadavg", "r");
  if (file == nullptr) return "unknown";
  double load[3] = {};
  const int fields = std::fscanf(file, "%lf %lf %lf", &load[0], &load[1], &load[2]);
  std::fclose(file);
  if (fields != 3) return "unknown";
  char text[64];
  std::snprintf(text, sizeof text, "%.2f %.2f %.2f", load[0], load[1], load[2]);
  return text;
}

double seconds(Clock::time_point since) { return std::chrono::duration<double>(Clock::now() - since).count(); }

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

void row(const std::string& work, const std::string& ours, const std::string& reference, double ratio,
         const std::string& goal, bool pass) {
  std::printf("ROW\t%s\t%s\t%s\t%.2f\t%s\t%s\n", work.c_str(), ours.c_str(), reference.c_str(), ratio, goal.c_str(),
              pass ? "PASS" : "FAIL");
}

std::string fps(double rate) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f fps", rate);
  return text;
}

struct Reader {
  Vantor::QuickTime::QuickTimeCodecReader reader;
  std::vector<float> frame;
  explicit Reader(const std::string& path) {
    if (reader.open(path, 1) != 0) std::exit(1);
    int width = 0, height = 0, channels = 0, timeScale = 0, duration = 0, timecode = 0;
    float aspect = 0;
    reader.getVideoInfo(&width, &height, &channels, &aspect, &timeScale, &duration, &timecode);
    frame.resize(static_cast<size_t>(width) * height * 4);
  }
  void decode(int f) {
    if (reader.decodeFrame(f, frame.data()) != 0) {
      std::fprintf(stderr, "decodeFrame(%d) failed\n", f);
      std::exit(1);
    }
  }
};

// Frames a second of decodeFrame over `order`, opening included.
double ours(const std::string& path, const std::vector<int>& order) {
  const auto start = Clock::now();
  Reader reader(path);
  for (int f : order) reader.decode(f);
  return static_cast<double>(order.size()) / seconds(start);
}

double cli(const std::string& path, const std::string& output) {
  const auto start = Clock::now();
  run(std::string(VQT_FFMPEG) + " -hide_banner -loglevel error -threads " +
      std::to_string(std::max(1u, std::thread::hardware_concurrency())) + " -i " + path + " " + output + " -f null -");
  return kFrames / seconds(start);
}

// Seconds to write one 1920x1080 float RGBA frame (33 MB) once with every
// processor, past the cache as the kernels write long rows: the least any
// reader spends on a frame beyond decoding it, as a core that writes does not
// decode. The best of 30, buffer warm.
double frameWriteSeconds() {
  std::vector<float> frame(static_cast<size_t>(1920) * 1080 * 4, 0.0f);
  const unsigned threads = std::max(1u, std::thread::hardware_concurrency());
  double best = 1e9;
  for (int r = 0; r < 31; ++r) {
    const auto start = Clock::now();
    std::vector<std::thread> writers;
    const size_t part = frame.size() / threads;
    for (unsigned t = 0; t < threads; ++t) {
      float* first = frame.data() + t * part;
      const size_t count = t + 1 == threads ? frame.size() - t * part : part;
      writers.emplace_back([=] { std::memset(first, r, count * sizeof(float)); });
    }
    for (std::thread& w : writers) w.join();
    if (r > 0) best = std::min(best, seconds(start));
  }
  return best;
}

int decodeRates(int repetitions) {
  const unsigned threads = std::max(1u, std::thread::hardware_concurrency());
  std::printf(
      "decodeFrame to float RGBA, 1920x1080, %d frames, medians of %d interleaved runs, %u threads\n"
      "decode-only: ffmpeg -threads %u -i F -f null - (native pixel format); float CLI: -pix_fmt gbrapf32le\n",
      kFrames, repetitions, threads, threads);
  std::printf("load average before: %s\n", loadAverage().c_str());
  std::printf("%-24s %-8s %9s %12s %10s %9s %9s\n", "movie", "order", "ours fps", "decode-only", "float CLI",
              "vs decode", "vs float");
  struct Result {
    const Movie* movie;
    double ordered, random, decodeOnly, floatCli;
  };
  std::vector<Result> results;
  for (const Movie& movie : kMovies) {
    const std::string path = source(movie);
    std::vector<int> inOrder(kFrames);
    for (int f = 0; f < kFrames; ++f) inOrder[f] = f + 1;
    std::vector<int> shuffled = inOrder;
    std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(1));
    std::vector<double> ordered, random, decodeOnly, floatCli;
    // Ours and the CLI take turns, so both see the same load on a shared machine.
    for (int r = 0; r < repetitions; ++r) {
      decodeOnly.push_back(cli(path, ""));
      ordered.push_back(ours(path, inOrder));
      floatCli.push_back(cli(path, "-pix_fmt gbrapf32le"));
      random.push_back(ours(path, shuffled));
    }
    const Result result{&movie, median(ordered), median(random), median(decodeOnly), median(floatCli)};
    results.push_back(result);
    std::printf("%-24s %-8s %9.1f %12.1f %10.1f %9.2f %9.2f\n", movie.name, "in order", result.ordered,
                result.decodeOnly, result.floatCli, result.ordered / result.decodeOnly,
                result.ordered / result.floatCli);
    std::printf("%-24s %-8s %9.1f %12.1f %10.1f %9.2f %9.2f\n", movie.name, "random", result.random, result.decodeOnly,
                result.floatCli, result.random / result.decodeOnly, result.random / result.floatCli);
  }
  std::printf("load average after: %s\n", loadAverage().c_str());
  // The best ratio this machine allows: decoding at the decode-only rate and
  // writing each frame's floats once at full memory speed, nothing else.
  const double write = frameWriteSeconds();
  std::printf("writing one 1080p float RGBA frame with %u threads: %.2f ms\n", threads, write * 1e3);
  for (const Result& r : results) {
    const double ratio = r.ordered / r.decodeOnly;
    const double ceiling = 1.0 / (1.0 + write * r.decodeOnly);
    char work[200];
    std::snprintf(work, sizeof work, "decode %s 1080p, in order, float RGBA vs decode-only (ceiling here %.2f)",
                  r.movie->work, ceiling);
    row(work, fps(r.ordered), fps(r.decodeOnly), ratio, ">= 0.85", ratio >= kDecodeGoal);
  }
  return 0;
}

// VmHWM (peak) and VmRSS of this process, in MiB.
void residentMemory(double& peak, double& now) {
  peak = now = 0;
  std::FILE* file = std::fopen("/proc/self/status", "r");
  if (file == nullptr) return;
  char line[256];
  while (std::fgets(line, sizeof line, file) != nullptr) {
    long kib = 0;
    if (std::sscanf(line, "VmHWM: %ld kB", &kib) == 1) peak = kib / 1024.0;
    if (std::sscanf(line, "VmRSS: %ld kB", &kib) == 1) now = kib / 1024.0;
  }
  std::fclose(file);
}

// A long movie made by repeating the H.264 source's GOPs without re-encoding.
int memory(int frames) {
  const std::string shortMovie = source(kMovies[3]);
  const std::string name = "h264-gop48-1080-" + std::to_string(frames) + ".mov";
  const std::string path = source(name, "-stream_loop " + std::to_string(frames / kFrames + 1) + " -i " + shortMovie,
                                  "-c copy -frames:v " + std::to_string(frames));
  Reader reader(path);
  const int count = std::min(frames, reader.reader.getFrameCount());
  // The decoded-picture cache fills to its bound (384 MB unless set: about 130
  // of these pictures) and is meant to stay full, so "start" is after that.
  constexpr int kWarmUp = 1000;
  double startPeak = 0, startNow = 0, endPeak = 0, endNow = 0;
  const auto start = Clock::now();
  for (int f = 1; f <= count; ++f) {
    reader.decode(f);
    if (f == std::min(kWarmUp, count)) residentMemory(startPeak, startNow);
  }
  residentMemory(endPeak, endNow);
  std::printf(
      "memory: %d frames of 1920x1080 H.264 in order, %.1f fps; after %d frames peak %.0f MiB (now %.0f), "
      "at the end peak %.0f MiB (now %.0f)\n",
      count, count / seconds(start), kWarmUp, startPeak, startNow, endPeak, endNow);
  char ours[64], reference[64];
  std::snprintf(ours, sizeof ours, "%.0f MiB at frame %d", endPeak, count);
  std::snprintf(reference, sizeof reference, "%.0f MiB at frame %d", startPeak, kWarmUp);
  const double ratio = endPeak / std::max(1.0, startPeak);
  row("memory: peak RSS reading a " + std::to_string(count) + "-frame 1080p movie, end vs cache full", ours, reference,
      ratio, "<= 1.10", ratio <= kMemoryGoal);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && std::strcmp(argv[1], "--memory") == 0)
    return memory(argc > 2 ? std::max(200, std::atoi(argv[2])) : 10000);
  if (argc > 2 && std::strcmp(argv[1], "--only") == 0) {
    for (const Movie& movie : kMovies) {
      if (movie.name != std::string(argv[2])) continue;
      std::vector<int> inOrder(kFrames);
      for (int f = 0; f < kFrames; ++f) inOrder[f] = f + 1;
      std::printf("%s in order: %.1f fps\n", movie.name, ours(source(movie), inOrder));
      return 0;
    }
    std::fprintf(stderr, "no movie %s\n", argv[2]);
    return 1;
  }
  return decodeRates(argc > 1 ? std::max(1, std::atoi(argv[1])) : 3);
}
