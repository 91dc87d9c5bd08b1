// Decode and encode throughput of 1920x1080 ProRes 422 HQ and H.264 (GOP 48,
// B-frames) through the ICM sessions, each beside the ffmpeg CLI doing the same
// work on the same file in the same run. Prints frames per second and the
// ratio CLI time / our time (at least 1.0: we are as fast or faster).
//
// Decoding: our side reads the frames the CLI reads from the .mov, as the raw
// packet dump the CLI made of it, and goes through a decompression session the
// way the movie reader does (sync sample to wanted sample, then a flush). The
// CLI decodes the .mov to the same output pixel format and throws it away.
// Encoding: both sides take the same raw frames from memory or the page cache.
#include <QuickTime/ImageCompression.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr int kDecodeFrames = 96;  // two GOPs of 48
constexpr int kProResEncodeFrames = 24;
constexpr int kH264EncodeFrames = 48;

using Clock = std::chrono::steady_clock;
using Bytes = std::vector<UInt8>;

std::string fixture(const std::string& name) { return std::string(VQT_BENCH_FIXTURES) + "/" + name; }

bool run(const std::string& arguments) {
  const std::string command = std::string(VQT_FFMPEG) + " -nostdin -loglevel error -y " + arguments;
  return std::system(command.c_str()) == 0;
}

double timeCli(const std::string& arguments) {
  const auto start = Clock::now();
  if (!run(arguments)) {
    std::fprintf(stderr, "ffmpeg failed: %s\n", arguments.c_str());
    std::exit(1);
  }
  return std::chrono::duration<double>(Clock::now() - start).count();
}

void make(const std::string& name, const std::string& arguments) {
  if (std::filesystem::exists(fixture(name))) return;
  std::filesystem::create_directories(VQT_BENCH_FIXTURES);
  if (!run(arguments + " '" + fixture(name) + ".part'")) std::exit(1);
  std::filesystem::rename(fixture(name) + ".part", fixture(name));
}

Bytes readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// ProRes frames begin with their own 32-bit big-endian size.
std::vector<Bytes> splitProRes(const Bytes& stream) {
  std::vector<Bytes> frames;
  std::size_t pos = 0;
  while (pos + 8 <= stream.size()) {
    const std::size_t size = std::size_t{stream[pos]} << 24 | std::size_t{stream[pos + 1]} << 16 |
                             std::size_t{stream[pos + 2]} << 8 | stream[pos + 3];
    if (size < 8 || pos + size > stream.size()) break;
    frames.emplace_back(stream.begin() + pos, stream.begin() + pos + size);
    pos += size;
  }
  return frames;
}

struct AccessUnit {
  Bytes bytes;
  bool sync = false;
};

// H.264 Annex B split at access unit delimiters.
std::vector<AccessUnit> splitH264(const Bytes& stream) {
  std::vector<AccessUnit> units;
  std::vector<std::size_t> starts;
  for (std::size_t i = 0; i + 3 < stream.size(); ++i) {
    if (stream[i] == 0 && stream[i + 1] == 0 && stream[i + 2] == 1) {
      starts.push_back(i > 0 && stream[i - 1] == 0 ? i - 1 : i);
      i += 2;
    }
  }
  for (std::size_t k = 0; k < starts.size(); ++k) {
    const std::size_t end = k + 1 < starts.size() ? starts[k + 1] : stream.size();
    const std::size_t header = stream[starts[k] + 2] == 1 ? starts[k] + 3 : starts[k] + 4;
    const int type = stream[header] & 0x1F;
    if (type == 9 || units.empty()) units.push_back({});
    units.back().bytes.insert(units.back().bytes.end(), stream.begin() + starts[k], stream.begin() + end);
    if (type == 5) units.back().sync = true;
  }
  return units;
}

struct Emitted {
  int frames = 0;
};

void countFrame(void* refCon, OSStatus result, ICMDecompressionTrackingFlags flags, CVPixelBufferRef buffer,
                TimeValue64, TimeValue64, ICMValidTimeFlags, void*, void*) {
  if (result == noErr && (flags & kICMDecompressionTracking_EmittingFrame) && buffer != nullptr)
    ++static_cast<Emitted*>(refCon)->frames;
}

