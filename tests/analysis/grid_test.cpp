// The regular grid: MakeEquidistant's rounding, folding and zero fill,
// DenseSpectrum's ramps, and both merging rules.
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
using V = std::vector<double>;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(MakeEquidistant, RoundsToTheGridAfterTruncatingToHundredths) {
  const double rows[][2] = {{100.00, 100.00}, {100.02, 100.00}, {100.03, 100.05}, {100.07, 100.05},
                            {100.08, 100.10}, {100.029, 100.00}, {100.079, 100.05},
                            {100.0999, 100.10}, {1234.56, 1234.55}, {99.98, 100.00}, {0.004, 0.0}};
  for (const auto& r : rows) {
    Dta dta = MakeDta({r[0]}, {7.0});
    ASSERT_EQ(MakeEquidistant(0.05, &dta), S_OK);
    EXPECT_EQ(dta.vMass, V{r[1]}) << r[0];
    EXPECT_EQ(dta.vIntensity, V{7.0});
  }
}

TEST(MakeEquidistant, FoldsAndFillsWithZeros) {
  struct Row { double step; V mIn, aIn, mOut, aOut; int sampling; };
  const Row rows[] = {
      // Peaks sharing a point keep the highest; the last peak is never folded.
      {0.05, {100.01, 100.02, 100.04}, {3, 9, 5}, {100.00, 100.05}, {9, 5}, 20},
      {0.05, {100.01, 100.02}, {3, 9}, {100.00, 100.00}, {3, 9}, 20},
      {0.05, {100.00, 100.01, 100.02, 100.10}, {2, 8, 4, 1}, {100.00, 100.05, 100.10}, {8, 0, 1}, 20},
      {0.05, {100.00, 100.01, 100.05}, {9, 1, 2}, {100.00, 100.05}, {9, 2}, 20},
      // Zero points while the next peak is more than 1.1 steps away.
      {0.05, {100.00, 100.30}, {4, 6}, {100.00, 100.05, 100.10, 100.15, 100.20, 100.25, 100.30},
       {4, 0, 0, 0, 0, 0, 6}, 20},
      {0.1, {100.00, 100.30}, {4, 6}, {100.00, 100.10, 100.20, 100.30}, {4, 0, 0, 6}, 10},
      {0.05, {100.00, 100.10, 100.15}, {1, 2, 3}, {100.00, 100.05, 100.10, 100.15}, {1, 0, 2, 3}, 20},
      // Peaks go to the 0.05 grid whatever the step.
      {0.005, {100.00, 100.02}, {1, 2}, {100.00, 100.00}, {1, 2}, 200},
  };
  for (const Row& r : rows) {
    Dta dta = MakeDta(r.mIn, r.aIn);
    ASSERT_EQ(MakeEquidistant(r.step, &dta), S_OK);
    EXPECT_EQ(dta.vMass, r.mOut) << r.mIn[0];
    EXPECT_EQ(dta.vIntensity, r.aOut) << r.mIn[0];
    EXPECT_TRUE(dta.IsEquidistant());
    EXPECT_EQ(dta.GetSampling(), r.sampling);
  }
}

// Every zero point, x = trunc((x + step) * 100 + 0.5) / 100 while m1 - x > 1.1 step.
TEST(MakeEquidistant, ZeroFillFollowsTheRoundingFormula) {
  const double rows[][3] = {{0.05, 100.0, 2150.0}, {0.05, 0.0, 30.0},     {0.1, 150.05, 1200.0},
                            {0.07, 100.0, 400.0},  {0.03, 333.35, 500.0}, {0.0051, 99.95, 120.0},
                            {0.123, 100.0, 900.0}, {1.0, 100.0, 3000.0},  {0.045, 100.0, 400.0},
                            {0.095, 100.0, 400.0}, {0.5, 100.0, 400.0},   {0.05, 90000.0, 90500.0}};
  for (const auto& [step, from, to] : rows) {
    Dta dta = MakeDta({from, to}, {1.0, 2.0});
    ASSERT_EQ(MakeEquidistant(step, &dta), S_OK);
    V want = {from};
    for (double x = from; to - x > 1.1 * step;) want.push_back(x = std::trunc((x + step) * 100.0 + 0.5) / 100.0);
    want.push_back(to);
    EXPECT_EQ(dta.vMass, want) << step << " " << from;
  }
}

