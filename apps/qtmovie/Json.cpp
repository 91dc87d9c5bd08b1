#include "Json.h"

#include <vantor/property/Utf8Text.h>

#include <cmath>
#include <cstdio>

namespace qtmovie {

std::string jsonEscape(const std::string& text) {
  // Names and values come from the file: invalid UTF-8 would make the whole
  // document unparseable, so each invalid sequence becomes U+FFFD first.
  std::string out = "\"";
  for (unsigned char c : Vantor::Property::validUtf8(text)) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        if (c < 0x20) {
          char code[8];
          std::snprintf(code, sizeof code, "\\u%04x", c);
          out += code;
        } else {
          out += static_cast<char>(c);
        }
    }
  }
  return out + "\"";
}

void JsonWriter::separator() {
  if (needsComma_) out_ += ",";
  needsComma_ = true;
}

void JsonWriter::key(const std::string& name) {
  separator();
  out_ += jsonEscape(name) + ":";
}

void JsonWriter::beginObject() {
  separator();
  out_ += "{";
  needsComma_ = false;
}

void JsonWriter::beginObject(const std::string& name) {
  key(name);
  out_ += "{";
  needsComma_ = false;
}

void JsonWriter::endObject() {
  out_ += "}";
  needsComma_ = true;
}

void JsonWriter::beginArray(const std::string& name) {
  key(name);
  out_ += "[";
  needsComma_ = false;
}

void JsonWriter::endArray() {
  out_ += "]";
  needsComma_ = true;
}

void JsonWriter::field(const std::string& name, const std::string& value) {
  key(name);
  out_ += jsonEscape(value);
}

void JsonWriter::field(const std::string& name, long long value) {
  key(name);
  out_ += std::to_string(value);
}

void JsonWriter::field(const std::string& name, double value) {
  key(name);
  if (!std::isfinite(value)) {
    out_ += "null";
    return;
  }
  char number[32];
  std::snprintf(number, sizeof number, "%.17g", value);
  out_ += number;
}

void JsonWriter::value(const std::string& text) {
  separator();
  out_ += jsonEscape(text);
}

void JsonWriter::field(const std::string& name, bool value) {
  key(name);
  out_ += value ? "true" : "false";
}

}  // namespace qtmovie
