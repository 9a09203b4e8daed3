// The modern MGF dialect: whole titles, header lines, charge lists and the
// precursor intensity of today's converters; whole files as they really are
// (blocks without END IONS, file parameters, values checked at the door, read
// errors that name their line).
#include <gtest/gtest.h>

#include "spectrum/mgf_test_util.h"
#include "platform/reporter.h"

namespace orvane {
namespace {

using mgftest::Blocks;
using mgftest::PeakList;
using mgftest::Peaks;
using mgftest::ReadAll;
using mgftest::Write;

constexpr MgfDialect kClassic = MgfDialect::Classic;
constexpr MgfDialect kModern = MgfDialect::Modern;

// A block as msconvert writes it.
const char* const kMsconvertBlock =
    "BEGIN IONS\n"
    "TITLE=spectrum=2442\n"
    "RTINSECONDS=1503.96167\n"
    "PEPMASS=457.723968505859 3284441.75\n"
    "CHARGE=2+\n"
    "147.2906036 3.427359581\n"
    "166.3394165 3.5819835663\n"
    "172.2393799 0\n"
    "END IONS\n";

TEST(ModernMgf, ReadsAnMsconvertBlockWhole) {
  const auto blocks = Blocks(kMsconvertBlock, kModern);
  ASSERT_EQ(blocks.size(), 1u);
  const Dta& d = blocks[0];
  EXPECT_EQ(d.strTitle, "spectrum=2442");
  EXPECT_EQ(d.vHeaderLines, std::vector<std::string>{"RTINSECONDS=1503.96167"});
  EXPECT_DOUBLE_EQ(d.dMass, 457.723968505859);
  EXPECT_DOUBLE_EQ(d.dPrecursorIntensity, 3284441.75);
  EXPECT_EQ(d.nCharge, 2);
  EXPECT_EQ(d.GetChargeSign(), '+');
  // No peak at mass 0.0 from the header line.
  EXPECT_EQ(Peaks(d), (PeakList{{147.2906036, 3.427359581}, {166.3394165, 3.5819835663}, {172.2393799, 0.0}}));
}

TEST(ModernMgf, TheSameBlockReadClassicIsTheClassicResult) {
  const auto blocks = Blocks(kMsconvertBlock, kClassic);
  ASSERT_EQ(blocks.size(), 1u);
  const Dta& d = blocks[0];
  EXPECT_EQ(d.strTitle, "spectrum");
  EXPECT_TRUE(d.vHeaderLines.empty());
  EXPECT_EQ(d.dPrecursorIntensity, 0.0);
  EXPECT_DOUBLE_EQ(d.dMass, 457.723968505859);
  EXPECT_EQ(d.nCharge, 2);
  EXPECT_EQ(Peaks(d), (PeakList{{0.0, 1503.96167},
                                {147.2906036, 3.427359581},
                                {166.3394165, 3.5819835663},
                                {172.2393799, 0.0}}));
}

TEST(ModernMgf, WritesTheBlockBackWithItsTitleHeadersAndPeaks) {
  const auto blocks = Blocks(kMsconvertBlock, kModern);
  ASSERT_EQ(blocks.size(), 1u);
  const std::string written = Write(blocks, kModern);
  EXPECT_EQ(written,
            "\nBEGIN IONS\n"
            "TITLE=spectrum=2442\n"
            "CHARGE=2+\n"
            "PEPMASS=457.723968505859 3284441.75\n"
            "RTINSECONDS=1503.96167\n"
            "147.2906036 3.427359581\n"
            "166.3394165 3.5819835663\n"
            "END IONS\n");
  // And that reads back to the same spectrum, to the precision written.
  const auto again = Blocks(written, kModern);
  ASSERT_EQ(again.size(), 1u);
  EXPECT_EQ(again[0].strTitle, "spectrum=2442");
  EXPECT_EQ(again[0].vHeaderLines, blocks[0].vHeaderLines);
  EXPECT_EQ(again[0].dPrecursorIntensity, 3284441.75);
  EXPECT_EQ(Write(again, kModern), written);
}

TEST(ModernMgf, KeepsLongTitlesWithBlanksQuotesAndEquals) {
  const std::string title =
      "SmallCalibratible_Yeast.2.2.2 File:\"SmallCalibratible_Yeast.raw\", "
      "NativeID:\"controllerType=0 controllerNumber=1 scan=2\"";
  const std::string longTitle = "x" + std::string(400, 'y') + " z";  // over two reads
  const auto blocks = Blocks("BEGIN IONS\nTITLE=" + title + "\nPEPMASS=500\nEND IONS\n" +
                                 "BEGIN IONS\nTITLE=" + longTitle + "\nPEPMASS=500\n1 2\nEND IONS\n",
                             kModern);
  ASSERT_EQ(blocks.size(), 2u);
  EXPECT_EQ(blocks[0].strTitle, title);
  EXPECT_EQ(blocks[1].strTitle, longTitle);
  EXPECT_EQ(Peaks(blocks[1]), (PeakList{{1.0, 2.0}}));
  // Classic reads the yeast title up to its first blank.
  EXPECT_EQ(Blocks("BEGIN IONS\nTITLE=" + title + "\nEND IONS\n", kClassic)[0].strTitle,
            "SmallCalibratible_Yeast.2.2.2");
}

TEST(ModernMgf, TrailingWhiteSpaceAndCarriageReturnsLeaveTheTitle) {
  const auto blocks =
      Blocks("BEGIN IONS\r\nTITLE=two words \t\r\r\nCHARGE=3+\r\nPEPMASS=500\r\nEND IONS\r\n", kModern);
  ASSERT_EQ(blocks.size(), 1u);
  EXPECT_EQ(blocks[0].strTitle, "two words");
  EXPECT_EQ(blocks[0].nCharge, 3);
}

struct ChargeCase {
  const char* line;
  int charge;
  char sign;
  std::vector<std::int32_t> charges;  // a list of two or more
};

class ModernCharge : public testing::TestWithParam<ChargeCase> {};

TEST_P(ModernCharge, TakesTheListAndTheFirstChargeWithItsSign) {
  const auto blocks =
      Blocks(std::string("BEGIN IONS\nPEPMASS=500\n") + GetParam().line + "\nEND IONS\n", kModern);
  ASSERT_EQ(blocks.size(), 1u);
  EXPECT_EQ(blocks[0].nCharge, GetParam().charge);
  EXPECT_EQ(blocks[0].GetChargeSign(), GetParam().sign);
  EXPECT_EQ(blocks[0].vCharges, GetParam().charges);
}

INSTANTIATE_TEST_SUITE_P(Lists, ModernCharge,
                         testing::Values(ChargeCase{"CHARGE=2+", 2, '+', {}},
                                         ChargeCase{"CHARGE=2+ and 3+", 2, '+', {2, 3}},
                                         ChargeCase{"CHARGE=3+,4+", 3, '+', {3, 4}},
                                         ChargeCase{"CHARGE=2,3", 2, '+', {2, 3}},
                                         ChargeCase{"CHARGE=3+ ", 3, '+', {}},
                                         ChargeCase{"CHARGE=2+ and 0", 2, '+', {}},
                                         ChargeCase{"CHARGE=2-", 2, '-', {}},
                                         ChargeCase{"CHARGE=4", 4, '+', {}},
                                         ChargeCase{"CHARGE=0", 0, '+', {}},
                                         ChargeCase{"CHARGE=", 0, '+', {}},
                                         ChargeCase{"CHARGE 2+", 2, '+', {}}));

TEST(ModernMgf, HeaderLinesAreKeptInOrderAndWordsAreNotPeaks) {
  const auto blocks = Blocks(
      "BEGIN IONS\n"
      "SCANS=2442\n"
      "TITLE=t\n"
      "  RAWSCANS=2440-2444  \n"
      "# a comment\n"
      "; another\n"
      "words without numbers\n"
      "SEQ=PEPTIDE\n"
      "_X=1\n"
      "A B=4\n"
      "100 5\n"
      "PEPMASS=612.5\n"
      "END IONS\n",
      kModern);
  ASSERT_EQ(blocks.size(), 1u);
  EXPECT_EQ(blocks[0].vHeaderLines,
            (std::vector<std::string>{"SCANS=2442", "RAWSCANS=2440-2444", "SEQ=PEPTIDE"}));
  EXPECT_EQ(Peaks(blocks[0]), (PeakList{{100.0, 5.0}}));
  EXPECT_DOUBLE_EQ(blocks[0].dMass, 612.5);
  EXPECT_EQ(blocks[0].dPrecursorIntensity, 0.0);
}

// A stored (uncompressed) gzip member of text whose length field promises
// more: the file is cut short right after the text.
std::string CutGzip(const std::string& text) {
  std::string out("\x1f\x8b\x08\x00\x00\x00\x00\x00\x00\xff", 10);
  const std::size_t promised = text.size() + 100;
  out += '\x01';  // the last block, stored
  out += static_cast<char>(promised & 0xff);
  out += static_cast<char>(promised >> 8);
  out += static_cast<char>(~promised & 0xff);
  out += static_cast<char>((~promised >> 8) & 0xff);
  return out + text;
}

// Whole files read in the modern dialect: the records read (as the modern
// writer writes them), every message, the spectra refused and how the
// reading ended. "F" in a message stands for the file's path.
struct FileCase {
  const char* name;
  std::string text;
  std::string written;
  std::vector<std::string> messages;
  unsigned refused;
  HRESULT end;
};

std::string Block(const std::string& lines) { return "\nBEGIN IONS\n" + lines + "END IONS\n"; }

const FileCase kFileCases[] = {
    {"BlocksWithoutEndIons",
     "BEGIN IONS\nTITLE=one\nPEPMASS=500\n100 1\n"
     "BEGIN IONS\nTITLE=two\nPEPMASS=600\n200 2\nEND IONS\n"
     "BEGIN IONS\nTITLE=three\nPEPMASS=700\n300 3\n",
     Block("TITLE=one\nPEPMASS=500.000000\n100 1\n") + Block("TITLE=two\nPEPMASS=600.000000\n200 2\n") +
         Block("TITLE=three\nPEPMASS=700.000000\n300 3\n"),
     {"warning: F: line 1: spectrum \"one\" has no END IONS; the block ends at line 4",
      "warning: F: line 10: spectrum \"three\" has no END IONS; the block ends at line 13"},
     0,
     S_FALSE},
    {"EndIonsWithoutABlock",
     "BEGIN IONS\nTITLE=a\nPEPMASS=500\nEND IONS\nBEGIN ION\nTITLE=b\nPEPMASS=500\n100 1\nEND IONS\n",
     Block("TITLE=a\nPEPMASS=500.000000\n"),
     {"warning: F: line 9: END IONS without a BEGIN IONS; the lines before it are not read as a spectrum"},
     0,
     S_FALSE},
    {"FileParametersForEveryBlock",
     "CHARGE=3+\nTOL=10\nTOLU=ppm\nCOM=a search\n"
     "BEGIN IONS\nTITLE=a\nPEPMASS=500\nEND IONS\n"
     "BEGIN IONS\nTITLE=b\nCHARGE=2+\nTOL=5\nPEPMASS=500\nEND IONS\n"
     "CHARGE=4+\n"
     "BEGIN IONS\nTITLE=c\nCHARGE=0\nPEPMASS=500\nEND IONS\n",
     Block("TITLE=a\nCHARGE=3+\nPEPMASS=500.000000\nTOL=10\nTOLU=ppm\n") +
         Block("TITLE=b\nCHARGE=2+\nPEPMASS=500.000000\nTOLU=ppm\nTOL=5\n") +
         Block("TITLE=c\nCHARGE=3+\nPEPMASS=500.000000\nTOL=10\nTOLU=ppm\n"),
     {},
     0,
     S_FALSE},
    {"PeaksAtTheDoor",
     "BEGIN IONS\nTITLE=p\nPEPMASS=500\n300 3\nnan 5\n100 inf\n-5 1\n0 1\n150 -1\n100001 1\n200 0\n"
     "1.5e+02 7\n100\n2X=3\n100 1\n# comment\nwords\nEND IONS\n",
     // Sorted by m/z with their own text; 200 0 is kept but not written.
     Block("TITLE=p\nPEPMASS=500.000000\n100 1\n1.5e+02 7\n300 3\n"),
     {"warning: F: line 1: spectrum \"p\": 8 peaks with an unusable m/z or intensity left out"},
     0,
     S_FALSE},
    {"RefusedSpectraAndTheReadGoesOn",
     "BEGIN IONS\nTITLE=a\nCHARGE=-2\nEND IONS\n"
     "BEGIN IONS\nTITLE=b\nCHARGE=2+ and 101+\nEND IONS\n"
     "BEGIN IONS\nTITLE=c\nCHARGE=2+\nEND IONS\n"
     "BEGIN IONS\nTITLE=d\nPEPMASS=0\nEND IONS\n"
     "BEGIN IONS\nTITLE=e\nPEPMASS=nan\nEND IONS\n"
     "BEGIN IONS\nTITLE=f\nPEPMASS=500 nan\nEND IONS\n"
     "BEGIN IONS\nTITLE=g\nCHARGE=2-\nPEPMASS=-500 1e3\nEND IONS\n"
     "BEGIN IONS\nTITLE=h\nCHARGE=2-\nPEPMASS=500 1e3\nEND IONS\n",
     Block("TITLE=f\nPEPMASS=500.000000\n") + Block("TITLE=h\nCHARGE=2-\nPEPMASS=500.000000 1000\n"),
     {"error: F: line 1: spectrum \"a\": the charge -2 is not one a spectrum can have (1 to 100); "
      "the spectrum is left out",
      "error: F: line 5: spectrum \"b\": the charge 101+ is not one a spectrum can have (1 to 100); "
      "the spectrum is left out",
      "error: F: line 9: spectrum \"c\": no precursor m/z (PEPMASS); the spectrum is left out",
      "error: F: line 13: spectrum \"d\": the precursor m/z 0 is unusable; the spectrum is left out",
      "error: F: line 17: spectrum \"e\": the precursor m/z nan is unusable; the spectrum is left out",
      "warning: F: line 21: spectrum \"f\": the precursor intensity nan is unusable and left out",
      "error: F: line 25: spectrum \"g\": the precursor m/z -500 is unusable; the spectrum is left out"},
     6,
     S_FALSE},
    {"ALineTooLongEndsTheFileFailed",
     "BEGIN IONS\nTITLE=a\nPEPMASS=500\nEND IONS\nBEGIN IONS\nTITLE=" + std::string(70000, 'x') +
         "\nPEPMASS=500\nEND IONS\n",
     Block("TITLE=a\nPEPMASS=500.000000\n"),
     {"file error: F: line 6: a line longer than 65536 characters; the rest of the file is not read."},
     0,
     E_FAIL},
    {"ACutGzipFileEndsFailedNamingTheLine",
     CutGzip("BEGIN IONS\nTITLE=a\nPEPMASS=500\nEND IONS\nBEGIN IONS\nTITLE=b\n"),
     Block("TITLE=a\nPEPMASS=500.000000\n"),
     {"file error: Cannot access file F: its gzip data ends early, after 59 bytes of content (the file "
      "is cut short). The reading stopped in line 7; the rest of the file is not read."},
     0,
     E_FAIL},
};

class ModernFile : public testing::TestWithParam<FileCase> {};

TEST_P(ModernFile, ReadsAsTheFileIs) {
  const FileCase& c = GetParam();
  test::TempDir dir;
  const std::string path = dir.File("in.mgf");
  test::WriteFile(path, c.text);
  test::RecordingReporter boxes;
  CStdioFile file;
  ASSERT_TRUE(file.Open(path, CStdioFile::modeRead));
  MgfReader reader(file, kModern);
  std::vector<Dta> read;
  HRESULT hr = S_OK;
  for (Dta d; (hr = reader.Next(&d)) == S_OK;) read.push_back(d);
  EXPECT_EQ(hr, c.end);
  EXPECT_EQ(reader.Next(&read.emplace_back()), c.end);  // and stays so
  read.pop_back();
  EXPECT_EQ(reader.Refused(), c.refused);
  EXPECT_EQ(Write(read, kModern), c.written);
  std::vector<std::string> messages;
  for (const auto& box : boxes.boxes) messages.push_back(std::string(BoxKindName(box.kind)) + ": " + box.text);
  std::vector<std::string> expected;
  for (std::string m : c.messages) {
    for (std::size_t at = 0; (at = m.find("F: ", at)) != std::string::npos; at += path.size())
      m.replace(at, 1, path);
    expected.push_back(m);
  }
  EXPECT_EQ(messages, expected);
}

INSTANTIATE_TEST_SUITE_P(Cases, ModernFile, testing::ValuesIn(kFileCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(ModernMgf, ImportMgfCallsShareTheReadingOfTheirFile) {
  // File parameters, a block without END IONS, and the count of refused
  // spectra carry from one call to the next.
  test::TempDir dir;
  test::WriteFile(dir.File("in.mgf"),
                  "CHARGE=3+\nBEGIN IONS\nTITLE=a\nPEPMASS=500\n"
                  "BEGIN IONS\nTITLE=b\nEND IONS\nBEGIN IONS\nTITLE=c\nPEPMASS=600\nEND IONS\n");
  test::RecordingReporter boxes;
  CStdioFile file;
  ASSERT_TRUE(file.Open(dir.File("in.mgf"), CStdioFile::modeRead));
  Dta d;
  ASSERT_EQ(ImportMgf(&file, &d, kModern), S_OK);
  EXPECT_EQ(d.strTitle, "a");
  ASSERT_EQ(ImportMgf(&file, &d, kModern), S_OK);
  EXPECT_EQ(d.strTitle, "c");
  EXPECT_EQ(d.nCharge, 3);
  EXPECT_EQ(ImportMgf(&file, &d, kModern), S_FALSE);
  const MgfReader reader(file, kModern);
  EXPECT_EQ(reader.Refused(), 1u);
  EXPECT_EQ(reader.BlockLine(), 8u);
  EXPECT_EQ(boxes.boxes.size(), 2u);
}

TEST(ModernMgf, WritesChargeAndPrecursorIntensityOnlyWhenKnown) {
  Dta d;
  d.strTitle = "scan 7";
  d.dMass = 500.25;
  d.AddPeak(100.0, 5.0);
  EXPECT_EQ(Write({d}, kModern),
            "\nBEGIN IONS\nTITLE=scan 7\nPEPMASS=500.250000\n100.00000 5\nEND IONS\n");
  d.nCharge = 3;
  d.cChargeSign = '-';
  d.dPrecursorIntensity = 1e6;
  d.vHeaderLines = {"RTINSECONDS=12.5", "SCANS=7"};
  EXPECT_EQ(Write({d}, kModern, "from.mgf"),
            "\n# from.mgf \n\nBEGIN IONS\nTITLE=scan 7\nCHARGE=3-\nPEPMASS=500.250000 1000000\n"
            "RTINSECONDS=12.5\nSCANS=7\n100.00000 5\nEND IONS\n");
}

TEST(ModernMgf, ThePrecursorIntensityIsWrittenLosslessly) {
  for (double intensity : {3284441.75, 0.1, 1.0 / 3.0, 123456789012.0, 2.5e-7}) {
    Dta d;
    d.dMass = 500.25;
    d.dPrecursorIntensity = intensity;
    const auto back = Blocks(Write({d}, kModern), kModern);
    ASSERT_EQ(back.size(), 1u);
    EXPECT_EQ(back[0].dPrecursorIntensity, intensity);
  }
}

}  // namespace
}  // namespace orvane
