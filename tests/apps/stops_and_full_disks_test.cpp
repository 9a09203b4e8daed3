// What a stop (Ctrl-C, SIGTERM), a kill or a full disk leaves behind: never a file under a final
// name that is not complete, for convert and clean, MGF and mzML inputs, one engine and two.
// Everything else the command line shows is pinned by the golden cases (tests/golden).
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <chrono>
#include <iterator>
#include <sstream>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "support/synthetic.h"
#include "support/test_support.h"

extern char** environ;

namespace orvane {
namespace {

namespace fs = std::filesystem;
using test::ReadFile;

// Files under final names, and ours under temporary names.
struct Leftovers { std::vector<std::string> finals, temporaries; };

Leftovers Look(const std::string& folder) {
  Leftovers left;
  std::error_code ec;
  for (fs::recursive_directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
    // The run is still going: a file seen here may be gone a moment later, so nothing below
    // may look at the disk again (fs::relative would, and throw).
    const std::string name = it->path().filename().string(), rel = it->path().lexically_relative(folder).string();
    if (name.find(".part-") != std::string::npos || name.rfind(".orvane-work-", 0) == 0) {
      left.temporaries.push_back(rel);
      it.disable_recursion_pending();
    } else if (std::error_code gone; it->is_regular_file(gone)) {
      left.finals.push_back(rel);
    }
  }
  return left;
}

// Runs orvane with standard error to errFile; its exit status, or -1 - the
// signal that ended it. stop, if given, is sent once temporaries stand in out.
int RunOrvane(std::vector<std::string> args, const std::string& errFile, const std::string& out = "", int stop = 0) {
  args.insert(args.begin(), ORVANE_EXE);
  std::vector<char*> argv;
  for (auto& a : args) argv.push_back(a.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 2, errFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  pid_t pid = -1;
  const int spawned = posix_spawn(&pid, ORVANE_EXE, &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (spawned != 0) return -1000;
  if (stop != 0) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (Look(out).temporaries.empty() && std::chrono::steady_clock::now() < deadline)
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    kill(pid, stop);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status) - 1;
}

// A run: its input, "mgf" (4,000 synthetic spectra; 600 for a full disk) or "mzml" (BSA1.mzML of
// the shared data), and its arguments before "-o OUT INPUT".
const char* const kRuns[] = {"mgf convert --to dta", "mzml convert --to mgf",
                             "mzml convert --to mgf --mgf-dialect classic", "mgf clean --check-seq-tags --jobs 1",
                             "mgf clean --check-seq-tags --jobs 2", "mzml clean --jobs 1", "mzml clean --jobs 2"};

class Ends : public ::testing::TestWithParam<std::tuple<const char*, int>> {};

// signal 0 stands for a disk that fills up (a tmpfs of 512 KiB; root only).
TEST_P(Ends, LeaveOnlyWholeFiles) {
  const auto& [run, signal] = GetParam();
  std::istringstream words(run);
  std::string kind;
  words >> kind;  // the rest are the arguments
  std::vector<std::string> args{std::istream_iterator<std::string>(words), {}};
  const bool clean = args[0] == "clean", mgf = kind == "mgf";
  test::TempDir dir;
  std::string input = dir.File("big.mgf");
  if (mgf) {
    // A full disk needs no more than fills it; a signal, a run long enough to arrive in.
    test::WriteFile(input, test::MakeSyntheticMgf(signal == 0 ? 600 : 4000, 11, true));
  } else {
    const auto path = test::DataFile("bsa/BSA1.mzML");
    if (!path) GTEST_SKIP() << "real data not available: bsa/BSA1.mzML";
    input = *path;
  }
  const std::string out = dir.File("disk/out"), err = dir.File("err"), log = dir.File("run.log");
  fs::create_directories(dir.File("disk"));
  if (signal == 0 && (geteuid() != 0 || mount("tmpfs", dir.File("disk").c_str(), "tmpfs", 0, "size=512k") != 0))
    GTEST_SKIP() << "can't mount a tmpfs here";
  if (clean && signal != 0) args.insert(args.end(), {"--log", log});
  args.insert(args.end(), {"-o", out, input});
  const int status = RunOrvane(args, err, out, signal);
  const Leftovers left = Look(out);
  if (signal == 0) umount(dir.File("disk").c_str());
  const std::string said = ReadFile(err);
  // No output of the single input in hand under a final name, but DTA files, each written whole.
  for (const std::string& f : left.finals) EXPECT_EQ(fs::path(f).extension(), ".dta") << f;
  if (signal == SIGKILL) {
    // Only hidden temporaries, which the next run in that folder takes away.
    ASSERT_EQ(status, -SIGKILL - 1);
    if (!clean || !mgf) return;  // a DTA file or a raw input may be between files
    EXPECT_FALSE(left.temporaries.empty());
    test::WriteFile(dir.File("small.mgf"), test::MakeSyntheticMgf(3, 2));
    EXPECT_EQ(RunOrvane({"clean", "--jobs", "1", "-o", out, dir.File("small.mgf")}, err), 0) << ReadFile(err);
    EXPECT_TRUE(Look(out).temporaries.empty());
    return;
  }
  EXPECT_TRUE(left.temporaries.empty()) << left.temporaries[0];
  EXPECT_EQ(status, signal == 0 ? 1 : 130) << said;
  EXPECT_NE(said.find(signal == 0 ? "No space left on device" : "stopped"), std::string::npos) << said;
  // The log of an MGF run is whole up to where it stopped: one head.
  if (clean && mgf && signal != 0) {
    EXPECT_EQ(ReadFile(log).rfind("Peltrix Log File\n"), 0u);
  }
}

INSTANTIATE_TEST_SUITE_P(Runs, Ends, ::testing::Combine(::testing::ValuesIn(kRuns),
                                                        ::testing::Values(SIGINT, SIGTERM, SIGKILL, 0)),
                         [](const auto& info) {
                           std::string name = std::get<0>(info.param) + (" signal " + std::to_string(std::get<1>(info.param)));
                           for (char& c : name) c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
                           return name;
                         });

}  // namespace
}  // namespace orvane
