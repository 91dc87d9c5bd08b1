// Fuzzes GlobalSettings.csv: each input is written to a temporary file and read
// with the file's rules; then the pixel format is chosen for a few codecs. The
// process-wide table is filled once, from the first input with rows, inside a
// temporary host bundle (a filled table is never read again), so the choice
// runs over fuzzed rows without the table growing input after input.
#include <Carbon/MacMemory.h>
#include <QuickTime/ImageCompression.h>
#include <CoreFoundation/CFBundle.h>
#include <vantor/host/BundleLocation.h>

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "PixelFormatChoice.h"

using namespace Vantor::QuickTime;

namespace {

struct Fixture {
  std::filesystem::path root;
  std::filesystem::path settingsFile;
  std::vector<Component> codecs;

  Fixture() {
    root = std::filesystem::temp_directory_path() / ("vqt-settings-fuzz-" + std::to_string(getpid()));
    std::filesystem::create_directories(root / "Host.app/Contents/Resources");
    VqtCFBundleRegister((root / "Host.app").c_str(), kHostBundleIdentifier);
    settingsFile = root / "Host.app/Contents/Resources/GlobalSettings.csv";
    const std::vector<OSType> formats = {'2vuy', 'b64a', 'r408', 'r4fl', 32};
    for (OSType type : {OSType('imdc'), OSType('imco')}) {
      for (OSType subType : {OSType('apch'), OSType('avc1'), OSType('fl02')}) {
        VqtComponentRegistration r;
        r.description = {type, subType, 'test', 0, 0};
        r.name = "Fuzz codec";
        r.publicResources.push_back({{'cpix', 1}, VqtPixelFormatResource(formats)});
        codecs.push_back(VqtRegisterComponent(r));
      }
    }
  }
  ~Fixture() { std::filesystem::remove_all(root); }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Fixture fixture;
  std::ofstream(fixture.settingsFile, std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));

  const std::vector<GlobalSettingsEntry> rows = readGlobalSettings(fixture.settingsFile.string());
  for (const GlobalSettingsEntry& row : rows) {
    if (row.componentType != 'imco' && row.componentType != 'imdc') std::abort();
    if (row.platform < 0 || row.platform > 1 || row.architecture < 0 || row.architecture > 2) std::abort();
  }

  for (Component codec : fixture.codecs) {
    OSType format = 0;
    int flags = 0;
    choosePixelFormat(codec, format, flags);
    if (format == 0) std::abort();  // never fails: 32 at worst
  }
  return 0;
}
