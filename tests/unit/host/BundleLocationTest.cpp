#include <CoreFoundation/CFBundle.h>
#include <vantor/host/BundleLocation.h>

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>

#include "BundlePaths.h"
#include "HostTestSupport.h"
#include "InstalledBundle.h"

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
  // The candidates first, then where an installed bundle was looked for.
  EXPECT_EQ(run.err.rfind("Don't know our bundle, possibilities:\n/System\n" + app + "\nlooked for ", 0), 0u)
      << run.err;
}

TEST_F(BundleLocation, NoBundleAtAllAborts) {
  const RunResult run = runProgram(BUNDLE_PROBE, {});
  EXPECT_EQ(run.signal, SIGABRT);
  const std::string probeFolder = std::filesystem::path(BUNDLE_PROBE).parent_path().string();
  EXPECT_EQ(run.err, "Don't know our bundle, possibilities:\nlooked for the installed host bundle at " + probeFolder +
                         "/vantor/Host.app\nset VANTOR_QUICKTIME_BUNDLE to the host bundle's folder (Host.app)\n");
}

// A host that ships the bundle elsewhere names it; that wins over every other
// bundle, and only that folder is looked at.
TEST_F(BundleLocation, TheVariableNamesTheBundle) {
  const std::string shipped = makeBundle(root, "Shipped", "org.example.shipped");
  const std::string app = makeBundle(root, "Other", kHostBundleIdentifier);
  copyExecutable(BUNDLE_PROBE, app + "/Contents/MacOS/bundle_probe");
  setenv(Vantor::kHostBundleVariable, (shipped + "/Contents/").c_str(), 1);
  const RunResult run = runProgram(app + "/Contents/MacOS/bundle_probe", {});
  setenv(Vantor::kHostBundleVariable, (root + "/Nowhere.app").c_str(), 1);
  const RunResult missing = runProgram(BUNDLE_PROBE, {});
  unsetenv(Vantor::kHostBundleVariable);
  EXPECT_EQ(run.out, shipped + "/Contents\n") << run.err;
  EXPECT_EQ(missing.signal, SIGABRT);
  EXPECT_NE(missing.err.find("\nlooked for the installed host bundle at " + root + "/Nowhere.app\n"), std::string::npos)
      << missing.err;
}

// The library's own location, as the loader names it, decides. A library in
// lib/ is either a link into the installed bundle or a copy beside it.
TEST_F(BundleLocation, InstalledLibraryFindsItsBundle) {
  namespace fs = std::filesystem;
  const std::string host = makeBundle(root + "/prefix/lib/vantor", "Host", kHostBundleIdentifier);
  fs::create_directories(host + "/Contents/Frameworks");
  writeFile(host + "/Contents/Frameworks/libx.so.0", "");
  fs::create_symlink("vantor/Host.app/Contents/Frameworks/libx.so.0", root + "/prefix/lib/libx.so.0");
  const std::string layout = "vantor/Host.app";

  const auto linked = Vantor::findInstalledHostBundle(nullptr, root + "/prefix/lib/libx.so.0", layout);
  EXPECT_EQ(linked.bundle, fs::canonical(host).string());
  const auto inside = Vantor::findInstalledHostBundle("", host + "/Contents/Frameworks/libx.so.0", layout);
  EXPECT_EQ(inside.bundle, fs::canonical(host).string());

  // A copy in another prefix's lib/: found beside it, or not at all.
  fs::create_directories(root + "/second/lib");
  fs::copy_file(host + "/Contents/Frameworks/libx.so.0", root + "/second/lib/libx.so.0");
  const auto copied = Vantor::findInstalledHostBundle(nullptr, root + "/second/lib/libx.so.0", layout);
  EXPECT_EQ(copied.bundle, "");
  EXPECT_EQ(copied.lookedAt, std::vector<std::string>{root + "/second/lib/vantor/Host.app"});
  const auto named = Vantor::findInstalledHostBundle(host.c_str(), root + "/second/lib/libx.so.0", layout);
  EXPECT_EQ(named.bundle, host);
  EXPECT_EQ(named.lookedAt, std::vector<std::string>{host});

  fs::copy(root + "/prefix/lib/vantor", root + "/second/lib/vantor", fs::copy_options::recursive);
  const auto beside = Vantor::findInstalledHostBundle(nullptr, root + "/second/lib/libx.so.0", layout);
  EXPECT_EQ(beside.bundle, root + "/second/lib/vantor/Host.app");
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
