// Rules of the outputs no golden case shows directly: which temporaries are
// stale, and when two paths are one file.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "output_safety.h"
#include "support/test_support.h"

namespace orvane::app {
namespace {

using test::TempDir;
using test::WriteFile;

TEST(Temporaries, StaleOnesGoLiveOnesStay) {
  for (const auto& [name, owner] : std::vector<std::pair<std::string, int>>{
           {".run_c.mgf.part-1234-0", 1234}, {".run_c.mgf.part-77-j12", 77}, {".orvane-work-4321", 4321},
           {"run_c.mgf", -1}, {".x.part-12", -1}, {".x.part--3", -1}, {".x.part-12-", -1},
           {".x.part-12-3a", -1}, {"x.part-12-3", -1}, {".orvane-work-", -1}, {".orvane-work-12x", -1}})
    EXPECT_EQ(TemporaryOwner(name), owner) << name;
  TempDir dir;
  const pid_t dead = fork();  // a child that has exited: its pid runs no more
  if (dead == 0) _exit(0);
  waitpid(dead, nullptr, 0);
  const std::string d = std::to_string(dead), me = std::to_string(getpid());
  WriteFile(dir.File(".a_c.mgf.part-" + d + "-0"), "half");
  WriteFile(dir.File(".a_c.mgf.part-" + me + "-0"), "mine");
  std::filesystem::create_directories(dir.File(".orvane-work-" + d + "/unit-0/out"));
  WriteFile(dir.File("a_c.mgf"), "final");
  EXPECT_EQ(RemoveStaleTemporaries(dir.Folder()), 2);
  EXPECT_EQ(test::ListFiles(dir.Folder()), (std::vector<std::string>{".a_c.mgf.part-" + me + "-0", "a_c.mgf"}));
}

TEST(OutputSafety, LinksAndOtherSpellingsAreTheSameFile) {
  TempDir dir;
  WriteFile(dir.File("x_c.mgf"), "input");
  std::filesystem::create_directories(dir.File("sub"));
  std::filesystem::create_symlink(dir.File("x_c.mgf"), dir.File("link.mgf"));
  std::filesystem::create_hard_link(dir.File("x_c.mgf"), dir.File("hard.mgf"));
  EXPECT_TRUE(SameFile(dir.File("sub/../new.mgf"), dir.File("new.mgf")));
  EXPECT_FALSE(SameFile(dir.File("sub/x_c.mgf"), dir.File("x_c.mgf")));
  EXPECT_TRUE(SameFile(dir.File("link.mgf"), dir.File("x_c.mgf")));
  EXPECT_TRUE(SameFile(dir.File("hard.mgf"), dir.File("x_c.mgf")));
}

}  // namespace
}  // namespace orvane::app
