// Text form of property lists: escaping, splitting, reading back, and the splitter's errors.
#include <vantor/property/PropertyText.h>

#include <deque>
#include <list>
#include <memory>
#include <string>

#include <boost/token_functions.hpp>
#include <gtest/gtest.h>

namespace Vantor::Property {
namespace {

// Owns the properties of a list for the duration of a test.
struct OwnedList {
  std::list<Base*> items;
  ~OwnedList() {
    for (Base* p : items) delete p;
  }
};

using Fields = std::deque<std::string>;

std::string errorOf(const std::string& text) {
  try {
    splitEscaped(text, kSeparator);
  } catch (const boost::escaped_list_error& e) {
    return e.what();
  }
  return "no error";
}

TEST(PropertyText, EscapeFieldDoublesBackslashesEscapesQuotesAndQuotesSeparators) {
  EXPECT_EQ(escapeField("plain", ":"), "plain");
  EXPECT_EQ(escapeField("C:\\dir", ":"), "\"C:\\\\dir\"");
  EXPECT_EQ(escapeField("say \"hi\"", ":"), "say \\\"hi\\\"");
  EXPECT_EQ(escapeField("\\\"", ":"), "\\\\\\\"");  // each escaped once, not twice
  EXPECT_EQ(escapeField("a,b", ","), "\"a,b\"");
  EXPECT_EQ(escapeField("a:b", ","), "a:b");
}

TEST(PropertyText, JoinFieldsAlwaysQuotesOnColon) {
  EXPECT_EQ(joinFields({"a:b", "c,d"}, ","), "\"a:b\",c,d");
  EXPECT_EQ(joinFields({}, ":"), "");
  EXPECT_EQ(joinFields({"", ""}, ":"), ":");
}

TEST(PropertyText, WritesTagNameAndValuesPerProperty) {
  OwnedList list;
  auto* width = new Int("width", 1);
  width->setValue(1920, 0);
  auto* fps = new Double("fps", 1);
  fps->setValue(23.976, 0);
  auto* title = new String("title", 1);
  title->setValue("My: Movie", 0);
  list.items = {width, fps, title};
  EXPECT_EQ(propertiesToText(list.items), "I:width:1920:D:fps:23.976:S:title:\"My: Movie\"");
  EXPECT_EQ(propertiesToText({}), "");
}

TEST(PropertyText, SplitFollowsEscapedListRules) {
  EXPECT_EQ(splitEscaped("", ":"), Fields{});
  EXPECT_EQ(splitEscaped("a", ":"), Fields{"a"});
  EXPECT_EQ(splitEscaped("a:", ":"), (Fields{"a", ""}));
  EXPECT_EQ(splitEscaped(":", ":"), (Fields{"", ""}));
  EXPECT_EQ(splitEscaped("a::b", ":"), (Fields{"a", "", "b"}));
  EXPECT_EQ(splitEscaped("a,b;c", ",;"), (Fields{"a", "b", "c"}));
  EXPECT_EQ(splitEscaped("a:b", ",;"), (Fields{"a:b"}));
  EXPECT_EQ(splitEscaped("\"x:y\":z", ":"), (Fields{"x:y", "z"}));
  EXPECT_EQ(splitEscaped("a\"b:c\"d:e", ":"), (Fields{"ab:cd", "e"}));
  EXPECT_EQ(splitEscaped("\\:\\\\\\\":\\n", ":"), (Fields{":\\\"", "\n"}));
  EXPECT_EQ(splitEscaped("\"\\n\"", ":"), (Fields{"\n"}));  // escapes work inside quotes
  EXPECT_EQ(splitEscaped("raw\nline", ":"), (Fields{"raw\nline"}));
  EXPECT_EQ(splitEscaped("\"open:rest", ":"), (Fields{"open:rest"}));  // unbalanced quote
}

TEST(PropertyText, SplitErrorsCarryBoostMessages) {
  EXPECT_EQ(errorOf("a\\qb"), "unknown escape sequence");
  EXPECT_EQ(errorOf("ab\\"), "cannot end with escape");
  EXPECT_EQ(errorOf("\\t"), "unknown escape sequence");
  EXPECT_THROW(splitEscaped("x\\", ","), std::runtime_error);
}

TEST(PropertyText, SplitErrorLeavesListUntouched) {
  OwnedList list;
  list.items.push_back(new Int("keep", 1));
  for (const std::string text : {"I:a:1:S:k:a\\qb", "I:a:1:S:k:ab\\"}) {
    EXPECT_THROW(propertiesFromText(text, list.items), boost::escaped_list_error) << text;
    ASSERT_EQ(list.items.size(), 1u);
    EXPECT_EQ(list.items.front()->name, "keep");
  }
}

TEST(PropertyText, ReadingAppendsAfterExistingEntries) {
  OwnedList list;
  list.items.push_back(new String("first", 1));
  propertiesFromText("I:a:1:D:b", list.items);  // the two leftover fields are ignored
  ASSERT_EQ(list.items.size(), 2u);
  EXPECT_EQ(list.items.front()->name, "first");
  const Int* a = asInt(list.items.back(), 1);
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(a->name, "a");
  EXPECT_EQ(a->values[0], 1);

  propertiesFromText("", list.items);
  propertiesFromText("S:x", list.items);
  EXPECT_EQ(list.items.size(), 2u);
}

TEST(PropertyText, MakePropertyReadsLeadingNumbersAndKeepsOtherTagsAsText) {
  struct Case {
    const char* text;
    int intValue;
    double doubleValue;
  };
  for (const Case& c :
       {Case{"1,2,3", 1, 1}, Case{"12abc", 12, 12}, Case{"  -7", -7, -7}, Case{"2.5", 2, 2.5}, Case{"1e+06", 1, 1e6},
        Case{"1.5,2", 1, 1.5}, Case{"", 0, 0}, Case{"abc", 0, 0}, Case{"99999999999", 0, 99999999999.0}}) {
    std::unique_ptr<Base> i(makeProperty("I", "n", c.text));
    std::unique_ptr<Base> d(makeProperty("D", "n", c.text));
    ASSERT_NE(asInt(i.get(), 1), nullptr);
    ASSERT_NE(asDouble(d.get(), 1), nullptr);
    EXPECT_EQ(asInt(i.get(), 1)->values[0], c.intValue) << c.text;
    EXPECT_EQ(asDouble(d.get(), 1)->values[0], c.doubleValue) << c.text;
  }
  for (const char* tag : {"S", "X", "", "II", "i"}) {
    std::unique_ptr<Base> s(makeProperty(tag, "n", "1,2"));
    ASSERT_NE(asString(s.get(), 1), nullptr) << tag;
    EXPECT_EQ(s->toString(), "1,2");
  }
}

TEST(PropertyText, EmptyValueFieldAfterTrailingSeparatorReadsAsZero) {
  OwnedList list;
  propertiesFromText("I:a:", list.items);
  ASSERT_EQ(list.items.size(), 1u);
  EXPECT_EQ(list.items.front()->toString(), "0");
}

TEST(PropertyText, AwkwardStringsRoundTrip) {
  for (const std::string value : {"C:\\dir", "say \"hi\"", "a:b:c", "\\\\server\\share:x", "\"", "line1\nline2", "",
                                  "comma,separated", "end\\"}) {
    OwnedList written;
    auto* s = new String("key:with\"odd\\name", 1);
    s->setValue(value, 0);
    written.items.push_back(s);
    OwnedList read;
    propertiesFromText(propertiesToText(written.items), read.items);
    ASSERT_EQ(read.items.size(), 1u) << value;
    EXPECT_EQ(read.items.front()->name, "key:with\"odd\\name");
    EXPECT_EQ(read.items.front()->toString(), value);
  }
  OwnedList read;
  propertiesFromText("S:k:line1\\nline2", read.items);
  EXPECT_EQ(read.items.front()->toString(), "line1\nline2");
}

TEST(PropertyText, MultiValuedPropertiesReadBackAsOneValue) {
  OwnedList written;
  auto* ints = new Int("i", 3);
  ints->setValue(1, 0);
  ints->setValue(2, 1);
  ints->setValue(3, 2);
  auto* doubles = new Double("d", 2);
  doubles->setValue(0.5, 0);
  doubles->setValue(7, 1);
  auto* strings = new String("s", 2);
  strings->setValue("x", 0);
  strings->setValue("y", 1);
  written.items = {ints, doubles, strings};
  const std::string text = propertiesToText(written.items);
  EXPECT_EQ(text, "I:i:1,2,3:D:d:0.5,7:S:s:x,y");

  OwnedList read;
  propertiesFromText(text, read.items);
  ASSERT_EQ(read.items.size(), 3u);
  auto it = read.items.begin();
  EXPECT_EQ(asInt(*it, 1)->values[0], 1);
  EXPECT_EQ(asDouble(*++it, 1)->values[0], 0.5);
  EXPECT_EQ(asString(*++it, 1)->values[0], "x,y");
}

}  // namespace
}  // namespace Vantor::Property
