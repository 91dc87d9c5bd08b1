// QuickTime metadata of a movie: items of the 'mdta' store with their keys,
// data types and values, walked with QTMetaDataGetNextItem and read with the
// item property calls.
#pragma once

#include <QuickTime/MovieToolboxTypes.h>

struct OpaqueQTMetaDataRef;
typedef OpaqueQTMetaDataRef* QTMetaDataRef;
typedef UInt64 QTMetaDataItem;
typedef OSType QTMetaDataStorageFormat;
typedef OSType QTMetaDataKeyFormat;

constexpr QTMetaDataItem kQTMetaDataItemUninitialized = 0;
constexpr QTMetaDataStorageFormat kQTMetaDataStorageFormatWildcard = 0;
constexpr QTMetaDataStorageFormat kQTMetaDataStorageFormatQuickTime = 'mdta';
constexpr QTMetaDataStorageFormat kQTMetaDataStorageFormatiTunes = 'itms';
constexpr QTMetaDataStorageFormat kQTMetaDataStorageFormatUserData = 'udta';
constexpr QTMetaDataKeyFormat kQTMetaDataKeyFormatWildcard = 0;
constexpr QTMetaDataKeyFormat kQTMetaDataKeyFormatQuickTime = 'mdta';

constexpr QTPropertyClass kPropertyClass_MetaData = 'meta';
constexpr QTPropertyClass kPropertyClass_MetaDataItem = 'mdit';
constexpr QTPropertyID kQTMetaDataItemPropertyID_Value = 'valu';
constexpr QTPropertyID kQTMetaDataItemPropertyID_DataType = 'dtyp';
constexpr QTPropertyID kQTMetaDataItemPropertyID_StorageFormat = 'sfmt';
constexpr QTPropertyID kQTMetaDataItemPropertyID_Key = 'key ';
constexpr QTPropertyID kQTMetaDataItemPropertyID_KeyFormat = 'keyf';
constexpr QTPropertyID kQTMetaDataItemPropertyID_Locale = 'loc ';

// Well-known data types of item values.
constexpr UInt32 kQTMetaDataTypeBinary = 0;
constexpr UInt32 kQTMetaDataTypeUTF8 = 1;
constexpr UInt32 kQTMetaDataTypeUTF16BE = 2;
constexpr UInt32 kQTMetaDataTypeMacEncodedText = 3;
constexpr UInt32 kQTMetaDataTypeJPEGImage = 13;
constexpr UInt32 kQTMetaDataTypePNGImage = 14;
constexpr UInt32 kQTMetaDataTypeSignedIntegerBE = 21;
constexpr UInt32 kQTMetaDataTypeUnsignedIntegerBE = 22;
constexpr UInt32 kQTMetaDataTypeFloat32BE = 23;
constexpr UInt32 kQTMetaDataTypeFloat64BE = 24;
constexpr UInt32 kQTMetaDataTypeBMPImage = 27;
constexpr UInt32 kQTMetaDataTypeQuickTimeMetaData = 28;

OSStatus QTCopyMovieMetaData(Movie inMovie, QTMetaDataRef* outMetaData);
OSStatus QTMetaDataRetain(QTMetaDataRef inMetaData);
OSStatus QTMetaDataRelease(QTMetaDataRef inMetaData);
// kQTMetaDataNoMoreItemsErr after the last item. A key (with its format)
// limits the walk to items with that key.
OSStatus QTMetaDataGetNextItem(QTMetaDataRef inMetaData, QTMetaDataStorageFormat inMetaDataFormat,
                               QTMetaDataItem inCurrentItem, QTMetaDataKeyFormat inKeyFormat, const UInt8* inKeyPtr,
                               ByteCount inKeySize, QTMetaDataItem* outNextItem);
OSStatus QTMetaDataGetItemCountWithKey(QTMetaDataRef inMetaData, QTMetaDataStorageFormat inMetaDataFormat,
                                       QTMetaDataKeyFormat inKeyFormat, const UInt8* inKeyPtr, ByteCount inKeySize,
                                       ItemCount* outCount);
OSStatus QTMetaDataGetItemPropertyInfo(QTMetaDataRef inMetaData, QTMetaDataItem inItem, QTPropertyClass inPropClass,
                                       QTPropertyID inPropID, QTPropertyValueType* outPropType,
                                       ByteCount* outPropValueSize, UInt32* outPropFlags);
// A buffer smaller than the value fails with kQTPropertyBadValueSizeErr and
// reports the size needed.
OSStatus QTMetaDataGetItemProperty(QTMetaDataRef inMetaData, QTMetaDataItem inItem, QTPropertyClass inPropClass,
                                   QTPropertyID inPropID, ByteCount inPropValueSize,
                                   QTPropertyValuePtr outPropValueAddress, ByteCount* outPropValueSizeUsed);
OSStatus QTMetaDataGetItemValue(QTMetaDataRef inMetaData, QTMetaDataItem inItem, UInt8* outValuePtr,
                                ByteCount inValueSize, ByteCount* outActualSize);

// Writing items of the 'mdta' store (storage and key format 'mdta' or the
// wildcard). Values are stored as given, so numbers are passed big-endian as
// the file holds them. The movie's file receives them at the next
// UpdateMovieInStorage.
OSStatus QTMetaDataAddItem(QTMetaDataRef inMetaData, QTMetaDataStorageFormat inMetaDataFormat,
                           QTMetaDataKeyFormat inKeyFormat, const UInt8* inKeyPtr, ByteCount inKeySize,
                           const UInt8* inValuePtr, ByteCount inValueSize, UInt32 inDataType, QTMetaDataItem* outItem);
OSStatus QTMetaDataRemoveItemsWithKey(QTMetaDataRef inMetaData, QTMetaDataStorageFormat inMetaDataFormat,
                                      QTMetaDataKeyFormat inKeyFormat, const UInt8* inKeyPtr, ByteCount inKeySize);
OSStatus QTMetaDataRemoveItem(QTMetaDataRef inMetaData, QTMetaDataItem inItem);
