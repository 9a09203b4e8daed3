// `orvane info` on instrument files, and gzip-compressed MGF inputs of info,
// convert and clean, through the executable.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "apps/orvane_runner.h"
#include "support/test_support.h"

namespace orvane {
namespace {

using test::ListFiles;
using test::ReadFile;
using test::TempDir;

std::string Quote(const std::string& s) { return test::ShellQuote(s); }

std::string Fixture(const std::string& name) {
  return std::string(ORVANE_SOURCE_DIR) + "/tests/readers/fixtures/" + name;
}

const std::string kSample = std::string(ORVANE_SOURCE_DIR) + "/examples/sample.mgf";

// gzip -c FROM | FILTER >TO
void Gzip(const std::string& from, const std::string& to, const std::string& filter = "cat") {
  ASSERT_EQ(std::system(("gzip -c " + Quote(from) + " | " + filter + " >" + Quote(to)).c_str()), 0);
}

TEST(InfoCommand, SummarisesInstrumentFilesAndGoesOnPastABrokenOne) {
  const std::string mzml = Fixture("bsa_survey_first.mzML");
  const std::string mzxml = Fixture("yeast_32_zlib.mzXML");
  const std::string numpress = Fixture("yeast_numpress.mzML");
  const auto r =
      test::RunOrvane("info " + Quote(mzml) + " " + Quote(numpress) + " " + Quote(mzxml));
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.out,
            mzml + "\tspectra=ms1:4,ms2:6\tcharges=2:4,3:2\trt=1501.4-1526.3"
                   "\tinstrument=LTQ Orbitrap XL\tanalyzer=FTMS\n" +
            mzxml + "\tspectra=ms1:2,ms2:6\tcharges=2:6\trt=1442.6-1446.0"
                    "\tinstrument=LTQ Orbitrap Velos\tanalyzer=FTMS,ITMS\n");
  EXPECT_EQ(r.err.rfind("orvane: error: " + numpress + ": ", 0), 0u) << r.err;
  EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << r.err;
}

// What a command made in a folder: every file's name and bytes.
std::vector<std::pair<std::string, std::string>> Made(const std::string& folder) {
  std::vector<std::pair<std::string, std::string>> made;
  for (const auto& e : std::filesystem::recursive_directory_iterator(folder))
    if (e.is_regular_file())
      made.emplace_back(std::filesystem::relative(e.path(), folder).string(),
                        ReadFile(e.path().string()));
  std::sort(made.begin(), made.end());
  return made;
}

// run.mgf.gz gives what run.mgf gives, under the same names.
TEST(GzipMgf, EveryCommandGivesWhatThePlainFileGives) {
  TempDir dir;
  std::filesystem::create_directories(dir.File("plain"));
  std::filesystem::create_directories(dir.File("gz"));
  std::filesystem::copy_file(kSample, dir.File("plain/run.mgf"));
  std::filesystem::copy_file(kSample, dir.File("other.mgf"));
  Gzip(kSample, dir.File("gz/run.mgf.gz"));

  const auto plainInfo = test::RunOrvane("info " + Quote(dir.File("plain/run.mgf")));
  const auto gzInfo = test::RunOrvane("info " + Quote(dir.File("gz/run.mgf.gz")));
  EXPECT_EQ(gzInfo.status, 0) << gzInfo.err;
  EXPECT_EQ(gzInfo.out.substr(gzInfo.out.find('\t')),
            plainInfo.out.substr(plainInfo.out.find('\t')));

  // Bad spectra are separated, so their names are checked too; beside another
  // file the gzip file's outputs are joined from a parallel run.
  const std::string clean = "clean -q --check-seq-tags --seq-tag-length 6 --jobs ";
  const std::string runs[] = {  // IN and OUT stand for the input and the output folder
      "convert --to mgf -o OUT IN",
      "convert --to dta -o OUT IN",
      clean + "1 -o OUT IN",
      clean + "2 -o OUT IN " + Quote(dir.File("other.mgf")),
  };
  int n = 0;
  for (const std::string& run : runs) {
    std::vector<std::pair<std::string, std::string>> outputs[2];
    for (int gz = 0; gz < 2; ++gz) {
      std::string args = run;
      const std::string out = dir.File("out" + std::to_string(n++));
      args.replace(args.find("OUT"), 3, Quote(out));
      args.replace(args.find("IN"), 2, Quote(dir.File(gz ? "gz/run.mgf.gz" : "plain/run.mgf")));
      const auto r = test::RunOrvane(args);
      EXPECT_EQ(r.status, 0) << args << "\n" << r.err;
      outputs[gz] = Made(out);
    }
    EXPECT_FALSE(outputs[0].empty()) << run;
    EXPECT_EQ(outputs[1], outputs[0]) << run;
  }
  EXPECT_EQ(ListFiles(dir.File("out5/badspectra")), std::vector<std::string>{"run_bad_c.mgf"});
}

TEST(GzipMgf, ACutFileIsNamedAndFailsEveryCommand) {
  TempDir dir;
  const std::string cut = dir.File("cut.mgf.gz");
  Gzip(kSample, cut, "head -c 3000");
  for (const std::string& command : {std::string("info"), "convert --to mgf -o " + Quote(dir.File("c")),
                                     "clean -q -o " + Quote(dir.File("k"))}) {
    const auto r = test::RunOrvane(command + " " + Quote(cut));
    EXPECT_EQ(r.status, 1) << command;
    EXPECT_NE(r.err.find("Cannot access file " + cut + ": its gzip data ends early, after "),
              std::string::npos) << command << "\n" << r.err;
  }
  EXPECT_FALSE(std::filesystem::exists(dir.File("c/cut.mgf")));
}

}  // namespace
}  // namespace orvane
