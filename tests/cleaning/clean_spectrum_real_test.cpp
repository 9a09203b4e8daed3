// The pipeline with the real stages: the fold of the de-isotoping vote, the
// verdicts the routines give, and deconvoluted peaks behind the kept points.
#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <utility>
#include <vector>

#include "analysis/analysis.h"
#include "analysis/grid_math.h"
#include "cleaning/drivers.h"
#include "filtering/deisotope.h"
#include "frame/module.h"
#include "platform/class_registry.h"
#include "platform/format.h"
#include "support/synthetic.h"
#include "support/test_support.h"

namespace orvane {
namespace {

class RealPipeline : public ::testing::Test {
 protected:
  void SetUp() override {
    RegisterOrvaneModule();
    ASSERT_EQ(CoCreateInstance(CLSID_Orvane, nullptr, CLSCTX_INPROC_SERVER, IID_IEditMSMS,
                               edit_.Out()),
              S_OK);
    ASSERT_EQ(edit_->QueryInterface(IID_IAnalyzeMSMS, analyze_.Out()), S_OK);
    ASSERT_EQ(edit_->QueryInterface(IID_IExportMSMS, export_.Out()), S_OK);
    CLSID clsid{};
    CLSIDFromProgID(kTonalithProgId, &clsid);
    ASSERT_EQ(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_ITonalith,
                               tonalith_.Out()),
              S_OK);
    state.pEditMSMS = edit_.Get();
    state.pAnalyzeMSMS = analyze_.Get();
    state.pExportMSMS = export_.Get();
    state.pTonalith = tonalith_.Get();
    params.dEquidistantStep = 0.05;
    params.nMaxPeriodicity = 25;
    params.nMedianFilter = 3;
    params.dDeisotopFilterWidth = 0.5;
    params.dDeisotopThreshold = 50.0;
    params.dDeconvThreshold = 90.0;
  }

  // What the pipeline must give with de-isotoping alone: the resampled
  // points that were there before and that the routine left standing, with
  // their values from before the filter.
  int Expected(const Dta& in, Dta& expected) {
    Dta work(in);
    EXPECT_EQ(edit_->MakeEquidistant(0.05, &work), S_OK);
    DeisotopeSettings settings;
    settings.nMaxPeriodicity = params.nMaxPeriodicity;
    settings.nMedianFilter = params.nMedianFilter;
    settings.dDeisotopFilterWidth = params.dDeisotopFilterWidth;
    settings.dDeisotopThreshold = params.dDeisotopThreshold;
    std::vector<double> vOut;
    const int result = params.bSoftBadSpectra
                           ? DeisotopeSoft(tonalith_.Get(), analyze_.Get(), settings, work, vOut)
                           : DeisotopeStrict(tonalith_.Get(), analyze_.Get(), settings, work, vOut);
    EXPECT_EQ(vOut.size(), work.GetPeakCount());
    expected = Dta();
    for (unsigned i = 0; i < work.GetPeakCount(); ++i)
      if (work.GetIntensity(i) > 0.0 && vOut[i] > 0.0)
        expected.AddPeak(work.GetMass(i), work.GetIntensity(i));
    return result;
  }

  static void ExpectSamePeaks(const Dta& a, const Dta& b) {
    ASSERT_EQ(a.GetPeakCount(), b.GetPeakCount());
    for (unsigned i = 0; i < a.GetPeakCount(); ++i) {
      EXPECT_EQ(a.GetMass(i), b.GetMass(i));
      EXPECT_EQ(a.GetIntensity(i), b.GetIntensity(i));
    }
  }

