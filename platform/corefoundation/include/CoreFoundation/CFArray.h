// Ordered collections. With kCFTypeArrayCallBacks the array retains its values;
// with null callbacks it stores the pointers as they are.
#pragma once

#include <CoreFoundation/CFBase.h>

typedef const struct __CFArray* CFArrayRef;
typedef struct __CFArray* CFMutableArrayRef;

struct CFArrayCallBacks {
  CFIndex version;
  const void* (*retain)(CFAllocatorRef, const void*);
  void (*release)(CFAllocatorRef, const void*);
  CFStringRef (*copyDescription)(const void*);
  Boolean (*equal)(const void*, const void*);
};
extern const CFArrayCallBacks kCFTypeArrayCallBacks;

CFTypeID CFArrayGetTypeID();
CFArrayRef CFArrayCreate(CFAllocatorRef alloc, const void** values, CFIndex numValues,
                         const CFArrayCallBacks* callBacks);
CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef alloc, CFIndex capacity, const CFArrayCallBacks* callBacks);
CFIndex CFArrayGetCount(CFArrayRef theArray);
const void* CFArrayGetValueAtIndex(CFArrayRef theArray, CFIndex idx);
void CFArrayAppendValue(CFMutableArrayRef theArray, const void* value);
void CFArrayRemoveAllValues(CFMutableArrayRef theArray);
