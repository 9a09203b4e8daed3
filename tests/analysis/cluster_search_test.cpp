// FindChargeClusters, its template band and correlation, and HasPeakNear.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "analysis/analysis.h"
#include "analysis/cluster_search.h"
#include "analysis_test_util.h"

namespace orvane {
namespace {

using test::GridIndex;
using test::MakeGrid;

// --- template band ---------------------------------------------------------

struct BandCase {
  double dMass;
  int nCharge;
  std::int64_t nBase;
  double dRowMass;
  int nRow;
};

class Band : public ::testing::TestWithParam<BandCase> {};

TEST_P(Band, BaseAndRow) {
  const BandCase& c = GetParam();
  const IsotopeTemplates t(c.nCharge);
  const cluster::TemplateBand band = cluster::MakeTemplateBand(c.dMass, c.nCharge, t);
  EXPECT_EQ(band.nBase, c.nBase);
  EXPECT_EQ(band.dRowMass, c.dRowMass);
  const std::vector<std::int32_t> row(t.Row(c.nRow), t.Row(c.nRow) + t.GetColumns());
  EXPECT_EQ(band.vTemplate, row);
  double sy = 0;
  double syy = 0;
  for (int v : row) {
    sy += v;
    syy += static_cast<double>(v) * v;
  }
  EXPECT_EQ(band.dSumY, sy);
  EXPECT_EQ(band.dSumYY, syy);
  EXPECT_EQ(band.dDenominator, t.GetColumns() * syy - sy * sy);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, Band,
    ::testing::Values(
        // 1001 - (500 * 2) mod 100 = 1001; GetTemplate(501.0) is row 10.
        BandCase{500.7, 2, 1001, 501.0, 10},
        // trunc(1001.7) = 1001, 333 * 3 = 999, 1001 - 99 = 902: row 9 though
        // 3m is above 1000.
        BandCase{333.9, 3, 902, 301.0, 9},
        // 3m = 1002: 1002 - 2 = 1000, GetTemplate(334.0) = row 9.
        BandCase{334.0, 3, 1000, 334.0, 9}, BandCase{550.55, 2, 1101, 551.0, 11},
        BandCase{100.0, 2, 200, 101.0, 2}, BandCase{150.05, 2, 300, 151.0, 3}));

TEST(Correlation, IdenticalWindowGivesOne) {
  const IsotopeTemplates t(2);
  const cluster::TemplateBand band = cluster::MakeTemplateBand(500.0, 2, t);
  std::vector<double> w(band.vTemplateD);
  for (double& v : w) v *= 3.5;  // scale does not matter
  double r = 0;
  ASSERT_TRUE(cluster::Correlate(w.data(), band, &r));
  EXPECT_NEAR(r, 1.0, 1e-12);
}

TEST(Correlation, FlatWindowHasNoValue) {
  const IsotopeTemplates t(3);
  const cluster::TemplateBand band = cluster::MakeTemplateBand(500.0, 3, t);
  for (double level : {0.0, 7.0, 0.1, 1234.567}) {
    const std::vector<double> w(25, level);
    double r = 0;
    EXPECT_FALSE(cluster::Correlate(w.data(), band, &r)) << level;
  }
}

// --- the walk --------------------------------------------------------------

// A working spectrum and its dense copy on the grid from 100.00.
struct Pair {
  static constexpr int kFirst = 2000;  // 100.00
  Dta work;
  Dta dense;
  Pair(int nLast, double dMass) : work(MakeGrid(kFirst, nLast, dMass)), dense(work) {}
  // A real peak in both.
  void Peak(int nTwentieths, double dIntensity) {
    work.vIntensity[GridIndex(kFirst, nTwentieths)] = dIntensity;
    dense.vIntensity[GridIndex(kFirst, nTwentieths)] = dIntensity;
  }
  // Signal in the dense copy only.
  void Dense(int nTwentieths, double dIntensity) {
    dense.vIntensity[GridIndex(kFirst, nTwentieths)] = dIntensity;
  }
  // A dense cluster shaped like the given row, starting at a real peak.
  void Shape(int nTwentieths, const std::int32_t* row, int nColumns) {
    Peak(nTwentieths, row[0]);
    for (int c = 1; c < nColumns; ++c) Dense(nTwentieths + c, row[c]);
  }
};

std::vector<double> StartMasses(const ClusterList& lst) {
  std::vector<double> out;
  for (const ClusterRef& ref : lst) out.push_back(*ref.itMass);
  return out;
}

TEST(FindChargeClusters, RefsPointIntoBothSpectra) {
  Pair s(2 * 20 * 600, 2000.0);
  s.Peak(20 * 500, 40.0);
  const IsotopeTemplates t(2);
  ClusterList known;
  const ClusterList found = FindChargeClusters(&s.work, &s.dense, 2, &t, -1.0, &known);
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].itMass, s.work.vMass.cbegin() + GridIndex(Pair::kFirst, 20 * 500));
  EXPECT_EQ(found[0].itIntensity, s.dense.vIntensity.begin() + GridIndex(Pair::kFirst, 20 * 500));
  ASSERT_EQ(known.size(), 1u);
  EXPECT_EQ(known[0].itMass, found[0].itMass);
}

