#include "CodecComponents.h"

#include "vqt/codecs/CodecTable.h"

std::vector<VqtComponentRegistration> vqtCodecComponentRegistrations() {
  namespace codecs = vqt::codecs;
  std::vector<VqtComponentRegistration> registrations;
  for (const codecs::CodecEntry& entry : codecs::codecTable()) {
    const auto formats = codecs::exchangeFormats(entry);
    const std::vector<OSType> cpix(formats.begin(), formats.end());
    for (OSType type : {decompressorComponentType, compressorComponentType}) {
      const bool available = type == decompressorComponentType ? codecs::canRead(entry) : codecs::canWrite(entry);
      if (!available) continue;
      VqtComponentRegistration r;
      r.description = {type, entry.type, codecs::kManufacturerCode, 0, 0};
      r.name = std::string(entry.name);
      r.information = std::string(entry.information);
      r.publicResources.push_back({{kComponentPixelFormatsResource, 1}, VqtPixelFormatResource(cpix)});
      registrations.push_back(std::move(r));
    }
  }
  return registrations;
}
