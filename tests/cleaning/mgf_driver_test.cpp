// The MGF driver: messages, log, every output form, stops and failures.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "driver_fixture.h"
#include "platform/format.h"
#include "raw/raw_options.h"

namespace orvane {
namespace {

using ::testing::ElementsAre;
using test::DriverTest;
using test::Posted;
using test::ReadFile;
using test::Sent;

using PeakList = std::vector<std::pair<double, double>>;

const PeakList kThree = {{100.0, 10.0}, {200.5, 20.0}, {300.25, 30.0}};
const PeakList kTwo = {{110.0, 11.0}, {220.0, 22.0}};
const PeakList kFourOneEmpty = {{120.0, 12.0}, {130.0, 0.0}, {240.0, 24.0}, {360.0, 36.0}};

// One input block in the classic layout.
std::string Spectrum(const std::string& title, const PeakList& peaks, int charge = 2,
                     double mass = 500.25) {
  std::string s = "BEGIN IONS\nTITLE=" + title + "\n" + Format("CHARGE=%d+\nPEPMASS=%.2f\n", charge, mass);
  for (const auto& [m, i] : peaks) s += Format("%.3f %.3f\n", m, i);
  return s + "END IONS\n\n";
}

// One output block as the classic writer makes it.
std::string Block(const std::string& title, const PeakList& peaks, int charge = 2,
                  double mass = 500.25, const std::string& comment = {}) {
  std::string s;
  if (!comment.empty()) s += "\n# " + comment + " \n";
  s += "\nBEGIN IONS\nTITLE=" + title + "\n" + Format("CHARGE=%d+\nPEPMASS=%.6f\n", charge, mass);
  for (const auto& [m, i] : peaks)
    if (i != 0.0) s += Format("%7.3lf %9.3lf\n", m, i);
  return s + "END IONS\n";
}

// What a spectrum without any peak left looks like: the pipeline gave up
// before it set anything but the title the driver put there.
std::string EmptyBlock(const std::string& title) { return Block(title, {}, 0, 0.0); }

class MgfDriverTest : public DriverTest {
 protected:
  HRESULT Run() { return CleanMgfFiles(engine.Self(), state, &params); }
  // The standard small input: three spectra, the second of only 2 peaks.
  std::string SmallInput(const std::string& name) {
    return InputFile(name, Spectrum("a1", kThree) + Spectrum("a2", kTwo) +
                               Spectrum("a3", kFourOneEmpty));
  }
};

TEST_F(MgfDriverTest, MessagesLogAndOutputOfASmallRun) {
  const std::string f1 = SmallInput("f1.mgf");
  const std::string f2 = InputFile("f2.mgf", "# no spectrum here\n");
  AddInput(f1, 4);
  AddInput(f2, 9);
  EXPECT_EQ(Run(), S_OK);
  EXPECT_THAT(window.messages,
              ElementsAre(Sent(1288, 4), Sent(1284, 3), Sent(1283, 0, f1), Sent(1281, 1),
                          Sent(1283, 1, f1), Sent(1281, 2), Sent(1283, 2, f1), Sent(1281, 3),
                          Sent(1283, 2, f1), Sent(1289, 4),  //
                          Sent(1288, 9), Sent(1284, 0), Sent(1283, 0, f2), Sent(1289, 9)));
  // The spectrum of 2 peaks goes nowhere; the empty intensity is folded away.
  EXPECT_EQ(ReadFile(Out() + "f1_c.mgf"), Block("a1", kThree) + Block("a3", kFourOneEmpty));
  EXPECT_EQ(ReadFile(Out() + "f2_c.mgf"), "");
  // No bad spectrum: the bad files are gone again.
  EXPECT_THAT(test::ListFiles(Bad()), ElementsAre());
  EXPECT_THAT(test::ListFiles(Out()), ElementsAre("badspectra", "f1_c.mgf", "f2_c.mgf"));
  const std::string rule = "\n" + std::string(63, '-') + "\n";
  EXPECT_EQ(LogBody(), rule + "a1\n" + "\t-Total peaks removed: 0\n" +  //
                           rule + "a2\n" +                                 //
                           rule + "a3\n" + "\t-Total peaks removed: 1\n" +  //
                           rule + "\n" +                                   // end of f1
                           rule + "\n");                                   // end of f2
  EXPECT_EQ(test::FakeTonalith::nCreated, 1);
  EXPECT_TRUE(boxes.boxes.empty());
}

TEST_F(MgfDriverTest, LogStartsWithTitleAndDump) {
  AddInput(SmallInput("f1.mgf"), 0);
  ASSERT_EQ(Run(), S_OK);
  EXPECT_EQ(Log().rfind("Peltrix Log File\n\nRuntime Parameters:\n\n", 0), 0u);
}

TEST_F(MgfDriverTest, AnEmptyListDoesNothingAtAll) {
  EXPECT_EQ(Run(), S_OK);
  EXPECT_TRUE(window.messages.empty());
  EXPECT_EQ(Log(), "");
  EXPECT_EQ(test::FakeTonalith::nCreated, 0);
  EXPECT_EQ(CleanFiles(engine.Self(), state, &params), S_OK);  // nMode 0, empty
}

TEST_F(MgfDriverTest, CancelSetBeforeTheRunStopsAfterTheFirstStep) {
  const std::string f1 = SmallInput("f1.mgf");
  AddInput(f1, 2);
  AddInput(SmallInput("f2.mgf"), 3);
  cancel.Set();
  EXPECT_EQ(Run(), E_ABORT);
  EXPECT_THAT(window.messages, ElementsAre(Sent(1288, 2), Sent(1284, 3), Sent(1283, 0, f1),
                                           Sent(1281, 1), Posted(1280)));
  // What was written stays, and the outputs are closed under their names.
  EXPECT_EQ(ReadFile(Out() + "f1_c.mgf"), Block("a1", kThree));
  EXPECT_FALSE(Exists(Out() + "f2_c.mgf"));
  EXPECT_THAT(test::ListFiles(Bad()), ElementsAre());
}

TEST_F(MgfDriverTest, CancelDuringTheLastSpectrumStillStops) {
  const std::string f1 = SmallInput("f1.mgf");
  AddInput(f1, 0);
  int begins = 0;
  window.onMessage = [&](const test::RecordingWindow::Message& m) {
    if (m.number == 1283 && ++begins == 3) cancel.Set();
  };
  EXPECT_EQ(Run(), E_ABORT);
  ASSERT_GE(window.messages.size(), 2u);
  EXPECT_EQ(window.messages[window.messages.size() - 2], Sent(1281, 3));
  EXPECT_EQ(window.messages.back(), Posted(1280));
  EXPECT_EQ(ReadFile(Out() + "f1_c.mgf"), Block("a1", kThree) + Block("a3", kFourOneEmpty));
}

TEST_F(MgfDriverTest, AStopIsAPlainResultThroughCleanFiles) {
  AddInput(SmallInput("f1.mgf"), 0);
  files.nMode = 1;
  cancel.Set();
  EXPECT_EQ(CleanFiles(engine.Self(), state, &params), S_OK);
  EXPECT_EQ(window.messages.back(), Posted(1280));
}

// Where bad spectra go, per input.
struct BadCase {
  bool bExportBad;
  int nAction;
  bool bInClean;   // the bad spectrum's (empty) block is in the clean output
  bool bBadFile;   // the bad output exists, holding the spectrum as read
};

class MgfBadSpectra : public MgfDriverTest, public ::testing::WithParamInterface<BadCase> {};

TEST_P(MgfBadSpectra, GoWhereExportBadAndTheActionSay) {
  const BadCase& c = GetParam();
  params.bCheckSeqTags = true;
  params.bExportBad = c.bExportBad;
  params.nBadSpectraAction = c.nAction;
  AddInput(InputFile("f.mgf", Spectrum("good1", kThree) + Spectrum("bad1", kFourOneEmpty) +
                                   Spectrum("bad2", kTwo) + Spectrum("good2", kThree, 3, 700.5)),
           0);
  EXPECT_EQ(Run(), S_OK);
  std::string clean = Block("good1", kThree);
  if (c.bInClean) clean += EmptyBlock("bad1");
  clean += Block("good2", kThree, 3, 700.5);
  EXPECT_EQ(ReadFile(Out() + "f_c.mgf"), clean);
  if (c.bBadFile) {
    // The separated spectrum is the one that was read, all its peaks.
    EXPECT_EQ(ReadFile(Bad() + "f_bad_c.mgf"), Block("bad1", kFourOneEmpty));
  } else {
    EXPECT_THAT(test::ListFiles(Bad()), ElementsAre());
  }
  EXPECT_TRUE(boxes.boxes.empty());
}

INSTANTIATE_TEST_SUITE_P(Actions, MgfBadSpectra,
                         ::testing::Values(BadCase{true, 0, true, false},
                                           BadCase{true, 1, false, true},
                                           BadCase{true, 2, false, false},
                                           BadCase{true, 7, false, false},
                                           BadCase{false, 0, false, false},
                                           BadCase{false, 1, false, false}));

TEST_F(MgfDriverTest, APipelineFailureWritesABlockWithoutPeaks) {
  engine.onMakeEquidistant = [](double, Dta*) { return E_UNEXPECTED; };
  AddInput(InputFile("f.mgf", Spectrum("a1", kThree)), 0);
  EXPECT_EQ(Run(), S_OK);
  EXPECT_EQ(ReadFile(Out() + "f_c.mgf"), EmptyBlock("a1"));
}

TEST_F(MgfDriverTest, SkipCleaningCopiesEverySpectrumOfMoreThanTwoPeaks) {
  params.bSkipCleaning = true;
  params.bCheckSeqTags = true;  // not looked at: no pipeline
  AddInput(InputFile("f.mgf", Spectrum("bad1", kFourOneEmpty) + Spectrum("a2", kTwo)), 0);
  EXPECT_EQ(Run(), S_OK);
  EXPECT_EQ(ReadFile(Out() + "f_c.mgf"), Block("bad1", kFourOneEmpty));
  EXPECT_THAT(engine.calls, ElementsAre());
  EXPECT_EQ(test::FakeTonalith::nCreated, 1);  // made all the same
  const std::string rule = "\n" + std::string(63, '-') + "\n";
  EXPECT_EQ(LogBody(), rule + "bad1\n" + rule + "a2\n" + rule + "\n");
}

// The merged form: levels by the end of the input's title, with case, after
// one more extension is dropped ("e.ms3" counts as "e").
TEST_F(MgfDriverTest, MergedOutputsKeepLevelsApart) {
  params.bMergeOutput = true;
  params.bExportBad = false;
  for (const char* name : {"a_ms2", "a_ms3", "c", "b_ms2", "d_MS2", "run.1_ms2", "e.ms3"})
    AddInput(InputFile(std::string(name) + ".mgf", Spectrum(std::string("s_") + name, kThree)), 0);
  EXPECT_EQ(Run(), S_OK);
  EXPECT_EQ(ReadFile(Out() + "SpectraMerged_c.mgf"),
            Block("s_c", kThree) + Block("s_d_MS2", kThree) + Block("s_run.1_ms2", kThree) +
                Block("s_e.ms3", kThree));
  EXPECT_EQ(ReadFile(Out() + "SpectraMerged_ms2_c.mgf"),
            Block("s_a_ms2", kThree) + Block("s_b_ms2", kThree));
  EXPECT_EQ(ReadFile(Out() + "SpectraMerged_ms3_c.mgf"), Block("s_a_ms3", kThree));
  // The general bad file is made at the start whatever happens, and stays.
  EXPECT_THAT(test::ListFiles(Bad()), ElementsAre("SpectraMerged_b.mgf"));
  EXPECT_EQ(ReadFile(Bad() + "SpectraMerged_b.mgf"), "");
  EXPECT_THAT(test::ListFiles(Out()),
              ElementsAre("SpectraMerged_c.mgf", "SpectraMerged_ms2_c.mgf",
                          "SpectraMerged_ms3_c.mgf", "badspectra"));
}

TEST_F(MgfDriverTest, MergedGeneralFilesAreMadeEvenForMs2InputsOnly) {
  params.bMergeOutput = true;
  AddInput(InputFile("x_ms2.mgf", Spectrum("s", kThree)), 0);
  EXPECT_EQ(Run(), S_OK);
  EXPECT_EQ(ReadFile(Out() + "SpectraMerged_c.mgf"), "");
  EXPECT_EQ(ReadFile(Out() + "SpectraMerged_ms2_c.mgf"), Block("s", kThree));
  EXPECT_FALSE(Exists(Out() + "SpectraMerged_ms3_c.mgf"));
  // Separating bad spectra: the empty bad files are removed at the end.
  EXPECT_THAT(test::ListFiles(Bad()), ElementsAre());
}

TEST_F(MgfDriverTest, MergedBadSpectraGoToTheBadFileOfTheirLevel) {
  params.bMergeOutput = true;
  params.bCheckSeqTags = true;
  AddInput(InputFile("x_ms2.mgf", Spectrum("bad_a", kThree) + Spectrum("good", kThree)), 0);
  AddInput(InputFile("y.mgf", Spectrum("bad_b", kFourOneEmpty)), 0);
  EXPECT_EQ(Run(), S_OK);
  EXPECT_EQ(ReadFile(Out() + "SpectraMerged_ms2_c.mgf"), Block("good", kThree));
  EXPECT_EQ(ReadFile(Bad() + "SpectraMerged_ms2_b.mgf"), Block("bad_a", kThree));
  EXPECT_EQ(ReadFile(Bad() + "SpectraMerged_b.mgf"), Block("bad_b", kFourOneEmpty));
  EXPECT_EQ(ReadFile(Out() + "SpectraMerged_c.mgf"), "");
}

// The input path goes before each block only in merged runs that came with
// raw-file options.
struct CommentCase {
  bool bMerge;
  bool bRawOptions;
  bool bComment;
};

class MgfComment : public MgfDriverTest, public ::testing::WithParamInterface<CommentCase> {};

TEST_P(MgfComment, OnlyMergedRunsWithRawOptionsNameTheSource) {
  RawOptions options;
  options.nExportOption = 5;
  params.bMergeOutput = GetParam().bMerge;
  params.pRawOptions = GetParam().bRawOptions ? &options : nullptr;
  params.bCheckSeqTags = true;
  const std::string input =
      InputFile("f.mgf", Spectrum("good", kThree) + Spectrum("bad", kThree));
  AddInput(input, 0);
  EXPECT_EQ(Run(), S_OK);
  const std::string comment = GetParam().bComment ? input : std::string();
  const std::string cleanName = GetParam().bMerge ? "SpectraMerged_c.mgf" : "f_c.mgf";
  const std::string badName = GetParam().bMerge ? "SpectraMerged_b.mgf" : "f_bad_c.mgf";
  EXPECT_EQ(ReadFile(Out() + cleanName), Block("good", kThree, 2, 500.25, comment));
  EXPECT_EQ(ReadFile(Bad() + badName), Block("bad", kThree, 2, 500.25, comment));
}

INSTANTIATE_TEST_SUITE_P(Forms, MgfComment,
                         ::testing::Values(CommentCase{true, true, true},
                                           CommentCase{true, false, false},
                                           CommentCase{false, true, false},
                                           CommentCase{false, false, false}));

TEST_F(MgfDriverTest, ModernSpectraKeepTitleHeadersAndPrecursorIntensity) {
  engine.dialect = MgfDialect::Modern;
  params.bCheckSeqTags = true;
  const std::string text =
      "BEGIN IONS\nTITLE=spectrum=5 scan 12\nRTINSECONDS=12.5\nSCANS=12\nPEPMASS=500.25 1234.5\n"
      "CHARGE=2+\n100 10\n200 20\n300 30\nEND IONS\n"
      "BEGIN IONS\nTITLE=bad spectrum=6\nRTINSECONDS=13.5\nPEPMASS=600.5 99\nCHARGE=3+\n"
      "100 10\n200 20\n300 30\nEND IONS\n";
  for (bool skip : {false, true}) {
    for (bool merge : {false, true}) {
      files = CleanFileList{};
      params.bSkipCleaning = skip;
      params.bMergeOutput = merge;
      AddInput(InputFile("m.mgf", text), 0);
      ASSERT_EQ(Run(), S_OK);
      const std::string clean = Out() + (merge ? "SpectraMerged_c.mgf" : "m_c.mgf");
      CStdioFile file;
      ASSERT_TRUE(file.Open(clean, CStdioFile::modeRead));
      Dta dta;
      ASSERT_EQ(ImportMgf(&file, &dta, MgfDialect::Modern), S_OK);
      EXPECT_EQ(dta.strTitle, "spectrum=5 scan 12");
      EXPECT_THAT(dta.vHeaderLines, ElementsAre("RTINSECONDS=12.5", "SCANS=12"));
      EXPECT_DOUBLE_EQ(dta.dPrecursorIntensity, 1234.5);
      EXPECT_DOUBLE_EQ(dta.dMass, 500.25);
      EXPECT_EQ(dta.GetPeakCount(), 3u);
      if (skip) {
        // Peak lines are copied as they were written.
        EXPECT_NE(ReadFile(clean).find("\n100 10\n200 20\n300 30\nEND IONS\n"), std::string::npos);
        // No pipeline: the second spectrum is good as well.
        dta.Clear();
        ASSERT_EQ(ImportMgf(&file, &dta, MgfDialect::Modern), S_OK);
        EXPECT_EQ(dta.strTitle, "bad spectrum=6");
        continue;
      }
      CStdioFile bad;
      ASSERT_TRUE(bad.Open(Bad() + (merge ? "SpectraMerged_b.mgf" : "m_bad_c.mgf"),
                           CStdioFile::modeRead));
      dta.Clear();
      ASSERT_EQ(ImportMgf(&bad, &dta, MgfDialect::Modern), S_OK);
      EXPECT_EQ(dta.strTitle, "bad spectrum=6");
      EXPECT_THAT(dta.vHeaderLines, ElementsAre("RTINSECONDS=13.5"));
      EXPECT_DOUBLE_EQ(dta.dPrecursorIntensity, 99.0);
    }
  }
}

TEST_F(MgfDriverTest, AFailedPipelineKeepsTheIdentityOfAModernSpectrum) {
  engine.dialect = MgfDialect::Modern;
  engine.onMakeEquidistant = [](double, Dta*) { return E_UNEXPECTED; };
  AddInput(InputFile("m.mgf",
                     "BEGIN IONS\nTITLE=spectrum=5\nRTINSECONDS=12.5\nPEPMASS=500.25 10\n"
                     "CHARGE=2+\n100 10\n200 20\n300 30\nEND IONS\n"),
           0);
  ASSERT_EQ(Run(), S_OK);
  const std::string out = ReadFile(Out() + "m_c.mgf");
  EXPECT_NE(out.find("TITLE=spectrum=5\n"), std::string::npos);
  EXPECT_NE(out.find("RTINSECONDS=12.5\n"), std::string::npos);
}

// Failures.
TEST_F(MgfDriverTest, AMissingInputIsReportedTwiceAndEndsTheRun) {
  const std::string missing = In("missing.mgf");
  AddInput(missing, 1);
  AddInput(SmallInput("f2.mgf"), 2);
  EXPECT_EQ(Run(), E_UNEXPECTED);
  EXPECT_EQ(boxes.Texts(BoxKind::FileError).size(), 2u);
  EXPECT_THAT(window.messages, ElementsAre(Sent(1288, 1), Sent(1284, 0)));
  EXPECT_FALSE(Exists(Out() + "f2_c.mgf"));
}

struct OutputFailureCase {
  bool bMerge;
  const char* input;
  const char* box;
};

class MgfOutputFailure : public MgfDriverTest,
                         public ::testing::WithParamInterface<OutputFailureCase> {};

TEST_P(MgfOutputFailure, APlainBoxNamesTheOutput) {
  std::filesystem::remove(Bad());
  params.bMergeOutput = GetParam().bMerge;
  AddInput(SmallInput(GetParam().input), 0);
  EXPECT_EQ(Run(), E_UNEXPECTED);
  EXPECT_THAT(boxes.Texts(BoxKind::Plain), ElementsAre(GetParam().box));
}

INSTANTIATE_TEST_SUITE_P(
    WithoutBadFolder, MgfOutputFailure,
    ::testing::Values(OutputFailureCase{false, "f.mgf", "the file pfBadExportM could not be created"},
                      OutputFailureCase{true, "f.mgf", "the file pfBadExportM could not be created"}));

struct LevelFailureCase {
  const char* input;
  const char* output;  // relative to the output folder
  const char* box;
};

class MgfLevelOutputFailure : public MgfDriverTest,
                              public ::testing::WithParamInterface<LevelFailureCase> {};

TEST_P(MgfLevelOutputFailure, APlainBoxNamesTheOutputOfTheLevel) {
  params.bMergeOutput = true;
  AddInput(SmallInput(GetParam().input), 0);
  // An output that may not be written: declared an input of the run.
  ProtectInput(Out() + GetParam().output);
  const HRESULT hr = Run();
  ClearProtectedInputs();
  EXPECT_EQ(hr, E_UNEXPECTED);
  EXPECT_THAT(boxes.Texts(BoxKind::Plain), ElementsAre(GetParam().box));
}

INSTANTIATE_TEST_SUITE_P(
    Levels, MgfLevelOutputFailure,
    ::testing::Values(
        LevelFailureCase{"x_ms2.mgf", "SpectraMerged_ms2_c.mgf",
                         "the file pfCleanExportM_ms2 could not be created"},
        LevelFailureCase{"x_ms2.mgf", "badspectra/SpectraMerged_ms2_b.mgf",
                         "the file pfBadExportM_ms2 could not be created"},
        LevelFailureCase{"x_ms3.mgf", "SpectraMerged_ms3_c.mgf",
                         "the file pfCleanExportM_ms3 could not be created"},
        LevelFailureCase{"x_ms3.mgf", "badspectra/SpectraMerged_ms3_b.mgf",
                         "the file pfBadExportM_ms3 could not be created"},
        LevelFailureCase{"x.mgf", "SpectraMerged_c.mgf", "the file pfCleanExportM could not be created"}));

TEST_F(MgfDriverTest, AnOutputThatIsAnInputIsRefused) {
  // Cleaning a folder into itself, where one input is the clean output of
  // another: that input is never overwritten.
  params.strOutputFolder = dir.Folder() + "in/";
  params.bExportBad = false;
  const std::string cleaned = InputFile("g_c.mgf", Spectrum("x", kThree));
  const std::string raw = InputFile("g.mgf", Spectrum("y", kThree));
  AddInput(cleaned, 0);
  AddInput(raw, 1);
  ProtectInput(cleaned);
  ProtectInput(raw);
  const HRESULT hr = Run();
  ClearProtectedInputs();
  EXPECT_EQ(hr, E_UNEXPECTED);
  EXPECT_THAT(boxes.Texts(BoxKind::Plain), ElementsAre("the file pfCleanExportM could not be created"));
  EXPECT_EQ(ReadFile(cleaned), Spectrum("x", kThree));
  EXPECT_EQ(ReadFile(In("g_c_c.mgf")), Block("x", kThree));
}

TEST_F(MgfDriverTest, AnImportFailureEndsTheRunWithItsStatus) {
  engine.onImportMgf = [](CStdioFile*, Dta* pDta) {
    pDta->strTitle = "half";
    return E_OUTOFMEMORY;
  };
  AddInput(SmallInput("f.mgf"), 6);
  EXPECT_EQ(Run(), E_OUTOFMEMORY);
  EXPECT_THAT(boxes.Texts(BoxKind::Error), ElementsAre("Couldn't import data"));
  EXPECT_THAT(window.messages, ElementsAre(Sent(1288, 6), Sent(1284, 3), Sent(1283, 0, In("f.mgf"))));
  // The rule is written before the status is looked at.
  EXPECT_EQ(LogBody(), "\n" + std::string(63, '-') + "\nhalf\n");
  EXPECT_EQ(ReadFile(Out() + "f_c.mgf"), "");
}

TEST_F(MgfDriverTest, ABrokenLogEndsTheRunCleanly) {
  CStdioFile closed;
  params.pLogFile = &closed;
  AddInput(SmallInput("f.mgf"), 0);
  EXPECT_EQ(Run(), E_UNEXPECTED);
  EXPECT_TRUE(boxes.Has(BoxKind::Error, "Couldn't write to the Log File"));
  EXPECT_EQ(boxes.Texts(BoxKind::FileError).size(), 1u);
}

}  // namespace
}  // namespace orvane
