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
// Whether the reader converts this codec's frames to floats (the codec engine has its decoder).
bool readerDecodes(const std::string& type);
// Frames between key frames when none are asked for: 1 for intra codecs, the
// codec table's key-frame spacing for those that predict from other frames.
int defaultKeyFrameInterval(const std::string& type, double framesPerSecond);
// Selects `type` (shorter types are padded with spaces); throws UsageError when absent.
void selectCodec(Vantor::QuickTime::QuickTimeCodecWriter& writer, std::string type);

}  // namespace qtmovie
