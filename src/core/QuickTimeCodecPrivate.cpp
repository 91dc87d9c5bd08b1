#include "QuickTimeCodecPrivate.h"
#include "Diagnostics.h"

#include <vantor/quicktime/FrameRate.h>

#include <strings.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <stdexcept>

namespace Vantor::QuickTime {

namespace {

// The type name as C text: the characters after the Pascal length byte, bounded
// by that length (at most 31, the field's room) and by the first zero byte.
std::string typeNameOf(const CodecNameSpec& entry) {
  const size_t length = std::min<size_t>(entry.typeName[0], sizeof entry.typeName - 1);
  const char* begin = reinterpret_cast<const char*>(entry.typeName + 1);
  return std::string(begin, strnlen(begin, length));
}

int compareTypeNames(const void* a, const void* b) {
  return strcasecmp(typeNameOf(*static_cast<const CodecNameSpec*>(a)).c_str(),
                    typeNameOf(*static_cast<const CodecNameSpec*>(b)).c_str());
}

std::string fourCharacters(CodecType type) { return {char(type >> 24), char(type >> 16), char(type >> 8), char(type)}; }

}  // namespace

QuickTimeCodecPrivate::QuickTimeCodecPrivate() {
  const FrameRate defaultRate(24.0f);
  timeScale = defaultRate.timeScale();
  frameDuration = defaultRate.frameDuration();

  if (EnterMovies() != noErr) throw std::runtime_error("QuickTime could not be initialised");

  port = CreateNewPort();
  SetPort(port);

  if (GetCodecNameList(&codecNameList, 1) != noErr) {
    diagnosticError(LogLevel::kError, "QuicktimeCodec: Failed to retrieve codec list\n");
    codecNameList = nullptr;
    return;
  }
  const int count = codecNameList ? std::max<int>(codecNameList->count, 0) : 0;
  if (count > 0) std::qsort(codecNameList->list, count, sizeof(CodecNameSpec), compareTypeNames);

  codecNames.reserve(count + 1);
  for (int i = 0; i < count; ++i) {
    const CodecNameSpec& entry = codecNameList->list[i];
    const std::string text = fourCharacters(entry.cType) + "\t" + typeNameOf(entry);
    codecNames.push_back(strdup(text.c_str()));
  }
  codecNames.push_back(nullptr);
}

QuickTimeCodecPrivate::~QuickTimeCodecPrivate() {
  for (char* text : codecNames) std::free(text);
  if (codecNameList) DisposeCodecNameList(codecNameList);
  if (port) DisposePort(port);
  ExitMovies();
}

int QuickTimeCodecPrivate::codecCount() const {
  return codecNames.empty() ? 0 : static_cast<int>(codecNames.size()) - 1;
}

CodecType QuickTimeCodecPrivate::codecTypeAt(int index) const { return codecNameList->list[index].cType; }

}  // namespace Vantor::QuickTime
