// Arrays and dictionaries. Their callbacks decide retention and key equality,
// so dictionaries of CF objects and of plain pointers both work. Dictionaries
// here are small (attributes, options), so a vector with linear search is the
// right structure.
#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFDictionary.h>

#include <new>
#include <utility>
#include <vector>

#include "CFObject.h"

namespace {

const void* retainValue(CFAllocatorRef, const void* value) { return CFRetain(value); }
void releaseValue(CFAllocatorRef, const void* value) { CFRelease(value); }
Boolean equalValues(const void* a, const void* b) { return CFEqual(a, b); }
CFHashCode hashValue(const void* value) { return CFHash(value); }

// What a collection does with the values it holds.
struct Retention {
  const void* (*retain)(CFAllocatorRef, const void*) = nullptr;
  void (*release)(CFAllocatorRef, const void*) = nullptr;
  Boolean (*equal)(const void*, const void*) = nullptr;

  const void* hold(const void* v) const { return retain && v ? retain(nullptr, v) : v; }
  void drop(const void* v) const {
    if (release && v) release(nullptr, v);
  }
  bool same(const void* a, const void* b) const { return a == b || (equal && a && b && equal(a, b)); }
};

}  // namespace

const CFArrayCallBacks kCFTypeArrayCallBacks = {0, retainValue, releaseValue, nullptr, equalValues};
const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks = {0,       retainValue, releaseValue,
                                                                nullptr, equalValues, hashValue};
// Keys are immutable strings here, so retaining them is as good as copying them.
const CFDictionaryKeyCallBacks kCFCopyStringDictionaryKeyCallBacks = kCFTypeDictionaryKeyCallBacks;
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks = {0, retainValue, releaseValue, nullptr, equalValues};

struct __CFArray : __CFObject {
  static constexpr CFTypeID kTypeID = kVqtArrayTypeID;
  explicit __CFArray(Retention r) : __CFObject(kTypeID), retention(r) {}
  ~__CFArray() override {
    for (const void* v : values) retention.drop(v);
  }
  bool equals(const __CFObject& other) const override {
    auto& o = static_cast<const __CFArray&>(other);
    if (values.size() != o.values.size()) return false;
    for (size_t i = 0; i < values.size(); ++i)
      if (!retention.same(values[i], o.values[i])) return false;
    return true;
  }
  const Retention retention;
  std::vector<const void*> values;
};

struct __CFDictionary : __CFObject {
  static constexpr CFTypeID kTypeID = kVqtDictionaryTypeID;
  __CFDictionary(Retention k, Retention v) : __CFObject(kTypeID), keys(k), values(v) {}
  ~__CFDictionary() override {
    for (auto& [key, value] : entries) {
      keys.drop(key);
      values.drop(value);
    }
  }
  std::pair<const void*, const void*>* find(const void* key) {
    for (auto& entry : entries)
      if (keys.same(entry.first, key)) return &entry;
    return nullptr;
  }
  const Retention keys;
  const Retention values;
  std::vector<std::pair<const void*, const void*>> entries;
};

namespace {

Retention arrayRetention(const CFArrayCallBacks* cb) {
  return cb ? Retention{cb->retain, cb->release, cb->equal} : Retention{};
}
Retention keyRetention(const CFDictionaryKeyCallBacks* cb) {
  return cb ? Retention{cb->retain, cb->release, cb->equal} : Retention{};
}
Retention valueRetention(const CFDictionaryValueCallBacks* cb) {
  return cb ? Retention{cb->retain, cb->release, cb->equal} : Retention{};
}

}  // namespace

CFTypeID CFArrayGetTypeID() { return kVqtArrayTypeID; }

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef, CFIndex, const CFArrayCallBacks* callBacks) {
  return new (std::nothrow) __CFArray(arrayRetention(callBacks));
}

CFArrayRef CFArrayCreate(CFAllocatorRef alloc, const void** values, CFIndex numValues,
                         const CFArrayCallBacks* callBacks) {
  if (numValues < 0 || (numValues && !values)) return nullptr;
  CFMutableArrayRef array = CFArrayCreateMutable(alloc, numValues, callBacks);
  for (CFIndex i = 0; array && i < numValues; ++i) CFArrayAppendValue(array, values[i]);
  return array;
}

