#include "CodecCatalogue.h"

#include <set>

#include "Errors.h"

namespace qtmovie {

std::vector<CodecEntry> codecCatalogue(const Vantor::QuickTime::QuickTimeCodecWriter& writer) {
  std::vector<CodecEntry> entries;
  const char** names = writer.getCodecNames();
  for (int i = 0; names != nullptr && names[i] != nullptr; ++i) {
    const std::string text = names[i];  // "type<TAB>name"
    const auto tab = text.find('\t');
    entries.push_back({text.substr(0, tab), tab == std::string::npos ? "" : text.substr(tab + 1)});
  }
  return entries;
}

bool readerDecodes(const std::string& type) {
  // Checked by writing two frames of each catalogue codec and decoding them with the reader;
  // the library offers no query for its decompressors.
  static const std::set<std::string> kDecoded = {"avc1", "jpeg", "apch", "apcn", "apcs", "apco",
                                                 "ap4h", "ap4x", "v210", "AVdn", "rle ", "raw ",
                                                 "png ", "mp4v", "2vuy", "dvc ", "dvcp", "hvc1"};
  return kDecoded.count(type) != 0;
}

bool usesLongGop(const std::string& type) {
  // Codecs that predict from other frames; every other catalogue codec codes each frame alone.
  static const std::set<std::string> kPredictive = {"avc1", "hvc1", "mp4v", "h263"};
  return kPredictive.count(type) != 0;
}

void selectCodec(Vantor::QuickTime::QuickTimeCodecWriter& writer, std::string type) {
  if (type.size() < 4) type.resize(4, ' ');
  const auto entries = codecCatalogue(writer);
  for (std::size_t i = 0; i < entries.size(); ++i)
    if (entries[i].type == type) {
      writer.setCodecIndex(static_cast<int>(i));
      return;
    }
  throw UsageError("no codec of type '" + type + "' (see 'qtmovie codecs')");
}

}  // namespace qtmovie
