// Strings hold UTF-8. Other encodings are accepted on creation where they map
// directly (ASCII, Latin-1, Mac Roman's ASCII half) and converted to UTF-8.
#include <CoreFoundation/CFString.h>

#include <Carbon/TextUtils.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <string_view>

#include "CFObject.h"

struct __CFString : __CFObject {
  static constexpr CFTypeID kTypeID = kVqtStringTypeID;
  explicit __CFString(std::string text, bool isImmortal = false)
      : __CFObject(kTypeID, isImmortal), utf8(std::move(text)) {}
  bool equals(const __CFObject& other) const override { return utf8 == static_cast<const __CFString&>(other).utf8; }
  CFHashCode hash() const override { return std::hash<std::string>{}(utf8); }
  const std::string utf8;
};

namespace {

bool isValidUtf8(std::string_view text) {
  for (size_t i = 0; i < text.size();) {
    const unsigned char c = text[i];
    size_t extra;
    if (c < 0x80) {
      extra = 0;
    } else if ((c >> 5) == 0x6) {
      extra = 1;
    } else if ((c >> 4) == 0xE) {
      extra = 2;
    } else if ((c >> 3) == 0x1E) {
      extra = 3;
    } else {
      return false;
    }
    if (text.size() - i <= extra) return false;
    for (size_t k = 1; k <= extra; ++k)
      if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80) return false;
    i += extra + 1;
  }
  return true;
}

std::string latin1ToUtf8(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (unsigned char c : text) {
    if (c < 0x80) {
      out.push_back(static_cast<char>(c));
    } else {
      out.push_back(static_cast<char>(0xC0 | (c >> 6)));
      out.push_back(static_cast<char>(0x80 | (c & 0x3F)));
    }
  }
  return out;
}

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// Bytes in `encoding` to UTF-8; false when they are not valid in it.
bool decode(std::string_view bytes, CFStringEncoding encoding, std::string& out) {
  switch (encoding) {
    case kCFStringEncodingUTF8:
      if (!isValidUtf8(bytes)) return false;
      out.assign(bytes);
      return true;
    case kCFStringEncodingASCII:
    case kCFStringEncodingMacRoman:
      // Only the ASCII half of Mac Roman is identical in Unicode; accented
      // characters are not translated here, so refuse rather than garble them.
      if (!isAscii(bytes)) return false;
      out.assign(bytes);
      return true;
    case kCFStringEncodingISOLatin1:
      out = latin1ToUtf8(bytes);
      return true;
    default:
      return false;
  }
}

// UTF-8 to `encoding`; false when a character cannot be represented.
bool encode(const std::string& utf8, CFStringEncoding encoding, std::string& out) {
  if (encoding == kCFStringEncodingUTF8) {
    out = utf8;
    return true;
  }
  if (encoding == kCFStringEncodingASCII || encoding == kCFStringEncodingMacRoman) {
    if (!isAscii(utf8)) return false;
    out = utf8;
    return true;
  }
  if (encoding == kCFStringEncodingISOLatin1) {
    out.clear();
    for (size_t i = 0; i < utf8.size(); ++i) {
      const unsigned char c = utf8[i];
      if (c < 0x80) {
        out.push_back(static_cast<char>(c));
      } else if ((c == 0xC2 || c == 0xC3) && i + 1 < utf8.size()) {
        out.push_back(static_cast<char>(((c & 0x03) << 6) | (utf8[++i] & 0x3F)));
      } else {
        return false;
      }
    }
    return true;
  }
  return false;
}

const __CFString* asString(CFStringRef s) { return vqtCFCast<__CFString>(s); }

}  // namespace

CFStringRef __CFStringMakeConstantString(const char* cStr) {
  // Constants are interned: the same literal always yields the same object.
  static std::mutex mutex;
  static std::map<std::string, std::unique_ptr<__CFString>, std::less<>> constants;
  std::lock_guard<std::mutex> lock(mutex);
  std::string_view key = cStr ? cStr : "";
  auto it = constants.find(key);
  if (it == constants.end())
    it = constants.emplace(std::string(key), std::make_unique<__CFString>(std::string(key), true)).first;
  return it->second.get();
}

