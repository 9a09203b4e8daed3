// The modern MGF dialect: whole titles, header lines, charge lists and the
// precursor intensity of today's converters.
#include <gtest/gtest.h>

#include "spectrum/mgf_test_util.h"

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
  const auto blocks = Blocks("BEGIN IONS\nTITLE=" + title + "\nEND IONS\n" +
                                 "BEGIN IONS\nTITLE=" + longTitle + "\n1 2\nEND IONS\n",
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
  const auto blocks = Blocks("BEGIN IONS\r\nTITLE=two words \t\r\r\nCHARGE=3+\r\nEND IONS\r\n", kModern);
  ASSERT_EQ(blocks.size(), 1u);
  EXPECT_EQ(blocks[0].strTitle, "two words");
  EXPECT_EQ(blocks[0].nCharge, 3);
}

struct ChargeCase {
  const char* line;
  int charge;
  char sign;
};

class ModernCharge : public testing::TestWithParam<ChargeCase> {};

TEST_P(ModernCharge, TakesTheFirstChargeWithItsSign) {
  const auto blocks = Blocks(std::string("BEGIN IONS\n") + GetParam().line + "\nEND IONS\n", kModern);
  ASSERT_EQ(blocks.size(), 1u);
  EXPECT_EQ(blocks[0].nCharge, GetParam().charge);
  EXPECT_EQ(blocks[0].GetChargeSign(), GetParam().sign);
}

INSTANTIATE_TEST_SUITE_P(Lists, ModernCharge,
                         testing::Values(ChargeCase{"CHARGE=2+", 2, '+'},
                                         ChargeCase{"CHARGE=2+ and 3+", 2, '+'},
                                         ChargeCase{"CHARGE=3+,4+", 3, '+'},
                                         ChargeCase{"CHARGE=2-", 2, '-'},
                                         ChargeCase{"CHARGE=4", 4, '+'},
                                         ChargeCase{"CHARGE=", 0, '+'},
                                         ChargeCase{"CHARGE 2+", 2, '+'}));

TEST(ModernMgf, HeaderLinesAreKeptInOrderAndOtherLinesAreNotPeaks) {
  const auto blocks = Blocks(
      "BEGIN IONS\n"
      "SCANS=2442\n"
      "TITLE=t\n"
      "  RAWSCANS=2440-2444  \n"
      "# a comment\n"
      "; another\n"
      "words without numbers\n"
      "BEGIN IONS\n"
      "SEQ=PEPTIDE\n"
      "_X=1\n"
      "2X=3\n"
      "A B=4\n"
      "100 5\n"
      "200\n"
      "PEPMASS=612.5\n"
      "END IONS\n",
      kModern);
  ASSERT_EQ(blocks.size(), 1u);
  EXPECT_EQ(blocks[0].vHeaderLines,
            (std::vector<std::string>{"SCANS=2442", "RAWSCANS=2440-2444", "SEQ=PEPTIDE"}));
  // "_X=1" and "A B=4" are no KEY=VALUE lines and no peaks; "2X=3" starts
  // with a number and reads as a peak, like in classic.
  EXPECT_EQ(Peaks(blocks[0]), (PeakList{{2.0, 3.0}, {100.0, 5.0}}));
  EXPECT_DOUBLE_EQ(blocks[0].dMass, 612.5);
  EXPECT_EQ(blocks[0].dPrecursorIntensity, 0.0);
}

TEST(ModernMgf, ATruncatedBlockAndTheEndOfFile) {
  const auto reads = ReadAll("BEGIN IONS\nTITLE=a b\nSCANS=1\n1 2\n", kModern);
  ASSERT_EQ(reads.size(), 1u);
  EXPECT_EQ(reads[0].hr, S_FALSE);
  EXPECT_EQ(reads[0].dta.strTitle, "a b");
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
    d.dPrecursorIntensity = intensity;
    const auto back = Blocks(Write({d}, kModern), kModern);
    ASSERT_EQ(back.size(), 1u);
    EXPECT_EQ(back[0].dPrecursorIntensity, intensity);
  }
}

}  // namespace
}  // namespace orvane
