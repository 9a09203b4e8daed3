// The stages of the de-isotoping on chosen numbers: transform lengths, the
// periodicity spectrum on a scripted component, the comb fit and its tests,
// the Y-filter corners and the removal of the points that lose too much.
#include <gtest/gtest.h>

#include "filtering/deisotope_stages.h"
#include "support/fake_stages.h"
#include "support/test_support.h"

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
// hundredth of the overall value truncates to 0, mirrored, transformed again.
TEST(Periodicity, PaddedCutLiftedAndMirrored) {
  const std::vector<std::pair<double, double>> lifts = {
      {1000.0, 1.0}, {0.0, 100.0}, {99.9, 100.0}, {99.99999, 100.0}, {100.0, 1.0}, {-99.0, 100.0},
      {1e300, 1.0}};
  for (auto [overall, lift] : lifts) {
    test::FakeTonalith t;
    test::FakeAnalyze analyze;
    t.overall = overall;
    const Dta dta = test::GridSpectrum({1.0, 2.0, 3.0, 4.0, 5.0});
    std::vector<double> vOut{-7.0};
    PeriodicitySpectrum s;
    ASSERT_EQ(BuildPeriodicitySpectrum(&t, &analyze, dta, 5, Routine::Strict, vOut, s), 0);
    EXPECT_EQ(vOut, dta.vIntensity);
    ASSERT_EQ(t.fftLengths, (std::vector<int>{16, 16}));
    EXPECT_EQ(t.fftInputs[0],
              std::vector<double>({1, 2, 3, 4, 5, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    std::vector<double> m{1, 2, 3, 4, 5, 0, 0, 0};
    for (double& x : m) x *= lift;
    EXPECT_EQ(t.medianInput, m) << overall;
    EXPECT_EQ(std::pair(t.medianLength, t.medianWidth), std::pair(8, 5));
    m.insert(m.end(), m.rbegin(), m.rend());
    EXPECT_EQ(s.vMedian, m);
    EXPECT_EQ(t.fftInputs[1], m);
    EXPECT_EQ(s.nMedianLength, 16);
  }
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
// below are never touched. The log counts the removed points.
TEST(YFilterRemoval, PointsLosingMoreThanTheThresholdGo) {
  const std::vector<std::tuple<double, std::vector<double>, int>> cases = {
      {50, {0, 10, 0, 0, 0, 10, -5, 10, 10}, 3},    {0, {0, 10, 0, 0, 0, 10, -5, 0, 0}, 5},
      {44.9, {0, 10, 0, 0, 0, 10, -5, 0, 0}, 5},    {99.9, {0, 10, 10, 0, 0, 10, -5, 10, 10}, 2},
      {100, {0, 10, 10, 10, 10, 10, -5, 10, 10}, 0}, {250, {0, 10, 10, 10, 10, 10, -5, 10, 10}, 0}};
  for (const auto& [dThreshold, want, nRemoved] : cases) {
    test::FakeTonalith t;
    t.applyOutput = [](const std::vector<double>&) {
      return std::vector<double>{5.0, 10.0, 4.0, 0.0, -3.0, 12.0, 0.0, 5.5, 5.0};
    };
    test::TempDir dir;
    CStdioFile log;
    ASSERT_TRUE(log.Open(dir.File("run.log"), CStdioFile::modeWrite | CStdioFile::modeCreate));
    const Dta dta = test::GridSpectrum({0.0, 10.0, 10.0, 10.0, 10.0, 10.0, -5.0, 10.0, 10.0});
    std::vector<double> vOut = dta.vIntensity;
    const DeisotopeSettings settings{0, 0, 0.5, dThreshold, true, &log};
    EXPECT_EQ(DeisotopeWithYFilter(&t, settings, 10.5, 50, 2048, dta, vOut), 1);
    EXPECT_EQ(vOut, want) << dThreshold;
    EXPECT_EQ(std::pair(t.designPoints, t.applyInitial), std::pair(40, 0));
    log.Close();
    EXPECT_EQ(test::ReadFile(dir.File("run.log")),
              Format("\t-Deisotoping algorithm removed %d peaks.\n", nRemoved));
  }
}

}  // namespace
}  // namespace orvane::filtering
