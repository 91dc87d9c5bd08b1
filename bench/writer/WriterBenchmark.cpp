// Frames per second of QuickTimeCodecWriter::encodeFrame (float B, G, R, A
// host frames into a movie file, session creation and finishing included)
// for ProRes 422 HQ, ProRes 4444, H.264 and DNxHR HQ at 1920x1080, beside the
// ffmpeg CLI encoding the same frames from raw planar float input with the
// same settings, in the same run. Prints a ROW line per codec for the shared
// benchmark table.
#include <sys/resource.h>
#include <vantor/quicktime/QuickTimeCodecWriter.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Vantor::QuickTime::QuickTimeCodecWriter;

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr int kDistinctFrames = 4;

std::vector<std::vector<float>> makeFrames() {
  std::vector<std::vector<float>> frames;
  for (int f = 0; f < kDistinctFrames; ++f) {
    std::vector<float> pixels(static_cast<std::size_t>(kWidth) * kHeight * 4);
    for (int y = 0; y < kHeight; ++y)
      for (int x = 0; x < kWidth; ++x) {
        float* p = &pixels[(static_cast<std::size_t>(y) * kWidth + x) * 4];
        p[0] = static_cast<float>((x + f * 37) % kWidth) / kWidth;
        p[1] = static_cast<float>(y) / kHeight;
        p[2] = 0.5f + 0.5f * static_cast<float>(((x / 16) ^ (y / 16) ^ f) & 1) * 0.4f;
        p[3] = 1.0f;
      }
    frames.push_back(std::move(pixels));
  }
  return frames;
}

// The same frames as planar G, B, R, A little-endian floats for ffmpeg.
void writeRaw(const std::vector<std::vector<float>>& frames, const std::string& path) {
  std::ofstream out(path, std::ios::binary);
  const std::size_t count = static_cast<std::size_t>(kWidth) * kHeight;
  std::vector<float> plane(count);
  for (const auto& frame : frames)
    for (int element : {1, 0, 2, 3}) {  // G, B, R, A from B, G, R, A
      for (std::size_t i = 0; i < count; ++i) plane[i] = frame[i * 4 + static_cast<std::size_t>(element)];
      out.write(reinterpret_cast<const char*>(plane.data()), static_cast<std::streamsize>(count * sizeof(float)));
    }
}

// CPU seconds (user and system) of this process or of its finished children.
double cpuSeconds(int who) {
  rusage usage{};
  getrusage(who, &usage);
  const auto seconds = [](const timeval& t) { return static_cast<double>(t.tv_sec) + t.tv_usec * 1e-6; };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

struct Timing {
  double wall = 0;
  double cpu = 0;
};

struct Row {
  const char* label;
  const char* codec;
  int keyFrameRate;
  int qualityIndex;
  bool alpha;
  const char* ffmpegArguments;
};

Timing timeWriter(const Row& row, const std::vector<std::vector<float>>& frames, int count, const std::string& path) {
  const char* codec = row.codec;
  QuickTimeCodecWriter writer;
  const char** names = writer.getCodecNames();
  for (int i = 0; names != nullptr && names[i] != nullptr; ++i)
    if (std::strncmp(names[i], codec, 4) == 0) writer.setCodecIndex(i);
  writer.setCompressionSettings(kWidth, kHeight, 25.0f, row.keyFrameRate, row.qualityIndex, row.alpha, "");
  if (writer.openMovie(path, 1) != 0) std::exit(1);
  const auto start = Clock::now();
  const double cpuStart = cpuSeconds(RUSAGE_SELF);
  for (int f = 0; f < count; ++f)
    if (const int r = writer.encodeFrame(f, frames[static_cast<std::size_t>(f % kDistinctFrames)].data(), false);
        r != 0) {
      std::fprintf(stderr, "encodeFrame %s: %d\n", codec, r);
      std::exit(1);
    }
  writer.finishVideo();
  writer.closeMovie(false);
  return {std::chrono::duration<double>(Clock::now() - start).count(), cpuSeconds(RUSAGE_SELF) - cpuStart};
}

Timing timeFfmpeg(const std::string& raw, int count, const std::string& codecArguments, const std::string& path) {
  const std::string command = std::string(VQT_FFMPEG) +
                              " -nostdin -loglevel error -y -f rawvideo -pix_fmt gbrapf32le -s 1920x1080 -r 25"
                              " -stream_loop " +
                              std::to_string(count / kDistinctFrames - 1) + " -i '" + raw + "' -frames:v " +
                              std::to_string(count) + " " + codecArguments + " '" + path + "'";
  const auto start = Clock::now();
  const double cpuStart = cpuSeconds(RUSAGE_CHILDREN);
  if (std::system(command.c_str()) != 0) {
    std::fprintf(stderr, "ffmpeg failed: %s\n", command.c_str());
    std::exit(1);
  }
  return {std::chrono::duration<double>(Clock::now() - start).count(), cpuSeconds(RUSAGE_CHILDREN) - cpuStart};
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t n = values.size();
  return n % 2 == 1 ? values[n / 2] : 0.5 * (values[n / 2 - 1] + values[n / 2]);
}

}  // namespace

