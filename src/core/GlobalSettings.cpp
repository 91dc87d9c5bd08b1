// The per-codec overrides file: six comma-separated columns a record, read with
// the escaped-field splitter, into one process-wide table.
#include <vantor/host/BundleLocation.h>
#include <vantor/property/PropertyText.h>

#include <ext/stdio_filebuf.h>
#include <fcntl.h>

#include <atomic>
#include <fstream>
#include <iostream>
#include <mutex>
#include <sstream>

#include "PixelFormatChoice.h"
#include "Diagnostics.h"

namespace Vantor::QuickTime {

namespace {

// Loaded at most once per process in the normal case; kept until the process
// ends. Rows are only ever appended, under `tableMutex`; once the table holds a
// row, `tableFilled` lets every later lookup read it without the lock, since
// nothing appends to a filled table except an explicit loadGlobalSettings.
std::vector<GlobalSettingsEntry>& table() {
  static std::vector<GlobalSettingsEntry> rows;
  return rows;
}
std::mutex tableMutex;
std::atomic<bool> tableFilled{false};

bool isComment(const char* line) {
  return line[0] == '\0' || line[0] == '#' || line[0] == '\n' || (line[0] == '/' && line[1] == '/');
}

int parseFlags(const std::string& text) {
  std::istringstream stream(text);
  int flags = 0;
  // A column with no number in it counts as no flags.
  if (!(stream >> flags)) flags = 0;
  return flags;
}

}  // namespace

OSType parseFourCharCode(const std::string& text) {
  if (text == "0") return 0;
  if (text == "32") return 32;
  OSType code = 0;
  for (size_t i = 0; i < 4; ++i) {
    const unsigned char c = i < text.size() ? static_cast<unsigned char>(text[i]) : 0;
    code = (code << 8) | c;
  }
  return code;
}

const std::vector<GlobalSettingsEntry>& globalSettingsTable() { return table(); }

std::vector<GlobalSettingsEntry> readGlobalSettings(const std::string& path) {
  std::vector<GlobalSettingsEntry> rows;
  // An istream over a close-on-exec descriptor (std::ifstream cannot ask for
  // one), so a child started meanwhile by another thread does not inherit it.
  // A file that cannot be opened reads as an empty stream.
  const int fd = ::open(resolveBundleRelativePath(path).c_str(), O_RDONLY | O_CLOEXEC);
  __gnu_cxx::stdio_filebuf<char> buffer(fd, std::ios::in);
  std::istream file(fd >= 0 ? &buffer : nullptr);
  int lineNumber = 1;
  // A line is read into 256 bytes: a longer one is cut to 255 characters,
  // processed, and ends the reading (the stream is no longer good).
  char line[256];
  while (file.good()) {
    file.getline(line, sizeof line);
    const int number = lineNumber++;
    if (isComment(line)) continue;

    std::deque<std::string> fields;
    try {
      fields = Property::splitEscaped(line, ",");
    } catch (const std::exception&) {
      // An escape the splitter rejects makes the line unreadable: report it like a bad record.
      fields.clear();
    }
    if (fields.size() != 6) {
      diagnosticError(LogLevel::kWarning, "Ignoring bad line %d: %s\n", number, line);
      continue;
    }
    if (fields[3] == "windows") continue;

    GlobalSettingsEntry entry;
    entry.componentType = fields[0] == "encode" ? 'imco' : 'imdc';
    entry.componentSubType = parseFourCharCode(fields[1]);
    entry.componentManufacturer = parseFourCharCode(fields[2]);
    entry.platform = fields[3] == "macosx" ? 1 : 0;
    entry.architecture = fields[4] == "intel" ? 1 : fields[4] == "ppc" ? 2 : 0;
    entry.flags = parseFlags(fields[5]);
    rows.push_back(entry);
  }
  return rows;
}

namespace {

void appendLocked(const std::vector<GlobalSettingsEntry>& rows) {
  table().insert(table().end(), rows.begin(), rows.end());
  if (!table().empty()) tableFilled.store(true, std::memory_order_release);
}

}  // namespace

void loadGlobalSettings(const std::string& path) {
  const std::vector<GlobalSettingsEntry> rows = readGlobalSettings(path);
  std::lock_guard lock(tableMutex);
  appendLocked(rows);
}

void loadGlobalSettingsIfEmpty(const std::string& path) {
  if (tableFilled.load(std::memory_order_acquire)) return;
  // Threads that find the table empty at once read the file once between them;
  // a file with no rows leaves it empty, so the next lookup reads it again.
  std::lock_guard lock(tableMutex);
  if (!table().empty()) return;
  appendLocked(readGlobalSettings(path));
}

}  // namespace Vantor::QuickTime
