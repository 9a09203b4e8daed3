// What a stop (Ctrl-C, SIGTERM) or a full disk leaves behind: never a file
// under a final name that is not complete, for convert and clean, MGF and
// mzML inputs, one engine and two.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "orvane_runner.h"
#include "support/synthetic.h"
#include "support/test_support.h"

namespace orvane {
namespace {

namespace fs = std::filesystem;
using test::ReadFile;
using test::TempDir;

struct Leftovers {
  std::vector<std::string> finals;       // files under final names
  std::vector<std::string> temporaries;  // files and folders of ours under temporary names
  std::vector<std::string> broken;       // MGF files whose blocks are not all whole
};

// Every MGF block of a file is whole: as many END IONS as BEGIN IONS lines,
// and the file ends with one.
bool WholeMgf(const std::string& text) {
  std::size_t begins = 0, ends = 0;
  for (std::size_t at = 0; (at = text.find("BEGIN IONS\n", at)) != std::string::npos; ++at) ++begins;
  for (std::size_t at = 0; (at = text.find("END IONS\n", at)) != std::string::npos; ++at) ++ends;
  const std::string tail = "END IONS\n";
  return begins == ends && begins > 0 && text.size() >= tail.size() &&
         text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

Leftovers Look(const std::string& folder) {
  Leftovers left;
  std::error_code ec;
  for (fs::recursive_directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
    const std::string name = it->path().filename().string();
    const std::string rel = fs::relative(it->path(), folder).string();
    if (name.find(".part-") != std::string::npos || name.rfind(".orvane-work-", 0) == 0) {
      left.temporaries.push_back(rel);
      continue;
    }
    if (!it->is_regular_file()) continue;
    left.finals.push_back(rel);
    if (it->path().extension() == ".mgf" && !WholeMgf(ReadFile(it->path().string())))
      left.broken.push_back(rel);
  }
  return left;
}

std::string Join(const std::vector<std::string>& v) {
  std::string s;
  for (const auto& x : v) s += x + " ";
  return s;
}

// A run and its input: "mgf" (a synthetic file of 4,000 spectra) or "mzml"
// (BSA1.mzML of the shared data).
struct RunCase {
  const char* name;
  const char* input;
  std::vector<std::string> args;  // before "-o DIR INPUT"
};

void PrintTo(const RunCase& run, std::ostream* os) { *os << run.name; }

const RunCase kRuns[] = {
    {"convert_mgf_to_dta", "mgf", {"convert", "--to", "dta"}},
    {"convert_mzml_to_mgf", "mzml", {"convert", "--to", "mgf"}},
    {"convert_mzml_classic", "mzml", {"convert", "--to", "mgf", "--mgf-dialect", "classic"}},
    {"clean_mgf_jobs1", "mgf", {"clean", "--jobs", "1"}},
    {"clean_mgf_jobs2", "mgf", {"clean", "--jobs", "2"}},
    {"clean_mzml_jobs1", "mzml", {"clean", "--jobs", "1"}},
    {"clean_mzml_jobs2", "mzml", {"clean", "--jobs", "2"}},
};

// The input of a run, made in dir or found in the shared data; empty to skip.
std::string InputFor(const RunCase& run, const TempDir& dir) {
  if (std::string(run.input) == "mzml") {
    const auto path = test::DataFile("bsa/BSA1.mzML");
    return path ? *path : std::string();
  }
  const std::string path = dir.File("big.mgf");
  if (!fs::exists(path)) test::WriteFile(path, test::MakeSyntheticMgf(4000, 11, true));
  return path;
}

std::vector<std::string> Args(const RunCase& run, const std::string& out, const std::string& input) {
  std::vector<std::string> args = run.args;
  args.insert(args.end(), {"-o", out, input});
  return args;
}

// No temporaries, no broken MGF file, and no MGF output at all of the single
// input in hand (DTA files, each written whole, may stay).
void ExpectOnlyWholeFiles(const RunCase& run, const std::string& out) {
  const Leftovers left = Look(out);
  EXPECT_TRUE(left.temporaries.empty()) << Join(left.temporaries);
  EXPECT_TRUE(left.broken.empty()) << Join(left.broken);
  for (const std::string& f : left.finals) {
    EXPECT_EQ(fs::path(f).extension(), ".dta") << f;
  }
}

// A stop while the run writes: exit status 130, and what stands under a
// final name is whole.
class Stops : public ::testing::TestWithParam<std::tuple<RunCase, int>> {};

TEST_P(Stops, LeaveOnlyWholeFiles) {
  const auto& [run, signal] = GetParam();
  TempDir dir;
  const std::string input = InputFor(run, dir);
  if (input.empty()) GTEST_SKIP() << "real data not available: bsa/BSA1.mzML";
  const std::string out = dir.File("out");
  const pid_t pid = test::SpawnOrvane(Args(run, out, input), dir.File("err"));
  ASSERT_GT(pid, 0);
  // Under way: an output in progress stands in the output folder (or in the
  // folder a clean run converts raw inputs in).
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (Look(out).temporaries.empty() && std::chrono::steady_clock::now() < deadline)
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  ASSERT_EQ(kill(pid, signal), 0);
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  ASSERT_TRUE(WIFEXITED(status)) << "ended by signal " << WTERMSIG(status);
  EXPECT_EQ(WEXITSTATUS(status), 130) << ReadFile(dir.File("err"));
  EXPECT_NE(ReadFile(dir.File("err")).find("stopped"), std::string::npos) << ReadFile(dir.File("err"));
  ExpectOnlyWholeFiles(run, out);
}

INSTANTIATE_TEST_SUITE_P(Runs, Stops,
                         ::testing::Combine(::testing::ValuesIn(kRuns), ::testing::Values(SIGINT, SIGTERM)),
                         [](const auto& info) {
                           return std::string(std::get<0>(info.param).name) +
                                  (std::get<1>(info.param) == SIGINT ? "_int" : "_term");
                         });

// A small file system of its own, mounted for the test (root only; skipped
// where mounting is not allowed).
class SmallDisk {
 public:
  explicit SmallDisk(const std::string& folder) : folder_(folder) {
    fs::create_directories(folder);
    mounted_ = ::geteuid() == 0 && ::mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=512k") == 0;
  }
  ~SmallDisk() {
    if (mounted_) ::umount(folder_.c_str());
  }
  bool Mounted() const { return mounted_; }

 private:
  std::string folder_;
  bool mounted_ = false;
};

// A disk that fills up: exit status 1 with the system's reason, and nothing
// under a final name that is not whole.
class FullDisk : public ::testing::TestWithParam<RunCase> {};

TEST_P(FullDisk, FailsAndLeavesOnlyWholeFiles) {
  const RunCase& run = GetParam();
  TempDir dir;
  const std::string input = InputFor(run, dir);
  if (input.empty()) GTEST_SKIP() << "real data not available: bsa/BSA1.mzML";
  SmallDisk disk(dir.File("disk"));
  if (!disk.Mounted()) GTEST_SKIP() << "can't mount a tmpfs here";
  const std::string out = dir.File("disk/out");
  std::string command;
  for (const std::string& a : Args(run, out, input)) command += test::ShellQuote(a) + " ";
  const test::RunResult r = test::RunOrvane(command);
  EXPECT_EQ(r.status, 1) << r.err;
  EXPECT_NE(r.err.find("No space left on device"), std::string::npos) << r.err;
  ExpectOnlyWholeFiles(run, out);
}

INSTANTIATE_TEST_SUITE_P(Runs, FullDisk, ::testing::ValuesIn(kRuns),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace orvane
