// The per-spectrum pipeline: its verdicts, the
// fold of the stages' votes and the output of both dialects. Deconvolution
// by charge is pinned by the golden case clean/drv_mgf_deconvolute.
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "analysis/analysis.h"
#include "cleaning/clean_spectrum.h"
#include "filtering/deisotope.h"
#include "support/synthetic.h"
#include "support/test_support.h"

namespace orvane {
namespace {

using Peaks = std::vector<std::pair<double, double>>;

Peaks PeaksOf(const Dta& dta) {
  Peaks out;
  for (unsigned i = 0; i < dta.GetPeakCount(); ++i) out.emplace_back(dta.GetMass(i), dta.GetIntensity(i));
  return out;
}

Dta Spectrum(const Peaks& peaks) {
  Dta dta;
  dta.nCharge = 2;
  for (const auto& [m, a] : peaks) dta.AddPeak(m, a);
  return dta;
}

class Pipeline : public ::testing::Test {
 protected:
  void SetUp() override {
    params.dEquidistantStep = 0.05;
    params.dDeconvThreshold = 90.0;
    params.nSeqTagLength = 1;
    params.dMassTolerance = 0.1;
    params.dMergeSpacing = 0.3;
    params.nMaxPeriodicity = 25;
    params.nMedianFilter = 3;
    params.dDeisotopFilterWidth = 0.5;
    params.dDeisotopThreshold = 50.0;
  }
  CleanParams params;
  test::RecordingReporter boxes;
};

TEST_F(Pipeline, VerdictsAndOutputs) {
  struct Row {
    const char* name;
    MgfDialect dialect;
    bool tags, merge;
    double protectBelow, noise;  // noise: the threshold of the band stop, 0 off
    Peaks in;
    int verdict;
    Peaks out;  // {{-1, -1}}: left as it was
    const char* log;
  };
  const Peaks ladder = {{100.01, 3}, {100.024, 9}, {100.041, 5}, {171.05, 7}, {200.5, 0}};
  const Row rows[] = {
      // The points of the grid that hold signal stay, with the values resampling gave them.
      {"classic", MgfDialect::Classic, true, false, 0, 0, ladder, 1,
       {{100.0, 9}, {100.05, 5}, {171.05, 7}}, "\t-Total peaks removed: 2\n"},
      // Every measured peak of a kept point comes back.
      {"modern", MgfDialect::Modern, true, false, 0, 0, ladder, 1,
       {{100.01, 3}, {100.024, 9}, {100.041, 5}, {171.05, 7}}, "\t-Total peaks removed: 1\n"},
      {"no tag", MgfDialect::Classic, true, false, 0, 0, {{100, 1}, {150, 2}, {190, 3}}, 5, {{-1, -1}}, ""},
      {"merged", MgfDialect::Classic, false, true, 0, 0, {{100.0, 5}, {100.02, 9}, {200.5, 7}}, 1,
       {{100.0, 9}, {200.5, 7}}, "\t-Total peaks removed: 1\n"},
      {"merged modern", MgfDialect::Modern, false, true, 0, 0, {{100.0, 5}, {100.02, 9}, {200.5, 7}}, 1,
       {{100.02, 9}, {200.5, 7}}, "\t-Total peaks removed: 1\n"},
      {"protected", MgfDialect::Modern, false, true, 150, 0, {{100.0, 5}, {100.02, 9}, {200.5, 7}}, 1,
       {{100.0, 5}, {100.02, 9}, {200.5, 7}}, "\t-Total peaks removed: 0\n"},
      // Points that lose more than the threshold to the band stop go.
      {"noise", MgfDialect::Classic, false, false, 0, 10, ladder, 1, {{100.05, 5}},
       "\t-Random noise removing algorithm deleted 2 peaks.\n\t-Total peaks removed: 4\n"},
      {"less noise", MgfDialect::Classic, false, false, 0, 30, ladder, 1, {{100.0, 9}, {100.05, 5}, {171.05, 7}},
       "\t-Random noise removing algorithm deleted 0 peaks.\n\t-Total peaks removed: 2\n"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.name);
    params.bCheckSeqTags = r.tags;
    params.bMergePeaks = r.merge;
    params.dProtectBelowMz = r.protectBelow;
    params.bRemoveNoise = r.noise > 0;
    params.dNoiseThreshold = r.noise;
    params.nBandStopFrequency = 2;
    Dta out = Spectrum({{-1, -1}});
    std::string log;
    EXPECT_EQ(static_cast<int>(CleanSpectrum(Spectrum(r.in), &params, r.dialect, out, &log)), r.verdict);
    EXPECT_EQ(PeaksOf(out), r.out);
    EXPECT_EQ(log, r.log);
    EXPECT_TRUE(boxes.boxes.empty());
  }
}

// De-isotoping votes on the resampled points: the output is the resampled
// points the routine leaves standing, with their values from before it, and
// the routine's verdict (1 good, 4 bad) is the pipeline's.
TEST_F(Pipeline, DeisotopingVerdictsAndVotes) {
  params.bDeisotope = true;
  int verdicts[5] = {};
  for (bool soft : {false, true}) {
    params.bSoftBadSpectra = soft;
    for (std::uint32_t seed : {1u, 2u, 3u, 9u, 10u}) {
      test::SyntheticOptions o;
      o.seed = seed;
      o.nCharge = 1;
      const Dta in = seed <= 3 ? test::MakeSyntheticSpectrum(o) : test::MakeRandomSpectrum(seed, 120, 150.0, 1500.0);
      Dta work(in);
      ASSERT_EQ(MakeEquidistant(0.05, &work), S_OK);
      const DeisotopeSettings settings{25, 3, 0.5, 50.0, nullptr};
      std::vector<double> vOut;
      const int verdict = static_cast<int>(soft ? DeisotopeSoft(settings, work, vOut) : DeisotopeStrict(settings, work, vOut));
      Peaks expected;
      for (unsigned i = 0; i < work.GetPeakCount(); ++i)
        if (work.GetIntensity(i) > 0.0 && vOut[i] > 0.0) expected.emplace_back(work.GetMass(i), work.GetIntensity(i));
      Dta out;
      EXPECT_EQ(static_cast<int>(CleanSpectrum(in, &params, MgfDialect::Classic, out, nullptr)), verdict) << seed;
      EXPECT_EQ(PeaksOf(out), expected) << seed;
      ++verdicts[std::clamp(verdict, 0, 4)];
    }
  }
  EXPECT_GT(verdicts[1], 0);
  EXPECT_GT(verdicts[4], 0);
}

}  // namespace
}  // namespace orvane
