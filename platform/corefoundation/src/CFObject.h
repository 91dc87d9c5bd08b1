// The object model behind every CFTypeRef: a polymorphic base with an atomic
// retain count. Constants are immortal and ignore retain and release.
#pragma once

#include <CoreFoundation/CFBase.h>

#include <atomic>
#include <cstddef>

enum : CFTypeID {
  kVqtStringTypeID = 7,
  kVqtNumberTypeID = 22,
  kVqtBooleanTypeID = 21,
  kVqtDataTypeID = 20,
  kVqtArrayTypeID = 19,
  kVqtDictionaryTypeID = 18,
  kVqtURLTypeID = 29,
  kVqtBundleTypeID = 31,
};

struct __CFObject {
  explicit __CFObject(CFTypeID id, bool isImmortal = false);
  virtual ~__CFObject();
  __CFObject(const __CFObject&) = delete;
  __CFObject& operator=(const __CFObject&) = delete;

  virtual bool equals(const __CFObject& other) const { return this == &other; }
  virtual CFHashCode hash() const { return reinterpret_cast<CFHashCode>(this); }

  const CFTypeID typeID;
  const bool immortal;
  std::atomic<CFIndex> retainCount{1};
};

// Checked downcast: null when `cf` is null or not of type `T`.
template <typename T>
const T* vqtCFCast(CFTypeRef cf) {
  auto* object = static_cast<const __CFObject*>(cf);
  return object && object->typeID == T::kTypeID ? static_cast<const T*>(object) : nullptr;
}
template <typename T>
T* vqtCFCastMutable(CFTypeRef cf) {
  return const_cast<T*>(vqtCFCast<T>(cf));
}
