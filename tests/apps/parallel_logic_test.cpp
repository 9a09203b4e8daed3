// The pure parts of parallel runs and output safety: where an MGF file may be
// cut, how a run is cut into units, how unit logs are trimmed for the join,
// temporary names, and output/input identity.
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
  return "BEGIN IONS\nTITLE=" + title + "\nPEPMASS=500.0\n100.0 1.0\n200.0 2.0\n300.0 3.0\n" + tail;
}

// Each case: the file, the parts asked for, and the cuts expected (as the
// text that starts each part).
struct CutCase {
  const char* name;
  std::string text;
  unsigned parts;
  std::vector<std::string> partStarts;
};

class MgfCuts : public ::testing::TestWithParam<CutCase> {};

TEST_P(MgfCuts, OnlyBetweenBlocks) {
  TempDir dir;
  const CutCase& c = GetParam();
  WriteFile(dir.File("in.mgf"), c.text);
  const auto cuts = FindMgfCuts(dir.File("in.mgf"), c.parts, 1);
  std::vector<std::string> starts;
  for (auto cut : cuts) starts.push_back(c.text.substr(cut, 18));
  EXPECT_EQ(starts, c.partStarts);
}

const std::string kLong(300, '7');

INSTANTIATE_TEST_SUITE_P(
    Cases, MgfCuts,
    ::testing::Values(
        CutCase{"Adjacent", Block("a") + Block("b") + Block("c") + Block("d"), 2,
                {"BEGIN IONS\nTITLE=c"}},
        CutCase{"BlankLinesBetween", Block("a") + "\n\n" + Block("b") + "\n" + Block("c") + "\n", 2,
                {"BEGIN IONS\nTITLE=c"}},
        CutCase{"FourParts", Block("a") + Block("b") + Block("c") + Block("d"), 4,
                {"BEGIN IONS\nTITLE=b", "BEGIN IONS\nTITLE=c", "BEGIN IONS\nTITLE=d"}},
        // A block without END IONS runs into the next BEGIN IONS, which is then a
        // peak line: no cut before b, the next possible one is before c.
        CutCase{"UnendedBlockRunsOn", Block("a", "") + Block("b") + Block("c"), 2,
                {"BEGIN IONS\nTITLE=c"}},
        // A long line between blocks may hide a block start in its second read.
        CutCase{"LongLineBetween", Block("a") + kLong + "\n" + Block("b") + Block("c"), 2,
                {"BEGIN IONS\nTITLE=c"}},
        // END IONS followed by 300 characters: its second read is no end line.
        CutCase{"LongEndLine", Block("a", "END IONS" + kLong + "\n") + Block("b") + Block("c"), 2,
                {"BEGIN IONS\nTITLE=c"}},
        CutCase{"OneBlock", Block("a"), 2, {}},
        CutCase{"NoEndAtAll", Block("a", "") + Block("b", ""), 2, {}},
        CutCase{"CrLf", "BEGIN IONS\r\nTITLE=a\r\n1 1\r\nEND IONS\r\nBEGIN IONS\r\nTITLE=b\r\n1 1\r\n"
                        "END IONS\r\n", 2, {"BEGIN IONS\r\nTITLE="}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(MgfCuts, PartsOfSimilarSizeAndNoneBelowTheLeast) {
  TempDir dir;
  const std::string text = test::MakeSyntheticMgf(200, 3);
  WriteFile(dir.File("in.mgf"), text);
  const auto cuts = FindMgfCuts(dir.File("in.mgf"), 4, 1000);
  ASSERT_EQ(cuts.size(), 3u);
  for (std::size_t k = 0; k < cuts.size(); ++k) {
    EXPECT_EQ(text.compare(cuts[k], 11, "BEGIN IONS\n"), 0);
    EXPECT_NEAR(static_cast<double>(cuts[k]), text.size() * (k + 1) / 4.0, 10000.0);
  }
  EXPECT_TRUE(FindMgfCuts(dir.File("in.mgf"), 4, text.size()).empty());
  EXPECT_TRUE(FindMgfCuts(dir.File("in.mgf"), 1, 1).empty());
  EXPECT_TRUE(FindMgfCuts(dir.File("missing.mgf"), 4, 1).empty());
  // A gzip file (stored blocks show their text) is never cut.
  WriteFile(dir.File("in.mgf.gz"), "\x1f\x8b" + text);
  EXPECT_TRUE(FindMgfCuts(dir.File("in.mgf.gz"), 4, 1000).empty());
}

TEST(PlanUnits, DtaGroupsMgfFilesAndParts) {
  TempDir dir;
  std::vector<std::string> dta;
  for (int i = 0; i < 5; ++i) dta.push_back(dir.File("s" + std::to_string(i) + ".dta"));
  const auto groups = PlanUnits(0, dta, 2, 1);
  ASSERT_EQ(groups.size(), 2u);
  EXPECT_EQ(groups[0].inputs, (std::vector<std::size_t>{0, 1}));
  EXPECT_EQ(groups[1].inputs, (std::vector<std::size_t>{2, 3, 4}));
  EXPECT_EQ(PlanUnits(0, dta, 8, 1).size(), 5u);

  WriteFile(dir.File("a.mgf"), test::MakeSyntheticMgf(40, 1));
  WriteFile(dir.File("b.mgf"), test::MakeSyntheticMgf(40, 2));
  const std::vector<std::string> two = {dir.File("a.mgf"), dir.File("b.mgf")};
  const auto whole = PlanUnits(1, two, 2, 1);
  ASSERT_EQ(whole.size(), 2u);
  EXPECT_FALSE(whole[0].bPart);
  EXPECT_TRUE(whole[1].bLastPart);

  const auto parts = PlanUnits(1, two, 4, 1);
  ASSERT_EQ(parts.size(), 4u);
  EXPECT_EQ(parts[0].inputs[0], 0u);
  EXPECT_EQ(parts[1].inputs[0], 0u);
  EXPECT_EQ(parts[2].inputs[0], 1u);
  EXPECT_TRUE(parts[0].bPart);
  EXPECT_FALSE(parts[0].bLastPart);
  EXPECT_TRUE(parts[1].bLastPart);
  EXPECT_EQ(parts[0].begin, 0u);
  EXPECT_EQ(parts[0].end, parts[1].begin);
  EXPECT_EQ(parts[1].end, std::filesystem::file_size(two[0]));
}

TEST(JoinedLog, HeadAndEndRuleOfEachPart) {
  const std::string head = "Peltrix Log File\n\nRuntime Parameters:\n\n       x = 1\n";
  const std::string rule = LogRuleStart();
  ASSERT_EQ(rule, "\n" + std::string(63, '-') + "\n");
  ASSERT_EQ(LogEndOfFileRule(), rule + "\n");
  const std::string body = rule + "spectrum.1\n\t-Total peaks removed: 3\n";
  const std::string log = head + body + LogEndOfFileRule();
  EXPECT_EQ(LogHead(log), head);
  EXPECT_EQ(LogHead("no rule at all"), "no rule at all");

  const auto tail = std::string_view(log).substr(log.size() - LogEndOfFileRule().size());
  const ByteRange middle = LogBody(log, tail, log.size(), head, true);
  EXPECT_EQ(log.substr(middle.first, middle.last - middle.first), body);
  const ByteRange last = LogBody(log, tail, log.size(), head, false);
  EXPECT_EQ(log.substr(last.first, last.last - last.first), body + LogEndOfFileRule());
  // A rule with a title (a truncated last block) is no end-of-file rule.
  const std::string titled = head + body + rule + "cut\n";
  const ByteRange kept = LogBody(titled, std::string_view(titled).substr(titled.size() - 66),
                                 titled.size(), head, true);
  EXPECT_EQ(kept.last, titled.size());
  // A log without the head (its run never opened) is kept whole.
  const ByteRange other = LogBody(body, body, body.size(), head, false);
  EXPECT_EQ(other.first, 0u);
}

TEST(TemporaryNames, OwnerIsTheProcessInTheName) {
  EXPECT_EQ(TemporaryOwner(".run_c.mgf.part-1234-0"), 1234);
  EXPECT_EQ(TemporaryOwner(".run_c.mgf.part-77-j12"), 77);
  EXPECT_EQ(TemporaryOwner(".orvane-work-4321"), 4321);
  for (const char* name : {"run_c.mgf", ".run_c.mgf", ".x.part-12", ".x.part--3", ".x.part-12-",
                           ".x.part-12-3a", "x.part-12-3", ".orvane-work-", ".orvane-work-12x",
                           ".part-1-2"})
    EXPECT_EQ(TemporaryOwner(name), -1) << name;
}

TEST(TemporaryNames, StaleOnesGoLiveOnesStay) {
  TempDir dir;
  // A child that has exited: its pid no longer runs.
  const pid_t dead = fork();
  if (dead == 0) _exit(0);
  int status = 0;
  waitpid(dead, &status, 0);
  const std::string d = std::to_string(dead);
  const std::string me = std::to_string(getpid());
  WriteFile(dir.File(".a_c.mgf.part-" + d + "-0"), "half");
  WriteFile(dir.File(".a_c.mgf.part-" + me + "-0"), "mine");
  std::filesystem::create_directories(dir.File(".orvane-work-" + d + "/unit-0/out"));
  WriteFile(dir.File(".orvane-work-" + d + "/unit-0/out/a_c.mgf"), "x");
  WriteFile(dir.File("a_c.mgf"), "final");
  EXPECT_EQ(RemoveStaleTemporaries(dir.Folder()), 2);
  EXPECT_EQ(test::ListFiles(dir.Folder()),
            (std::vector<std::string>{".a_c.mgf.part-" + me + "-0", "a_c.mgf"}));
}

TEST(OutputSafety, OutputsOfARunAndTheirClashWithInputs) {
  TempDir dir;
  EXPECT_EQ(CleanOutputPaths(1, {"/x/run.mgf"}, "/o/", true, false),
            (std::vector<std::string>{"/o/run_c.mgf", "/o/badspectra/run_bad_c.mgf"}));
  EXPECT_EQ(CleanOutputPaths(1, {"/x/run.mgf.gz"}, "/o/", true, false),
            (std::vector<std::string>{"/o/run_c.mgf", "/o/badspectra/run_bad_c.mgf"}));
  EXPECT_EQ(CleanOutputPaths(0, {"/x/s.1.1.2.dta"}, "/o/", false, false),
            (std::vector<std::string>{"/o/s.1.1.2_c.dta"}));
  EXPECT_EQ(CleanOutputPaths(1, {"/x/run.mgf"}, "/o/", false, true).size(), 6u);
  EXPECT_EQ(CleanOutputPaths(0, {"/x/s.dta"}, "/o/", false, true).size(), 1u);

  WriteFile(dir.File("x_c.mgf"), "input");
  std::filesystem::create_directories(dir.File("sub"));
  // The same file through another spelling of its folder, existing or not.
  EXPECT_TRUE(SameFile(dir.File("sub/../x_c.mgf"), dir.File("x_c.mgf")));
  EXPECT_TRUE(SameFile(dir.File("sub/../new.mgf"), dir.File("new.mgf")));
  EXPECT_FALSE(SameFile(dir.File("sub/x_c.mgf"), dir.File("x_c.mgf")));
  std::filesystem::create_symlink(dir.File("x_c.mgf"), dir.File("link.mgf"));
  EXPECT_TRUE(SameFile(dir.File("link.mgf"), dir.File("x_c.mgf")));
  std::filesystem::create_hard_link(dir.File("x_c.mgf"), dir.File("hard.mgf"));
  EXPECT_TRUE(SameFile(dir.File("hard.mgf"), dir.File("x_c.mgf")));

  const std::string clash =
      FindOutputOverInput(CleanOutputPaths(1, {dir.File("x.mgf")}, dir.Folder() + "sub/../", true, false),
                          {dir.File("x.mgf"), dir.File("x_c.mgf")});
  EXPECT_EQ(clash, dir.File("sub/../x_c.mgf") + " would overwrite the input " + dir.File("x_c.mgf"));
  EXPECT_EQ(FindOutputOverInput({dir.File("sub/y_c.mgf")}, {dir.File("x_c.mgf")}), "");
}

}  // namespace
}  // namespace orvane::app
