// The writer's codec catalogue as (type, name) pairs, the reader's decoding
// ability per type, and choosing a codec by its four-character type.
#pragma once

#include <vantor/quicktime/QuickTimeCodecWriter.h>

#include <string>
#include <vector>

namespace qtmovie {

struct CodecEntry {
  std::string type;  // four characters, e.g. "apch", "raw "
  std::string name;
};

std::vector<CodecEntry> codecCatalogue(const Vantor::QuickTime::QuickTimeCodecWriter& writer);
// Whether the reader converts this codec's frames to floats.
bool readerDecodes(const std::string& type);
// Whether the codec predicts frames from others (so a key frame every frame wastes space).
bool usesLongGop(const std::string& type);
// Selects `type` (shorter types are padded with spaces); throws UsageError when absent.
void selectCodec(Vantor::QuickTime::QuickTimeCodecWriter& writer, std::string type);

}  // namespace qtmovie