CFTypeID CFStringGetTypeID() { return kVqtStringTypeID; }

CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const UInt8* bytes, CFIndex numBytes, CFStringEncoding encoding,
                                    Boolean) {
  if (numBytes < 0 || (numBytes && !bytes)) return nullptr;
  std::string text;
  if (!decode(std::string_view(reinterpret_cast<const char*>(bytes), numBytes), encoding, text)) return nullptr;
  return new (std::nothrow) __CFString(std::move(text));
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef alloc, const char* cStr, CFStringEncoding encoding) {
  if (!cStr) return nullptr;
  return CFStringCreateWithBytes(alloc, reinterpret_cast<const UInt8*>(cStr), std::strlen(cStr), encoding, false);
}

CFStringRef CFStringCreateWithPascalString(CFAllocatorRef alloc, ConstStr255Param pStr, CFStringEncoding encoding) {
  if (!pStr) return nullptr;
  return CFStringCreateWithBytes(alloc, pStr + 1, pStr[0], encoding, false);
}

CFStringRef CFStringCreateCopy(CFAllocatorRef, CFStringRef theString) {
  const __CFString* s = asString(theString);
  if (!s) return nullptr;
  return new (std::nothrow) __CFString(s->utf8);
}

CFIndex CFStringGetLength(CFStringRef theString) {
  const __CFString* s = asString(theString);
  if (!s) return 0;
  // UTF-16 code units: one per character, two for characters beyond the BMP.
  CFIndex length = 0;
  for (unsigned char c : s->utf8) {
    if ((c & 0xC0) != 0x80) ++length;
    if ((c & 0xF8) == 0xF0) ++length;
  }
  return length;
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
  if (length < 0) return kCFNotFound;
  // A UTF-16 unit needs at most three UTF-8 bytes (a surrogate pair, two units, needs four).
  if (encoding == kCFStringEncodingUTF8) return length > CFIndex(0x7FFFFFFF) / 3 ? kCFNotFound : length * 3;
  return length;
}

const char* CFStringGetCStringPtr(CFStringRef theString, CFStringEncoding encoding) {
  const __CFString* s = asString(theString);
  if (!s) return nullptr;
  if (encoding == kCFStringEncodingUTF8) return s->utf8.c_str();
  if ((encoding == kCFStringEncodingASCII || encoding == kCFStringEncodingMacRoman) && isAscii(s->utf8))
    return s->utf8.c_str();
  return nullptr;
}

Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize, CFStringEncoding encoding) {
  const __CFString* s = asString(theString);
  if (!s || !buffer || bufferSize <= 0) return false;
  std::string bytes;
  if (!encode(s->utf8, encoding, bytes)) return false;
  if (CFIndex(bytes.size()) + 1 > bufferSize) return false;
  std::memcpy(buffer, bytes.c_str(), bytes.size() + 1);
  return true;
}

Boolean CFStringGetPascalString(CFStringRef theString, StringPtr buffer, CFIndex bufferSize,
                                CFStringEncoding encoding) {
  const __CFString* s = asString(theString);
  if (!s || !buffer || bufferSize <= 0) return false;
  std::string bytes;
  if (!encode(s->utf8, encoding, bytes)) return false;
  if (bytes.size() > 255 || CFIndex(bytes.size()) + 1 > bufferSize) return false;
  VqtSetPascalString(buffer, bufferSize, bytes);
  return true;
}

CFComparisonResult CFStringCompare(CFStringRef a, CFStringRef b, CFOptionFlags options) {
  const __CFString* sa = asString(a);
  const __CFString* sb = asString(b);
  std::string x = sa ? sa->utf8 : std::string();
  std::string y = sb ? sb->utf8 : std::string();
  if (options & kCFCompareCaseInsensitive) {
    auto lower = [](std::string& t) {
      for (char& c : t)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    };
    lower(x);
    lower(y);
  }
  const int order = x.compare(y);
  return order < 0 ? kCFCompareLessThan : order > 0 ? kCFCompareGreaterThan : kCFCompareEqualTo;
}
