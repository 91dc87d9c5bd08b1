// The movie's QuickTime metadata items as properties: text, integers and
// floats by their data type, with a trace line per item on standard output.
#include "QuickTimeCodecReaderPrivate.h"
#include "Diagnostics.h"

#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <vantor/property/Utf8Text.h>

namespace Vantor::QuickTime {

namespace {

constexpr ByteCount kValueBufferSize = 1024;

std::uint64_t bigEndian(const UInt8* bytes, int count) {
  std::uint64_t value = 0;
  for (int i = 0; i < count; ++i) value = (value << 8) | bytes[i];
  return value;
}

// Items of four bytes or more give their first four bytes; a shorter item is
// read at its own width (sign-extended when signed), never past its end.
int integerValue(const UInt8* value, ByteCount size, bool isSigned) {
  if (size >= 4 || size == 0) return static_cast<int>(static_cast<std::uint32_t>(bigEndian(value, 4)));
  const int bits = static_cast<int>(size) * 8;
  const std::uint64_t raw = bigEndian(value, static_cast<int>(size));
  if (isSigned && (raw >> (bits - 1)) != 0)
    return static_cast<int>(static_cast<std::int64_t>(raw) - (std::int64_t{1} << bits));
  return static_cast<int>(raw);
}

Vantor::Property::Base* propertyOf(const char* key, UInt32 dataType, const UInt8* value, ByteCount size) {
  switch (dataType) {
    case kQTMetaDataTypeUTF8: {
      // Stated as UTF-8, but bytes from the file: invalid sequences become U+FFFD.
      const std::string text = Vantor::Property::validUtf8({reinterpret_cast<const char*>(value), size});
      diagnostic(LogLevel::kDebug, " %s\n", text.c_str());
      auto* property = new Vantor::Property::String(key, 1);
      property->setValue(text, 0);
      return property;
    }
    case kQTMetaDataTypeSignedIntegerBE:
    case kQTMetaDataTypeUnsignedIntegerBE: {
      const int number = integerValue(value, size, dataType == kQTMetaDataTypeSignedIntegerBE);
      diagnostic(LogLevel::kDebug, " %d", number);
      auto* property = new Vantor::Property::Int(key, 1);
      property->setValue(number, 0);
      return property;
    }
    case kQTMetaDataTypeFloat32BE: {
      const double number = std::bit_cast<float>(static_cast<std::uint32_t>(bigEndian(value, 4)));
      diagnostic(LogLevel::kDebug, " %f", number);
      auto* property = new Vantor::Property::Double(key, 1);
      property->setValue(number, 0);
      return property;
    }
    case kQTMetaDataTypeFloat64BE: {
      const double number = std::bit_cast<double>(bigEndian(value, 8));
      diagnostic(LogLevel::kDebug, " %f", number);
      auto* property = new Vantor::Property::Double(key, 1);
      property->setValue(number, 0);
      return property;
    }
    default:
      return nullptr;
  }
}

}  // namespace

int QuickTimeCodecReaderPrivate::getMetadata(std::list<Vantor::Property::Base*>& properties) {
  if (!movie) return 2;
  QTMetaDataRef metadata = nullptr;
  if (QTCopyMovieMetaData(movie, &metadata) != noErr) return 0;

  UInt8 value[kValueBufferSize];
  QTMetaDataItem item = kQTMetaDataItemUninitialized;
  while (QTMetaDataGetNextItem(metadata, kQTMetaDataStorageFormatQuickTime, item, kQTMetaDataKeyFormatQuickTime,
                               nullptr, 0, &item) == noErr) {
    ByteCount keySize = 0;
    if (QTMetaDataGetItemPropertyInfo(metadata, item, kPropertyClass_MetaDataItem, kQTMetaDataItemPropertyID_Key,
                                      nullptr, &keySize, nullptr) != noErr) {
      break;
    }
    // Four spare zero bytes keep the key terminated whatever it holds.
    auto* key = static_cast<char*>(calloc(keySize + 4, 1));
    if (!key) break;
    QTMetaDataGetItemProperty(metadata, item, kPropertyClass_MetaDataItem, kQTMetaDataItemPropertyID_Key, keySize, key,
                              nullptr);
    // A data type that cannot be read stays 0 (binary), which makes no property.
    UInt32 dataType = 0;
    QTMetaDataGetItemProperty(metadata, item, kPropertyClass_MetaDataItem, kQTMetaDataItemPropertyID_DataType,
                              sizeof(dataType), &dataType, nullptr);
    std::memset(value, 0, sizeof value);
    ByteCount valueSize = 0;
    if (QTMetaDataGetItemProperty(metadata, item, kPropertyClass_MetaDataItem, kQTMetaDataItemPropertyID_Value,
                                  kValueBufferSize, value, &valueSize) != noErr) {
      free(key);
      continue;
    }
    if (valueSize > kValueBufferSize) valueSize = kValueBufferSize;
    diagnostic(LogLevel::kDebug, "metadata: %s %ld", key, static_cast<long>(dataType));
    // The key names the property, so it is held to UTF-8 as well.
    const std::string keyText = Vantor::Property::validUtf8(key);
    if (Vantor::Property::Base* property = propertyOf(keyText.c_str(), dataType, value, valueSize))
      properties.push_back(property);
    diagnostic(LogLevel::kDebug, "\n");
    free(key);
  }
  QTMetaDataRelease(metadata);
  return 0;
}

}  // namespace Vantor::QuickTime
