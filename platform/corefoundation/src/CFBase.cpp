#include "CFObject.h"

namespace {
std::atomic<long> liveObjects{0};
}

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFAllocatorRef kCFAllocatorNull = nullptr;

__CFObject::__CFObject(CFTypeID id, bool isImmortal) : typeID(id), immortal(isImmortal) {
  if (!immortal) ++liveObjects;
}
__CFObject::~__CFObject() {
  if (!immortal) --liveObjects;
}

CFTypeRef CFRetain(CFTypeRef cf) {
  auto* object = static_cast<const __CFObject*>(cf);
  if (object && !object->immortal) const_cast<__CFObject*>(object)->retainCount.fetch_add(1);
  return cf;
}

void CFRelease(CFTypeRef cf) {
  auto* object = const_cast<__CFObject*>(static_cast<const __CFObject*>(cf));
  if (!object || object->immortal) return;
  if (object->retainCount.fetch_sub(1) == 1) delete object;
}

CFIndex CFGetRetainCount(CFTypeRef cf) {
  auto* object = static_cast<const __CFObject*>(cf);
  if (!object) return 0;
  // Constants report a very large count, as they never go away.
  return object->immortal ? 0x7FFFFFFF : object->retainCount.load();
}

CFTypeID CFGetTypeID(CFTypeRef cf) {
  auto* object = static_cast<const __CFObject*>(cf);
  return object ? object->typeID : 0;
}

Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2) {
  if (cf1 == cf2) return true;
  auto* a = static_cast<const __CFObject*>(cf1);
  auto* b = static_cast<const __CFObject*>(cf2);
  if (!a || !b || a->typeID != b->typeID) return false;
  return a->equals(*b);
}

CFHashCode CFHash(CFTypeRef cf) {
  auto* object = static_cast<const __CFObject*>(cf);
  return object ? object->hash() : 0;
}

long VqtCFLiveObjectCount() { return liveObjects.load(); }
