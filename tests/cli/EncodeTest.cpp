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

namespace {

// ffprobe's packet flags of the first video stream, one letter per frame: K key, _ other.
std::string keyFrames(const std::string& movie) {
  std::string flags = cli::shell(std::string(VQT_FFPROBE) +
                                 " -v error -select_streams v:0 -show_entries packet=flags "
                                 "-of csv=p=0 '" +
                                 movie + "'")
                          .out;
  std::string letters;
  for (std::size_t line = 0; line < flags.size(); line = flags.find('\n', line) + 1) letters += flags[line];
  return letters;
}

}  // namespace

TEST(Encode, ExactRatesReachTheFileAsFfprobeReadsThem) {
  const std::string folder = cli::scratch("rates");
  const std::pair<const char*, const char*> rates[] = {
      {"12.5", "25/2"},        {"23.976", "24000/1001"},     {"29.97", "30000/1001"},
      {"59.94", "60000/1001"}, {"30000/1001", "30000/1001"}, {"25", "25/1"},
      {"50/2", "25/1"}};
  for (const auto& [given, expected] : rates) {
    SCOPED_TRACE(given);
    const std::string movie = folder + "/rate.mov";
    const auto outcome = cli::qtmovie("encode -o '" + movie + "' --pattern 6 --size 32x32 --fps " + given);
    ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_EQ(cli::probe(movie, "v:0", "r_frame_rate"), expected);
    EXPECT_EQ(cli::probe(movie, "v:0", "nb_frames"), "6");
  }
}

TEST(Encode, KeyFramesFollowTheCodecOrTheOption) {
  const std::string movie = cli::scratch("keys") + "/keys.mov";
  auto encode = [&](const std::string& options) {
    const auto outcome = cli::qtmovie("encode -o '" + movie + "' --pattern 12 --size 64x48 --fps 25 " + options);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    return keyFrames(movie);
  };
  EXPECT_EQ(encode("--codec apch"), "KKKKKKKKKKKK");                // intra: every frame
  EXPECT_EQ(encode("--codec avc1"), "K___________");                // long GOP: 2 s is more than the movie
  EXPECT_EQ(encode("--codec avc1 --keyframes 4"), "K___K___K___");  // as asked
}

TEST(Encode, NumberedPatternsAndGlobsWithStartAndFrames) {
  const std::string folder = cli::scratch("sequence");
  const auto frames =
      cli::qtmovie("frames '" + cli::fixture("prores.mov") + "' -o '" + folder + "/src_%04d.png' --range 1:10");
  ASSERT_EQ(frames.exitCode, 0) << frames.err;
  const std::string movie = folder + "/seq.mov";
  auto count = [&](const std::string& inputs) {
    const auto outcome = cli::qtmovie("encode -o '" + movie + "' --codec png " + inputs);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    return cli::probe(movie, "v:0", "nb_frames");
  };
  EXPECT_EQ(count("'" + folder + "/src_%04d.png'"), "10");  // from 1, the first number that exists
  EXPECT_EQ(count("'" + folder + "/src_%04d.png' --start 4 --frames 3"), "3");
  EXPECT_EQ(count("'" + folder + "/src_%04d.png' --start 8"), "3");
  EXPECT_EQ(count("'" + folder + "/src_*.png'"), "10");
  EXPECT_EQ(count("'" + folder + "/src_*.png' --start 2 --frames 100"), "8");
  // --start 4 on a pattern starts at src_0004: the movie's first frame is the source's fourth.
  count("'" + folder + "/src_%04d.png' --start 4 --frames 1");
  ASSERT_EQ(cli::qtmovie("frame '" + movie + "' 1 -o '" + folder + "/back.png'").exitCode, 0);
  auto psnr = [&](const std::string& source) {
    const auto out = cli::shell("ffmpeg -hide_banner -i '" + folder + "/back.png' -i '" + folder + "/" + source +
                                "' -lavfi psnr -f null - 2>&1 | grep -o 'average:[0-9.inf]*'")
                         .out;
    return out.size() > 8 ? std::atof(out.c_str() + 8) : 0.0;
  };
  EXPECT_GT(psnr("src_0004.png"), 80.0);  // the PNG codec keeps 16-bit frames within a few steps
  EXPECT_LT(psnr("src_0003.png"), 50.0);
}

TEST(Encode, SoundFromWavAiffMp3AndAnotherMovie) {
  const std::string folder = cli::scratch("sound-sources");
  for (const std::string source : {"tone.wav", "tone.aiff", "tone.mp3"}) {
    ASSERT_EQ(cli::shell("ffmpeg -v error -y -f lavfi -i sine=frequency=440:sample_rate=44100:duration=1 -ac 2 '" +
                         folder + "/" + source + "'")
                  .exitCode,
              0);
  }
  for (const std::string source :
       {folder + "/tone.wav", folder + "/tone.aiff", folder + "/tone.mp3", cli::fixture("h264-tone.mov")}) {
    SCOPED_TRACE(source);
    const std::string movie = folder + "/with-sound.mov";
    const auto outcome =
        cli::qtmovie("encode -o '" + movie + "' --pattern 25 --size 32x32 --fps 25 --audio '" + source + "'");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_EQ(cli::probe(movie, "a:0", "channels"), "2");
    EXPECT_EQ(cli::probe(movie, "a:0", "duration").substr(0, 3), "1.0");
  }
}

