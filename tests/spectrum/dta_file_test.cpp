#include "spectrum/dta_file.h"

#include <gtest/gtest.h>

#include "support/test_support.h"

namespace orvane {
namespace {

using test::ReadFile;
using test::RecordingReporter;
using test::TempDir;
using test::WriteFile;

std::string Export(const Dta& d) {
  TempDir dir;
  EXPECT_EQ(ExportDta(dir.File("x.dta").c_str(), &d), S_OK);
  return ReadFile(dir.File("x.dta"));
}

TEST(ExportDta, WritesHeaderAndPeaksWithTheirFormats) {
  Dta d;
  d.dMass = 999.0;
  d.nCharge = 2;
  d.AddPeak(100.0, 5.0);
  d.AddPeak(200.5, 1000.25);
  EXPECT_EQ(Export(d), "999.000000 2\n100.000 5.000\n200.500 1000.250");
}

TEST(ExportDta, TheNewlineRuleLooksAtTheIndex) {
  Dta d;
  d.dMass = 500.0;
  d.nCharge = 1;
  d.AddPeak(100.0, 5.0);
  d.AddPeak(200.0, 0.0);
  // The zero peak is not written, and the line before it keeps its newline.
  EXPECT_EQ(Export(d), "500.000000 1\n100.000 5.000\n");
  Dta leadingZero;
  leadingZero.AddPeak(100.0, 0.0);
  leadingZero.AddPeak(200.0, 7.0);
  EXPECT_EQ(Export(leadingZero), "0.000000 0\n200.000 7.000");
}

TEST(ExportDta, NoPeaksIsTheHeaderAlone) {
  Dta d;
  d.dMass = 1234.5678901;
  d.nCharge = 3;
  EXPECT_EQ(Export(d), "1234.567890 3\n");
}

TEST(ExportDta, RoundsToThreeAndSixDecimals) {
  Dta d;
  d.dMass = 0.1234567;
  d.nCharge = -1;
  d.AddPeak(123.45678, 0.0004);
  d.AddPeak(1e7, -2.5);
  EXPECT_EQ(Export(d), "0.123457 -1\n123.457 0.000\n10000000.000 -2.500");
}

TEST(ExportDta, AFolderThatIsMissingFailsWithAReport) {
  RecordingReporter boxes;
  Dta d;
  EXPECT_EQ(ExportDta("/nonexistent-folder/x.dta", &d), E_UNEXPECTED);
  ASSERT_EQ(boxes.boxes.size(), 1u);
  EXPECT_EQ(boxes.boxes[0].kind, BoxKind::FileError);
}

struct ImportCase {
  const char* name;
  const char* content;
  double mass;
  int charge;
  std::vector<std::pair<double, double>> peaks;
};

class ImportDtaQuirks : public testing::TestWithParam<ImportCase> {};

TEST_P(ImportDtaQuirks, ReadsAsTheFormatSays) {
  const auto& c = GetParam();
  TempDir dir;
  const std::string path = dir.File("s.1.1.2.dta");
  WriteFile(path, c.content);
  Dta d;
  d.AddPeak(1, 1);  // the import clears first
  ASSERT_EQ(ImportDta(path.c_str(), &d), S_OK);
  EXPECT_EQ(d.dMass, c.mass);
  EXPECT_EQ(d.nCharge, c.charge);
  ASSERT_EQ(d.GetPeakCount(), c.peaks.size());
  for (unsigned i = 0; i < c.peaks.size(); ++i) {
    EXPECT_EQ(d.GetMass(i), c.peaks[i].first);
    EXPECT_EQ(d.GetIntensity(i), c.peaks[i].second);
  }
  EXPECT_EQ(d.strTitle, "s.1.1.2.dta");
  EXPECT_EQ(d.strPath, dir.Folder());
}

INSTANTIATE_TEST_SUITE_P(
    Cases, ImportDtaQuirks,
    testing::Values(
        ImportCase{"empty", "", 0.0, 0, {}},
        ImportCase{"plain", "999.0 2\n100.5 5\n200 7", 999.0, 2, {{100.5, 5}, {200, 7}}},
        // A blank first line is the header: the second line is then a peak.
        ImportCase{"blankFirstLine", "\n999.0 2\n100 5\n", 0.0, 0, {{999.0, 2}, {100, 5}}},
        // Mass and charge go together: a zero in either rejects both.
        ImportCase{"zeroCharge", "999.0 0\n100 5\n", 0.0, 0, {{100, 5}}},
        ImportCase{"zeroMass", "0 2\n100 5\n", 0.0, 0, {{100, 5}}},
        ImportCase{"zeroPeaks", "999 2\n0 5\n100 0\n", 999.0, 2, {}},
        ImportCase{"trailingText", "999 2\n100 5 extra words\n", 999.0, 2, {{100, 5}}},
        ImportCase{"letters", "999 2\nabc def\n100 5\nx1 2\n", 999.0, 2, {{100, 5}}},
        ImportCase{"halfLine", "999 2\n100\n200 7\n", 999.0, 2, {{200, 7}}},
        ImportCase{"crlf", "999.5 3\r\n100 5\r\n200 7\r\n", 999.5, 3, {{100, 5}, {200, 7}}},
        ImportCase{"headerOnly", "500 1", 500.0, 1, {}}),
    [](const auto& info) { return info.param.name; });

TEST(ImportDta, ALongLineIsReadInPiecesOf254) {
  TempDir dir;
  const std::string path = dir.File("long.dta");
  // 300 characters: the number, then blanks, then a second number at 260 that
  // lands in the second read and becomes a peak line of its own.
  std::string line = "100.5 7";
  line += std::string(260 - line.size(), ' ');
  line += "300 9";
  line += std::string(300 - line.size(), ' ');
  WriteFile(path, "999 2\n" + line + "\n400 1\n");
  Dta d;
  ASSERT_EQ(ImportDta(path.c_str(), &d), S_OK);
  ASSERT_EQ(d.GetPeakCount(), 3u);
  EXPECT_EQ(d.GetMass(0), 100.5);
  EXPECT_EQ(d.GetMass(1), 300.0);
  EXPECT_EQ(d.GetMass(2), 400.0);
}

// The modern dialect checks the values at the door. "F" in a message stands
// for the file's path.
struct ModernDtaCase {
  const char* name;
  std::string content;
  HRESULT hr;
  double mass;
  int charge;
  std::vector<std::pair<double, double>> peaks;
  std::vector<std::string> messages;
};

const ModernDtaCase kModernDtaCases[] = {
    {"IntensityZeroIsKept", "999.0 2\n100.5 5\n200 0\n", S_OK, 999.0, 2, {{100.5, 5}, {200, 0}}, {}},
    {"UnusablePeaksLeftOutAndTheRestSorted",
     "\n999 2\n300 3\n100 1\nnan 2\n-1 5\n150 -2\n100001 1\n1.5e+02 7\n100\nabc def\n\n",
     S_OK,
     999.0,
     2,
     {{100, 1}, {150, 7}, {300, 3}},
     {"warning: F: line 2: spectrum \"s.dta\": 6 peaks with an unusable m/z or intensity left out"}},
    {"ChargeZeroIsUnknownAndKeepsTheMass", "999.5 0\r\n100 5\r\n", S_OK, 999.5, 0, {{100, 5}}, {}},
    {"AWholeLineIsOnePeak", "999 2\n100.5 7" + std::string(260, ' ') + "300 9\n400 1", S_OK, 999.0, 2,
     {{100.5, 7}, {400, 1}}, {}},
    {"NegativeChargeIsRefused", "999 -2\n100 5\n", E_FAIL, 0, 0, {},
     {"error: F: line 1: spectrum \"s.dta\": the charge -2 is not one a spectrum can have (1 to 100); the "
      "spectrum is left out"}},
    {"ChargeAbove100IsRefused", "999 101\n", E_FAIL, 0, 0, {},
     {"error: F: line 1: spectrum \"s.dta\": the charge 101 is not one a spectrum can have (1 to 100); the "
      "spectrum is left out"}},
    {"AnEmptyFileIsRefused", "", E_FAIL, 0, 0, {},
     {"error: F: line 1: spectrum \"s.dta\": no precursor mass (MH+); the spectrum is left out"}},
    {"MassZeroIsRefused", "0 2\n100 5\n", E_FAIL, 0, 0, {},
     {"error: F: line 1: spectrum \"s.dta\": the precursor mass (MH+) 0 is unusable; the spectrum is left out"}},
    {"InfiniteMassIsRefused", "inf 2\n", E_FAIL, 0, 0, {},
     {"error: F: line 1: spectrum \"s.dta\": the precursor mass (MH+) inf is unusable; the spectrum is left "
      "out"}},
    {"ALineTooLongIsAReadError", "999 2\n" + std::string(70000, '1') + "\n", E_UNEXPECTED, 0, 0, {},
     {"file error: F: line 2: a line longer than 65536 characters; the file is not read."}},
};

class ImportModernDta : public testing::TestWithParam<ModernDtaCase> {};

TEST_P(ImportModernDta, ChecksTheValuesAtTheDoor) {
  const auto& c = GetParam();
  TempDir dir;
  const std::string path = dir.File("s.dta");
  WriteFile(path, c.content);
  RecordingReporter boxes;
  Dta d;
  ASSERT_EQ(ImportDta(path.c_str(), &d, MgfDialect::Modern), c.hr);
  std::vector<std::string> messages;
  for (const auto& box : boxes.boxes) messages.push_back(std::string(BoxKindName(box.kind)) + ": " + box.text);
  std::vector<std::string> expected;
  for (std::string m : c.messages) expected.push_back(m.replace(m.find("F: "), 1, path));
  EXPECT_EQ(messages, expected);
  if (c.hr != S_OK) return;
  EXPECT_EQ(d.dMass, c.mass);
  EXPECT_EQ(d.nCharge, c.charge);
  std::vector<std::pair<double, double>> peaks;
  for (unsigned i = 0; i < d.GetPeakCount(); ++i) peaks.emplace_back(d.GetMass(i), d.GetIntensity(i));
  EXPECT_EQ(peaks, c.peaks);
}

INSTANTIATE_TEST_SUITE_P(Cases, ImportModernDta, testing::ValuesIn(kModernDtaCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(ImportDta, AMissingFileKeepsTitleAndPathAndReports) {
  RecordingReporter boxes;
  TempDir dir;
  Dta d;
  EXPECT_EQ(ImportDta(dir.File("gone.dta").c_str(), &d), E_UNEXPECTED);
  EXPECT_EQ(d.strTitle, "gone.dta");
  EXPECT_EQ(d.strPath, dir.Folder());
  ASSERT_EQ(boxes.boxes.size(), 1u);
  EXPECT_EQ(boxes.boxes[0].kind, BoxKind::FileError);
}

TEST(ImportDta, AQuotedPathGivesCleanNamesButOpensAsGiven) {
  RecordingReporter boxes;
  TempDir dir;
  WriteFile(dir.File("a.dta"), "999 2\n");
  Dta d;
  const std::string quoted = "\"" + dir.File("a.dta") + "\" ";
  EXPECT_EQ(ImportDta(quoted.c_str(), &d), E_UNEXPECTED);
  EXPECT_EQ(d.strTitle, "a.dta");
  EXPECT_EQ(d.strPath, dir.Folder());
}

TEST(DtaFiles, RoundTripKeepsThreeAndSixDecimals) {
  TempDir dir;
  Dta d;
  d.dMass = 1001.123456789;
  d.nCharge = 2;
  d.AddPeak(101.23456, 10.98765);
  d.AddPeak(202.5, 3.0);
  ASSERT_EQ(ExportDta(dir.File("r.dta").c_str(), &d), S_OK);
  Dta back;
  ASSERT_EQ(ImportDta(dir.File("r.dta").c_str(), &back), S_OK);
  EXPECT_DOUBLE_EQ(back.dMass, 1001.123457);
  EXPECT_DOUBLE_EQ(back.GetMass(0), 101.235);
  EXPECT_DOUBLE_EQ(back.GetIntensity(0), 10.988);
  EXPECT_EQ(back.GetPeakCount(), 2u);
}

}  // namespace
}  // namespace orvane
