// MakeEquidistant and DenseSpectrum.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "analysis/analysis.h"
#include "analysis_test_util.h"
#include "support/test_support.h"

namespace orvane {
namespace {

using test::MakeDta;
using test::RecordingReporter;

std::vector<double> Masses(const Dta& dta) { return dta.vMass; }
std::vector<double> Intensities(const Dta& dta) { return dta.vIntensity; }

// --- grid rounding ---------------------------------------------------------

struct RoundingCase {
  double dIn;
  double dOut;
};

class GridRounding : public ::testing::TestWithParam<RoundingCase> {};

TEST_P(GridRounding, SinglePeakLandsOnItsGridPosition) {
  Dta dta = MakeDta({GetParam().dIn}, {7.0});
  ASSERT_EQ(MakeEquidistant(0.05, &dta), S_OK);
  ASSERT_EQ(dta.GetPeakCount(), 1u);
  EXPECT_EQ(dta.GetMass(0), GetParam().dOut);
  EXPECT_EQ(dta.GetIntensity(0), 7.0);
}

INSTANTIATE_TEST_SUITE_P(
    Hundredths, GridRounding,
    ::testing::Values(RoundingCase{100.00, 100.00}, RoundingCase{100.01, 100.00},
                      RoundingCase{100.02, 100.00}, RoundingCase{100.03, 100.05},
                      RoundingCase{100.05, 100.05}, RoundingCase{100.07, 100.05},
                      RoundingCase{100.08, 100.10}, RoundingCase{100.09, 100.10},
                      // Truncated to hundredths first: 100.029 counts as 100.02.
                      RoundingCase{100.029, 100.00}, RoundingCase{100.079, 100.05},
                      RoundingCase{100.0999, 100.10}, RoundingCase{1234.56, 1234.55},
                      RoundingCase{99.98, 100.00}, RoundingCase{0.004, 0.00}));

TEST(MakeEquidistant, SinglePeakSetsTheGridFields) {
  Dta dta = MakeDta({100.03}, {7.0});
  ASSERT_EQ(MakeEquidistant(0.05, &dta), S_OK);
  EXPECT_EQ(Masses(dta), std::vector<double>({100.05}));
  EXPECT_EQ(Intensities(dta), std::vector<double>({7.0}));
  EXPECT_TRUE(dta.IsEquidistant());
  EXPECT_EQ(dta.GetSampling(), 20);
}

// --- folding ---------------------------------------------------------------

struct FoldCase {
  const char* name;
  std::vector<double> vMassIn;
  std::vector<double> vIntensityIn;
  std::vector<double> vMassOut;
  std::vector<double> vIntensityOut;
};

class Folding : public ::testing::TestWithParam<FoldCase> {};

TEST_P(Folding, PeaksSharingAPositionFold) {
  const FoldCase& c = GetParam();
  Dta dta = MakeDta(c.vMassIn, c.vIntensityIn);
  ASSERT_EQ(MakeEquidistant(0.05, &dta), S_OK);
  EXPECT_EQ(Masses(dta), c.vMassOut);
  EXPECT_EQ(Intensities(dta), c.vIntensityOut);
  EXPECT_EQ(dta.GetPeakCount(), c.vMassOut.size());
}

INSTANTIATE_TEST_SUITE_P(
    Cases, Folding,
    ::testing::Values(
        // The first two share 100.00 and take the higher intensity; 0.05 is
        // not above 1.1 steps, so no zero point follows.
        FoldCase{"FirstTwo", {100.01, 100.02, 100.04}, {3, 9, 5}, {100.00, 100.05}, {9, 5}},
        // The last peak is never folded into the point before it.
        FoldCase{"LastPairStaysApart", {100.01, 100.02}, {3, 9}, {100.00, 100.00}, {3, 9}},
        // A run of three folds into one; then one zero point up to 100.10.
        FoldCase{"RunOfThree",
                 {100.00, 100.01, 100.02, 100.10},
                 {2, 8, 4, 1},
                 {100.00, 100.05, 100.10},
                 {8, 0, 1}},
        // A run that reaches the last peak leaves it standing on its own.
        FoldCase{"RunUpToTheLast",
                 {100.00, 100.01, 100.02},
                 {2, 8, 4},
                 {100.00, 100.00},
                 {8, 4}},
        // The folded point keeps the highest intensity, wherever it stands.
        FoldCase{"HighestFirst", {100.00, 100.01, 100.05}, {9, 1, 2}, {100.00, 100.05}, {9, 2}}),
    [](const auto& info) { return std::string(info.param.name); });

// --- zero fill -------------------------------------------------------------

TEST(MakeEquidistant, ZeroFillWithStepOfOneGridPoint) {
  Dta dta = MakeDta({100.00, 100.30}, {4.0, 6.0});
  ASSERT_EQ(MakeEquidistant(0.05, &dta), S_OK);
  EXPECT_EQ(Masses(dta),
            std::vector<double>({100.00, 100.05, 100.10, 100.15, 100.20, 100.25, 100.30}));
  EXPECT_EQ(Intensities(dta), std::vector<double>({4, 0, 0, 0, 0, 0, 6}));
  EXPECT_EQ(dta.GetSampling(), 20);
}

TEST(MakeEquidistant, ZeroFillWithStepOfTwoGridPoints) {
  Dta dta = MakeDta({100.00, 100.30}, {4.0, 6.0});
  ASSERT_EQ(MakeEquidistant(0.1, &dta), S_OK);
  EXPECT_EQ(Masses(dta), std::vector<double>({100.00, 100.10, 100.20, 100.30}));
  EXPECT_EQ(Intensities(dta), std::vector<double>({4, 0, 0, 6}));
  EXPECT_EQ(dta.GetSampling(), 10);
}

TEST(MakeEquidistant, FilledMassesAreExactHundredthsOverALongGap) {
  // Every inserted mass is rounded to hundredths, so no drift builds up.
  Dta dta = MakeDta({1000.00, 1010.00}, {1.0, 2.0});
  ASSERT_EQ(MakeEquidistant(0.05, &dta), S_OK);
  ASSERT_EQ(dta.GetPeakCount(), 201u);
  for (unsigned k = 0; k < 201; ++k) EXPECT_EQ(dta.GetMass(k), (100000 + 5 * k) / 100.0) << k;
}

TEST(MakeEquidistant, FillStopsWithinOnePointOneStepsOfTheNextPeak) {
  // 100.00 to 100.10 with step 0.05: 0.10 is above 0.055, one zero point;
  // 100.00 to 100.05: none.
  Dta dta = MakeDta({100.00, 100.10, 100.15}, {1, 2, 3});
  ASSERT_EQ(MakeEquidistant(0.05, &dta), S_OK);
  EXPECT_EQ(Masses(dta), std::vector<double>({100.00, 100.05, 100.10, 100.15}));
  EXPECT_EQ(Intensities(dta), std::vector<double>({1, 0, 2, 3}));
}

TEST(MakeEquidistant, SmallestStepEndsAndAdvancesByHundredths) {
  // A step of 0.005 still moves each zero point on by one hundredth.
  Dta dta = MakeDta({100.00, 101.00}, {1, 2});
  ASSERT_EQ(MakeEquidistant(0.005, &dta), S_OK);
  ASSERT_EQ(dta.GetPeakCount(), 102u);
  for (unsigned k = 1; k <= 100; ++k) EXPECT_EQ(dta.GetMass(k), (10000 + k) / 100.0) << k;
  EXPECT_EQ(dta.GetIntensity(100), 0.0);
  EXPECT_EQ(dta.GetMass(101), 101.00);
  EXPECT_EQ(dta.GetIntensity(101), 2.0);
  EXPECT_EQ(dta.GetSampling(), 200);
}

// The zero fill, point for point, against the rounding formula itself:
// x = trunc((x + dStep) * 100.0 + 0.5) / 100.0 while m1 - x > 1.1 dStep.
struct FillCase {
  double dStep;
  double dFrom;
  double dTo;
};

class ZeroFill : public ::testing::TestWithParam<FillCase> {};

TEST_P(ZeroFill, MatchesTheRoundingFormula) {
  const FillCase& c = GetParam();
  Dta dta = MakeDta({c.dFrom, c.dTo}, {1.0, 2.0});
  ASSERT_EQ(MakeEquidistant(c.dStep, &dta), S_OK);
  std::vector<double> want = {c.dFrom};
  for (double x = c.dFrom; c.dTo - x > 1.1 * c.dStep;) {
    x = std::trunc((x + c.dStep) * 100.0 + 0.5) / 100.0;
    want.push_back(x);
  }
  want.push_back(c.dTo);
  EXPECT_EQ(Masses(dta), want);
}

INSTANTIATE_TEST_SUITE_P(
    Steps, ZeroFill,
    ::testing::Values(FillCase{0.05, 100.0, 2150.0}, FillCase{0.05, 0.0, 30.0},
                      FillCase{0.1, 150.05, 1200.0}, FillCase{0.07, 100.0, 400.0},
                      FillCase{0.03, 333.35, 500.0}, FillCase{0.015, 100.0, 140.0},
                      FillCase{0.0051, 99.95, 120.0}, FillCase{0.123, 100.0, 900.0},
                      FillCase{0.25, 1000.0, 1500.0}, FillCase{1.0, 100.0, 3000.0},
                      // 100 * step + 0.5 a whole number: rounding decides each step.
                      FillCase{0.045, 100.0, 400.0}, FillCase{0.095, 100.0, 400.0},
                      FillCase{0.5, 100.0, 400.0}, FillCase{0.05, 90000.0, 90500.0}));

// --- failures --------------------------------------------------------------

TEST(MakeEquidistant, UnsortedInputFailsWithAnErrorBox) {
  RecordingReporter reporter;
  Dta dta = MakeDta({200.00, 100.00}, {5.0, 6.0});
  EXPECT_EQ(MakeEquidistant(0.05, &dta), E_UNEXPECTED);
  ASSERT_EQ(reporter.boxes.size(), 1u);
  EXPECT_EQ(reporter.boxes[0].kind, BoxKind::Error);
  EXPECT_EQ(reporter.boxes[0].text, "Dta not sorted!: 100.000000 < 200.000000\n");
  // The point appended before the check stays; the grid fields are untouched.
  EXPECT_EQ(Masses(dta), std::vector<double>({200.00}));
  EXPECT_EQ(Intensities(dta), std::vector<double>({5.0}));
  EXPECT_FALSE(dta.IsEquidistant());
  EXPECT_EQ(dta.GetSampling(), 0);
}

TEST(MakeEquidistant, UnsortedInputKeepsEarlierGridFields) {
  RecordingReporter reporter;
  Dta dta = MakeDta({100.00, 100.50, 100.20}, {1, 2, 3});
  dta.SetEquidistant(true, 0.1);
  EXPECT_EQ(MakeEquidistant(0.05, &dta), E_UNEXPECTED);
  EXPECT_TRUE(reporter.Has(BoxKind::Error, "Dta not sorted!: 100.200000 < 100.500000\n"));
  // 100.00, the zero fill up to 100.45, and 100.50.
  EXPECT_EQ(dta.GetPeakCount(), 11u);
  EXPECT_EQ(dta.GetMass(10), 100.50);
  EXPECT_TRUE(dta.IsEquidistant());
  EXPECT_EQ(dta.GetSampling(), 10);
}

TEST(MakeEquidistant, EmptySpectrumIsRefused) {
  RecordingReporter reporter;
  Dta dta;
  EXPECT_EQ(MakeEquidistant(0.05, &dta), E_UNEXPECTED);
  ASSERT_EQ(reporter.boxes.size(), 1u);
  EXPECT_EQ(reporter.boxes[0].kind, BoxKind::Error);
  EXPECT_EQ(dta.GetPeakCount(), 0u);
  EXPECT_FALSE(dta.IsEquidistant());
}

class BadStep : public ::testing::TestWithParam<double> {};

TEST_P(BadStep, IsRefusedAndLeavesTheSpectrumAlone) {
  RecordingReporter reporter;
  Dta dta = MakeDta({100.01, 100.5}, {1, 2});
  EXPECT_EQ(MakeEquidistant(GetParam(), &dta), E_UNEXPECTED);
  ASSERT_EQ(reporter.Texts(BoxKind::Error).size(), 1u);
  EXPECT_EQ(Masses(dta), std::vector<double>({100.01, 100.5}));
  EXPECT_EQ(Intensities(dta), std::vector<double>({1, 2}));
  EXPECT_FALSE(dta.IsEquidistant());
}

INSTANTIATE_TEST_SUITE_P(Values, BadStep,
                         ::testing::Values(0.0049, 0.0, -0.05,
                                           std::numeric_limits<double>::quiet_NaN(),
                                           std::numeric_limits<double>::infinity()));

TEST(MakeEquidistant, AbsurdMassRangeIsRefusedInsteadOfExhaustingMemory) {
  RecordingReporter reporter;
  Dta dta = MakeDta({100.0, 1.0e7}, {1, 2});
  EXPECT_EQ(MakeEquidistant(0.05, &dta), E_UNEXPECTED);
  EXPECT_EQ(reporter.Texts(BoxKind::Error).size(), 1u);
  EXPECT_EQ(Masses(dta), std::vector<double>({100.0, 1.0e7}));
}

TEST(MakeEquidistant, NotANumberMassEndsInOrder) {
  RecordingReporter reporter;
  Dta dta = MakeDta({100.0, std::numeric_limits<double>::quiet_NaN(), 200.0}, {1, 2, 3});
  EXPECT_EQ(MakeEquidistant(0.05, &dta), E_UNEXPECTED);
  EXPECT_EQ(reporter.Texts(BoxKind::Error).size(), 1u);
}

// --- DenseSpectrum ---------------------------------------------------------

// Points on the 0.05 grid from 100.00 with the given intensities.
Dta GridSpectrum(const std::vector<double>& vIntensity, double dMass) {
  Dta dta;
  dta.dMass = dMass;
  for (std::size_t k = 0; k < vIntensity.size(); ++k)
    dta.AddPeak((2000 + static_cast<int>(k)) / 20.0, vIntensity[k]);
  dta.SetEquidistant(true, 0.05);
  return dta;
}

TEST(DenseSpectrum, ThreefoldRampOverTwoZeros) {
  Dta dta = GridSpectrum({10, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 5, 1}, 1000.0);
  const std::vector<double> vMassBefore = dta.vMass;
  ASSERT_EQ(DenseSpectrum(3, &dta), S_OK);
  EXPECT_EQ(Intensities(dta),
            std::vector<double>({10, 8, 6, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 5, 1}));
  EXPECT_EQ(dta.vMass, vMassBefore);
  EXPECT_EQ(dta.GetPeakCount(), 16u);
}

struct GapCase {
  int nCharge;
  int nZeros;
  bool bFilled;
};

class GapLength : public ::testing::TestWithParam<GapCase> {};

TEST_P(GapLength, RunsBelowTheLimitAreRamped) {
  const GapCase& c = GetParam();
  std::vector<double> vIn(static_cast<std::size_t>(c.nZeros) + 3, 0.0);
  vIn[0] = 50.0;
  vIn[static_cast<std::size_t>(c.nZeros) + 1] = 2.0;
  vIn.back() = 7.0;
  Dta dta = GridSpectrum(vIn, 3000.0);
  ASSERT_EQ(DenseSpectrum(c.nCharge, &dta), S_OK);
  const int g = c.nZeros + 1;
  const double d = (50.0 - 2.0) / g;
  for (int j = 1; j <= c.nZeros; ++j) {
    const double dWant = c.bFilled ? 50.0 - j * d : 0.0;
    EXPECT_NEAR(dta.GetIntensity(static_cast<unsigned>(j)), dWant, 1e-9) << "point " << j;
  }
  EXPECT_EQ(dta.GetIntensity(static_cast<unsigned>(g)), 2.0);
}

INSTANTIATE_TEST_SUITE_P(
    ByCharge, GapLength,
    ::testing::Values(GapCase{3, 1, true}, GapCase{3, 7, true}, GapCase{3, 8, false},
                      GapCase{2, 9, true}, GapCase{2, 14, true}, GapCase{2, 15, false},
                      GapCase{1, 24, true}, GapCase{1, 25, false},
                      // Any other charge takes the widest reach.
                      GapCase{4, 24, true}, GapCase{4, 25, false}, GapCase{0, 24, true}));

TEST(DenseSpectrum, RampAtTheEndRunsTowardsMinusOne) {
  Dta dta = GridSpectrum({10, 0, 0}, 1000.0);
  ASSERT_EQ(DenseSpectrum(3, &dta), S_OK);
  const double d = (10.0 - -1.0) / 3.0;
  EXPECT_DOUBLE_EQ(dta.GetIntensity(1), 10.0 - d);
  EXPECT_DOUBLE_EQ(dta.GetIntensity(2), 10.0 - 2 * d);
}

TEST(DenseSpectrum, MassLimitForEachCharge) {
  // L = dMass / z + 1 + reach / 2: 100 + 4 = 104.00 for z = 3 and dMass 300.
  // 103.80 (5) 103.85 103.90 103.95 (0) 104.00 (5) 104.05 104.10 (0) 104.15 (5)
  Dta dta;
  dta.dMass = 300.0;
  const std::vector<double> vIn = {5, 0, 0, 0, 5, 0, 0, 5};
  for (int k = 0; k < 8; ++k) dta.AddPeak((2076 + k) / 20.0, vIn[static_cast<std::size_t>(k)]);
  ASSERT_EQ(DenseSpectrum(3, &dta), S_OK);
  EXPECT_EQ(Intensities(dta), std::vector<double>({5, 5, 5, 5, 5, 0, 0, 5}));

  // The same with charge 2: L = 150 + 6, everything is ramped.
  Dta dta2;
  dta2.dMass = 300.0;
  for (int k = 0; k < 8; ++k) dta2.AddPeak((2076 + k) / 20.0, vIn[static_cast<std::size_t>(k)]);
  ASSERT_EQ(DenseSpectrum(2, &dta2), S_OK);
  EXPECT_EQ(Intensities(dta2), std::vector<double>({5, 5, 5, 5, 5, 5, 5, 5}));
}

TEST(DenseSpectrum, RunStartingBelowTheLimitIsClosedBeyondIt) {
  // z = 3, L = 104.00: the run from 103.95 ends at 104.10, past L.
  Dta dta;
  dta.dMass = 300.0;
  const std::vector<double> vIn = {9, 0, 0, 3, 0, 0, 1};
  for (int k = 0; k < 7; ++k) dta.AddPeak((2079 + k) / 20.0, vIn[static_cast<std::size_t>(k)]);
  ASSERT_EQ(DenseSpectrum(3, &dta), S_OK);
  // The point at 104.10 lies past L: the walk ends there.
  EXPECT_EQ(Intensities(dta), std::vector<double>({9, 7, 5, 3, 0, 0, 1}));
}

TEST(DenseSpectrum, FirstMassAtTheLimitChangesNothing) {
  Dta dta;
  dta.dMass = 300.0;
  dta.AddPeak(104.00, 5);
  dta.AddPeak(104.05, 0);
  dta.AddPeak(104.10, 5);
  ASSERT_EQ(DenseSpectrum(3, &dta), S_OK);
  EXPECT_EQ(Intensities(dta), std::vector<double>({5, 0, 5}));
}

TEST(DenseSpectrum, EmptySpectrumIsRefusedWithAPlainBox) {
  RecordingReporter reporter;
  Dta dta;
  EXPECT_EQ(DenseSpectrum(2, &dta), E_UNEXPECTED);
  ASSERT_EQ(reporter.boxes.size(), 1u);
  EXPECT_EQ(reporter.boxes[0].kind, BoxKind::Plain);
  EXPECT_EQ(reporter.boxes[0].text, "Working DTA not valid");
}

TEST(DenseSpectrum, LeadingZerosAreLeftAlone) {
  Dta dta = GridSpectrum({0, 0, 6, 0, 2}, 1000.0);
  ASSERT_EQ(DenseSpectrum(3, &dta), S_OK);
  EXPECT_EQ(Intensities(dta), std::vector<double>({0, 0, 6, 4, 2}));
}

}  // namespace
}  // namespace orvane
