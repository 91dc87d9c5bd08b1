// Throughput of every pixel kernel on one 1920-pixel row (cache-resident) and on a whole
// 1920x1080 frame converted row by row, beside memcpy of the same output size. Each result
// carries an `outBytesPerPixel` counter so that bench/run.sh can pair it with its memcpy.
#include <vantor/quicktime/PixelKernels.h>

#include <benchmark/benchmark.h>

#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

using namespace Vantor::QuickTime;

namespace {

constexpr int kWidth = 1920;
constexpr int kFrameHeight = 1080;

struct Shape {
  const char* name;
  int rows;
};
constexpr Shape kShapes[] = {{"row", 1}, {"frame", kFrameHeight}};

template <typename T>
std::vector<T> randomData(size_t n) {
  std::mt19937 rng(7);
  std::vector<T> v(n);
  for (T& x : v) {
    if constexpr (std::is_floating_point_v<T>)
      x = std::uniform_real_distribution<float>(0.0f, 1.0f)(rng);
    else
      x = static_cast<T>(rng());
  }
  return v;
}

// Buffers for `rows` rows: host floats (4 a pixel), codec bytes and floats (up to 16 a pixel).
struct Frame {
  explicit Frame(int rows)
      : rows(rows),
        host(randomData<float>(size_t(4) * kWidth * rows)),
        codecBytes(randomData<uint8_t>(size_t(4) * kWidth * rows)),
        codecFloats(randomData<float>(size_t(4) * kWidth * rows)),
        shorts(size_t(4) * kWidth * rows) {}
  int rows;
  std::vector<float> host;
  std::vector<uint8_t> codecBytes;
  std::vector<float> codecFloats;
  std::vector<uint16_t> shorts;
  float* hostRow(int y) { return host.data() + size_t(4) * kWidth * y; }
  uint8_t* bytesRow(int y) { return codecBytes.data() + size_t(4) * kWidth * y; }
  float* floatsRow(int y) { return codecFloats.data() + size_t(4) * kWidth * y; }
};

struct Kernel {
  const char* name;
  int outBytesPerPixel;
  std::function<void(Frame&, int)> convertRow;
};

const Kernel kKernels[] = {
    // Encoder side: host rows are B, G, R, A.
    {"convertRgbToR4fl", 16,
     [](Frame& f, int y) {
       float* h = f.hostRow(y);
       convertRgbToR4fl(nullptr, h + 2, h + 1, h, 4, f.floatsRow(y), kWidth);
     }},
    {"convertRgbTo2vuy", 2,
     [](Frame& f, int y) {
       float* h = f.hostRow(y);
       convertRgbTo2vuy(h + 2, h + 1, h, 4, f.bytesRow(y), kWidth);
     }},
    {"convertRgbToR408", 4,
     [](Frame& f, int y) {
       float* h = f.hostRow(y);
       convertRgbToR408(h + 2, h + 1, h, 4, f.bytesRow(y), kWidth);
     }},
    // Decoder side: host rows are R, G, B, A.
    {"convertYuvsToRgb", 16,
     [](Frame& f, int y) {
       float* h = f.hostRow(y);
       convertYuvsToRgb(f.bytesRow(y), h + 3, h, h + 1, h + 2, 4, 2 * kWidth);
     }},
    {"convert2vuyToRgb", 16,
     [](Frame& f, int y) {
       float* h = f.hostRow(y);
       convert2vuyToRgb(f.bytesRow(y), h + 3, h, h + 1, h + 2, 4, 2 * kWidth, kVideo2vuyMpeg);
     }},
    {"convertR408ToRgb", 16,
     [](Frame& f, int y) {
       float* h = f.hostRow(y);
       convertR408ToRgb(f.bytesRow(y), h + 3, h, h + 1, h + 2, 4, kWidth);
     }},
    {"convertR4flToRgb", 16,
     [](Frame& f, int y) {
       float* h = f.hostRow(y);
       convertR4flToRgb(f.floatsRow(y), h + 3, h, h + 1, h + 2, 4, kWidth);
     }},
    // 8-bit ARGB as the encoder fills it: one call per channel, A, R, G, B.
    {"convertFloatToByte", 4,
     [](Frame& f, int y) {
       float* h = f.hostRow(y);
       uint8_t* out = f.bytesRow(y);
       for (int channel = 0; channel < 4; ++channel) convertFloatToByte(out + channel, h + (3 - channel), kWidth, 4, 4);
     }},
    // 16-bit values from contiguous floats, four a pixel.
    {"convertFloatToShort", 8,
     [](Frame& f, int y) {
       convertFloatToShort(f.shorts.data() + size_t(4) * kWidth * y, f.hostRow(y), 4 * kWidth, 16, 1);
     }},
};

void runKernel(benchmark::State& state, const Kernel& kernel, Shape shape) {
  Frame frame(shape.rows);
  for (auto _ : state) {
    for (int y = 0; y < shape.rows; ++y) kernel.convertRow(frame, y);
    benchmark::ClobberMemory();
  }
  const int64_t outBytes = int64_t(kernel.outBytesPerPixel) * kWidth * shape.rows;
  state.SetBytesProcessed(state.iterations() * outBytes);
  state.counters["outBytesPerPixel"] = kernel.outBytesPerPixel;
}

void runMemcpy(benchmark::State& state, int bytesPerPixel, Shape shape) {
  const size_t size = size_t(bytesPerPixel) * kWidth * shape.rows;
  std::vector<uint8_t> source = randomData<uint8_t>(size), destination(size);
  for (auto _ : state) {
    std::memcpy(destination.data(), source.data(), size);
    benchmark::DoNotOptimize(destination.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * int64_t(size));
  state.counters["outBytesPerPixel"] = bytesPerPixel;
}

void registerAll() {
  for (Shape shape : kShapes) {
    for (const Kernel& kernel : kKernels)
      benchmark::RegisterBenchmark((std::string(kernel.name) + "/" + shape.name).c_str(), runKernel, std::cref(kernel),
                                   shape);
    for (int bytesPerPixel : {2, 4, 8, 16})
      benchmark::RegisterBenchmark(("memcpy/" + std::to_string(bytesPerPixel) + "Bpx/" + shape.name).c_str(), runMemcpy,
                                   bytesPerPixel, shape);
  }
}

}  // namespace

int main(int argc, char** argv) {
  registerAll();
  benchmark::AddCustomContext("kernel_level", kernelLevelName(activeKernelLevel()));
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
