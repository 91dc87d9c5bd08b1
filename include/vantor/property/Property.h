// Named, typed, multi-valued properties: the values that travel between the host and the
// codec code (movie metadata read and written, settings). A property list is a
// std::list<Base*>; its owner deletes the objects through the virtual destructor.
#pragma once

#include <vantor/Export.h>

#include <string>
#include <vector>

namespace Vantor::Property {

// The type tag stored in every property. Properties are told apart by this tag only.
enum TypeEnum : int {
  kInt = 1,
  kDouble = 2,
  kString = 3,
};

class VANTOR_EXPORT Base {
 public:
  virtual ~Base();

  // A new heap object holding a copy of this property; the caller owns it.
  virtual Base* clone() const = 0;
  virtual unsigned size() const = 0;
  // All values formatted with default stream settings and joined by "," (no spaces).
  virtual std::string toString() const = 0;
  // The value at `index`, which must be below size(); not checked.
  virtual std::string toString(unsigned index) const = 0;

  std::string name;
  const int type;  // one of TypeEnum, fixed at construction

 protected:
  Base(const std::string& name, int type);
  Base(const Base& other) = default;
};

template <typename T, TypeEnum E>
class VANTOR_EXPORT PropertyTemplate : public Base {
 public:
  ~PropertyTemplate() override;

  Base* clone() const override;
  unsigned size() const override;
  std::string toString() const override;
  std::string toString(unsigned index) const override;

  // A growable property (fixedCount 0) first grows to index + 1 values when needed.
  // A fixed property does not grow and does not check: index must be below fixedCount.
  void setValue(const T& value, unsigned index);

  std::vector<T> values;
  // Non-zero: values always holds exactly this many elements. Zero: growable.
  const unsigned fixedCount;

 protected:
  // Only Int, Double and String are ever instantiated, so every object whose type tag is E
  // really is the matching concrete class and the typed views may downcast to it.
  PropertyTemplate(const std::string& name, unsigned count);
  PropertyTemplate(const PropertyTemplate& other);
};

// The three element types are instantiated once, in the library.
extern template class PropertyTemplate<int, kInt>;
extern template class PropertyTemplate<double, kDouble>;
extern template class PropertyTemplate<std::string, kString>;

class VANTOR_EXPORT Int : public PropertyTemplate<int, kInt> {
 public:
  Int(const std::string& name, unsigned count);
  explicit Int(const PropertyTemplate& source);
  ~Int() override;
};

class VANTOR_EXPORT Double : public PropertyTemplate<double, kDouble> {
 public:
  Double(const std::string& name, unsigned count);
  explicit Double(const PropertyTemplate& source);
  ~Double() override;
};

class VANTOR_EXPORT String : public PropertyTemplate<std::string, kString> {
 public:
  String(const std::string& name, unsigned count);
  explicit String(const PropertyTemplate& source);
  ~String() override;
};

// Typed views: `p` as the concrete class when its type tag matches and either expectedCount
// is 0 or p->size() == expectedCount; null otherwise (also for a null `p`).
VANTOR_EXPORT Int* asInt(Base* p, unsigned expectedCount);
VANTOR_EXPORT const Int* asInt(const Base* p, unsigned expectedCount);
VANTOR_EXPORT Double* asDouble(Base* p, unsigned expectedCount);
VANTOR_EXPORT const Double* asDouble(const Base* p, unsigned expectedCount);
VANTOR_EXPORT String* asString(Base* p, unsigned expectedCount);
VANTOR_EXPORT const String* asString(const Base* p, unsigned expectedCount);

}  // namespace Vantor::Property
