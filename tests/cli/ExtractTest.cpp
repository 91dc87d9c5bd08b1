// Frames and sound written to files by qtmovie hold exactly what the reader
// decodes: raw floats bit for bit, 16-bit PNG to the nearest word, float WAV.
#include <gtest/gtest.h>
#include <vantor/quicktime/QuickTimeCodecReader.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <vector>

#include "CliRun.h"

using Vantor::QuickTime::QuickTimeCodecReader;

namespace {

std::vector<unsigned char> bytesOf(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

unsigned bigEndian32(const std::vector<unsigned char>& b, std::size_t at) {
  return unsigned(b[at]) << 24 | unsigned(b[at + 1]) << 16 | unsigned(b[at + 2]) << 8 | b[at + 3];
}

unsigned littleEndian(const std::vector<unsigned char>& b, std::size_t at, int size) {
  unsigned value = 0;
  for (int i = size - 1; i >= 0; --i) value = value << 8 | b[at + static_cast<std::size_t>(i)];
  return value;
}

std::vector<float> readerFrame(const std::string& path, int frame, int* width, int* height) {
  QuickTimeCodecReader reader;
  EXPECT_EQ(reader.open(path, 1), 0);
  int channels = 0, scale = 0, duration = 0, timecode = 0;
  float aspect = 0;
  reader.getVideoInfo(width, height, &channels, &aspect, &scale, &duration, &timecode);
  std::vector<float> rgba(static_cast<std::size_t>(*width) * *height * 4);
  EXPECT_EQ(reader.decodeFrame(frame, rgba.data()), 0);
  return rgba;
}

}  // namespace

TEST(FrameExport, RawFloatsEqualTheReadersFrame) {
  const std::string movie = cli::fixture("h264-tone.mov"), out = cli::scratch("frame") + "/f7.f32";
  const auto outcome = cli::qtmovie("frame '" + movie + "' 7 -o '" + out + "'");
  ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
  int width = 0, height = 0;
  const auto expected = readerFrame(movie, 7, &width, &height);
  const auto bytes = bytesOf(out);
  ASSERT_EQ(bytes.size(), expected.size() * sizeof(float));
  EXPECT_EQ(std::memcmp(bytes.data(), expected.data(), bytes.size()), 0);
}

TEST(FrameExport, PngIsSixteenBitRgbaOfTheReadersFrame) {
  const std::string movie = cli::fixture("prores.mov"), folder = cli::scratch("png");
  ASSERT_EQ(cli::qtmovie("frame '" + movie + "' 12 -o '" + folder + "/f12.png'").exitCode, 0);
  const auto png = bytesOf(folder + "/f12.png");
  ASSERT_GT(png.size(), 26u);
  EXPECT_EQ(bigEndian32(png, 16), 128u);
  EXPECT_EQ(bigEndian32(png, 20), 96u);
  EXPECT_EQ(png[24], 16);  // bit depth
  EXPECT_EQ(png[25], 6);   // colour type RGBA
  // Decoded by ffmpeg back to raw words, the PNG matches the reader's floats to the nearest word.
  const std::string raw = folder + "/f12.rgba64";
  ASSERT_EQ(
      cli::shell("ffmpeg -v error -y -i '" + folder + "/f12.png' -f rawvideo -pix_fmt rgba64le '" + raw + "'").exitCode,
      0);
  const auto words = bytesOf(raw);
  int width = 0, height = 0;
  const auto expected = readerFrame(movie, 12, &width, &height);
  ASSERT_EQ(words.size(), expected.size() * 2);
  double worst = 0;
  for (std::size_t i = 0; i < expected.size(); ++i)
    worst = std::max(worst, std::fabs(littleEndian(words, 2 * i, 2) / 65535.0 - std::clamp(expected[i], 0.0f, 1.0f)));
  EXPECT_LE(worst, 0.5 / 65535 + 1e-7);
}

TEST(AudioExport, FloatWavHoldsTheReadersSamples) {
  const std::string movie = cli::fixture("h264-tone.mov"), wav = cli::scratch("audio") + "/tone.wav";
  const auto outcome = cli::qtmovie("audio '" + movie + "' -o '" + wav + "'");
  ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
  const auto bytes = bytesOf(wav);
  ASSERT_GT(bytes.size(), 58u);
  EXPECT_EQ(littleEndian(bytes, 20, 2), 3u);  // IEEE float
  EXPECT_EQ(littleEndian(bytes, 22, 2), 2u);
  EXPECT_EQ(littleEndian(bytes, 24, 4), 48000u);
  EXPECT_EQ(littleEndian(bytes, 34, 2), 32u);
  const std::size_t data = 58;
  EXPECT_EQ(littleEndian(bytes, data - 4, 4), 96000u * 4);

  QuickTimeCodecReader reader;
  ASSERT_EQ(reader.open(movie, 2), 0);
  std::vector<float> expected(96000);
  unsigned count = 96000;
  ASSERT_EQ(reader.readAudio(0, &count, expected.data()), 0);
  ASSERT_EQ(bytes.size(), data + count * 4);
  EXPECT_EQ(std::memcmp(bytes.data() + data, expected.data(), count * 4), 0);
  EXPECT_EQ(cli::probe(wav, "a:0", "codec_name"), "pcm_f32le");
}

TEST(FrameExport, ExrIsHalfFloatRgbaOfTheReadersFrame) {
  const std::string movie = cli::fixture("prores.mov"), folder = cli::scratch("exr");
  const auto outcome = cli::qtmovie("frame '" + movie + "' 3 -o '" + folder + "/f3.exr'");
  ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
  EXPECT_EQ(cli::probe(folder + "/f3.exr", "v:0", "width"), "128");
  // ffmpeg decodes the EXR to planar G, B, R, A floats.
  const std::string raw = folder + "/f3.gbrap";
  ASSERT_EQ(cli::shell("ffmpeg -v error -y -i '" + folder + "/f3.exr' -f rawvideo -pix_fmt gbrapf32le '" + raw + "'")
                .exitCode,
            0);
  const auto bytes = bytesOf(raw);
  int width = 0, height = 0;
  const auto expected = readerFrame(movie, 3, &width, &height);
  const std::size_t plane = static_cast<std::size_t>(width) * height;
  ASSERT_EQ(bytes.size(), plane * 4 * sizeof(float));
  std::vector<float> planes(plane * 4);
  std::memcpy(planes.data(), bytes.data(), bytes.size());
  const std::size_t planeOfChannel[4] = {2, 0, 1, 3};  // R, G, B, A
  double worst = 0;
  for (std::size_t p = 0; p < plane; ++p)
    for (std::size_t c = 0; c < 4; ++c)
      worst = std::max(worst, std::fabs(double(planes[planeOfChannel[c] * plane + p]) - expected[4 * p + c]));
  EXPECT_LE(worst, 1.0 / 1024);  // half precision below 1.0
}

TEST(FramesExport, ManyFramesInOneRunEqualOneFrameAtATime) {
  // Long GOP with B-frames: in-order decoding must give what a fresh seek to each frame gives.
  const std::string movie = cli::fixture("long-gop.mov"), folder = cli::scratch("frames");
  cli::shell("rm -f '" + folder + "'/*");
  const auto outcome = cli::qtmovie("frames '" + movie + "' -o '" + folder + "/many_%03d.f32' --range 5:45 --every 7");
  ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
  EXPECT_EQ(cli::shell("ls '" + folder + "' | tr '\\n' ' '").out,
            "many_005.f32 many_012.f32 many_019.f32 many_026.f32 many_033.f32 many_040.f32 ");
  for (int frame = 5; frame <= 45; frame += 7) {
    SCOPED_TRACE(frame);
    const std::string one = folder + "/one.f32";
    ASSERT_EQ(cli::qtmovie("frame '" + movie + "' " + std::to_string(frame) + " -o '" + one + "'").exitCode, 0);
    char name[32];
    std::snprintf(name, sizeof name, "/many_%03d.f32", frame);
    const auto many = bytesOf(folder + name);
    EXPECT_FALSE(many.empty());
    EXPECT_TRUE(many == bytesOf(one));
  }
  // Open ends: the whole movie by default, and from a frame to the end.
  ASSERT_EQ(cli::qtmovie("frames '" + movie + "' -o '" + folder + "/all_%d.png'").exitCode, 0);
  EXPECT_EQ(cli::shell("ls '" + folder + "' | grep -c '^all_'").out, cli::probe(movie, "v:0", "nb_frames") + "\n");
  ASSERT_EQ(cli::qtmovie("frames '" + movie + "' -o '" + folder + "/tail_%d.png' --range 48:").exitCode, 0);
  EXPECT_EQ(cli::shell("ls '" + folder + "' | grep '^tail_' | tr '\\n' ' '").out,
            "tail_48.png tail_49.png tail_50.png ");
}

TEST(AudioExport, EachExtensionIsTheFormatFfprobeReadsBack) {
  // 16-bit sound at full scale: every integer format must give those integers back, the
  // extremes included.
  const std::string folder = cli::scratch("audio-formats"), movie = folder + "/loud.mov";
  ASSERT_EQ(cli::shell("ffmpeg -v error -y -f lavfi -i 'aevalsrc=sin(2*PI*440*t)|-sin(2*PI*440*t):s=48000:d=0.5' "
                       "-c:a pcm_s16le '" +
                       movie + "'")
                .exitCode,
            0);
  const std::string source = cli::shell("ffmpeg -v error -i '" + movie + "' -map 0:a -f s16le - | md5sum").out;
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"s16.wav", "--bits 16", "pcm_s16le"}, {"s24.wav", "--bits 24", "pcm_s24le"},  {"f32.wav", "", "pcm_f32le"},
      {"s16.aif", "", "pcm_s16be"},          {"s24.aiff", "--bits 24", "pcm_s24be"}, {"s16.flac", "", "flac"},
      {"s24.flac", "--bits 24", "flac"}};
  for (const auto& [name, options, codec] : cases) {
    SCOPED_TRACE(name);
    const std::string out = folder + "/" + name;
    const auto outcome = cli::qtmovie("audio '" + movie + "' -o '" + out + "' " + options);
    ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_EQ(cli::probe(out, "a:0", "codec_name"), codec);
    EXPECT_EQ(cli::probe(out, "a:0", "channels"), "2");
    EXPECT_EQ(cli::probe(out, "a:0", "sample_rate"), "48000");
    EXPECT_EQ(cli::shell("ffmpeg -v error -i '" + out + "' -f s16le - | md5sum").out, source);
  }
}
