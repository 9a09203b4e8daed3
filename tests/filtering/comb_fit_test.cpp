#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>

#include "filtering/deisotope_stages.h"
#include "support/test_support.h"

namespace orvane {
namespace {

using filtering::BuildCombSegments;
using filtering::CombFit;
using filtering::CombLength;
using filtering::CombSegments;
using filtering::MeasureCombFit;
using filtering::SoftCombInPhase;
using filtering::SoftRace;
using filtering::StrictCombFits;
using test::RecordingReporter;

std::vector<int> Steps(int from, int to, int step) {
  std::vector<int> v;
  for (int x = from; x <= to; x += step) v.push_back(x);
  return v;
}

TEST(CombFit, WorkedExampleOf2048ElementsAndPeriodIndex21) {
  std::vector<double> vMedian(2048, 1.0);
  vMedian[2047] = 0.5;  // below element 2000: the comb stops at the split
  EXPECT_EQ(CombLength(vMedian, 21), 2000);
  vMedian[2047] = 1.0;  // equal is not below
  EXPECT_EQ(CombLength(vMedian, 21), 2048);

  CombSegments s;
  BuildCombSegments(2048, 2000, 50, s);
  std::vector<int> toothEdges{-5000};
  for (int x : Steps(50, 1950, 100)) toothEdges.push_back(x);
  toothEdges.push_back(7000);
  EXPECT_EQ(s.vToothEdges, toothEdges);
  EXPECT_EQ(s.vToothCentres, Steps(0, 2000, 100));
  EXPECT_EQ(s.vToothCentres.size(), 21u);
  EXPECT_EQ(s.vGapEdges, Steps(0, 1900, 100));
  EXPECT_EQ(s.vGapCentres, Steps(50, 1950, 100));

  vMedian[2047] = 0.5;
  CombFit fit;
  ASSERT_EQ(MeasureCombFit(vMedian, 21, fit), 0);
  EXPECT_EQ(fit.nHalfSpacing, 50);
  EXPECT_EQ(fit.segments.vToothEdges, toothEdges);
  EXPECT_EQ(fit.vToothPeaks.size(), 21u);
}

// Every sum worked out by hand on 16 elements (comb length 14, h 2).
TEST(CombFit, SmallArrayByHand) {
  const std::vector<double> v{5, 1, 0, 2, 6, 3, 1, 0, 4, 2, 2, 7, 1, 0, 3, 0};
  CombFit fit;
  ASSERT_EQ(MeasureCombFit(v, 4, fit), 0);
  EXPECT_EQ(fit.nHalfSpacing, 2);
  EXPECT_EQ(fit.segments.vToothEdges, (std::vector<int>{-200, 2, 6, 10, 214}));
  EXPECT_EQ(fit.segments.vToothCentres, (std::vector<int>{0, 4, 8, 12}));
  EXPECT_EQ(fit.segments.vGapEdges, (std::vector<int>{0, 4, 8, 12}));
  EXPECT_EQ(fit.segments.vGapCentres, (std::vector<int>{2, 6, 10, 14}));
  // The last tooth segment runs to the end of the array, past the comb.
  EXPECT_EQ(fit.vToothPeaks, (std::vector<int>{0, 4, 8, 11}));
  // Teeth: centre 0+0+0+1, edge 2+2+2+1. Gaps (minima 2, 7, 9): centre 0+1+1, edge 2+1+1.
  EXPECT_EQ(fit.nCentreSum, 3);
  EXPECT_EQ(fit.nEdgeSum, 11);
}

TEST(CombFit, EqualExtremaTakeTheLowestIndex) {
  // Segment [2, 6) holds two maxima of 6, gap [8, 12) two minima of 2.
  const std::vector<double> v{5, 1, 0, 6, 6, 3, 1, 0, 4, 2, 2, 7, 1, 0, 3, 0};
  CombFit fit;
  ASSERT_EQ(MeasureCombFit(v, 4, fit), 0);
  EXPECT_EQ(fit.vToothPeaks[1], 3);
  // Gap minima: 2 at index 2, 0 at index 7, 2 at index 9 (not 10).
  EXPECT_EQ(fit.nCentreSum, 0 + 1 + 0 + 1 + (0 + 1 + 1));
  EXPECT_EQ(fit.nEdgeSum, 2 + 1 + 2 + 1 + (2 + 1 + 1));
}

TEST(CombFit, AllZerosPutEveryExtremumAtTheStartOfItsSegment) {
  const std::vector<double> v(2048, 0.0);
  CombFit fit;
  ASSERT_EQ(MeasureCombFit(v, 21, fit), 0);
  // Element 2047 is not below element 2000, so the comb covers 2048: h = 51.
  ASSERT_EQ(fit.nHalfSpacing, 51);
  std::vector<int> starts{0};
  for (int x : Steps(51, 1989, 102)) starts.push_back(x);
  EXPECT_EQ(fit.vToothPeaks, starts);
  // The maximum at index 0 adds 0 to the centre sum and h to the edge sum;
  // every other extremum lies on its left limit, h from its centre.
  EXPECT_EQ(fit.nEdgeSum, 51);
  EXPECT_EQ(fit.nCentreSum, 20 * 51 + 20 * 51);
  EXPECT_FALSE(StrictCombFits(fit));
  EXPECT_FALSE(SoftCombInPhase(fit));
}

TEST(CombFit, OneToothOverEverythingWhenTheSpacingReachesTheCombLength) {
  CombSegments s;
  BuildCombSegments(10, 10, 10, s);
  EXPECT_EQ(s.vToothEdges, (std::vector<int>{-1000, 1010}));
  EXPECT_EQ(s.vToothCentres, (std::vector<int>{0}));
  EXPECT_EQ(s.vGapEdges, (std::vector<int>{0}));
  EXPECT_TRUE(s.vGapCentres.empty());
}

TEST(CombFit, FarLimitsSaturateOnHugeSpacings) {
  CombSegments s;
  BuildCombSegments(1 << 30, 1 << 30, 30'000'000, s);
  EXPECT_EQ(s.vToothEdges.front(), std::numeric_limits<int>::min());
  EXPECT_EQ(s.vToothEdges.back(), std::numeric_limits<int>::max());
  EXPECT_EQ(s.vToothEdges[1], 30'000'000);
}

TEST(CombFit, PeriodicCombFitsAndItsNegativeDoesNot) {
  std::vector<double> comb(2048);
  std::vector<double> anti(2048);
  for (std::size_t i = 0; i < comb.size(); ++i) {
    const double c = std::cos(2.0 * std::numbers::pi * static_cast<double>(i) / 100.0);
    comb[i] = 1.0 + c;
    anti[i] = 1.0 - c;
  }
  CombFit fit;
  ASSERT_EQ(MeasureCombFit(comb, 21, fit), 0);
  EXPECT_EQ(fit.nHalfSpacing, 50);
  EXPECT_EQ(fit.nCentreSum, 0);
  EXPECT_TRUE(StrictCombFits(fit));
  EXPECT_TRUE(SoftCombInPhase(fit));
  ASSERT_EQ(MeasureCombFit(anti, 21, fit), 0);
  EXPECT_FALSE(StrictCombFits(fit));
  EXPECT_FALSE(SoftCombInPhase(fit));
}

TEST(CombFit, HalfSpacingOfZeroDoesNotFit) {
  // 16 elements and period index 10: the split lies at the very end and the
  // teeth would be 16/9 = 1 element apart.
  const std::vector<double> v{9, 1, 8, 2, 7, 3, 6, 4, 5, 5, 4, 6, 3, 7, 2, 8};
  CombFit fit;
  fit.vToothPeaks = {1, 2, 3};
  RecordingReporter reporter;
  ASSERT_EQ(MeasureCombFit(v, 10, fit), 0);
  EXPECT_EQ(fit.nHalfSpacing, 0);
  EXPECT_EQ(fit.nCentreSum, 0);
  EXPECT_EQ(fit.nEdgeSum, 0);
  EXPECT_TRUE(fit.vToothPeaks.empty());
  EXPECT_FALSE(StrictCombFits(fit));
  EXPECT_FALSE(SoftCombInPhase(fit));
  EXPECT_TRUE(reporter.boxes.empty());
  // An empty array has no comb either.
  EXPECT_EQ(MeasureCombFit({}, 21, fit), 0);
  EXPECT_FALSE(SoftCombInPhase(fit));
}

TEST(CombFit, PeriodIndexOfZeroOrOneWouldDivideByZero) {
  for (int p : {0, 1}) {
    RecordingReporter reporter;
    CombFit fit;
    EXPECT_EQ(MeasureCombFit(std::vector<double>(64, 1.0), p, fit), -1);
    ASSERT_EQ(reporter.boxes.size(), 1u);
    EXPECT_TRUE(reporter.Has(BoxKind::Error, "Divided by NULL !! "));
  }
}

TEST(CombFit, ReusedFitStartsAfresh) {
  std::vector<double> v(2048);
  std::iota(v.begin(), v.end(), 0.0);
  CombFit fit;
  ASSERT_EQ(MeasureCombFit(v, 6, fit), 0);
  const CombFit first = fit;
  ASSERT_EQ(MeasureCombFit(v, 30, fit), 0);
  ASSERT_EQ(MeasureCombFit(v, 6, fit), 0);
  EXPECT_EQ(fit.vToothPeaks, first.vToothPeaks);
  EXPECT_EQ(fit.nCentreSum, first.nCentreSum);
  EXPECT_EQ(fit.nEdgeSum, first.nEdgeSum);
  EXPECT_EQ(fit.segments.vGapEdges, first.segments.vGapEdges);
}

CombFit Sums(int nCentre, int nEdge, int h = 7) {
  CombFit fit;
  fit.nHalfSpacing = h;
  fit.nCentreSum = nCentre;
  fit.nEdgeSum = nEdge;
  return fit;
}

struct StrictCase {
  int nCentre;
  int nEdge;
  bool bFits;
};
class StrictFitTest : public testing::TestWithParam<StrictCase> {};
TEST_P(StrictFitTest, NinetyFivePercentOfTheCentreSumAgainstTheEdgeSum) {
  EXPECT_EQ(StrictCombFits(Sums(GetParam().nCentre, GetParam().nEdge)), GetParam().bFits);
}
INSTANTIATE_TEST_SUITE_P(Boundary, StrictFitTest,
                         testing::Values(StrictCase{100, 95, true}, StrictCase{100, 94, false},
                                         StrictCase{100, 96, true}, StrictCase{20, 19, true},
                                         StrictCase{20, 18, false}, StrictCase{0, 0, true},
                                         StrictCase{1, 0, false}));

TEST(SoftFit, EdgeSumMayNotFallBelowTheCentreSum) {
  EXPECT_TRUE(SoftCombInPhase(Sums(10, 10)));
  EXPECT_TRUE(SoftCombInPhase(Sums(10, 11)));
  EXPECT_FALSE(SoftCombInPhase(Sums(10, 9)));
  EXPECT_FALSE(SoftCombInPhase(Sums(0, 0, 0)));
  EXPECT_FALSE(StrictCombFits(Sums(0, 0, 0)));
}

TEST(SoftRace, GreatestLeadWinsAndTiesKeepTheLowerIndex) {
  SoftRace race(3);
  EXPECT_FALSE(race.Offer(5, Sums(10, 10, 9)));  // fits, but a lead of 0 can't win
  EXPECT_EQ(race.nBestCandidate, 3);
  EXPECT_EQ(race.nBestHalfSpacing, 0);
  EXPECT_FALSE(race.Offer(6, Sums(10, 12, 8)));
  EXPECT_EQ(race.nBestCandidate, 6);
  EXPECT_FALSE(race.Offer(7, Sums(10, 14, 7)));
  EXPECT_FALSE(race.Offer(8, Sums(20, 24, 6)));  // the same lead of 4
  EXPECT_TRUE(race.Offer(9, Sums(30, 10, 5)));   // out of phase
  EXPECT_TRUE(race.Offer(10, Sums(0, 0, 0)));    // no comb
  EXPECT_EQ(race.nBestCandidate, 7);
  EXPECT_EQ(race.dBestMargin, -4.0);
  EXPECT_EQ(race.nBestHalfSpacing, 7);
}

}  // namespace
}  // namespace orvane
