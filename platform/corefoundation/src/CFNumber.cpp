// Numbers keep either a 64-bit integer or a double, and remember the type they
// were created with; reading converts, reporting whether the value survived.
#include <CoreFoundation/CFNumber.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <new>

#include "CFObject.h"

struct __CFNumber : __CFObject {
  static constexpr CFTypeID kTypeID = kVqtNumberTypeID;
  __CFNumber(CFNumberType t, bool isFloat, SInt64 i, double d)
      : __CFObject(kTypeID), type(t), floating(isFloat), integer(i), real(d) {}
  bool equals(const __CFObject& other) const override {
    auto& o = static_cast<const __CFNumber&>(other);
    if (floating || o.floating) return (floating ? real : double(integer)) == (o.floating ? o.real : double(o.integer));
    return integer == o.integer;
  }
  CFHashCode hash() const override { return floating ? CFHashCode(SInt64(real)) : CFHashCode(integer); }
  const CFNumberType type;
  const bool floating;
  const SInt64 integer;
  const double real;
};

struct __CFBoolean : __CFObject {
  static constexpr CFTypeID kTypeID = kVqtBooleanTypeID;
  explicit __CFBoolean(bool v) : __CFObject(kTypeID, true), value(v) {}
  const bool value;
};

namespace {

const __CFBoolean trueValue(true);
const __CFBoolean falseValue(false);

bool isFloatType(CFNumberType t) {
  return t == kCFNumberFloat32Type || t == kCFNumberFloat64Type || t == kCFNumberFloatType ||
         t == kCFNumberDoubleType || t == kCFNumberCGFloatType;
}

template <typename T>
bool storeInteger(SInt64 v, void* out) {
  const T narrowed = static_cast<T>(v);
  std::memcpy(out, &narrowed, sizeof narrowed);
  return static_cast<SInt64>(narrowed) == v;
}

template <typename T>
bool storeFloat(double v, void* out) {
  const T narrowed = static_cast<T>(v);
  std::memcpy(out, &narrowed, sizeof narrowed);
  return std::isnan(v) || static_cast<double>(narrowed) == v;
}

}  // namespace

const CFBooleanRef kCFBooleanTrue = &trueValue;
const CFBooleanRef kCFBooleanFalse = &falseValue;

CFTypeID CFBooleanGetTypeID() { return kVqtBooleanTypeID; }
Boolean CFBooleanGetValue(CFBooleanRef boolean) {
  const __CFBoolean* b = vqtCFCast<__CFBoolean>(boolean);
  return b && b->value;
}

CFTypeID CFNumberGetTypeID() { return kVqtNumberTypeID; }

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType theType, const void* valuePtr) {
  if (!valuePtr) return nullptr;
  SInt64 integer = 0;
  double real = 0;
  switch (theType) {
    case kCFNumberSInt8Type:
    case kCFNumberCharType:
      integer = *static_cast<const SInt8*>(valuePtr);
      break;
    case kCFNumberSInt16Type:
    case kCFNumberShortType:
      integer = *static_cast<const SInt16*>(valuePtr);
      break;
    case kCFNumberSInt32Type:
    case kCFNumberIntType:
      integer = *static_cast<const SInt32*>(valuePtr);
      break;
    case kCFNumberSInt64Type:
    case kCFNumberLongLongType:
      integer = *static_cast<const SInt64*>(valuePtr);
      break;
    case kCFNumberLongType:
      integer = *static_cast<const long*>(valuePtr);
      break;
    case kCFNumberCFIndexType:
    case kCFNumberNSIntegerType:
      integer = *static_cast<const CFIndex*>(valuePtr);
      break;
    case kCFNumberFloat32Type:
    case kCFNumberFloatType:
      real = *static_cast<const Float32*>(valuePtr);
      break;
    case kCFNumberFloat64Type:
    case kCFNumberDoubleType:
    case kCFNumberCGFloatType:
      real = *static_cast<const Float64*>(valuePtr);
      break;
    default:
      return nullptr;
  }
  return new (std::nothrow) __CFNumber(theType, isFloatType(theType), integer, real);
}

CFNumberType CFNumberGetType(CFNumberRef number) {
  const __CFNumber* n = vqtCFCast<__CFNumber>(number);
  return n ? n->type : kCFNumberSInt32Type;
}

Boolean CFNumberIsFloatType(CFNumberRef number) {
  const __CFNumber* n = vqtCFCast<__CFNumber>(number);
  return n && n->floating;
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType theType, void* valuePtr) {
  const __CFNumber* n = vqtCFCast<__CFNumber>(number);
  if (!n || !valuePtr) return false;
  if (isFloatType(theType)) {
    const double v = n->floating ? n->real : double(n->integer);
    if (theType == kCFNumberFloat32Type || theType == kCFNumberFloatType) return storeFloat<Float32>(v, valuePtr);
    return storeFloat<Float64>(v, valuePtr);
  }
  SInt64 v = n->integer;
  bool exact = true;
  if (n->floating) {
    // Float to integer truncates toward zero and saturates, as CFNumber does.
    const double r = n->real;
    exact = std::trunc(r) == r;
    if (std::isnan(r))
      v = 0;
    else if (r >= 9.2233720368547758e18)
      v = std::numeric_limits<SInt64>::max();
    else if (r <= -9.2233720368547758e18)
      v = std::numeric_limits<SInt64>::min();
    else
      v = static_cast<SInt64>(r);
  }
  bool fits = false;
  switch (theType) {
    case kCFNumberSInt8Type:
    case kCFNumberCharType:
      fits = storeInteger<SInt8>(v, valuePtr);
      break;
    case kCFNumberSInt16Type:
    case kCFNumberShortType:
      fits = storeInteger<SInt16>(v, valuePtr);
      break;
    case kCFNumberSInt32Type:
    case kCFNumberIntType:
      fits = storeInteger<SInt32>(v, valuePtr);
      break;
    case kCFNumberSInt64Type:
    case kCFNumberLongLongType:
      fits = storeInteger<SInt64>(v, valuePtr);
      break;
    case kCFNumberLongType:
      fits = storeInteger<long>(v, valuePtr);
      break;
    case kCFNumberCFIndexType:
    case kCFNumberNSIntegerType:
      fits = storeInteger<CFIndex>(v, valuePtr);
      break;
    default:
      return false;
  }
  return fits && exact;
}
