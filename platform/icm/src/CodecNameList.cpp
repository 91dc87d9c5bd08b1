#include <QuickTime/ImageCompression.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

struct Compressor {
  Component component;
  OSType type;
  std::vector<unsigned char> name;  // Pascal string
  std::vector<unsigned char> information;
};

std::vector<unsigned char> pascalBytes(Handle handle) {
  const auto size = static_cast<std::size_t>(GetHandleSize(handle));
  if (size == 0) return {0};
  const auto* bytes = reinterpret_cast<const unsigned char*>(*handle);
  const std::size_t length = std::min<std::size_t>(bytes[0], size - 1);
  std::vector<unsigned char> out(bytes, bytes + 1 + length);
  out[0] = static_cast<unsigned char>(length);
  return out;
}

}  // namespace

OSErr GetCodecNameList(CodecNameSpecListPtr* list, SInt16 showAll) {
  if (list == nullptr) return paramErr;
  *list = nullptr;
  std::vector<Compressor> compressors;
  // Installed compressors only; showAll 0 keeps one entry per codec type (the
  // first registered) and leaves out compressors without a name.
  ComponentDescription looking{compressorComponentType, 0, 0, 0, cmpIsMissing};
  Handle name = NewHandle(0);
  Handle information = NewHandle(0);
  if (name == nullptr || information == nullptr) {
    DisposeHandle(name);
    DisposeHandle(information);
    return memFullErr;
  }
  for (Component c = FindNextComponent(nullptr, &looking); c != nullptr; c = FindNextComponent(c, &looking)) {
    ComponentDescription cd{};
    if (GetComponentInfo(c, &cd, name, information, nullptr) != noErr) continue;
    Compressor entry{c, cd.componentSubType, pascalBytes(name), pascalBytes(information)};
    if (!showAll) {
      if (entry.name[0] == 0) continue;
      if (std::any_of(compressors.begin(), compressors.end(),
                      [&](const Compressor& c) { return c.type == entry.type; }))
        continue;
    }
    compressors.push_back(std::move(entry));
  }
  DisposeHandle(name);
  DisposeHandle(information);

  const std::size_t count = compressors.size();
  const std::size_t bytes = offsetof(CodecNameSpecList, list) + std::max<std::size_t>(count, 1) * sizeof(CodecNameSpec);
  auto* result = static_cast<CodecNameSpecListPtr>(std::calloc(1, bytes));
  if (result == nullptr) return memFullErr;
  result->count = static_cast<SInt16>(count);
  for (std::size_t i = 0; i < count; ++i) {
    CodecNameSpec& entry = result->list[i];
    const Compressor& c = compressors[i];
    entry.codec = c.component;
    entry.cType = c.type;
    const std::size_t length = std::min<std::size_t>(c.name[0], sizeof(Str31) - 1);
    entry.typeName[0] = static_cast<unsigned char>(length);
    std::memcpy(entry.typeName + 1, c.name.data() + 1, length);
    entry.name = NewHandle(static_cast<Size>(c.information.size()));
    if (entry.name != nullptr) std::memcpy(*entry.name, c.information.data(), c.information.size());
  }
  *list = result;
  return noErr;
}

OSErr DisposeCodecNameList(CodecNameSpecListPtr list) {
  if (list == nullptr) return noErr;
  for (SInt16 i = 0; i < list->count; ++i) DisposeHandle(list->list[i].name);
  std::free(list);
  return noErr;
}
