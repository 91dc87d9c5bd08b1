#include "InfoPlist.h"

#include <fstream>
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
  std::ifstream file(path, std::ios::binary);
  if (!file) return entries;
  std::string xml;
  xml.resize(kMaxPlistBytes + 1);
  file.read(xml.data(), kMaxPlistBytes + 1);
  if (file.gcount() > kMaxPlistBytes) return entries;
  xml.resize(file.gcount());

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