  ComPtr<IEditMSMS> edit_;
  ComPtr<IAnalyzeMSMS> analyze_;
  ComPtr<IExportMSMS> export_;
  ComPtr<ITonalith> tonalith_;
  RunState state;
  CleanParams params;
};

TEST_F(RealPipeline, DeisotopingVotesOnTheResampledPoints) {
  params.bDeisotope = true;
  int removedSomewhere = 0;
  for (bool soft : {false, true}) {
    params.bSoftBadSpectra = soft;
    for (std::uint32_t seed = 1; seed <= 6; ++seed) {
      test::SyntheticOptions o;
      o.seed = seed;
      o.nCharge = 1;  // no deconvolution would run anyway; keep it plain
      const Dta in = test::MakeSyntheticSpectrum(o);
      Dta expected;
      const int verdict = Expected(in, expected);
      Dta out;
      EXPECT_EQ(CleanSpectrum(state, in, &params, out), verdict) << "seed " << seed;
      ExpectSamePeaks(out, expected);
      EXPECT_EQ(out.nCharge, in.nCharge);
      EXPECT_EQ(out.dMass, in.dMass);
      removedSomewhere += verdict == 1;
    }
  }
  // Isotope envelopes are what the synthetic spectra are made of.
  EXPECT_GT(removedSomewhere, 0);
}

TEST_F(RealPipeline, ABadSpectrumIsStillCleanedAndFilled) {
  params.bDeisotope = true;
  params.bRemoveNoise = true;
  params.dNoiseThreshold = 100.0;  // nothing is noise: the output is the fold of de-isotoping
  int bad = 0;
  for (bool soft : {false, true}) {
    params.bSoftBadSpectra = soft;
    for (std::uint32_t seed = 1; seed <= 40 && bad < 2; ++seed) {
      const Dta in = test::MakeRandomSpectrum(seed, 120, 150.0, 1500.0);
      Dta expected;
      if (Expected(in, expected) != 4) continue;
      ++bad;
      Dta out;
      EXPECT_EQ(CleanSpectrum(state, in, &params, out), 4);
      EXPECT_GT(out.GetPeakCount(), 0u);
      ExpectSamePeaks(out, expected);
    }
  }
  if (bad == 0) GTEST_SKIP() << "no random spectrum came out bad";
}

TEST_F(RealPipeline, DeconvolutedPeaksStandBehindTheKeptPoints) {
  params.bDeconvolute = true;
  test::SyntheticOptions o;
  o.seed = 3;
  o.nCharge = 3;
  o.nTwofoldClusters = 3;
  o.nThreefoldClusters = 2;
  o.nNoisePeaks = 10;
  std::vector<test::SyntheticPeak> truth;
  const Dta in = test::MakeSyntheticSpectrum(o, &truth);
  Dta out;
  ASSERT_EQ(CleanSpectrum(state, in, &params, out), 1);
  // The kept points ascend; the first descent marks the start of the
  // deconvoluted peaks, which stand there in the order they were made.
  unsigned tail = out.GetPeakCount();
  for (unsigned i = 1; i < out.GetPeakCount(); ++i)
    if (out.GetMass(i) < out.GetMass(i - 1)) {
      tail = i;
      break;
    }
  ASSERT_LT(tail, out.GetPeakCount()) << "no deconvoluted peak behind the kept points";
  int found = 0;
  for (const auto& p : truth) {
    if (p.nIsotope != 0 || (p.kind != test::SyntheticPeak::TwofoldCluster &&
                            p.kind != test::SyntheticPeak::ThreefoldCluster))
      continue;
    const int z = p.kind == test::SyntheticPeak::TwofoldCluster ? 2 : 3;
    const double singly = z * (p.dMass - test::kProtonMass) + test::kProtonMass;
    for (unsigned i = tail; i < out.GetPeakCount(); ++i)
      if (std::fabs(out.GetMass(i) - singly) < 0.2) {
        ++found;
        break;
      }
  }
  EXPECT_GT(found, 0);
}

// The modern dialect writes what was measured. The classic run of the same
// spectrum tells which grid points stay; the modern output must be exactly
// the input peaks on those points (all of those folded onto one point), and
// each deconvoluted cluster at z(m - p) + p of an input peak m, with the
// proton mass p, in ascending m/z.
TEST_F(RealPipeline, ModernOutputIsTheMeasuredPeaksOfTheKeptPoints) {
  params.bDeisotope = true;
  params.bDeconvolute = true;
  int folded = 0;
  int deconvoluted = 0;
  for (std::uint32_t seed = 1; seed <= 4; ++seed) {
    test::SyntheticOptions o;
    o.seed = seed;
    o.nCharge = 3;
    o.nTwofoldClusters = 3;
    o.nThreefoldClusters = 2;
    o.nNoisePeaks = 400;  // enough that some share a grid point
    const Dta in = test::MakeSyntheticSpectrum(o);
    state.dialect = MgfDialect::Classic;
    Dta classic;
    const int verdict = CleanSpectrum(state, in, &params, classic);
    state.dialect = MgfDialect::Modern;
    Dta modern;
    ASSERT_EQ(CleanSpectrum(state, in, &params, modern), verdict) << "seed " << seed;

    std::set<std::pair<double, double>> input;
    for (unsigned k = 0; k < in.GetPeakCount(); ++k) input.emplace(in.GetMass(k), in.GetIntensity(k));
    std::multiset<double> keptGrid;
    unsigned nAdded = 0;
    for (unsigned i = 0; i < modern.GetPeakCount(); ++i) {
      if (i > 0) {
        EXPECT_LE(modern.GetMass(i - 1), modern.GetMass(i)) << "seed " << seed;
      }
      const std::pair<double, double> peak(modern.GetMass(i), modern.GetIntensity(i));
      if (input.count(peak) != 0) {
        keptGrid.insert(grid::GridMass(peak.first));
        continue;
      }
      // Not an input peak: a cluster, at the singly charged mass of one.
      bool found = false;
      for (const auto& [m, intensity] : input)
        for (int z : {2, 3})
          found = found || (intensity == peak.second &&
                            RoundToSignificant(z * (m - kProtonMass) + kProtonMass, 12) == peak.first);
      EXPECT_TRUE(found) << "seed " << seed << ": " << peak.first << " is no input peak";
      ++nAdded;
    }
    // The kept points of the classic output stand before its deconvoluted peaks.
    ASSERT_GE(classic.GetPeakCount(), nAdded);
    std::set<double> classicGrid;
    for (unsigned i = 0; i + nAdded < classic.GetPeakCount(); ++i) classicGrid.insert(classic.GetMass(i));
    EXPECT_EQ(std::set<double>(keptGrid.begin(), keptGrid.end()), classicGrid) << "seed " << seed;
    // Every input peak on a kept point is there (the last peak has a point of its own).
    for (unsigned k = 0; k + 1 < in.GetPeakCount(); ++k)
      if (classicGrid.count(grid::GridMass(in.GetMass(k))) != 0) {
        EXPECT_EQ(keptGrid.count(grid::GridMass(in.GetMass(k))) > 0, true);
        bool written = false;
        for (unsigned i = 0; i < modern.GetPeakCount(); ++i)
          written = written || (modern.GetMass(i) == in.GetMass(k) && modern.GetIntensity(i) == in.GetIntensity(k));
        EXPECT_TRUE(written) << "seed " << seed << ": input peak " << in.GetMass(k) << " is missing";
      }
    folded += static_cast<int>(keptGrid.size() - classicGrid.size());
    deconvoluted += static_cast<int>(nAdded);
  }
  EXPECT_GT(folded, 0) << "no two peaks shared a grid point";
  EXPECT_GT(deconvoluted, 0) << "no cluster was deconvoluted";
}

// Folding, merging and the protected window on small spectra, stages off.
TEST_F(RealPipeline, ModernOutputOfFoldedMergedAndProtectedPeaks) {
  struct Case {
    const char* name;
    bool merge;
    double protectBelow;
    std::vector<std::pair<double, double>> in;
    std::vector<std::pair<double, double>> classic;
    std::vector<std::pair<double, double>> modern;
  };
  const Case cases[] = {
      {"folded peaks all come back", false, 0.0,
       {{100.011, 3}, {100.024, 9}, {100.041, 5}, {200.5, 7}},
       {{100.0, 9}, {100.05, 5}, {200.5, 7}},
       {{100.011, 3}, {100.024, 9}, {100.041, 5}, {200.5, 7}}},
      {"a merged peak stays out", true, 0.0,
       {{100.0, 5}, {100.02, 9}, {200.5, 7}},
       {{100.0, 9}, {200.5, 7}},
       {{100.02, 9}, {200.5, 7}}},
      {"a protected peak is never merged", true, 150.0,
       {{100.0, 5}, {100.02, 9}, {200.5, 7}},
       {{100.0, 9}, {200.5, 7}},
       {{100.0, 5}, {100.02, 9}, {200.5, 7}}},
  };
  for (const Case& c : cases) {
    params.bMergePeaks = c.merge;
    params.dMergeSpacing = 0.3;
    params.dProtectBelowMz = c.protectBelow;
    Dta in;
    in.nCharge = 2;
    for (const auto& [m, i] : c.in) in.AddPeak(m, i);
    for (MgfDialect dialect : {MgfDialect::Classic, MgfDialect::Modern}) {
      state.dialect = dialect;
      Dta out;
      ASSERT_EQ(CleanSpectrum(state, in, &params, out), 1) << c.name;
      std::vector<std::pair<double, double>> peaks;
      for (unsigned i = 0; i < out.GetPeakCount(); ++i) peaks.emplace_back(out.GetMass(i), out.GetIntensity(i));
      EXPECT_EQ(peaks, dialect == MgfDialect::Modern ? c.modern : c.classic) << c.name;
    }
  }
}

}  // namespace
}  // namespace orvane