ICMDecompressionSessionRef openDecoder(CodecType codec, OSType pixelFormat, Emitted& emitted) {
  ImageDescriptionHandle description = VqtNewImageDescription(codec, kWidth, kHeight);
  CFMutableDictionaryRef attributes =
      CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  const SInt32 format = static_cast<SInt32>(pixelFormat);
  CFNumberRef number = CFNumberCreate(nullptr, kCFNumberSInt32Type, &format);
  CFDictionaryAddValue(attributes, kCVPixelBufferPixelFormatTypeKey, number);
  CFRelease(number);
  ICMDecompressionTrackingCallbackRecord record{countFrame, &emitted};
  ICMDecompressionSessionRef session = nullptr;
  const OSStatus err = ICMDecompressionSessionCreate(nullptr, description, nullptr, attributes, &record, &session);
  CFRelease(attributes);
  DisposeHandle(reinterpret_cast<Handle>(description));
  if (err != noErr) {
    std::fprintf(stderr, "decompression session: %d\n", static_cast<int>(err));
    std::exit(1);
  }
  return session;
}

void decodeSample(ICMDecompressionSessionRef session, const Bytes& data, SInt32 number, bool show) {
  ICMFrameTimeRecord time{};
  time.scale = 24;
  time.value = number;
  time.duration = 1;
  time.rate = 0x00010000;
  time.recordSize = sizeof time;
  time.frameNumber = number;
  time.flags = show ? icmFrameTimeDecodeImmediately : icmFrameTimeDoNotDisplay;
  ICMDecompressionSessionDecodeFrame(session, data.data(), data.size(), nullptr, &time, nullptr);
}

double decodeProRes(const std::vector<Bytes>& frames, OSType pixelFormat) {
  Emitted emitted;
  ICMDecompressionSessionRef session = openDecoder('apch', pixelFormat, emitted);
  const auto start = Clock::now();
  for (std::size_t i = 0; i < frames.size(); ++i) {
    decodeSample(session, frames[i], static_cast<SInt32>(i + 1), true);
    ICMDecompressionSessionFlush(session);
  }
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  ICMDecompressionSessionRelease(session);
  if (emitted.frames != static_cast<int>(frames.size()))
    std::fprintf(stderr, "ProRes: %d frames emitted\n", emitted.frames);
  return seconds;
}

// Display order of an H.264 stream from its picture order: here the order in
// which one full pass emits the samples.
std::vector<std::size_t> displayOrderOf(const std::vector<AccessUnit>& units) {
  struct Order {
    std::vector<std::size_t> samples;
  } order;
  ImageDescriptionHandle description = VqtNewImageDescription('avc1', kWidth, kHeight);
  ICMDecompressionTrackingCallbackRecord record{
      [](void* refCon, OSStatus, ICMDecompressionTrackingFlags flags, CVPixelBufferRef, TimeValue64, TimeValue64,
         ICMValidTimeFlags, void*, void* source) {
        if (flags & kICMDecompressionTracking_EmittingFrame)
          static_cast<Order*>(refCon)->samples.push_back(reinterpret_cast<std::size_t>(source));
      },
      &order};
  ICMDecompressionSessionRef session = nullptr;
  ICMDecompressionSessionCreate(nullptr, description, nullptr, nullptr, &record, &session);
  DisposeHandle(reinterpret_cast<Handle>(description));
  for (std::size_t i = 0; i < units.size(); ++i) {
    ICMFrameTimeRecord time{};
    time.frameNumber = static_cast<SInt32>(i + 1);
    time.flags = icmFrameTimeDecodeImmediately;
    ICMDecompressionSessionDecodeFrame(session, units[i].bytes.data(), units[i].bytes.size(), nullptr, &time,
                                       reinterpret_cast<void*>(i));
  }
  ICMDecompressionSessionFlush(session);
  ICMDecompressionSessionRelease(session);
  return order.samples;
}

