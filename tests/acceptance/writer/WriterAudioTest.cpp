// Sound in written movies: the host's samples as 16-bit PCM, and sound tracks
// copied from a WAV file or another movie at positive, zero and negative
// offsets, cut to the movie's length.
#include <cmath>
#include <filesystem>
#include <cstdlib>
#include <vector>

#include "WriterHelpers.h"

using namespace WriterAcceptance;
using Vantor::QuickTime::QuickTimeCodecWriter;

namespace {

double seconds(const std::string& text) { return text.empty() ? -1.0 : std::atof(text.c_str()); }

// A 2-second 25 fps movie with its own 1 s stereo tone, written header first.
std::string writeMovieWithSound(const std::string& folder) {
  const std::string path = folder + "/tone.mov";
  QuickTimeCodecWriter writer;
  EXPECT_TRUE(selectCodec(writer, "apcn"));
  writer.setCompressionSettings(64, 64, 25.0f, 1, 2, false, "");
  EXPECT_EQ(writer.openMovie(path, 3), 0);
  EXPECT_EQ(writer.setAudioFormat(2, false, 48000, ""), 0);
  EXPECT_EQ(encodeTestFrames(writer, 64, 64, 50), 0);
  std::vector<float> block(2 * 4800);
  for (int chunk = 0; chunk < 10; ++chunk) {
    for (std::size_t i = 0; i < block.size(); ++i)
      block[i] = 0.5f * std::sin(static_cast<float>(chunk * 4800 + static_cast<int>(i / 2)) * 0.0575f);
    EXPECT_FALSE(writer.writeAudioSamples(0, static_cast<int>(block.size()), block.data()));
  }
  writer.finishVideo();
  testing::internal::CaptureStdout();
  writer.finishAudio();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Have duration 48000\n");
  EXPECT_EQ(writer.closeMovie(true), 0);
  return path;
}

// A 2-second video movie with the sound of `source` added at `offset`.
std::string addSoundTo(const std::string& folder, const std::string& name, const std::string& source, float offset) {
  const std::string path = folder + "/" + name + ".mov";
  QuickTimeCodecWriter writer;
  EXPECT_TRUE(selectCodec(writer, "apcn"));
  writer.setCompressionSettings(64, 64, 25.0f, 1, 2, false, "");
  EXPECT_EQ(writer.openMovie(path, 1), 0);
  EXPECT_EQ(encodeTestFrames(writer, 64, 64, 50), 0);
  writer.finishVideo();
  EXPECT_EQ(writer.addAudioFromFile(source.c_str(), offset), 0) << name;
  EXPECT_EQ(writer.closeMovie(true), 0);
  return path;
}

}  // namespace

TEST(WrittenSound, HostSamplesAreSixteenBitPcm) {
  const auto path = writeMovieWithSound(scratchFolder("tone"));
  auto sound = probe(path, "a:0", "stream=codec_name,codec_tag_string,sample_rate,channels,duration");
  EXPECT_EQ(sound["codec_name"], "pcm_s16le");
  EXPECT_EQ(sound["sample_rate"], "48000");
  EXPECT_EQ(sound["channels"], "2");
  EXPECT_NEAR(seconds(sound["duration"]), 1.0, 0.001);
  EXPECT_EQ(decodeErrors(path), "");
  // 0.5 x 40960 = 20480: the loudest sample ffmpeg sees is 20480 / 32768.
  const auto volume = run(std::string(VQT_FFMPEG) + " -nostdin -i '" + path + "' -af volumedetect -f null -", true);
  EXPECT_NE(volume.find("max_volume: -4.1 dB"), std::string::npos) << volume;
}

TEST(WrittenSound, CopiedFromAWavAtEveryOffsetSign) {
  const auto folder = scratchFolder("wav");
  const std::string wav = folder + "/source.wav";
  run(std::string(VQT_FFMPEG) + " -nostdin -y -f lavfi -i sine=frequency=440:duration=3 -ac 1 -ar 44100 '" + wav + "'");
  ASSERT_TRUE(std::filesystem::exists(wav));
  struct Case {
    const char* name;
    float offset;
    double expectedSeconds;  // sound length in the 2 s movie
  } cases[] = {{"later", 0.5f, 1.5}, {"zero", 0.0f, 2.0}, {"earlier", -0.5f, 2.0}};
  for (const Case& c : cases) {
    const auto path = addSoundTo(folder, c.name, wav, c.offset);
    auto sound = probe(path, "a:0", "stream=codec_type,sample_rate,duration");
    EXPECT_EQ(sound["codec_type"], "audio") << c.name;
    EXPECT_EQ(sound["sample_rate"], "44100") << c.name;
    auto format = probe(path, "", "format=duration");
    EXPECT_NEAR(seconds(format["duration"]), 2.0, 0.05) << c.name;
    EXPECT_EQ(decodeErrors(path), "") << c.name;
    // Decoded sound, padding included, never runs past the movie.
    auto decoded = probe(path, "a:0", "stream=duration");
    EXPECT_LE(seconds(decoded["duration"]), 2.05) << c.name;
    EXPECT_GE(seconds(decoded["duration"]), c.expectedSeconds - 0.05) << c.name;
  }
}

TEST(WrittenSound, CopiedFromAnotherMovie) {
  const auto folder = scratchFolder("frommovie");
  const auto source = writeMovieWithSound(folder);
  const auto path = addSoundTo(folder, "copy", source, 0.0f);
  auto sound = probe(path, "a:0", "stream=codec_name,sample_rate,channels,duration");
  EXPECT_EQ(sound["codec_name"], "pcm_s16le");
  EXPECT_EQ(sound["channels"], "2");
  EXPECT_NEAR(seconds(sound["duration"]), 1.0, 0.01);
  EXPECT_EQ(decodeErrors(path), "");
}

TEST(WrittenSound, UnreadableSourcesAreReported) {
  const auto folder = scratchFolder("badsound");
  QuickTimeCodecWriter writer;
  ASSERT_EQ(writer.openMovie(folder + "/x.mov", 1), 0);
  EXPECT_EQ(writer.addAudioFromFile(nullptr, 0.0f), 1);
  EXPECT_EQ(writer.addAudioFromFile("", 0.0f), 1);
  testing::internal::CaptureStdout();
  EXPECT_EQ(writer.addAudioFromFile((folder + "/missing.wav").c_str(), 0.0f), 1);
  EXPECT_EQ(testing::internal::GetCapturedStdout().rfind("Couldn't open audio file for reading: ", 0), 0u);
  EXPECT_EQ(writer.closeMovie(false), 0);
}