CFIndex CFArrayGetCount(CFArrayRef theArray) {
  const __CFArray* a = vqtCFCast<__CFArray>(theArray);
  return a ? CFIndex(a->values.size()) : 0;
}

const void* CFArrayGetValueAtIndex(CFArrayRef theArray, CFIndex idx) {
  const __CFArray* a = vqtCFCast<__CFArray>(theArray);
  if (!a || idx < 0 || size_t(idx) >= a->values.size()) return nullptr;
  return a->values[idx];
}

void CFArrayAppendValue(CFMutableArrayRef theArray, const void* value) {
  if (__CFArray* a = vqtCFCastMutable<__CFArray>(theArray)) a->values.push_back(a->retention.hold(value));
}

void CFArrayRemoveAllValues(CFMutableArrayRef theArray) {
  __CFArray* a = vqtCFCastMutable<__CFArray>(theArray);
  if (!a) return;
  for (const void* v : a->values) a->retention.drop(v);
  a->values.clear();
}

CFTypeID CFDictionaryGetTypeID() { return kVqtDictionaryTypeID; }

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef, CFIndex, const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks) {
  return new (std::nothrow) __CFDictionary(keyRetention(keyCallBacks), valueRetention(valueCallBacks));
}

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef alloc, const void** keys, const void** values, CFIndex numValues,
                                   const CFDictionaryKeyCallBacks* keyCallBacks,
                                   const CFDictionaryValueCallBacks* valueCallBacks) {
  if (numValues < 0 || (numValues && (!keys || !values))) return nullptr;
  CFMutableDictionaryRef dict = CFDictionaryCreateMutable(alloc, numValues, keyCallBacks, valueCallBacks);
  for (CFIndex i = 0; dict && i < numValues; ++i) CFDictionarySetValue(dict, keys[i], values[i]);
  return dict;
}

CFIndex CFDictionaryGetCount(CFDictionaryRef theDict) {
  const __CFDictionary* d = vqtCFCast<__CFDictionary>(theDict);
  return d ? CFIndex(d->entries.size()) : 0;
}

Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef theDict, const void* key, const void** value) {
  __CFDictionary* d = vqtCFCastMutable<__CFDictionary>(theDict);
  auto* entry = d ? d->find(key) : nullptr;
  if (!entry) return false;
  if (value) *value = entry->second;
  return true;
}

const void* CFDictionaryGetValue(CFDictionaryRef theDict, const void* key) {
  const void* value = nullptr;
  return CFDictionaryGetValueIfPresent(theDict, key, &value) ? value : nullptr;
}

Boolean CFDictionaryContainsKey(CFDictionaryRef theDict, const void* key) {
  return CFDictionaryGetValueIfPresent(theDict, key, nullptr);
}

void CFDictionaryGetKeysAndValues(CFDictionaryRef theDict, const void** keys, const void** values) {
  const __CFDictionary* d = vqtCFCast<__CFDictionary>(theDict);
  if (!d) return;
  for (size_t i = 0; i < d->entries.size(); ++i) {
    if (keys) keys[i] = d->entries[i].first;
    if (values) values[i] = d->entries[i].second;
  }
}

void CFDictionarySetValue(CFMutableDictionaryRef theDict, const void* key, const void* value) {
  __CFDictionary* d = vqtCFCastMutable<__CFDictionary>(theDict);
  if (!d) return;
  if (auto* entry = d->find(key)) {
    const void* old = entry->second;
    entry->second = d->values.hold(value);
    d->values.drop(old);
    return;
  }
  d->entries.emplace_back(d->keys.hold(key), d->values.hold(value));
}

void CFDictionaryAddValue(CFMutableDictionaryRef theDict, const void* key, const void* value) {
  if (!CFDictionaryContainsKey(theDict, key)) CFDictionarySetValue(theDict, key, value);
}

void CFDictionaryRemoveValue(CFMutableDictionaryRef theDict, const void* key) {
  __CFDictionary* d = vqtCFCastMutable<__CFDictionary>(theDict);
  auto* entry = d ? d->find(key) : nullptr;
  if (!entry) return;
  const auto removed = *entry;
  d->entries.erase(d->entries.begin() + (entry - d->entries.data()));
  d->keys.drop(removed.first);
  d->values.drop(removed.second);
}
