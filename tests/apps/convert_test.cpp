// `orvane convert` and `orvane info` on MGF files, through the executable.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

#include "spectrum/mgf_file.h"
#include "apps/orvane_runner.h"
#include "support/test_support.h"

namespace orvane {
namespace {

using test::ListFiles;
using test::ReadFile;
using test::TempDir;
using test::WriteFile;

using Result = test::RunResult;

std::string Quote(const std::string& s) { return test::ShellQuote(s); }

Result Orvane(const std::string& args) { return test::RunOrvane(args); }

const char* const kMsconvertMgf =
    "BEGIN IONS\nTITLE=spectrum=2442\nRTINSECONDS=1503.96167\nPEPMASS=500.00397 3284441.75\n"
    "CHARGE=2+\n100.0 5.0\n200.5 0\n300.25 7\nEND IONS\n"
    "BEGIN IONS\nTITLE=spectrum=2443\nRTINSECONDS=1504.5\nPEPMASS=612.5\nCHARGE=3+\n150 2\nEND IONS\n";

TEST(ConvertCommand, MgfToDtaInBothDialects) {
  TempDir dir;
  WriteFile(dir.File("run.mgf"), kMsconvertMgf);
  const Result modern = Orvane("convert --to dta -o " + Quote(dir.File("modern/a/b")) + " " +
                            Quote(dir.File("run.mgf")));
  EXPECT_EQ(modern.status, 0) << modern.err;
  EXPECT_EQ(modern.err, "");
  EXPECT_EQ(ListFiles(dir.File("modern/a/b")),
            (std::vector<std::string>{"spectrum_2442.dta", "spectrum_2443.dta"}));
  // MH+ with the mass of a proton; numbers as they were read.
  EXPECT_EQ(ReadFile(dir.File("modern/a/b/spectrum_2442.dta")), "999.000664 2\n100.00000 5\n300.25000 7\n");
  EXPECT_EQ(ReadFile(dir.File("modern/a/b/spectrum_2443.dta")), "1835.485448 3\n150.00000 2\n");

  const Result classic = Orvane("convert --to dta --mgf-dialect classic -o " + Quote(dir.File("classic")) +
                             " " + Quote(dir.File("run.mgf")));
  // Classic titles end at the "=", so both spectra would land in one file:
  // the second is refused, and the conversion fails.
  EXPECT_EQ(classic.status, 1) << classic.err;
  EXPECT_NE(classic.err.find("The spectrum title \"spectrum\" names a file this conversion has "
                             "written already"),
            std::string::npos)
      << classic.err;
  EXPECT_EQ(ListFiles(dir.File("classic")), std::vector<std::string>{"spectrum"});
}

TEST(ConvertCommand, DtaFilesToOneMgf) {
  TempDir dir;
  WriteFile(dir.File("run1.100.100.2.dta"), "999.000000 2\n100.000 5.000\n200.500 1000.250");
  WriteFile(dir.File("run1.101.101.0.dta"), "300.000000 0\n1.000 2.000");
  for (const char* dialect : {"classic", "modern"}) {
    const std::string out = dir.File(dialect);
    const Result r = Orvane(std::string("convert --to mgf --mgf-dialect ") + dialect + " -o " + Quote(out) +
                         " " + Quote(dir.File("run1.100.100.2.dta")) + " " +
                         Quote(dir.File("run1.101.101.0.dta")));
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(ListFiles(out), std::vector<std::string>{"run1.mgf"});
    // A DTA header with charge 0: classic takes it for no header (mass and
    // charge 0); modern keeps the MH+ of a spectrum of unknown charge and
    // writes no CHARGE line.
    const bool classic = std::string(dialect) == "classic";
    EXPECT_EQ(ReadFile(out + "/run1.mgf"),
              classic ? "\nBEGIN IONS\nTITLE=run1.100.100.2.dta\nCHARGE=2+\nPEPMASS=500.003970\n"
                        "100.000     5.000\n200.500  1000.250\nEND IONS\n"
                        "\nBEGIN IONS\nTITLE=run1.101.101.0.dta\nCHARGE=0+\n"
                        "PEPMASS=0.000000\n  1.000     2.000\nEND IONS\n"
                      : "\nBEGIN IONS\nTITLE=run1.100.100.2.dta\nCHARGE=2+\nPEPMASS=500.003638\n"
                        "100.00000 5\n200.50000 1000.25\nEND IONS\n"
                        "\nBEGIN IONS\nTITLE=run1.101.101.0.dta\n"
                        "PEPMASS=300.000000\n1.00000 2\nEND IONS\n");
  }
}

TEST(ConvertCommand, RewritesMgfInTheChosenDialect) {
  TempDir dir;
  WriteFile(dir.File("run.mgf"), kMsconvertMgf);
  const Result modern = Orvane("convert --to mgf -o " + Quote(dir.File("m")) + " " + Quote(dir.File("run.mgf")));
  EXPECT_EQ(modern.status, 0) << modern.err;
  EXPECT_EQ(ReadFile(dir.File("m/run.mgf")),
            "\nBEGIN IONS\nTITLE=spectrum=2442\nCHARGE=2+\nPEPMASS=500.003970 3284441.75\n"
            "RTINSECONDS=1503.96167\n100.0 5.0\n300.25 7\nEND IONS\n"
            "\nBEGIN IONS\nTITLE=spectrum=2443\nCHARGE=3+\nPEPMASS=612.500000\nRTINSECONDS=1504.5\n"
            "150 2\nEND IONS\n");
  const Result classic = Orvane("convert --to mgf --mgf-dialect classic -o " + Quote(dir.File("c")) + " " +
                             Quote(dir.File("run.mgf")));
  EXPECT_EQ(classic.status, 0) << classic.err;
  EXPECT_EQ(ReadFile(dir.File("c/run.mgf")),
            "\nBEGIN IONS\nTITLE=spectrum\nCHARGE=2+\nPEPMASS=500.003970\n"
            "  0.000  1503.962\n100.000     5.000\n300.250     7.000\nEND IONS\n"
            "\nBEGIN IONS\nTITLE=spectrum\nCHARGE=3+\nPEPMASS=612.500000\n"
            "  0.000  1504.500\n150.000     2.000\nEND IONS\n");
}

TEST(ConvertCommand, NeverWritesOverAnInput) {
  TempDir dir;
  WriteFile(dir.File("run.mgf"), kMsconvertMgf);
  const Result r = Orvane("convert --to mgf -o " + Quote(dir.path().string()) + " " + Quote(dir.File("run.mgf")));
  EXPECT_NE(r.status, 0);
  EXPECT_NE(r.err.find("run.mgf"), std::string::npos) << r.err;
  EXPECT_EQ(ReadFile(dir.File("run.mgf")), kMsconvertMgf);
  EXPECT_EQ(ListFiles(dir.Folder()), std::vector<std::string>{"run.mgf"});
}

TEST(ConvertCommand, UnreadableAndUnknownInputsAreNamedAndFailTheRun) {
  TempDir dir;
  WriteFile(dir.File("good.mgf"), kMsconvertMgf);
  WriteFile(dir.File("notes.txt"), "hello");
  std::filesystem::create_directory(dir.File("folder.mgf"));
  const Result r = Orvane("convert --to dta -o " + Quote(dir.File("out")) + " " + Quote(dir.File("missing.mgf")) +
                       " " + Quote(dir.File("notes.txt")) + " " + Quote(dir.File("folder.mgf")) + " " +
                       Quote(dir.File("good.mgf")));
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("missing.mgf: No such file or directory"), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("notes.txt: not a DTA or MGF file"), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("folder.mgf: it is a folder"), std::string::npos) << r.err;
  // The good input is converted all the same.
  EXPECT_EQ(ListFiles(dir.File("out")), (std::vector<std::string>{"spectrum_2442.dta", "spectrum_2443.dta"}));
}

TEST(ConvertCommand, AMissingDtaInTheListFailsTheRunButKeepsTheOthers) {
  TempDir dir;
  WriteFile(dir.File("run1.1.1.2.dta"), "999.000000 2\n100.000 5.000");
  const Result r = Orvane("convert --to mgf -o " + Quote(dir.File("out")) + " " + Quote(dir.File("run1.1.1.2.dta")) +
                       " " + Quote(dir.File("gone.2.2.2.dta")));
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("gone.2.2.2.dta"), std::string::npos);
  EXPECT_NE(ReadFile(dir.File("out/run1.mgf")).find("TITLE=run1.1.1.2.dta\n"), std::string::npos);
}

