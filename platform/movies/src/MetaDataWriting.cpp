// Writing QuickTime metadata: adding and removing items of a movie's 'mdta'
// store. The store is the movie's own, so the items reach the file with the
// movie's next header.
#include "MovieState.h"

#include <algorithm>
#include <cstring>

using namespace vqt::movies;

namespace {

MetaDataObject* writableMetaData(QTMetaDataRef ref) {
  auto* metadata = reinterpret_cast<MetaDataObject*>(ref);
  return metadata && isLive(metadata) ? metadata : nullptr;
}

bool isQuickTimeFormat(OSType format) { return format == 0 || format == 'mdta'; }

}  // namespace

OSStatus QTMetaDataAddItem(QTMetaDataRef inMetaData, QTMetaDataStorageFormat inMetaDataFormat,
                           QTMetaDataKeyFormat inKeyFormat, const UInt8* inKeyPtr, ByteCount inKeySize,
                           const UInt8* inValuePtr, ByteCount inValueSize, UInt32 inDataType, QTMetaDataItem* outItem) {
  if (outItem) *outItem = kQTMetaDataItemUninitialized;
  MetaDataObject* metadata = writableMetaData(inMetaData);
  if (!metadata) return setMoviesError(kQTMetaDataInvalidMetaDataErr);
  if (!isQuickTimeFormat(inMetaDataFormat)) return setMoviesError(kQTMetaDataInvalidStorageFormatErr);
  if (!isQuickTimeFormat(inKeyFormat)) return setMoviesError(kQTMetaDataInvalidKeyFormatErr);
  if (!inKeyPtr || inKeySize == 0 || (inValueSize > 0 && !inValuePtr) || inDataType > 0x00FFFFFF)
    return setMoviesError(paramErr);
  engine::MetadataItem item;
  item.keyNamespace = 'mdta';
  item.key.assign(inKeyPtr, inKeyPtr + inKeySize);
  item.dataType = inDataType;
  if (inValueSize) item.value.assign(inValuePtr, inValuePtr + inValueSize);
  const QTMetaDataItem id = metadata->nextId++;
  metadata->entries.push_back({id, std::move(item)});
  if (outItem) *outItem = id;
  return setMoviesError(noErr);
}

OSStatus QTMetaDataRemoveItemsWithKey(QTMetaDataRef inMetaData, QTMetaDataStorageFormat inMetaDataFormat,
                                      QTMetaDataKeyFormat inKeyFormat, const UInt8* inKeyPtr, ByteCount inKeySize) {
  MetaDataObject* metadata = writableMetaData(inMetaData);
  if (!metadata || !isQuickTimeFormat(inMetaDataFormat) || !isQuickTimeFormat(inKeyFormat) ||
      (inKeySize > 0 && !inKeyPtr))
    return setMoviesError(paramErr);
  auto& entries = metadata->entries;
  entries.erase(
      std::remove_if(entries.begin(), entries.end(),
                     [&](const MetaDataObject::Entry& entry) {
                       return entry.item.key.size() == inKeySize &&
                              (inKeySize == 0 || std::memcmp(entry.item.key.data(), inKeyPtr, inKeySize) == 0);
                     }),
      entries.end());
  // As in QuickTime, finding nothing to remove is not an error.
  return setMoviesError(noErr);
}

OSStatus QTMetaDataRemoveItem(QTMetaDataRef inMetaData, QTMetaDataItem inItem) {
  MetaDataObject* metadata = writableMetaData(inMetaData);
  if (!metadata) return setMoviesError(paramErr);
  auto& entries = metadata->entries;
  auto found = std::find_if(entries.begin(), entries.end(), [inItem](const auto& e) { return e.id == inItem; });
  if (found == entries.end()) return setMoviesError(kQTMetaDataInvalidItemErr);
  entries.erase(found);
  return setMoviesError(noErr);
}
