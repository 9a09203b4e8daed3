// The analysis stages in the order the cleaning pipeline runs them, on a
// synthetic spectrum with one threefold and one twofold charged fragment.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "analysis/analysis.h"
#include "support/test_support.h"

namespace orvane {
namespace {

struct Peak {
  double dMass;
  double dIntensity;
};

// The five isotope peaks of a cluster starting at dStart, spaced 1 / z and
// shaped like the template row for the fragment's mass, scaled so that the
// first peak has dHeight, each peak a few percent off.
void AddCluster(std::vector<Peak>& peaks, double dStart, int z, double dHeight) {
  const IsotopeTemplates t(z);
  const std::vector<std::int32_t> row = t.GetTemplate(dStart);
  const int s = z == 3 ? 6 : 10;
  const double vNoise[5] = {1.0, 0.97, 1.03, 0.98, 1.02};
  for (int k = 0; k < 5; ++k)
    peaks.push_back({dStart + k * s * 0.05 + 0.01,  // off the grid by 0.01
                     dHeight * row[static_cast<std::size_t>(k * s)] / 100.0 * vNoise[k]});
}

class ClusterPipeline : public ::testing::Test {
 protected:
  void SetUp() override {
    std::vector<Peak> peaks = {{150.31, 40.0}, {255.56, 25.0},  {520.12, 30.0},
                               {880.46, 20.0}, {1250.01, 35.0}, {1480.22, 15.0}};
    AddCluster(peaks, 400.0, 3, 1000.0);
    AddCluster(peaks, 700.0, 2, 800.0);
    std::sort(peaks.begin(), peaks.end(), [](const Peak& a, const Peak& b) { return a.dMass < b.dMass; });
    work.dMass = 1500.0;  // limits: 502.67 for z = 3, 753.5 for z = 2
    work.nCharge = 3;
    for (const Peak& p : peaks) work.AddPeak(p.dMass, p.dIntensity);
  }

  double IntensityAt(const Dta& dta, double dMass) const {
    const auto it = std::find_if(dta.vMass.begin(), dta.vMass.end(),
                                 [&](double m) { return std::fabs(m - dMass) < 1e-6; });
    return it == dta.vMass.end() ? -1.0 : dta.vIntensity[static_cast<std::size_t>(it - dta.vMass.begin())];
  }

  Dta work;
};

TEST_F(ClusterPipeline, FindsAndDeconvolutesBothClusters) {
  ASSERT_EQ(MakeEquidistant(0.05, &work), S_OK);
  // 150.30 to 1480.20 in 0.05 steps.
  ASSERT_EQ(work.GetPeakCount(), 26599u);
  Dta dense3 = work;
  Dta dense2 = work;
  ClusterList known;
  DeconvolutedPeakList added;
  test::TempDir dir;
  CStdioFile log;
  ASSERT_TRUE(log.Open(dir.File("run.log"), CStdioFile::modeCreate | CStdioFile::modeWrite));

  const IsotopeTemplates t3(3);
  ASSERT_EQ(DenseSpectrum(3, &dense3), S_OK);
  const ClusterList found3 = FindChargeClusters(&work, &dense3, 3, &t3, 0.9, &known);
  ASSERT_EQ(found3.size(), 1u);
  EXPECT_EQ(*found3[0].itMass, 400.0);
  ASSERT_EQ(Deconvolute(&dense3, &found3, &t3, true, &log, &added), S_OK);

  const IsotopeTemplates t2(2);
  ASSERT_EQ(DenseSpectrum(2, &dense2), S_OK);
  const ClusterList found2 = FindChargeClusters(&work, &dense2, 2, &t2, 0.9, &known);
  ASSERT_EQ(found2.size(), 1u);
  EXPECT_EQ(*found2[0].itMass, 700.0);
  ASSERT_EQ(Deconvolute(&dense2, &found2, &t2, true, &log, &added), S_OK);
  EXPECT_EQ(known.size(), 2u);

  // Each at its singly charged mass, with the intensity of its first peak.
  ASSERT_EQ(added.size(), 2u);
  EXPECT_DOUBLE_EQ(added[0].dMass, 1198.0);
  EXPECT_EQ(added[0].dIntensity, 1000.0);
  EXPECT_DOUBLE_EQ(added[1].dMass, 1399.0);
  EXPECT_EQ(added[1].dIntensity, 800.0);
  log.Close();
  EXPECT_EQ(test::ReadFile(dir.File("run.log")),
            "\t-Deconvolution algorithm detected 3-fold charged peaks:\n"
            "\t\t3-fold charged peak cluster deconvoluted:   400.00 Da -->  1198.00\n"
            "\t-Deconvolution algorithm detected 2-fold charged peaks:\n"
            "\t\t2-fold charged peak cluster deconvoluted:   700.00 Da -->  1399.00\n");

  // The clusters are blanked in their own dense copies; the unrelated peaks
  // and the other charge's cluster stay.
  for (int k = 0; k <= 24; ++k) EXPECT_EQ(IntensityAt(dense3, 400.0 + k * 0.05), 0.0) << k;
  for (int k = 0; k <= 40; ++k) EXPECT_EQ(IntensityAt(dense2, 700.0 + k * 0.05), 0.0) << k;
  EXPECT_GT(IntensityAt(dense3, 700.0), 0.0);
  EXPECT_GT(IntensityAt(dense2, 400.0), 0.0);
  for (double m : {150.30, 255.55, 520.10, 880.45, 1250.00}) {
    EXPECT_GT(IntensityAt(dense3, m), 0.0) << m;
    EXPECT_GT(IntensityAt(dense2, m), 0.0) << m;
  }
}

TEST_F(ClusterPipeline, TwofoldSearchWithoutTheThreefoldResultTakesBoth) {
  // The shared list of known clusters is what keeps the threefold cluster
  // from being deconvoluted a second time, as a twofold one.
  ASSERT_EQ(MakeEquidistant(0.05, &work), S_OK);
  Dta dense2 = work;
  ASSERT_EQ(DenseSpectrum(2, &dense2), S_OK);
  const IsotopeTemplates t2(2);
  ClusterList known;
  std::vector<double> vStarts;
  for (const ClusterRef& ref : FindChargeClusters(&work, &dense2, 2, &t2, 0.9, &known))
    vStarts.push_back(*ref.itMass);
  EXPECT_EQ(vStarts, std::vector<double>({400.0, 700.0}));
}

}  // namespace
}  // namespace orvane
