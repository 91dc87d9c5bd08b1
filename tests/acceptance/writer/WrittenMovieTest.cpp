// Movies written through the public writer as ffprobe and ffmpeg see them:
// codec tag, size, frame count and rate, pixel aspect, colour tags, metadata,
// timecode with reel name, and header-first flattening.
#include <vantor/property/Property.h>

#include <filesystem>

#include "WriterHelpers.h"

using namespace WriterAcceptance;
using Vantor::QuickTime::FrameRate;
using Vantor::QuickTime::QuickTimeCodecWriter;

namespace {

struct Written {
  std::string path;
  int encodeResult = -1;
};

Written writeMovie(const std::string& folder, const char* codec, int width, int height, float rate, int frames,
                   bool flatten, bool pixelAspect = true) {
  QuickTimeCodecWriter writer;
  Written written{folder + "/" + std::string(codec, 4) + ".mov"};
  for (char& c : written.path)
    if (c == ' ') c = '_';
  EXPECT_TRUE(selectCodec(writer, codec)) << codec;
  writer.setCompressionSettings(width, height, rate, 1, 3, false, "");
  writer.setWritePixelAspect(pixelAspect);
  EXPECT_EQ(writer.openMovie(written.path, 1), 0);
  written.encodeResult = encodeTestFrames(writer, width, height, frames);
  writer.finishVideo();
  EXPECT_EQ(writer.closeMovie(flatten), 0);
  return written;
}

}  // namespace

TEST(WrittenMovie, ProResHqAsFfprobeReadsIt) {
  const auto folder = scratchFolder("prores");
  const Written movie = writeMovie(folder, "apch", 320, 180, 29.97f, 12, true);
  ASSERT_EQ(movie.encodeResult, 0);
  auto video = probe(movie.path, "v:0",
                     "stream=codec_tag_string,width,height,nb_frames,r_frame_rate,sample_aspect_ratio,color_space,"
                     "color_primaries,color_transfer");
  EXPECT_EQ(video["codec_tag_string"], "apch");
  EXPECT_EQ(video["width"], "320");
  EXPECT_EQ(video["height"], "180");
  EXPECT_EQ(video["nb_frames"], "12");
  EXPECT_EQ(video["r_frame_rate"], "30000/1001");
  EXPECT_EQ(video["sample_aspect_ratio"], "1:1");
  // The 'colr' names the matrix the frames were made with: BT.601 at this size.
  EXPECT_TRUE(fileContains(movie.path, std::string("colrnclc\0\x06\0\x01\0\x06", 14)));
  EXPECT_EQ(video["color_space"], "smpte170m");
  EXPECT_EQ(decodeErrors(movie.path), "");
}

TEST(WrittenMovie, FlattenPutsTheHeaderFirstAndLeavesNoTemporaryFile) {
  const auto folder = scratchFolder("flatten");
  const Written flat = writeMovie(folder, "apcn", 64, 64, 25.0f, 3, true);
  const auto atoms = topLevelAtoms(flat.path);
  const auto moov = std::find(atoms.begin(), atoms.end(), "moov");
  const auto mdat = std::find(atoms.begin(), atoms.end(), "mdat");
  ASSERT_NE(moov, atoms.end());
  ASSERT_NE(mdat, atoms.end());
  EXPECT_LT(moov, mdat);
  EXPECT_FALSE(std::filesystem::exists(flat.path + ".tmp"));
  EXPECT_EQ(probe(flat.path, "v:0", "stream=nb_frames")["nb_frames"], "3");

  const auto plainFolder = scratchFolder("unflattened");
  const Written plain = writeMovie(plainFolder, "apcn", 64, 64, 25.0f, 3, false);
  EXPECT_EQ(probe(plain.path, "v:0", "stream=nb_frames")["nb_frames"], "3");
  EXPECT_EQ(decodeErrors(plain.path), "");
}