TEST(FindChargeClusters, OnlyRealPeaksStartAWindow) {
  // Signal in the dense copy alone (a filled point) starts nothing.
  Pair s(20 * 600, 2000.0);
  s.Dense(20 * 500, 40.0);
  const IsotopeTemplates t(2);
  ClusterList known;
  EXPECT_TRUE(FindChargeClusters(&s.work, &s.dense, 2, &t, -1.0, &known).empty());
}

TEST(FindChargeClusters, BandIsTakenAnewOnlyWhenChargeTimesMassPassesIt) {
  // From a first mass of 100.00 the twofold band is 200 (row 2) until 2m
  // passes 300. At 150.00 (2m = 300) row 2 is still in use, at 150.05 row 3.
  const IsotopeTemplates t(2);
  const double dAlmost = 0.9999999;
  {
    Pair s(20 * 200, 2000.0);
    s.Shape(20 * 150, t.Row(2), 41);
    EXPECT_EQ(StartMasses(FindChargeClusters(&s.work, &s.dense, 2, &t, dAlmost, nullptr)),
              std::vector<double>({150.0}));
  }
  {
    Pair s(20 * 200, 2000.0);
    s.Shape(20 * 150, t.Row(3), 41);
    EXPECT_TRUE(FindChargeClusters(&s.work, &s.dense, 2, &t, dAlmost, nullptr).empty());
  }
  {
    Pair s(20 * 200, 2000.0);
    s.Shape(20 * 150 + 1, t.Row(3), 41);
    EXPECT_EQ(StartMasses(FindChargeClusters(&s.work, &s.dense, 2, &t, dAlmost, nullptr)),
              std::vector<double>({150.05}));
  }
}

TEST(FindChargeClusters, FlatWindowIsNoCluster) {
  Pair s(20 * 600, 2000.0);
  s.Peak(20 * 500, 7.0);
  for (int c = 1; c < 41; ++c) s.Dense(20 * 500 + c, 7.0);
  const IsotopeTemplates t(2);
  EXPECT_TRUE(FindChargeClusters(&s.work, &s.dense, 2, &t, -1.0, nullptr).empty());
}

TEST(FindChargeClusters, WindowAtTheEndIsPaddedWithZeros) {
  // 30 grid points from the peak to the end, the last one past the window's
  // cluster: the window is the row's first 30 entries, then 11 zeros.
  const IsotopeTemplates t(2);
  Pair s(20 * 500 + 29, 2000.0);
  s.Shape(20 * 500, t.Row(9), 30);
  std::vector<double> padded(41, 0.0);
  for (int c = 0; c < 30; ++c) padded[static_cast<std::size_t>(c)] = t.Row(9)[c];
  // Walking up from 100.00, the band in use at 500.00 is the one taken at
  // 450.05 (2m = 1000 is not above 900 + 100): row 9.
  const cluster::TemplateBand band = cluster::MakeTemplateBand(450.05, 2, t);
  ASSERT_EQ(band.vTemplate, std::vector<std::int32_t>(t.Row(9), t.Row(9) + 41));
  double r = 0;
  ASSERT_TRUE(cluster::Correlate(padded.data(), band, &r));
  ASSERT_GT(r, 0.9);
  EXPECT_EQ(StartMasses(FindChargeClusters(&s.work, &s.dense, 2, &t, r - 1e-12, nullptr)),
            std::vector<double>({500.0}));
  EXPECT_TRUE(FindChargeClusters(&s.work, &s.dense, 2, &t, r + 1e-9, nullptr).empty());
}

TEST(FindChargeClusters, LastPointIsNeverExamined) {
  const IsotopeTemplates t(2);
  Pair s(20 * 500, 2000.0);
  s.Peak(20 * 500, 10.0);
  EXPECT_TRUE(FindChargeClusters(&s.work, &s.dense, 2, &t, -1.0, nullptr).empty());
  Pair s2(20 * 500 + 1, 2000.0);
  s2.Peak(20 * 500, 10.0);
  EXPECT_EQ(FindChargeClusters(&s2.work, &s2.dense, 2, &t, -1.0, nullptr).size(), 1u);
}

