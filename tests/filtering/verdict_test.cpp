// The verdicts of the two routines on scripted periodicity spectra, median
// filter answers and statistics.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <numbers>

#include "filtering/deisotope_stages.h"
#include "support/test_support.h"
#include "support/fake_stages.h"

namespace orvane {
namespace {

using test::FakeAnalyze;
using test::FakeTonalith;
using test::GridSpectrum;
using test::RecordingReporter;
using test::TempDir;

constexpr const char* kBadLine = "\n########## Bad Spectrum! #########################\n";

// 1000 points: transforms of 2048, a median filter answer of 1024 values.
enum class Median { Comb, Ramp };

std::vector<double> MedianHalf(Median shape) {
  std::vector<double> v(1024);
  for (std::size_t i = 0; i < v.size(); ++i) {
    const double x = static_cast<double>(i);
    // A comb of 102 elements from tooth to tooth: the mirrored array of 2048
    // fits period index 21 (h 51) best. A ramp fits no comb at all.
    v[i] = shape == Median::Comb ? 1.0 + std::cos(2.0 * std::numbers::pi * x / 102.0) : x;
  }
  return v;
}

struct Routines {
  FakeTonalith tonalith;
  FakeAnalyze analyze;
  RecordingReporter reporter;
  TempDir dir;
  CStdioFile log;
  DeisotopeSettings settings;
  Dta dta;
  std::vector<double> vOut;

