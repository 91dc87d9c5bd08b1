// Fuzzes the property text form: arbitrary text read into properties, written
// back, and read again. The second reading must give as many properties, with
// the same types and names, as the first.
#include <vantor/property/PropertyText.h>

#include <cstdint>
#include <cstdlib>
#include <list>
#include <stdexcept>
#include <string>

using namespace Vantor::Property;

namespace {

struct OwnedList {
  std::list<Base*> items;
  ~OwnedList() {
    for (Base* item : items) delete item;
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  OwnedList first;
  try {
    propertiesFromText(text, first.items);
  } catch (const std::runtime_error&) {
    if (!first.items.empty()) std::abort();  // a split error appends nothing
    return 0;
  }
  const std::string written = propertiesToText(first.items);

  OwnedList second;
  propertiesFromText(written, second.items);  // our own text must always read back
  if (second.items.size() != first.items.size()) std::abort();
  for (auto a = first.items.begin(), b = second.items.begin(); a != first.items.end(); ++a, ++b) {
    if ((*a)->type != (*b)->type || (*a)->name != (*b)->name) std::abort();
  }
  return 0;
}
