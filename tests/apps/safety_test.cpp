// Inputs are safe from outputs, and a killed run leaves nothing under a final
// name: through the executable, for clean and convert.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

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

Result Orvane(const std::string& args) { return test::RunOrvane(args); }

// Each case: the command (with %D for the folder of the inputs, which holds
// x.mgf, x_c.mgf, SpectraMerged_c.mgf, s.1.1.2.dta and s.1.1.2_c.dta), the
// output and the input it names.
struct Clash {
  const char* name;
  const char* args;
  const char* output;
  const char* input;
};

class OutputOverInput : public ::testing::TestWithParam<Clash> {};

TEST_P(OutputOverInput, IsRefusedBeforeTheRunAndTheInputStays) {
  TempDir dir;
  const std::string folder = dir.Folder();
  const std::vector<std::string> names = {"x.mgf", "x_c.mgf", "SpectraMerged_c.mgf", "s.1.1.2.dta",
                                          "s.1.1.2_c.dta"};
  for (const std::string& name : names)
    WriteFile(dir.File(name), name.ends_with(".dta") ? "1000.0 2\n100 1\n200 2\n300 3\n"
                                                     : test::MakeSyntheticMgf(3, 1));
  std::string args = GetParam().args;
  for (auto at = args.find("%D"); at != std::string::npos; at = args.find("%D"))
    args.replace(at, 2, folder);
  std::vector<std::string> before;
  for (const std::string& name : names) before.push_back(ReadFile(dir.File(name)));

  const Result r = Orvane(args);
  EXPECT_EQ(r.status, 1) << r.err;
  EXPECT_THAT(r.err, HasSubstr(GetParam().output));
  EXPECT_THAT(r.err, HasSubstr("would overwrite the input " + folder + GetParam().input));
  for (std::size_t i = 0; i < names.size(); ++i)
    EXPECT_TRUE(ReadFile(dir.File(names[i])) == before[i]) << names[i] << " was changed";
  EXPECT_FALSE(fs::exists(dir.File("x_c_c.mgf")));
}

INSTANTIATE_TEST_SUITE_P(
    Cases, OutputOverInput,
    ::testing::Values(
        // The clean output of x.mgf is the input x_c.mgf.
        Clash{"CleanOutput", "clean -o %D %Dx.mgf %Dx_c.mgf", "x_c.mgf", "x_c.mgf"},
        Clash{"CleanOutputOneJob", "clean --jobs 1 -o %D/sub/.. %Dx_c.mgf %Dx.mgf", "x_c.mgf",
              "x_c.mgf"},
        Clash{"MergedOutput", "clean --merge-output -o %D %DSpectraMerged_c.mgf",
              "SpectraMerged_c.mgf", "SpectraMerged_c.mgf"},
        Clash{"LogFile", "clean --log %Dx.mgf -o %Dout %Dx.mgf", "x.mgf", "x.mgf"},
        Clash{"DtaOutput", "clean -o %D %Ds.1.1.2.dta %Ds.1.1.2_c.dta", "s.1.1.2_c.dta",
              "s.1.1.2_c.dta"},
        Clash{"ConvertRewrite", "convert --to mgf -o %D %Dx.mgf", "x.mgf", "x.mgf"}),
    [](const auto& info) { return std::string(info.param.name); });

// Names under folder and its badspectra/, relative, subfolders marked "/".
std::vector<std::string> Names(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code ec;
  for (const auto& e : fs::directory_iterator(folder, ec)) {
    names.push_back(e.path().filename().string() + (e.is_directory() ? "/" : ""));
    if (e.path().filename() == "badspectra")
      for (const auto& b : fs::directory_iterator(e.path(), ec))
        names.push_back("badspectra/" + b.path().filename().string());
  }
  return names;
}

class KilledRun : public ::testing::TestWithParam<const char*> {};

TEST_P(KilledRun, LeavesOnlyHiddenTemporariesAndTheNextRunRemovesThem) {
  TempDir dir;
  const std::string input = dir.File("big.mgf");
  WriteFile(input, test::MakeSyntheticMgf(3000, 9, true));
  const std::string out = dir.File("out");
  const pid_t pid = test::SpawnOrvane({"clean", "--jobs", GetParam(), "--check-seq-tags", "-o", out, input});
  ASSERT_GT(pid, 0);
  // Wait until something is being written, then kill without warning.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  bool writing = false;
  while (!writing && std::chrono::steady_clock::now() < deadline) {
    for (const std::string& name : Names(out))
      if (name[0] == '.' || name.find("/.") != std::string::npos) writing = true;
    std::this_thread::sleep_for(std::chrono::milliseconds(writing ? 300 : 10));
  }
  ASSERT_TRUE(writing);
  ASSERT_EQ(kill(pid, SIGKILL), 0);
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  ASSERT_TRUE(WIFSIGNALED(status)) << "the run ended before the kill";

  std::size_t temporaries = 0;
  for (const std::string& name : Names(out)) {
    if (name == "badspectra/") continue;
    const std::string base = name.substr(name.find_last_of('/', name.size() - 2) + 1);
    EXPECT_EQ(base[0], '.') << name << " stands under a final name";
    ++temporaries;
  }
  EXPECT_GT(temporaries, 0u);

  // The next run in that folder takes them away.
  WriteFile(dir.File("small.mgf"), test::MakeSyntheticMgf(3, 2));
  const Result r = Orvane("clean --jobs 1 -o " + Quote(out) + " " + Quote(dir.File("small.mgf")));
  ASSERT_EQ(r.status, 0) << r.err;
  for (const std::string& name : Names(out)) {
    EXPECT_EQ(name.find(".part-"), std::string::npos) << name;
    EXPECT_EQ(name.find(".orvane-work-"), std::string::npos) << name;
  }
  EXPECT_TRUE(fs::exists(out + "/small_c.mgf"));
}

INSTANTIATE_TEST_SUITE_P(Jobs, KilledRun, ::testing::Values("1", "2"));

}  // namespace
}  // namespace orvane
