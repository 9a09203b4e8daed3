// Deconvolute and Dta::BlankCluster.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "analysis/analysis.h"
#include "analysis_test_util.h"
#include "support/test_support.h"

namespace orvane {
namespace {

using test::GridIndex;
using test::MakeGrid;

constexpr int kFirst = 2000;  // grid from 100.00

// A dense spectrum from 100.00 to nLast / 20 with every point at 1.0.
Dta Filled(int nLast) {
  Dta dta = MakeGrid(kFirst, nLast, 3000.0);
  for (double& v : dta.vIntensity) v = 1.0;
  return dta;
}

ClusterRef RefAt(const Dta& work, Dta& dense, int nTwentieths) {
  return ClusterRef{work.vMass.cbegin() + GridIndex(kFirst, nTwentieths),
                    dense.vIntensity.begin() + GridIndex(kFirst, nTwentieths)};
}

std::string Deconvolve(int nCharge, const std::vector<int>& vStarts, Dta& work, Dta& dense,
                       DeconvolutedPeakList* pPeaks, bool bWriteLog = true) {
  test::TempDir dir;
  const std::string path = dir.File("run.log");
  CStdioFile log;
  EXPECT_TRUE(log.Open(path, CStdioFile::modeCreate | CStdioFile::modeWrite | CStdioFile::typeText));
  ClusterList lst;
  for (int s : vStarts) lst.push_back(RefAt(work, dense, s));
  const IsotopeTemplates t(nCharge);
  EXPECT_EQ(Deconvolute(&dense, &lst, &t, bWriteLog, &log, pPeaks), S_OK);
  log.Close();
  return test::ReadFile(path);
}

TEST(Deconvolute, ThreefoldMassIntensityAndLogLines) {
  Dta work = Filled(20 * 600);
  Dta dense = work;
  const int nStart = 20 * 500 + 5;  // 500.25
  dense.vIntensity[GridIndex(kFirst, nStart)] = 42.0;
  DeconvolutedPeakList peaks;
  const std::string log = Deconvolve(3, {nStart}, work, dense, &peaks);
  ASSERT_EQ(peaks.size(), 1u);
  EXPECT_DOUBLE_EQ(peaks[0].dMass, 1498.75);
  EXPECT_EQ(peaks[0].dIntensity, 42.0);  // read before the blanking
  EXPECT_EQ(log,
            "\t-Deconvolution algorithm detected 3-fold charged peaks:\n"
            "\t\t3-fold charged peak cluster deconvoluted:   500.25 Da -->  1498.75\n");
  // 25 points from the start are blanked, nothing else.
  const std::size_t k0 = GridIndex(kFirst, nStart);
  for (std::size_t k = 0; k < dense.vIntensity.size(); ++k)
    EXPECT_EQ(dense.vIntensity[k], k >= k0 && k < k0 + 25 ? 0.0 : 1.0) << k;
}

TEST(Deconvolute, TwofoldMassesInListOrder) {
  Dta work = Filled(20 * 900);
  Dta dense = work;
  DeconvolutedPeakList peaks = {DeconvolutedPeak{1.0, 2.0}};  // appended behind
  const std::string log =
      Deconvolve(2, {20 * 500 + 5, 20 * 800}, work, dense, &peaks);
  ASSERT_EQ(peaks.size(), 3u);
  EXPECT_EQ(peaks[0].dMass, 1.0);
  EXPECT_DOUBLE_EQ(peaks[1].dMass, 999.50);
  EXPECT_DOUBLE_EQ(peaks[2].dMass, 1599.00);
  EXPECT_EQ(log,
            "\t-Deconvolution algorithm detected 2-fold charged peaks:\n"
            "\t\t2-fold charged peak cluster deconvoluted:   500.25 Da -->   999.50\n"
            "\t\t2-fold charged peak cluster deconvoluted:   800.00 Da -->  1599.00\n");
  const std::size_t k0 = GridIndex(kFirst, 20 * 500 + 5);
  EXPECT_EQ(dense.vIntensity[k0 - 1], 1.0);
  for (std::size_t k = k0; k < k0 + 41; ++k) EXPECT_EQ(dense.vIntensity[k], 0.0) << k;
  EXPECT_EQ(dense.vIntensity[k0 + 41], 1.0);
}

TEST(Deconvolute, WideMassesKeepTheirFormat) {
  // A five-digit mass fills all eight characters of its field.
  Dta work = Filled(20 * 3500);
  Dta dense = work;
  DeconvolutedPeakList peaks;
  const std::string log = Deconvolve(3, {20 * 3400}, work, dense, &peaks);
  EXPECT_EQ(log,
            "\t-Deconvolution algorithm detected 3-fold charged peaks:\n"
            "\t\t3-fold charged peak cluster deconvoluted:  3400.00 Da --> 10198.00\n");
}

TEST(Deconvolute, EmptyListWritesAndChangesNothing) {
  Dta work = Filled(20 * 600);
  Dta dense = work;
  DeconvolutedPeakList peaks;
  EXPECT_EQ(Deconvolve(2, {}, work, dense, &peaks), "");
  EXPECT_TRUE(peaks.empty());
  EXPECT_EQ(dense.vIntensity, work.vIntensity);
}

TEST(Deconvolute, WithoutLoggingTheFileIsNotTouched) {
  Dta work = Filled(20 * 600);
  Dta dense = work;
  DeconvolutedPeakList peaks;
  EXPECT_EQ(Deconvolve(2, {20 * 500}, work, dense, &peaks, false), "");
  EXPECT_EQ(peaks.size(), 1u);
  // Nor is a missing file needed.
  const IsotopeTemplates t(2);
  ClusterList lst = {RefAt(work, dense, 20 * 550)};
  EXPECT_EQ(Deconvolute(&dense, &lst, &t, false, nullptr, &peaks), S_OK);
  EXPECT_EQ(peaks.size(), 2u);
}

// --- BlankCluster ----------------------------------------------------------

TEST(BlankCluster, CountsOnlyPointsAboveZero) {
  Dta dta = MakeGrid(kFirst, 20 * 200, 1000.0);
  const std::size_t k0 = GridIndex(kFirst, 20 * 150);
  dta.vIntensity[k0] = 5.0;
  dta.vIntensity[k0 + 6] = 3.0;
  dta.vIntensity[k0 + 7] = -2.0;   // zeroed but not counted
  dta.vIntensity[k0 + 24] = 1.0;
  dta.vIntensity[k0 + 25] = 9.0;   // just past the cluster
  EXPECT_EQ(dta.BlankCluster(150.0, 25, 20), 3);
  EXPECT_EQ(dta.vIntensity[k0 + 7], 0.0);
  EXPECT_EQ(dta.vIntensity[k0 + 25], 9.0);
}

TEST(BlankCluster, StartsAtTheTruncatedGridIndex) {
  // start = trunc(trunc(20 m) - 20 * first mass): 150.07 -> 3001 - 2000.
  Dta dta = MakeGrid(kFirst, 20 * 200, 1000.0);
  for (double& v : dta.vIntensity) v = 1.0;
  EXPECT_EQ(dta.BlankCluster(150.07, 2, 20), 2);
  EXPECT_EQ(dta.vIntensity[1000], 1.0);
  EXPECT_EQ(dta.vIntensity[1001], 0.0);
  EXPECT_EQ(dta.vIntensity[1002], 0.0);
  EXPECT_EQ(dta.vIntensity[1003], 1.0);
}

TEST(BlankCluster, NearTheEndStopsBeforeTheLastPoint) {
  Dta dta = MakeGrid(kFirst, kFirst + 30, 1000.0);  // 31 points
  for (double& v : dta.vIntensity) v = 1.0;
  EXPECT_EQ(dta.BlankCluster((kFirst + 20) / 20.0, 41, 20), 10);
  for (std::size_t k = 20; k < 30; ++k) EXPECT_EQ(dta.vIntensity[k], 0.0) << k;
  EXPECT_EQ(dta.vIntensity[30], 1.0);
  EXPECT_EQ(dta.vIntensity[19], 1.0);
}

TEST(BlankCluster, OutsideTheSpectrumChangesNothing) {
  Dta dta = MakeGrid(kFirst, kFirst + 30, 1000.0);
  for (double& v : dta.vIntensity) v = 1.0;
  EXPECT_EQ(dta.BlankCluster(500.0, 41, 20), 0);
  EXPECT_EQ(dta.BlankCluster(1.0e12, 41, 20), 0);
  // A start below the first point blanks from the first point on.
  EXPECT_EQ(dta.BlankCluster(99.5, 25, 20), 15);
  EXPECT_EQ(dta.vIntensity[14], 0.0);
  EXPECT_EQ(dta.vIntensity[15], 1.0);
  EXPECT_EQ(Dta().BlankCluster(100.0, 25, 20), 0);
}

}  // namespace
}  // namespace orvane
