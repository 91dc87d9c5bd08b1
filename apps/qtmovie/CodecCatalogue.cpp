#include "CodecCatalogue.h"

#include <cmath>
#include <cstdint>

#include "Errors.h"
#include "vqt/codecs/CodecTable.h"

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

namespace {

const vqt::codecs::CodecEntry* engineEntry(const std::string& type) {
  if (type.size() != 4) return nullptr;
  const auto byte = [&type](int i) { return static_cast<std::uint32_t>(static_cast<unsigned char>(type[i])); };
  return vqt::codecs::findCodec(byte(0) << 24 | byte(1) << 16 | byte(2) << 8 | byte(3));
}

}  // namespace

bool readerDecodes(const std::string& type) {
  const vqt::codecs::CodecEntry* entry = engineEntry(type);
  return entry != nullptr && vqt::codecs::canRead(*entry);
}

int defaultKeyFrameInterval(const std::string& type, double framesPerSecond) {
  const vqt::codecs::CodecEntry* entry = engineEntry(type);
  if (entry == nullptr || entry->keyFrameSeconds <= 0) return 1;
  return static_cast<int>(std::lround(entry->keyFrameSeconds * framesPerSecond));
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
