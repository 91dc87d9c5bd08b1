// Every codec the writer offers, at HD, 720p, SD and an odd size, with and
// without alpha: written through the public writer from a blurred test
// pattern the ffmpeg CLI makes, then judged by outside readers only: ffmpeg
// decodes it against the source (PSNR, 8-bit exactness, alpha), ffprobe
// reads the frame count and timing, GStreamer's qtdemux demuxes and decodes
// it, and reads the sound, timecode and metadata written beside the frames.
// A second table steps each quality-driven codec through its levels.
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include <vantor/property/Property.h>
#include <vantor/quicktime/FrameRate.h>

#include "WriterHelpers.h"

using namespace WriterAcceptance;
using Vantor::QuickTime::QuickTimeCodecWriter;

namespace {

constexpr int kFrames = 3;
constexpr double kBitExact = 1000.0;  // floor meaning "every 8-bit value as written"
// Full-scale alpha as read back in 16 bits: libswscale widens a 12-bit alpha
// (ProRes 4444) by a shift, so its 4095 arrives as 0xFFF0; a short scale such
// as 4083 of 4095 would arrive as 0xFF30.
constexpr std::uint16_t kOpaque = 0xFFF0;

struct Row {
  const char* codec;
  int width;
  int height;
  bool alpha;
  double floor;            // dB over R, G, B against the source; kBitExact for lossless 8-bit
  const char* knownFault;  // null when the row must pass now
  // 4:2:0 HEVC at an odd size: the stream holds the next even size (its
  // cropping counts whole chroma samples) with the edge repeated, and FFmpeg
  // decodes that; the track keeps the true size.
  bool evenStream = false;
};

std::ostream& operator<<(std::ostream& out, const Row& row) {
  return out << row.codec << ' ' << row.width << 'x' << row.height << (row.alpha ? " alpha" : "");
}

// ProRes 422 HQ and v210 at 321x181 have 40, not 45: at that size the
// pattern's colour detail is what 4:2:2 itself cannot hold (FFmpeg's own
// ProRes HQ encode of the same source measures 42.2 dB, and 4:4:4 of it 52.7).
// clang-format off
const Row kRows[] = {
  {"apch", 1920, 1080, false, 45, nullptr},       {"ap4h", 1920, 1080, true, 45, nullptr},
  {"avc1", 1920, 1080, false, 40, nullptr},       {"AVdn", 1920, 1080, false, 35, nullptr},
  {"hvc1", 1920, 1080, false, 35, nullptr},       {"mp4v", 1920, 1080, false, 35, nullptr},
  {"2vuy", 1920, 1080, false, 35, nullptr},       {"v210", 1920, 1080, false, 45, nullptr},
  {"png ", 1920, 1080, true, kBitExact, nullptr}, {"apco", 1280, 720, false, 35, nullptr},
  {"apcs", 1280, 720, false, 35, nullptr},        {"apcn", 1280, 720, false, 35, nullptr},
  {"apch", 1280, 720, false, 45, nullptr},        {"ap4h", 1280, 720, false, 45, nullptr},
  {"ap4x", 1280, 720, true, 45, nullptr},         {"avc1", 1280, 720, false, 40, nullptr},
  {"hvc1", 1280, 720, false, 35, nullptr},        {"jpeg", 1280, 720, false, 35, nullptr},
  {"rle ", 1280, 720, true, kBitExact, nullptr},  {"raw ", 1280, 720, false, kBitExact, nullptr},
  {"AVdn", 1280, 720, false, 35, nullptr},        {"apco", 720, 486, false, 35, nullptr},
  {"apcs", 720, 486, false, 35, nullptr},         {"apcn", 720, 486, false, 35, nullptr},
  {"apch", 720, 486, false, 45, nullptr},         {"ap4h", 720, 486, false, 45, nullptr},
  {"ap4h", 720, 486, true, 45, nullptr},          {"avc1", 720, 486, false, 40, nullptr},
  {"hvc1", 720, 486, false, 35, nullptr},         {"mp4v", 720, 486, false, 35, nullptr},
  {"jpeg", 720, 486, false, 35, nullptr},         {"png ", 720, 486, false, kBitExact, nullptr},
  {"rle ", 720, 486, false, kBitExact, nullptr},  {"raw ", 720, 486, true, kBitExact, nullptr},
  {"2vuy", 720, 486, false, 35, nullptr},         {"v210", 720, 486, false, 45, nullptr},
  {"apch", 321, 181, false, 40, nullptr},         {"ap4h", 321, 181, true, 45, nullptr},
  {"avc1", 321, 181, false, 40, nullptr},         {"hvc1", 321, 181, false, 35, nullptr, true},
  {"mp4v", 321, 181, false, 35, nullptr},         {"jpeg", 321, 181, false, 35, nullptr},
  {"png ", 321, 181, true, kBitExact, nullptr},   {"rle ", 321, 181, false, kBitExact, nullptr},
  {"raw ", 321, 181, false, kBitExact, nullptr},  {"2vuy", 321, 181, false, 35, nullptr},
  {"v210", 321, 181, false, 40, nullptr},
};
// clang-format on

std::vector<std::uint8_t> readAll(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// kFrames RGBA 8-bit frames of a blurred moving test pattern, opaque, made once per size.
const std::vector<std::uint8_t>& source(int width, int height) {
  static std::map<std::pair<int, int>, std::vector<std::uint8_t>> made;
  auto& frames = made[{width, height}];
  if (frames.empty()) {
    // One file per process: CTest runs the rows in parallel processes.
    const std::string path = std::string(VQT_WRITER_SCRATCH) + "/source-" + std::to_string(width) + "x" +
                             std::to_string(height) + "-" + std::to_string(getpid()) + ".rgb";
    std::filesystem::create_directories(VQT_WRITER_SCRATCH);
    // The pattern comes in even sizes only: an odd one is cut from the next even
    // one. Its features keep their size in pixels, so a picture narrower than SD
    // is blurred more to stay as smooth.
    const std::string sigma = std::to_string(6.0 * std::max(1.0, 720.0 / width));
    const std::string size = std::to_string(width) + "x" + std::to_string(height);
    const std::string even = std::to_string((width + 1) & ~1) + "x" + std::to_string((height + 1) & ~1);
    run(std::string(VQT_FFMPEG) + " -v error -nostdin -y -f lavfi -i testsrc2=size=" + even +
        ":rate=25,gblur=sigma=" + sigma + ",format=rgb24,crop=" + std::to_string(width) + ":" + std::to_string(height) +
        ":0:0 -frames:v " + std::to_string(kFrames) + " -pix_fmt rgb24 -f rawvideo '" + path + "'");
    const auto rgb = readAll(path);
    std::filesystem::remove(path);
    EXPECT_EQ(rgb.size(), static_cast<std::size_t>(width) * height * 3 * kFrames) << "source " << size;
    frames.resize(rgb.size() / 3 * 4);
    for (std::size_t i = 0, o = 0; i + 2 < rgb.size(); i += 3, o += 4) {
      frames[o] = rgb[i];
      frames[o + 1] = rgb[i + 1];
      frames[o + 2] = rgb[i + 2];
      frames[o + 3] = 255;
    }
  }
  return frames;
}

constexpr int kSoundFrames = kFrames * 48000 / 25;  // stereo 48 kHz sample frames as long as the video

// Writes the source through `codec` at `qualityIndex`, with `extras` a sound
// track, a timecode track (01:00:00:05, reel "REEL01") and a title; the writer's result.
int writeMovie(const std::string& path, const char* codec, int width, int height, bool alpha, int qualityIndex,
               bool extras = false) {
  const auto& pixels = source(width, height);
  if (pixels.size() != static_cast<std::size_t>(width) * height * 4 * kFrames) return -2;
  QuickTimeCodecWriter writer;
  if (!selectCodec(writer, codec)) return -1;
  writer.setCompressionSettings(width, height, 25.0f, 12, qualityIndex, alpha, "");
  if (extras && writer.setAudioFormat(2, false, 48000, "") != 0) return -3;
  if (const int opened = writer.openMovie(path, extras ? 3 : 1); opened != 0) return opened;
  const std::size_t frameSize = static_cast<std::size_t>(width) * height * 4;
  std::vector<float> frame(frameSize);
  for (int f = 0; f < kFrames; ++f) {
    const std::uint8_t* rgba = pixels.data() + f * frameSize;
    for (std::size_t i = 0; i < frameSize; i += 4) {  // the host's B, G, R, A floats
      frame[i + 0] = rgba[i + 2] / 255.0f;
      frame[i + 1] = rgba[i + 1] / 255.0f;
      frame[i + 2] = rgba[i + 0] / 255.0f;
      frame[i + 3] = rgba[i + 3] / 255.0f;
    }
    if (const int result = writer.encodeFrame(f, frame.data(), false); result != 0) return result;
  }
  writer.finishVideo();
  if (extras) {
    std::vector<float> tone(2 * kSoundFrames);
    for (std::size_t i = 0; i < tone.size(); ++i) tone[i] = 0.25f * std::sin(static_cast<float>(i / 2) * 0.13f);
    if (writer.writeAudioSamples(0, static_cast<int>(tone.size()), tone.data())) return -4;
    testing::internal::CaptureStdout();
    writer.finishAudio();
    testing::internal::GetCapturedStdout();
    Vantor::Property::String title("com.vantor.title", 1);
    title.setValue(std::string(codec) + " " + std::to_string(width) + "x" + std::to_string(height), 0);
    if (writer.setMetadata({&title}) != 0) return -5;
    if (writer.addTimecodeTrack(Vantor::QuickTime::FrameRate(25.0f), 90000 + 5, 0, "REEL01")) return -6;
  }
  return writer.closeMovie(true);
}

struct Judged {
  int frames = 0;
  double psnr = 0;             // R, G, B over every frame, peak 1
  double paddingPsnr = 99;     // a decoded picture's columns and rows past the source's against its edge
  bool exact8 = false;         // every R, G, B (and A) value equal to the source's in 8 bits
  std::uint16_t alphaMin = 0;  // in 16 bits
};

// ffmpeg's decode of `path` as 16-bit RGBA (8-bit, widened, for an 8-bit RGB
// codec: libswscale's own widening is not exact) against the source. A decoded
// picture larger than the source (`decodedWidth` x `decodedHeight`) is compared
// over the source's area, and what lies past it against the source's last
// column and row.
Judged judge(const std::string& path, int width, int height, bool eightBit, int decodedWidth = 0,
             int decodedHeight = 0) {
  if (decodedWidth == 0) decodedWidth = width;
  if (decodedHeight == 0) decodedHeight = height;
  const std::string decoded = path + ".decoded";
  run(std::string(VQT_FFMPEG) + " -v error -nostdin -y -i '" + path + "' -f rawvideo -pix_fmt " +
      (eightBit ? "rgba" : "rgba64le") + " '" + decoded + "'");
  auto bytes = readAll(decoded);
  if (eightBit) {
    std::vector<std::uint8_t> wide(bytes.size() * 2);
    for (std::size_t i = 0; i < bytes.size(); ++i) wide[2 * i] = wide[2 * i + 1] = bytes[i];
    bytes.swap(wide);
  }
  std::filesystem::remove(decoded);
  const auto& reference = source(width, height);
  const std::size_t samples = static_cast<std::size_t>(width) * height * 4;
  const std::size_t decodedSamples = static_cast<std::size_t>(decodedWidth) * decodedHeight * 4;
  Judged judged;
  judged.frames = static_cast<int>(bytes.size() / (decodedSamples * 2));
  const int frames = std::min(judged.frames, kFrames);
  double squared = 0, paddingSquared = 0;
  judged.exact8 = frames == kFrames;
  judged.alphaMin = 0xFFFF;
  // At an odd width FFmpeg's own 4:2:x encoders and decoders lose the last
  // columns (its own encode of the source gives the same figures there), so
  // the PSNR leaves them out; exactness still covers every pixel.
  const int measuredWidth = width % 2 == 1 ? width - 3 : width;
  std::size_t measured = 0, padding = 0;
  for (int f = 0; f < frames; ++f) {
    for (int y = 0; y < decodedHeight; ++y) {
      for (int x = 0; x < decodedWidth; ++x) {
        const std::size_t at = (static_cast<std::size_t>(f) * decodedHeight * decodedWidth +
                                static_cast<std::size_t>(y) * decodedWidth + x) *
                               4;
        const bool inside = x < width && y < height;
        const std::size_t from =
            f * samples + (static_cast<std::size_t>(std::min(y, height - 1)) * width + std::min(x, width - 1)) * 4;
        for (int c = 0; c < 4; ++c) {
          const int value = bytes[2 * (at + c)] | (bytes[2 * (at + c) + 1] << 8);
          const double difference = value / 65535.0 - reference[from + c] / 255.0;
          if (!inside) {
            if (c < 3) paddingSquared += difference * difference, ++padding;
            continue;
          }
          if (std::lround(value / 257.0) != reference[from + c]) judged.exact8 = false;
          if (c == 3) {
            judged.alphaMin = std::min<std::uint16_t>(judged.alphaMin, static_cast<std::uint16_t>(value));
          } else if (x < measuredWidth) {
            squared += difference * difference;
            ++measured;
          }
        }
      }
    }
  }
  const auto psnr = [](double sum, std::size_t count) {
    const double mean = sum / std::max<double>(1.0, static_cast<double>(count));
    return mean > 0 ? 10.0 * std::log10(1.0 / mean) : 99.0;
  };
  judged.psnr = psnr(squared, measured);
  if (padding > 0) judged.paddingPsnr = psnr(paddingSquared, padding);
  return judged;
}

// Frames GStreamer's qtdemux and its decoders give for `path`; -1 without GStreamer.
int gstreamerFrames(const std::string& path) {
  if (run("command -v gst-launch-1.0").empty()) return -1;
  const std::string folder = path + ".gst";
  std::filesystem::create_directories(folder);
  run("gst-launch-1.0 -q filesrc location='" + path + "' ! qtdemux name=demux demux.video_0 ! queue ! decodebin ! " +
      "videoconvert ! video/x-raw,format=RGBA ! multifilesink location='" + folder + "/%05d.raw'");
  int frames = 0;
  for ([[maybe_unused]] const auto& file : std::filesystem::directory_iterator(folder)) ++frames;
  std::filesystem::remove_all(folder);
  return frames;
}

std::string rowName(const testing::TestParamInfo<Row>& info) {
  std::string name = info.param.codec;
  std::replace(name.begin(), name.end(), ' ', '_');
  return name + "_" + std::to_string(info.param.width) + "x" + std::to_string(info.param.height) +
         (info.param.alpha ? "_alpha" : "");
}

class CodecTable : public testing::TestWithParam<Row> {};

TEST_P(CodecTable, OutsideReadersGetWhatWasWritten) {
  const Row& row = GetParam();
  const std::string folder = scratchFolder("table-" + rowName({row, 0}));
  const std::string path = folder + "/movie.mov";
  const int written = writeMovie(path, row.codec, row.width, row.height, row.alpha, 4, true);
  if (written != 0 && row.knownFault != nullptr) GTEST_SKIP() << "known fault: " << row.knownFault;
  ASSERT_EQ(written, 0) << row;

  auto stream = probe(path, "v:0", "stream=codec_tag_string,width,height,nb_frames,time_base,duration_ts");
  EXPECT_EQ(stream["codec_tag_string"], row.codec);
  const int streamWidth = row.evenStream ? (row.width + 1) & ~1 : row.width;
  const int streamHeight = row.evenStream ? (row.height + 1) & ~1 : row.height;
  EXPECT_EQ(stream["width"], std::to_string(streamWidth));
  EXPECT_EQ(stream["height"], std::to_string(streamHeight));
  EXPECT_EQ(stream["nb_frames"], std::to_string(kFrames));
  // 25 fps in the writer's time scale of 2500: every frame lasts 100.
  EXPECT_EQ(stream["time_base"], "1/2500");
  EXPECT_EQ(stream["duration_ts"], std::to_string(kFrames * 100));
  auto sound = probe(path, "a:0", "stream=sample_rate,channels,duration_ts");
  EXPECT_EQ(sound["sample_rate"], "48000");
  EXPECT_EQ(sound["channels"], "2");
  EXPECT_EQ(sound["duration_ts"], std::to_string(kSoundFrames));
  auto timecode = probe(path, "d:0", "stream=codec_tag_string:stream_tags=timecode,reel_name");
  EXPECT_EQ(timecode["codec_tag_string"], "tmcd");
  EXPECT_EQ(timecode["TAG:timecode"], "01:00:00:05");
  EXPECT_EQ(timecode["TAG:reel_name"], "REEL01");
  EXPECT_EQ(probe(path, "", "format_tags")["TAG:com.vantor.title"],
            std::string(row.codec) + " " + std::to_string(row.width) + "x" + std::to_string(row.height));
  EXPECT_EQ(decodeErrors(path), "");
  EXPECT_EQ(gstreamerFrames(path), kFrames) << "GStreamer's qtdemux (-1: gst-launch-1.0 missing, see install-deps.sh)";

  // Codecs holding 8-bit RGB are read back in 8 bits, the rest in 16.
  const std::string layout = probe(path, "v:0", "stream=pix_fmt")["pix_fmt"];
  const bool eightBit = layout == "rgb24" || layout == "argb" || layout == "rgba" || layout == "bgra";
  const Judged judged = judge(path, row.width, row.height, eightBit, streamWidth, streamHeight);
  ASSERT_EQ(judged.frames, kFrames);
  std::printf("[ figures  ] %s %dx%d%s: %.2f dB, %s, alpha min %u, %lld bytes\n", row.codec, row.width, row.height,
              row.alpha ? " alpha" : "", judged.psnr, judged.exact8 ? "8-bit exact" : "not exact",
              static_cast<unsigned>(judged.alphaMin), static_cast<long long>(std::filesystem::file_size(path)));
  if (row.evenStream)
    std::printf("[ figures  ] %s %dx%d: padding %.2f dB\n", row.codec, row.width, row.height, judged.paddingPsnr);
  if (row.floor == kBitExact) {
    EXPECT_TRUE(judged.exact8) << judged.psnr << " dB";
  } else {
    EXPECT_GE(judged.psnr, row.floor);
  }
  if (row.alpha) {
    EXPECT_GE(judged.alphaMin, kOpaque) << "opaque alpha must come back at full scale";
  }
  // Padding repeats the picture's edge: black there would measure about 6 dB.
  EXPECT_GE(judged.paddingPsnr, 30) << "padding past the true size";
}

INSTANTIATE_TEST_SUITE_P(Rows, CodecTable, testing::ValuesIn(kRows), rowName);

// The colour ffprobe reads from a Y'CbCr movie is the one its pixels were made
// in, for codecs with colour tags of their own and those with only the 'colr':
// BT.709 above 576 lines, BT.601 up to 576 (625-line primaries at 576), and
// Photo-JPEG BT.601 and full range at every size, as JPEG itself defines.
struct Declared {
  const char* codec;
  int width;
  int height;
  bool bt709;  // else BT.601
  const char* primaries;
  const char* range;  // "unknown" where only an 'nclc' speaks: video range is implied
};

class DeclaredColour : public testing::TestWithParam<Declared> {};

TEST_P(DeclaredColour, FfprobeReadsTheMatrixThatWasUsed) {
  const Declared& row = GetParam();
  const std::string folder =
      scratchFolder("colour-" + rowName({{row.codec, row.width, row.height, false, 0, nullptr}, 0}));
  const std::string path = folder + "/movie.mov";
  ASSERT_EQ(writeMovie(path, row.codec, row.width, row.height, false, 4), 0);
  auto stream = probe(path, "v:0", "stream=color_space,color_primaries,color_transfer,color_range");
  if (row.bt709) {
    EXPECT_EQ(stream["color_space"], "bt709");
  } else {
    // JPEG decoders name BT.601 by its 625-line label; the matrix is the same.
    EXPECT_TRUE(stream["color_space"] == "smpte170m" || stream["color_space"] == "bt470bg") << stream["color_space"];
  }
  EXPECT_EQ(stream["color_primaries"], row.primaries);
  EXPECT_EQ(stream["color_transfer"], "bt709");
  EXPECT_EQ(stream["color_range"], row.range);
}

INSTANTIATE_TEST_SUITE_P(
    Codecs, DeclaredColour,
    testing::Values(Declared{"2vuy", 1920, 1080, true, "bt709", "unknown"},
                    Declared{"v210", 1920, 1080, true, "bt709", "unknown"},
                    Declared{"mp4v", 1920, 1080, true, "bt709", "unknown"},
                    Declared{"avc1", 1280, 720, true, "bt709", "tv"},
                    Declared{"2vuy", 720, 486, false, "smpte170m", "unknown"},
                    Declared{"v210", 720, 576, false, "bt470bg", "unknown"},
                    Declared{"mp4v", 720, 486, false, "smpte170m", "unknown"},
                    Declared{"jpeg", 1280, 720, false, "smpte170m", "pc"}),
    [](const testing::TestParamInfo<Declared>& info) {
      return rowName({{info.param.codec, info.param.width, info.param.height, false, 0, nullptr}, info.index});
    });

// Quality levels: each level the dialog offers for a codec gives a larger
// file than the one below it and a picture no worse. (ProRes 422 HQ is not
// here: the writer always encodes it at High quality.)
struct Levels {
  const char* codec;
  int levels;                     // 6, or 5 for a codec without a lossless mode
  bool sameSizeFromHigh = false;  // DNxHR HQ and HQX have one frame size; HQX holds 10 bits
};

class QualityLevels : public testing::TestWithParam<Levels> {};

TEST_P(QualityLevels, EachStepGrowsTheFileAndKeepsThePicture) {
  const Levels& codec = GetParam();
  constexpr int kWidth = 640, kHeight = 360;
  const std::string folder = scratchFolder(std::string("levels-") + (codec.codec[3] == ' ' ? "png" : codec.codec));
  std::vector<std::uintmax_t> sizes;
  std::vector<double> psnrs;
  for (int level = 0; level < codec.levels; ++level) {
    const std::string path = folder + "/level" + std::to_string(level) + ".mov";
    ASSERT_EQ(writeMovie(path, codec.codec, kWidth, kHeight, false, level), 0);
    sizes.push_back(std::filesystem::file_size(path));
    psnrs.push_back(judge(path, kWidth, kHeight, false).psnr);
    std::printf("[ figures  ] %s level %d: %ju bytes, %.2f dB\n", codec.codec, level, sizes.back(), psnrs.back());
  }
  for (int level = 1; level < codec.levels; ++level) {
    if (codec.sameSizeFromHigh && level == 3) {
      EXPECT_EQ(sizes[level], sizes[level - 1]) << codec.codec << " level " << level;
    } else {
      EXPECT_GT(sizes[level], sizes[level - 1]) << codec.codec << " level " << level;
    }
    EXPECT_GE(psnrs[level] + 0.05, psnrs[level - 1]) << codec.codec << " level " << level;
  }
}

INSTANTIATE_TEST_SUITE_P(Codecs, QualityLevels,
                         testing::Values(Levels{"apcn", 5}, Levels{"ap4h", 5}, Levels{"avc1", 6}, Levels{"hvc1", 6},
                                         Levels{"mp4v", 6}, Levels{"jpeg", 6}, Levels{"AVdn", 5, true}),
                         [](const testing::TestParamInfo<Levels>& info) { return std::string(info.param.codec); });

}  // namespace
