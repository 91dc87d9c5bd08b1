#include "JsonCheck.h"

#include <cctype>
#include <cstring>

namespace Vantor::QuickTime::Reliability {

namespace {

class Checker {
 public:
  explicit Checker(std::string_view text) : text_(text) {}

  bool document() {
    skipSpace();
    if (!value(0)) return false;
    skipSpace();
    return at_ == text_.size();
  }

 private:
  static constexpr int kDeepest = 64;

  bool value(int depth) {
    if (depth > kDeepest || at_ >= text_.size()) return false;
    switch (text_[at_]) {
      case '{':
        return container(depth, '}', true);
      case '[':
        return container(depth, ']', false);
      case '"':
        return string();
      case 't':
        return word("true");
      case 'f':
        return word("false");
      case 'n':
        return word("null");
      default:
        return number();
    }
  }

  bool container(int depth, char close, bool isObject) {
    ++at_;
    skipSpace();
    if (peek() == close) return ++at_, true;
    for (;;) {
      if (isObject) {
        if (peek() != '"' || !string()) return false;
        skipSpace();
        if (peek() != ':') return false;
        ++at_;
        skipSpace();
      }
      if (!value(depth + 1)) return false;
      skipSpace();
      if (peek() == close) return ++at_, true;
      if (peek() != ',') return false;
      ++at_;
      skipSpace();
    }
  }

  bool string() {
    ++at_;
    while (at_ < text_.size()) {
      const auto c = static_cast<unsigned char>(text_[at_]);
      if (c == '"') return ++at_, true;
      if (c < 0x20) return false;
      if (c == '\\') {
        ++at_;
        if (at_ >= text_.size()) return false;
        const char escape = text_[at_++];
        if (escape == 'u') {
          for (int i = 0; i < 4; ++i, ++at_)
            if (at_ >= text_.size() || !std::isxdigit(static_cast<unsigned char>(text_[at_]))) return false;
        } else if (!std::strchr("\"\\/bfnrt", escape)) {
          return false;
        }
        continue;
      }
      if (c < 0x80) {
        ++at_;
        continue;
      }
      if (!utf8Character()) return false;
    }
    return false;
  }

  // One multi-byte UTF-8 character: no overlong form, surrogate or value past U+10FFFF.
  bool utf8Character() {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text_[i]); };
    const unsigned char lead = byte(at_);
    std::size_t length = 0;
    unsigned char low = 0x80, high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
      length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
      length = 3;
      low = lead == 0xE0 ? 0xA0 : 0x80;
      high = lead == 0xED ? 0x9F : 0xBF;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      length = 4;
      low = lead == 0xF0 ? 0x90 : 0x80;
      high = lead == 0xF4 ? 0x8F : 0xBF;
    } else {
      return false;
    }
    if (at_ + length > text_.size()) return false;
    if (byte(at_ + 1) < low || byte(at_ + 1) > high) return false;
    for (std::size_t i = 2; i < length; ++i)
      if (byte(at_ + i) < 0x80 || byte(at_ + i) > 0xBF) return false;
    at_ += length;
    return true;
  }

  bool number() {
    const std::size_t start = at_;
    if (peek() == '-') ++at_;
    if (peek() == '0') {
      ++at_;
    } else if (!digits()) {
      return false;
    }
    if (peek() == '.') {
      ++at_;
      if (!digits()) return false;
    }
    if (peek() == 'e' || peek() == 'E') {
      ++at_;
      if (peek() == '+' || peek() == '-') ++at_;
      if (!digits()) return false;
    }
    return at_ > start;
  }

  bool digits() {
    const std::size_t start = at_;
    while (std::isdigit(static_cast<unsigned char>(peek()))) ++at_;
    return at_ > start;
  }

  bool word(std::string_view expected) {
    if (text_.substr(at_, expected.size()) != expected) return false;
    at_ += expected.size();
    return true;
  }

  char peek() const { return at_ < text_.size() ? text_[at_] : '\0'; }
  void skipSpace() {
    while (at_ < text_.size() && std::strchr(" \t\r\n", text_[at_]) && text_[at_] != '\0') ++at_;
  }

  std::string_view text_;
  std::size_t at_ = 0;
};

}  // namespace

bool isValidJson(std::string_view text) { return Checker(text).document(); }

}  // namespace Vantor::QuickTime::Reliability
