// Making output folders: every missing level, the current directory left
// alone, and failures that say why and where.
#include "spectrum/disk_object.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "support/test_support.h"

namespace orvane {
namespace {

TEST(CDiskObject, MakesEveryMissingLevelOrSaysWhy) {
  test::TempDir dir;
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(dir.path());
  CDiskObject disk;
  EXPECT_TRUE(disk.CreateDirectory("a/b/c/"));
  EXPECT_TRUE(disk.CreateDirectory("a\\b\\d"));   // backslashes, no trailing slash
  EXPECT_TRUE(disk.CreateDirectory("x/../a/b"));  // existing: no failure
  EXPECT_EQ(std::filesystem::current_path(), dir.path());
  std::filesystem::current_path(before);
  EXPECT_TRUE(std::filesystem::is_directory(dir.path() / "a/b/c"));
  EXPECT_TRUE(std::filesystem::is_directory(dir.path() / "a/b/d"));
  EXPECT_FALSE(disk.CreateDirectory(""));
  EXPECT_EQ(disk.strErrorMessage, "CDiskObject internal error");
  test::WriteFile(dir.File("file"), "x");
  EXPECT_FALSE(disk.CreateDirectory(dir.Folder() + "file/sub/"));
  EXPECT_EQ(disk.strErrorMessage, "Not a directory " + dir.File("file"));
  if (::geteuid() != 0) {
    std::filesystem::create_directory(dir.File("locked"));
    std::filesystem::permissions(dir.File("locked"), std::filesystem::perms::owner_read);
    EXPECT_FALSE(disk.CreateDirectory(dir.Folder() + "locked/sub"));
    EXPECT_EQ(disk.strErrorMessage, "Permission denied " + dir.File("locked/sub"));
    std::filesystem::permissions(dir.File("locked"), std::filesystem::perms::owner_all);
  }
  EXPECT_TRUE(disk.CreateDirectory(dir.Folder() + "ok"));
  EXPECT_EQ(disk.strErrorMessage, "");
}

}  // namespace
}  // namespace orvane
