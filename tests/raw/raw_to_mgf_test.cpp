// Raw file to MGF through the engine object: blocks, names, split levels,
// the mass window, messages, cancel and every way out.
#include <gtest/gtest.h>

#include <filesystem>

#include "platform/text_file.h"
#include "raw/conversions.h"
#include "raw_fixture.h"

namespace orvane {
namespace {

using namespace rawtest;
using test::ReadFile;
using test::RecordingReporter;
using test::RecordingWindow;
using test::TempDir;

struct MgfRun {
  TempDir dir;
  ScriptedReader reader;
  RecordingWindow window;
  CEvent cancel;
  RawOptions options = OpenOptions();
  ComPtr<IConvertMSMS> convert = MakeConverter();
  std::string raw = dir.File("run.raw");
  std::string mgf = dir.File("out.mgf");

  ScriptedFile& File() { return reader.AddFile(raw); }
  HRESULT Run(RawOptions* pOptions) {
    return convert->RawToMgf(raw, mgf, &reader, pOptions, &cancel, &window);
  }
  HRESULT Run() { return Run(&options); }
};

TEST(RawToMgf, WritesEveryMsMsScanAsBlocks) {
  RecordingReporter boxes;
  MgfRun r;
  auto& f = r.File();
  f.scans[1] = MakeSurveyScan();
  f.scans[2] = test::MakeMs2Scan(500.25, {{100.0, 1000.0}, {200.5, 50.0}});  // class 1
  f.scans[3] = Scan(2, 600.0, 2, {{100.0, 10.0}, {12345.678, 0.0}, {700.0, 2.5}});
  ASSERT_EQ(r.Run(), S_OK);
  EXPECT_TRUE(boxes.boxes.empty());
  EXPECT_EQ(ReadFile(r.mgf),
            "\nBEGIN IONS\nTITLE=out.2.1.dta\nCHARGE=1+\nPEPMASS=500.250000\n"
            "100.000  1000.000\n200.500    50.000\nEND IONS\n"
            "\nBEGIN IONS\nTITLE=out.3.2.dta\nCHARGE=2+\nPEPMASS=600.000000\n"
            "100.000    10.000\n700.000     2.500\nEND IONS\n"
            "\nBEGIN IONS\nTITLE=out.3.3.dta\nCHARGE=3+\nPEPMASS=600.000000\n"
            "100.000    10.000\n700.000     2.500\nEND IONS\n");
  // One announcement, one progress message per scan, survey scans included.
  using M = RecordingWindow::Message;
  EXPECT_EQ(r.window.messages,
            (std::vector<M>{{PM_RAW_SCANS, 3, r.raw, false},
                            {PM_RAW_SCAN, 1, "", false},
                            {PM_RAW_SCAN, 2, "", false},
                            {PM_RAW_SCAN, 3, "", false}}));
  const auto select = r.reader.CallsOf(Op::SelectController);
  ASSERT_EQ(select.size(), 1u);
  EXPECT_EQ(select[0].ints, (std::vector<long>{0, 1}));
  EXPECT_EQ(r.reader.Calls(Op::CloseRawFile), 1);
  // The maximum base peak is taken over all scans but the last one.
  EXPECT_EQ(r.reader.Calls(Op::GetScanHeader, 3), 2);
  EXPECT_EQ(r.reader.Calls(Op::GetScanHeader, 1), 2);
}

TEST(RawToMgf, ModernDialectWritesTheSameBlocksWithExactNumbers) {
  std::string classic;
  for (MgfDialect dialect : {MgfDialect::Classic, MgfDialect::Modern}) {
    MgfRun r;
    IMgfDialect* pDialect = nullptr;
    ASSERT_EQ(r.convert->QueryInterface(IID_IMgfDialect, reinterpret_cast<void**>(&pDialect)),
              S_OK);
    ComPtr<IMgfDialect> dialectOwner(pDialect);
    ASSERT_EQ(pDialect->SetMgfDialect(dialect), S_OK);
    auto& f = r.File();
    f.scans[4] = Scan(2, 612.34, 2);
    f.scans[5] = Scan(2, 401.5, 1);
    ASSERT_EQ(r.Run(), S_OK);
    const std::string text = ReadFile(r.mgf);
    EXPECT_EQ(Titles(text), (std::vector<std::string>{"out.4.2.dta", "out.4.3.dta", "out.5.1.dta"}));
    if (dialect == MgfDialect::Classic) {
      classic = text;
    } else {
      // The same blocks, with the peaks written without loss.
      std::string expected = classic;
      for (const auto& [from, to] : {std::pair<std::string, std::string>{"100.000  1000.000\n", "100.00000 1000\n"},
                                     {"200.500    50.000\n", "200.50000 50\n"}})
        for (auto at = expected.find(from); at != std::string::npos; at = expected.find(from))
          expected.replace(at, from.size(), to);
      EXPECT_EQ(text, expected);
    }
  }
}

struct WindowCase {
  const char* name;
  double mz;
  int chargeClass;
  double minMass;
  double maxMass;
  std::vector<std::string> titles;
};

class MassWindow : public ::testing::TestWithParam<WindowCase> {};

TEST_P(MassWindow, DecidesTheChargesWritten) {
  const WindowCase& c = GetParam();
  MgfRun r;
  r.options.dMinMass = c.minMass;
  r.options.dMaxMass = c.maxMass;
  r.File().scans[7] = Scan(2, c.mz, c.chargeClass);
  ASSERT_EQ(r.Run(), S_OK);
  EXPECT_EQ(Titles(ReadFile(r.mgf)), c.titles);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, MassWindow,
    ::testing::Values(
        // m = 500.0: MH+ 998.99206 at charge 2 and 1497.98412 at charge 3.
        WindowCase{"OnlyCharge2", 500.0, 2, 600.0, 1200.0, {"out.7.2.dta"}},
        WindowCase{"Charge3NotTriedWhen2Fails", 500.0, 2, 1200.0, 1600.0, {}},
        WindowCase{"Both", 500.0, 2, 900.0, 1500.0, {"out.7.2.dta", "out.7.3.dta"}},
        WindowCase{"Neither", 500.0, 2, 1500.0, 1600.0, {}},
        // A class-1 scan is held against its m/z itself, bounds included.
        WindowCase{"SinglyAtMin", 500.0, 1, 500.0, 600.0, {"out.7.1.dta"}},
        WindowCase{"SinglyAtMax", 500.0, 1, 400.0, 500.0, {"out.7.1.dta"}},
        WindowCase{"SinglyOutside", 500.0, 1, 500.001, 600.0, {}},
        WindowCase{"SinglyNeverAsTwo", 500.0, 1, 900.0, 1500.0, {}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(RawToMgf, ChargeArithmetic) {
  EXPECT_NEAR(SinglyChargedMass(500.0, 2), 998.99206, 1e-9);
  EXPECT_NEAR(SinglyChargedMass(500.0, 3), 1497.98412, 1e-9);
  EXPECT_EQ(kProton, 1.00794);
}

TEST(RawToMgf, SplitWritesLevelsToTheirOwnFiles) {
  RecordingReporter boxes;
  MgfRun r;
  auto& f = r.File();
  f.scans[1] = MakeSurveyScan();
  f.scans[2] = Scan(2, 500.0, 1);
  f.scans[3] = Scan(3, 450.5, 2);
  f.scans[4] = Scan(4, 300.0, 1);  // no file for level 4
  f.scans[5] = Scan(2, 510.0, 1);
  r.options.bSplitMsLevels = true;
  ASSERT_EQ(r.Run(), S_OK);
  EXPECT_FALSE(std::filesystem::exists(r.mgf));
  // Titles carry the caller's name, not the split file's.
  EXPECT_EQ(Titles(ReadFile(r.dir.File("out_ms2.mgf"))),
            (std::vector<std::string>{"out.2.1.dta", "out.5.1.dta"}));
  EXPECT_EQ(Titles(ReadFile(r.dir.File("out_ms3.mgf"))),
            (std::vector<std::string>{"out.3.2.dta", "out.3.3.dta"}));
  EXPECT_EQ(test::ListFiles(r.dir.Folder()),
            (std::vector<std::string>{"out_ms2.mgf", "out_ms3.mgf"}));
  EXPECT_EQ(Params(r.window, PM_RAW_SCAN), (std::vector<WPARAM>{1, 2, 3, 4, 5}));
}

TEST(RawToMgf, WithoutSplitHigherLevelsShareTheOneFile) {
  MgfRun r;
  auto& f = r.File();
  f.scans[2] = Scan(2, 500.0, 1);
  f.scans[3] = Scan(3, 450.5, 1);
  f.scans[4] = Scan(4, 300.0, 1);
  ASSERT_EQ(r.Run(), S_OK);
  EXPECT_EQ(Titles(ReadFile(r.mgf)),
            (std::vector<std::string>{"out.2.1.dta", "out.3.1.dta", "out.4.1.dta"}));
}

TEST(RawToMgf, SurveyOnlyFileLeavesEmptyOutputs) {
  for (bool split : {false, true}) {
    MgfRun r;
    r.options.bSplitMsLevels = split;
    r.File().scans[1] = MakeSurveyScan();
    r.File().scans[2] = MakeSurveyScan();
    ASSERT_EQ(r.Run(), S_OK);
    if (split) {
      EXPECT_EQ(ReadFile(r.dir.File("out_ms2.mgf")), "");
      EXPECT_EQ(ReadFile(r.dir.File("out_ms3.mgf")), "");
    } else {
      EXPECT_TRUE(std::filesystem::exists(r.mgf));
      EXPECT_EQ(ReadFile(r.mgf), "");
    }
  }
}

TEST(RawToMgf, SkippedScansStillCountAsProgress) {
  MgfRun r;
  r.options.nMinPeaks = 3;
  auto& f = r.File();
  f.scans[1] = Scan(2, 500.0, 1);                                          // too few peaks
  f.scans[2] = Scan(2, 500.0, 1, {{1.0, 1.0}, {2.0, 1.0}, {3.0, 1.0}});  // written
  ASSERT_EQ(r.Run(), S_OK);
  EXPECT_EQ(Titles(ReadFile(r.mgf)), (std::vector<std::string>{"out.2.1.dta"}));
  EXPECT_EQ(Params(r.window, PM_RAW_SCAN), (std::vector<WPARAM>{1, 2}));
}

TEST(RawToMgf, ScanWithoutEntriesIsWrittenWithoutPeaksAsBothCharges) {
  MgfRun r;
  ScriptedScan s = Scan(2, 500.0, 0);
  s.header.nEntries = 0;
  r.File().scans[6] = s;
  ASSERT_EQ(r.Run(), S_OK);
  EXPECT_EQ(ReadFile(r.mgf),
            "\nBEGIN IONS\nTITLE=out.6.2.dta\nCHARGE=2+\nPEPMASS=500.000000\nEND IONS\n"
            "\nBEGIN IONS\nTITLE=out.6.3.dta\nCHARGE=3+\nPEPMASS=500.000000\nEND IONS\n");
}

// --- Cancel -------------------------------------------------------------------

TEST(RawToMgf, CancelBeforeTheFirstScanEndsAfterIt) {
  MgfRun r;
  for (long s = 1; s <= 3; ++s) r.File().scans[s] = Scan(2, 500.0, 1);
  r.cancel.Set();
  EXPECT_EQ(r.Run(), E_ABORT);
  EXPECT_EQ(Titles(ReadFile(r.mgf)), (std::vector<std::string>{"out.1.1.dta"}));
  using M = RecordingWindow::Message;
  EXPECT_EQ(r.window.messages, (std::vector<M>{{PM_RAW_SCANS, 3, r.raw, false},
                                               {PM_CANCELLED, 0, "", true}}));
  EXPECT_EQ(r.reader.Calls(Op::CloseRawFile), 1);
  EXPECT_EQ(r.reader.Calls(Op::GetScanFilter), 1);
}

TEST(RawToMgf, CancelDuringTheLastScanIsStillAnAbort) {
  MgfRun r;
  for (long s = 1; s <= 3; ++s) r.File().scans[s] = Scan(2, 500.0, 1);
  r.window.onMessage = [&](const RecordingWindow::Message& m) {
    if (m.number == PM_RAW_SCAN && m.wParam == 2) r.cancel.Set();
  };
  EXPECT_EQ(r.Run(), E_ABORT);
  EXPECT_EQ(Titles(ReadFile(r.mgf)).size(), 3u);
  EXPECT_EQ(r.window.Numbers(), (std::vector<unsigned>{PM_RAW_SCANS, PM_RAW_SCAN, PM_RAW_SCAN,
                                                       PM_CANCELLED}));
}

// --- Failures -------------------------------------------------------------------

TEST(RawToMgf, NoOptionsCreatesNothingAndAsksNothing) {
  RecordingReporter boxes;
  MgfRun r;
  r.File().scans[1] = Scan(2, 500.0, 1);
  EXPECT_EQ(r.Run(nullptr), E_UNEXPECTED);
  ASSERT_EQ(boxes.boxes.size(), 1u);
  EXPECT_EQ(boxes.boxes[0].kind, BoxKind::Error);
  EXPECT_EQ(boxes.boxes[0].text, "Raw2Mgf Params not present. \nHRESULT = 0x0");
  EXPECT_TRUE(r.reader.Log().empty());
  EXPECT_TRUE(test::ListFiles(r.dir.Folder()).empty());
}

TEST(RawToMgf, UnopenableRawFileGivesOkAndEmptyOutput) {
  RecordingReporter boxes;
  MgfRun r;  // no file scripted: the open fails
  EXPECT_EQ(r.Run(), S_OK);
  EXPECT_EQ(boxes.Texts(BoxKind::Error), (std::vector<std::string>{"Cannot open file " + r.raw}));
  EXPECT_EQ(ReadFile(r.mgf), "");
  EXPECT_TRUE(std::filesystem::exists(r.mgf));
  EXPECT_TRUE(r.window.messages.empty());
  EXPECT_EQ(r.reader.Calls(Op::CloseRawFile), 0);
}

TEST(RawToMgf, OpenResultOtherThanZeroIsAFailureToOpen) {
  RecordingReporter boxes;
  MgfRun r;
  r.File().nOpenResult = -1;
  r.File().scans[1] = Scan(2, 500.0, 1);
  EXPECT_EQ(r.Run(), S_OK);
  EXPECT_EQ(boxes.Texts(BoxKind::Error).size(), 1u);
  EXPECT_EQ(r.reader.Calls(Op::GetScanFilter), 0);
}

TEST(RawToMgf, LastScanZeroIsUnexpected) {
  MgfRun r;
  r.File().nFirstScan = 0;
  r.File().nLastScan = 0;
  r.File().scans[0] = Scan(2, 500.0, 1);
  EXPECT_EQ(r.Run(), E_UNEXPECTED);
  EXPECT_EQ(r.reader.Calls(Op::GetScanFilter), 0);
  EXPECT_EQ(ReadFile(r.mgf), "");
}

TEST(RawToMgf, UnexpectedTrailerTypeStopsAndKeepsWhatWasWritten) {
  RecordingReporter boxes;
  MgfRun r;
  r.File().scans[1] = Scan(2, 500.0, 1);
  r.File().scans[2] = Scan(2, 500.0, 1);
  r.File().scans[2].trailer[kTrailerMonoisotopicMz] = Variant::I2(5);
  r.File().scans[3] = Scan(2, 500.0, 1);
  EXPECT_EQ(r.Run(), E_UNEXPECTED);
  EXPECT_EQ(boxes.Texts(BoxKind::Error),
            (std::vector<std::string>{
                "Scan: 2 MS level: 2 unexpected type when looking for precursorMz"}));
  EXPECT_EQ(Titles(ReadFile(r.mgf)), (std::vector<std::string>{"out.1.1.dta"}));
  EXPECT_EQ(Params(r.window, PM_RAW_SCAN), (std::vector<WPARAM>{1}));
  EXPECT_EQ(r.reader.Calls(Op::CloseRawFile), 1);
}

TEST(RawToMgf, ReaderExceptionEndsQuietlyWithoutClosing) {
  RecordingReporter boxes;
  MgfRun r;
  for (long s = 1; s <= 3; ++s) r.File().scans[s] = Scan(2, 500.0, 1);
  r.reader.ThrowOn(Op::GetMassList, 2);
  EXPECT_EQ(r.Run(), S_OK);
  EXPECT_TRUE(boxes.boxes.empty());
  EXPECT_EQ(Titles(ReadFile(r.mgf)), (std::vector<std::string>{"out.1.1.dta"}));
  EXPECT_EQ(r.reader.Calls(Op::CloseRawFile), 0);
  EXPECT_EQ(r.reader.Calls(Op::GetScanFilter, 3), 0);
}

TEST(RawToMgf, OutputThatCannotBeOpened) {
  RecordingReporter boxes;
  MgfRun r;
  r.File().scans[1] = Scan(2, 500.0, 1);
  r.mgf = r.dir.File("missing/out.mgf");
  EXPECT_EQ(r.Run(), E_UNEXPECTED);
  EXPECT_EQ(boxes.Texts(BoxKind::FileError).size(), 1u);
  EXPECT_TRUE(r.reader.Log().empty());
}

TEST(RawToMgf, SplitOpensMs3FirstAndDropsItWhenMs2Fails) {
  {
    RecordingReporter boxes;
    MgfRun r;
    r.options.bSplitMsLevels = true;
    // Neither name can be written: the one report names the MS3 file.
    ProtectInput(r.dir.File("out_ms2.mgf"));
    ProtectInput(r.dir.File("out_ms3.mgf"));
    const HRESULT hr = r.Run();
    ClearProtectedInputs();
    EXPECT_EQ(hr, E_UNEXPECTED);
    const auto reports = boxes.Texts(BoxKind::FileError);
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_NE(reports[0].find("out_ms3.mgf"), std::string::npos) << reports[0];
  }
  {
    RecordingReporter boxes;
    MgfRun r;
    r.options.bSplitMsLevels = true;
    ProtectInput(r.dir.File("out_ms2.mgf"));
    const HRESULT hr = r.Run();
    ClearProtectedInputs();
    EXPECT_EQ(hr, E_UNEXPECTED);
    EXPECT_EQ(boxes.Texts(BoxKind::FileError).size(), 1u);
    EXPECT_TRUE(test::ListFiles(r.dir.Folder()).empty());
    EXPECT_TRUE(r.reader.Log().empty());
  }
}

TEST(RawToMgf, NeverOverwritesTheRawFile) {
  RecordingReporter boxes;
  MgfRun r;
  test::WriteFile(r.raw, "raw bytes");
  r.File().scans[1] = Scan(2, 500.0, 1);
  r.mgf = r.raw;
  EXPECT_EQ(r.Run(), E_UNEXPECTED);
  EXPECT_EQ(boxes.Texts(BoxKind::Plain).size(), 1u);
  EXPECT_EQ(ReadFile(r.raw), "raw bytes");
}

TEST(RawToMgf, MissingReaderIsAnUnopenableFile) {
  RecordingReporter boxes;
  MgfRun r;
  EXPECT_EQ(r.convert->RawToMgf(r.raw, r.mgf, nullptr, &r.options, &r.cancel, &r.window), S_OK);
  EXPECT_EQ(boxes.Texts(BoxKind::Error), (std::vector<std::string>{"Cannot open file " + r.raw}));
}

}  // namespace
}  // namespace orvane
