// QuickTime metadata of a movie ('mdta' items): walking items, reading their
// key, data type and value.
#include "MovieState.h"

#include <cstring>

using namespace vqt::movies;

namespace vqt::movies {

MetaDataObject* newMetaData(const std::vector<engine::MetadataItem>& items) {
  auto* metadata = new MetaDataObject;
  for (const auto& item : items) metadata->entries.push_back({metadata->nextId++, item});
  registerLive(metadata);
  return metadata;
}

void releaseMetaData(MetaDataObject* metadata) {
  if (!metadata || --metadata->references > 0) return;
  unregisterLive(metadata);
  delete metadata;
}

}  // namespace vqt::movies

namespace {

MetaDataObject* metaDataFrom(QTMetaDataRef ref) {
  auto* metadata = reinterpret_cast<MetaDataObject*>(ref);
  return metadata && isLive(metadata) ? metadata : nullptr;
}

bool formatMatches(OSType wanted, OSType actual) { return wanted == 0 || wanted == actual; }

bool keyMatches(const engine::MetadataItem& item, QTMetaDataKeyFormat keyFormat, const UInt8* key, ByteCount keySize) {
  if (!key) return true;
  if (!formatMatches(keyFormat, item.keyNamespace)) return false;
  return item.key.size() == keySize && std::memcmp(item.key.data(), key, keySize) == 0;
}

const engine::MetadataItem* findItem(const MetaDataObject& metadata, QTMetaDataItem id) {
  for (const auto& entry : metadata.entries)
    if (entry.id == id) return &entry.item;
  return nullptr;
}

// The bytes and type of one item property, in the file's big-endian order for
// values and host order for the 32-bit codes.
struct PropertyValue {
  QTPropertyValueType type = 0;
  std::vector<std::uint8_t> bytes;
};

bool propertyOf(const engine::MetadataItem& item, QTPropertyClass propClass, QTPropertyID propID, PropertyValue& out) {
  if (propClass != kPropertyClass_MetaDataItem) return false;
  auto word = [&out](QTPropertyValueType type, UInt32 value) {
    out.type = type;
    out.bytes.resize(sizeof value);
    std::memcpy(out.bytes.data(), &value, sizeof value);
  };
  switch (propID) {
    case kQTMetaDataItemPropertyID_Key:
      out = {'raw ', item.key};
      return true;
    case kQTMetaDataItemPropertyID_Value:
      out = {'raw ', item.value};
      return true;
    case kQTMetaDataItemPropertyID_DataType:
      word(kQTPropertyValueTypeUInt32, item.dataType);
      return true;
    case kQTMetaDataItemPropertyID_Locale:
      word(kQTPropertyValueTypeUInt32, item.locale);
      return true;
    case kQTMetaDataItemPropertyID_KeyFormat:
      word(kQTPropertyValueTypeOSType, item.keyNamespace);
      return true;
    case kQTMetaDataItemPropertyID_StorageFormat:
      word(kQTPropertyValueTypeOSType, kQTMetaDataStorageFormatQuickTime);
      return true;
    default:
      return false;
  }
}

}  // namespace

OSStatus QTCopyMovieMetaData(Movie inMovie, QTMetaDataRef* outMetaData) {
  if (!outMetaData) return setMoviesError(paramErr);
  *outMetaData = nullptr;
  ToRead<MovieObject> movie = movieToRead(inMovie);
  if (!movie) return invalidMovie;
  ++movie->metadata->references;
  *outMetaData = reinterpret_cast<QTMetaDataRef>(movie->metadata);
  return setMoviesError(noErr);
}

OSStatus QTMetaDataRetain(QTMetaDataRef inMetaData) {
  MetaDataObject* metadata = metaDataFrom(inMetaData);
  if (!metadata) return paramErr;
  ++metadata->references;
  return noErr;
}

OSStatus QTMetaDataRelease(QTMetaDataRef inMetaData) {
  MetaDataObject* metadata = metaDataFrom(inMetaData);
  if (!metadata) return paramErr;
  releaseMetaData(metadata);
  return noErr;
}