TEST(Encode, InterruptedOrFailedEncodeLeavesNothingBehind) {
  const std::string folder = cli::scratch("interrupted");
  cli::shell("rm -f '" + folder + "'/* '" + folder + "'/.??*");
  // SIGINT once the encode has started writing (its temporary file exists).
  const auto run = cli::shell("'" + std::string(VQT_QTMOVIE) + "' encode -o '" + folder +
                              "/long.mov' --pattern 100000 --size 640x360 & pid=$!; "
                              "until ls -a '" +
                              folder +
                              "' | grep -q partial; do sleep 0.05; done; "
                              "kill -INT $pid; wait $pid; echo $?");
  EXPECT_EQ(run.out, "130\n") << run.err;
  // A failure half way (the second frame is not the first's size) leaves nothing either.
  cli::shell("ffmpeg -v error -y -f lavfi -i color=size=32x32 -frames:v 1 '" + folder + "/a.png'");
  cli::shell("ffmpeg -v error -y -f lavfi -i color=size=48x32 -frames:v 1 '" + folder + "/b.png'");
  const auto failed =
      cli::qtmovie("encode -o '" + folder + "/mixed.mov' '" + folder + "/a.png' '" + folder + "/b.png'");
  EXPECT_EQ(failed.exitCode, 2) << failed.err;
  EXPECT_EQ(cli::shell("ls -a '" + folder + "' | grep -c mov").out, "0\n");
}

TEST(Encode, ExrSequenceInput) {
  const std::string folder = cli::scratch("exr-sequence");
  ASSERT_EQ(
      cli::qtmovie("frames '" + cli::fixture("prores.mov") + "' -o '" + folder + "/src_%02d.exr' --range 1:4").exitCode,
      0);
  const std::string movie = folder + "/exr.mov";
  const auto outcome = cli::qtmovie("encode -o '" + movie + "' --codec png --fps 24 '" + folder + "/src_*.exr'");
  ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
  EXPECT_EQ(cli::probe(movie, "v:0", "nb_frames"), "4");
  ASSERT_EQ(cli::qtmovie("frame '" + movie + "' 3 -o '" + folder + "/back.png'").exitCode, 0);
  // Half floats carry 11 significant bits: the frame comes back within that, not bit for bit.
  const auto out = cli::shell("ffmpeg -hide_banner -i '" + folder + "/back.png' -i '" + folder +
                              "/src_03.exr' -lavfi '[1]format=rgba64le[b];[0][b]psnr' -f null - 2>&1 | "
                              "grep -o 'average:[0-9.inf]*'")
                       .out;
  ASSERT_GT(out.size(), 8u) << out;
  EXPECT_GT(std::atof(out.c_str() + 8), 55.0) << out;
}

TEST(Encode, DataRatesAreMetByLongGopCodecsAndIgnoredByIntraOnes) {
  const std::string folder = cli::scratch("bitrate");
  // Two seconds of the moving pattern; ffprobe's bit rate of the video stream is the judge.
  auto encode = [&](const std::string& codec, const std::string& rate) {
    const std::string movie = folder + "/" + codec + "-" + rate + ".mov";
    const auto outcome = cli::qtmovie("encode -o '" + movie + "' --pattern 50 --size 640x360 --fps 25 --codec " +
                                      codec + (rate.empty() ? "" : " --bitrate " + rate));
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_EQ(cli::probe(movie, "v:0", "nb_frames"), "50");
    EXPECT_EQ(cli::probe(movie, "v:0", "duration"), "2.000000");  // the frames keep their times
    return std::atof(cli::probe(movie, "v:0", "bit_rate").c_str());
  };
  // Rates the pattern can fill at this size: below them a codec's coarsest
  // step already spends more, above them its finest has nothing left to add.
  struct Case {
    const char* codec;
    const char *low, *high;
    double lowRate, highRate;
  };
  for (const Case& c : {Case{"avc1", "200k", "800k", 200e3, 800e3}, Case{"hvc1", "100k", "200k", 100e3, 200e3},
                        Case{"mp4v", "600k", "1M", 600e3, 1e6}}) {
    SCOPED_TRACE(c.codec);
    const double low = encode(c.codec, c.low), high = encode(c.codec, c.high);
    EXPECT_NEAR(low, c.lowRate, c.lowRate * 0.35);
    EXPECT_NEAR(high, c.highRate, c.highRate * 0.35);
    EXPECT_LT(low, high);
  }
  // ProRes has one rate per quality: the option changes nothing.
  EXPECT_EQ(encode("apcn", "150k"), encode("apcn", ""));
  EXPECT_EQ(cli::qtmovie("encode -o '" + folder + "/bad.mov' --pattern 2 --bitrate 8MB").exitCode, 1);
}