TEST(WrittenMovie, PixelAspectCanBeLeftOut) {
  const auto folder = scratchFolder("nopasp");
  const Written movie = writeMovie(folder, "apcn", 64, 64, 24.0f, 2, true, false);
  EXPECT_FALSE(fileContains(movie.path, "pasp"));
  const Written with = writeMovie(scratchFolder("pasp"), "apcn", 64, 64, 24.0f, 2, true, true);
  EXPECT_TRUE(fileContains(with.path, "pasp"));
}

// Every codec the catalogue offers and a compressor accepts writes a movie
// that ffprobe names with its tag and ffmpeg decodes without an error.
TEST(WrittenMovie, EveryWritableCodec) {
  const auto folder = scratchFolder("codecs");
  QuickTimeCodecWriter catalogue;
  const char** names = catalogue.getCodecNames();
  ASSERT_NE(names, nullptr);
  int written = 0;
  for (int i = 0; names[i] != nullptr; ++i) {
    const std::string type(names[i], 4);
    QuickTimeCodecWriter writer;
    writer.setCodecIndex(i);
    writer.setCompressionSettings(64, 48, 25.0f, 1, 2, true, "");
    std::string path = folder + "/" + std::to_string(i) + ".mov";
    ASSERT_EQ(writer.openMovie(path, 1), 0) << type;
    const int result = encodeTestFrames(writer, 64, 48, 3);
    writer.finishVideo();
    EXPECT_EQ(writer.closeMovie(true), 0) << type;
    if (result == 7) continue;  // no compressor for this type: decode-only
    ASSERT_EQ(result, 0) << type;
    ++written;
    auto video = probe(path, "v:0", "stream=codec_tag_string,width,height,nb_frames");
    EXPECT_EQ(video["codec_tag_string"], type) << names[i];
    EXPECT_EQ(video["width"], "64") << type;
    EXPECT_EQ(video["nb_frames"], "3") << type;
    EXPECT_EQ(decodeErrors(path), "") << type;
  }
  EXPECT_GE(written, 3);
}

TEST(WrittenMovie, MetadataAndTimecodeWithReel) {
  const auto folder = scratchFolder("metadata");
  const std::string path = folder + "/tagged.mov";
  QuickTimeCodecWriter writer;
  ASSERT_TRUE(selectCodec(writer, "apcn"));
  writer.setCompressionSettings(64, 64, 25.0f, 1, 2, false, "");
  EXPECT_EQ(writer.setMetadata({}), 2);  // no movie yet
  ASSERT_EQ(writer.openMovie(path, 1), 0);
  ASSERT_EQ(encodeTestFrames(writer, 64, 64, 5), 0);
  writer.finishVideo();

  Vantor::Property::String title("com.vantor.title", 1);
  title.setValue("first", 0);
  Vantor::Property::Int frames("frames", 2);
  frames.setValue(3, 0);
  frames.setValue(4, 1);
  EXPECT_EQ(writer.setMetadata({&title, &frames}), 0);
  Vantor::Property::String retitled("com.vantor.title", 1);
  retitled.setValue("second", 0);
  EXPECT_EQ(writer.setMetadata({&retitled}), 0);
  EXPECT_FALSE(writer.addTimecodeTrack(FrameRate(25.0f), 90000 + 25 * 61 + 3, 0, "REEL01"));
  EXPECT_EQ(writer.closeMovie(true), 0);

  auto tags = probe(path, "", "format_tags");
  EXPECT_EQ(tags["TAG:com.vantor.title"], "second");
  EXPECT_EQ(tags["TAG:frames"], "3,4");
  auto timecode = probe(path, "d:0", "stream=codec_tag_string:stream_tags=timecode,reel_name");
  EXPECT_EQ(timecode["codec_tag_string"], "tmcd");
  EXPECT_EQ(timecode["TAG:timecode"], "01:01:01:03");
  EXPECT_EQ(timecode["TAG:reel_name"], "REEL01");
  EXPECT_EQ(decodeErrors(path), "");
}
