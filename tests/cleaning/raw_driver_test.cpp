// The raw file driver on the real engine object with a scripted reader: rows
// and messages of both phases, the lists handed to the spectrum drivers, the
// cleaned DTA folders, cancel in either phase and the ways out.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "cleaning/drivers.h"
#include "cleaning_fakes.h"
#include "frame/module.h"
#include "raw/scan_access.h"
#include "support/scripted_reader.h"
#include "support/test_support.h"

namespace orvane {
namespace {

using test::ReadFile;
using test::RecordingReporter;
using test::RecordingWindow;
using test::ScriptedReader;
using test::ScriptedScan;
using Message = RecordingWindow::Message;
using Op = ScriptedReader::Op;

// The messages the raw driver itself sends, and the row messages of the
// spectrum drivers that answer its rows.
bool IsRowMessage(unsigned n) {
  return n == PM_RAW_BEGIN || n == PM_RAW_DONE || n == PM_ROW_ADDED || n == PM_ROW_BEGIN ||
         n == PM_ROW_DONE;
}

Message Sent(unsigned n, WPARAM w, std::string text = {}) { return {n, w, std::move(text), false}; }

// An MS2 scan with a trailer precursor; class 2 (charges 2 and 3) or class 1.
ScriptedScan Ms(int nLevel, double dMz, int nClass) {
  std::string filter = "ITMS + c NSI d Full ms" + std::to_string(nLevel) + " ";
  for (int i = 2; i <= nLevel; ++i) filter += Format("%.2f@cid35.00 ", dMz);
  ScriptedScan s = test::MakeScan(filter, {{100.0, 1000.0}, {150.0, 20.0}, {200.5, 50.0}});
  s.trailer[kTrailerMonoisotopicMz] = Variant::R8(dMz);
  if (nClass == 2) s.trailer[kTrailerChargeState] = Variant::I2(2);
  return s;
}

class RawDriverTest : public ::testing::Test {
 protected:
  RawDriverTest() {
    std::filesystem::create_directories(dir.path() / "in");
    std::filesystem::create_directories(dir.path() / "out" / "badspectra");
    ICleanMSMS_Files* pClean = nullptr;
    EXPECT_EQ(convert->QueryInterface(IID_ICleanMSMS_Files, reinterpret_cast<void**>(&pClean)),
              S_OK);
    clean = ComPtr<ICleanMSMS_Files>(pClean);

    options.dMinMass = 0.0;
    options.dMaxMass = 100000.0;
    options.nMinPeaks = 1;
    options.nExportOption = 2;
    files.nMode = 2;
    params.pFileList = &files;
    params.hProgressWnd = &window;
    params.pCancelEvent = &cancel;
    params.pRawReader = &reader;
    params.pRawOptions = &options;
    params.strOutputFolder = Out();
    params.dEquidistantStep = 0.05;  // every cleaning stage off
    params.bSkipCleaning = true;     // MGF runs copy the spectra unchanged
  }

  static ComPtr<IConvertMSMS> MakeEngine() {
    RegisterOrvaneModule();
    IConvertMSMS* p = nullptr;
    EXPECT_EQ(CoCreateInstance(CLSID_Orvane, nullptr, CLSCTX_INPROC_SERVER, IID_IConvertMSMS,
                               reinterpret_cast<void**>(&p)),
              S_OK);
    return ComPtr<IConvertMSMS>(p);
  }

  std::string Out() const { return dir.Folder() + "out/"; }
  std::string Raw(const std::string& name) const { return dir.File("in/" + name); }
  test::ScriptedFile& AddRaw(const std::string& name) {
    files.lstFiles.push_back(Raw(name));
    return reader.AddFile(Raw(name));
  }
  std::vector<Message> RowMessages() const {
    std::vector<Message> out;
    for (const Message& m : window.messages)
      if (IsRowMessage(m.number)) out.push_back(m);
    return out;
  }
  int Count(unsigned number) const {
    const auto n = window.Numbers();
    return static_cast<int>(std::count(n.begin(), n.end(), number));
  }

