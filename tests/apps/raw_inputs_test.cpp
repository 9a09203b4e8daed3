// Instrument files through the command line: what convert and clean leave
// in the output folder, and a damaged peak array reported with its file and
// scan, non-zero, with nothing of that input under a final name.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "orvane_runner.h"

namespace orvane {
namespace {

using test::ListFiles;
using test::ReadFile;
using test::RunOrvane;
using test::ShellQuote;
using test::TempDir;
using test::WriteFile;
using ::testing::HasSubstr;

std::string Fixture(const std::string& name) {
  return std::string(ORVANE_SOURCE_DIR) + "/tests/readers/fixtures/" + name;
}

int Blocks(const std::string& text) {
  int n = 0;
  for (auto at = text.find("BEGIN IONS"); at != std::string::npos; at = text.find("BEGIN IONS", at + 1)) ++n;
  return n;
}

// yeast_plain.mzML with one character of the m/z array of its second MS/MS
// scan (native id "... scan=4") made invalid.
std::string Damaged(const TempDir& dir) {
  std::string text = ReadFile(Fixture("yeast_plain.mzML"));
  auto at = text.find("scan=4\"");
  at = text.find("<binary>", at);
  text[at + 8 + 5] = '*';
  const std::string path = dir.File("damaged.mzML");
  WriteFile(path, text);
  return path;
}

TEST(RawInputs, ConvertWritesOneSpectrumPerMsMsScan) {
  TempDir dir;
  const auto r = RunOrvane("convert --to mgf -o " + ShellQuote(dir.File("out")) + " " +
                           ShellQuote(Fixture("yeast_plain.mzML")));
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_THAT(r.out, HasSubstr("yeast_plain.mgf (6 spectra from 6 MS/MS scans)\n"));
  const std::string mgf = ReadFile(dir.File("out/yeast_plain.mgf"));
  EXPECT_EQ(Blocks(mgf), 6);
  EXPECT_THAT(mgf, HasSubstr("TITLE=yeast_plain.2.2.2 File:\"yeast_plain.mzML\", "
                             "NativeID:\"controllerType=0 controllerNumber=1 scan=2\"\n"));
}

TEST(RawInputs, CleanLeavesOnlyTheCleanedOutputsUnlessAskedToKeep) {
  TempDir dir;
  const auto r = RunOrvane("clean -q -o " + ShellQuote(dir.File("out")) + " " +
                           ShellQuote(Fixture("yeast_plain.mzML")));
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(ListFiles(dir.File("out")), (std::vector<std::string>{"badspectra", "yeast_plain_c.mgf"}));
  const auto keep = RunOrvane("clean -q --keep-converted -o " + ShellQuote(dir.File("keep")) + " " +
                              ShellQuote(Fixture("yeast_plain.mzML")));
  ASSERT_EQ(keep.status, 0) << keep.err;
  EXPECT_EQ(ListFiles(dir.File("keep")),
            (std::vector<std::string>{"badspectra", "yeast_plain.mgf", "yeast_plain_c.mgf"}));
}

TEST(RawInputs, ADamagedArrayFailsThatInputAlone) {
  TempDir dir;
  const std::string damaged = Damaged(dir);
  const auto convert = RunOrvane("convert --to mgf -o " + ShellQuote(dir.File("c")) + " " + ShellQuote(damaged));
  EXPECT_EQ(convert.status, 1);
  EXPECT_THAT(convert.err, HasSubstr(damaged));
  EXPECT_THAT(convert.err, HasSubstr("scan=4"));
  EXPECT_EQ(ListFiles(dir.File("c")), std::vector<std::string>{});

  const auto clean = RunOrvane("clean -q -o " + ShellQuote(dir.File("k")) + " " + ShellQuote(damaged) + " " +
                               ShellQuote(Fixture("yeast_zlib.mzML")));
  EXPECT_EQ(clean.status, 1);
  EXPECT_THAT(clean.err, HasSubstr("scan=4"));
  EXPECT_EQ(ListFiles(dir.File("k")), (std::vector<std::string>{"badspectra", "yeast_zlib_c.mgf"}));
}

}  // namespace
}  // namespace orvane
