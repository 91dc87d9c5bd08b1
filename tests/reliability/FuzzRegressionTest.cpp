// Inputs the fuzzers found crashing, kept as ordinary tests once fixed.
#include <gtest/gtest.h>
#include <vantor/property/PropertyText.h>

#include <list>
#include <string>

using namespace Vantor::Property;

// More fields than one node of the deque holds, the text ending with a
// separator: splitting wrote past the fields it had allocated.
TEST(FuzzRegression, SplitOfManyFieldsEndingWithASeparator) {
  for (const char* separator : {":", ","}) {
    std::string text;
    for (int i = 0; i < 40; ++i) text += separator;
    EXPECT_EQ(splitEscaped(text, separator).size(), 41u) << separator;
    std::string named;
    for (int i = 0; i < 16; ++i) named += std::string("a") + separator;
    const auto fields = splitEscaped(named, separator);
    ASSERT_EQ(fields.size(), 17u);
    EXPECT_EQ(fields.front(), "a");
    EXPECT_EQ(fields.back(), "");
  }
  std::list<Base*> properties;
  propertiesFromText("::::::::::::::::", properties);
  EXPECT_EQ(properties.size(), 5u);
  for (Base* property : properties) delete property;
}
