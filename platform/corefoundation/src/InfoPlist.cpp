#include "InfoPlist.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <iterator>
#include <string_view>

namespace {

// An Info.plist is a few kilobytes; anything past this is not one.
constexpr std::streamsize kMaxPlistBytes = 1 << 20;

std::string unescapeXml(std::string_view text) {
  static const std::pair<std::string_view, char> kEntities[] = {
      {"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}};
  std::string out;
  for (size_t i = 0; i < text.size();) {
    bool replaced = false;
    if (text[i] == '&') {
      for (const auto& [entity, ch] : kEntities) {
        if (text.substr(i, entity.size()) == entity) {
          out.push_back(ch);
          i += entity.size();
          replaced = true;
          break;
        }
      }
    }
    if (!replaced) out.push_back(text[i++]);
  }
  return out;
}

// The text between <tag> and </tag> starting the search at `from`; npos-safe.
bool elementText(std::string_view xml, std::string_view tag, size_t& from, std::string_view& text) {
  const std::string open = "<" + std::string(tag) + ">";
  const std::string close = "</" + std::string(tag) + ">";
  const size_t start = xml.find(open, from);
  if (start == std::string_view::npos) return false;
  const size_t end = xml.find(close, start + open.size());
  if (end == std::string_view::npos) return false;
  text = xml.substr(start + open.size(), end - start - open.size());
  from = end + close.size();
  return true;
}

}  // namespace

std::map<std::string, std::string> vqtReadInfoPlistStrings(const std::string& path) {
  std::map<std::string, std::string> entries;
  // Close-on-exec, so a child started meanwhile by another thread does not inherit it.
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return entries;
  std::string xml;
  xml.resize(kMaxPlistBytes + 1);
  size_t length = 0;
  while (length < xml.size()) {
    const ssize_t n = ::read(fd, xml.data() + length, xml.size() - length);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    length += static_cast<size_t>(n);
  }
  ::close(fd);
  if (length > static_cast<size_t>(kMaxPlistBytes)) return entries;
  xml.resize(length);

  std::string_view view = xml;
  size_t at = 0;
  std::string_view key;
  while (elementText(view, "key", at, key)) {
    // The value is the element right after the key; only <string> values are kept.
    size_t next = view.find('<', at);
    if (next == std::string_view::npos) break;
    if (view.substr(next, 8) == "<string>") {
      std::string_view value;
      size_t valueAt = next;
      if (!elementText(view, "string", valueAt, value)) break;
      entries.emplace(unescapeXml(key), unescapeXml(value));
      at = valueAt;
    }
  }
  return entries;
}
