// decodeFrame over every frame of a 1920x1080 ProRes 422 HQ movie and an H.264
// movie (GOP 48, B-frames), in display order and in a random order, beside the
// ffmpeg CLI decoding the same file to planar float RGBA; prints frames a
// second and the ratio (ours over the CLI's). Usage: bench_reader [REPETITIONS]
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
  const char* name;
  const char* encode;  // ffmpeg output options
};

const Movie kMovies[] = {
    {"prores-hq-1080.mov", "-c:v prores_ks -profile:v 3 -pix_fmt yuv422p10le"},
    {"h264-gop48-1080.mov", "-c:v libx264 -preset veryfast -g 48 -bf 3 -pix_fmt yuv420p"},
};
constexpr int kFrames = 96;

std::string fixture(const Movie& movie) {
  std::filesystem::create_directories(VQT_BENCH_FIXTURES);
  const std::string path = std::string(VQT_BENCH_FIXTURES) + "/" + movie.name;
  if (!std::filesystem::exists(path)) {
    const std::string command = std::string(VQT_FFMPEG) +
                                " -hide_banner -loglevel error -y -f lavfi -i testsrc2=size=1920x1080:rate=24 "
                                "-frames:v " +
                                std::to_string(kFrames) + " " + movie.encode + " " + path + ".tmp.mov" + " && mv " +
                                path + ".tmp.mov " + path;
    if (std::system(command.c_str()) != 0) {
      std::fprintf(stderr, "could not make %s\n", path.c_str());
      std::exit(1);
    }
  }
  return path;
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

// Frames a second of decodeFrame over `order`; exits on a failed decode.
double ours(const std::string& path, const std::vector<int>& order) {
  Vantor::QuickTime::QuickTimeCodecReader reader;
  if (reader.open(path, 1) != 0) std::exit(1);
  int width = 0, height = 0, channels = 0, timeScale = 0, duration = 0, timecode = 0;
  float aspect = 0;
  reader.getVideoInfo(&width, &height, &channels, &aspect, &timeScale, &duration, &timecode);
  std::vector<float> frame(static_cast<size_t>(width) * height * 4);
  const auto start = Clock::now();
  for (int f : order) {
    if (reader.decodeFrame(f, frame.data()) != 0) {
      std::fprintf(stderr, "decodeFrame(%d) failed on %s\n", f, path.c_str());
      std::exit(1);
    }
  }
  return static_cast<double>(order.size()) / seconds(start);
}

double cli(const std::string& path) {
  const std::string command =
      std::string(VQT_FFMPEG) + " -hide_banner -loglevel error -i " + path + " -pix_fmt gbrapf32le -f null -";
  const auto start = Clock::now();
  if (std::system(command.c_str()) != 0) std::exit(1);
  return kFrames / seconds(start);
}

}  // namespace

int main(int argc, char** argv) {
  const int repetitions = argc > 1 ? std::max(1, std::atoi(argv[1])) : 1;
  std::printf("decodeFrame, 1920x1080, %d frames, best of %d; CLI: ffmpeg -pix_fmt gbrapf32le -f null -\n", kFrames,
              repetitions);
  std::printf("load average before: %s\n", loadAverage().c_str());
  std::printf("%-22s %-8s %10s %10s %8s\n", "movie", "order", "ours fps", "CLI fps", "ratio");
  for (const Movie& movie : kMovies) {
    const std::string path = fixture(movie);
    std::vector<int> inOrder(kFrames);
    for (int f = 0; f < kFrames; ++f) inOrder[f] = f + 1;
    std::vector<int> shuffled = inOrder;
    std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(1));
    double bestOrdered = 0, bestRandom = 0, bestCli = 0;
    // Ours and the CLI take turns, so both see the same load on a shared machine.
    for (int r = 0; r < repetitions; ++r) {
      bestCli = std::max(bestCli, cli(path));
      bestOrdered = std::max(bestOrdered, ours(path, inOrder));
      bestRandom = std::max(bestRandom, ours(path, shuffled));
    }
    std::printf("%-22s %-8s %10.1f %10.1f %8.2f\n", movie.name, "in order", bestOrdered, bestCli,
                bestOrdered / bestCli);
    std::printf("%-22s %-8s %10.1f %10.1f %8.2f\n", movie.name, "random", bestRandom, bestCli, bestRandom / bestCli);
  }
  std::printf("load average after: %s\n", loadAverage().c_str());
  return 0;
}
