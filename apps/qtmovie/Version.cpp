// The --version text: this library's version and the libavcodec/libavformat
// actually loaded (not the headers built against), since codec support follows them.
extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <string>

#include "Commands.h"

namespace qtmovie {
namespace {

std::string dotted(unsigned version) {
  return std::to_string(version >> 16) + "." + std::to_string((version >> 8) & 0xFF) + "." +
         std::to_string(version & 0xFF);
}

}  // namespace

const char* versionText() {
  static const std::string text = std::string("qtmovie ") + VQT_VERSION + " (vantor_quicktime " + VQT_VERSION +
                                  ")\nlibavcodec " + dotted(avcodec_version()) + "\nlibavformat " +
                                  dotted(avformat_version());
  return text.c_str();
}

}  // namespace qtmovie
