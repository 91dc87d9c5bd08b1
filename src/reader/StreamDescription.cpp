// The video stream described as text: codec, decompressor component, the pixel
// format decoding uses, and the timecode and reel of a timecode track.
#include "QuickTimeCodecReaderPrivate.h"

#include "PixelFormatNames.h"
#include "Diagnostics.h"

#include <vantor/property/Utf8Text.h>

#include <algorithm>
#include <iostream>

namespace Vantor::QuickTime {

namespace {

// The first 'name' text among the source information's items, carriage
// returns turned into blanks.
void insertReel(UserData sourceInfo, std::map<std::string, std::string>& description) {
  Handle text = NewHandle(0);
  if (!text) return;
  for (OSType type = GetNextUserDataType(sourceInfo, 0); type != 0; type = GetNextUserDataType(sourceInfo, type)) {
    const short count = CountUserDataType(sourceInfo, type);
    for (short index = 1; index <= count; ++index) {
      if (GetUserDataText(sourceInfo, text, 'name', index, 0) != noErr) continue;
      const char zero = 0;
      PtrAndHand(&zero, text, 1);
      HLock(text);
      char* bytes = *text;
      for (char* c = bytes; *c; ++c) {
        if (*c == '\r') *c = ' ';
      }
      description.insert({"reel", Vantor::Property::validUtf8(bytes)});
      HUnlock(text);
      break;
    }
  }
  DisposeHandle(text);
}

// A component's name or information: a Pascal string in a handle, read no
// further than the handle reaches.
std::string pascalStringIn(Handle handle) {
  const Size size = GetHandleSize(handle);
  if (size <= 0 || !*handle) return {};
  const auto* bytes = reinterpret_cast<const unsigned char*>(*handle);
  const Size length = std::min<Size>(bytes[0], size - 1);
  return std::string(reinterpret_cast<const char*>(bytes + 1), static_cast<size_t>(length));
}

}  // namespace

void QuickTimeCodecReaderPrivate::getStreamDescription(std::map<std::string, std::string>& description) {
  createDecompressionSession();
  ComponentDescription wanted{decompressorComponentType, codecType, 0, 0, cmpIsMissing};
  Component decompressor = FindNextComponent(nullptr, &wanted);

  Handle name = NewHandle(0);
  if (!name) return;
  Handle info = NewHandle(0);
  if (!info) {
    DisposeHandle(name);
    return;
  }
  // The codec type is four bytes from the file: like every text the reader
  // hands out, it is made valid UTF-8 (invalid bytes become U+FFFD).
  description.insert({"codec_id", Vantor::Property::validUtf8(codeString(codecType))});
  description.insert({"codec_pixel_format", codeString(pixelFormat)});

  ComponentDescription found{};
  if (decompressor && GetComponentInfo(decompressor, &found, name, info, nullptr) == noErr) {
    description.insert({"codec_manufacturer", codeString(found.componentManufacturer)});
    description.insert({"codec_name", pascalStringIn(name)});
    description.insert({"codec_info", pascalStringIn(info)});
  }

  // timecodeMedia is cleared with the movie, so a closed movie's media is never reached.
  if (hasTimecode && timecodeMedia) {
    MediaHandler handler = GetMediaHandler(timecodeMedia);
    UserData sourceInfo = nullptr;
    NewUserData(&sourceInfo);
    TimeCodeDef definition{};
    TimeCodeRecord record{};
    const HandlerError error = TCGetCurrentTimeCode(handler, &startTimecodeFrame, &definition, &record, &sourceInfo);
    if (error != noErr) diagnosticError(LogLevel::kError, "Error: %ld\n", static_cast<long>(error));
    if (sourceInfo) {
      insertReel(sourceInfo, description);
      DisposeUserData(sourceInfo);
    }
    // Without a definition and record there is no timecode to format: left out.
    if (error == noErr) {
      Str255 text{};
      if (TCTimeCodeToString(handler, &definition, &record, text) == noErr) {
        std::string timecode = pascalString(text);
        if (!timecode.empty() && timecode[0] == ' ') timecode.erase(0, 1);
        description.insert({"timecode", timecode});
      }
    }
  }
  DisposeHandle(info);
  DisposeHandle(name);
}

}  // namespace Vantor::QuickTime
