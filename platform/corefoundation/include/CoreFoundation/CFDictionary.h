// Key-value collections. With the kCFType callbacks keys are compared with
// CFEqual and keys and values are retained; with null callbacks they are
// compared by pointer and stored as they are.
#pragma once

#include <CoreFoundation/CFBase.h>

typedef const struct __CFDictionary* CFDictionaryRef;
typedef struct __CFDictionary* CFMutableDictionaryRef;

struct CFDictionaryKeyCallBacks {
  CFIndex version;
  const void* (*retain)(CFAllocatorRef, const void*);
  void (*release)(CFAllocatorRef, const void*);
  CFStringRef (*copyDescription)(const void*);
  Boolean (*equal)(const void*, const void*);
  CFHashCode (*hash)(const void*);
};
struct CFDictionaryValueCallBacks {
  CFIndex version;
  const void* (*retain)(CFAllocatorRef, const void*);
  void (*release)(CFAllocatorRef, const void*);
  CFStringRef (*copyDescription)(const void*);
  Boolean (*equal)(const void*, const void*);
};
extern const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
extern const CFDictionaryKeyCallBacks kCFCopyStringDictionaryKeyCallBacks;
extern const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;

CFTypeID CFDictionaryGetTypeID();
CFDictionaryRef CFDictionaryCreate(CFAllocatorRef alloc, const void** keys, const void** values, CFIndex numValues,
                                   const CFDictionaryKeyCallBacks* keyCallBacks,
                                   const CFDictionaryValueCallBacks* valueCallBacks);
CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef alloc, CFIndex capacity,
                                                 const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks);
CFIndex CFDictionaryGetCount(CFDictionaryRef theDict);
const void* CFDictionaryGetValue(CFDictionaryRef theDict, const void* key);
Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef theDict, const void* key, const void** value);
Boolean CFDictionaryContainsKey(CFDictionaryRef theDict, const void* key);
void CFDictionaryGetKeysAndValues(CFDictionaryRef theDict, const void** keys, const void** values);
// Adds or replaces.
void CFDictionarySetValue(CFMutableDictionaryRef theDict, const void* key, const void* value);
// Adds only when the key is absent.
void CFDictionaryAddValue(CFMutableDictionaryRef theDict, const void* key, const void* value);
void CFDictionaryRemoveValue(CFMutableDictionaryRef theDict, const void* key);