double decodeH264(const std::vector<AccessUnit>& units, const std::vector<std::size_t>& displayOrder,
                  UInt64& samplesDecoded) {
  Emitted emitted;
  ICMDecompressionSessionRef session = openDecoder('avc1', k2vuyPixelFormat, emitted);
  const auto start = Clock::now();
  for (std::size_t target : displayOrder) {
    std::size_t sync = target;
    while (sync > 0 && !units[sync].sync) --sync;
    for (std::size_t s = sync; s <= target; ++s)
      decodeSample(session, units[s].bytes, static_cast<SInt32>(s + 1), s == target);
    ICMDecompressionSessionFlush(session);
  }
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  samplesDecoded = VqtICMDecompressionSessionGetDecodedSampleCount(session);
  ICMDecompressionSessionRelease(session);
  if (emitted.frames != static_cast<int>(displayOrder.size()))
    std::fprintf(stderr, "H.264: %d frames emitted\n", emitted.frames);
  return seconds;
}

struct EncodeSetup {
  CodecType codec;
  OSType pixelFormat;
  SInt32 keyFrameInterval;
  bool reordering;
};

OSStatus discardFrame(void* refCon, ICMCompressionSessionRef, OSStatus, ICMEncodedFrameRef frame, void*) {
  *static_cast<std::size_t*>(refCon) += ICMEncodedFrameGetDataSize(frame);
  return noErr;
}

double encode(const EncodeSetup& setup, const Bytes& frames, std::size_t frameBytes, int count, std::size_t& output) {
  ICMCompressionSessionOptionsRef options = nullptr;
  ICMCompressionSessionOptionsCreate(nullptr, &options);
  ICMCompressionSessionOptionsSetAllowTemporalCompression(options, true);
  ICMCompressionSessionOptionsSetAllowFrameReordering(options, setup.reordering);
  ICMCompressionSessionOptionsSetMaxKeyFrameInterval(options, setup.keyFrameInterval);
  const Fixed rate = 24 << 16;
  ICMCompressionSessionOptionsSetProperty(options, kQTPropertyClass_ICMCompressionSessionOptions,
                                          kICMCompressionSessionOptionsPropertyID_ExpectedFrameRate, 4, &rate);
  ICMEncodedFrameOutputRecord record{discardFrame, &output, nullptr};
  ICMCompressionSessionRef session = nullptr;
  if (ICMCompressionSessionCreate(nullptr, kWidth, kHeight, setup.codec, 2400, options, nullptr, &record, &session) !=
      noErr) {
    std::fprintf(stderr, "compression session failed\n");
    std::exit(1);
  }
  ICMCompressionSessionOptionsRelease(options);
  const std::size_t bytesPerRow = frameBytes / kHeight;
  const auto start = Clock::now();
  for (int i = 0; i < count; ++i) {
    CVPixelBufferRef buffer = nullptr;
    CVPixelBufferCreateWithBytes(nullptr, kWidth, kHeight, setup.pixelFormat,
                                 const_cast<UInt8*>(frames.data() + static_cast<std::size_t>(i) * frameBytes),
                                 bytesPerRow, nullptr, nullptr, nullptr, &buffer);
    ICMCompressionSessionEncodeFrame(session, buffer, i * 100, 100, 3, nullptr, nullptr, nullptr);
    CVPixelBufferRelease(buffer);
  }
  ICMCompressionSessionCompleteFrames(session, true, 0, 0);
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  ICMCompressionSessionRelease(session);
  return seconds;
}

const char* gFilter = nullptr;  // run only the rows whose label holds this text

bool selected(const char* label) { return gFilter == nullptr || std::strstr(label, gFilter) != nullptr; }

