// Property classes: construction, copying, formatting and the typed views.
#include <vantor/property/Property.h>

#include <algorithm>
#include <sstream>

namespace Vantor::Property {

namespace {

template <TypeEnum E>
struct ConcreteClass;
template <>
struct ConcreteClass<kInt> {
  using type = Int;
};
template <>
struct ConcreteClass<kDouble> {
  using type = Double;
};
template <>
struct ConcreteClass<kString> {
  using type = String;
};

template <typename T>
void writeValue(std::ostringstream& stream, const T& value) {
  stream << value;  // default flags and precision: doubles get 6 significant digits
}

template <typename Concrete>
Concrete* viewAs(Base* p, int type, unsigned expectedCount) {
  if (p == nullptr || p->type != type) return nullptr;
  if (expectedCount != 0 && p->size() != expectedCount) return nullptr;
  return static_cast<Concrete*>(p);
}

}  // namespace

Base::Base(const std::string& name, int type) : name(name), type(type) {}

Base::~Base() = default;

template <typename T, TypeEnum E>
PropertyTemplate<T, E>::PropertyTemplate(const std::string& name, unsigned count)
    : Base(name, E), values(count), fixedCount(count) {}

// A fixed copy is sized by fixedCount and gets every value. A growable source (fixedCount 0)
// would come out empty under that rule alone; its copy takes all the source's values instead,
// so a copy is always complete and independent.
template <typename T, TypeEnum E>
PropertyTemplate<T, E>::PropertyTemplate(const PropertyTemplate& other)
    : Base(other), values(other.fixedCount), fixedCount(other.fixedCount) {
  if (fixedCount == 0) {
    values = other.values;
  } else {
    const std::size_t count = std::min(values.size(), other.values.size());
    std::copy_n(other.values.begin(), count, values.begin());
  }
}

template <typename T, TypeEnum E>
PropertyTemplate<T, E>::~PropertyTemplate() = default;

// Clones are made as the concrete class (Int, Double, String), so a downcast by type tag in
// the typed views always lands on the object's real class.
template <typename T, TypeEnum E>
Base* PropertyTemplate<T, E>::clone() const {
  return new typename ConcreteClass<E>::type(*this);
}

template <typename T, TypeEnum E>
unsigned PropertyTemplate<T, E>::size() const {
  return static_cast<unsigned>(values.size());
}

template <typename T, TypeEnum E>
std::string PropertyTemplate<T, E>::toString() const {
  std::ostringstream stream;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i > 0) stream << ",";
    writeValue(stream, values[i]);
  }
  return stream.str();
}

template <typename T, TypeEnum E>
std::string PropertyTemplate<T, E>::toString(unsigned index) const {
  std::ostringstream stream;
  writeValue(stream, values[index]);
  return stream.str();
}

template <typename T, TypeEnum E>
void PropertyTemplate<T, E>::setValue(const T& value, unsigned index) {
  if (fixedCount == 0 && index >= values.size()) values.resize(std::size_t{index} + 1);
  values[index] = value;
}

template class PropertyTemplate<int, kInt>;
template class PropertyTemplate<double, kDouble>;
template class PropertyTemplate<std::string, kString>;

Int::Int(const std::string& name, unsigned count) : PropertyTemplate(name, count) {}
Int::Int(const PropertyTemplate& source) : PropertyTemplate(source) {}
Int::~Int() = default;

Double::Double(const std::string& name, unsigned count) : PropertyTemplate(name, count) {}
Double::Double(const PropertyTemplate& source) : PropertyTemplate(source) {}
Double::~Double() = default;

String::String(const std::string& name, unsigned count) : PropertyTemplate(name, count) {}
String::String(const PropertyTemplate& source) : PropertyTemplate(source) {}
String::~String() = default;

Int* asInt(Base* p, unsigned expectedCount) { return viewAs<Int>(p, kInt, expectedCount); }
const Int* asInt(const Base* p, unsigned expectedCount) { return asInt(const_cast<Base*>(p), expectedCount); }
Double* asDouble(Base* p, unsigned expectedCount) { return viewAs<Double>(p, kDouble, expectedCount); }
const Double* asDouble(const Base* p, unsigned expectedCount) { return asDouble(const_cast<Base*>(p), expectedCount); }
String* asString(Base* p, unsigned expectedCount) { return viewAs<String>(p, kString, expectedCount); }
const String* asString(const Base* p, unsigned expectedCount) { return asString(const_cast<Base*>(p), expectedCount); }

}  // namespace Vantor::Property