TEST(MakeEquidistant, RefusesWithAnErrorBox) {
  struct Row { double step; V m; };
  const Row rows[] = {{0.05, {}}, {0.0049, {100.01, 100.5}}, {0.0, {100.01, 100.5}},
                      {-0.05, {100.01, 100.5}}, {kNaN, {100.01, 100.5}},
                      {std::numeric_limits<double>::infinity(), {100.01, 100.5}},
                      {0.05, {100.0, 1.0e7}}, {0.05, {100.0, kNaN, 200.0}}};
  for (const Row& r : rows) {
    test::RecordingReporter reporter;
    Dta dta = MakeDta(r.m, V(r.m.size(), 1.0));
    EXPECT_EQ(MakeEquidistant(r.step, &dta), E_UNEXPECTED) << r.step;
    EXPECT_EQ(reporter.Texts(BoxKind::Error).size(), 1u) << r.step;
    EXPECT_FALSE(dta.IsEquidistant());
  }
  test::RecordingReporter reporter;
  Dta dta = MakeDta({200.00, 100.00}, {5.0, 6.0});
  EXPECT_EQ(MakeEquidistant(0.05, &dta), E_UNEXPECTED);
  EXPECT_EQ(reporter.Texts(BoxKind::Error), std::vector<std::string>{"Dta not sorted!: 100.000000 < 200.000000\n"});
}

TEST(DenseSpectrum, RampsShortRunsOfZerosBelowTheMassLimit) {
  // Points from first / 20 on; the limit is dMass / z + 1 + reach / 2.
  struct Row { int z; double dMass; int first; V in, out; };
  const Row rows[] = {
      {3, 1000, 2000, {10, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 5, 1},
       {10, 8, 6, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 5, 1}},
      {3, 1000, 2000, {10, 0, 0}, {10, 10 - 11.0 / 3, 10 - 22.0 / 3}},  // towards -1 at the end
      {3, 1000, 2000, {0, 0, 6, 0, 2}, {0, 0, 6, 4, 2}},                // leading zeros stay
      {3, 300, 2076, {5, 0, 0, 0, 5, 0, 0, 5}, {5, 5, 5, 5, 5, 0, 0, 5}},  // limit 104.00
      {2, 300, 2076, {5, 0, 0, 0, 5, 0, 0, 5}, {5, 5, 5, 5, 5, 5, 5, 5}},  // limit 156.00
      {3, 300, 2079, {9, 0, 0, 3, 0, 0, 1}, {9, 7, 5, 3, 0, 0, 1}},
      {3, 300, 2080, {5, 0, 5}, {5, 0, 5}},
  };
  for (const Row& r : rows) {
    Dta dta;
    dta.dMass = r.dMass;
    for (std::size_t k = 0; k < r.in.size(); ++k) dta.AddPeak((r.first + static_cast<int>(k)) / 20.0, r.in[k]);
    const V masses = dta.vMass;
    ASSERT_EQ(DenseSpectrum(r.z, &dta), S_OK);
    EXPECT_EQ(dta.vMass, masses);
    for (std::size_t k = 0; k < r.out.size(); ++k) EXPECT_NEAR(dta.vIntensity[k], r.out[k], 1e-9) << r.first << "/" << k;
  }
  // The longest run that is ramped, by charge; any other charge takes the widest reach.
  const int gaps[][3] = {{3, 7, 1}, {3, 8, 0}, {2, 14, 1}, {2, 15, 0}, {1, 24, 1}, {1, 25, 0}, {4, 24, 1}, {4, 25, 0}, {0, 24, 1}};
  for (const auto& [z, zeros, filled] : gaps) {
    Dta dta;
    dta.dMass = 3000.0;
    for (int k = 0; k < zeros + 3; ++k) dta.AddPeak((2000 + k) / 20.0, k == 0 ? 50.0 : k == zeros + 1 ? 2.0 : k == zeros + 2 ? 7.0 : 0.0);
    ASSERT_EQ(DenseSpectrum(z, &dta), S_OK);
    for (int j = 1; j <= zeros; ++j)
      EXPECT_NEAR(dta.vIntensity[static_cast<std::size_t>(j)], filled ? 50.0 - j * 48.0 / (zeros + 1) : 0.0, 1e-9) << z << "/" << zeros;
  }
  test::RecordingReporter reporter;
  Dta empty;
  EXPECT_EQ(DenseSpectrum(2, &empty), E_UNEXPECTED);
  EXPECT_EQ(reporter.Texts(BoxKind::Plain), std::vector<std::string>{"Working DTA not valid"});
}

