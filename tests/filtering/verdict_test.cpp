// The choices of the two routines on chosen periodicity spectra and median
// filter answers: every gate and boundary as a row.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <numbers>

#include "filtering/deisotope_stages.h"

namespace orvane::filtering {
namespace {

// The median filter answer, mirrored to 2048 values: a comb 102 elements
// from tooth to tooth (it fits period index 21, h 51, best), a ramp, which
// fits no comb and whose maxima lie evenly, or scattered values, which fit
// no comb and whose maxima lie anywhere. The periodicity spectrum: the
// zero-period power at 0, the values given, 0.05 elsewhere.
enum Median { Comb, Ramp, Scattered };

struct Row {
  const char* name;
  bool bSoft;
  Median median;
  std::map<int, double> values;
  Verdict verdict;
  double dHarmonics = 0.0;  // of the comb chosen
  int nMax = 30;
  double dZero = 1e6;
  std::size_t size = 2048;
  double dElsewhere = 0.05;
};

CombChoice Choose(const Row& row) {
  PeriodicitySpectrum s;
  for (std::size_t i = 0; i < 1024; ++i) {
    const double x = static_cast<double>(i);
    s.vMedian.push_back(row.median == Comb   ? 1.0 + std::cos(2.0 * std::numbers::pi * x / 102.0)
                        : row.median == Ramp ? x
                                             : static_cast<double>((i * 7919) % 1013));
  }
  s.vMedian.insert(s.vMedian.end(), s.vMedian.rbegin(), s.vMedian.rend());
  s.nMedianLength = 2048;
  s.vPeriodicity.assign(row.size, row.dElsewhere);
  if (row.size > 0) s.vPeriodicity[0] = row.dZero;
  for (auto [i, d] : row.values)
    if (std::size_t(i) < row.size) s.vPeriodicity[std::size_t(i)] = d;
  return row.bSoft ? ChooseSoft(s, row.nMax) : ChooseStrict(s, row.nMax);
}

TEST(Verdicts, GatesAndBoundaries) {
  const double dEdge = 100.0 / 2e-05;  // 1.0 is exactly 2e-05 percent of it
  const double dAbove = std::nextafter(dEdge, 1e300);
  constexpr Verdict kClean = Verdict::Cleaned, kAlone = Verdict::LeftAlone, kBad = Verdict::Bad;
  const std::vector<Row> rows = {
      {"strict: period index 21", false, Comb, {{20, 50.0}}, kClean, 10.5},
      {"strict: nothing above 0.1", false, Comb, {{20, 0.1}}, kAlone},
      {"strict: below 13 cleared", false, Comb, {{12, 500.0}, {5, 900.0}}, kAlone},
      {"strict: maximum of 13", false, Comb, {{12, 500.0}, {13, 500.0}}, kAlone, 0, 13},
      {"strict: maximum exclusive", false, Comb, {{30, 500.0}}, kAlone},
      {"strict: far over ten times", false, Comb, {{20, 50.0}, {100, 500.1}}, kAlone},
      {"strict: far ten times", false, Comb, {{20, 50.0}, {100, 500.0}}, kClean, 10.5},
      {"strict: far beyond the cut", false, Comb, {{20, 50.0}, {300, 5000.0}}, kClean, 10.5},
      {"strict: far inside the cut", false, Comb, {{20, 50.0}, {299, 5000.0}}, kAlone},
      {"strict: equal, lowest index", false, Comb, {{15, 50.0}, {20, 50.0}}, kClean, 8.0},
      {"strict: 2e-05 percent", false, Comb, {{20, 1.0}}, kClean, 10.5, 30, dEdge},
      {"strict: below 2e-05 percent", false, Comb, {{20, 1.0}}, kAlone, 0, 30, dAbove},
      {"strict: too short for 13", false, Comb, {}, kAlone, 0, 30, 1e6, 12},
      {"strict: too short for nMax", false, Comb, {{20, 50.0}}, kAlone, 0, 30, 1e6, 29},
      // A comb that fails: maxima that lie evenly (mean / deviation of their
      // distances above 3.3) keep the spectrum good.
      {"strict: no comb, even maxima", false, Ramp, {{20, 50.0}}, kAlone},
      {"strict: no comb, scattered maxima", false, Scattered, {{20, 50.0}}, kBad},
      {"soft: best comb wins", true, Comb, {{20, 5.0}, {27, 400.0}}, kClean, 10.5},
      {"soft: weak winner", true, Comb, {{20, 5.0}, {100, 50.1}}, kAlone},
      {"soft: strength met", true, Comb, {{20, 1.0}, {100, 10.0}}, kClean, 10.5, 30, dEdge},
      {"soft: strength missed", true, Comb, {{20, 1.0}, {100, 10.0}}, kAlone, 0, 30, dAbove},
      {"soft: no comb, below 5", true, Ramp, {{4, 900.0}, {20, 50.0}}, kAlone},
      {"soft: 13 values, 0 kept", true, Ramp, {{7, 5.0}}, kAlone, 0, 10, 100.0, 13},
      {"soft: 14 values, cleared", true, Ramp, {{7, 5.0}}, kBad, 0, 10, 100.0, 14},
      {"soft: maximum of 5", true, Ramp, {{3, 900.0}}, kAlone, 0, 5},
      {"soft: maximum of 0", true, Ramp, {{3, 900.0}}, kAlone, 0, 0},
      {"soft: too short for nMax", true, Comb, {{20, 50.0}}, kAlone, 0, 30, 1e6, 29},
      // The soft routine judges a comb that fails by the near periods
      // themselves: nearly all alike is good, one standing out is bad.
      {"soft: no comb, even periods", true, Ramp, {{20, 10.0}}, kAlone, 0, 200, 1e6, 2048, 5.0},
      {"soft: no comb, one period out", true, Ramp, {{20, 50.0}}, kBad}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const CombChoice choice = Choose(row);
    EXPECT_EQ(choice.verdict, row.verdict);
    EXPECT_EQ(choice.dHarmonics, row.dHarmonics);
  }
  // The half spacing the notches are built from: 51 for the comb of period
  // index 21, in both routines.
  EXPECT_EQ(Choose(rows[0]).nHalfSpacing, 51);
  EXPECT_EQ(Choose(rows[16]).nHalfSpacing, 51);
}

// A comb that fails is judged by the quotient mean / deviation: above 3.3 is
// good; not a number is not above, infinity is.
TEST(Verdicts, QuotientOfMeanAndDeviation) {
  for (auto [deviation, mean, above] : std::vector<std::tuple<double, double, bool>>{
           {1, 3.3, false}, {1, std::nextafter(3.3, 4.0), true}, {2, 1, false}, {0, 0, false},
           {0, 1, true}, {0, -1, false}})
    EXPECT_EQ(StatQuotientAbove(deviation, mean), above) << deviation << " " << mean;
}

}  // namespace
}  // namespace orvane::filtering
