// `qtmovie info --json` on movies from the ffmpeg CLI: ffprobe's layout with
// ffprobe's own values for the same file, the reader's values under
// "qtmovie", and valid JSON whatever bytes the file's text holds. `atoms` on
// plain and fragmented files.
#include <gtest/gtest.h>
#include <vantor/quicktime/QuickTimeCodecReader.h>

#include <map>

#include "CliRun.h"

using Vantor::QuickTime::QuickTimeCodecReader;

namespace {

std::string info(const std::string& name) {
  const auto outcome = cli::qtmovie("info '" + cli::fixture(name) + "' --json");
  EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
  return outcome.out;
}

}  // namespace

TEST(InfoJson, StreamsAndFormatMatchFfprobeForTheSameFile) {
  for (const char* name : {"h264-tone.mov", "prores.mov", "sound-userdata.mov"}) {
    SCOPED_TRACE(name);
    const std::string ours = info(name), theirs = cli::probeJson(cli::fixture(name));
    EXPECT_EQ(cli::jsonQuery(ours, "sorted(d.keys())"), R"(["format", "qtmovie", "streams"])");
    // ffprobe lists the same streams in the same order (video, sound, timecode data).
    EXPECT_EQ(cli::jsonQuery(ours, "[s['codec_type'] for s in d['streams']]"),
              cli::jsonQuery(theirs, "[s['codec_type'] for s in d['streams']]"));
    for (const char* key : {"codec_name", "codec_tag_string", "width", "height", "r_frame_rate", "sample_rate",
                            "channels", "time_base", "duration_ts", "nb_frames"}) {
      const std::string expression = std::string("[s.get('") + key + "') for s in d['streams']]";
      EXPECT_EQ(cli::jsonQuery(ours, expression), cli::jsonQuery(theirs, expression)) << key;
    }
    for (const char* key : {"nb_streams", "duration", "size"})
      EXPECT_EQ(cli::jsonQuery(ours, std::string("d['format']['") + key + "']"),
                cli::jsonQuery(theirs, std::string("d['format']['") + key + "']"))
          << key;
  }
}

TEST(InfoJson, ReaderFieldsAreKeptUnderQtmovie) {
  const std::string path = cli::fixture("h264-tone.mov");
  const std::string json = info("h264-tone.mov");
  QuickTimeCodecReader reader;
  ASSERT_EQ(reader.open(path, 3), 0);
  int width = 0, height = 0, channels = 0, timeScale = 0, frameDuration = 0, timecode = 0;
  float aspect = 0;
  reader.getVideoInfo(&width, &height, &channels, &aspect, &timeScale, &frameDuration, &timecode);
  EXPECT_EQ(cli::jsonQuery(json, "d['qtmovie']['width']"), std::to_string(width));
  EXPECT_EQ(cli::jsonQuery(json, "d['qtmovie']['frames']"), std::to_string(reader.getFrameCount()));
  EXPECT_EQ(cli::jsonQuery(json, "d['qtmovie']['time_scale']"), std::to_string(timeScale));
  EXPECT_EQ(cli::jsonQuery(json, "d['qtmovie']['frame_duration']"), std::to_string(frameDuration));
  EXPECT_EQ(cli::jsonQuery(json, "d['qtmovie']['start_timecode_frame']"), "250");  // 00:00:10:00 at 25
  EXPECT_EQ(cli::jsonQuery(json, "d['qtmovie']['audio_samples']"), "96000");       // 1 s of 48 kHz stereo
  std::map<std::string, std::string> description;
  reader.getStreamDescription(description);
  for (const auto& [key, value] : description) {
    EXPECT_EQ(cli::jsonQuery(json, "d['qtmovie']['description']['" + key + "']"), value) << key;
    EXPECT_EQ(cli::jsonQuery(json, "d['streams'][0]['qtmovie']['" + key + "']"), value) << key;
  }
  EXPECT_EQ(cli::jsonQuery(json, "d['streams'][0]['tags']['timecode']"), "00:00:10:00");
  // The title holds quotes: escaped in the JSON, the same text once parsed.
  EXPECT_EQ(cli::jsonQuery(json, "[m['value'] for m in d['qtmovie']['metadata'] if m['key']=='title'][0]"),
            "Line \"one\"");
}

TEST(InfoJson, SoundOnlyMovieShowsOnlyItsSoundAndNoTimecode) {
  const std::string json = info("sound-userdata.mov");
  EXPECT_EQ(cli::jsonQuery(json, "[s['codec_type'] for s in d['streams']]"), R"(["audio"])");
  EXPECT_EQ(cli::jsonQuery(json, "'width' in d['streams'][0]"), "false");
  EXPECT_EQ(cli::jsonQuery(json, "d['qtmovie']['description']"), "{}");
  EXPECT_EQ(cli::jsonQuery(json, "'start_timecode_frame' in d['qtmovie']"), "false");
  const auto text = cli::qtmovie("info '" + cli::fixture("sound-userdata.mov") + "'").out;
  EXPECT_EQ(text.find("timecode"), std::string::npos) << text;
  EXPECT_NE(text.find("video:     none"), std::string::npos) << text;
}