TEST(ConvertCommand, BadOptionsAreRefused) {
  TempDir dir;
  WriteFile(dir.File("run.mgf"), kMsconvertMgf);
  for (const std::string& args :
       {"convert --to xml -o " + Quote(dir.File("o")) + " " + Quote(dir.File("run.mgf")),
        "convert --to dta " + Quote(dir.File("run.mgf")),
        "convert --to dta -o " + Quote(dir.File("o")),
        "convert --to dta --mgf-dialect ancient -o " + Quote(dir.File("o")) + " " + Quote(dir.File("run.mgf"))}) {
    const Result r = Orvane(args);
    EXPECT_NE(r.status, 0) << args;
    EXPECT_FALSE(r.err.empty()) << args;
  }
  EXPECT_FALSE(std::filesystem::exists(dir.File("o")));
}

TEST(InfoCommand, SummarisesMgfFilesInTheChosenDialect) {
  TempDir dir;
  WriteFile(dir.File("run.mgf"), kMsconvertMgf);
  const Result modern = Orvane("info " + Quote(dir.File("run.mgf")));
  EXPECT_EQ(modern.status, 0) << modern.err;
  EXPECT_EQ(modern.out, dir.File("run.mgf") + "\tspectra=2\tcharges=2:1,3:1\tpeaks=4\n");
  // Classic reads each RTINSECONDS line as one more peak.
  const Result classic = Orvane("info --mgf-dialect classic " + Quote(dir.File("run.mgf")));
  EXPECT_EQ(classic.out, dir.File("run.mgf") + "\tspectra=2\tcharges=2:1,3:1\tpeaks=6\n");
  WriteFile(dir.File("empty.mgf"), "");
  const Result empty = Orvane("info " + Quote(dir.File("empty.mgf")) + " " + Quote(dir.File("gone.mgf")));
  EXPECT_EQ(empty.status, 1);
  EXPECT_EQ(empty.out, dir.File("empty.mgf") + "\tspectra=0\tcharges=-\tpeaks=0\n");
  EXPECT_NE(empty.err.find("gone.mgf"), std::string::npos);
}

