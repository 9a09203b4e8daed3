// The stages of the de-isotoping on chosen numbers: transform lengths, the
// periodicity spectrum, the comb fit and its tests, the Y-filter corners and
// the removal of the points that lose too much.
#include <gtest/gtest.h>

#include "filtering/deisotope_stages.h"
#include "support/synthetic.h"

namespace orvane::filtering {
namespace {

std::vector<int> Steps(int from, int to, int step) {
  std::vector<int> v;
  for (int x = from; x <= to; x += step) v.push_back(x);
  return v;
}

TEST(Periodicity, FftLengthPadsToAtLeastTwiceTheLength) {
  const std::vector<std::pair<std::uint32_t, int>> cases = {
      {1, 2}, {3, 8}, {5, 16}, {1000, 2048}, {1025, 4096}, {131073, 524288}, {(1u << 28) + 1, 0}};
  for (auto [nPeaks, nLength] : cases) EXPECT_EQ(FftLength(nPeaks), nLength) << nPeaks;
  for (int c = 0; c <= 28; ++c) EXPECT_EQ(FftLength(1u << c), 2 << c) << c;  // not four times
}

// Padded to 16, cut to half the power spectrum, lifted by 100 when the
// hundredth of the overall value (sum of squares / 16) truncates to 0,
// mirrored. Scaled intensities scale the power by the square, so the lift
// shows as a jump of 100 between a scale of 7 (overall 168) and 5 (86).
TEST(Periodicity, PaddedCutLiftedAndMirrored) {
  const std::vector<double> v{1.0, 2.0, 3.0, 4.0, 5.0};  // sum of squares 55
  auto median = [&v](double scale) {
    std::vector<double> scaled = v;
    for (double& x : scaled) x *= scale;
    std::vector<double> vOut{-7.0};
    PeriodicitySpectrum s;
    EXPECT_FALSE(BuildPeriodicitySpectrum(test::GridSpectrum(scaled), 1, Routine::Strict, vOut, s));
    EXPECT_EQ(vOut, scaled);
    EXPECT_EQ(std::tuple(s.nFftLength, s.nHalfLength, s.nMedianLength), std::tuple(16, 8, 16));
    EXPECT_TRUE(std::equal(s.vMedian.begin(), s.vMedian.begin() + 8, s.vMedian.rbegin()));
    EXPECT_EQ(s.vPeriodicity.size(), 16u);
    return s.vMedian;
  };
  const std::vector<double> one = median(1.0), five = median(5.0), seven = median(7.0);
  for (std::size_t i = 0; i < 16; ++i) {
    EXPECT_NEAR(five[i], 25.0 * one[i], 1e-9 * five[i]) << i;          // both lifted
    EXPECT_NEAR(seven[i], 0.49 * one[i], 1e-9 * one[i]) << i;          // 49 times, not lifted
  }
  EXPECT_NEAR(one[0], 100.0 * 15.0 * 15.0 / 16.0, 1e-9);  // bin 0: the sum squared / 16, lifted
  // Nothing to transform, and a median filter that leaves nothing.
  std::vector<double> vOut;
  PeriodicitySpectrum s;
  EXPECT_EQ(BuildPeriodicitySpectrum(Dta(), 3, Routine::Soft, vOut, s), Verdict::Failed);
}

TEST(CombFit, WorkedExampleOf2048ElementsAndPeriodIndex21) {
  std::vector<double> vMedian(2048, 1.0);
  EXPECT_EQ(CombLength(vMedian, 21), 2048);  // 2047 equal to 2000 is not below
  vMedian[2047] = 0.5;                        // below: the comb stops at the split
  CombFit fit;
  ASSERT_EQ(MeasureCombFit(vMedian, 21, fit), 0);
  EXPECT_EQ(fit.nHalfSpacing, 50);
  std::vector<int> toothEdges = Steps(50, 1950, 100);
  toothEdges.insert(toothEdges.begin(), -5000);
  toothEdges.push_back(7000);
  EXPECT_EQ(fit.segments.vToothEdges, toothEdges);
  EXPECT_EQ(fit.segments.vToothCentres, Steps(0, 2000, 100));
  EXPECT_EQ(fit.segments.vGapEdges, Steps(0, 1900, 100));
  EXPECT_EQ(fit.segments.vGapCentres, Steps(50, 1950, 100));
  EXPECT_EQ(fit.vToothPeaks.size(), 21u);
}

// 16 elements, comb length 14, h 2. Teeth: centre 0+0+0+1, edge 2+2+2+1; gaps
// (minima at 2, 7, 9): centre 0+1+1, edge 2+1+1; the last tooth segment runs
// to the end of the array. With equal extrema the lowest index counts.
TEST(CombFit, SmallArraysByHand) {
  struct Case {
    std::vector<double> v;
    std::vector<int> peaks;
    int centre, edge;
  };
  for (const Case& c :
       {Case{{5, 1, 0, 2, 6, 3, 1, 0, 4, 2, 2, 7, 1, 0, 3, 0}, {0, 4, 8, 11}, 3, 11},
        Case{{5, 1, 0, 6, 6, 3, 1, 0, 4, 2, 2, 7, 1, 0, 3, 0}, {0, 3, 8, 11}, 4, 10}}) {
    CombFit fit;
    ASSERT_EQ(MeasureCombFit(c.v, 4, fit), 0);
    EXPECT_EQ(fit.nHalfSpacing, 2);
    EXPECT_EQ(fit.segments.vToothEdges, (std::vector<int>{-200, 2, 6, 10, 214}));
    EXPECT_EQ(fit.segments.vToothCentres, (std::vector<int>{0, 4, 8, 12}));
    EXPECT_EQ(fit.segments.vGapEdges, (std::vector<int>{0, 4, 8, 12}));
    EXPECT_EQ(fit.segments.vGapCentres, (std::vector<int>{2, 6, 10, 14}));
    EXPECT_EQ(fit.vToothPeaks, c.peaks);
    EXPECT_EQ(std::pair(fit.nCentreSum, fit.nEdgeSum), std::pair(c.centre, c.edge));
  }
}

TEST(CombFit, EdgeCases) {
  // All zeros: every extremum at the start of its segment, h 51. The maximum
  // at 0 adds h to the edge sum, every other extremum lies h from its centre.
  CombFit fit;
  ASSERT_EQ(MeasureCombFit(std::vector<double>(2048, 0.0), 21, fit), 0);
  ASSERT_EQ(fit.nHalfSpacing, 51);
  std::vector<int> starts = Steps(51, 1989, 102);
  starts.insert(starts.begin(), 0);
  EXPECT_EQ(fit.vToothPeaks, starts);
  EXPECT_EQ(std::pair(fit.nCentreSum, fit.nEdgeSum), std::pair(40 * 51, 51));
  // A spacing that reaches the comb length: one tooth over everything, no gap.
  CombSegments s;
  BuildCombSegments(10, 10, 10, s);
  EXPECT_EQ(s.vToothEdges, (std::vector<int>{-1000, 1010}));
  EXPECT_EQ(s.vToothCentres, (std::vector<int>{0}));
  EXPECT_TRUE(s.vGapCentres.empty());
  // Teeth 16/9 = 1 element apart give h 0, an empty array no comb: no fit.
  for (const std::vector<double>& v :
       {std::vector<double>{9, 1, 8, 2, 7, 3, 6, 4, 5, 5, 4, 6, 3, 7, 2, 8}, std::vector<double>{}}) {
    fit.vToothPeaks = {1, 2, 3};
    ASSERT_EQ(MeasureCombFit(v, 10, fit), 0);
    EXPECT_EQ(fit.nHalfSpacing + fit.nCentreSum + fit.nEdgeSum, 0);
    EXPECT_TRUE(fit.vToothPeaks.empty());
    EXPECT_FALSE(StrictCombFits(fit) || SoftCombInPhase(fit));
  }
}

CombFit Sums(int nCentre, int nEdge, int h = 7) {
  CombFit fit;
  fit.nHalfSpacing = h;
  fit.nCentreSum = nCentre;
  fit.nEdgeSum = nEdge;
  return fit;
}

// Strict: 0.95 * centre not above edge; soft: edge not below centre; both
// need a comb (h > 0). The soft race: of the combs in phase the greatest lead
// of edge over centre wins, a lead of 0 can't, ties keep the lower index.
TEST(CombFit, FitTestsAndTheSoftRace) {
  for (auto [centre, edge, h, strict, soft] : std::vector<std::tuple<int, int, int, bool, bool>>{
           {100, 95, 7, true, false}, {100, 94, 7, false, false}, {100, 96, 7, true, false},
           {20, 19, 7, true, false}, {20, 18, 7, false, false}, {0, 0, 7, true, true},
           {1, 0, 7, false, false}, {10, 10, 7, true, true}, {10, 11, 7, true, true},
           {0, 0, 0, false, false}}) {
    EXPECT_EQ(StrictCombFits(Sums(centre, edge, h)), strict) << centre << " " << edge;
    EXPECT_EQ(SoftCombInPhase(Sums(centre, edge, h)), soft) << centre << " " << edge;
  }
  SoftRace race(3);
  EXPECT_FALSE(race.Offer(5, Sums(10, 10, 9)));
  EXPECT_EQ(race.nBestCandidate, 3);
  EXPECT_FALSE(race.Offer(6, Sums(10, 12, 8)));
  EXPECT_EQ(race.nBestCandidate, 6);
  EXPECT_FALSE(race.Offer(7, Sums(10, 14, 7)));
  EXPECT_FALSE(race.Offer(8, Sums(20, 24, 6)));  // the same lead of 4
  EXPECT_TRUE(race.Offer(9, Sums(30, 10, 5)));   // out of phase
  EXPECT_TRUE(race.Offer(10, Sums(0, 0, 0)));    // no comb
  EXPECT_EQ(std::tuple(race.nBestCandidate, race.dBestMargin, race.nBestHalfSpacing),
            std::tuple(7, -4.0, 7));
}

TEST(NotchCorners, WorkedExampleCountsClippingAndOrder) {
  // h 50 on 2048, 10.5 harmonics, width 0.5: w 12.5, t 5, ten notches, 40 corners.
  std::vector<double> f;
  std::vector<int> g;
  BuildNotchCorners(10.5, 50, 2048, 0.5, f, g);
  ASSERT_EQ(f.size(), 40u);
  for (auto [i, corner, gain] : std::vector<std::tuple<int, double, int>>{
           {0, 0, 1}, {1, 82.5, 1}, {2, 87.5, 0}, {3, 107.5, 0}, {4, 112.5, 1}, {33, 882.5, 1},
           {36, 912.5, 1}, {37, 982.5, 1}, {38, 987.5, 0}, {39, 1024, 0}})
    EXPECT_EQ(std::pair(f[i] * 1024, g[i]), std::pair(corner, gain)) << i;
  // Notches run while k stays below the harmonics, 4 corners each.
  for (auto [dHarmonics, nCorners] : std::vector<std::pair<double, std::size_t>>{
           {3.5, 12}, {4.0, 12}, {3.0, 8}, {4.5, 16}, {2.0, 4}, {7.0, 24}}) {
    BuildNotchCorners(dHarmonics, 20, 2048, 0.5, f, g);
    EXPECT_EQ(f.size(), nCorners) << dHarmonics;
  }
  // h 10 on 40 elements (Nyquist 20): an upper edge at 22.5 is clipped to 1.0.
  BuildNotchCorners(2.5, 10, 40, 0.5, f, g);
  EXPECT_EQ(std::vector<double>(f.begin(), f.begin() + 5),
            (std::vector<double>{0.0, 16.5 / 20, 17.5 / 20, 1.0, 1.0}));
  // Corners never fall, even at the limits of the width.
  for (double width : {0.1, 0.5, 1.0, 1.9}) {
    for (int h = 1; h <= 300; ++h) {
      BuildNotchCorners(15.0, h, 32768, width, f, g);
      for (std::size_t i = 1; i < f.size(); ++i) ASSERT_GE(f[i], f[i - 1]) << width << " h " << h;
    }
  }
}

// Losses of 0, 60, 100, 100 (negative output), -20, 45 and exactly 50 percent:
// a share equal to the threshold stays, raised points and points at 0 or
// below are never touched; the count is of the points set to 0.
TEST(YFilterRemoval, PointsLosingMoreThanTheThresholdGo) {
  const std::vector<double> filtered{5.0, 10.0, 4.0, 0.0, -3.0, 12.0, 0.0, 5.5, 5.0};
  const std::vector<std::tuple<double, std::vector<double>, int>> cases = {
      {50, {0, 10, 0, 0, 0, 10, -5, 10, 10}, 3},    {0, {0, 10, 0, 0, 0, 10, -5, 0, 0}, 5},
      {44.9, {0, 10, 0, 0, 0, 10, -5, 0, 0}, 5},    {99.9, {0, 10, 10, 0, 0, 10, -5, 10, 10}, 2},
      {100, {0, 10, 10, 10, 10, 10, -5, 10, 10}, 0}, {250, {0, 10, 10, 10, 10, 10, -5, 10, 10}, 0}};
  for (const auto& [dThreshold, want, nRemoved] : cases) {
    std::vector<double> vOut{0.0, 10.0, 10.0, 10.0, 10.0, 10.0, -5.0, 10.0, 10.0};
    EXPECT_EQ(RemoveLostPoints(dThreshold, filtered, vOut), nRemoved) << dThreshold;
    EXPECT_EQ(vOut, want) << dThreshold;
  }
}

// The whole removal on a real design: 40 corners, the log line, and a pass
// band that leaves a lone peak alone.
TEST(YFilterRemoval, DesignsFiltersAndLogs) {
  std::vector<double> v(2048, 0.0);
  v[1000] = 100.0;
  const Dta dta = test::GridSpectrum(v);
  std::vector<double> vOut = dta.vIntensity;
  std::string log;
  const DeisotopeSettings settings{0, 0, 0.5, 50.0, &log};
  EXPECT_EQ(DeisotopeWithYFilter(settings, 10.5, 50, 2048, dta, vOut), Verdict::Cleaned);
  EXPECT_EQ(log, "\t-Deisotoping algorithm removed 0 peaks.\n");
  EXPECT_EQ(vOut, dta.vIntensity);
}

}  // namespace
}  // namespace orvane::filtering
