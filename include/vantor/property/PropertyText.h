// The one-line text form of a property list ("I:width:1920:D:fps:23.976:S:title:\"My: Movie\"")
// and the escaped-field splitter it rests on, which the settings-file reader shares.
// Fields are escaped with a backslash and quoted with double quotes when they hold a separator.
#pragma once

#include <deque>
#include <list>
#include <string>
#include <vector>

#include <vantor/property/Property.h>

namespace Vantor::Property {

inline const std::string kEscape = "\\";
inline const std::string kSeparator = ":";
inline const std::string kQuote = "\"";

// Doubles every backslash, escapes every double quote, then wraps the result in double
// quotes when it contains `separator`.
VANTOR_EXPORT std::string escapeField(const std::string& text, const std::string& separator);

// Escapes each field (quoting when it holds kSeparator) and joins them with `separator`.
VANTOR_EXPORT std::string joinFields(const std::vector<std::string>& fields, const std::string& separator);

// Three fields per property: tag ("I", "D", "S"), name, toString() of the values.
VANTOR_EXPORT std::string propertiesToText(const std::list<Base*>& properties);

// Splits `text` at any character of `separator`, honouring backslash escapes ("\n" is a
// newline) and double-quote quoting. A trailing separator yields one more, empty, field;
// empty text yields none. Throws boost::escaped_list_error (a std::runtime_error) with
// "unknown escape sequence" or "cannot end with escape".
VANTOR_EXPORT std::deque<std::string> splitEscaped(const std::string& text, const std::string& separator);

// Appends one new property per complete group of three fields; one or two leftover fields are
// ignored. The text is split before anything is created, so a split error appends nothing.
// The caller owns the new objects.
VANTOR_EXPORT void propertiesFromText(const std::string& text, std::list<Base*>& properties);

// One single-valued property from a tag, a name and a value text: "I" reads an int, "D" a
// double (leading number only, 0 when there is none), any other tag keeps the text as a
// String. The caller owns the result.
VANTOR_EXPORT Base* makeProperty(const std::string& tag, const std::string& name, const std::string& value);

}  // namespace Vantor::Property
