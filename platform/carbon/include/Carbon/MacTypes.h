// Basic Mac OS types as QuickTime-era code expects them: fixed-width integers,
// result codes, four-character codes, Pascal strings, handles and rectangles.
#pragma once

#include <cstddef>
#include <cstdint>

typedef uint8_t UInt8;
typedef int8_t SInt8;
typedef uint16_t UInt16;
typedef int16_t SInt16;
typedef uint32_t UInt32;
typedef int32_t SInt32;
typedef uint64_t UInt64;
typedef int64_t SInt64;
typedef float Float32;
typedef double Float64;

typedef unsigned char Boolean;
typedef SInt16 OSErr;
typedef SInt32 OSStatus;
typedef UInt32 FourCharCode;
typedef FourCharCode OSType;
typedef FourCharCode ResType;
typedef SInt32 Fixed;  // 16.16
typedef Fixed* FixedPtr;
typedef char* Ptr;
typedef Ptr* Handle;
typedef long Size;
typedef UInt32 ByteCount;
typedef SInt32 ItemCount;
typedef UInt16 UniChar;

typedef SInt32 TimeValue;
typedef SInt32 TimeScale;
typedef SInt64 TimeValue64;

typedef unsigned char Str255[256];
typedef unsigned char Str63[64];
typedef unsigned char Str31[32];
typedef unsigned char* StringPtr;
typedef StringPtr* StringHandle;
typedef const unsigned char* ConstStringPtr;
typedef const unsigned char* ConstStr255Param;
typedef const unsigned char* ConstStr63Param;
typedef const unsigned char* ConstStr31Param;

struct Point {
  short v;
  short h;
};

struct Rect {
  short top;
  short left;
  short bottom;
  short right;
};

constexpr OSErr noErr = 0;

#ifndef nil
#define nil nullptr
#endif

// 16.16 fixed point, rounded the way the Toolbox does.
constexpr Fixed fixed1 = 0x00010000;
constexpr Fixed Long2Fix(long x) { return static_cast<Fixed>(static_cast<uint32_t>(x) << 16); }
constexpr long Fix2Long(Fixed x) { return x >> 16; }

// A four-character code from a string literal such as "apcn" (first character
// in the most significant byte, as the file format stores it).
constexpr OSType FourCC(const char (&text)[5]) {
  return (OSType(UInt8(text[0])) << 24) | (OSType(UInt8(text[1])) << 16) | (OSType(UInt8(text[2])) << 8) |
         OSType(UInt8(text[3]));
}