OSStatus QTMetaDataGetNextItem(QTMetaDataRef inMetaData, QTMetaDataStorageFormat inMetaDataFormat,
                               QTMetaDataItem inCurrentItem, QTMetaDataKeyFormat inKeyFormat, const UInt8* inKeyPtr,
                               ByteCount inKeySize, QTMetaDataItem* outNextItem) {
  MetaDataObject* metadata = metaDataFrom(inMetaData);
  if (!metadata || !outNextItem) return paramErr;
  *outNextItem = kQTMetaDataItemUninitialized;
  // Only the QuickTime store exists in movies read by this layer.
  if (!formatMatches(inMetaDataFormat, kQTMetaDataStorageFormatQuickTime)) return kQTMetaDataNoMoreItemsErr;
  std::size_t start = 0;
  if (inCurrentItem != kQTMetaDataItemUninitialized) {
    while (start < metadata->entries.size() && metadata->entries[start].id != inCurrentItem) ++start;
    if (start == metadata->entries.size()) return kQTMetaDataInvalidItemErr;
    ++start;
  }
  for (std::size_t i = start; i < metadata->entries.size(); ++i) {
    if (keyMatches(metadata->entries[i].item, inKeyFormat, inKeyPtr, inKeySize)) {
      *outNextItem = metadata->entries[i].id;
      return noErr;
    }
  }
  return kQTMetaDataNoMoreItemsErr;
}

OSStatus QTMetaDataGetItemCountWithKey(QTMetaDataRef inMetaData, QTMetaDataStorageFormat inMetaDataFormat,
                                       QTMetaDataKeyFormat inKeyFormat, const UInt8* inKeyPtr, ByteCount inKeySize,
                                       ItemCount* outCount) {
  MetaDataObject* metadata = metaDataFrom(inMetaData);
  if (!metadata || !outCount) return paramErr;
  *outCount = 0;
  if (!formatMatches(inMetaDataFormat, kQTMetaDataStorageFormatQuickTime)) return noErr;
  for (const auto& entry : metadata->entries)
    if (keyMatches(entry.item, inKeyFormat, inKeyPtr, inKeySize)) ++*outCount;
  return noErr;
}

OSStatus QTMetaDataGetItemPropertyInfo(QTMetaDataRef inMetaData, QTMetaDataItem inItem, QTPropertyClass inPropClass,
                                       QTPropertyID inPropID, QTPropertyValueType* outPropType,
                                       ByteCount* outPropValueSize, UInt32* outPropFlags) {
  MetaDataObject* metadata = metaDataFrom(inMetaData);
  if (!metadata) return paramErr;
  const engine::MetadataItem* item = findItem(*metadata, inItem);
  if (!item) return kQTMetaDataInvalidItemErr;
  PropertyValue value;
  if (!propertyOf(*item, inPropClass, inPropID, value)) return kQTPropertyNotSupportedErr;
  if (outPropType) *outPropType = value.type;
  if (outPropValueSize) *outPropValueSize = static_cast<ByteCount>(value.bytes.size());
  if (outPropFlags) *outPropFlags = kComponentPropertyFlagCanGetNow;
  return noErr;
}

OSStatus QTMetaDataGetItemProperty(QTMetaDataRef inMetaData, QTMetaDataItem inItem, QTPropertyClass inPropClass,
                                   QTPropertyID inPropID, ByteCount inPropValueSize,
                                   QTPropertyValuePtr outPropValueAddress, ByteCount* outPropValueSizeUsed) {
  MetaDataObject* metadata = metaDataFrom(inMetaData);
  if (!metadata) return paramErr;
  const engine::MetadataItem* item = findItem(*metadata, inItem);
  if (!item) return kQTMetaDataInvalidItemErr;
  PropertyValue value;
  if (!propertyOf(*item, inPropClass, inPropID, value)) return kQTPropertyNotSupportedErr;
  if (outPropValueSizeUsed) *outPropValueSizeUsed = static_cast<ByteCount>(value.bytes.size());
  if (value.bytes.size() > inPropValueSize) return kQTPropertyBadValueSizeErr;
  if (!outPropValueAddress && !value.bytes.empty()) return paramErr;
  if (!value.bytes.empty()) std::memcpy(outPropValueAddress, value.bytes.data(), value.bytes.size());
  return noErr;
}

OSStatus QTMetaDataGetItemValue(QTMetaDataRef inMetaData, QTMetaDataItem inItem, UInt8* outValuePtr,
                                ByteCount inValueSize, ByteCount* outActualSize) {
  return QTMetaDataGetItemProperty(inMetaData, inItem, kPropertyClass_MetaDataItem, kQTMetaDataItemPropertyID_Value,
                                   inValueSize, outValuePtr, outActualSize);
}