// Spectra of an MGF file in a form that survives MGF -> DTA -> MGF: the
// charge, the precursor m/z and the number of peaks above zero.
struct Summary {
  int charge;
  double mz;
  unsigned peaks;
  friend bool operator<(const Summary& a, const Summary& b) {
    return std::tie(a.charge, a.mz, a.peaks) < std::tie(b.charge, b.mz, b.peaks);
  }
};

std::vector<Summary> Summarise(const std::string& path) {
  CStdioFile file;
  EXPECT_TRUE(file.Open(path, CStdioFile::modeRead));
  std::vector<Summary> out;
  Dta d;
  for (;;) {
    d.Clear();
    if (ImportMgf(&file, &d, MgfDialect::Modern) != S_OK) break;
    unsigned n = 0;
    for (unsigned i = 0; i < d.GetPeakCount(); ++i) n += d.GetIntensity(i) != 0.0;
    out.push_back({d.nCharge, d.dMass, n});
  }
  std::sort(out.begin(), out.end());
  return out;
}

class RealDataRoundTrip : public testing::TestWithParam<const char*> {};

TEST_P(RealDataRoundTrip, MgfToDtaToMgfLosesNoSpectrumAndNoPeak) {
  ORVANE_REQUIRE_DATA(mgf, GetParam());
  TempDir dir;
  const Result toDta = Orvane("convert --to dta -o " + Quote(dir.File("dta")) + " " + Quote(mgf));
  ASSERT_EQ(toDta.status, 0) << toDta.err;
  std::string args = "convert --to mgf -o " + Quote(dir.File("mgf"));
  for (const std::string& name : ListFiles(dir.File("dta"))) args += " " + Quote(dir.File("dta/" + name));
  const Result toMgf = Orvane(args);
  ASSERT_EQ(toMgf.status, 0) << toMgf.err;
  const auto made = ListFiles(dir.File("mgf"));
  ASSERT_EQ(made.size(), 1u);

  const auto before = Summarise(mgf);
  const auto after = Summarise(dir.File("mgf/" + made[0]));
  ASSERT_FALSE(before.empty());
  ASSERT_EQ(after.size(), before.size());
  for (std::size_t i = 0; i < before.size(); ++i) {
    EXPECT_EQ(after[i].charge, before[i].charge) << i;
    EXPECT_NEAR(after[i].mz, before[i].mz, 2e-6) << i;
    EXPECT_EQ(after[i].peaks, before[i].peaks) << i;
  }
}

INSTANTIATE_TEST_SUITE_P(SharedData, RealDataRoundTrip,
                         testing::Values("bsa/BSA1.mgf", "yeast/SmallCalibratible_Yeast.mgf"),
                         [](const testing::TestParamInfo<const char*>& info) {
                           return std::string(info.param[0] == 'b' ? "Bsa" : "Yeast");
                         });

}  // namespace
}  // namespace orvane