  explicit Routines(Median shape = Median::Comb) {
    std::vector<double> v(1000);
    for (std::size_t i = 0; i < v.size(); ++i) v[i] = static_cast<double>((i * 7) % 13);
    dta = GridSpectrum(v);
    tonalith.median = MedianHalf(shape);
    settings.nMaxPeriodicity = 30;
    settings.nMedianFilter = 3;
    settings.dDeisotopFilterWidth = 0.5;
    settings.dDeisotopThreshold = 50.0;
    settings.bWriteLog = true;
    log.Open(dir.File("run.log"), CStdioFile::modeWrite | CStdioFile::modeCreate);
    settings.pLogFile = &log;
    Periodicity({});
  }
  // A periodicity spectrum of 2048 values: the zero-period power at 0, the
  // given values, 0.05 elsewhere.
  void Periodicity(const std::map<int, double>& values, double dZero = 1e6,
                   std::size_t size = 2048) {
    tonalith.periodicity.assign(size, 0.05);
    if (size > 0) tonalith.periodicity[0] = dZero;
    for (auto [i, d] : values) tonalith.periodicity[static_cast<std::size_t>(i)] = d;
  }
  int Strict() { return DeisotopeStrict(&tonalith, &analyze, settings, dta, vOut); }
  int Soft() { return DeisotopeSoft(&tonalith, &analyze, settings, dta, vOut); }
  std::string Log() {
    log.Close();
    return test::ReadFile(dir.File("run.log"));
  }
  // dHarmonics and h of the designed filter, read back from its corners.
  int Corners() const { return tonalith.designPoints; }
};

// ---- DeisotopeStrict ----

TEST(Strict, DominantPeriodWithAFittingCombIsDeisotoped) {
  Routines r;
  r.tonalith.applyOutput = [](const std::vector<double>& x) {
    std::vector<double> y(x);
    for (std::size_t i = 0; i < y.size(); i += 2) y[i] *= 0.1;
    return y;
  };
  r.Periodicity({{20, 50.0}});
  EXPECT_EQ(r.Strict(), 1);
  // Period index 21: dHarmonics 10.5, ten notches of h 51.
  EXPECT_EQ(r.Corners(), 40);
  EXPECT_DOUBLE_EQ(r.tonalith.designFreq[2], (102.0 - 12.75) / 1024.0);
  // The distances between the comb's maxima went to the statistics.
  ASSERT_EQ(r.tonalith.Count("Statistics"), 1);
  EXPECT_FALSE(r.tonalith.statisticsInput.empty());
  EXPECT_EQ(r.tonalith.statisticsInput[0], 102.0);
  EXPECT_TRUE(r.reporter.boxes.empty());
  std::size_t nRemoved = 0;
  for (std::size_t i = 0; i < r.vOut.size(); ++i) {
    if (i % 2 == 0 && r.dta.vIntensity[i] > 0) {
      EXPECT_EQ(r.vOut[i], 0.0);
      ++nRemoved;
    } else {
      EXPECT_EQ(r.vOut[i], r.dta.vIntensity[i]);
    }
  }
  EXPECT_EQ(r.Log(), Format("\t-Deisotoping algorithm removed %zu peaks.\n", nRemoved));
}

struct GateCase {
  const char* name;
  std::map<int, double> values;
  int nMax;
  int result;
};
class StrictGateTest : public testing::TestWithParam<GateCase> {};
TEST_P(StrictGateTest, Gate) {
  Routines r;
  r.settings.nMaxPeriodicity = GetParam().nMax;
  r.Periodicity(GetParam().values);
  EXPECT_EQ(r.Strict(), GetParam().result);
  EXPECT_EQ(r.vOut, r.dta.vIntensity);
  if (GetParam().result == 2) {
    EXPECT_EQ(r.tonalith.Count("Statistics"), 0);
    EXPECT_EQ(r.tonalith.Count("CreateYFilter"), 0);
    EXPECT_EQ(r.Log(), "");
  }
}
INSTANTIATE_TEST_SUITE_P(
    Cases, StrictGateTest,
    testing::Values(
        GateCase{"NothingAboveTheFloor", {{20, 0.1}}, 30, 2},
        GateCase{"PeriodsBelow13AreCleared", {{12, 500.0}, {5, 900.0}}, 30, 2},
        GateCase{"MaximumOf13SeesNothing", {{12, 500.0}, {13, 500.0}}, 13, 2},
        GateCase{"MaximumIsExclusive", {{30, 500.0}}, 30, 2},
        GateCase{"FarPeakMoreThanTenTimesStronger", {{20, 50.0}, {100, 500.1}}, 30, 2},
        GateCase{"FarPeakExactlyTenTimes", {{20, 50.0}, {100, 500.0}}, 30, 1},
        GateCase{"FarPeakBeyondTheCutIsNotSeen", {{20, 50.0}, {300, 5000.0}}, 30, 1},
        GateCase{"FarPeakJustInsideTheCut", {{20, 50.0}, {299, 5000.0}}, 30, 2}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(Strict, EqualValuesTakeTheLowestIndex) {
  Routines r;
  r.Periodicity({{15, 50.0}, {20, 50.0}});
  r.Strict();
  // Period index 16: dHarmonics 8.0, seven notches.
  EXPECT_EQ(r.Corners(), 28);
}

TEST(Strict, PercentOfTheZeroPeriodPowerBoundary) {
  const double dZero = 100.0 / 2e-05;
  ASSERT_EQ(1.0 * 100.0 / dZero, 2e-05);  // the boundary is met exactly
  {
    Routines r;
    r.Periodicity({{20, 1.0}}, dZero);
    EXPECT_EQ(r.Strict(), 1);
  }
  {
    Routines r;
    r.Periodicity({{20, 1.0}}, std::nextafter(dZero, 1e300));
    EXPECT_EQ(r.Strict(), 2);
  }
}

struct QuotientCase {
  const char* name;
  double dFirst;
  double dSecond;
  int result;
};
class QuotientTest : public testing::TestWithParam<QuotientCase> {};

TEST_P(QuotientTest, StrictCombThatFailsIsJudgedByTheSpacingStatistic) {
  Routines r(Median::Ramp);
  r.tonalith.statFirst = GetParam().dFirst;
  r.tonalith.statSecond = GetParam().dSecond;
  r.Periodicity({{20, 50.0}});
  EXPECT_EQ(r.Strict(), GetParam().result);
  EXPECT_EQ(r.Log(), GetParam().result == 4 ? kBadLine : "");
  EXPECT_EQ(r.tonalith.Count("CreateYFilter"), 0);
  EXPECT_EQ(r.vOut, r.dta.vIntensity);
  EXPECT_TRUE(r.reporter.boxes.empty());
}

TEST_P(QuotientTest, SoftCombThatFailsEverywhereIsJudgedByTheNearPeriods) {
  Routines r(Median::Ramp);
  r.tonalith.statFirst = GetParam().dFirst;
  r.tonalith.statSecond = GetParam().dSecond;
  r.Periodicity({{20, 50.0}});
  EXPECT_EQ(r.Soft(), GetParam().result);
  EXPECT_EQ(r.Log(), GetParam().result == 4 ? kBadLine : "");
  EXPECT_EQ(r.tonalith.Count("CreateYFilter"), 0);
  EXPECT_EQ(r.vOut, r.dta.vIntensity);
}
INSTANTIATE_TEST_SUITE_P(
    Quotients, QuotientTest,
    testing::Values(QuotientCase{"Exactly3_3IsBad", 1.0, 3.3, 4},
                    QuotientCase{"JustAboveIsGood", 1.0, std::nextafter(3.3, 4.0), 2},
                    QuotientCase{"WellBelowIsBad", 2.0, 1.0, 4},
                    QuotientCase{"NotANumberIsBad", 0.0, 0.0, 4},
                    QuotientCase{"InfinityIsGood", 0.0, 1.0, 2},
                    QuotientCase{"MinusInfinityIsBad", 0.0, -1.0, 4}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(Strict, BadSpectrumWithoutALogStillReturns4) {
  Routines r(Median::Ramp);
  r.settings.bWriteLog = false;
  r.tonalith.statFirst = 1.0;
  r.tonalith.statSecond = 1.0;
  r.Periodicity({{20, 50.0}});
  EXPECT_EQ(r.Strict(), 4);
  EXPECT_EQ(r.Log(), "");
}

TEST(Strict, SpectraTooShortForTheArraysAreLeftAlone) {
  for (std::size_t size : {12u, 29u}) {
    Routines r;
    r.Periodicity({}, 1e6, size);
    if (size > 20) r.tonalith.periodicity[20] = 50.0;
    EXPECT_EQ(r.Strict(), 2) << size;
    EXPECT_EQ(r.vOut, r.dta.vIntensity);
    EXPECT_TRUE(r.reporter.boxes.empty());
  }
}

TEST(Strict, FailuresOfTheStagesTravelUp) {
  {
    Routines r;
    r.Periodicity({{20, 50.0}});
    r.tonalith.designStatus = E_FAIL;
    r.settings.bWriteLog = false;
    EXPECT_EQ(r.Strict(), -1);
    EXPECT_TRUE(r.reporter.Has(BoxKind::Error, "Couldn't create Y-filter !\n/data/run.mgf"));
    EXPECT_EQ(r.vOut, r.dta.vIntensity);
  }
  {
    Routines r;
    EXPECT_EQ(DeisotopeStrict(&r.tonalith, nullptr, r.settings, r.dta, r.vOut), -2);
    EXPECT_EQ(r.vOut, r.dta.vIntensity);
    EXPECT_EQ(DeisotopeSoft(nullptr, &r.analyze, r.settings, r.dta, r.vOut), -2);
    EXPECT_EQ(r.reporter.Texts(BoxKind::Error),
              (std::vector<std::string>(2, "Interfaces are not referenced.")));
  }
}

// ---- DeisotopeSoft ----

TEST(Soft, BestFittingCombWinsOverTheStrongestPeriod) {
  Routines r;
  r.Periodicity({{20, 5.0}, {27, 400.0}});
  EXPECT_EQ(r.Soft(), 1);
  EXPECT_EQ(r.Corners(), 40);  // period index 21 won
  EXPECT_DOUBLE_EQ(r.tonalith.designFreq[2], (102.0 - 12.75) / 1024.0);
  // Statistics saw the first 30 values after clearing the first four, with
  // zeroed outputs.
  ASSERT_EQ(r.tonalith.statisticsInput.size(), 30u);
  EXPECT_EQ(r.tonalith.statisticsInput[3], 0.0);
  EXPECT_EQ(r.tonalith.statisticsInput[4], 0.05);
  EXPECT_EQ(r.tonalith.statisticsInput[27], 400.0);
  EXPECT_TRUE(r.tonalith.statisticsSawZeroed);
}

TEST(Soft, WeakWinnerIsLeftAlone) {
  Routines r;
  r.Periodicity({{20, 5.0}, {100, 50.1}});  // a tenth of the far peak is 5.01
  EXPECT_EQ(r.Soft(), 2);
  EXPECT_EQ(r.tonalith.Count("CreateYFilter"), 0);
  EXPECT_EQ(r.Log(), "");
}

TEST(Soft, StrengthBoundariesAreInclusive) {
  const double dZero = 100.0 / 2e-05;
  Routines r;
  r.Periodicity({{20, 1.0}, {100, 10.0}}, dZero);
  EXPECT_EQ(r.Soft(), 1);
  Routines below;
  below.Periodicity({{20, 1.0}, {100, 10.0}}, std::nextafter(dZero, 1e300));
  EXPECT_EQ(below.Soft(), 2);
}

TEST(Soft, NoCombFitsAndTheStrongestValueBelowIndex5) {
  Routines r(Median::Ramp);
  r.tonalith.statSecond = 0.0;  // would make it bad if asked
  r.Periodicity({{4, 900.0}, {20, 50.0}});
  EXPECT_EQ(r.Soft(), 2);
}

TEST(Soft, ShortPeriodicityIsNotClearedAndItsZeroPeriodCounts) {
  // 13 values: element 0 is not cleared and, as the strongest, ends it with 2.
  Routines r(Median::Ramp);
  r.settings.nMaxPeriodicity = 10;
  r.Periodicity({{7, 5.0}}, 100.0, 13);
  EXPECT_EQ(r.Soft(), 2);
  // 14 values: the first four are cleared and element 7 is judged.
  Routines cleared(Median::Ramp);
  cleared.settings.nMaxPeriodicity = 10;
  cleared.Periodicity({{7, 5.0}}, 100.0, 14);
  EXPECT_EQ(cleared.Soft(), 4);
}

TEST(Soft, NoScanBelowSixAndTooShortArrays) {
  for (int nMax : {0, 5}) {
    Routines r(Median::Ramp);
    r.settings.nMaxPeriodicity = nMax;
    r.Periodicity({{3, 900.0}});
    EXPECT_EQ(r.Soft(), 2);
  }
  Routines r;
  r.Periodicity({{20, 50.0}}, 1e6, 29);
  EXPECT_EQ(r.Soft(), 2);
  EXPECT_TRUE(r.reporter.boxes.empty());
}

TEST(Soft, EmptyMedianIsAnswerEnoughWhateverTheStatus) {
  Routines r;
  r.tonalith.medianEmpty = true;
  r.tonalith.medianStatus = E_FAIL;
  EXPECT_EQ(r.Soft(), 2);
  EXPECT_TRUE(r.reporter.boxes.empty());
  Routines s;
  s.tonalith.medianEmpty = true;
  s.tonalith.medianStatus = E_FAIL;
  EXPECT_EQ(s.Strict(), -1);
  EXPECT_TRUE(s.reporter.Has(BoxKind::Error, "Median Filter failed!"));
}

}  // namespace
}  // namespace orvane
