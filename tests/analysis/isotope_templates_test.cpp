// The isotope templates and their row pick.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

#include "analysis/isotope_templates.h"

namespace orvane {
namespace {

std::vector<std::int32_t> RowOf(const IsotopeTemplates& t, int nRow) {
  const std::int32_t* p = t.Row(nRow);
  return std::vector<std::int32_t>(p, p + t.GetColumns());
}

TEST(IsotopeTemplates, Shapes) {
  const IsotopeTemplates three(3);
  EXPECT_EQ(three.GetCharge(), 3);
  EXPECT_EQ(three.GetColumns(), 25);
  const IsotopeTemplates two(2);
  EXPECT_EQ(two.GetCharge(), 2);
  EXPECT_EQ(two.GetColumns(), 41);
  // Any charge but 3 builds the twofold table.
  const IsotopeTemplates other(5);
  EXPECT_EQ(other.GetCharge(), 2);
  EXPECT_EQ(other.GetColumns(), 41);
  EXPECT_EQ(RowOf(other, 17), RowOf(two, 17));
  EXPECT_EQ(three.Row(-1), nullptr);
  EXPECT_EQ(three.Row(60), nullptr);
}

TEST(IsotopeTemplates, ThreefoldRowZero) {
  EXPECT_EQ(RowOf(IsotopeTemplates(3), 0),
            std::vector<std::int32_t>({100, 84, 68, 52, 36, 20, 5, 4, 3, 3, 2, 1, 1,
                                       1,   0,  0,  0,  0,  0,  0, 0, 0, 0, 0, 0}));
}

TEST(IsotopeTemplates, ThreefoldRowTwentyTwo) {
  EXPECT_EQ(RowOf(IsotopeTemplates(3), 22),
            std::vector<std::int32_t>({100, 105, 110, 116, 121, 126, 131, 126, 121,
                                       115, 110, 105, 100, 92,  85,  77,  70,  63,
                                       55,  50,  45,  40,  35,  30,  25}));
}

TEST(IsotopeTemplates, TwofoldRowTwo) {
  EXPECT_EQ(RowOf(IsotopeTemplates(2), 2),
            std::vector<std::int32_t>({100, 92, 83, 75, 66, 58, 50, 41, 33, 24, 16, 15, 13, 12,
                                       11,  10, 8,  7,  6,  4,  3,  3,  2,  2,  2,  2,  1,  1,
                                       1,   1,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0,  0}));
}

TEST(IsotopeTemplates, TwofoldRowFiftyNine) {
  EXPECT_EQ(RowOf(IsotopeTemplates(2), 59),
            std::vector<std::int32_t>({100, 124, 149, 173, 198, 222, 247, 271, 295, 320, 344,
                                       373, 401, 430, 458, 486, 515, 543, 571, 600, 628, 646,
                                       663, 680, 698, 715, 732, 750, 767, 785, 802, 802, 802,
                                       801, 801, 801, 801, 801, 801, 801, 800}));
}

TEST(IsotopeTemplates, RowEnds) {
  const IsotopeTemplates three(3);
  const IsotopeTemplates two(2);
  EXPECT_EQ(three.Row(59)[24], 800);
  EXPECT_EQ(three.Row(0)[24], 0);
  EXPECT_EQ(two.Row(0)[40], 0);
  // Row 17: the second isotope peak outweighs the first.
  EXPECT_EQ(three.Row(17)[6], 102);
  EXPECT_EQ(two.Row(17)[10], 102);
}

TEST(IsotopeTemplates, BothTablesShareTheKnots) {
  // The knots stand at every s-th column: 6 for threefold, 10 for twofold.
  const IsotopeTemplates three(3);
  const IsotopeTemplates two(2);
  for (int r = 0; r < IsotopeTemplates::kRows; ++r) {
    EXPECT_EQ(three.Row(r)[0], 100) << r;
    for (int k = 0; k <= 4; ++k) EXPECT_EQ(three.Row(r)[6 * k], two.Row(r)[10 * k]) << r << "/" << k;
  }
}

TEST(IsotopeTemplates, CopiesOwnTheirRows) {
  IsotopeTemplates* pOriginal = new IsotopeTemplates(3);
  const IsotopeTemplates copy(*pOriginal);
  IsotopeTemplates assigned(2);
  assigned = *pOriginal;
  const std::vector<std::int32_t> row22 = RowOf(*pOriginal, 22);
  delete pOriginal;
  EXPECT_EQ(RowOf(copy, 22), row22);
  EXPECT_EQ(RowOf(assigned, 22), row22);
  EXPECT_EQ(assigned.GetColumns(), 25);
  EXPECT_EQ(assigned.GetCharge(), 3);
}

struct PickCase {
  int nCharge;
  double dMass;
  int nRow;
};

class RowPick : public ::testing::TestWithParam<PickCase> {};

TEST_P(RowPick, TakesTheRowOfTheFragmentMass) {
  const IsotopeTemplates t(GetParam().nCharge);
  EXPECT_EQ(t.GetTemplate(GetParam().dMass), RowOf(t, GetParam().nRow));
}

INSTANTIATE_TEST_SUITE_P(
    Cases, RowPick,
    ::testing::Values(PickCase{2, 500.0, 9},  // (500 - 1) * 2 / 100 = 9.98
                      PickCase{2, 501.0, 10}, PickCase{2, 1.0, 0}, PickCase{3, 1.0, 0},
                      PickCase{3, 301.0, 9}, PickCase{3, 334.0, 9}, PickCase{3, 334.4, 10},
                      PickCase{2, 2950.0, 58}, PickCase{2, 2951.0, 59},
                      // Beyond the table: clamped to its first and last rows.
                      PickCase{2, 3001.0, 59}, PickCase{3, 5000.0, 59}, PickCase{2, 0.5, 0},
                      PickCase{3, -1000.0, 0}, PickCase{2, 1.0e12, 59},
                      PickCase{2, std::numeric_limits<double>::quiet_NaN(), 0}));

}  // namespace
}  // namespace orvane
