// The help texts teach the common tasks by example.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "apps/orvane_runner.h"

namespace orvane {
namespace {

using ::testing::HasSubstr;
using test::RunOrvane;

TEST(Help, TheMainHelpShowsTheCommonTasks) {
  const auto r = RunOrvane("--help");
  ASSERT_EQ(r.status, 0) << r.err;
  for (const char* task :
       {"clean an MGF file", "clean a folder of DTA files", "convert an instrument file to MGF",
        "...and clean it", "concatenate MGF files", "orvane params > lab.toml"})
    EXPECT_THAT(r.out, HasSubstr(task));
  for (const char* command : {"info", "clean", "convert", "params"})
    EXPECT_THAT(r.out, HasSubstr(std::string("  ") + command));
}

TEST(Help, EachCommandHasExamples) {
  for (const char* command : {"clean", "convert", "params"}) {
    const auto r = RunOrvane(std::string(command) + " --help");
    ASSERT_EQ(r.status, 0) << command << r.err;
    EXPECT_THAT(r.out, HasSubstr("Examples:")) << command;
    EXPECT_THAT(r.out, HasSubstr(std::string("orvane ") + command)) << command;
  }
  const auto clean = RunOrvane("clean --help");
  EXPECT_THAT(clean.out, HasSubstr("--skip-cleaning --merge-output"));
  EXPECT_THAT(clean.out, HasSubstr(".mzML"));
  EXPECT_THAT(clean.out, HasSubstr("*.dta"));
}

TEST(Help, VersionNamesTheEngine) {
  const auto r = RunOrvane("--version");
  EXPECT_EQ(r.status, 0);
  EXPECT_THAT(r.out, HasSubstr("orvane 1.0.0.1 (engine version 2411)"));
}

}  // namespace
}  // namespace orvane
