// Presets files: `orvane params` writes one, `--params` reads one, and bad
// files are refused with the file, the line and the key.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "apps/orvane_runner.h"
#include "support/test_support.h"

namespace orvane {
namespace {

using ::testing::HasSubstr;
using test::RunOrvane;
using test::ShellQuote;
using test::TempDir;
using test::WriteFile;

TEST(Presets, TheDefaultsFileReadsBackToTheDefaults) {
  const auto defaults = RunOrvane("params");
  ASSERT_EQ(defaults.status, 0) << defaults.err;
  TempDir dir;
  WriteFile(dir.File("p.toml"), defaults.out);
  const auto again = RunOrvane("params --params " + ShellQuote(dir.File("p.toml")));
  ASSERT_EQ(again.status, 0) << again.err;
  EXPECT_EQ(again.out, defaults.out);
  // Every key comes with its meaning and its allowed values.
  EXPECT_THAT(defaults.out, HasSubstr("[clean]\n"));
  EXPECT_THAT(defaults.out, HasSubstr("[raw]\n"));
  EXPECT_THAT(defaults.out,
              HasSubstr("# Percent of its intensity a point must lose in the isotope filter to be "
                        "removed.\n# percent, 0 to 100\ndeisotope-threshold = 55.0\n"));
  EXPECT_THAT(defaults.out, HasSubstr("\nbad-spectra = \"separate\"\n"));
  EXPECT_THAT(defaults.out, HasSubstr("\nmax-mass = 100000.0\n"));
}

TEST(Presets, AFileChangesOnlyWhatItNames) {
  TempDir dir;
  WriteFile(dir.File("p.toml"),
            "# lab settings\n[clean]\ndeisotope = false\nequidistant-step = 0.1\n"
            "max-periodicity = 30\nbad-spectra = \"delete\"\n[raw]\nmin-mass = 600\n");
  const auto r = RunOrvane("params --params " + ShellQuote(dir.File("p.toml")));
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_THAT(r.out, HasSubstr("\ndeisotope = false\n"));
  EXPECT_THAT(r.out, HasSubstr("\nequidistant-step = 0.1\n"));
  EXPECT_THAT(r.out, HasSubstr("\nmax-periodicity = 30\n"));
  EXPECT_THAT(r.out, HasSubstr("\nbad-spectra = \"delete\"\n"));
  EXPECT_THAT(r.out, HasSubstr("\nmin-mass = 600.0\n"));
  EXPECT_THAT(r.out, HasSubstr("\nmerge-peaks = true\n"));
}

// A built-in preset goes under the presets file, which goes under the
// command line; an unknown name lists the known ones.
TEST(Presets, BuiltInPresetsUnderFileAndOptions) {
  const auto list = RunOrvane("params --list-presets");
  ASSERT_EQ(list.status, 0) << list.err;
  EXPECT_THAT(list.out, HasSubstr("hires\t"));
  EXPECT_THAT(list.out, HasSubstr("\nlowres\t"));
  EXPECT_THAT(list.out, HasSubstr("\ntmt\t"));
  const auto tmt = RunOrvane("params --preset tmt");
  ASSERT_EQ(tmt.status, 0) << tmt.err;
  EXPECT_THAT(tmt.out, HasSubstr("\nprotect-below = 136.0\n"));
  TempDir dir;
  WriteFile(dir.File("p.toml"), "[clean]\ndeisotope-threshold = 65.0\n");
  const auto over = RunOrvane("params --preset lowres --params " + ShellQuote(dir.File("p.toml")));
  ASSERT_EQ(over.status, 0) << over.err;
  EXPECT_THAT(over.out, HasSubstr("\ndeisotope-threshold = 65.0\n"));
  const auto unknown = RunOrvane("params --preset orbitrap");
  EXPECT_NE(unknown.status, 0);
  EXPECT_THAT(unknown.err, HasSubstr("--preset must be one of hires, lowres, tmt, not \"orbitrap\""));
}

struct BadFile {
  const char* name;
  const char* content;
  const char* message;  // what stderr says after "orvane: error: <file>"
};

class BadPresets : public testing::TestWithParam<BadFile> {};

TEST_P(BadPresets, AreRefusedWithFileLineAndKey) {
  TempDir dir;
  const std::string path = dir.File("bad.toml");
  WriteFile(path, GetParam().content);
  const auto r = RunOrvane("params --params " + ShellQuote(path));
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, "orvane: error: " + path + GetParam().message + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    Cases, BadPresets,
    testing::Values(
        BadFile{"OutOfRange", "[clean]\n\ndeisotope-threshold = 150\n",
                ":3: deisotope-threshold: must lie between 0 and 100, not 150"},
        BadFile{"UnknownKey", "[clean]\ndeisotope = true\nfoo = 1\n",
                ":3: foo: unknown key in [clean]"},
        BadFile{"KeyInWrongSection", "[raw]\ndeisotope = true\n",
                ":2: deisotope: unknown key in [raw]"},
        BadFile{"UnknownSection", "[cleaning]\nx = 1\n",
                ":1: [cleaning]: unknown section; the file has the sections [clean] and [raw]"},
        BadFile{"KeyOutsideSections", "deisotope = true\n",
                ":1: deisotope: belongs in a [clean] or [raw] section"},
        BadFile{"WrongType", "[clean]\ndeisotope = \"yes\"\n", ":2: deisotope: must be true or false"},
        BadFile{"FractionForWholeNumber", "[clean]\nmedian-filter = 2.5\n",
                ":2: median-filter: must be a whole number"},
        BadFile{"UnknownChoice", "[clean]\nbad-spectra = \"keep\"\n",
                ":2: bad-spectra: must be leave, separate or delete, not \"keep\""},
        BadFile{"WindowUpsideDown", "[raw]\nmin-mass = 500\nmax-mass = 100\n",
                ":3: max-mass: --max-mass (100) must not lie below --min-mass (500)"},
        BadFile{"Syntax", "[clean\n", ":1: Error while parsing table header: expected ']', saw '\\n'"}),
    [](const testing::TestParamInfo<BadFile>& info) { return info.param.name; });

TEST(Presets, AMissingFileIsNamed) {
  const auto r = RunOrvane("params --params /nonexistent/presets.toml");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err,
            "orvane: error: can't read the presets file /nonexistent/presets.toml: No such file or "
            "directory\n");
}

// Lines that start with a digit: the peaks of an MGF text.
std::size_t PeakLines(const std::string& text) {
  std::size_t n = 0;
  bool lineStart = true;
  for (char c : text) {
    if (lineStart && c >= '0' && c <= '9') ++n;
    lineStart = c == '\n';
  }
  return n;
}

TEST(Presets, CommandLineOptionsOverrideTheFile) {
  TempDir dir;
  const std::string input = std::string(ORVANE_SOURCE_DIR) + "/examples/sample.mgf";
  WriteFile(dir.File("p.toml"), "[clean]\ndeisotope-threshold = 150\n");
  // The file's value is refused even when the run would not use it...
  auto r = RunOrvane("clean -q --params " + ShellQuote(dir.File("p.toml")) + " -o " +
                     ShellQuote(dir.File("out")) + " " + ShellQuote(input));
  EXPECT_EQ(r.status, 1);
  // ...and a good file's values give way to the options given.
  WriteFile(dir.File("q.toml"), "[clean]\nskip-cleaning = true\nmerge-output = true\n");
  r = RunOrvane("clean -q --params " + ShellQuote(dir.File("q.toml")) +
                " --no-merge-output -o " + ShellQuote(dir.File("out")) + " " + ShellQuote(input));
  ASSERT_EQ(r.status, 0) << r.err;
  // Skipped cleaning (from the file) keeps every peak; no merge (from the command line).
  EXPECT_TRUE(std::filesystem::exists(dir.File("out/sample_c.mgf")));
  EXPECT_FALSE(std::filesystem::exists(dir.File("out/SpectraMerged_c.mgf")));
  EXPECT_EQ(PeakLines(test::ReadFile(dir.File("out/sample_c.mgf"))),
            PeakLines(test::ReadFile(input)));
}

}  // namespace
}  // namespace orvane
