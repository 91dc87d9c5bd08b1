#include <gtest/gtest.h>
#include <vantor/host/BundleLocation.h>
#include <vantor/property/PropertyText.h>

#include <filesystem>

extern "C" const char* VantorQuickTimeVersion();

TEST(SharedLibrary, FindsTheHostBundleItIsLoadedFrom) {
  const auto expected = std::filesystem::canonical(VQT_HOST_BUNDLE_DIR).string() + "/Contents";
  EXPECT_EQ(Vantor::bundleContentsPath(), expected);
  EXPECT_EQ(Vantor::resolveBundleRelativePath("../Resources/GlobalSettings.csv"),
            expected + "/Resources/GlobalSettings.csv");
  EXPECT_TRUE(std::filesystem::exists(Vantor::resolveBundleRelativePath("../Resources/GlobalSettings.csv")));
}

TEST(SharedLibrary, ExportsTheSystemLayer) {
  std::list<Vantor::Property::Base*> properties;
  Vantor::Property::propertiesFromText("I:width:1920:S:title:\"a: b\"", properties);
  EXPECT_EQ(Vantor::Property::propertiesToText(properties), "I:width:1920:S:title:\"a: b\"");
  for (auto* p : properties) delete p;
  EXPECT_STRNE(VantorQuickTimeVersion(), "");
}
