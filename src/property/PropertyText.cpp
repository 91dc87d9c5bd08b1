// Writing and reading the one-line text form of property lists.
#include <vantor/property/PropertyText.h>

#include <sstream>

#include <boost/token_functions.hpp>
#include <boost/tokenizer.hpp>

namespace Vantor::Property {

namespace {

// Replaces every `from` by `to`, resuming after the replacement so nothing is escaped twice.
void replaceAll(std::string& text, const std::string& from, const std::string& to) {
  for (std::size_t pos = text.find(from); pos != std::string::npos; pos = text.find(from, pos + to.size())) {
    text.replace(pos, from.size(), to);
  }
}

const char* tagFor(int type) {
  switch (type) {
    case kInt:
      return "I";
    case kDouble:
      return "D";
    default:
      return "S";
  }
}

// The leading number of `text`, as operator>> reads it. A failed read (no number at the start,
// or one out of the type's range) gives 0 rather than whatever the stream left behind.
template <typename T>
T readLeadingNumber(const std::string& text) {
  std::istringstream stream(text);
  T value{};
  if (!(stream >> value)) value = T{};
  return value;
}

}  // namespace

std::string escapeField(const std::string& text, const std::string& separator) {
  std::string field = text;
  replaceAll(field, kEscape, kEscape + kEscape);
  replaceAll(field, kQuote, kEscape + kQuote);
  // An empty separator can never split a field, so it never asks for quotes.
  if (!separator.empty() && field.find(separator) != std::string::npos) {
    field = kQuote + field + kQuote;
  }
  return field;
}

std::string joinFields(const std::vector<std::string>& fields, const std::string& separator) {
  std::string text;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (i > 0) text += separator;
    // Quoting is decided against the property separator whatever joins the fields; the
    // text form is the only user and joins with that same separator.
    text += escapeField(fields[i], kSeparator);
  }
  return text;
}

std::string propertiesToText(const std::list<Base*>& properties) {
  std::vector<std::string> fields;
  fields.reserve(properties.size() * 3);
  for (const Base* property : properties) {
    fields.emplace_back(tagFor(property->type));
    fields.push_back(property->name);
    fields.push_back(property->toString());
  }
  return joinFields(fields, kSeparator);
}

std::deque<std::string> splitEscaped(const std::string& text, const std::string& separator) {
  using Separator = boost::escaped_list_separator<char>;
  const boost::tokenizer<Separator> tokens(text, Separator(kEscape, separator, kQuote));
  // Filled one token at a time: the range constructor copies a range of more than one node
  // in slices between iterator copies, and on a text that ends with a separator the
  // tokenizer's iterators at its last two fields compare equal, so the copy ran past the
  // memory it had allocated.
  std::deque<std::string> fields;
  for (const std::string& field : tokens) fields.push_back(field);
  return fields;
}

void propertiesFromText(const std::string& text, std::list<Base*>& properties) {
  const std::deque<std::string> fields = splitEscaped(text, kSeparator);
  for (std::size_t i = 0; i + 3 <= fields.size(); i += 3) {
    properties.push_back(makeProperty(fields[i], fields[i + 1], fields[i + 2]));
  }
}

Base* makeProperty(const std::string& tag, const std::string& name, const std::string& value) {
  if (tag == "I") {
    Int* property = new Int(name, 1);
    property->setValue(readLeadingNumber<int>(value), 0);
    return property;
  }
  if (tag == "D") {
    Double* property = new Double(name, 1);
    property->setValue(readLeadingNumber<double>(value), 0);
    return property;
  }
  String* property = new String(name, 1);
  property->setValue(value, 0);
  return property;
}

}  // namespace Vantor::Property
