#include "spectrum/disk_object.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "support/test_support.h"

namespace orvane {
namespace {

TEST(CDiskObject, MakesEveryMissingLevel) {
  test::TempDir dir;
  CDiskObject disk;
  const std::string target = dir.Folder() + "a/b/c/";
  EXPECT_TRUE(disk.CreateDirectory(target));
  EXPECT_TRUE(std::filesystem::is_directory(target));
  EXPECT_EQ(disk.strErrorMessage, "");
  // An existing folder is no failure, with or without the slash, or with backslashes.
  EXPECT_TRUE(disk.CreateDirectory(dir.Folder() + "a/b/c"));
  EXPECT_TRUE(disk.CreateDirectory(dir.Folder() + "a\\b\\d\\"));
  EXPECT_TRUE(std::filesystem::is_directory(dir.Folder() + "a/b/d"));
}

TEST(CDiskObject, RelativePathsStartAtTheCurrentDirectoryWhichStays) {
  test::TempDir dir;
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(dir.path());
  CDiskObject disk;
  EXPECT_TRUE(disk.CreateDirectory("x/y"));
  EXPECT_TRUE(disk.CreateDirectory("x/../z"));
  EXPECT_EQ(std::filesystem::current_path(), dir.path());
  std::filesystem::current_path(before);
  EXPECT_TRUE(std::filesystem::is_directory(dir.path() / "x/y"));
  EXPECT_TRUE(std::filesystem::is_directory(dir.path() / "z"));
}

TEST(CDiskObject, FailuresSayWhyAndWhere) {
  test::TempDir dir;
  CDiskObject disk;
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
  // A later success clears the message.
  EXPECT_TRUE(disk.CreateDirectory(dir.Folder() + "ok"));
  EXPECT_EQ(disk.strErrorMessage, "");
}

}  // namespace
}  // namespace orvane
