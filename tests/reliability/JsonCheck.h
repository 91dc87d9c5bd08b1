// A strict JSON syntax check (RFC 8259, strings held to valid UTF-8), so that
// tests can tell whether a document any parser would accept came out.
#pragma once

#include <string_view>

namespace Vantor::QuickTime::Reliability {

bool isValidJson(std::string_view text);

}  // namespace Vantor::QuickTime::Reliability
