// The classic MGF reader: three tags, every other line of a block a peak.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdlib>
#include <random>

#include "platform/format.h"
#include "spectrum/mgf_test_util.h"

namespace orvane {
namespace {

using mgftest::Blocks;
using mgftest::PeakList;
using mgftest::Peaks;
using mgftest::ReadAll;
using test::RecordingReporter;
using test::TempDir;
using test::WriteFile;

constexpr MgfDialect kClassic = MgfDialect::Classic;

TEST(ImportMgf, AFileWithoutBlocksIsTheEndAtOnceAndLeavesTheRecordAlone) {
  TempDir dir;
  WriteFile(dir.File("a.mgf"), "no blocks here\nEND IONS\n");
  CStdioFile file;
  ASSERT_TRUE(file.Open(dir.File("a.mgf"), CStdioFile::modeRead));
  Dta d;
  d.strTitle = "kept";
  d.AddPeak(1.0, 2.0);
  EXPECT_EQ(ImportMgf(&file, &d, kClassic), S_FALSE);
  EXPECT_EQ(d.strTitle, "kept");
  EXPECT_EQ(d.GetPeakCount(), 1u);
}

TEST(ImportMgf, TwoBlocksWithTextAroundThem) {
  const auto reads = ReadAll(
      "# written by hand\n"
      "\nBEGIN IONS\nTITLE=a.1.1.dta\nCHARGE=2+\nPEPMASS=500.250000\n"
      "100.000     5.000\n200.500  1000.250\nEND IONS\n"
      "some text between the blocks\n"
      "\n# second.mgf \n\nBEGIN IONS\nTITLE=b\nCHARGE=3\nPEPMASS=612.5\n300 7\nEND IONS\n"
      "trailing words\n",
      kClassic);
  ASSERT_EQ(reads.size(), 3u);
  EXPECT_EQ(reads[0].hr, S_OK);
  EXPECT_EQ(reads[1].hr, S_OK);
  EXPECT_EQ(reads[2].hr, S_FALSE);
  const Dta& a = reads[0].dta;
  EXPECT_EQ(a.strTitle, "a.1.1.dta");
  EXPECT_EQ(a.nCharge, 2);
  EXPECT_DOUBLE_EQ(a.dMass, 500.25);
  EXPECT_EQ(Peaks(a), (PeakList{{100.0, 5.0}, {200.5, 1000.25}}));
  EXPECT_EQ(a.GetChargeSign(), '+');
  const Dta& b = reads[1].dta;
  EXPECT_EQ(b.strTitle, "b");
  EXPECT_EQ(b.nCharge, 3);
  EXPECT_DOUBLE_EQ(b.dMass, 612.5);
  EXPECT_EQ(Peaks(b), (PeakList{{300.0, 7.0}}));
  EXPECT_EQ(reads[2].dta.GetPeakCount(), 0u);
}

// One line inside a block, and what it does to a cleared record.
struct LineCase {
  const char* name;
  const char* line;
  const char* title;
  int charge;
  double mass;
  PeakList peaks;
};

class ImportMgfLine : public testing::TestWithParam<LineCase> {};

TEST_P(ImportMgfLine, ReadsAsTheGrammarSays) {
  const LineCase& c = GetParam();
  const auto blocks = Blocks(std::string("BEGIN IONS\n") + c.line + "END IONS\n", kClassic);
  ASSERT_EQ(blocks.size(), 1u);
  EXPECT_EQ(blocks[0].strTitle, c.title);
  EXPECT_EQ(blocks[0].nCharge, c.charge);
  EXPECT_DOUBLE_EQ(blocks[0].dMass, c.mass);
  EXPECT_EQ(Peaks(blocks[0]), c.peaks);
  EXPECT_EQ(blocks[0].GetChargeSign(), '+');
}

INSTANTIATE_TEST_SUITE_P(
    Grammar, ImportMgfLine,
    testing::Values(
        LineCase{"TitleWithEquals", "TITLE=run1.2.2.2.dta\n", "run1.2.2.2.dta", 0, 0.0, {}},
        LineCase{"TitleWithBlanks", "TITLE  =  spaced\n", "spaced", 0, 0.0, {}},
        LineCase{"TitleEndsAtABlank", "TITLE=two words\n", "two", 0, 0.0, {}},
        LineCase{"TitleEndsAtEquals", "TITLE=spectrum=2442\n", "spectrum", 0, 0.0, {}},
        LineCase{"TitleEndsAtComma", "TITLE=a,b\n", "a", 0, 0.0, {}},
        LineCase{"TitleEndsAtPlus", "TITLE=a+b\n", "a", 0, 0.0, {}},
        LineCase{"TitleFileFirstInBlock", "TITLE=File: run17.raw, scan 12\n",
                 "run17.0.000000.0.dta", 0, 0.0, {}},
        LineCase{"ChargePlus", "CHARGE=2+\n", "", 2, 0.0, {}},
        LineCase{"ChargeMinusLeavesTheSign", "CHARGE=2-\n", "", 2, 0.0, {}},
        LineCase{"ChargeList", "CHARGE=2+ and 3+\n", "", 2, 0.0, {}},
        LineCase{"ChargeBlank", "CHARGE 3\n", "", 3, 0.0, {}},
        LineCase{"PepmassFirstNumberOnly", "PEPMASS=457.723968505859 3284441.75\n", "", 0,
                 457.723968505859, {}},
        LineCase{"PeakWithBlank", "100.5 7.25\n", "", 0, 0.0, {{100.5, 7.25}}},
        LineCase{"PeakWithTabAndLeadingBlanks", "  \t100.5\t7.25\n", "", 0, 0.0, {{100.5, 7.25}}},
        LineCase{"PeakWithComma", "100.5,7.25\n", "", 0, 0.0, {{100.5, 7.25}}},
        LineCase{"PeakThirdTokenIgnored", "100.5 7.25 2+\n", "", 0, 0.0, {{100.5, 7.25}}},
        LineCase{"PeakZeroIntensityStored", "100.5 0\n", "", 0, 0.0, {{100.5, 0.0}}},
        LineCase{"PeakReadLikeAtof", "1e3 0x10\n", "", 0, 0.0, {{1000.0, 16.0}}},
        LineCase{"PeakTextBehindANumber", "100.5abc 7x\n", "", 0, 0.0, {{100.5, 7.0}}},
        LineCase{"OtherTagIsAPeakAtZero", "RTINSECONDS=1503.96167\n", "", 0, 0.0,
                 {{0.0, 1503.96167}}},
        LineCase{"CommentOfWordsIsAPeakAtZero", "# a comment\n", "", 0, 0.0, {{0.0, 0.0}}},
        LineCase{"OneWordCommentIsSkipped", "#comment\n", "", 0, 0.0, {}},
        LineCase{"PeakOfOneTokenIsSkipped", "100.5\n", "", 0, 0.0, {}},
        LineCase{"OnlyDelimitersIsSkipped", " =,+\t\n", "", 0, 0.0, {}},
        LineCase{"EmptyTitleIsSkipped", "TITLE=\n", "", 0, 0.0, {}},
        LineCase{"EmptyChargeIsSkipped", "CHARGE=\n", "", 0, 0.0, {}},
        LineCase{"EmptyPepmassIsSkipped", "PEPMASS=\n", "", 0, 0.0, {}},
        LineCase{"FileWithNothingBehindIsSkipped", "TITLE=File:\n", "", 0, 0.0, {}},
        LineCase{"TagsAreCaseSensitive", "title=x 5\n", "", 0, 0.0, {{0.0, 0.0}}},
        LineCase{"EmptyLine", "\n", "", 0, 0.0, {}}),
    [](const testing::TestParamInfo<LineCase>& info) { return std::string(info.param.name); });

TEST(ImportMgf, FileTitleTakesTheMassAndChargeReadBeforeIt) {
  const auto blocks = Blocks(
      "BEGIN IONS\nPEPMASS=500.25\nCHARGE=2+\nTITLE=File: run17.raw, scan 12\n100 5\nEND IONS\n",
      kClassic);
  ASSERT_EQ(blocks.size(), 1u);
  EXPECT_EQ(blocks[0].strTitle, "run17.500.250000.2.dta");
}

TEST(ImportMgf, BeginIonsWithTextBehindItOpensABlock) {
  const auto blocks = Blocks("BEGIN IONS extra text\nTITLE=x\n1 2\nEND IONS\n", kClassic);
  ASSERT_EQ(blocks.size(), 1u);
  EXPECT_EQ(blocks[0].strTitle, "x");
}

TEST(ImportMgf, AMissingEndIonsRunsIntoTheNextBlock) {
  // The second BEGIN IONS is read as a peak line (0.0, 0.0) and the block goes on.
  const auto reads = ReadAll(
      "BEGIN IONS\nTITLE=first\n100 5\nBEGIN IONS\nTITLE=second\n200 6\nEND IONS\n", kClassic);
  ASSERT_EQ(reads.size(), 2u);
  EXPECT_EQ(reads[0].hr, S_OK);
  EXPECT_EQ(reads[0].dta.strTitle, "second");
  EXPECT_EQ(Peaks(reads[0].dta), (PeakList{{100.0, 5.0}, {0.0, 0.0}, {200.0, 6.0}}));
  EXPECT_EQ(reads[1].hr, S_FALSE);
}

TEST(ImportMgf, ATruncatedLastBlockIsTheEndWithWhatWasRead) {
  const auto reads = ReadAll("BEGIN IONS\nTITLE=a\n1 2\nEND IONS\nBEGIN IONS\nTITLE=cut\n3 4\n5", kClassic);
  ASSERT_EQ(reads.size(), 2u);
  EXPECT_EQ(reads[1].hr, S_FALSE);
  EXPECT_EQ(reads[1].dta.strTitle, "cut");
  EXPECT_EQ(Peaks(reads[1].dta), (PeakList{{3.0, 4.0}}));  // "5" alone is one token
}

TEST(ImportMgf, AnEmptyBlockIsOneSpectrumWithoutPeaks) {
  const auto reads = ReadAll("BEGIN IONS\nEND IONS\n", kClassic);
  ASSERT_EQ(reads.size(), 2u);
  EXPECT_EQ(reads[0].hr, S_OK);
  EXPECT_EQ(reads[0].dta.GetPeakCount(), 0u);
}

TEST(ImportMgf, TheRecordIsNotCleared) {
  TempDir dir;
  WriteFile(dir.File("a.mgf"),
            "BEGIN IONS\nTITLE=a\nCHARGE=2\nPEPMASS=300\n1 2\nEND IONS\nBEGIN IONS\n3 4\nEND IONS\n");
  CStdioFile file;
  ASSERT_TRUE(file.Open(dir.File("a.mgf"), CStdioFile::modeRead));
  Dta d;
  EXPECT_EQ(ImportMgf(&file, &d, kClassic), S_OK);
  EXPECT_EQ(ImportMgf(&file, &d, kClassic), S_OK);
  // The second block had no tags: the values of the first stand, peaks add up.
  EXPECT_EQ(d.strTitle, "a");
  EXPECT_EQ(d.nCharge, 2);
  EXPECT_DOUBLE_EQ(d.dMass, 300.0);
  EXPECT_EQ(Peaks(d), (PeakList{{1.0, 2.0}, {3.0, 4.0}}));
}

TEST(ImportMgf, CrLfReadsLikeLf) {
  const auto blocks =
      Blocks("BEGIN IONS\r\nTITLE=t\r\nCHARGE=2+\r\nPEPMASS=400.5\r\n100 5\r\nEND IONS\r\n", kClassic);
  ASSERT_EQ(blocks.size(), 1u);
  EXPECT_EQ(blocks[0].strTitle, "t");
  EXPECT_EQ(blocks[0].nCharge, 2);
  EXPECT_DOUBLE_EQ(blocks[0].dMass, 400.5);
  EXPECT_EQ(Peaks(blocks[0]), (PeakList{{100.0, 5.0}}));
}

TEST(ImportMgf, TheRestOfAnOverLongLineIsALineOfItsOwn) {
  // 254 characters a read: the first piece holds one peak, the rest another.
  const std::string longPeak = "100.5 7.25" + std::string(244, ' ') + "200.5 3.5\n";
  // A title of 300 characters keeps 248 of them; the remaining 52 are one
  // token, a peak line without an intensity, and are skipped.
  const std::string longTitle = "TITLE=" + std::string(300, 'a') + "\n";
  // A piece that starts with END IONS closes the block.
  const std::string endInside = std::string(254, '9') + "END IONS\n";
  const auto reads =
      ReadAll("BEGIN IONS\n" + longPeak + longTitle + endInside + "1 2\nEND IONS\n", kClassic);
  ASSERT_EQ(reads.size(), 2u);
  EXPECT_EQ(reads[0].hr, S_OK);
  EXPECT_EQ(reads[0].dta.strTitle, std::string(248, 'a'));
  EXPECT_EQ(Peaks(reads[0].dta), (PeakList{{100.5, 7.25}, {200.5, 3.5}}));
  EXPECT_EQ(reads[1].hr, S_FALSE);  // "1 2" stands outside a block now
}

// Numbers are read by a short way for plain decimals; every value must be
// the one atof gives, to the bit.
TEST(ImportMgf, NumbersReadAsAtofReadsThem) {
  std::vector<std::string> numbers = {"0",       "-0",        "1.",        ".5",        "-.5",
                                      "007.250", "0.1",       "0.3",       "1e5",       "2.5E-3",
                                      "0x1p3",   "inf",       "-infinity", "1.7976931348623157e308",
                                      "1e999",   "4.9e-324",  "1e-400",    "123456789012345",
                                      "1234567890123456", "12345678901234567890", "0.000000000000000000001",
                                      "0.00000000000000000000001", "9007199254740993",
                                      "457.723968505859", "3284441.75"};
  std::mt19937_64 random(7);
  std::uniform_real_distribution<double> mantissa(0.0, 1.0);
  std::uniform_int_distribution<int> digits(0, 12);
  std::uniform_int_distribution<int> magnitude(-3, 9);
  for (int i = 0; i < 3000; ++i) {
    const double v = mantissa(random) * std::pow(10.0, magnitude(random)) * (i % 3 == 0 ? -1 : 1);
    numbers.push_back(Format("%.*f", digits(random), v));
    numbers.push_back(Format("%.17g", v));
  }
  std::string text = "BEGIN IONS\n";
  for (const auto& n : numbers) text += n + " " + n + "\n";
  text += "END IONS\n";
  const auto blocks = Blocks(text, kClassic);
  ASSERT_EQ(blocks.size(), 1u);
  ASSERT_EQ(blocks[0].GetPeakCount(), numbers.size());
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    const double expected = std::atof(numbers[i].c_str());
    EXPECT_EQ(std::bit_cast<std::uint64_t>(blocks[0].GetMass(static_cast<unsigned>(i))),
              std::bit_cast<std::uint64_t>(expected))
        << numbers[i];
  }
}

TEST(CountMgfSpectra, CountsOnlyLinesThatAreExactlyBeginIons) {
  TempDir dir;
  WriteFile(dir.File("a.mgf"),
            "BEGIN IONS\nEND IONS\n"
            "BEGIN IONS extra\nEND IONS\n"
            " BEGIN IONS\n"
            "BEGIN IONS\r\nEND IONS\r\n"
            "begin ions\n"
            "BEGIN IONS");  // no line end: not counted
  EXPECT_EQ(CountMgfSpectra(dir.File("a.mgf").c_str()), 2u);
  WriteFile(dir.File("empty.mgf"), "");
  EXPECT_EQ(CountMgfSpectra(dir.File("empty.mgf").c_str()), 0u);
}

TEST(CountMgfSpectra, AFileThatCannotBeOpenedIsReportedAndCountsZero) {
  TempDir dir;
  RecordingReporter boxes;
  EXPECT_EQ(CountMgfSpectra(dir.File("missing.mgf").c_str()), 0u);
  ASSERT_EQ(boxes.Texts(BoxKind::FileError).size(), 1u);
  EXPECT_NE(boxes.Texts(BoxKind::FileError)[0].find("missing.mgf"), std::string::npos);
}

}  // namespace
}  // namespace orvane
