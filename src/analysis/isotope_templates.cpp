// The isotope cluster templates, built from one table of knots.
//
// Each row describes the isotope envelope of fragments in a 100 mass unit
// band: the heights of the first five isotope peaks relative to the first
// (K0 = 100). On the grid the peaks stand s columns apart (6 for threefold,
// 10 for twofold charged fragments), and the columns between two peaks follow
// the straight line between them, so the template is the shape that a cluster
// takes once DenseSpectrum has closed its gaps.
#include <algorithm>
#include <array>

#include "analysis/grid_math.h"
#include "analysis/isotope_templates.h"

namespace orvane {
namespace {

// K1 to K4 of each row, in hundredths of a percent of the first peak.
constexpr std::array<std::array<std::int32_t, 4>, IsotopeTemplates::kRows> kKnots = {{
    {455, 62, 12, 0},           {1031, 162, 33, 0},         {1603, 302, 32, 0},
    {2180, 467, 74, 8},         {2766, 668, 108, 16},       {3332, 897, 191, 28},
    {3911, 1163, 266, 42},      {4475, 1467, 358, 74},      {5067, 1801, 478, 106},
    {5634, 2191, 608, 155},     {6217, 2569, 784, 213},     {6799, 3001, 993, 271},
    {7366, 3474, 1213, 358},    {7941, 3978, 1472, 468},    {8509, 4514, 1760, 590},
    {9092, 5074, 2098, 716},    {9669, 5679, 2457, 882},    {10246, 6311, 2855, 1061},
    {10821, 6974, 3291, 1301},  {11405, 7664, 3797, 1536},  {11968, 8408, 4319, 1807},
    {12534, 9172, 4882, 2128},  {13137, 9956, 5531, 2500},  {13711, 10783, 6205, 2862},
    {14276, 11659, 6920, 3318}, {14855, 12560, 7705, 3808}, {15427, 13494, 8536, 4340},
    {16005, 14465, 9431, 4923}, {16578, 15454, 10393, 5604}, {17157, 16491, 11416, 6328},
    {17732, 17540, 12497, 7121}, {18306, 18630, 13641, 7976}, {18887, 19780, 14863, 8900},
    {19467, 20933, 16152, 9919}, {20035, 22131, 17503, 11022}, {20616, 23359, 18945, 12187},
    {21198, 24629, 20441, 13467}, {21765, 25927, 22017, 14841}, {22338, 27259, 23684, 16303},
    {22912, 28615, 25426, 17881}, {23495, 30007, 27257, 19558}, {24067, 31441, 29159, 21379},
    {24646, 32899, 31157, 23301}, {25219, 34390, 33244, 25341}, {25799, 35917, 35426, 27523},
    {26366, 37482, 37689, 29859}, {26947, 39084, 40044, 32324}, {27520, 40715, 42489, 34936},
    {28097, 42369, 45066, 37686}, {28681, 44058, 47729, 40607}, {29255, 45790, 50460, 43713},
    {29823, 47542, 53339, 46969}, {30404, 49340, 56291, 50424}, {30980, 51164, 59383, 54031},
    {31556, 53011, 62568, 57858}, {32132, 54916, 65863, 61869}, {32711, 56834, 69275, 66092},
    {33286, 58802, 72798, 70512}, {33858, 60797, 76437, 75160}, {34434, 62825, 80193, 80042},
}};

constexpr std::int32_t kFirstPeak = 10000;  // K0 = 100, in hundredths

// Entry c of a row with isotope steps of s columns: the straight line between
// the two knots around c, rounded to a whole number with halves going up.
// Exact: the line is evaluated in integers (hundredths times s).
std::int32_t Entry(const std::array<std::int32_t, 5>& knots, int c, int s) {
  const int k = c / s;
  if (k >= 4) return (knots[4] + 50) / 100;
  const int t = c - k * s;
  const std::int64_t num = static_cast<std::int64_t>(knots[k]) * (s - t) +
                           static_cast<std::int64_t>(knots[k + 1]) * t;
  // num / (100 s) rounded half up; all knots are non-negative.
  const std::int64_t den = 100LL * s;
  return static_cast<std::int32_t>((2 * num + den) / (2 * den));
}

}  // namespace

IsotopeTemplates::IsotopeTemplates(int nChargeIn) {
  const int nStep = nChargeIn == 3 ? 6 : 10;
  nCharge = nChargeIn == 3 ? 3 : 2;
  nColumns = 4 * nStep + 1;
  vRows.resize(static_cast<std::size_t>(kRows) * static_cast<std::size_t>(nColumns));
  for (int r = 0; r < kRows; ++r) {
    const std::array<std::int32_t, 5> knots = {kFirstPeak, kKnots[r][0], kKnots[r][1],
                                               kKnots[r][2], kKnots[r][3]};
    for (int c = 0; c < nColumns; ++c)
      vRows[static_cast<std::size_t>(r * nColumns + c)] = Entry(knots, c, nStep);
  }
  pTable = vRows.data();
}

IsotopeTemplates::IsotopeTemplates(const IsotopeTemplates& other)
    : vRows(other.vRows), nColumns(other.nColumns), nCharge(other.nCharge) {
  pTable = vRows.data();
}

IsotopeTemplates& IsotopeTemplates::operator=(const IsotopeTemplates& other) {
  if (this != &other) {
    vRows = other.vRows;
    nColumns = other.nColumns;
    nCharge = other.nCharge;
    pTable = vRows.data();
  }
  return *this;
}

std::vector<std::int32_t> IsotopeTemplates::GetTemplate(double dMass) const {
  // (dMass - 1) * nCharge is the fragment mass without its charges; rows
  // beyond the table's ends take the first or the last row.
  const std::int32_t nRow =
      std::clamp(grid::TruncInt32((dMass - 1.0) * nCharge / 100.0), 0, kRows - 1);
  const std::int32_t* pRow = Row(nRow);
  return std::vector<std::int32_t>(pRow, pRow + nColumns);
}

const std::int32_t* IsotopeTemplates::Row(int nRow) const {
  if (nRow < 0 || nRow >= kRows) return nullptr;
  return pTable + static_cast<std::ptrdiff_t>(nRow) * nColumns;
}

}  // namespace orvane
