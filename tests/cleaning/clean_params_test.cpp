#include <gtest/gtest.h>

#include <string>

#include "cleaning/clean_params.h"
#include "cleaning/run_log.h"
#include "platform/format.h"
#include "platform/text_file.h"
#include "support/test_support.h"

namespace orvane {
namespace {

using test::ReadFile;
using test::TempDir;

CleanParams TypicalParams() {
  CleanParams p;
  p.bWriteLog = true;
  p.bDeconvolute = true;
  p.dDeconvThreshold = 90.0;
  p.bDeisotope = true;
  p.dDeisotopFilterWidth = 0.5;
  p.dDeisotopThreshold = 50.0;
  p.bRemoveNoise = false;
  p.dNoiseThreshold = 30.0;
  p.bCheckSeqTags = false;
  p.nSeqTagLength = 3;
  p.nBadSpectraAction = 1;
  p.bSoftBadSpectra = false;
  p.dEquidistantStep = 0.05;
  p.bMergePeaks = false;
  p.dMergeSpacing = 0.3;
  p.nMedianFilter = 3;
  p.nMaxPeriodicity = 25;
  p.nBandStopFrequency = 2;
  p.dMassTolerance = 0.5;
  p.nSeqLadderIntensity = 10;
  // Not printed.
  p.bMergeOutput = true;
  p.bSkipCleaning = true;
  p.bExportBad = true;
  p.strOutputFolder = "/nowhere/";
  return p;
}

// Runs the dump into a fresh file and answers what it wrote.
std::string Dump(CleanParams p) {
  TempDir dir;
  CStdioFile log;
  EXPECT_TRUE(log.Open(dir.File("log.txt"), CStdioFile::modeCreate | CStdioFile::modeWrite));
  p.pLogFile = &log;
  DumpCleanParams(p);
  log.Close();
  return ReadFile(dir.File("log.txt"));
}

TEST(DumpCleanParams, WritesTheNineteenLinesInTheirOrder) {
  EXPECT_EQ(Dump(TypicalParams()),
            "\nRuntime Parameters:\n\n"
            "         multi-charge deconvolution = true\n"
            "            deconvolution threshold = 90.00\n"
            "                       de-isotoping = true\n"
            "             de-isotop filter width = 0.50\n"
            "                de-isotop threshold = 50.00\n"
            "               random noise removal = false\n"
            "             random noise threshold = 30.00\n"
            "                check sequence tags = false\n"
            "               sequence tags length = 3\n"
            " bad spectra: leave/delete/separate = separate\n"
            "         soft bad-spectra detection = false\n"
            "                   make equidistant = 0.05\n"
            "                        merge peaks = false\n"
            "                merge peaks spacing = 0.30\n"
            "                      median filter = 3\n"
            "     max power spectrum periodicity = 25\n"
            "                band stop frequency = 0.7\n"
            "                     mass tolerance = 0.50\n"
            "          sequence ladder intensity = 10\n");
}

// The line of one label in a dump.
std::string LineOf(const std::string& dump, const std::string& label) {
  const auto at = dump.find(label + " = ");
  if (at == std::string::npos) return {};
  const auto start = dump.rfind('\n', at) + 1;
  return dump.substr(start, dump.find('\n', at) - start + 1);
}

struct ValueCase {
  int nBadSpectraAction;
  int nBandStopFrequency;
  const char* action;
  const char* band;
};

class DumpValueText : public ::testing::TestWithParam<ValueCase> {};

TEST_P(DumpValueText, PrintsSelectorsAsTextOrUndefined) {
  CleanParams p = TypicalParams();
  p.nBadSpectraAction = GetParam().nBadSpectraAction;
  p.nBandStopFrequency = GetParam().nBandStopFrequency;
  const std::string dump = Dump(p);
  EXPECT_EQ(LineOf(dump, "bad spectra: leave/delete/separate"),
            std::string(" bad spectra: leave/delete/separate = ") + GetParam().action + "\n");
  EXPECT_EQ(LineOf(dump, "band stop frequency"),
            std::string("                band stop frequency = ") + GetParam().band + "\n");
}

INSTANTIATE_TEST_SUITE_P(Selectors, DumpValueText,
                         ::testing::Values(ValueCase{0, 0, "leave", "0.5"},
                                           ValueCase{1, 1, "separate", "0.6"},
                                           ValueCase{2, 3, "delete", "0.8"},
                                           ValueCase{3, 4, "<undefined>", "0.9"},
                                           ValueCase{-1, 5, "<undefined>", "<undefined>"},
                                           ValueCase{1, -1, "separate", "<undefined>"}));

TEST(DumpCleanParams, NegativeAndRoundedNumbers) {
  CleanParams p = TypicalParams();
  p.dMassTolerance = -0.005;  // rounds to -0.01 by printf's rule on the binary value
  p.nMedianFilter = -7;
  p.dMergeSpacing = 2.675;
  const std::string dump = Dump(p);
  EXPECT_EQ(LineOf(dump, "mass tolerance"), "                     mass tolerance = -0.01\n");
  EXPECT_EQ(LineOf(dump, "median filter"), "                      median filter = -7\n");
  EXPECT_EQ(LineOf(dump, "merge peaks spacing"), "                merge peaks spacing = 2.67\n");
}

TEST(DumpCleanParams, CutsANumberTextAt63Characters) {
  CleanParams p = TypicalParams();
  p.dDeconvThreshold = 1e80;  // 81 digits, a point and two decimals
  const std::string line = LineOf(Dump(p), "deconvolution threshold");
  const std::string full = Format("%.2f", 1e80);
  ASSERT_GT(full.size(), 63u);
  EXPECT_EQ(line, "            deconvolution threshold = " + full.substr(0, 63) + "\n");
}

TEST(CleanParams, CopySharesTheFileListButNotTheField) {
  CleanFileList list;
  list.lstFiles = {"a.mgf"};
  CleanParams first = TypicalParams();
  first.pFileList = &list;
  CleanParams copy = first;
  EXPECT_EQ(copy.pFileList, &list);
  EXPECT_EQ(copy.strOutputFolder, "/nowhere/");
  CleanFileList other;
  copy.pFileList = &other;
  copy.strOutputFolder = "/elsewhere/";
  EXPECT_EQ(first.pFileList, &list);
  EXPECT_EQ(first.strOutputFolder, "/nowhere/");
}

TEST(RunLog, RuleIsOnePieceWith63Dashes) {
  TempDir dir;
  CStdioFile log;
  ASSERT_TRUE(log.Open(dir.File("log.txt"), CStdioFile::modeCreate | CStdioFile::modeWrite));
  CleanParams p;
  p.bWriteLog = true;
  p.pLogFile = &log;
  WriteLogRule(p, "spectrum=12");
  WriteLogRule(p, "");
  log.Close();
  const std::string dashes(63, '-');
  EXPECT_EQ(ReadFile(dir.File("log.txt")),
            "\n" + dashes + "\nspectrum=12\n" + "\n" + dashes + "\n\n");
}

TEST(RunLog, NothingIsWrittenWithoutBWriteLogNotEvenToANullLog) {
  CleanParams p;
  p.bWriteLog = false;
  p.pLogFile = nullptr;
  EXPECT_NO_THROW(WriteLogHead(p));
  EXPECT_NO_THROW(WriteLogRule(p, "x"));
  EXPECT_NO_THROW(WriteLog(p, "x"));
}

TEST(RunLog, HeadIsTitleThenDump) {
  TempDir dir;
  CStdioFile log;
  ASSERT_TRUE(log.Open(dir.File("log.txt"), CStdioFile::modeCreate | CStdioFile::modeWrite));
  CleanParams p = TypicalParams();
  p.pLogFile = &log;
  WriteLogHead(p);
  log.Close();
  const std::string text = ReadFile(dir.File("log.txt"));
  EXPECT_EQ(text.rfind("Peltrix Log File\n\nRuntime Parameters:\n\n", 0), 0u);
  EXPECT_EQ(text.size(), std::string("Peltrix Log File\n").size() + Dump(TypicalParams()).size());
}

TEST(RunLog, AFailingHeadShowsOneErrorBoxAndGoesOn) {
  test::RecordingReporter boxes;
  CStdioFile closed;  // never opened: every write fails
  CleanParams p = TypicalParams();
  p.pLogFile = &closed;
  EXPECT_NO_THROW(WriteLogHead(p));
  ASSERT_EQ(boxes.boxes.size(), 1u);
  EXPECT_EQ(boxes.boxes[0].kind, BoxKind::Error);
  EXPECT_EQ(boxes.boxes[0].text, "Couldn't write to the Log File");
  // The pieces after the head have no guard of their own.
  EXPECT_THROW(WriteLogRule(p, "x"), CFileException);
}

TEST(RunLog, StopRequestedPostsCancelledOnlyWhenSignalled) {
  test::RecordingWindow window;
  CEvent cancel;
  CleanParams p;
  p.hProgressWnd = &window;
  p.pCancelEvent = &cancel;
  EXPECT_FALSE(StopRequested(p));
  EXPECT_TRUE(window.messages.empty());
  cancel.Set();
  EXPECT_TRUE(StopRequested(p));
  ASSERT_EQ(window.messages.size(), 1u);
  EXPECT_EQ(window.messages[0], (test::RecordingWindow::Message{PM_CANCELLED, 0, "", true}));
  // The engine never resets the event.
  EXPECT_TRUE(cancel.IsSignalled());
}

}  // namespace
}  // namespace orvane
