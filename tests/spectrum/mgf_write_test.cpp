// The classic MGF writer, to the byte.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "platform/format.h"
#include "spectrum/mgf_test_util.h"

namespace orvane {
namespace {

using mgftest::Blocks;
using mgftest::PeakList;
using mgftest::Peaks;
using mgftest::Write;

constexpr MgfDialect kClassic = MgfDialect::Classic;

Dta Example() {
  Dta d;
  d.strTitle = "a.1.1.dta";
  d.nCharge = 2;
  d.dMass = 500.25;
  d.AddPeak(100.0, 5.0);
  d.AddPeak(200.5, 1000.25);
  return d;
}

TEST(ExportMgf, TheExampleBlock) {
  EXPECT_EQ(Write({Example()}, kClassic),
            "\nBEGIN IONS\n"
            "TITLE=a.1.1.dta\n"
            "CHARGE=2+\n"
            "PEPMASS=500.250000\n"
            "100.000     5.000\n"
            "200.500  1000.250\n"
            "END IONS\n");
}

TEST(ExportMgf, ACommentStandsInFrontOfTheBlock) {
  EXPECT_EQ(Write({Example()}, kClassic, "run7.mgf"),
            "\n# run7.mgf \n"
            "\nBEGIN IONS\nTITLE=a.1.1.dta\nCHARGE=2+\nPEPMASS=500.250000\n"
            "100.000     5.000\n200.500  1000.250\nEND IONS\n");
}

TEST(ExportMgf, AnEmptySpectrumAndOneOfZeroPeaksGiveTheSameBlock) {
  Dta empty;
  Dta zeros;
  zeros.AddPeak(100.0, 0.0);
  zeros.AddPeak(200.0, 0.0);
  const std::string expected = "\nBEGIN IONS\nTITLE=\nCHARGE=0+\nPEPMASS=0.000000\nEND IONS\n";
  EXPECT_EQ(Write({empty}, kClassic), expected);
  EXPECT_EQ(Write({zeros}, kClassic), expected);
}

TEST(ExportMgf, ZeroPeaksAreLeftOutAndNegativeOnesWritten) {
  Dta d;
  d.strTitle = "t";
  d.nCharge = 3;
  d.dMass = 1.0;
  d.AddPeak(300.0, 1.0);
  d.AddPeak(100.0, 0.0);
  d.AddPeak(200.0, -2.5);
  d.AddPeak(50.0, -0.0);  // -0.0 is 0.0
  EXPECT_EQ(Write({d}, kClassic),
            "\nBEGIN IONS\nTITLE=t\nCHARGE=3+\nPEPMASS=1.000000\n"
            "300.000     1.000\n"
            "200.000    -2.500\n"
            "END IONS\n");
}

TEST(ExportMgf, WidthsAreMinimumWidths) {
  Dta d;
  d.strTitle = "wide";
  d.nCharge = 1;
  d.dMass = 123456789.123456789;
  d.AddPeak(12345.678, 5.0);
  d.AddPeak(1.0, 123456789.5);
  d.AddPeak(0.0005, 0.0015);
  EXPECT_EQ(Write({d}, kClassic),
            "\nBEGIN IONS\nTITLE=wide\nCHARGE=1+\nPEPMASS=123456789.123457\n"
            "12345.678     5.000\n"
            "  1.000 123456789.500\n"
            "  0.001     0.002\n"
            "END IONS\n");
}

TEST(ExportMgf, BlocksFollowEachOther) {
  Dta b = Example();
  b.strTitle = "b";
  b.nCharge = -1;
  EXPECT_EQ(Write({Example(), b}, kClassic),
            "\nBEGIN IONS\nTITLE=a.1.1.dta\nCHARGE=2+\nPEPMASS=500.250000\n"
            "100.000     5.000\n200.500  1000.250\nEND IONS\n"
            "\nBEGIN IONS\nTITLE=b\nCHARGE=-1+\nPEPMASS=500.250000\n"
            "100.000     5.000\n200.500  1000.250\nEND IONS\n");
}

TEST(ExportMgf, ClassicIgnoresTheModernExtras) {
  Dta d = Example();
  d.vHeaderLines = {"RTINSECONDS=12.5"};
  d.dPrecursorIntensity = 1234.5;
  EXPECT_EQ(Write({d}, kClassic), Write({Example()}, kClassic));
}

// The peak lines are formatted without printf for speed; they must be
// printf's "%7.3lf %9.3lf\n" to the byte, rounding, signs and all.
TEST(ExportMgf, PeakLinesAreThoseOfPrintf) {
  std::vector<double> values = {0.0005,   0.0015,   0.0025,   1.0005,   2.0005,     -0.0004,
                                -0.0,     -1.2345,  999.9995, 9999.9995, 1e-300,    4.9e-324,
                                0.0625,   0.1875,   1.0625,   4503599627370495.5, 4503599627370496.0,
                                9007199254740993.0, 2.2250738585072014e-308, 1e-3 / 2,
                                1e15,     1e22,     -1e22,    1.7976931348623157e308,
                                123.4565, 123.4575, 0.1,      1e7 + 0.0005,
                                std::numeric_limits<double>::infinity(),
                                -std::numeric_limits<double>::infinity(),
                                std::numeric_limits<double>::quiet_NaN(),
                                -std::numeric_limits<double>::quiet_NaN()};
  std::mt19937_64 random(42);
  std::uniform_real_distribution<double> wide(-1e6, 1e6);
  std::uniform_int_distribution<int> thousandths(0, 5'000'000);
  std::uniform_real_distribution<double> exponent(-8.0, 17.0);
  for (int i = 0; i < 2000; ++i) {
    values.push_back(wide(random));
    values.push_back((i % 2 ? -1 : 1) * std::pow(10.0, exponent(random)));
    // Exact halves of the last digit, where rounding is tested hardest.
    values.push_back(thousandths(random) / 1000.0 + 0.0005);
  }
  Dta d;
  std::string expected = "\nBEGIN IONS\nTITLE=\nCHARGE=0+\nPEPMASS=0.000000\n";
  for (std::size_t i = 0; i < values.size(); ++i) {
    const double mass = values[i];
    const double intensity = values[values.size() - 1 - i];
    d.AddPeak(mass, intensity);
    if (intensity != 0.0) expected += Format("%7.3lf %9.3lf\n", mass, intensity);
  }
  expected += "END IONS\n";
  EXPECT_EQ(Write({d}, kClassic), expected);
}

TEST(ExportMgf, WhatIsWrittenReadsBack) {
  Dta d;
  d.strTitle = "run3.1234.1234.2.dta";
  d.nCharge = 2;
  d.dMass = 612.3456789;
  d.AddPeak(100.12345, 5.5555);
  d.AddPeak(200.0, 0.0);
  d.AddPeak(300.9876, 7.0);
  const auto blocks = Blocks(Write({d, d}, kClassic, "source.mgf"), kClassic);
  ASSERT_EQ(blocks.size(), 2u);
  for (const Dta& r : blocks) {
    EXPECT_EQ(r.strTitle, d.strTitle);
    EXPECT_EQ(r.nCharge, 2);
    EXPECT_DOUBLE_EQ(r.dMass, 612.345679);
    EXPECT_EQ(Peaks(r), (PeakList{{100.123, 5.556}, {300.988, 7.0}}));
  }
}

}  // namespace
}  // namespace orvane