// Planar 16-bit video-range Y'CbCrA frames as 'r4fl' (floats A, Y', Cb, Cr).
Bytes r4flFrom(const Bytes& planar) {
  const std::size_t pixels = std::size_t{kWidth} * kHeight;
  const std::size_t frames = planar.size() / (pixels * 8);
  Bytes out(frames * pixels * 16);
  for (std::size_t f = 0; f < frames; ++f) {
    const auto* planes = reinterpret_cast<const std::uint16_t*>(planar.data() + f * pixels * 8);
    auto* packed = reinterpret_cast<float*>(out.data() + f * pixels * 16);
    for (std::size_t i = 0; i < pixels; ++i) {
      packed[4 * i] = planes[3 * pixels + i] / 65535.0f;
      packed[4 * i + 1] = (planes[i] / 256.0f - 16.0f) / 255.0f;
      packed[4 * i + 2] = planes[pixels + i] / 256.0f / 255.0f;
      packed[4 * i + 3] = planes[2 * pixels + i] / 256.0f / 255.0f;
    }
  }
  return out;
}

void report(const char* label, int frames, double ours, double cli) {
  std::printf("%-44s %7.1f fps   ffmpeg %7.1f fps   ratio %5.2f\n", label, frames / ours, frames / cli, cli / ours);
}

}  // namespace

