#include <CoreFoundation/CFData.h>

#include <cstring>
#include <new>
#include <vector>

#include "CFObject.h"

struct __CFData : __CFObject {
  static constexpr CFTypeID kTypeID = kVqtDataTypeID;
  __CFData() : __CFObject(kTypeID) {}
  bool equals(const __CFObject& other) const override { return bytes == static_cast<const __CFData&>(other).bytes; }
  std::vector<UInt8> bytes;
};

CFTypeID CFDataGetTypeID() { return kVqtDataTypeID; }

CFDataRef CFDataCreate(CFAllocatorRef alloc, const UInt8* bytes, CFIndex length) {
  if (length < 0 || (length && !bytes)) return nullptr;
  CFMutableDataRef data = CFDataCreateMutable(alloc, 0);
  if (data) CFDataAppendBytes(data, bytes, length);
  return data;
}

CFMutableDataRef CFDataCreateMutable(CFAllocatorRef, CFIndex) { return new (std::nothrow) __CFData; }

CFIndex CFDataGetLength(CFDataRef theData) {
  const __CFData* d = vqtCFCast<__CFData>(theData);
  return d ? CFIndex(d->bytes.size()) : 0;
}

const UInt8* CFDataGetBytePtr(CFDataRef theData) {
  const __CFData* d = vqtCFCast<__CFData>(theData);
  return d ? d->bytes.data() : nullptr;
}

UInt8* CFDataGetMutableBytePtr(CFMutableDataRef theData) {
  __CFData* d = vqtCFCastMutable<__CFData>(theData);
  return d ? d->bytes.data() : nullptr;
}

void CFDataSetLength(CFMutableDataRef theData, CFIndex length) {
  if (__CFData* d = vqtCFCastMutable<__CFData>(theData); d && length >= 0) d->bytes.resize(length);
}

void CFDataAppendBytes(CFMutableDataRef theData, const UInt8* bytes, CFIndex length) {
  __CFData* d = vqtCFCastMutable<__CFData>(theData);
  if (!d || length <= 0 || !bytes) return;
  d->bytes.insert(d->bytes.end(), bytes, bytes + length);
}

void CFDataGetBytes(CFDataRef theData, CFRange range, UInt8* buffer) {
  const __CFData* d = vqtCFCast<__CFData>(theData);
  if (!d || !buffer || range.location < 0 || range.length <= 0) return;
  if (size_t(range.location) > d->bytes.size() || d->bytes.size() - range.location < size_t(range.length)) return;
  std::memcpy(buffer, d->bytes.data() + range.location, range.length);
}
