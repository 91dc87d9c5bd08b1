#include <vantor/host/BundleLocation.h>

#include <gtest/gtest.h>

#include <filesystem>

#include "HostTestSupport.h"

namespace {

class BundleLocation : public ::testing::Test {
 protected:
  void SetUp() override { root = makeTempDir(); }
  void TearDown() override { std::filesystem::remove_all(root); }
  std::string root;
};

}  // namespace

TEST_F(BundleLocation, FoundByIdentifierFromAProgramInsideTheBundle) {
  const std::string host = makeBundle(root, "Host", kHostBundleIdentifier);
  copyExecutable(BUNDLE_PROBE, host + "/Contents/MacOS/bundle_probe");
  const RunResult run = runProgram(host + "/Contents/MacOS/bundle_probe", {});
  EXPECT_EQ(run.exitStatus, 0) << run.err;
  EXPECT_EQ(run.out, host + "/Contents\n");
}

TEST_F(BundleLocation, FallsBackToTheOnlyLoadedBundleSkippingSystemOnes) {
  const std::string app = makeBundle(root, "Other", "org.example.other");
  copyExecutable(BUNDLE_PROBE, app + "/Contents/MacOS/bundle_probe");
  const RunResult run = runProgram(
      app + "/Contents/MacOS/bundle_probe",
      {"--register", "/System/Library/Frameworks/A.framework", "--register", "/Library/Frameworks/B.framework"});
  EXPECT_EQ(run.exitStatus, 0) << run.err;
  EXPECT_EQ(run.out, app + "/Contents\n");
}

TEST_F(BundleLocation, SeveralCandidatesAreListedAndTheProcessAborts) {
  const std::string app = makeBundle(root, "Other", "org.example.other");
  copyExecutable(BUNDLE_PROBE, app + "/Contents/MacOS/bundle_probe");
  // "/System" without its trailing slash is not a system path. Candidates are
  // listed in the process's bundle order: the registered one came first.
  const RunResult run = runProgram(app + "/Contents/MacOS/bundle_probe", {"--register", "/System"});
  EXPECT_EQ(run.signal, SIGABRT);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(run.err, "Don't know our bundle, possibilities:\n/System\n" + app + "\n");
}

TEST_F(BundleLocation, NoBundleAtAllAborts) {
  const RunResult run = runProgram(BUNDLE_PROBE, {});
  EXPECT_EQ(run.signal, SIGABRT);
  EXPECT_EQ(run.err, "Don't know our bundle, possibilities:\n");
}

TEST(BundleRelativePaths, OnlyALeadingDotDotIsResolved) {
  VqtCFBundleRegister("/opt/Hosts/Host.app", kHostBundleIdentifier);
  EXPECT_EQ(Vantor::bundleContentsPath(), "/opt/Hosts/Host.app/Contents");
  EXPECT_EQ(Vantor::resolveBundleRelativePath("../Resources/GlobalSettings.csv"),
            "/opt/Hosts/Host.app/Contents/Resources/GlobalSettings.csv");
  EXPECT_EQ(Vantor::resolveBundleRelativePath("/abs/../x"), "/abs/../x");
  EXPECT_EQ(Vantor::resolveBundleRelativePath("./..x"), "./..x");
}

TEST(BundleStrings, ConvertUtf8AndEmptyOnFailure) {
  CFStringRef text = CFStringCreateWithCString(nullptr, "R\xC3\xA9sum\xC3\xA9", kCFStringEncodingUTF8);
  EXPECT_EQ(Vantor::toStdString(text), "R\xC3\xA9sum\xC3\xA9");
  CFRelease(text);
  EXPECT_EQ(Vantor::toStdString(nullptr), "");
  EXPECT_EQ(Vantor::bundlePath(nullptr), "");
}
