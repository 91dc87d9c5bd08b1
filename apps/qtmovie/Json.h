// A small JSON writer for `qtmovie info --json`: objects, arrays, strings
// (escaped), numbers and booleans, written in order with no external library.
#pragma once

#include <string>

namespace qtmovie {

class JsonWriter {
 public:
  void beginObject();
  void endObject();
  void beginArray(const std::string& key);
  void endArray();
  void beginObject(const std::string& key);
  void field(const std::string& key, const std::string& value);
  void field(const std::string& key, const char* value) { field(key, std::string(value)); }
  void field(const std::string& key, long long value);
  void field(const std::string& key, double value);
  void field(const std::string& key, bool value);
  // A string element of an open array.
  void value(const std::string& text);
  const std::string& text() const { return out_; }

 private:
  void separator();
  void key(const std::string& name);
  std::string out_;
  bool needsComma_ = false;
};

// `text` as a JSON string literal: valid UTF-8 (invalid sequences replaced by
// U+FFFD), quotes, backslashes and control characters escaped.
std::string jsonEscape(const std::string& text);

}  // namespace qtmovie
