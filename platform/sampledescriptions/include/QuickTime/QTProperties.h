// Types of the property-style calls (class, ID, value pointer and size) that
// image descriptions, sound descriptions, sessions and metadata share.
#pragma once

#include <Carbon/MacErrors.h>
#include <Carbon/MacTypes.h>

typedef OSType QTPropertyClass;
typedef OSType QTPropertyID;
typedef OSType QTPropertyValueType;
typedef void* QTPropertyValuePtr;
typedef const void* ConstQTPropertyValuePtr;
typedef UInt32 QTPropertyFlags;

constexpr QTPropertyFlags kComponentPropertyFlagCanSetLater = 1u << 0;
constexpr QTPropertyFlags kComponentPropertyFlagCanSetNow = 1u << 1;
constexpr QTPropertyFlags kComponentPropertyFlagCanGetLater = 1u << 2;
constexpr QTPropertyFlags kComponentPropertyFlagCanGetNow = 1u << 3;
constexpr QTPropertyFlags kComponentPropertyFlagHasExtendedInfo = 1u << 4;
constexpr QTPropertyFlags kComponentPropertyFlagValueMustBeReleased = 1u << 5;
constexpr QTPropertyFlags kComponentPropertyFlagValueIsCFTypeRef = 1u << 6;
constexpr QTPropertyFlags kComponentPropertyFlagGetBufferMustBeInitialized = 1u << 7;
constexpr QTPropertyFlags kComponentPropertyFlagWillNotify = 1u << 8;

// Value types named in property-info answers.
constexpr QTPropertyValueType kQTPropertyValueTypeFixed = 'fixd';
constexpr QTPropertyValueType kQTPropertyValueTypeSInt32 = 'si32';
constexpr QTPropertyValueType kQTPropertyValueTypeUInt32 = 'ui32';
constexpr QTPropertyValueType kQTPropertyValueTypeOSType = 'osty';
constexpr QTPropertyValueType kQTPropertyValueTypeFloat64 = 'fl64';
constexpr QTPropertyValueType kQTPropertyValueTypeCFTypeRef = 'cfty';
