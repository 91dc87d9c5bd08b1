// Writing a movie: 24 frames of a grey ramp in ProRes 422 HQ at 24 fps with a
// timecode track, flattened so the header comes first.
#include <vantor/quicktime/QuickTimeCodecWriter.h>

#include <cstdio>
#include <cstring>
#include <vector>

int main(int argc, char** argv) {
  if (argc != 2) return std::fprintf(stderr, "usage: write_movie OUT.mov\n"), 2;
  const int width = 320, height = 180;
  Vantor::QuickTime::QuickTimeCodecWriter writer;
  const char** codecs = writer.getCodecNames();  // "type<TAB>name", e.g. "apch\tProRes 422 HQ"
  for (int i = 0; codecs != nullptr && codecs[i] != nullptr; ++i)
    if (std::strncmp(codecs[i], "apch", 4) == 0) writer.setCodecIndex(i);
  writer.setCompressionSettings(width, height, 24.0f, 1, 4, false, "");
  if (writer.openMovie(argv[1], 1) != 0) return std::fprintf(stderr, "cannot create %s\n", argv[1]), 1;

  std::vector<float> bgra(static_cast<size_t>(width) * height * 4);  // host pixels: B, G, R, A floats
  for (int frame = 0; frame < 24; ++frame) {
    for (size_t p = 0; p < bgra.size(); p += 4) {
      const float level = static_cast<float>((p / 4) % width + frame * 4) / (width + 96);
      bgra[p] = bgra[p + 1] = bgra[p + 2] = level;
      bgra[p + 3] = 1.0f;
    }
    if (writer.encodeFrame(frame, bgra.data(), false) != 0) return std::fprintf(stderr, "frame %d failed\n", frame), 1;
  }
  writer.finishVideo();
  writer.addTimecodeTrack(Vantor::QuickTime::FrameRate(24.0f), 86400, 0, "EXAMPLE");  // 01:00:00:00
  return writer.closeMovie(true) == 0 ? 0 : 1;
}
