// Writing timecode: the source reference (reel name) of a timecode
// description, stored after its fixed part as QuickTime does.
#include "MovieState.h"

#include <cstring>

using namespace vqt::movies;

namespace {

constexpr Size kFixedSize = 34;  // TimeCodeDescription up to the source reference

}  // namespace

HandlerError TCSetSourceRef(MediaHandler mh, Handle tcdH, UserData srefH) {
  ToRead<MediaHandlerObject> handler = handlerToRead(mh);
  if (!handler) return invalidHandler;
  if (handler->media->model && handler->media->model->handlerType != TimeCodeMediaType)
    return setMoviesError(badComponentType);
  if (!tcdH || !*tcdH || GetHandleSize(tcdH) < kFixedSize) return setMoviesError(paramErr);
  std::vector<std::uint8_t> atoms;
  if (srefH) {
    UserDataObject* list = userDataFrom(srefH);
    if (!list) return paramErr;
    for (const auto& item : list->items) {
      const auto size = static_cast<std::uint32_t>(item.payload.size() + 8);
      for (std::uint32_t value : {size, item.type})
        for (int i = 0; i < 4; ++i) atoms.push_back(static_cast<std::uint8_t>(value >> (24 - 8 * i)));
      atoms.insert(atoms.end(), item.payload.begin(), item.payload.end());
    }
  }
  // A description without a reference keeps QuickTime's 38 bytes (an empty srcRef).
  const Size total = kFixedSize + static_cast<Size>(atoms.empty() ? 4 : atoms.size());
  SetHandleSize(tcdH, total);
  if (MemError() != noErr) return setMoviesError(memFullErr);
  std::memset(*tcdH + kFixedSize, 0, static_cast<std::size_t>(total - kFixedSize));
  if (!atoms.empty()) std::memcpy(*tcdH + kFixedSize, atoms.data(), atoms.size());
  auto* description = reinterpret_cast<TimeCodeDescription*>(*tcdH);
  description->descSize = static_cast<SInt32>(total);
  return setMoviesError(noErr);
}
