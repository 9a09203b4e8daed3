#include <gtest/gtest.h>

#include "filtering/deisotope_stages.h"
#include "support/test_support.h"
#include "support/fake_stages.h"

namespace orvane {
namespace {

using filtering::BuildNotchCorners;
using filtering::DeisotopeWithYFilter;
using test::FakeTonalith;
using test::GridSpectrum;
using test::RecordingReporter;
using test::TempDir;

TEST(NotchCorners, WorkedExampleMakesFortyCorners) {
  std::vector<double> f;
  std::vector<int> g;
  BuildNotchCorners(10.5, 50, 2048, 0.5, f, g);
  std::vector<double> wantF{0.0};
  std::vector<int> wantG{1};
  for (int k = 1; k <= 9; ++k) {
    const double c = 100.0 * k;
    wantF.insert(wantF.end(), {(c - 17.5) / 1024, (c - 12.5) / 1024, (c + 7.5) / 1024,
                               (c + 12.5) / 1024});
    wantG.insert(wantG.end(), {1, 0, 0, 1});
  }
  wantF.insert(wantF.end(), {982.5 / 1024, 987.5 / 1024, 1.0});
  wantG.insert(wantG.end(), {1, 0, 0});
  ASSERT_EQ(f.size(), 40u);
  EXPECT_EQ(g, wantG);
  for (std::size_t i = 0; i < f.size(); ++i) EXPECT_DOUBLE_EQ(f[i], wantF[i]) << i;
  EXPECT_EQ(f[1], 82.5 / 1024);
  EXPECT_EQ(f[4], 112.5 / 1024);
}

struct NotchCase {
  double dHarmonics;
  std::size_t nCorners;  // 4 per notch
};
class NotchCountTest : public testing::TestWithParam<NotchCase> {};
TEST_P(NotchCountTest, NotchesRunWhileKStaysBelowTheHarmonics) {
  std::vector<double> f;
  std::vector<int> g;
  BuildNotchCorners(GetParam().dHarmonics, 20, 2048, 0.5, f, g);
  EXPECT_EQ(f.size(), GetParam().nCorners);
  ASSERT_EQ(g.size(), f.size());
  EXPECT_EQ(f.back(), 1.0);
  EXPECT_EQ(g.back(), 0);
}
INSTANTIATE_TEST_SUITE_P(Harmonics, NotchCountTest,
                         testing::Values(NotchCase{3.5, 12}, NotchCase{4.0, 12},
                                         NotchCase{3.0, 8}, NotchCase{4.5, 16},
                                         NotchCase{2.0, 4}, NotchCase{7.0, 24}));

TEST(NotchCorners, UpperEdgesPastNyquistAreClippedToOne) {
  // h 10 on 40 elements (Nyquist at 20): the first notch's upper edge lies at
  // 22.5.
  std::vector<double> f;
  std::vector<int> g;
  BuildNotchCorners(2.5, 10, 40, 0.5, f, g);
  ASSERT_EQ(f.size(), 8u);
  EXPECT_EQ(f[1], 16.5 / 20);
  EXPECT_EQ(f[2], 17.5 / 20);
  EXPECT_EQ(f[3], 1.0);
  EXPECT_EQ(f[4], 1.0);
}

TEST(NotchCorners, NeverFallAtTheLimitsOfTheWidth) {
  for (double width : {0.1, 0.5, 1.0, 1.9}) {
    for (int h = 1; h <= 300; ++h) {
      std::vector<double> f;
      std::vector<int> g;
      BuildNotchCorners(15.0, h, 32768, width, f, g);
      for (std::size_t i = 1; i < f.size(); ++i)
        ASSERT_GE(f[i], f[i - 1]) << "width " << width << " h " << h << " corner " << i;
    }
  }
}

struct Removal {
  FakeTonalith tonalith;
  RecordingReporter reporter;
  DeisotopeSettings settings;
  Dta dta = GridSpectrum({0.0, 10.0, 10.0, 10.0, 10.0, 10.0, -5.0, 10.0, 10.0});
  std::vector<double> vOut;
  Removal() {
    settings.dDeisotopFilterWidth = 0.5;
    settings.dDeisotopThreshold = 50.0;
    // Losses of 0, 60, 100, 100 (negative output), -20, 45 and exactly 50 percent.
    tonalith.applyOutput = [](const std::vector<double>&) {
      return std::vector<double>{5.0, 10.0, 4.0, 0.0, -3.0, 12.0, 0.0, 5.5, 5.0};
    };
    vOut = dta.vIntensity;
  }
  int Run() { return DeisotopeWithYFilter(&tonalith, settings, 10.5, 50, 2048, dta, vOut); }
};

struct ThresholdCase {
  double dThreshold;
  std::vector<double> vOut;
};
class ThresholdTest : public testing::TestWithParam<ThresholdCase> {};
TEST_P(ThresholdTest, PointsLosingMoreThanTheThresholdGo) {
  Removal r;
  r.settings.dDeisotopThreshold = GetParam().dThreshold;
  EXPECT_EQ(r.Run(), 1);
  EXPECT_EQ(r.vOut, GetParam().vOut);
  EXPECT_TRUE(r.reporter.boxes.empty());
  EXPECT_EQ(r.tonalith.designPoints, 40);
  EXPECT_EQ(r.tonalith.designFreq.size(), 40u);
  EXPECT_EQ(r.tonalith.applyInitial, 0);
}
INSTANTIATE_TEST_SUITE_P(
    Thresholds, ThresholdTest,
    testing::Values(
        // A share equal to the threshold stays; raised points and points that
        // are 0 or below are never touched.
        ThresholdCase{50.0, {0, 10, 0, 0, 0, 10, -5, 10, 10}},
        ThresholdCase{0.0, {0, 10, 0, 0, 0, 10, -5, 0, 0}},
        ThresholdCase{44.9, {0, 10, 0, 0, 0, 10, -5, 0, 0}},
        ThresholdCase{99.9, {0, 10, 10, 0, 0, 10, -5, 10, 10}},
        ThresholdCase{100.0, {0, 10, 10, 10, 10, 10, -5, 10, 10}},
        ThresholdCase{250.0, {0, 10, 10, 10, 10, 10, -5, 10, 10}}));

TEST(YFilter, LogsTheRemovalCount) {
  TempDir dir;
  CStdioFile log;
  ASSERT_TRUE(log.Open(dir.File("run.log"), CStdioFile::modeWrite | CStdioFile::modeCreate));
  Removal r;
  r.settings.bWriteLog = true;
  r.settings.pLogFile = &log;
  EXPECT_EQ(r.Run(), 1);
  log.Close();
  EXPECT_EQ(test::ReadFile(dir.File("run.log")), "\t-Deisotoping algorithm removed 3 peaks.\n");
}

TEST(YFilter, FailedDesignShowsTheSpectrumPathWithoutALog) {
  Removal r;
  r.tonalith.designStatus = E_FAIL;
  EXPECT_EQ(r.Run(), -1);
  ASSERT_EQ(r.reporter.boxes.size(), 1u);
  EXPECT_TRUE(r.reporter.Has(BoxKind::Error, "Couldn't create Y-filter !\n/data/run.mgf"));
  EXPECT_EQ(r.vOut, r.dta.vIntensity);
  EXPECT_EQ(r.tonalith.Count("ApplyFilter"), 0);
}

TEST(YFilter, FailedDesignGoesToTheLogAloneWhenThereIsOne) {
  TempDir dir;
  CStdioFile log;
  ASSERT_TRUE(log.Open(dir.File("run.log"), CStdioFile::modeWrite | CStdioFile::modeCreate));
  Removal r;
  r.settings.bWriteLog = true;
  r.settings.pLogFile = &log;
  r.tonalith.designStatus = E_FAIL;
  EXPECT_EQ(r.Run(), -1);
  log.Close();
  EXPECT_TRUE(r.reporter.boxes.empty());
  EXPECT_EQ(test::ReadFile(dir.File("run.log")),
            "\n\t++++ ERROR +++++\n\tCouldn't create Y-filter !\n");
  EXPECT_EQ(r.vOut, r.dta.vIntensity);
}

TEST(YFilter, FailedOrShortFilteringIsAnError) {
  for (int variant = 0; variant < 2; ++variant) {
    Removal r;
    if (variant == 0)
      r.tonalith.applyStatus = E_FAIL;
    else
      r.tonalith.applyOutput = [](const std::vector<double>&) {
        return std::vector<double>(3, 0.0);
      };
    EXPECT_EQ(r.Run(), -1);
    ASSERT_EQ(r.reporter.boxes.size(), 1u);
    EXPECT_TRUE(r.reporter.Has(BoxKind::Error, "Error deisotoping spectra"));
    EXPECT_EQ(r.vOut, r.dta.vIntensity);
  }
}

}  // namespace
}  // namespace orvane
