// The settings tool: a host starts it as a child process, writes one line with
// the current compression settings, and reads back one line with the settings
// the user chose in the standard compression dialog.
//
//   in:  width height frameRate keyFrameRate qualityIndex codecIndex [settingsText]
//   out: frameRate keyFrameRate qualityIndex codecIndex settingsText
#include <Carbon/Processes.h>
#include <vqt/binding/CompressionDialogs.h>
#include <vantor/quicktime/QuickTimeCodecWriter.h>

#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>

#if defined(__x86_64__) || defined(__i386__)
#include <xmmintrin.h>
#endif


namespace {

// Flush denormal results to zero (MXCSR bit 15) for everything that follows,
// the writer's codec and pixel work included; denormals-are-zero stays off.
void flushDenormalsToZero() {
#if defined(__x86_64__) || defined(__i386__)
  _mm_setcsr(_mm_getcsr() | 0x8000);
#endif
}

// Reads one field into `value` only when it can be read: a field that cannot
// be read, and every field after it, keep the value they had.
template <typename T>
void extract(std::istream& in, T& value) {
  T read{};
  if (in >> read) value = read;
}

}  // namespace

int main() {
  flushDenormalsToZero();

  ProcessSerialNumber self{0, kCurrentProcess};
  TransformProcessType(&self, kProcessTransformToForegroundApplication);
  SetFrontProcess(&self);
  VqtInstallCompressionDialogs();

  std::string line;
  std::getline(std::cin, line);

  // A short or empty line leaves the missing fields at these values: the
  // writer's own frame size and rate, and -1 for key frame rate, quality and
  // codec index, which keep the writer's key frame rate, quality and codec.
  int width = 512;
  int height = 256;
  float frameRate = 24.0f;
  int keyFrameRate = -1;
  int qualityIndex = -1;
  int codecIndex = -1;
  std::string settings;
  std::stringstream fields(line, std::ios::in | std::ios::out);
  extract(fields, width);
  extract(fields, height);
  extract(fields, frameRate);
  extract(fields, keyFrameRate);
  extract(fields, qualityIndex);
  extract(fields, codecIndex);
  extract(fields, settings);

  Vantor::QuickTime::QuickTimeCodecWriterInterface* writer = nullptr;
  try {
    writer = new Vantor::QuickTime::QuickTimeCodecWriter();
  } catch (const std::runtime_error& error) {
    // No output line: the host treats a run without one as a failure.
    std::cerr << "qtsettings: " << error.what() << std::endl;
    return 1;
  }

  writer->setCodecIndex(codecIndex);
  writer->setCompressionSettings(width, height, frameRate, keyFrameRate, qualityIndex, false, settings);
  const std::string result = writer->requestCompressionSettings(settings);

  std::cout << writer->getFrameRate() << " " << writer->getKeyFrameRate() << " " << writer->getQualityIndex() << " "
            << writer->getCodecIndex() << " " << result << std::endl;

  delete writer;
  return 0;
}
