// The staged destination: a folder is refused, a commit replaces the
// destination in one step, abandoning leaves it as it was, and temporary
// files of a writer that died (no lock held) are the only ones cleaned up.
#include <StagedDestination.h>
#include <gtest/gtest.h>
#include <sys/file.h>
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

std::string contents(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void put(const fs::path& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

int entries(const fs::path& folder) {
  int count = 0;
  for ([[maybe_unused]] const auto& entry : fs::directory_iterator(folder)) ++count;
  return count;
}

}  // namespace

TEST(StagedDestination, CommitReplacesAndAbandonKeeps) {
  const fs::path folder = freshFolder("commit");
  const std::string destination = (folder / "movie.mov").string();
  put(destination, "old");
  {
    StagedDestination staged;
    ASSERT_EQ(staged.begin(destination), StagedDestination::Result::ok);
    put(staged.temporaryPath(), "new, abandoned");
    EXPECT_EQ(contents(destination), "old");
  }  // destroyed without a commit
  EXPECT_EQ(contents(destination), "old");
  EXPECT_EQ(entries(folder), 1);

  StagedDestination staged;
  ASSERT_EQ(staged.begin(destination), StagedDestination::Result::ok);
  std::string second;
  ASSERT_EQ(staged.addTemporary(second), StagedDestination::Result::ok);
  EXPECT_EQ(fs::path(second).parent_path(), folder);
  put(second, "flattened");
  EXPECT_EQ(staged.commit(second), StagedDestination::Result::ok);
  EXPECT_EQ(contents(destination), "flattened");
  EXPECT_EQ(entries(folder), 1);  // the first temporary file went too
  EXPECT_FALSE(staged.active());
}

TEST(StagedDestination, RefusesFoldersAndMissingFolders) {
  const fs::path folder = freshFolder("refuse");
  fs::create_directories(folder / "empty");
  StagedDestination staged;
  EXPECT_EQ(staged.begin((folder / "empty").string()), StagedDestination::Result::isFolder);
  EXPECT_EQ(staged.begin((folder / "empty/").string()), StagedDestination::Result::isFolder);
  EXPECT_EQ(staged.begin((folder / "missing/movie.mov").string()), StagedDestination::Result::noFolder);
  EXPECT_TRUE(fs::is_directory(folder / "empty"));
  EXPECT_TRUE(fs::is_empty(folder / "empty"));
}

TEST(StagedDestination, OnlyUnlockedLeftoversOfThisDestinationAreStale) {
  const fs::path folder = freshFolder("stale");
  const std::string destination = (folder / "movie.mov").string();
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
