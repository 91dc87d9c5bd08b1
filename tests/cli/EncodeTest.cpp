// Movies written by `qtmovie encode`, read back by qtmovie and ffprobe: the
// pattern with sound, timecode, reel and metadata, and a PNG sequence.
#include <gtest/gtest.h>
#include <vantor/quicktime/QuickTimeCodecReader.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "CliRun.h"

TEST(Encode, PatternWithToneTimecodeReelAndMetadata) {
  const std::string movie = cli::scratch("encode") + "/pattern.mov";
  const auto outcome = cli::qtmovie("encode -o '" + movie +
                                    "' --pattern 6 --size 96x64 --tone --fps 24 --timecode 01:00:00:00 --reel R2 "
                                    "--meta title=Pattern --meta note='two words' --flatten");
  ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
  EXPECT_EQ(outcome.err, "");  // no progress bar when stderr is not a terminal
  const auto json = cli::qtmovie("info '" + movie + "' --json").out;
  EXPECT_EQ(cli::jsonValue(json, "width"), "96");
  EXPECT_EQ(cli::jsonValue(json, "frames"), "6");
  EXPECT_EQ(cli::jsonValue(json, "start_timecode_frame"), "86400");
  EXPECT_EQ(cli::jsonValue(json, "reel"), "R2");
  EXPECT_EQ(cli::jsonValue(json, "codec_id"), "apch");
  EXPECT_EQ(cli::jsonValue(json, "audio_channels"), "2");
  EXPECT_NE(json.find(R"({"key":"note","type":"string","value":"two words"})"), std::string::npos) << json;
  EXPECT_EQ(cli::probe(movie, "v:0", "codec_tag_string"), "apch");
  EXPECT_EQ(cli::probe(movie, "a:0", "sample_rate"), "48000");
  // Flattened: the movie header comes before the media data.
  const auto order = cli::shell("grep -boa -e moov -e mdat '" + movie + "' | head -1");
  EXPECT_NE(order.out.find("moov"), std::string::npos) << order.out;
}

TEST(Encode, PngSequenceComesBackAsWritten) {
  const std::string folder = cli::scratch("sequence"), source = cli::fixture("prores.mov");
  std::string inputs;
  for (int f = 1; f <= 3; ++f) {
    const std::string png = folder + "/in" + std::to_string(f) + ".png";
    ASSERT_EQ(cli::qtmovie("frame '" + source + "' " + std::to_string(f * 4) + " -o '" + png + "'").exitCode, 0);
    inputs += " '" + png + "'";
  }
  const std::string movie = folder + "/sequence.mov";
  const auto outcome = cli::qtmovie("encode -o '" + movie + "' --codec png --fps 25" + inputs);
  ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
  EXPECT_EQ(cli::probe(movie, "v:0", "codec_name"), "png");
  // 16-bit PNG in, 16-bit PNG codec through: frame 2 of the movie is frame 8 of the source.
  const std::string original = folder + "/original.f32";
  ASSERT_EQ(cli::qtmovie("frame '" + source + "' 8 -o '" + original + "'").exitCode, 0);
  Vantor::QuickTime::QuickTimeCodecReader reader;
  ASSERT_EQ(reader.open(movie, 1), 0);
  std::vector<float> decoded(128 * 96 * 4);
  ASSERT_EQ(reader.decodeFrame(2, decoded.data()), 0);
  std::vector<float> expected(decoded.size());
  FILE* file = std::fopen(original.c_str(), "rb");
  ASSERT_NE(file, nullptr);
  ASSERT_EQ(std::fread(expected.data(), sizeof(float), expected.size(), file), expected.size());
  std::fclose(file);
  double worst = 0;
  for (std::size_t i = 0; i < expected.size(); ++i)
    worst = std::max(worst, std::fabs(double(decoded[i]) - std::clamp(expected[i], 0.0f, 1.0f)));
  EXPECT_LE(worst, 3.0 / 65535);
}
