// `orvane clean --jobs N` through the executable: the outputs and the log are
// the same bytes as those of one engine (--jobs 1), for several MGF inputs in
// both output forms, DTA inputs, and single MGF files cut into parts.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "spectrum/dta.h"
#include "apps/orvane_runner.h"
#include "support/synthetic.h"
#include "support/test_support.h"

namespace orvane {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using test::ReadFile;
using test::TempDir;
using test::WriteFile;

std::string Quote(const std::string& s) { return test::ShellQuote(s); }

using Result = test::RunResult;

// Runs orvane with the environment variables in env (e.g. "A=1 ").
Result Orvane(const std::string& args, const std::string& env = "") {
  return test::RunOrvane(args, env);
}

// Every file under folder, by relative path, with its bytes.
std::map<std::string, std::string> Tree(const std::string& folder) {
  std::map<std::string, std::string> files;
  for (const auto& e : fs::recursive_directory_iterator(folder))
    if (e.is_regular_file())
      files[fs::relative(e.path(), folder).string()] = ReadFile(e.path().string());
    else if (e.is_directory())
      files[fs::relative(e.path(), folder).string() + "/"] = "";
  return files;
}

// Runs the same clean with --jobs 1 and with --jobs N and expects the same
// output folders and logs, byte for byte. Answers the number of output files.
std::size_t ExpectSameAsOneJob(const TempDir& dir, const std::string& options,
                               const std::vector<std::string>& inputs, unsigned jobs,
                               const std::string& env = "") {
  std::string list;
  for (const std::string& input : inputs) list += " " + Quote(input);
  const std::string one = dir.File("one-" + std::to_string(jobs));
  const std::string many = dir.File("many-" + std::to_string(jobs));
  const Result a = Orvane("clean --jobs 1 " + options + " --log " + Quote(one + ".log") + " -o " +
                              Quote(one) + list, env);
  EXPECT_EQ(a.status, 0) << a.err;
  const Result b = Orvane("clean --jobs " + std::to_string(jobs) + " " + options + " --log " +
                              Quote(many + ".log") + " -o " + Quote(many) + list, env);
  EXPECT_EQ(b.status, 0) << b.err;
  EXPECT_THAT(b.err, HasSubstr(std::to_string(jobs) + " jobs)"));
  const auto expected = Tree(one);
  const auto got = Tree(many);
  EXPECT_EQ(got.size(), expected.size());
  for (const auto& [name, bytes] : expected) {
    auto it = got.find(name);
    if (it == got.end()) {
      ADD_FAILURE() << "missing " << name;
      continue;
    }
    EXPECT_TRUE(it->second == bytes) << name << " differs (" << it->second.size() << " vs "
                                     << bytes.size() << " bytes)";
  }
  for (const auto& entry : got) EXPECT_TRUE(expected.count(entry.first)) << "extra " << entry.first;
  const std::string logOne = ReadFile(one + ".log");
  EXPECT_THAT(logOne, HasSubstr("Peltrix Log File\n"));
  EXPECT_TRUE(ReadFile(many + ".log") == logOne) << "logs differ";
  return expected.size();
}

// A block of random peaks: no isotope spacing, so the de-isotoping calls it bad.
std::string RandomBlock(std::uint32_t seed) {
  const Dta dta = test::MakeRandomSpectrum(seed, 150, 150.0, 1200.0);
  std::string text = "BEGIN IONS\nTITLE=random." + std::to_string(seed) + "\nCHARGE=2+\nPEPMASS=600.5\n";
  char line[64];
  for (unsigned p = 0; p < dta.GetPeakCount(); ++p) {
    std::snprintf(line, sizeof line, "%.4f %.2f\n", dta.GetMass(p), dta.GetIntensity(p));
    text += line;
  }
  return text + "END IONS\n\n";
}

// Synthetic spectra with a random one after every four.
std::string MixedMgf(int n, std::uint32_t seed) {
  std::string text;
  for (int i = 0; i < n; i += 5)
    text += test::MakeSyntheticMgf(std::min(4, n - i), seed + i, true) + (i + 4 < n ? RandomBlock(seed + i) : "");
  return text;
}

// Synthetic MGF files of different sizes and names, one of them MS2.
std::vector<std::string> MgfInputs(const TempDir& dir) {
  const std::vector<std::pair<std::string, int>> files = {
      {"a.mgf", 30}, {"b_ms2.mgf", 12}, {"c.mgf", 7}, {"d_ms3.mgf", 5}, {"e.mgf", 0}};
  std::vector<std::string> paths;
  std::uint32_t seed = 11;
  for (const auto& [name, n] : files) {
    WriteFile(dir.File(name), MixedMgf(n, seed++));
    paths.push_back(dir.File(name));
  }
  return paths;
}

// Bad spectra by the tag test, separated, kept in the clean output, or
// dropped; per input and merged.
class ParallelMgfFiles : public ::testing::TestWithParam<const char*> {};

TEST_P(ParallelMgfFiles, SameBytesAsOneEngine) {
  TempDir dir;
  const auto inputs = MgfInputs(dir);
  EXPECT_GE(ExpectSameAsOneJob(dir, GetParam(), inputs, 2), 3u);
  ExpectSameAsOneJob(dir, GetParam(), inputs, 3);
}

INSTANTIATE_TEST_SUITE_P(
    Forms, ParallelMgfFiles,
    ::testing::Values("--check-seq-tags", "--check-seq-tags --bad-spectra leave",
                      "--check-seq-tags --merge-output",
                      "--check-seq-tags --bad-spectra leave --merge-output",
                      "--merge-output --no-export-bad", "--skip-cleaning --merge-output",
                      "--remove-noise --mgf-dialect classic"));

TEST(ParallelRun, SameNamedInputsReplaceAsInOneRun) {
  TempDir dir;
  fs::create_directories(dir.File("x"));
  fs::create_directories(dir.File("y"));
  WriteFile(dir.File("x/run.mgf"), test::MakeSyntheticMgf(8, 1));
  // Two peaks: nothing bad, so the later run's bad file is deleted.
  WriteFile(dir.File("y/run.mgf"), "BEGIN IONS\nTITLE=t\nPEPMASS=400\n100 1\n200 2\nEND IONS\n");
  ExpectSameAsOneJob(dir, "--check-seq-tags", {dir.File("x/run.mgf"), dir.File("y/run.mgf")}, 2);
  EXPECT_FALSE(fs::exists(dir.File("many-2/badspectra/run_bad_c.mgf")));
}

TEST(ParallelRun, DtaFiles) {
  TempDir dir;
  std::vector<std::string> inputs;
  for (int i = 1; i <= 9; ++i) {
    test::SyntheticOptions o;
    o.seed = static_cast<std::uint32_t>(i);
    const std::string path = dir.File("s." + std::to_string(i) + "." + std::to_string(i) + ".2.dta");
    Dta dta = test::MakeSyntheticSpectrum(o);
    std::string text = "1300.5 2\n";
    for (unsigned p = 0; p < dta.GetPeakCount(); ++p)
      text += std::to_string(dta.GetMass(p)) + " " + std::to_string(dta.GetIntensity(p)) + "\n";
    WriteFile(path, i == 5 ? "900.0 2\n100 1\n" : text);
    inputs.push_back(path);
  }
  EXPECT_GE(ExpectSameAsOneJob(dir, "--check-seq-tags", inputs, 2), 8u);
  ExpectSameAsOneJob(dir, "", inputs, 4);
}

// One file cut into parts: every part but the last loses the end-of-file
// rule of its log, and the parts' outputs are joined in order.
class ParallelParts : public ::testing::TestWithParam<const char*> {};

TEST_P(ParallelParts, OneFileInPartsGivesTheSameBytes) {
  TempDir dir;
  WriteFile(dir.File("big_ms2.mgf"), MixedMgf(60, 5));
  const std::string env = "ORVANE_MIN_PART_BYTES=2000 ";
  ExpectSameAsOneJob(dir, GetParam(), {dir.File("big_ms2.mgf")}, 2, env);
  if (std::string(GetParam()) == "--check-seq-tags") {
    EXPECT_GT(ReadFile(dir.File("many-2/badspectra/big_ms2_bad_c.mgf")).size(), 0u);
  }
  ExpectSameAsOneJob(dir, GetParam(), {dir.File("big_ms2.mgf")}, 5, env);
  // Two files, fewer than the jobs: each in parts.
  WriteFile(dir.File("small.mgf"), test::MakeSyntheticMgf(20, 6));
  ExpectSameAsOneJob(dir, GetParam(), {dir.File("big_ms2.mgf"), dir.File("small.mgf")}, 4, env);
  EXPECT_THAT(ReadFile(dir.File("many-4.log")), HasSubstr("random.60"));
}

INSTANTIATE_TEST_SUITE_P(Forms, ParallelParts,
                         ::testing::Values("--check-seq-tags", "--check-seq-tags --merge-output",
                                           "--skip-cleaning --merge-output", ""));

TEST(ParallelRun, RealDataInParts) {
  ORVANE_REQUIRE_DATA(bsa, "bsa/BSA1.mgf");
  TempDir dir;
  ExpectSameAsOneJob(dir, "", {bsa}, 2);
  ExpectSameAsOneJob(dir, "--merge-output --check-seq-tags", {bsa}, 3);
}

TEST(ParallelRun, RealDataTwoFiles) {
  ORVANE_REQUIRE_DATA(bsa, "bsa/BSA1.mgf");
  ORVANE_REQUIRE_DATA(yeast, "yeast/SmallCalibratible_Yeast.mgf");
  TempDir dir;
  ExpectSameAsOneJob(dir, "--remove-noise", {bsa, yeast}, 2);
}

TEST(ParallelRun, ProgressLinesPerInput) {
  TempDir dir;
  WriteFile(dir.File("p.mgf"), test::MakeSyntheticMgf(40, 2));
  const Result r = Orvane("clean --jobs 2 -o " + Quote(dir.File("out")) + " " +
                              Quote(dir.File("p.mgf")), "ORVANE_MIN_PART_BYTES=2000 ");
  ASSERT_EQ(r.status, 0) << r.err;
  // One announcement for the whole file, though two engines cleaned it.
  EXPECT_THAT(r.err, HasSubstr("p.mgf: 40 spectra\n"));
  EXPECT_EQ(r.err.find("p.mgf:"), r.err.rfind("p.mgf:"));
  EXPECT_THAT(r.err, HasSubstr("finished: 40 spectra from 1 input in "));
  for (const auto& name : test::ListFiles(dir.File("out")))
    EXPECT_EQ(name[0] == '.', false) << name;
}

// Ctrl-C stops every engine after its spectrum in hand; what was cleaned
// before the first stopped part is joined, and no staging file stays.
TEST(ParallelRun, SigintStopsEveryEngine) {
  TempDir dir;
  const int total = 3000;
  WriteFile(dir.File("big.mgf"), test::MakeSyntheticMgf(total, 4, true));
  const std::string out = dir.File("out");
  const pid_t pid = test::SpawnOrvane({"clean", "--jobs", "2", "--check-seq-tags", "--log", dir.File("run.log"),
                           "-o", out, dir.File("big.mgf")},
                          dir.File("err"));
  ASSERT_GT(pid, 0);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  bool started = false;
  while (!started && std::chrono::steady_clock::now() < deadline) {
    std::error_code ec;
    for (const auto& e : fs::directory_iterator(out, ec))
      if (e.path().filename().string().rfind(".orvane-work-", 0) == 0) started = true;
    std::this_thread::sleep_for(std::chrono::milliseconds(started ? 500 : 10));
  }
  ASSERT_TRUE(started);
  ASSERT_EQ(kill(pid, SIGINT), 0);
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  ASSERT_TRUE(WIFEXITED(status)) << "killed by signal " << WTERMSIG(status);
  EXPECT_EQ(WEXITSTATUS(status), 130);
  EXPECT_THAT(ReadFile(dir.File("err")), HasSubstr("stopped after"));
  for (const auto& e : fs::recursive_directory_iterator(out))
    EXPECT_NE(e.path().filename().string()[0], '.') << e.path();
  const std::string clean = ReadFile(out + "/big_c.mgf") + ReadFile(out + "/badspectra/big_bad_c.mgf");
  std::size_t blocks = 0;
  for (auto at = clean.find("BEGIN IONS"); at != std::string::npos; at = clean.find("BEGIN IONS", at + 1))
    ++blocks;
  EXPECT_LT(blocks, static_cast<std::size_t>(total));
  // The log is whole up to where the first part stopped: one head.
  const std::string log = ReadFile(dir.File("run.log"));
  EXPECT_EQ(log.rfind("Peltrix Log File\n"), 0u);
  EXPECT_THAT(log, HasSubstr("synthetic.1.1.2\n"));
}

}  // namespace
}  // namespace orvane
