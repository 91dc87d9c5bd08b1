// Byte buffers as Core Foundation objects.
#pragma once

#include <CoreFoundation/CFBase.h>

typedef const struct __CFData* CFDataRef;
typedef struct __CFData* CFMutableDataRef;

CFTypeID CFDataGetTypeID();
CFDataRef CFDataCreate(CFAllocatorRef alloc, const UInt8* bytes, CFIndex length);
CFMutableDataRef CFDataCreateMutable(CFAllocatorRef alloc, CFIndex capacity);
CFIndex CFDataGetLength(CFDataRef theData);
const UInt8* CFDataGetBytePtr(CFDataRef theData);
UInt8* CFDataGetMutableBytePtr(CFMutableDataRef theData);
void CFDataSetLength(CFMutableDataRef theData, CFIndex length);
void CFDataAppendBytes(CFMutableDataRef theData, const UInt8* bytes, CFIndex length);
void CFDataGetBytes(CFDataRef theData, CFRange range, UInt8* buffer);
