// `qtmovie info --json` on movies from the ffmpeg CLI: exactly the documented
// keys, the reader's own values, and what ffprobe sees in the same file.
#include <gtest/gtest.h>
#include <vantor/quicktime/QuickTimeCodecReader.h>

#include <map>

#include "CliRun.h"

using Vantor::QuickTime::QuickTimeCodecReader;

TEST(InfoJson, HasExactlyTheDocumentedKeys) {
  const auto outcome = cli::qtmovie("info '" + cli::fixture("h264-tone.mov") + "' --json");
  ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
  EXPECT_EQ(cli::topLevelKeys(outcome.out),
            "width,height,frames,time_scale,frame_duration,pixel_aspect,start_timecode_frame,has_video,has_audio,"
            "audio_channels,audio_sample_rate,audio_samples,description,metadata");
}

TEST(InfoJson, AgreesWithTheReaderAndWithFfprobe) {
  for (const char* name : {"h264-tone.mov", "prores.mov"}) {
    SCOPED_TRACE(name);
    const std::string path = cli::fixture(name);
    const auto outcome = cli::qtmovie("info '" + path + "' --json");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
    const std::string& json = outcome.out;

    QuickTimeCodecReader reader;
    ASSERT_EQ(reader.open(path, 3), 0);
    int width = 0, height = 0, channels = 0, timeScale = 0, frameDuration = 0, timecode = 0;
    float aspect = 0;
    reader.getVideoInfo(&width, &height, &channels, &aspect, &timeScale, &frameDuration, &timecode);
    EXPECT_EQ(cli::jsonValue(json, "width"), std::to_string(width));
    EXPECT_EQ(cli::jsonValue(json, "height"), std::to_string(height));
    EXPECT_EQ(cli::jsonValue(json, "frames"), std::to_string(reader.getFrameCount()));
    EXPECT_EQ(cli::jsonValue(json, "time_scale"), std::to_string(timeScale));
    EXPECT_EQ(cli::jsonValue(json, "frame_duration"), std::to_string(frameDuration));
    EXPECT_EQ(cli::jsonValue(json, "start_timecode_frame"), std::to_string(timecode));
    EXPECT_EQ(cli::jsonValue(json, "has_audio"), reader.hasAudio() ? "true" : "false");
    EXPECT_EQ(cli::jsonValue(json, "audio_samples"),
              std::to_string(reader.hasAudio() ? reader.getAudioSampleCount() : 0));
    std::map<std::string, std::string> description;
    reader.getStreamDescription(description);
    for (const auto& [key, value] : description) EXPECT_EQ(cli::jsonValue(json, key), value) << key;

    EXPECT_EQ(cli::jsonValue(json, "width"), cli::probe(path, "v:0", "width"));
    EXPECT_EQ(cli::jsonValue(json, "height"), cli::probe(path, "v:0", "height"));
    EXPECT_EQ(cli::jsonValue(json, "frames"), cli::probe(path, "v:0", "nb_frames"));
  }
}

TEST(InfoJson, SoundTimecodeReelAndMetadataOfAnFfmpegMovie) {
  const std::string path = cli::fixture("h264-tone.mov");
  const auto json = cli::qtmovie("info '" + path + "' --json").out;
  EXPECT_EQ(cli::jsonValue(json, "audio_channels"), cli::probe(path, "a:0", "channels"));
  EXPECT_EQ(cli::jsonValue(json, "audio_sample_rate"), cli::probe(path, "a:0", "sample_rate"));
  EXPECT_EQ(cli::jsonValue(json, "audio_samples"), "96000");       // 1 s of 48 kHz stereo, counted over channels
  EXPECT_EQ(cli::jsonValue(json, "start_timecode_frame"), "250");  // 00:00:10:00 at 25
  EXPECT_EQ(cli::jsonValue(json, "reel"), "Tape_7");
  // The title holds quotes: the JSON must escape them and still parse into the same text.
  EXPECT_NE(json.find(R"({"key":"title","type":"string","value":"Line \"one\""})"), std::string::npos) << json;
}

TEST(InfoText, NamesTheSizeAndTheSound) {
  const auto outcome = cli::qtmovie("info '" + cli::fixture("h264-tone.mov") + "'");
  ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
  EXPECT_NE(outcome.out.find("160x120, 25 frames"), std::string::npos) << outcome.out;
  EXPECT_NE(outcome.out.find("2 channels at 48000 Hz"), std::string::npos) << outcome.out;
}