TEST(InfoJson, BytesThatAreNotUtf8StillGiveValidJson) {
  // User data text: 0xE9 and 0xFF as Latin-1, 0x80 as the control it is; tags named as ffprobe names them.
  const std::string userData = info("sound-userdata.mov");
  EXPECT_EQ(cli::jsonQuery(userData, "d['format']['tags']['title']"), "Caf\u00e9 \u0080\u00ff");
  EXPECT_EQ(cli::jsonQuery(userData, "d['format']['tags']['date']"), "1999");
  EXPECT_EQ(cli::jsonQuery(userData, "d['qtmovie']['user_data']['\u00a9nam']"), "Caf\u00e9 \u0080\u00ff");
  // Metadata keys and values reach the tool through the library, which hands
  // out valid UTF-8: valid sequences (the emoji) kept, each stray byte U+FFFD.
  const std::string metadata = info("sound-hostile.mov");
  EXPECT_EQ(cli::jsonQuery(metadata, "d['format']['tags']['k\ufffdy\ufffd']"), "v\ufffd(al\U0001F600");
  EXPECT_EQ(cli::jsonQuery(metadata, "len(d['qtmovie']['metadata'])"), "4");
}

TEST(Atoms, PlainAndFragmentedFilesShowTheEnginesParse) {
  const std::string plain = cli::qtmovie("atoms '" + cli::fixture("h264-tone.mov") + "' --json").out;
  EXPECT_EQ(cli::jsonQuery(plain, "[a['type'] for a in d['atoms'] if a['type'] in ('moov','mdat')]"),
            R"(["mdat", "moov"])");
  // Top-level atoms tile the file.
  EXPECT_EQ(cli::jsonQuery(plain, "all(a['offset']+a['size']==b['offset'] for a,b in zip(d['atoms'],d['atoms'][1:]))"),
            "true");
  // The child offsets point at the atoms they describe.
  const auto moov = cli::jsonQuery(plain, "[a for a in d['atoms'] if a['type']=='moov'][0]['children'][0]['offset']");
  const auto bytes = cli::shell("dd if='" + cli::fixture("h264-tone.mov") + "' bs=1 skip=" + moov +
                                " count=8 2>/dev/null | tail -c 4");
  EXPECT_EQ(bytes.out, "mvhd");

  const auto fragmented = cli::qtmovie("atoms '" + cli::fixture("fragmented.mov") + "' --json --depth 2");
  ASSERT_EQ(fragmented.exitCode, 0) << fragmented.err;
  EXPECT_EQ(cli::jsonQuery(fragmented.out, "sorted(set(a['type'] for a in d['atoms']))"),
            R"(["ftyp", "mdat", "mfra", "moof", "moov"])");
  EXPECT_EQ(cli::jsonQuery(fragmented.out, "[c['type'] for c in d['atoms'][2]['children']]"), R"(["mfhd", "traf"])");
  EXPECT_EQ(cli::jsonQuery(fragmented.out, "d['atoms'][2]['children'][1]['children']"), "[]");  // below --depth 2

  const auto text = cli::qtmovie("atoms '" + cli::fixture("prores.mov") + "'");
  ASSERT_EQ(text.exitCode, 0) << text.err;
  // The sample description is parsed: its entry names the codec.
  const auto stsd = text.out.find("      stsd size ");
  ASSERT_NE(stsd, std::string::npos) << text.out;
  EXPECT_EQ(text.out.find("[apch]", stsd), text.out.find('[', stsd)) << text.out;
}

TEST(Atoms, DamagedFilesGiveAnAnswerNotACrash) {
  const std::string folder = cli::scratch("damaged"), source = cli::fixture("h264-tone.mov");
  // Cut inside the movie atom, an atom claiming more than the file, a huge 64-bit size, noise.
  cli::shell("size=$(stat -c %s '" + source + "'); head -c $((size - 300)) '" + source + "' > '" + folder +
             "/cut.mov'");
  cli::shell("printf '\\000\\000\\377\\377moov\\000\\000\\000\\010mvhd' > '" + folder + "/too-big.mov'");
  cli::shell("printf '\\000\\000\\000\\001moov\\377\\377\\377\\377\\377\\377\\377\\377' > '" + folder + "/huge.mov'");
  cli::shell("head -c 4096 /dev/urandom > '" + folder + "/noise.mov'");
  for (const char* name : {"cut.mov", "too-big.mov", "huge.mov", "noise.mov"}) {
    SCOPED_TRACE(name);
    const auto outcome = cli::qtmovie("atoms '" + folder + "/" + name + "' --json");
    ASSERT_TRUE(outcome.exitCode == 0 || outcome.exitCode == 2) << outcome.exitCode << outcome.err;
    if (outcome.exitCode == 0) EXPECT_EQ(cli::jsonQuery(outcome.out, "type(d['atoms']).__name__"), "list");
    const auto info = cli::qtmovie("info '" + folder + "/" + name + "'");
    EXPECT_EQ(info.exitCode, 2) << info.err;
  }
  // The cut file still shows the atoms before the damage and says what is wrong with the movie atom.
  const auto cut = cli::qtmovie("atoms '" + folder + "/cut.mov'");
  EXPECT_NE(cut.out.find("mdat size"), std::string::npos) << cut.out;
  EXPECT_NE(cut.out.find("error: "), std::string::npos) << cut.out;
}
