// Texts read from a movie are bytes the file chose; every text the library
// hands out (properties, metadata, descriptions) and every JSON string the
// command-line tool writes is made valid UTF-8 by this one function first.
#pragma once

#include <vantor/Export.h>

#include <string>
#include <string_view>

namespace Vantor::Property {

// `text` with each invalid UTF-8 sequence replaced by U+FFFD. A sequence is
// invalid when it is a stray continuation byte, a lead byte without all its
// continuation bytes, an overlong form, a surrogate (U+D800..U+DFFF) or above
// U+10FFFF; each maximal invalid prefix becomes one replacement character, so
// the good bytes after it are kept. Valid text comes back unchanged.
VANTOR_EXPORT std::string validUtf8(std::string_view text);

}  // namespace Vantor::Property
