// Immutable strings. Text is kept as UTF-8; lengths are counted in UTF-16 code
// units as Core Foundation counts them.
#pragma once

#include <CoreFoundation/CFBase.h>

constexpr CFStringEncoding kCFStringEncodingMacRoman = 0;
constexpr CFStringEncoding kCFStringEncodingASCII = 0x0600;
constexpr CFStringEncoding kCFStringEncodingISOLatin1 = 0x0201;
constexpr CFStringEncoding kCFStringEncodingUTF8 = 0x08000100;

// A string constant that lives for the whole process; CFRelease on it does nothing.
CFStringRef __CFStringMakeConstantString(const char* cStr);
#define CFSTR(cStr) __CFStringMakeConstantString("" cStr "")

CFTypeID CFStringGetTypeID();
CFStringRef CFStringCreateWithCString(CFAllocatorRef alloc, const char* cStr, CFStringEncoding encoding);
CFStringRef CFStringCreateWithBytes(CFAllocatorRef alloc, const UInt8* bytes, CFIndex numBytes,
                                    CFStringEncoding encoding, Boolean isExternalRepresentation);
CFStringRef CFStringCreateWithPascalString(CFAllocatorRef alloc, ConstStr255Param pStr, CFStringEncoding encoding);
CFStringRef CFStringCreateCopy(CFAllocatorRef alloc, CFStringRef theString);
CFIndex CFStringGetLength(CFStringRef theString);
CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);
// The string's bytes in `encoding` when they are available without conversion, else null.
const char* CFStringGetCStringPtr(CFStringRef theString, CFStringEncoding encoding);
// Copies the text with its terminating zero into `buffer`; false when it does not fit or cannot be converted.
Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize, CFStringEncoding encoding);
Boolean CFStringGetPascalString(CFStringRef theString, StringPtr buffer, CFIndex bufferSize, CFStringEncoding encoding);
CFComparisonResult CFStringCompare(CFStringRef a, CFStringRef b, CFOptionFlags options);

constexpr CFOptionFlags kCFCompareCaseInsensitive = 1;
