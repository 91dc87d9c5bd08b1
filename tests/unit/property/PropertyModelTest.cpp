// Property classes: sizes, value formatting, growth, copies and typed views.
#include <vantor/property/Property.h>

#include <memory>

#include <gtest/gtest.h>

namespace Vantor::Property {
namespace {

TEST(PropertyModel, FixedPropertiesStartWithDefaultValues) {
  const Int ints("a", 3);
  const Double doubles("b", 1);
  const String strings("c", 2);
  EXPECT_EQ(ints.size(), 3u);
  EXPECT_EQ(ints.toString(), "0,0,0");
  EXPECT_EQ(doubles.toString(), "0");
  EXPECT_EQ(strings.toString(), ",");
}

TEST(PropertyModel, DoublesUseSixSignificantDigits) {
  Double d("d", 5);
  d.setValue(2.5, 0);
  d.setValue(1.0 / 3.0, 1);
  d.setValue(1000000.0, 2);
  d.setValue(-0.000012345678, 3);
  d.setValue(123456.7, 4);
  EXPECT_EQ(d.toString(), "2.5,0.333333,1e+06,-1.23457e-05,123457");
  EXPECT_EQ(d.toString(1), "0.333333");
}

TEST(PropertyModel, StringsAreWrittenWithoutQuotingOrEscaping) {
  String s("s", 1);
  s.setValue("a,b \"q\" \\", 0);
  EXPECT_EQ(s.size(), 1u);
  EXPECT_EQ(s.toString(), "a,b \"q\" \\");
}

TEST(PropertyModel, OnlyAGrowablePropertyGrowsToEachNewIndex) {
  Int grow("g", 0);
  EXPECT_EQ(grow.size(), 0u);
  EXPECT_EQ(grow.toString(), "");
  grow.setValue(7, 2);
  EXPECT_EQ(grow.toString(), "0,0,7");
  grow.setValue(8, 3);  // an index equal to the size grows by one
  EXPECT_EQ(grow.toString(), "0,0,7,8");
  grow.setValue(1, 0);  // an index inside does not grow
  EXPECT_EQ(grow.toString(), "1,0,7,8");
  String fixed("f", 2);
  fixed.setValue("x", 1);
  EXPECT_EQ(fixed.size(), 2u);
  EXPECT_EQ(fixed.toString(), ",x");
}

TEST(PropertyModel, ClonesAreCompleteAndIndependent) {
  Int source("k", 2);
  source.setValue(4, 0);
  source.setValue(5, 1);
  std::unique_ptr<Base> copy(source.clone());
  EXPECT_EQ(copy->name, "k");
  EXPECT_EQ(copy->type, kInt);
  Int* typed = asInt(copy.get(), 2);
  ASSERT_NE(typed, nullptr);
  typed->setValue(9, 0);
  typed->name = "changed";
  EXPECT_EQ(copy->toString(), "9,5");
  EXPECT_EQ(source.toString(), "4,5");
  EXPECT_EQ(source.name, "k");

  String growable("g", 0);
  growable.setValue("x", 1);
  std::unique_ptr<Base> grown(growable.clone());
  asString(grown.get(), 0)->setValue("y", 2);  // the copy stays growable
  EXPECT_EQ(grown->toString(), ",x,y");
  EXPECT_EQ(growable.size(), 2u);
}

TEST(PropertyModel, TypedViewsCheckTypeTagAndCount) {
  Double one("d", 1);
  Base* p = &one;
  EXPECT_EQ(asInt(p, 0), nullptr);
  EXPECT_EQ(asString(p, 0), nullptr);
  EXPECT_EQ(asDouble(p, 2), nullptr);
  EXPECT_EQ(asDouble(p, 1), &one);
  EXPECT_EQ(asDouble(p, 0), &one);

  const Base* constP = p;
  EXPECT_EQ(asDouble(constP, 1), &one);
  EXPECT_EQ(asInt(constP, 1), nullptr);
  EXPECT_EQ(asInt(static_cast<Base*>(nullptr), 0), nullptr);
}

}  // namespace
}  // namespace Vantor::Property
