// `orvane clean` through the executable: option checks, input kinds, the
// log, stops by signal, and real runs read back through `orvane info`.
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
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "spectrum/dta.h"
#include "spectrum/dta_file.h"
#include "spectrum/mgf_file.h"
#include "support/synthetic.h"
#include "apps/orvane_runner.h"
#include "support/test_support.h"

namespace orvane {
namespace {

using ::testing::HasSubstr;
using test::ListFiles;
using test::ReadFile;
using test::TempDir;
using test::WriteFile;

using Result = test::RunResult;

std::string Quote(const std::string& s) { return test::ShellQuote(s); }

Result Orvane(const std::string& args) { return test::RunOrvane(args); }

struct Summary {
  std::string title;
  unsigned peaks;
};

// The spectra of an MGF file as the modern reader sees them.
std::vector<Summary> ReadSpectra(const std::string& path) {
  std::vector<Summary> out;
  CStdioFile file;
  if (!file.Open(path, CStdioFile::modeRead)) return out;
  Dta dta;
  for (;;) {
    dta.Clear();
    if (ImportMgf(&file, &dta, MgfDialect::Modern) != S_OK) break;
    out.push_back({dta.strTitle, dta.GetPeakCount()});
  }
  return out;
}

// What `orvane info` says of an MGF file: its number of spectra.
int InfoSpectra(const std::string& path) {
  const Result r = Orvane("info " + Quote(path));
  EXPECT_EQ(r.status, 0) << r.err;
  std::smatch m;
  if (!std::regex_search(r.out, m, std::regex("spectra=([0-9]+)"))) return -1;
  return std::stoi(m[1]);
}

std::string SmallMgf(const TempDir& dir, const std::string& name = "run.mgf", int n = 6) {
  WriteFile(dir.File(name), test::MakeSyntheticMgf(n, 7, true));
  return dir.File(name);
}

// Every out-of-range value is refused before the run, naming its option.
class CleanOptionRange : public ::testing::TestWithParam<std::pair<const char*, const char*>> {};

TEST_P(CleanOptionRange, IsRefusedBeforeTheRun) {
  TempDir dir;
  const std::string input = SmallMgf(dir);
  const Result r = Orvane(std::string("clean ") + GetParam().first + " -o " +
                          Quote(dir.File("out")) + " " + Quote(input));
  EXPECT_EQ(r.status, 1);
  EXPECT_THAT(r.err, HasSubstr(GetParam().second));
  EXPECT_FALSE(std::filesystem::exists(dir.File("out")));
}

INSTANTIATE_TEST_SUITE_P(
    Options, CleanOptionRange,
    ::testing::Values(
        std::pair{"--deisotope-threshold 150", "--deisotope-threshold must lie between 0 and 100, not 150"},
        std::pair{"--deisotope-filter-width 0.05", "--deisotope-filter-width must lie between 0.1 and 1.9"},
        std::pair{"--deisotope-filter-width 2", "--deisotope-filter-width"},
        std::pair{"--max-periodicity 10", "--max-periodicity must lie between 14 and 400, not 10"},
        std::pair{"--median-filter 0", "--median-filter"},
        std::pair{"--deconv-threshold -1", "--deconv-threshold"},
        std::pair{"--noise-threshold 101", "--noise-threshold"},
        std::pair{"--band-stop 5", "--band-stop must lie between 0 and 4, not 5"},
        std::pair{"--band-stop -1", "--band-stop"},
        std::pair{"--seq-tag-length 0", "--seq-tag-length"},
        std::pair{"--mass-tolerance 0", "--mass-tolerance must lie above 0"},
        std::pair{"--seq-ladder-intensity 101", "--seq-ladder-intensity"},
        std::pair{"--merge-spacing 0", "--merge-spacing"},
        std::pair{"--equidistant-step 0.001", "--equidistant-step"},
        std::pair{"--equidistant-step nan", "--equidistant-step"},
        std::pair{"--bad-spectra keep", "--bad-spectra must be leave, separate or delete"},
        std::pair{"--mgf-dialect old", "--mgf-dialect must be classic or modern"}));

TEST(CleanCommand, InputsOfOneKnownKindOnly) {
  TempDir dir;
  const std::string mgf = SmallMgf(dir);
  WriteFile(dir.File("a.1.1.2.dta"), "500 2\n100 1\n200 2\n300 3\n");
  WriteFile(dir.File("notes.txt"), "hello\n");
  const std::string out = " -o " + Quote(dir.File("out")) + " ";
  Result r = Orvane("clean" + out + Quote(mgf) + " " + Quote(dir.File("a.1.1.2.dta")));
  EXPECT_EQ(r.status, 1);
  EXPECT_THAT(r.err, HasSubstr("inputs of different kinds"));
  r = Orvane("clean" + out + Quote(dir.File("notes.txt")));
  EXPECT_EQ(r.status, 1);
  EXPECT_THAT(r.err, HasSubstr("notes.txt: not a DTA or MGF file"));
  r = Orvane("clean" + out + Quote(dir.File("missing.mgf")));
  EXPECT_EQ(r.status, 1);
  EXPECT_THAT(r.err, HasSubstr("no such input file"));
  EXPECT_FALSE(std::filesystem::exists(dir.File("out")));
  r = Orvane("clean " + Quote(mgf));
  EXPECT_NE(r.status, 0);  // -o is required
}

TEST(CleanCommand, EverySwitchHasBothFormsAndReachesTheRun) {
  TempDir dir;
  const std::string input = SmallMgf(dir);
  const std::string log = dir.File("run.log");
  Result r = Orvane("clean --no-deisotope --no-deconvolute --remove-noise --band-stop 4 "
                    "--noise-threshold 75.5 --check-seq-tags --seq-tag-length 2 --mass-tolerance 0.25 "
                    "--seq-ladder-intensity 30 --merge-peaks --merge-spacing 0.4 --soft-bad-spectra "
                    "--bad-spectra leave --deisotope-threshold 45 --deisotope-filter-width 0.6 "
                    "--max-periodicity 30 --median-filter 5 --deconv-threshold 85 --quiet --log " +
                    Quote(log) + " -o " + Quote(dir.File("out")) + " " + Quote(input));
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");  // --quiet
  const std::string text = ReadFile(log);
  EXPECT_EQ(text.rfind("Peltrix Log File\n", 0), 0u);
  for (const char* line : {"         multi-charge deconvolution = false\n",
                           "            deconvolution threshold = 85.00\n",
                           "                       de-isotoping = false\n",
                           "             de-isotop filter width = 0.60\n",
                           "                de-isotop threshold = 45.00\n",
                           "               random noise removal = true\n",
                           "             random noise threshold = 75.50\n",
                           "                check sequence tags = true\n",
                           "               sequence tags length = 2\n",
                           " bad spectra: leave/delete/separate = leave\n",
                           "         soft bad-spectra detection = true\n",
                           "                   make equidistant = 0.05\n",
                           "                        merge peaks = true\n",
                           "                merge peaks spacing = 0.40\n",
                           "                      median filter = 5\n",
                           "     max power spectrum periodicity = 30\n",
                           "                band stop frequency = 0.9\n",
                           "                     mass tolerance = 0.25\n",
                           "          sequence ladder intensity = 30\n"})
    EXPECT_THAT(text, HasSubstr(line));
  // Leaving bad spectra in place needs no badspectra/ folder.
  EXPECT_EQ(ListFiles(dir.File("out")), std::vector<std::string>{"run_c.mgf"});

  r = Orvane("clean --deisotope --no-deisotope --deconvolute --no-remove-noise --no-check-seq-tags "
             "--no-merge-peaks --no-soft-bad-spectra --no-export-bad --no-merge-output "
             "--no-skip-cleaning -q --log " + Quote(log) + " -o " + Quote(dir.File("out2")) + " " +
             Quote(input));
  ASSERT_EQ(r.status, 0) << r.err;
  const std::string second = ReadFile(log);
  EXPECT_THAT(second, HasSubstr("                       de-isotoping = false\n"));
  EXPECT_THAT(second, HasSubstr("         multi-charge deconvolution = true\n"));
  EXPECT_THAT(second, HasSubstr("               random noise removal = false\n"));
}

TEST(CleanCommand, PlainProgressLinesWhenStderrIsNoTerminal) {
  TempDir dir;
  const std::string input = SmallMgf(dir, "run.mgf", 4);
  const Result r = Orvane("clean -o " + Quote(dir.File("out")) + " " + Quote(input));
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_THAT(r.err, HasSubstr("run.mgf: 4 spectra\n"));
  EXPECT_THAT(r.err, HasSubstr("orvane clean: finished: 4 spectra from 1 input in "));
  EXPECT_EQ(r.err.find('\r'), std::string::npos);
  EXPECT_EQ(ReadSpectra(dir.File("out/run_c.mgf")).size() +
                ReadSpectra(dir.File("out/badspectra/run_bad_c.mgf")).size(),
            4u);
}

TEST(CleanCommand, DtaInputs) {
  TempDir dir;
  std::vector<std::string> inputs;
  for (std::uint32_t seed = 1; seed <= 3; ++seed) {
    test::SyntheticOptions o;
    o.seed = seed;
    const Dta dta = test::MakeSyntheticSpectrum(o);
    const std::string path = dir.File(dta.strTitle);
    ASSERT_EQ(ExportDta(path.c_str(), &dta), S_OK);
    inputs.push_back(path);
  }
  std::string args = "clean --merge-output -o " + Quote(dir.File("out"));
  for (const auto& i : inputs) args += " " + Quote(i);
  const Result r = Orvane(args);
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_THAT(r.err, HasSubstr("apply to MGF inputs only"));
  EXPECT_THAT(r.err, HasSubstr("finished: 3 DTA files"));
  std::vector<std::string> made = ListFiles(dir.File("out"));
  for (const auto& f : ListFiles(dir.File("out/badspectra"))) made.push_back("badspectra/" + f);
  EXPECT_EQ(made.size(), 4u);  // badspectra/ and one file per input, clean or bad
  for (std::uint32_t seed = 1; seed <= 3; ++seed) {
    const std::string title = "synthetic." + std::to_string(seed) + "." + std::to_string(seed) + ".2";
    EXPECT_TRUE(std::filesystem::exists(dir.File("out/" + title + "_c.dta")) ||
                std::filesystem::exists(dir.File("out/badspectra/" + title + "_bad_c.dta")))
        << title;
  }
}

// The real runs of shared/data: defaults, and concatenation.
TEST(CleanCommand, RealDataWithDefaultsReadsBack) {
  ORVANE_REQUIRE_DATA(bsa, "bsa/BSA1.mgf");
  ORVANE_REQUIRE_DATA(yeast, "yeast/SmallCalibratible_Yeast.mgf");
  for (const std::string& input : {bsa, yeast}) {
    TempDir dir;
    const Result r = Orvane("clean -o " + Quote(dir.File("out")) + " " + Quote(input));
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string title = std::filesystem::path(input).stem().string();
    const std::string cleanPath = dir.File("out/" + title + "_c.mgf");
    const std::string badPath = dir.File("out/badspectra/" + title + "_bad_c.mgf");
    const auto in = ReadSpectra(input);
    const auto clean = ReadSpectra(cleanPath);
    const auto bad = ReadSpectra(badPath);
    std::size_t longEnough = 0;
    for (const auto& s : in) longEnough += s.peaks > 2;
    EXPECT_EQ(clean.size() + bad.size(), longEnough) << input;
    EXPECT_EQ(InfoSpectra(cleanPath), static_cast<int>(clean.size()));
    if (!bad.empty()) {
      EXPECT_EQ(InfoSpectra(badPath), static_cast<int>(bad.size()));
    }
    // Clean spectra keep their titles, in input order, and lose peaks
    // (isotopes) but not all of them.
    std::size_t k = 0, fewer = 0;
    for (const auto& s : clean) {
      while (k < in.size() && in[k].title != s.title) ++k;
      ASSERT_LT(k, in.size()) << "title not found in order: " << s.title;
      EXPECT_GT(s.peaks, 0u);
      fewer += s.peaks < in[k].peaks;
    }
    EXPECT_GT(fewer, clean.size() / 2) << input;
    // Separated bad spectra are written as they were read.
    k = 0;
    for (const auto& s : bad) {
      while (k < in.size() && in[k].title != s.title) ++k;
      ASSERT_LT(k, in.size());
      EXPECT_EQ(s.peaks, in[k].peaks);
    }
  }
}

TEST(CleanCommand, RealDataConcatenatedBySkipCleaningAndMergeOutput) {
  ORVANE_REQUIRE_DATA(bsa, "bsa/BSA1.mgf");
  ORVANE_REQUIRE_DATA(yeast, "yeast/SmallCalibratible_Yeast.mgf");
  TempDir dir;
  const Result r = Orvane("clean --skip-cleaning --merge-output -o " + Quote(dir.File("out")) + " " +
                          Quote(bsa) + " " + Quote(yeast));
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(ListFiles(dir.File("out")),
            (std::vector<std::string>{"SpectraMerged_c.mgf", "badspectra"}));
  // Nothing is bad without the pipeline: the empty bad file is removed again.
  EXPECT_EQ(ListFiles(dir.File("out/badspectra")), std::vector<std::string>{});
  std::vector<Summary> expected = ReadSpectra(bsa);
  const auto second = ReadSpectra(yeast);
  expected.insert(expected.end(), second.begin(), second.end());
  std::erase_if(expected, [](const Summary& s) { return s.peaks <= 2; });
  const auto merged = ReadSpectra(dir.File("out/SpectraMerged_c.mgf"));
  ASSERT_EQ(merged.size(), expected.size());
  for (std::size_t i = 0; i < merged.size(); ++i) {
    EXPECT_EQ(merged[i].title, expected[i].title);
    EXPECT_EQ(merged[i].peaks, expected[i].peaks);
  }
  EXPECT_EQ(InfoSpectra(dir.File("out/SpectraMerged_c.mgf")), static_cast<int>(expected.size()));
}

}  // namespace
}  // namespace orvane
