// The settings tool: a host starts it as a child process, writes one line with
// the current compression settings, and reads back one line with the settings
// the user chose in the standard compression dialog.
//
//   in:  width height frameRate keyFrameRate qualityIndex codecIndex [settingsText]
//   out: frameRate keyFrameRate qualityIndex codecIndex settingsText
#include <Carbon/Processes.h>
#include <vqt/binding/CompressionDialogs.h>
#include <vantor/quicktime/QuickTimeCodecWriter.h>

#include "SettingsRequest.h"

#include <iostream>
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

}  // namespace

int main() {
  flushDenormalsToZero();

  ProcessSerialNumber self{0, kCurrentProcess};
  TransformProcessType(&self, kProcessTransformToForegroundApplication);
  SetFrontProcess(&self);
  VqtInstallCompressionDialogs();

  std::string line;
  std::getline(std::cin, line);

  const Vantor::QuickTime::SettingsRequest request = Vantor::QuickTime::parseSettingsRequest(line);

  Vantor::QuickTime::QuickTimeCodecWriterInterface* writer = nullptr;
  try {
    writer = new Vantor::QuickTime::QuickTimeCodecWriter();
  } catch (const std::runtime_error& error) {
    // No output line: the host treats a run without one as a failure.
    std::cerr << "qtsettings: " << error.what() << std::endl;
    return 1;
  }

  writer->setCodecIndex(request.codecIndex);
  writer->setCompressionSettings(request.width, request.height, request.frameRate, request.keyFrameRate,
                                 request.qualityIndex, false, request.settings);
  const std::string result = writer->requestCompressionSettings(request.settings);

  std::cout << writer->getFrameRate() << " " << writer->getKeyFrameRate() << " " << writer->getQualityIndex() << " "
            << writer->getCodecIndex() << " " << result << std::endl;

  delete writer;
  return 0;
}
