// The verdicts of the two routines on scripted periodicity spectra, median
// filter answers and statistics: every gate and boundary as a row.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <numbers>

#include "filtering/deisotope_stages.h"
#include "support/fake_stages.h"
#include "support/test_support.h"

namespace orvane {
namespace {

// 1000 points: transforms of 2048, and a median filter answer of 1024 values
// that is either a comb 102 elements from tooth to tooth (the mirrored array
// fits period index 21, h 51, best) or a ramp, which fits no comb at all. The
// periodicity spectrum: the zero-period power at 0, the values given, 0.05
// elsewhere.
struct Row {
  const char* name;
  bool bSoft, bRamp;
  std::map<int, double> values;
  int result, corners = -1;  // the order of the Y-filter designed, -1: none
  int nMax = 30;
  double dZero = 1e6;
  std::size_t size = 2048;
  double first = 1.0, second = 1.0;
  bool bLog = true;
};

struct Routines {
  test::FakeTonalith tonalith;
  test::FakeAnalyze analyze;
  test::TempDir dir;
  CStdioFile log;
  Dta dta;
  std::vector<double> vOut;
  int result;
  explicit Routines(const Row& row) {
    std::vector<double> v(1000);
    for (std::size_t i = 0; i < v.size(); ++i) v[i] = static_cast<double>((i * 7) % 13);
    dta = test::GridSpectrum(v);
    for (std::size_t i = 0; i < 1024; ++i)
      tonalith.median.push_back(row.bRamp ? i : 1.0 + std::cos(2.0 * std::numbers::pi * i / 102.0));
    tonalith.periodicity.assign(row.size, 0.05);
    if (row.size > 0) tonalith.periodicity[0] = row.dZero;
    for (auto [i, d] : row.values)
      if (std::size_t(i) < row.size) tonalith.periodicity[std::size_t(i)] = d;
    tonalith.statFirst = row.first;
    tonalith.statSecond = row.second;
    log.Open(dir.File("run.log"), CStdioFile::modeWrite | CStdioFile::modeCreate);
    const DeisotopeSettings s{row.nMax, 3, 0.5, 50.0, row.bLog, &log};
    result = row.bSoft ? DeisotopeSoft(&tonalith, &analyze, s, dta, vOut)
                       : DeisotopeStrict(&tonalith, &analyze, s, dta, vOut);
    log.Close();
  }
};

TEST(Verdicts, GatesAndBoundaries) {
  const double dEdge = 100.0 / 2e-05;  // 1.0 is exactly 2e-05 percent of it
  const double dAbove = std::nextafter(dEdge, 1e300);
  std::vector<Row> rows = {
      {"strict: period index 21", false, false, {{20, 50.0}}, 1, 40},
      {"strict: nothing above 0.1", false, false, {{20, 0.1}}, 2},
      {"strict: below 13 cleared", false, false, {{12, 500.0}, {5, 900.0}}, 2},
      {"strict: maximum of 13", false, false, {{12, 500.0}, {13, 500.0}}, 2, -1, 13},
      {"strict: maximum exclusive", false, false, {{30, 500.0}}, 2},
      {"strict: far over ten times", false, false, {{20, 50.0}, {100, 500.1}}, 2},
      {"strict: far ten times", false, false, {{20, 50.0}, {100, 500.0}}, 1, 40},
      {"strict: far beyond the cut", false, false, {{20, 50.0}, {300, 5000.0}}, 1, 40},
      {"strict: far inside the cut", false, false, {{20, 50.0}, {299, 5000.0}}, 2},
      {"strict: equal, lowest index", false, false, {{15, 50.0}, {20, 50.0}}, 1, 28},
      {"strict: 2e-05 percent", false, false, {{20, 1.0}}, 1, 40, 30, dEdge},
      {"strict: below 2e-05 percent", false, false, {{20, 1.0}}, 2, -1, 30, dAbove},
      {"strict: too short for 13", false, false, {}, 2, -1, 30, 1e6, 12},
      {"strict: too short for nMax", false, false, {{20, 50.0}}, 2, -1, 30, 1e6, 29},
      {"strict: bad, no log", false, true, {{20, 50.0}}, 4, -1, 30, 1e6, 2048, 1, 1, false},
      {"soft: best comb wins", true, false, {{20, 5.0}, {27, 400.0}}, 1, 40},
      {"soft: weak winner", true, false, {{20, 5.0}, {100, 50.1}}, 2},
      {"soft: strength met", true, false, {{20, 1.0}, {100, 10.0}}, 1, 40, 30, dEdge},
      {"soft: strength missed", true, false, {{20, 1.0}, {100, 10.0}}, 2, -1, 30, dAbove},
      {"soft: no comb, below 5", true, true, {{4, 900.0}, {20, 50.0}}, 2, -1, 30, 1e6, 2048, 1, 0},
      {"soft: 13 values, 0 kept", true, true, {{7, 5.0}}, 2, -1, 10, 100.0, 13},
      {"soft: 14 values, cleared", true, true, {{7, 5.0}}, 4, -1, 10, 100.0, 14},
      {"soft: maximum of 5", true, true, {{3, 900.0}}, 2, -1, 5},
      {"soft: maximum of 0", true, true, {{3, 900.0}}, 2, -1, 0},
      {"soft: too short for nMax", true, false, {{20, 50.0}}, 2, -1, 30, 1e6, 29}};
  // A comb that fails is judged by second / first of the statistics: above
  // 3.3 is good; not a number is not above, infinity is.
  for (bool bSoft : {false, true})
    for (auto [first, second, result] : std::vector<std::tuple<double, double, int>>{
             {1, 3.3, 4}, {1, std::nextafter(3.3, 4.0), 2}, {2, 1, 4}, {0, 0, 4}, {0, 1, 2},
             {0, -1, 4}})
      rows.push_back({"quotient", bSoft, true, {{20, 50}}, result, -1, 30, 1e6, 2048, first,
                      second});
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << row.name << (row.bSoft ? " soft " : " ") << row.second);
    Routines r(row);
    EXPECT_EQ(r.result, row.result);
    EXPECT_EQ(r.tonalith.designPoints, row.corners);
    EXPECT_EQ(r.vOut, r.dta.vIntensity);  // the scripted filter takes nothing away
    EXPECT_EQ(test::ReadFile(r.dir.File("run.log")),
              row.result == 4 && row.bLog ? "\n########## Bad Spectrum! #########################\n"
              : row.result == 1           ? "\t-Deisotoping algorithm removed 0 peaks.\n"
                                          : "");
  }
}

// The strict routine hands the distances of the comb's maxima to the
// statistics and h 51 to the notches; the soft one the first 30 periodicity
// values after clearing the first four.
TEST(Verdicts, WhatTheRoutinesHandOn) {
  Routines strict({"", false, false, {{20, 50.0}}, 1});
  ASSERT_EQ(strict.tonalith.statisticsInput.size(), 20u);
  EXPECT_EQ(strict.tonalith.statisticsInput[0], 102.0);
  EXPECT_DOUBLE_EQ(strict.tonalith.designFreq[2], (102.0 - 12.75) / 1024.0);
  Routines soft({"", true, false, {{20, 5.0}, {27, 400.0}}, 1});
  EXPECT_DOUBLE_EQ(soft.tonalith.designFreq[2], (102.0 - 12.75) / 1024.0);
  const std::vector<double>& s = soft.tonalith.statisticsInput;
  ASSERT_EQ(s.size(), 30u);
  EXPECT_EQ(std::tuple(s[3], s[4], s[27]), std::tuple(0.0, 0.05, 400.0));
}

}  // namespace
}  // namespace orvane