  test::TempDir dir;
  ComPtr<IConvertMSMS> convert = MakeEngine();  // registers the engine first
  ComPtr<ICleanMSMS_Files> clean;
  test::FakeTonalithFactory factory;
  test::ScopedTonalithClass tonalithClass{&factory};
  RecordingReporter boxes;
  RecordingWindow window;
  CEvent cancel;
  ScriptedReader reader;
  RawOptions options;
  CleanFileList files;
  CleanParams params;
};

// --- MGF ---------------------------------------------------------------------

TEST_F(RawDriverTest, TwoRawFilesToMgfWithoutSplit) {
  options.nConvertOption = 1;
  AddRaw("a.raw").scans[1] = Ms(2, 500.0, 1);
  AddRaw("b.raw").scans[4] = Ms(2, 600.0, 1);
  ASSERT_EQ(clean->CleanRawFiles(&params), S_OK);
  EXPECT_TRUE(boxes.boxes.empty());
  EXPECT_EQ(RowMessages(), (std::vector<Message>{
                               Sent(PM_RAW_BEGIN, 0), Sent(PM_RAW_DONE, 0),
                               Sent(PM_ROW_ADDED, 1, Out() + "a.mgf"),
                               Sent(PM_RAW_BEGIN, 2), Sent(PM_RAW_DONE, 2),
                               Sent(PM_ROW_ADDED, 3, Out() + "b.mgf"),
                               // the second phase cleans the two files, rows 1 and 3
                               Sent(PM_ROW_BEGIN, 1), Sent(PM_ROW_DONE, 1),
                               Sent(PM_ROW_BEGIN, 3), Sent(PM_ROW_DONE, 3)}));
  // The conversion's own messages come between 1296 and 1286.
  const auto numbers = window.Numbers();
  EXPECT_EQ(std::vector<unsigned>(numbers.begin(), numbers.begin() + 5),
            (std::vector<unsigned>{PM_RAW_BEGIN, PM_RAW_SCANS, PM_RAW_SCAN, PM_RAW_DONE,
                                   PM_ROW_ADDED}));
  // Converted and cleaned files stand side by side.
  EXPECT_EQ(test::ListFiles(Out()),
            (std::vector<std::string>{"a.mgf", "a_c.mgf", "b.mgf", "b_c.mgf", "badspectra"}));
  EXPECT_EQ(ReadFile(Out() + "a_c.mgf"), ReadFile(Out() + "a.mgf"));
  EXPECT_NE(ReadFile(Out() + "b.mgf").find("TITLE=b.4.1.dta\n"), std::string::npos);
  // The host's block is left as it was.
  EXPECT_EQ(params.pFileList, &files);
  EXPECT_EQ(params.strOutputFolder, Out());
  EXPECT_EQ(files.lstFiles.size(), 2u);
  EXPECT_TRUE(files.lstRows.empty());
}

TEST_F(RawDriverTest, TwoRawFilesToMgfWithSplit) {
  options.nConvertOption = 1;
  options.bSplitMsLevels = true;
  auto& a = AddRaw("a.raw");
  a.scans[1] = Ms(2, 500.0, 1);
  a.scans[2] = Ms(3, 400.0, 1);
  AddRaw("b.raw").scans[1] = Ms(2, 510.0, 1);
  ASSERT_EQ(clean->CleanRawFiles(&params), S_OK);
  EXPECT_EQ(RowMessages(), (std::vector<Message>{
                               Sent(PM_RAW_BEGIN, 0), Sent(PM_RAW_DONE, 0),
                               Sent(PM_ROW_ADDED, 1, Out() + "a_ms2.mgf"),
                               Sent(PM_ROW_ADDED, 2, Out() + "a_ms3.mgf"),
                               Sent(PM_RAW_BEGIN, 3), Sent(PM_RAW_DONE, 3),
                               Sent(PM_ROW_ADDED, 4, Out() + "b_ms2.mgf"),
                               Sent(PM_ROW_ADDED, 5, Out() + "b_ms3.mgf"),
                               // first all MS2 files, then all MS3 files
                               Sent(PM_ROW_BEGIN, 1), Sent(PM_ROW_DONE, 1),
                               Sent(PM_ROW_BEGIN, 4), Sent(PM_ROW_DONE, 4),
                               Sent(PM_ROW_BEGIN, 2), Sent(PM_ROW_DONE, 2),
                               Sent(PM_ROW_BEGIN, 5), Sent(PM_ROW_DONE, 5)}));
  EXPECT_TRUE(std::filesystem::exists(Out() + "a_ms3_c.mgf"));
  EXPECT_TRUE(std::filesystem::exists(Out() + "b_ms3_c.mgf"));
  EXPECT_FALSE(std::filesystem::exists(Out() + "a.mgf"));
}

TEST_F(RawDriverTest, EachSpectrumDriverRunWritesItsOwnLogHead) {
  CStdioFile log;
  ASSERT_TRUE(log.Open(dir.File("run.log"), CStdioFile::modeCreate | CStdioFile::modeWrite));
  params.bWriteLog = true;
  params.pLogFile = &log;
  options.nConvertOption = 1;
  options.bSplitMsLevels = true;
  AddRaw("a.raw").scans[1] = Ms(2, 500.0, 1);
  ASSERT_EQ(clean->CleanRawFiles(&params), S_OK);
  log.Close();
  const std::string text = ReadFile(dir.File("run.log"));
  std::size_t heads = 0;
  for (std::size_t at = 0; (at = text.find("Peltrix Log File\n", at)) != std::string::npos; ++at)
    ++heads;
  EXPECT_EQ(heads, 2u);  // MS2 and MS3 runs; the empty list of all files writes nothing
}

TEST_F(RawDriverTest, UnreadableRawFileIsStillAnnouncedAndCleaned) {
  options.nConvertOption = 1;
  files.lstFiles.push_back(Raw("missing.raw"));  // the reader can't open it
  AddRaw("b.raw").scans[1] = Ms(2, 500.0, 1);
  ASSERT_EQ(clean->CleanRawFiles(&params), S_OK);
  EXPECT_EQ(boxes.Texts(BoxKind::Error),
            (std::vector<std::string>{"Cannot open file " + Raw("missing.raw")}));
  EXPECT_EQ(RowMessages(), (std::vector<Message>{
                               Sent(PM_RAW_BEGIN, 0), Sent(PM_RAW_DONE, 0),
                               Sent(PM_ROW_ADDED, 1, Out() + "missing.mgf"),
                               Sent(PM_RAW_BEGIN, 2), Sent(PM_RAW_DONE, 2),
                               Sent(PM_ROW_ADDED, 3, Out() + "b.mgf"),
                               Sent(PM_ROW_BEGIN, 1), Sent(PM_ROW_DONE, 1),
                               Sent(PM_ROW_BEGIN, 3), Sent(PM_ROW_DONE, 3)}));
  EXPECT_EQ(ReadFile(Out() + "missing_c.mgf"), "");
}

TEST_F(RawDriverTest, CancelDuringMgfConversionCleansNothing) {
  options.nConvertOption = 1;
  auto& a = AddRaw("a.raw");
  a.scans[1] = Ms(2, 500.0, 1);
  a.scans[2] = Ms(2, 500.0, 1);
  AddRaw("b.raw").scans[1] = Ms(2, 500.0, 1);
  cancel.Set();
  ASSERT_EQ(clean->CleanRawFiles(&params), S_OK);
  EXPECT_EQ(RowMessages(), (std::vector<Message>{Sent(PM_RAW_BEGIN, 0), Sent(PM_RAW_DONE, 0)}));
  EXPECT_EQ(Count(PM_CANCELLED), 1);
  EXPECT_EQ(reader.Calls(Op::OpenRawFile), 1);
  EXPECT_FALSE(std::filesystem::exists(Out() + "a_c.mgf"));
  EXPECT_TRUE(boxes.boxes.empty());
}

TEST_F(RawDriverTest, FailedConversionStopsBeforeAnyCleaning) {
  options.nConvertOption = 1;
  AddRaw("a.raw").scans[1] = Ms(2, 500.0, 1);
  auto& b = AddRaw("b.raw");
  b.scans[1] = Ms(2, 500.0, 1);
  b.scans[1].trailer[kTrailerMonoisotopicMz] = Variant::Empty();
  EXPECT_EQ(clean->CleanRawFiles(&params), E_UNEXPECTED);
  EXPECT_EQ(boxes.Texts(BoxKind::Note),
            (std::vector<std::string>{"Couldn't extract data from " + Raw("b.raw") +
                                      " file. \nHRESULT = 0x8000ffff"}));
  EXPECT_EQ(RowMessages(), (std::vector<Message>{
                               Sent(PM_RAW_BEGIN, 0), Sent(PM_RAW_DONE, 0),
                               Sent(PM_ROW_ADDED, 1, Out() + "a.mgf"),
                               Sent(PM_RAW_BEGIN, 2), Sent(PM_RAW_DONE, 2)}));
  EXPECT_FALSE(std::filesystem::exists(Out() + "a_c.mgf"));
}

TEST_F(RawDriverTest, FailureOfTheCountingCleanRunGivesTheStopBox) {
  // With separated bad spectra and no badspectra/ folder every MGF run fails
  // to open its bad output; the MS3 run is the one that counts.
  std::filesystem::remove_all(dir.path() / "out" / "badspectra");
  params.bExportBad = true;
  params.nBadSpectraAction = 1;
  options.nConvertOption = 1;
  options.bSplitMsLevels = true;
  AddRaw("a.raw").scans[1] = Ms(2, 500.0, 1);
  AddRaw("b.raw").scans[1] = Ms(2, 500.0, 1);
  EXPECT_EQ(clean->CleanRawFiles(&params), E_UNEXPECTED);
  const auto stops = boxes.Texts(BoxKind::Stop);
  ASSERT_EQ(stops.size(), 1u);
  EXPECT_EQ(stops[0], "Error cleaning " + Out() + "b_ms3.mgf file. \nHRESULT = 0x8000ffff");
}

TEST_F(RawDriverTest, BadConvertOption) {
  options.nConvertOption = 2;
  AddRaw("a.raw").scans[1] = Ms(2, 500.0, 1);
  EXPECT_EQ(clean->CleanRawFiles(&params), E_UNEXPECTED);
  EXPECT_EQ(boxes.Texts(BoxKind::Note), (std::vector<std::string>{"Error! Bad convert option."}));
  EXPECT_EQ(RowMessages(), (std::vector<Message>{Sent(PM_RAW_BEGIN, 0)}));
  EXPECT_TRUE(reader.Log().empty());
}

TEST_F(RawDriverTest, EmptyListDoesNothing) {
  options.nConvertOption = 7;
  EXPECT_EQ(clean->CleanRawFiles(&params), S_OK);
  EXPECT_TRUE(window.messages.empty());
  EXPECT_TRUE(boxes.boxes.empty());
}

// --- DTA ---------------------------------------------------------------------

TEST_F(RawDriverTest, TwoRawFilesToDtaOfThreeAndTwoSpectra) {
  options.nConvertOption = 0;
  auto& a = AddRaw("a.raw");
  a.scans[1] = Ms(2, 500.0, 2);  // two files
  a.scans[2] = Ms(2, 420.0, 1);  // one file
  AddRaw("b.raw").scans[3] = Ms(2, 600.0, 2);
  ASSERT_EQ(clean->CleanRawFiles(&params), S_OK);
  EXPECT_TRUE(boxes.boxes.empty()) << boxes.boxes[0].text;
  const std::string conv = Out() + "dta_converted/";
  EXPECT_EQ(RowMessages(), (std::vector<Message>{
                               Sent(PM_RAW_BEGIN, 0), Sent(PM_RAW_DONE, 0),
                               Sent(PM_ROW_ADDED, 1, conv + "a.1.1.2.dta"),
                               Sent(PM_ROW_ADDED, 2, conv + "a.1.1.3.dta"),
                               Sent(PM_ROW_ADDED, 3, conv + "a.2.2.1.dta"),
                               Sent(PM_RAW_BEGIN, 4), Sent(PM_RAW_DONE, 4),
                               Sent(PM_ROW_ADDED, 5, conv + "b.3.3.2.dta"),
                               Sent(PM_ROW_ADDED, 6, conv + "b.3.3.3.dta"),
                               Sent(PM_ROW_BEGIN, 1), Sent(PM_ROW_DONE, 1),
                               Sent(PM_ROW_BEGIN, 2), Sent(PM_ROW_DONE, 2),
                               Sent(PM_ROW_BEGIN, 3), Sent(PM_ROW_DONE, 3),
                               Sent(PM_ROW_BEGIN, 5), Sent(PM_ROW_DONE, 5),
                               Sent(PM_ROW_BEGIN, 6), Sent(PM_ROW_DONE, 6)}));
  // Cleaned files land in the output folder itself.
  EXPECT_TRUE(std::filesystem::exists(Out() + "a.1.1.2_c.dta"));
  EXPECT_TRUE(std::filesystem::exists(Out() + "b.3.3.3_c.dta"));
}

TEST_F(RawDriverTest, RawFileWithNothingToConvertTakesTheNextRow) {
  options.nConvertOption = 0;
  AddRaw("a.raw").scans[1] = test::MakeSurveyScan();
  AddRaw("b.raw").scans[2] = Ms(2, 500.0, 1);
  ASSERT_EQ(clean->CleanRawFiles(&params), S_OK);
  EXPECT_EQ(RowMessages(), (std::vector<Message>{
                               Sent(PM_RAW_BEGIN, 0), Sent(PM_RAW_DONE, 0),
                               Sent(PM_RAW_BEGIN, 1), Sent(PM_RAW_DONE, 1),
                               Sent(PM_ROW_ADDED, 2, Out() + "dta_converted/b.2.2.1.dta"),
                               Sent(PM_ROW_BEGIN, 2), Sent(PM_ROW_DONE, 2)}));
}

TEST_F(RawDriverTest, DtaSplitCleansIntoTheLevelFolders) {
  options.nConvertOption = 0;
  options.bSplitMsLevels = true;
  auto& a = AddRaw("a.raw");
  a.scans[1] = Ms(2, 500.0, 1);
  a.scans[2] = Ms(2, 510.0, 1);
  ASSERT_EQ(clean->CleanRawFiles(&params), S_OK);
  EXPECT_EQ(RowMessages(),
            (std::vector<Message>{
                Sent(PM_RAW_BEGIN, 0), Sent(PM_RAW_DONE, 0),
                Sent(PM_ROW_ADDED, 1, Out() + "dta_converted_ms2/a_ms2.1.1.1.dta"),
                Sent(PM_ROW_ADDED, 2, Out() + "dta_converted_ms2/a_ms2.2.2.1.dta"),
                Sent(PM_ROW_BEGIN, 1), Sent(PM_ROW_DONE, 1),
                Sent(PM_ROW_BEGIN, 2), Sent(PM_ROW_DONE, 2)}));
  EXPECT_TRUE(std::filesystem::exists(Out() + "dta_ms2_cleaned/a_ms2.1.1.1_c.dta"));
  // An empty MS3 list still gets its folder.
  EXPECT_TRUE(std::filesystem::is_directory(Out() + "dta_ms3_cleaned"));
  EXPECT_TRUE(test::ListFiles(Out() + "dta_ms3_cleaned/").empty());
}

TEST_F(RawDriverTest, DtaSplitFolderThatCannotBeMade) {
  options.nConvertOption = 0;
  options.bSplitMsLevels = true;
  AddRaw("a.raw").scans[1] = Ms(2, 500.0, 1);
  test::WriteFile(Out() + "dta_ms2_cleaned", "a file in the way");
  EXPECT_EQ(clean->CleanRawFiles(&params), E_UNEXPECTED);
  // The box names the output folder the cleaned folder was to go under.
  EXPECT_EQ(boxes.Texts(BoxKind::Plain),
            (std::vector<std::string>{"Error!\nCouldn't create directory " + Out() + "."}));
  EXPECT_EQ(Count(PM_ROW_BEGIN), 0);
}

TEST_F(RawDriverTest, DtaCancelDuringConversionGoesOnWithWhatWasWritten) {
  options.nConvertOption = 0;
  auto& a = AddRaw("a.raw");
  a.scans[1] = Ms(2, 500.0, 1);
  a.scans[2] = Ms(2, 500.0, 1);
  AddRaw("b.raw").scans[1] = Ms(2, 500.0, 1);
  cancel.Set();
  ASSERT_EQ(clean->CleanRawFiles(&params), S_OK);
  const std::string conv = Out() + "dta_converted/";
  // Each conversion stops after its first scan; the cleaning run after its
  // first file.
  EXPECT_EQ(RowMessages(), (std::vector<Message>{
                               Sent(PM_RAW_BEGIN, 0), Sent(PM_RAW_DONE, 0),
                               Sent(PM_ROW_ADDED, 1, conv + "a.1.1.1.dta"),
                               Sent(PM_RAW_BEGIN, 2), Sent(PM_RAW_DONE, 2),
                               Sent(PM_ROW_ADDED, 3, conv + "b.1.1.1.dta"),
                               Sent(PM_ROW_BEGIN, 1), Sent(PM_ROW_DONE, 1)}));
  EXPECT_EQ(Count(PM_CANCELLED), 3);
}

TEST_F(RawDriverTest, DtaCancelDuringCleaningIsOk) {
  options.nConvertOption = 0;
  AddRaw("a.raw").scans[1] = Ms(2, 500.0, 2);
  window.onMessage = [&](const Message& m) {
    if (m.number == PM_ROW_BEGIN) cancel.Set();
  };
  ASSERT_EQ(clean->CleanRawFiles(&params), S_OK);
  EXPECT_EQ(Count(PM_ROW_BEGIN), 1);
  EXPECT_EQ(Count(PM_CANCELLED), 1);
  EXPECT_TRUE(window.messages.back().posted);
  EXPECT_TRUE(boxes.boxes.empty());
}

TEST_F(RawDriverTest, DtaCleaningFailureNamesAnMgfNoFileBears) {
  // Without the signal-processing component every cleaning run fails.
  test::ScopedTonalithClass none(nullptr);
  options.nConvertOption = 0;
  AddRaw("a.raw").scans[1] = Ms(2, 500.0, 1);
  EXPECT_EQ(clean->CleanRawFiles(&params), E_UNEXPECTED);
  EXPECT_EQ(boxes.Texts(BoxKind::Stop),
            (std::vector<std::string>{"Error cleaning " + Out() +
                                      "a.mgf file. \nHRESULT = 0x8000ffff"}));
}

// --- Interfaces ----------------------------------------------------------------

// An object that answers no interface at all.
class Nothing final : public IUnknown {
 public:
  HRESULT QueryInterface(REFIID, void** ppv) override {
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  std::uint32_t AddRef() override { return 1; }
  std::uint32_t Release() override { return 1; }
};

TEST_F(RawDriverTest, MissingInterfaceIsANoteBox) {
  options.nConvertOption = 1;
  AddRaw("a.raw").scans[1] = Ms(2, 500.0, 1);
  Nothing nothing;
  RunState state;
  EXPECT_EQ(CleanRawFiles(&nothing, state, &params), E_NOINTERFACE);
  EXPECT_EQ(boxes.Texts(BoxKind::Note),
            (std::vector<std::string>{"Couldn't obtain ConvertMSMS interface. \nHRESULT = 0x80004002"}));
  EXPECT_TRUE(window.messages.empty());
}

}  // namespace
}  // namespace orvane
