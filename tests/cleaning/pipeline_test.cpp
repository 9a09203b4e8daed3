// The per-spectrum pipeline on the engine's own stages: its verdicts, the
// fold of the stages' votes and the output of both dialects. Deconvolution
// by charge is pinned by the golden case clean/drv_mgf_deconvolute.
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "cleaning/drivers.h"
#include "cleaning/run_frame.h"
#include "filtering/deisotope.h"
#include "frame/module.h"
#include "platform/class_registry.h"
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

ComPtr<IEditMSMS> MakeEngine() {
  RegisterOrvaneModule();
  ComPtr<IEditMSMS> edit;
  EXPECT_EQ(CoCreateInstance(CLSID_Orvane, nullptr, CLSCTX_INPROC_SERVER, IID_IEditMSMS, edit.Out()), S_OK);
  return edit;
}

// The stages as a run of the engine object takes them.
class Pipeline : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(frame_.Open(params), S_OK);
    ASSERT_TRUE(log_.Open(dir_.File("log"), CStdioFile::modeCreate | CStdioFile::modeWrite));
    params.bWriteLog = true;
    params.pLogFile = &log_;
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
  std::string Log() {  // and a fresh one for what follows
    log_.Close();
    const std::string text = test::ReadFile(dir_.File("log"));
    EXPECT_TRUE(log_.Open(dir_.File("log"), CStdioFile::modeCreate | CStdioFile::modeWrite));
    return text;
  }

  test::TempDir dir_;
  CStdioFile log_;
  ComPtr<IEditMSMS> engine_ = MakeEngine();
  RunState state;
  RunFrame frame_{engine_.Get(), state};
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
    state.dialect = r.dialect;
    params.bCheckSeqTags = r.tags;
    params.bMergePeaks = r.merge;
    params.dProtectBelowMz = r.protectBelow;
    params.bRemoveNoise = r.noise > 0;
    params.dNoiseThreshold = r.noise;
    params.nBandStopFrequency = 2;
    Dta out = Spectrum({{-1, -1}});
    EXPECT_EQ(CleanSpectrum(state, Spectrum(r.in), &params, out), r.verdict);
    EXPECT_EQ(PeaksOf(out), r.out);
    EXPECT_EQ(Log(), r.log);
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
      ASSERT_EQ(state.pEditMSMS->MakeEquidistant(0.05, &work), S_OK);
      const DeisotopeSettings settings{25, 3, 0.5, 50.0, false, nullptr};
      std::vector<double> vOut;
      const int verdict = soft ? DeisotopeSoft(state.pTonalith, state.pAnalyzeMSMS, settings, work, vOut)
                               : DeisotopeStrict(state.pTonalith, state.pAnalyzeMSMS, settings, work, vOut);
      Peaks expected;
      for (unsigned i = 0; i < work.GetPeakCount(); ++i)
        if (work.GetIntensity(i) > 0.0 && vOut[i] > 0.0) expected.emplace_back(work.GetMass(i), work.GetIntensity(i));
      Dta out;
      EXPECT_EQ(CleanSpectrum(state, in, &params, out), verdict) << seed;
      EXPECT_EQ(PeaksOf(out), expected) << seed;
      ++verdicts[std::clamp(verdict, 0, 4)];
    }
  }
  EXPECT_GT(verdicts[1], 0);
  EXPECT_GT(verdicts[4], 0);
}

}  // namespace
}  // namespace orvane