int main(int argc, char** argv) {
  const int repetitions = argc > 1 ? std::max(1, std::atoi(argv[1])) : 1;
  if (argc > 2) gFilter = argv[2];
  const std::string source = "-f lavfi -i testsrc2=size=1920x1080:rate=24 ";
  make("hq.mov", source + "-frames:v 96 -pix_fmt yuv422p10le -c:v prores_ks -profile:v 3 -f mov");
  make("hq.prores", "-i '" + fixture("hq.mov") + "' -c:v copy -f rawvideo");
  make("gop48.h264", source +
                         "-frames:v 96 -pix_fmt yuv420p -c:v libx264 -g 48 -keyint_min 48 -sc_threshold 0 "
                         "-bf 3 -x264-params aud=1 -f h264");
  make("source.uyvy", source + "-frames:v 48 -pix_fmt uyvy422 -f rawvideo");
  make("source.rgba64be", source + "-frames:v 24 -pix_fmt rgba64be -f rawvideo");
  make("source.yuva444p16le", source + "-frames:v 24 -pix_fmt yuva444p16le -f rawvideo");

  // Only what the selected rows need is loaded.
  const bool needProRes = selected("ProRes 422 HQ decode to 'b64a'") || selected("ProRes 422 HQ decode to 'r4fl'");
  const bool needH264 = selected("H.264 GOP 48 B-frames decode");
  const std::vector<Bytes> prores = needProRes ? splitProRes(readFile(fixture("hq.prores"))) : std::vector<Bytes>{};
  const std::vector<AccessUnit> h264 =
      needH264 ? splitH264(readFile(fixture("gop48.h264"))) : std::vector<AccessUnit>{};
  const std::vector<std::size_t> displayOrder = needH264 ? displayOrderOf(h264) : std::vector<std::size_t>{};
  const Bytes uyvy = selected("H.264 GOP 48 B-frames encode") ? readFile(fixture("source.uyvy")) : Bytes{};
  Bytes b64a = selected("ProRes 422 HQ encode from 'b64a'") ? readFile(fixture("source.rgba64be")) : Bytes{};
  for (std::size_t i = 0; i + 8 <= b64a.size(); i += 8)
    std::rotate(b64a.begin() + i, b64a.begin() + i + 6, b64a.begin() + i + 8);
  const Bytes r4fl =
      selected("ProRes 422 HQ encode from 'r4fl'") ? r4flFrom(readFile(fixture("source.yuva444p16le"))) : Bytes{};
  if ((needProRes && prores.size() != kDecodeFrames) ||
      (needH264 && (h264.size() != kDecodeFrames || displayOrder.size() != kDecodeFrames))) {
    std::fprintf(stderr, "fixtures: %zu ProRes frames, %zu H.264 samples\n", prores.size(), h264.size());
    return 1;
  }

  std::printf("1920x1080, ICM sessions vs ffmpeg CLI in the same run (best of %d), ratio = ffmpeg time / ours\n",
              repetitions);
  // Ours and the CLI take turns, so both see the same load of a shared machine.
  auto compare = [&](const char* label, int frames, auto ours, auto cli) {
    double bestOurs = 1e30, bestCli = 1e30;
    for (int r = 0; r < repetitions; ++r) {
      bestOurs = std::min(bestOurs, ours());
      bestCli = std::min(bestCli, cli());
    }
    report(label, frames, bestOurs, bestCli);
  };
  const std::string hq = "'" + fixture("hq.mov") + "'";
  if (selected("ProRes 422 HQ decode to 'b64a'"))
    compare(
        "ProRes 422 HQ decode to 'b64a' (rgba64be)", kDecodeFrames,
        [&] { return decodeProRes(prores, k64ARGBPixelFormat); },
        [&] { return timeCli("-i " + hq + " -pix_fmt rgba64be -f null -"); });
  if (selected("ProRes 422 HQ decode to 'r4fl'"))
    compare(
        "ProRes 422 HQ decode to 'r4fl' (CLI: yuva444p16le)", kDecodeFrames,
        [&] { return decodeProRes(prores, k4444YpCbCrA32RPixelFormat); },
        [&] { return timeCli("-i " + hq + " -pix_fmt yuva444p16le -f null -"); });
  UInt64 samples = 0;
  const std::string gop = "'" + fixture("gop48.h264") + "'";
  if (selected("H.264 GOP 48 B-frames decode"))
    compare(
        "H.264 GOP 48 B-frames decode to '2vuy' (uyvy422)", kDecodeFrames,
        [&] { return decodeH264(h264, displayOrder, samples); },
        [&] { return timeCli("-f h264 -i " + gop + " -pix_fmt uyvy422 -f null -"); });
  if (samples != 0)
    std::printf("  (reader pattern, frame by frame in display order: %llu samples decoded for %d frames)\n",
                static_cast<unsigned long long>(samples), kDecodeFrames);

  std::size_t bytes = 0;
  const std::size_t b64aFrame = std::size_t{kWidth} * kHeight * 8;
  if (selected("ProRes 422 HQ encode from 'b64a'"))
    compare(
        "ProRes 422 HQ encode from 'b64a' (rgba64be)", kProResEncodeFrames,
        [&] {
          return encode({'apch', k64ARGBPixelFormat, 0, false}, b64a, b64aFrame, kProResEncodeFrames, bytes);
        },
        [&] {
          return timeCli("-f rawvideo -pix_fmt rgba64be -s 1920x1080 -r 24 -i '" + fixture("source.rgba64be") +
                         "' -c:v prores_ks -profile:v 3 -pix_fmt yuv422p10le -f null -");
        });
  const std::size_t r4flFrame = std::size_t{kWidth} * kHeight * 16;
  if (selected("ProRes 422 HQ encode from 'r4fl'"))
    compare(
        "ProRes 422 HQ encode from 'r4fl' (CLI: yuva444p16le)", kProResEncodeFrames,
        [&] {
          return encode({'apch', k4444YpCbCrA32RPixelFormat, 0, false}, r4fl, r4flFrame, kProResEncodeFrames, bytes);
        },
        [&] {
          return timeCli("-f rawvideo -pix_fmt yuva444p16le -s 1920x1080 -r 24 -i '" + fixture("source.yuva444p16le") +
                         "' -c:v prores_ks -profile:v 3 -pix_fmt yuv422p10le -f null -");
        });
  const std::size_t uyvyFrame = std::size_t{kWidth} * kHeight * 2;
  if (selected("H.264 GOP 48 B-frames encode"))
    compare(
        "H.264 GOP 48 B-frames encode from '2vuy' (uyvy422)", kH264EncodeFrames,
        [&] {
          return encode({'avc1', k2vuyPixelFormat, 48, true}, uyvy, uyvyFrame, kH264EncodeFrames, bytes);
        },
        [&] {
          return timeCli("-f rawvideo -pix_fmt uyvy422 -s 1920x1080 -r 24 -i '" + fixture("source.uyvy") +
                         "' -c:v libx264 -crf 23 -g 48 -bf 3 -pix_fmt yuv420p -f null -");
        });
  return 0;
}