TEST(Merging, StrongestFirstAndClosestFirst) {
  struct Row { V m, a; double spacing; V strongest, closest; };
  const Row rows[] = {
      // 100.2 - 100.0 and 100.4 - 100.2 are the same double: the closest-first
      // set holds only the first edge of equal weight.
      {{100.0, 100.2, 100.4}, {5, 9, 7}, 0.25, {0, 9, 0}, {0, 9, 7}},
      {{100.0, 100.2, 100.41}, {5, 9, 7}, 0.25, {0, 9, 0}, {0, 9, 0}},
      {{100.0, 100.2, 100.4}, {9, 8, 7}, 0.25, {9, 0, 7}, {9, 0, 7}},
      {{100.0, 100.1}, {5, 5}, 0.25, {5, 0}, {5, 0}},        // equal: the lower index wins
      {{100.0, 100.25}, {5, 9}, 0.25, {0, 9}, {0, 9}},       // the bound is included
      {{100.0, 100.25}, {5, 9}, 0.2499, {5, 9}, {5, 9}},
      {{100.0, 100.2, 100.3, 100.52}, {9, 8, 7, 6}, 0.25, {9, 0, 7, 0}, {9, 0, 0, 6}},
      {{100.0}, {3}, 0.25, {3}, {3}},
      {{100.0, 100.0, 100.1}, {1, 2, 3}, -0.5, {1, 2, 3}, {1, 2, 3}},
      {{100.0, 100.0, 100.1}, {1, 2, 3}, 0.0, {0, 2, 3}, {1, 2, 3}},
      {{100.0, 100.25, 200.0, 200.25}, {5, 9, 5, 9}, 0.5, {0, 9, 0, 9}, {0, 9, 5, 9}},
      {{100.0, 100.25, 199.875, 200.0, 200.25}, {5, 9, 7, 5, 9}, 0.5, {0, 9, 0, 0, 9}, {0, 9, 0, 0, 9}},
      {{100.0, 100.1, 100.2}, {0, 0, 4}, 0.15, {0, 0, 4}, {0, 0, 4}},
  };
  for (const Row& r : rows) {
    Dta strongest = MakeDta(r.m, r.a);
    Dta closest = MakeDta(r.m, r.a);
    EXPECT_EQ(MergePeaks(&strongest, r.spacing), S_OK);
    EXPECT_EQ(MergeClosestPeaks(&closest, r.spacing), S_OK);
    EXPECT_EQ(strongest.vIntensity, r.strongest) << r.m.back() << " " << r.spacing;
    EXPECT_EQ(closest.vIntensity, r.closest) << r.m.back() << " " << r.spacing;
    EXPECT_EQ(strongest.vMass, r.m);
  }
  test::RecordingReporter reporter;
  Dta empty;
  EXPECT_EQ(MergeClosestPeaks(&empty, 0.5), S_OK);
  EXPECT_EQ(MergePeaks(&empty, 0.5), E_UNEXPECTED);
  EXPECT_EQ(reporter.Texts(BoxKind::Plain), std::vector<std::string>{"Dta not valid"});
}

}  // namespace
}  // namespace orvane
