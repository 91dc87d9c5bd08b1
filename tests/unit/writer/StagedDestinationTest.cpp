// The staged destination's cleanup: only temporary files of the same
// destination whose writer died (no lock held) are removed, never a live
// writer's. Replacing and keeping the destination is judged through the
// public writer in the acceptance tests.
#include <StagedDestination.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

using Vantor::QuickTime::StagedDestination;
namespace fs = std::filesystem;

namespace {

fs::path freshFolder(const std::string& name) {
  const fs::path folder = fs::temp_directory_path() / ("vqt-staged-" + std::to_string(getpid()) + "-" + name);
  fs::remove_all(folder);
  fs::create_directories(folder);
  return folder;
}

void put(const fs::path& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

}  // namespace

TEST(StagedDestination, OnlyUnlockedLeftoversOfThisDestinationAreStale) {
  const fs::path folder = freshFolder("stale");
  const std::string destination = (folder / "movie.mov").string();
  {
    put(folder / ".movie.mov.0123456789abcdef.partial", "left by a killed writer");
    put(folder / ".other.mov.0123456789abcdef.partial", "another destination's");
    put(folder / "movie.mov.partial", "not ours");
    StagedDestination live;
    ASSERT_EQ(live.begin(destination), StagedDestination::Result::ok);
    EXPECT_FALSE(fs::exists(folder / ".movie.mov.0123456789abcdef.partial"));
    EXPECT_TRUE(fs::exists(folder / ".other.mov.0123456789abcdef.partial"));
    EXPECT_TRUE(fs::exists(folder / "movie.mov.partial"));
    // A second writer to the same destination leaves the first one's file alone.
    StagedDestination concurrent;
    ASSERT_EQ(concurrent.begin(destination), StagedDestination::Result::ok);
    EXPECT_TRUE(fs::exists(live.temporaryPath()));
    EXPECT_TRUE(StagedDestination::staleTemporaries(destination).empty());
  }
  fs::remove_all(folder);
}
