// Raw file to DTA files through the engine object: folders, names, MH+
// headers, the three lists, cancel and the ways out.
#include <gtest/gtest.h>

#include <filesystem>

#include "raw_fixture.h"

namespace orvane {
namespace {

using namespace rawtest;
using test::ReadFile;
using test::RecordingReporter;
using test::RecordingWindow;
using test::TempDir;

struct DtaRun {
  TempDir dir;
  ScriptedReader reader;
  RecordingWindow window;
  CEvent cancel;
  RawOptions options = OpenOptions();
  ComPtr<IConvertMSMS> convert = MakeConverter();
  std::string raw = dir.File("run.raw");
  std::string out = dir.Folder();
  StringList all{"stale"}, ms2{"stale"}, ms3{"stale"};

  ScriptedFile& File() { return reader.AddFile(raw); }
  HRESULT Run(RawOptions* pOptions) {
    return convert->RawToDta(raw, out, &reader, pOptions, &all, &ms2, &ms3, &cancel, &window);
  }
  HRESULT Run() { return Run(&options); }
};

TEST(RawToDta, OneFilePerChargeWithMhPlusHeaders) {
  RecordingReporter boxes;
  DtaRun r;
  auto& f = r.File();
  f.scans[6] = MakeSurveyScan();
  f.scans[7] = Scan(2, 500.0, 2, {{100.0, 10.0}, {150.0, 0.0}, {200.25, 2.5}});
  f.scans[8] = Scan(2, 401.23, 1);
  ASSERT_EQ(r.Run(), S_OK);
  EXPECT_TRUE(boxes.boxes.empty());
  const std::string folder = r.out + "dta_converted/";
  EXPECT_EQ(r.all, (StringList{folder + "run.7.7.2.dta", folder + "run.7.7.3.dta",
                               folder + "run.8.8.1.dta"}));
  EXPECT_TRUE(r.ms2.empty());
  EXPECT_TRUE(r.ms3.empty());
  EXPECT_EQ(ReadFile(folder + "run.7.7.2.dta"), "998.992060 2\n100.000 10.000\n200.250 2.500");
  EXPECT_EQ(ReadFile(folder + "run.7.7.3.dta"), "1497.984120 3\n100.000 10.000\n200.250 2.500");
  EXPECT_EQ(ReadFile(folder + "run.8.8.1.dta"), "401.230000 1\n100.000 1000.000\n200.500 50.000");
  EXPECT_EQ(test::ListFiles(folder),
            (std::vector<std::string>{"run.7.7.2.dta", "run.7.7.3.dta", "run.8.8.1.dta"}));
  using M = RecordingWindow::Message;
  EXPECT_EQ(r.window.messages, (std::vector<M>{{PM_RAW_SCANS, 3, r.raw, false},
                                               {PM_RAW_SCAN, 1, "", false},
                                               {PM_RAW_SCAN, 2, "", false},
                                               {PM_RAW_SCAN, 3, "", false}}));
  EXPECT_EQ(r.reader.Calls(Op::CloseRawFile), 1);
}

TEST(RawToDta, SplitFillsTheLevelListsAndMakesBothFolders) {
  DtaRun r;
  r.options.bSplitMsLevels = true;
  auto& f = r.File();
  f.scans[2] = Scan(2, 500.0, 1);
  f.scans[3] = Scan(4, 500.0, 1);  // no folder for level 4
  f.scans[4] = Scan(2, 510.0, 2);
  ASSERT_EQ(r.Run(), S_OK);
  EXPECT_TRUE(r.all.empty());
  const std::string f2 = r.out + "dta_converted_ms2/";
  EXPECT_EQ(r.ms2, (StringList{f2 + "run_ms2.2.2.1.dta", f2 + "run_ms2.4.4.2.dta",
                               f2 + "run_ms2.4.4.3.dta"}));
  EXPECT_TRUE(r.ms3.empty());
  // The MS3 folder is made whatever the file holds.
  EXPECT_TRUE(std::filesystem::is_directory(r.out + "dta_converted_ms3"));
  EXPECT_TRUE(test::ListFiles(r.out + "dta_converted_ms3/").empty());
  EXPECT_FALSE(std::filesystem::exists(r.out + "dta_converted"));
  EXPECT_EQ(Params(r.window, PM_RAW_SCAN), (std::vector<WPARAM>{1, 2, 3}));
}

TEST(RawToDta, SplitMs3Names) {
  DtaRun r;
  r.options.bSplitMsLevels = true;
  r.File().scans[11] = Scan(3, 450.5, 1);
  ASSERT_EQ(r.Run(), S_OK);
  EXPECT_EQ(r.ms3, (StringList{r.out + "dta_converted_ms3/run_ms3.11.11.1.dta"}));
  EXPECT_EQ(ReadFile(r.ms3.front()), "450.500000 1\n100.000 1000.000\n200.500 50.000");
}

TEST(RawToDta, WithoutSplitEveryLevelGoesToOneFolder) {
  DtaRun r;
  r.File().scans[2] = Scan(3, 450.5, 1);
  r.File().scans[3] = Scan(4, 300.0, 1);
  ASSERT_EQ(r.Run(), S_OK);
  const std::string folder = r.out + "dta_converted/";
  EXPECT_EQ(r.all, (StringList{folder + "run.2.2.1.dta", folder + "run.3.3.1.dta"}));
}

TEST(RawToDta, ExistingFolderAndFilesAreReused) {
  DtaRun r;
  std::filesystem::create_directory(r.out + "dta_converted");
  test::WriteFile(r.out + "dta_converted/run.7.7.1.dta", "old");
  r.File().scans[7] = Scan(2, 500.0, 1);
  ASSERT_EQ(r.Run(), S_OK);
  EXPECT_EQ(ReadFile(r.out + "dta_converted/run.7.7.1.dta"),
            "500.000000 1\n100.000 1000.000\n200.500 50.000");
}

TEST(RawToDta, CancelIsOkWithTheFilesSoFar) {
  DtaRun r;
  for (long s = 1; s <= 3; ++s) r.File().scans[s] = Scan(2, 500.0, 1);
  r.window.onMessage = [&](const RecordingWindow::Message& m) {
    if (m.number == PM_RAW_SCAN && m.wParam == 1) r.cancel.Set();
  };
  EXPECT_EQ(r.Run(), S_OK);
  const std::string folder = r.out + "dta_converted/";
  EXPECT_EQ(r.all, (StringList{folder + "run.1.1.1.dta", folder + "run.2.2.1.dta"}));
  EXPECT_EQ(r.window.Numbers(),
            (std::vector<unsigned>{PM_RAW_SCANS, PM_RAW_SCAN, PM_CANCELLED}));
  EXPECT_TRUE(r.window.messages.back().posted);
  EXPECT_EQ(r.reader.Calls(Op::CloseRawFile), 1);
}

TEST(RawToDta, NoOptionsEmptiesTheListsFirst) {
  RecordingReporter boxes;
  DtaRun r;
  EXPECT_EQ(r.Run(nullptr), E_UNEXPECTED);
  EXPECT_TRUE(r.all.empty());
  EXPECT_TRUE(r.ms2.empty());
  EXPECT_TRUE(r.ms3.empty());
  EXPECT_EQ(boxes.Texts(BoxKind::Error),
            (std::vector<std::string>{"Raw2Mgf Params not present. \nHRESULT = 0x0"}));
  EXPECT_TRUE(test::ListFiles(r.out).empty());
  EXPECT_TRUE(r.reader.Log().empty());
}

TEST(RawToDta, FolderThatCannotBeMade) {
  RecordingReporter boxes;
  DtaRun r;
  test::WriteFile(r.dir.File("blocker"), "a file where a folder should go");
  r.out = r.dir.File("blocker") + "/";
  r.File().scans[1] = Scan(2, 500.0, 1);
  EXPECT_EQ(r.Run(), E_UNEXPECTED);
  EXPECT_EQ(boxes.Texts(BoxKind::Plain),
            (std::vector<std::string>{"Error!\nCouldn't create directory " + r.out +
                                      "dta_converted/."}));
  EXPECT_TRUE(r.reader.Log().empty());
  EXPECT_TRUE(r.all.empty());
}

TEST(RawToDta, FailedExportStopsWithThePathListed) {
  RecordingReporter boxes;
  DtaRun r;
  for (long s = 1; s <= 3; ++s) r.File().scans[s] = Scan(2, 500.0, 1);
  // A folder under the name of the second file: its file can't be put there.
  std::filesystem::create_directories(r.out + "dta_converted/run.2.2.1.dta");
  EXPECT_EQ(r.Run(), E_UNEXPECTED);
  const std::string folder = r.out + "dta_converted/";
  EXPECT_EQ(r.all, (StringList{folder + "run.1.1.1.dta", folder + "run.2.2.1.dta"}));
  EXPECT_EQ(boxes.Texts(BoxKind::Note),
            (std::vector<std::string>{"Error exporting run.2.2.1.dta file. \nHRESULT = 0x8000ffff"}));
  EXPECT_EQ(Params(r.window, PM_RAW_SCAN), (std::vector<WPARAM>{1}));
  EXPECT_EQ(r.reader.Calls(Op::GetScanFilter, 3), 0);
  EXPECT_EQ(r.reader.Calls(Op::CloseRawFile), 1);
}

TEST(RawToDta, UnopenableRawFileIsOk) {
  RecordingReporter boxes;
  DtaRun r;
  EXPECT_EQ(r.Run(), S_OK);
  EXPECT_EQ(boxes.Texts(BoxKind::Error), (std::vector<std::string>{"Cannot open file " + r.raw}));
  EXPECT_TRUE(std::filesystem::is_directory(r.out + "dta_converted"));
  EXPECT_TRUE(r.all.empty());
  EXPECT_EQ(r.reader.Calls(Op::CloseRawFile), 0);
}

TEST(RawToDta, ReaderExceptionIsOkAndKeepsTheList) {
  DtaRun r;
  for (long s = 1; s <= 3; ++s) r.File().scans[s] = Scan(2, 500.0, 1);
  r.reader.ThrowOn(Op::GetScanTrailer, 3);
  EXPECT_EQ(r.Run(), S_OK);
  EXPECT_EQ(r.all.size(), 2u);
  EXPECT_EQ(r.reader.Calls(Op::CloseRawFile), 0);
}

TEST(RawToDta, LastScanZeroIsJustNothingToDo) {
  DtaRun r;
  r.File().nFirstScan = 1;
  r.File().nLastScan = 0;
  EXPECT_EQ(r.Run(), S_OK);
  EXPECT_EQ(r.reader.Calls(Op::GetScanFilter), 0);
  EXPECT_EQ(r.reader.Calls(Op::CloseRawFile), 1);
}

TEST(RawToDta, UnexpectedTrailerTypeIsUnexpected) {
  RecordingReporter boxes;
  DtaRun r;
  r.File().scans[1] = Scan(2, 500.0, 1);
  r.File().scans[1].trailer.erase(kTrailerMonoisotopicMz);
  EXPECT_EQ(r.Run(), E_UNEXPECTED);
  EXPECT_EQ(boxes.Texts(BoxKind::Error).size(), 1u);
  EXPECT_TRUE(r.all.empty());
}

}  // namespace
}  // namespace orvane