TEST(FindChargeClusters, PeaksAtOrAboveTheLimitAreNotExamined) {
  // z = 2, dMass 1000: L = 500 + 1 + 2.5 = 503.5.
  const IsotopeTemplates t(2);
  Pair below(20 * 510, 1000.0);
  below.Peak(20 * 503 + 9, 10.0);  // 503.45
  EXPECT_EQ(FindChargeClusters(&below.work, &below.dense, 2, &t, -1.0, nullptr).size(), 1u);
  Pair at(20 * 510, 1000.0);
  at.Peak(20 * 503 + 10, 10.0);  // 503.50
  EXPECT_TRUE(FindChargeClusters(&at.work, &at.dense, 2, &t, -1.0, nullptr).empty());
  // z = 3, dMass 1000: L = 333.33 + 1 + 1.67 = 336.0.
  const IsotopeTemplates t3(3);
  Pair three(20 * 340, 1000.0);
  three.Peak(20 * 335 + 19, 10.0);  // 335.95
  three.Peak(20 * 337 + 19, 10.0);  // 337.95, beyond L
  EXPECT_EQ(StartMasses(FindChargeClusters(&three.work, &three.dense, 3, &t3, -1.0, nullptr)),
            std::vector<double>({335.95}));
}

TEST(FindChargeClusters, ThresholdIsInclusive) {
  const IsotopeTemplates t(2);
  Pair s(20 * 600, 2000.0);
  s.Peak(20 * 500, 10.0);
  double r = 0;
  std::vector<double> window(41, 0.0);
  window[0] = 10.0;
  // The band in use at 500.00 is the one taken at 450.05.
  ASSERT_TRUE(cluster::Correlate(window.data(), cluster::MakeTemplateBand(450.05, 2, t), &r));
  EXPECT_EQ(FindChargeClusters(&s.work, &s.dense, 2, &t, r, nullptr).size(), 1u);
  EXPECT_TRUE(
      FindChargeClusters(&s.work, &s.dense, 2, &t, std::nextafter(r, 2.0), nullptr).empty());
}

// Spacing: two clusters of one charge stand more than 4.0 / z apart.
struct SpacingCase {
  int nSecond;  // twentieths above the first
  bool bSecondKept;
};

class Spacing : public ::testing::TestWithParam<SpacingCase> {};

TEST_P(Spacing, AgainstTheLastAcceptedCluster) {
  const IsotopeTemplates t(2);
  Pair s(20 * 600, 2000.0);
  s.Peak(20 * 500, 10.0);
  s.Peak(20 * 500 + GetParam().nSecond, 10.0);
  ClusterList known;
  const ClusterList found = FindChargeClusters(&s.work, &s.dense, 2, &t, -1.0, &known);
  EXPECT_EQ(found.size(), GetParam().bSecondKept ? 2u : 1u);
  EXPECT_EQ(known.size(), found.size());
}

INSTANTIATE_TEST_SUITE_P(TwoFold, Spacing,
                         ::testing::Values(SpacingCase{1, false}, SpacingCase{39, false},
                                           SpacingCase{40, false},  // exactly 2.0
                                           SpacingCase{41, true}));

TEST(FindChargeClusters, RejectedPositionDoesNotMoveTheLastAccepted) {
  // 500.00 accepted, 501.00 rejected (1.0 apart), 502.05 accepted: measured
  // from 500.00, not from the rejected 501.00.
  const IsotopeTemplates t(2);
  Pair s(20 * 600, 2000.0);
  s.Peak(20 * 500, 10.0);
  s.Peak(20 * 501, 10.0);
  s.Peak(20 * 502 + 1, 10.0);
  EXPECT_EQ(StartMasses(FindChargeClusters(&s.work, &s.dense, 2, &t, -1.0, nullptr)),
            std::vector<double>({500.0, 502.05}));
}

struct KnownCase {
  int nKnownBelow;  // twentieths below the candidate
  bool bKept;
};

class KnownClusters : public ::testing::TestWithParam<KnownCase> {};

TEST_P(KnownClusters, BlockWithinFourOverCharge) {
  // A cluster of the other charge, already known, 2.0 below passes (the test
  // is strict), 1.95 below blocks.
  const IsotopeTemplates t(2);
  Pair s(20 * 600, 2000.0);
  const int nCandidate = 20 * 500;
  s.Peak(nCandidate, 10.0);
  ClusterList known = {ClusterRef{
      s.work.vMass.cbegin() + GridIndex(Pair::kFirst, nCandidate - GetParam().nKnownBelow),
      s.dense.vIntensity.begin() + GridIndex(Pair::kFirst, nCandidate - GetParam().nKnownBelow)}};
  const ClusterList found = FindChargeClusters(&s.work, &s.dense, 2, &t, -1.0, &known);
  EXPECT_EQ(found.size(), GetParam().bKept ? 1u : 0u);
  EXPECT_EQ(known.size(), GetParam().bKept ? 2u : 1u);
}