int main(int argc, char** argv) {
  const int repetitions = argc > 1 ? std::max(1, std::atoi(argv[1])) : 3;
  const int count = argc > 2 ? std::max(kDistinctFrames, std::atoi(argv[2]) / kDistinctFrames * kDistinctFrames) : 24;
  const char* only = argc > 3 ? argv[3] : nullptr;  // one codec type, to profile it alone
  const std::filesystem::path scratch(VQT_BENCH_SCRATCH);
  std::filesystem::create_directories(scratch);
  const auto frames = makeFrames();
  const std::string raw = (scratch / "frames.gbrapf32le").string();
  writeRaw(frames, raw);

  // The CLI encodes with the writer's settings: quality 3 is ProRes' fixed
  // quantiser 2 (which ProRes 422 HQ always gets) and x264's CRF 18 with closed
  // groups of 12; quality 2 is DNxHR HQ. ProRes 4444 keeps a 16-bit alpha.
  const Row rows[] = {
      {"ProRes 422 HQ", "apch", 1, 3, false, "-c:v prores_ks -profile:v 3 -vendor apl0 -q:v 2 -pix_fmt yuv422p10le"},
      {"ProRes 4444", "ap4h", 1, 3, true,
       "-c:v prores_ks -profile:v 4 -vendor apl0 -q:v 2 -alpha_bits 16 -pix_fmt yuva444p10le"},
      {"H.264", "avc1", 12, 3, false, "-c:v libx264 -crf 18 -pix_fmt yuv420p -g 12 -flags +cgop"},
      {"DNxHR HQ", "AVdn", 1, 2, false, "-c:v dnxhd -profile:v dnxhr_hq -pix_fmt yuv422p"},
  };
  constexpr double kGoal = 1.3;
  std::printf("encodeFrame at 1920x1080 from float frames, %d frames, median of %d; ratio = ffmpeg time / ours\n",
              count, repetitions);
  for (const Row& row : rows) {
    if (only != nullptr && std::strcmp(only, row.codec) != 0) continue;
    std::vector<double> ours, cli, oursCpu, cliCpu;
    for (int r = 0; r < repetitions; ++r) {  // taking turns, so both see the same machine load
      const Timing mine = timeWriter(row, frames, count, (scratch / "ours.mov").string());
      const Timing theirs = timeFfmpeg(raw, count, row.ffmpegArguments, (scratch / "ffmpeg.mov").string());
      ours.push_back(mine.wall);
      oursCpu.push_back(mine.cpu);
      cli.push_back(theirs.wall);
      cliCpu.push_back(theirs.cpu);
    }
    const double oursTime = median(ours), cliTime = median(cli);
    const double ratio = cliTime / oursTime;
    // CPU per frame tells work from waiting: on two cores a side that uses
    // less than twice its wall time leaves a core idle.
    std::printf("%-16s ours %6.1f fps (CPU %5.1f ms/frame)   ffmpeg %6.1f fps (CPU %5.1f ms/frame)   ratio %5.2f\n",
                row.label, count / oursTime, 1000.0 * median(oursCpu) / count, count / cliTime,
                1000.0 * median(cliCpu) / count, ratio);
    std::printf("ROW\tencode %s 1080p, float RGBA vs ffmpeg CLI from float\t%.1f fps\t%.1f fps\t%.2f\t>= %.1f\t%s\n",
                row.label, count / oursTime, count / cliTime, ratio, kGoal, ratio >= kGoal ? "PASS" : "FAIL");
    std::fflush(stdout);
  }
  std::filesystem::remove(raw);
  return 0;
}
