// Rules of parallel runs no output shows directly: where an MGF file is cut, the units of a run,
// what of each unit's log is joined, which temporaries are stale, when two paths are one file.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "output_safety.h"
#include "parallel_run.h"
#include "support/synthetic.h"
#include "support/test_support.h"

namespace orvane::app {
namespace {

using test::TempDir;
using test::WriteFile;

std::string Block(const std::string& title, const std::string& tail = "END IONS\n") {
  return "BEGIN IONS\nTITLE=" + title + "\nPEPMASS=500.0\n100.0 1.0\n200.0 2.0\n" + tail;
}

TEST(MgfCuts, OnlyBetweenBlocks) {
  const std::string a = Block("a"), b = Block("b"), c = Block("c"), d = Block("d"), l(300, '7');
  const struct {
    std::string text;
    unsigned parts;
    std::vector<std::string> starts;  // the first 18 bytes of every part but the first
  } cases[] = {
      {a + b + c + d, 2, {"BEGIN IONS\nTITLE=c"}},
      {a + "\n\n" + b + "\n" + c + "\n", 2, {"BEGIN IONS\nTITLE=c"}},
      {a + b + c + d, 4, {"BEGIN IONS\nTITLE=b", "BEGIN IONS\nTITLE=c", "BEGIN IONS\nTITLE=d"}},
      // An unended block runs into the next BEGIN IONS, which is a peak line then.
      {Block("a", "") + b + c, 2, {"BEGIN IONS\nTITLE=c"}},
      // A long line may hide a block start or an end line in its second read.
      {a + l + "\n" + b + c, 2, {"BEGIN IONS\nTITLE=c"}},
      {Block("a", "END IONS" + l + "\n") + b + c, 2, {"BEGIN IONS\nTITLE=c"}},
      {a, 2, {}},
      {Block("a", "") + Block("b", ""), 2, {}},
      {"BEGIN IONS\r\nTITLE=a\r\n1 1\r\nEND IONS\r\nBEGIN IONS\r\nTITLE=b\r\n1 1\r\nEND IONS\r\n", 2,
       {"BEGIN IONS\r\nTITLE="}},
  };
  TempDir dir;
  for (const auto& c : cases) {
    WriteFile(dir.File("in.mgf"), c.text);
    std::vector<std::string> starts;
    for (auto cut : FindMgfCuts(dir.File("in.mgf"), c.parts, 1)) starts.push_back(c.text.substr(cut, 18));
    EXPECT_EQ(starts, c.starts) << c.text;
  }
  // Parts of similar size, none below the least; never a gzip file.
  const std::string text = test::MakeSyntheticMgf(200, 3);
  WriteFile(dir.File("in.mgf"), text);
  const auto cuts = FindMgfCuts(dir.File("in.mgf"), 4, 1000);
  ASSERT_EQ(cuts.size(), 3u);
  for (std::size_t k = 0; k < cuts.size(); ++k)
    EXPECT_NEAR(static_cast<double>(cuts[k]), text.size() * (k + 1) / 4.0, 10000.0);
  EXPECT_TRUE(FindMgfCuts(dir.File("in.mgf"), 4, text.size()).empty());
  WriteFile(dir.File("in.mgf.gz"), "\x1f\x8b" + text);
  EXPECT_TRUE(FindMgfCuts(dir.File("in.mgf.gz"), 4, 1000).empty());
}

TEST(PlanUnits, DtaGroupsWholeMgfFilesAndParts) {
  TempDir dir;
  const std::vector<std::string> dta = {"1.dta", "2.dta", "3.dta", "4.dta", "5.dta"};
  EXPECT_EQ(PlanUnits(0, dta, 2, 1).at(1).inputs, (std::vector<std::size_t>{2, 3, 4}));
  EXPECT_EQ(PlanUnits(0, dta, 8, 1).size(), 5u);
  const std::vector<std::string> two = {dir.File("a.mgf"), dir.File("b.mgf")};
  for (int i = 0; i < 2; ++i) WriteFile(two[i], test::MakeSyntheticMgf(40, i + 1));
  EXPECT_FALSE(PlanUnits(1, two, 2, 1)[0].bPart);
  const auto parts = PlanUnits(1, two, 4, 1);
  ASSERT_EQ(parts.size(), 4u);
  EXPECT_EQ(parts[1].inputs[0], 0u);
  EXPECT_EQ(parts[2].inputs[0], 1u);
  EXPECT_TRUE(parts[0].bPart && !parts[0].bLastPart && parts[1].bLastPart);
  EXPECT_EQ(parts[0].end, parts[1].begin);
  EXPECT_EQ(parts[1].end, std::filesystem::file_size(two[0]));
}

TEST(JoinedLog, HeadAndEndRuleOfEachPart) {
  const std::string head = "Peltrix Log File\n\nRuntime Parameters:\n\n       x = 1\n";
  const std::string rule = LogRuleStart(), end = LogEndOfFileRule();  // the rule and an empty line
  ASSERT_EQ(end, "\n" + std::string(63, '-') + "\n\n");
  const std::string body = rule + "spectrum.1\n\t-Total peaks removed: 3\n";
  const std::string log = head + body + end;
  EXPECT_EQ(LogHead(log), head);
  const auto part = [&](const std::string& text, std::size_t tail, bool drop) {
    const ByteRange r = LogBody(text, std::string_view(text).substr(text.size() - tail), text.size(), head, drop);
    return text.substr(r.first, r.last - r.first);
  };
  EXPECT_EQ(part(log, end.size(), true), body);
  EXPECT_EQ(part(log, end.size(), false), body + end);
  // A rule with a title (a cut last block) is no end-of-file rule.
  EXPECT_EQ(part(head + body + rule + "cut\n", 66, true), body + rule + "cut\n");
  // A log without the head (its run never opened) is kept whole.
  EXPECT_EQ(part(body, body.size(), false), body);
}

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