INSTANTIATE_TEST_SUITE_P(Cases, KnownClusters,
                         ::testing::Values(KnownCase{40, true}, KnownCase{39, false},
                                           KnownCase{0, false}, KnownCase{-39, false},
                                           KnownCase{-40, true}));

// The twofold shadow of a threefold candidate at 400.00 lies at 799.00.
struct ShadowCase {
  int nOffset;  // twentieths from 799.00
  bool bKept;
};

class Shadow : public ::testing::TestWithParam<ShadowCase> {};

TEST_P(Shadow, SignalWhereTheClusterWouldStandTwofoldBlocksIt) {
  Pair s(20 * 900, 3000.0);
  s.Peak(20 * 400, 10.0);
  s.Dense(20 * 799 + GetParam().nOffset, 5.0);
  const IsotopeTemplates t3(3);
  EXPECT_EQ(FindChargeClusters(&s.work, &s.dense, 3, &t3, -1.0, nullptr).size(),
            GetParam().bKept ? 1u : 0u);
  // The twofold table has no such check.
  const IsotopeTemplates t2(2);
  EXPECT_EQ(FindChargeClusters(&s.work, &s.dense, 2, &t2, -1.0, nullptr).size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(Window, Shadow,
                         ::testing::Values(ShadowCase{0, false}, ShadowCase{17, false},
                                           ShadowCase{18, true}, ShadowCase{-18, false},
                                           ShadowCase{-19, true}));

TEST(FindChargeClusters, OrderlyAnswersForUnusableInput) {
  const IsotopeTemplates t(2);
  Dta empty;
  Dta emptyDense;
  ClusterList known;
  EXPECT_TRUE(FindChargeClusters(&empty, &emptyDense, 2, &t, 0.5, &known).empty());
  EXPECT_TRUE(known.empty());
  Pair s(20 * 600, 2000.0);
  s.Peak(20 * 500, 10.0);
  Dta shorter = s.dense;
  shorter.ClearPeaks();
  shorter.AddPeak(100.0, 1.0);
  EXPECT_TRUE(FindChargeClusters(&s.work, &shorter, 2, &t, -1.0, &known).empty());
  EXPECT_TRUE(FindChargeClusters(&s.work, &s.dense, 0, &t, -1.0, &known).empty());
  EXPECT_TRUE(FindChargeClusters(&s.work, &s.dense, 2, nullptr, -1.0, &known).empty());
  EXPECT_TRUE(known.empty());
}

// --- HasPeakNear -----------------------------------------------------------

TEST(HasPeakNear, OffTheGridTheBoundIsIncluded) {
  Dta dta = test::MakeDta({100.0, 250.0}, {0.0, 1.0});
  EXPECT_TRUE(dta.HasPeakNear(100.5, 0.5));  // any mass, even of intensity 0
  EXPECT_TRUE(dta.HasPeakNear(249.5, 0.5));
  EXPECT_FALSE(dta.HasPeakNear(249.4, 0.5));
  EXPECT_FALSE(Dta().HasPeakNear(100.0, 10.0));
}

TEST(HasPeakNear, OnTheGridScansThirtySixPointsFromEighteenBelow) {
  // The scan for 200.00 with tolerance 0.9 covers 199.10 to 200.85.
  struct Case {
    int nTwentieths;
    bool bNear;
  };
  for (const Case c : {Case{20 * 200 - 18, true}, Case{20 * 200 - 19, false},
                       Case{20 * 200 + 17, true}, Case{20 * 200 + 18, false}}) {
    Dta dta = MakeGrid(2000, 20 * 300, 1000.0);
    dta.vIntensity[GridIndex(2000, c.nTwentieths)] = 3.0;
    EXPECT_EQ(dta.HasPeakNear(200.0, 0.9), c.bNear) << c.nTwentieths;
  }
}

TEST(HasPeakNear, OnTheGridClampsAtBothEnds) {
  Dta dta = MakeGrid(2000, 2010, 1000.0);  // 100.00 to 100.50
  dta.vIntensity[0] = 1.0;
  EXPECT_TRUE(dta.HasPeakNear(100.2, 0.9));   // lo clamped to 0
  // A mass below the spectrum clamps lo to 0 and scans the first 36 points.
  EXPECT_TRUE(dta.HasPeakNear(50.0, 0.9));
  dta.vIntensity[0] = 0.0;
  dta.vIntensity[10] = 1.0;
  EXPECT_TRUE(dta.HasPeakNear(100.45, 0.9));  // hi clamped to the end
  EXPECT_FALSE(dta.HasPeakNear(1.0e12, 0.9));
  EXPECT_FALSE(dta.HasPeakNear(std::nan(""), 0.9));
  // Negative signal does not count.
  dta.vIntensity[10] = -1.0;
  EXPECT_FALSE(dta.HasPeakNear(100.45, 0.9));
}

}  // namespace
}  // namespace orvane
