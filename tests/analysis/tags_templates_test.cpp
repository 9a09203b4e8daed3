// CheckSequenceTags and the isotope templates.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "analysis/analysis.h"
#include "analysis_test_util.h"

namespace orvane {
namespace {

using test::MakeDta;
using V = std::vector<double>;

bool HasTag(const Dta* pDta, int nLength, double dTolerance, int nLadder) {
  bool b = true;  // must be reset by the call
  CheckSequenceTags(pDta, nLength, dTolerance, nLadder, &b);
  return b;
}

TEST(CheckSequenceTags, Verdicts) {
  // Intensities 1 to 10: a ladder of 50 percent makes 6 the threshold. The two
  // low peaks are one A (71.03711) apart, the others 200.
  const V ten = {100.0, 171.03711, 400, 600, 800, 1000, 1200, 1400, 1600, 1800};
  const V abc = {100.0, 171.04, 228.06};  // A then G
  const V greedy = {100.0, 157.02146, 171.03711, 242.07422};
  struct Row { V m, a; int length; double tolerance; int ladder; bool tag; };
  const Row rows[] = {
      {abc, {10, 20, 30}, 2, 0.1, 0, true},
      {abc, {10, 20, 10}, 2, 0.1, 0, false},  // a ladder peak must lie above the threshold
      {abc, {10, 20, 10}, 1, 0.1, 0, true},
      {abc, {10, 20, 30}, 1, 0.1, 100, false},
      {abc, {10, 20, 30}, 1, 0.1, 250, false},  // ladders are clamped to 0..100
      {abc, {10, 20, 30}, 2, 0.1, -50, true},
      {ten, {6, 7, 1, 2, 3, 4, 5, 8, 9, 10}, 1, 0.01, 50, true},  // a start may equal it
      {ten, {7, 6, 1, 2, 3, 4, 5, 8, 9, 10}, 1, 0.01, 50, false},
      {ten, {7, 6, 1, 2, 3, 4, 5, 8, 9, 10}, 1, 0.01, 40, true},
      {{100.0, 171.04}, {10, 20}, 0, 0.1, 0, true},  // length 0 or less: one step
      {{100.0, 171.04}, {10, 20}, -3, 0.1, 0, true},
      {{100.0, 150.0, 190.0}, {10, 20, 30}, 0, 0.1, 0, false},
      {{100.0, 286.07931}, {1, 2}, 1, 0.01, 0, true},  // W
      {{100.0, 213.08406}, {1, 2}, 1, 0.01, 0, true},  // L and I
      {greedy, {5, 10, 10, 10}, 2, 0.001, 0, false},   // the walk takes G and never goes back
      {greedy, {5, 10, 10, 10}, 1, 0.001, 0, true},
      {{100.0, 287.0, 171.03711}, {10, 1, 20}, 1, 0.01, 50, false},  // 187.0 above ends the walk
      {{100.0, 286.99, 171.03711}, {10, 1, 20}, 1, 0.01, 50, true},
  };
  for (const Row& r : rows) {
    const Dta dta = MakeDta(r.m, r.a);
    EXPECT_EQ(HasTag(&dta, r.length, r.tolerance, r.ladder), r.tag) << r.m[1] << " " << r.length << " " << r.ladder;
  }
  const Dta dta = MakeDta({100.0, 157.3}, {1, 2});
  const double dOff = std::fabs((157.3 - 100.0) - 57.02146);  // the match is strict
  EXPECT_FALSE(HasTag(&dta, 1, dOff, 0));
  EXPECT_TRUE(HasTag(&dta, 1, std::nextafter(dOff, 1.0), 0));
  const Dta empty;
  EXPECT_FALSE(HasTag(&empty, 1, 0.5, 50));
  EXPECT_FALSE(HasTag(nullptr, 1, 0.5, 50));
}

std::vector<std::int32_t> RowOf(const IsotopeTemplates& t, int nRow) {
  return std::vector<std::int32_t>(t.Row(nRow), t.Row(nRow) + t.GetColumns());
}

TEST(IsotopeTemplates, Rows) {
  const IsotopeTemplates three(3);
  const IsotopeTemplates two(2);
  EXPECT_EQ(IsotopeTemplates(5).GetCharge(), 2);  // any charge but 3 is twofold
  EXPECT_EQ(three.Row(60), nullptr);
  EXPECT_EQ(RowOf(three, 0), std::vector<std::int32_t>({100, 84, 68, 52, 36, 20, 5, 4, 3, 3, 2, 1, 1,
                                                        1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(RowOf(three, 22), std::vector<std::int32_t>({100, 105, 110, 116, 121, 126, 131, 126, 121,
                                                         115, 110, 105, 100, 92, 85, 77, 70, 63,
                                                         55, 50, 45, 40, 35, 30, 25}));
  EXPECT_EQ(RowOf(two, 2), std::vector<std::int32_t>({100, 92, 83, 75, 66, 58, 50, 41, 33, 24, 16, 15, 13, 12,
                                                      11, 10, 8, 7, 6, 4, 3, 3, 2, 2, 2, 2, 1, 1,
                                                      1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(RowOf(two, 59), std::vector<std::int32_t>({100, 124, 149, 173, 198, 222, 247, 271, 295, 320, 344,
                                                       373, 401, 430, 458, 486, 515, 543, 571, 600, 628, 646,
                                                       663, 680, 698, 715, 732, 750, 767, 785, 802, 802, 802,
                                                       801, 801, 801, 801, 801, 801, 801, 800}));
  EXPECT_EQ(three.Row(59)[24], 800);
  EXPECT_EQ(three.Row(17)[6], 102);
  // The knots stand at every 6th (threefold) and 10th (twofold) column.
  for (int r = 0; r < IsotopeTemplates::kRows; ++r)
    for (int k = 0; k <= 4; ++k) EXPECT_EQ(three.Row(r)[6 * k], two.Row(r)[10 * k]) << r << "/" << k;
  // The row of a fragment mass m is trunc((m - 1) * z / 100), clamped to the table.
  const double picks[][3] = {{2, 500.0, 9},  {2, 501.0, 10},  {2, 1.0, 0},     {3, 301.0, 9},
                             {3, 334.0, 9},  {3, 334.4, 10},  {2, 2950.0, 58}, {2, 2951.0, 59},
                             {2, 3001.0, 59}, {3, 5000.0, 59}, {3, -1000.0, 0}, {2, 1.0e12, 59},
                             {2, std::numeric_limits<double>::quiet_NaN(), 0}};
  for (const auto& [z, m, row] : picks) {
    const IsotopeTemplates t(static_cast<int>(z));
    EXPECT_EQ(t.GetTemplate(m), RowOf(t, static_cast<int>(row))) << z << " " << m;
  }
}

}  // namespace
}  // namespace orvane
